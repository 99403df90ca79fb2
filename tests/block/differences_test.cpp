#include "block/operand.h"
#include "support/arguments.h"
#include "support/plane.h"
#include "support/random.h"

#include <kelvcpx/metrics.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <ostream>

namespace kelvcpx::test {
namespace {

using GetDiff = Status (*)(const uint8_t*, int32_t, const uint8_t*, int32_t, int16_t*, int32_t, int16_t*,
                           int32_t, int32_t, int32_t) noexcept;
using GetDiffB = Status (*)(const uint8_t*, int32_t, const uint8_t*, int32_t, int32_t, const uint8_t*,
                            int32_t, int32_t, int16_t*, int32_t, int32_t) noexcept;

// Positions and roundings, with bits that do not count.
constexpr std::array mcTypes = {0, 4, 8, 12, 3, 13, -8};
constexpr std::array roundings = {0, 1, 2, -1};

Reference randomReference(Random& random, int width, int height, int32_t mcType)
{
    return {random, width, height, (mcType & 8) != 0, (mcType & 4) != 0};
}

Plane<int16_t> randomPlane(Random& random, int width, int height)
{
    Plane<int16_t> plane(width, height);
    plane.randomise(random);
    return plane;
}

// Sets every element of the block to what `value` returns for it.
template <class Value>
Plane<int16_t> with(Plane<int16_t> plane, Value value)
{
    for (int y = 0; y < plane.height(); y++)
        for (int x = 0; x < plane.width(); x++)
            plane.at(x, y) = static_cast<int16_t>(value(x, y));
    return plane;
}

struct Member {
    int width;
    int height;
    GetDiff one;
    GetDiffB two;

