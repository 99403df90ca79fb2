#include "block/half_sample.h"
#include "block/operand.h"
#include "support/arguments.h"
#include "support/plane.h"
#include "support/random.h"

#include <kelvcpx/block.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <ostream>

namespace kelvcpx::test {
namespace {

using Predict = Status (*)(const uint8_t*, int32_t, uint8_t*, int32_t, int32_t, int32_t) noexcept;
using PredictFullSample = Status (*)(const uint8_t*, int32_t, uint8_t*, int32_t) noexcept;

// Positions and roundings, with bits that do not count.
constexpr std::array accs = {0, 1, 2, 3, 5, -2};
constexpr std::array roundings = {0, 1, 2, -1};
constexpr int rounds = 50;

struct Member {
    const char* name;
    int width;
    int height;
    bool averages;
    Predict predict;
    PredictFullSample fullSample; // may be null

    friend void PrintTo(const Member& member, std::ostream* out) { *out << member.name; }
};

class HalfSample : public testing::TestWithParam<Member>
{
};

TEST_P(HalfSample, FollowsTheFormula)
{
    const Member& member = GetParam();
    Random random(1);
    for (const int32_t acc : accs)
        for (const int32_t rounding : roundings)
            for (int i = 0; i < rounds; i++) {
                const Reference ref(random, member.width, member.height, (acc & 1) != 0, (acc & 2) != 0);
                Plane<uint8_t> dst(member.width, member.height);
                dst.randomise(random);
                Plane<uint8_t> expected = dst;
                for (int y = 0; y < member.height; y++)
                    for (int x = 0; x < member.width; x++) {
                        const int p = ref.predict(x, y, rounding & 1);
                        expected.at(x, y) =
                            static_cast<uint8_t>(member.averages ? (p + dst.at(x, y) + 1) >> 1 : p);
                    }
                Plane<uint8_t> full = dst;

                EXPECT_EQ(member.predict(ref.data(), ref.step(), dst.data(), dst.step(), acc, rounding),
                          StatusOk);
                ASSERT_EQ(dst, expected) << "acc " << acc << ", rounding " << rounding;

                if (member.fullSample != nullptr && (acc & 3) == 0) {
                    EXPECT_EQ(member.fullSample(ref.data(), ref.step(), full.data(), full.step()), StatusOk);
                    ASSERT_EQ(full, expected);
                }
            }
}

TEST_P(HalfSample, WritesUpwardsToo)
{
    const Member& member = GetParam();
    Random random(2);
    const Reference ref(random, member.width, member.height, true, true);
    Plane<uint8_t> down(member.width, member.height);
    Plane<uint8_t> up(member.width, member.height);
    EXPECT_EQ(member.predict(ref.data(), ref.step(), down.data(), down.step(), 3, 1), StatusOk);
    EXPECT_EQ(member.predict(ref.data(), ref.step(), &up.at(0, member.height - 1), -up.step(), 3, 1),
              StatusOk);
    for (int y = 0; y < member.height; y++)
        for (int x = 0; x < member.width; x++)
            ASSERT_EQ(up.at(x, y), down.at(x, member.height - 1 - y));
}

TEST_P(HalfSample, WorksInPlace)
{
    const Member& member = GetParam();
    Random random(3);
    for (int32_t acc = 0; acc < 4; acc++) {
        Plane<uint8_t> dst(member.width, member.height);
        dst.randomise(random);
        const Plane<uint8_t> src = dst;
        Plane<uint8_t> expected = dst;
        EXPECT_EQ(member.predict(src.data(), src.step(), expected.data(), expected.step(), acc, 0), StatusOk);
        EXPECT_EQ(member.predict(dst.data(), dst.step(), dst.data(), dst.step(), acc, 0), StatusOk);
        ASSERT_EQ(dst, expected) << "acc " << acc;
    }
}

TEST_P(HalfSample, RefusesNullPointers)
{
    const Member& member = GetParam();
    Plane<uint8_t> src(17, 17);
    Plane<uint8_t> dst(16, 16);
    expectNullPointersRefused(member.predict, {}, src.data(), src.step(), dst.data(), dst.step(), 3, 0);
    if (member.fullSample != nullptr)
        expectNullPointersRefused(member.fullSample, {}, src.data(), src.step(), dst.data(), dst.step());
}

INSTANTIATE_TEST_SUITE_P(Copy, HalfSample,
                         testing::Values(Member{"8x4", 8, 4, false, keliCopy8x4HP_8u_C1R, nullptr},
                                         Member{"8x8", 8, 8, false, keliCopy8x8HP_8u_C1R, keliCopy8x8_8u_C1R},
                                         Member{"16x8", 16, 8, false, keliCopy16x8HP_8u_C1R, nullptr},
                                         Member{"16x16", 16, 16, false, keliCopy16x16HP_8u_C1R,
                                                keliCopy16x16_8u_C1R}));
INSTANTIATE_TEST_SUITE_P(
    Average, HalfSample,
    testing::Values(Member{"8x4", 8, 4, true, keliInterpolateAverage8x4_8u_C1IR, nullptr},
                    Member{"8x8", 8, 8, true, keliInterpolateAverage8x8_8u_C1IR, keliAverage8x8_8u_C1IR},
                    Member{"16x8", 16, 8, true, keliInterpolateAverage16x8_8u_C1IR, nullptr},
                    Member{"16x16", 16, 16, true, keliInterpolateAverage16x16_8u_C1IR,
                           keliAverage16x16_8u_C1IR}));

// Each way in which the sum of four can round, near both ends of the range.
TEST(HalfSampleOfFour, RoundsEverySum)
{
    std::array<int, 16> values;
    for (int i = 0; i < 8; i++) {
        values[static_cast<std::size_t>(i)] = i;
        values[static_cast<std::size_t>(8 + i)] = 248 + i;
    }
    Plane<uint8_t> ref(9, 5, 0);
    Plane<uint8_t> dst(8, 4, 0);
    for (const int a : values)
        for (const int b : values)
            for (const int c : values)
                for (const int d : values) {
                    for (int y = 0; y < 5; y++)
                        for (int x = 0; x < 9; x++)
                            ref.at(x, y) = static_cast<uint8_t>(y % 2 == 0   ? (x % 2 == 0 ? a : b)
                                                                : x % 2 == 0 ? c
                                                                             : d);
                    for (int r = 0; r < 2; r++) {
                        keliCopy8x4HP_8u_C1R(ref.data(), ref.step(), dst.data(), dst.step(), 3, r);
                        ASSERT_EQ(dst.at(0, 0), (a + b + c + d + 2 - r) >> 2)
                            << a << ' ' << b << ' ' << c << ' ' << d;
                        ASSERT_EQ(dst.at(7, 3), dst.at(0, 0));
                    }
                }
}

// The width that no operation of the family has on its own.
template <Position position>
void expectNarrowBlockPredicted()
{
    constexpr bool right = (static_cast<int>(position) & 1) != 0;
    constexpr bool down = (static_cast<int>(position) & 2) != 0;
    Random random(4);
    for (int r = 0; r < 2; r++) {
        const Reference ref(random, 4, 8, right, down);
        HalfSampleStrips<position, 4> strips(ref.data(), ref.step(), r);
        for (int y = 0; y < 8; y += 4) {
            const U8x16 strip = strips.next();
            for (int i = 0; i < 16; i++)
                ASSERT_EQ(strip[i], ref.predict(i % 4, y + i / 4, r));
        }
    }
}

TEST(HalfSampleStrips, PredictNarrowBlocks)
{
    expectNarrowBlockPredicted<Position::full>();
    expectNarrowBlockPredicted<Position::horizontal>();
    expectNarrowBlockPredicted<Position::vertical>();
    expectNarrowBlockPredicted<Position::both>();
}

uint8_t saturate(int v)
{
    return static_cast<uint8_t>(std::clamp(v, 0, 255));
}

TEST(AddResidual, FollowsTheFormula)
{
    Random random(5);
    for (const int32_t acc : accs)
        for (const int32_t rounding : roundings)
            for (int i = 0; i < rounds; i++) {
                const bool small = random.oneIn(2);
                const Operand<int16_t> residual(random, 8, 8, small ? -256 : -32768, small ? 255 : 32767);
                const Reference ref(random, 8, 8, (acc & 1) != 0, (acc & 2) != 0);
                Plane<uint8_t> dst(8, 8);
                dst.randomise(random);
                Plane<uint8_t> inPlace = dst;
                Plane<uint8_t> expected = dst;
                Plane<uint8_t> expectedInPlace = dst;
                for (int y = 0; y < 8; y++)
                    for (int x = 0; x < 8; x++) {
                        expected.at(x, y) = saturate(residual.at(x, y) + ref.predict(x, y, rounding & 1));
                        expectedInPlace.at(x, y) = saturate(residual.at(x, y) + dst.at(x, y));
                    }
                EXPECT_EQ(keliAdd8x8HP_16s8u_C1RS(residual.data(), residual.step(), ref.data(), ref.step(),
                                                  dst.data(), dst.step(), acc, rounding),
                          StatusOk);
                EXPECT_EQ(
                    keliAdd8x8_16s8u_C1IRS(residual.data(), residual.step(), inPlace.data(), inPlace.step()),
                    StatusOk);
                ASSERT_EQ(dst, expected) << "acc " << acc << ", rounding " << rounding;
                ASSERT_EQ(inPlace, expectedInPlace);
            }
}

TEST(AddConstant, SaturatesForEveryValue)
{
    Random random(6);
    for (int value = -32768; value < 32768; value++) {
        Plane<uint8_t> block(8, 8, 1);
        block.randomise(random);
        block.at(0, 0) = 0;
        block.at(7, 7) = 255;
        Plane<uint8_t> expected = block;
        for (int y = 0; y < 8; y++)
            for (int x = 0; x < 8; x++)
                expected.at(x, y) = saturate(block.at(x, y) + value);
        EXPECT_EQ(keliAddC8x8_16s8u_C1IR(static_cast<int16_t>(value), block.data(), block.step()), StatusOk);
        ASSERT_EQ(block, expected) << value;
    }
}

TEST(AddResidual, RefusesNullPointers)
{
    const std::array<int16_t, 64> residual{};
    const std::array<uint8_t, 81> ref{};
    std::array<uint8_t, 64> dst{};
    expectNullPointersRefused(keliAdd8x8_16s8u_C1IRS, {}, residual.data(), 16, dst.data(), 8);
    expectNullPointersRefused(keliAdd8x8HP_16s8u_C1RS, {}, residual.data(), 16, ref.data(), 9, dst.data(), 8,
                              3, 0);
    expectNullPointersRefused(keliAddC8x8_16s8u_C1IR, {}, int16_t{1}, dst.data(), 8);
}

} // namespace
} // namespace kelvcpx::test
