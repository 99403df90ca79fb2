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

using Compensate = Status (*)(const uint8_t*, int32_t, const int16_t*, int32_t, uint8_t*, int32_t, int32_t,
                              int32_t) noexcept;
using CompensateB = Status (*)(const uint8_t*, int32_t, int32_t, const uint8_t*, int32_t, int32_t,
                               const int16_t*, int32_t, uint8_t*, int32_t, int32_t) noexcept;

// Positions and roundings, with bits that do not count.
constexpr std::array mcTypes = {0, 4, 8, 12, 3, 13, -8};
constexpr std::array roundings = {0, 1, 2, -1};

constexpr bool right(int32_t mcType)
{
    return (mcType & 8) != 0;
}

constexpr bool down(int32_t mcType)
{
    return (mcType & 4) != 0;
}

struct Member {
    const char* name;
    int width;
    int height;
    Compensate one;
    CompensateB two;
    int distance = 1; // of horizontal neighbours

    friend void PrintTo(const Member& member, std::ostream* out) { *out << member.name; }
};

class MotionCompensation : public testing::TestWithParam<Member>
{
protected:
    Operand<int16_t> randomResidual()
    {
        const bool small = random_.oneIn(2);
        return {random_, member_.width, member_.height, small ? -256 : -32768, small ? 255 : 32767};
    }

    Reference randomReference(int32_t mcType)
    {
        return {random_, member_.width, member_.height, right(mcType), down(mcType), member_.distance};
    }

    Plane<uint8_t> randomDestination()
    {
        Plane<uint8_t> plane(member_.width, member_.height);
        plane.randomise(random_);
        return plane;
    }

    // Sets every sample of the block to what `prediction` returns for it plus the residual.
    template <class Prediction>
    void reconstruct(Plane<uint8_t>& dst, const Operand<int16_t>& residual, Prediction prediction) const
    {
        for (int y = 0; y < member_.height; y++)
            for (int x = 0; x < member_.width; x++)
                dst.at(x, y) = static_cast<uint8_t>(std::clamp(prediction(x, y) + residual.at(x, y), 0, 255));
    }

    Member member_ = GetParam();
    Random random_{1};
};

TEST_P(MotionCompensation, FollowsTheFormula)
{
    for (const int32_t mcType : mcTypes)
        for (const int32_t rounding : roundings)
            for (int i = 0; i < 50; i++) {
                const Reference ref = randomReference(mcType);
                const Operand<int16_t> residual = randomResidual();
                Plane<uint8_t> dst = randomDestination();
                Plane<uint8_t> expected = dst;
                reconstruct(expected, residual,
                            [&](int x, int y) { return ref.predict(x, y, rounding & 1); });
                EXPECT_EQ(member_.one(ref.data(), ref.step(), residual.data(), residual.step(), dst.data(),
                                      dst.step(), mcType, rounding),
                          StatusOk);
                ASSERT_EQ(dst, expected) << "mcType " << mcType << ", rounding " << rounding;
            }
}

TEST_P(MotionCompensation, OfTwoReferencesFollowsTheFormula)
{
    for (const int32_t mcTypeF : mcTypes)
        for (const int32_t mcTypeB : mcTypes)
            for (const int32_t rounding : roundings)
                for (int i = 0; i < 10; i++) {
                    const Reference forward = randomReference(mcTypeF);
                    const Reference backward = randomReference(mcTypeB);
                    const Operand<int16_t> residual = randomResidual();
                    Plane<uint8_t> dst = randomDestination();
                    Plane<uint8_t> expected = dst;
                    reconstruct(expected, residual, [&](int x, int y) {
                        return (forward.predict(x, y, rounding & 1) + backward.predict(x, y, rounding & 1) +
                                1) >>
                               1;
                    });
                    EXPECT_EQ(member_.two(forward.data(), forward.step(), mcTypeF, backward.data(),
                                          backward.step(), mcTypeB, residual.data(), residual.step(),
                                          dst.data(), dst.step(), rounding),
                              StatusOk);
                    ASSERT_EQ(dst, expected)
                        << "mcType " << mcTypeF << " and " << mcTypeB << ", rounding " << rounding;
                }
}

TEST_P(MotionCompensation, WorksInPlace)
{
    for (const int32_t mcType : {0, 4, 8, 12}) {
        const Operand<int16_t> residual = randomResidual();
        Plane<uint8_t> dst = randomDestination();
        const Plane<uint8_t> src = dst;
        Plane<uint8_t> expected = dst;
        member_.two(src.data(), src.step(), mcType, src.data(), src.step(), 12, residual.data(),
                    residual.step(), expected.data(), expected.step(), 0);
        member_.two(dst.data(), dst.step(), mcType, dst.data(), dst.step(), 12, residual.data(),
                    residual.step(), dst.data(), dst.step(), 0);
        ASSERT_EQ(dst, expected) << "mcType " << mcType;
    }
}

TEST_P(MotionCompensation, RefusesNullPointers)
{
    Plane<uint8_t> ref(18, 17);
    const std::array<int16_t, 256> residual{};
    Plane<uint8_t> dst(16, 16);
    expectNullPointersRefused(member_.one, {}, ref.data(), ref.step(), residual.data(), 32, dst.data(),
                              dst.step(), 12, 0);
    expectNullPointersRefused(member_.two, {}, ref.data(), ref.step(), 12, ref.data(), ref.step(), 12,
                              residual.data(), 32, dst.data(), dst.step(), 0);
}

INSTANTIATE_TEST_SUITE_P(Blocks, MotionCompensation,
                         testing::Values(Member{"16x16", 16, 16, keliMC16x16_8u_C1, keliMC16x16B_8u_C1},
                                         Member{"16x8", 16, 8, keliMC16x8_8u_C1, keliMC16x8B_8u_C1},
                                         Member{"16x4", 16, 4, keliMC16x4_8u_C1, keliMC16x4B_8u_C1},
                                         Member{"8x16", 8, 16, keliMC8x16_8u_C1, keliMC8x16B_8u_C1},
                                         Member{"8x8", 8, 8, keliMC8x8_8u_C1, keliMC8x8B_8u_C1},
                                         Member{"8x4", 8, 4, keliMC8x4_8u_C1, keliMC8x4B_8u_C1},
                                         Member{"16x8UV", 16, 8, keliMC16x8UV_8u_C1, keliMC16x8BUV_8u_C1, 2},
                                         Member{"4x8", 4, 8, keliMC4x8_8u_C1, keliMC4x8B_8u_C1},
                                         Member{"4x4", 4, 4, keliMC4x4_8u_C1, keliMC4x4B_8u_C1},
                                         Member{"4x2", 4, 2, keliMC4x2_8u_C1, keliMC4x2B_8u_C1},
                                         Member{"2x4", 2, 4, keliMC2x4_8u_C1, keliMC2x4B_8u_C1},
                                         Member{"2x2", 2, 2, keliMC2x2_8u_C1, keliMC2x2B_8u_C1}),
                         [](const auto& info) { return info.param.name; });

} // namespace
} // namespace kelvcpx::test