    friend void PrintTo(const Member& m, std::ostream* out) { *out << m.width << 'x' << m.height; }
};

class PredictionDifference : public testing::TestWithParam<Member>
{
protected:
    Member member_ = GetParam();
    Random random_{1};
};

TEST_P(PredictionDifference, FollowsTheFormula)
{
    const auto [width, height, one, two] = member_;
    for (const int32_t mcType : mcTypes)
        for (const int32_t rounding : roundings)
            for (int i = 0; i < 50; i++) {
                const Operand<uint8_t> current(random_, width, height);
                const Reference ref = randomReference(random_, width, height, mcType);
                Plane<int16_t> diff = randomPlane(random_, width, height);
                Plane<int16_t> predictor = randomPlane(random_, width, height);
                const auto predict = [&](int x, int y) { return ref.predict(x, y, rounding & 1); };
                const auto expectedDiff =
                    with(diff, [&](int x, int y) { return current.at(x, y) - predict(x, y); });
                const bool wanted = random_.oneIn(2);
                const auto expectedPredictor = wanted ? with(predictor, predict) : predictor;
                EXPECT_EQ(one(current.data(), current.step(), ref.data(), ref.step(), diff.data(),
                              diff.step(), wanted ? predictor.data() : nullptr, predictor.step(), mcType,
                              rounding),
                          StatusOk);
                ASSERT_EQ(diff, expectedDiff) << "mcType " << mcType << ", rounding " << rounding;
                ASSERT_EQ(predictor, expectedPredictor) << "mcType " << mcType << ", rounding " << rounding;
            }
}

TEST_P(PredictionDifference, OfTwoReferencesFollowsTheFormula)
{
    const auto [width, height, one, two] = member_;
    for (const int32_t mcTypeF : mcTypes)
        for (const int32_t mcTypeB : mcTypes)
            for (const int32_t rounding : roundings)
                for (int i = 0; i < 10; i++) {
                    const Operand<uint8_t> current(random_, width, height);
                    const Reference refF = randomReference(random_, width, height, mcTypeF);
                    const Reference refB = randomReference(random_, width, height, mcTypeB);
                    Plane<int16_t> diff = randomPlane(random_, width, height);
                    const auto expected = with(diff, [&](int x, int y) {
                        const int sum = refF.predict(x, y, rounding & 1) + refB.predict(x, y, rounding & 1);
                        return (2 * current.at(x, y) - sum) >> 1;
                    });
                    EXPECT_EQ(two(current.data(), current.step(), refF.data(), refF.step(), mcTypeF,
                                  refB.data(), refB.step(), mcTypeB, diff.data(), diff.step(), rounding),
                              StatusOk);
                    ASSERT_EQ(diff, expected)
                        << "mcType " << mcTypeF << " and " << mcTypeB << ", rounding " << rounding;
                }
}

TEST_P(PredictionDifference, RefusesNullPointers)
{
    const Plane<uint8_t> samples(18, 17);
    Plane<int16_t> diff(16, 16);
    expectNullPointersRefused(member_.one, {6}, samples.data(), samples.step(), samples.data(),
                              samples.step(), diff.data(), diff.step(), nullptr, 0, 12, 0);
    expectNullPointersRefused(member_.two, {}, samples.data(), samples.step(), samples.data(), samples.step(),
                              12, samples.data(), samples.step(), 12, diff.data(), diff.step(), 0);
}

INSTANTIATE_TEST_SUITE_P(Blocks, PredictionDifference,
                         testing::Values(Member{16, 16, keliGetDiff16x16_8u16s_C1,
                                                keliGetDiff16x16B_8u16s_C1},
                                         Member{16, 8, keliGetDiff16x8_8u16s_C1, keliGetDiff16x8B_8u16s_C1},
                                         Member{8, 16, keliGetDiff8x16_8u16s_C1, keliGetDiff8x16B_8u16s_C1},
                                         Member{8, 8, keliGetDiff8x8_8u16s_C1, keliGetDiff8x8B_8u16s_C1},
                                         Member{8, 4, keliGetDiff8x4_8u16s_C1, keliGetDiff8x4B_8u16s_C1}),
                         testing::PrintToStringParamName());

using Subtract = Status (*)(const uint8_t*, int32_t, const uint8_t*, int32_t, int16_t*, int32_t) noexcept;

TEST(BlockDifference, IsTheFirstBlockMinusTheSecond)
{
    Random random(2);
    for (const auto& [size, subtract] : {std::pair<int, Subtract>{4, keliGetDiff4x4_8u16s_C1},
                                         {8, keliSub8x8_8u16s_C1R},
                                         {16, keliSub16x16_8u16s_C1R}}) {
        for (int i = 0; i < 100; i++) {
            const Operand<uint8_t> a(random, size, size);
            const Operand<uint8_t> b(random, size, size);
            Plane<int16_t> diff = randomPlane(random, size, size);
            const auto expected = with(diff, [&](int x, int y) { return a.at(x, y) - b.at(x, y); });
            EXPECT_EQ(subtract(a.data(), a.step(), b.data(), b.step(), diff.data(), diff.step()), StatusOk);
            ASSERT_EQ(diff, expected) << size;
        }
        const Plane<uint8_t> samples(16, 16);
        Plane<int16_t> diff(16, 16);
        expectNullPointersRefused(subtract, {}, samples.data(), samples.step(), samples.data(),
                                  samples.step(), diff.data(), diff.step());
    }
}

TEST(BlockDifference, ComesWithItsSum)
{
    Random random(3);
    for (int i = 0; i < 100; i++) {
        const Operand<uint8_t> a(random, 8, 8);
        const Operand<uint8_t> b(random, 8, 8);
        Plane<int16_t> diff = randomPlane(random, 8, 8);
        int expectedSad = 0;
        const auto expected = with(diff, [&](int x, int y) {
            expectedSad += std::abs(a.at(x, y) - b.at(x, y));
            return a.at(x, y) - b.at(x, y);
        });
        int32_t sad = -1;
        EXPECT_EQ(
            keliSubSAD8x8_8u16s_C1R(a.data(), a.step(), b.data(), b.step(), diff.data(), diff.step(), &sad),
            StatusOk);
        ASSERT_EQ(diff, expected);
        ASSERT_EQ(sad, expectedSad);
    }
    const Plane<uint8_t> samples(8, 8);
    Plane<int16_t> diff(8, 8);
    int32_t sad = 0;
    expectNullPointersRefused(keliSubSAD8x8_8u16s_C1R, {}, samples.data(), samples.step(), samples.data(),
                              samples.step(), diff.data(), diff.step(), &sad);
}

} // namespace
} // namespace kelvcpx::test
