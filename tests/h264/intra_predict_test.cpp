#include "h264/plain_intra.h"
#include "support/arguments.h"
#include "support/plane.h"
#include "support/random.h"

#include <kelvcpx/h264_residual.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdint>

namespace kelvcpx::test {
namespace {

constexpr int32_t top = 0x01;
constexpr int32_t left = 0x02;
constexpr int32_t topLeft = 0x20;
constexpr int32_t topRight = 0x40;

Around around(int32_t availability)
{
    return {(availability & left) != 0, (availability & top) != 0, (availability & topLeft) != 0,
            (availability & topRight) != 0};
}

// Every set of neighbours, with bits that do not count.
template <class Check>
void forEveryAvailability(Check check)
{
    for (int i = 0; i < 16; i++)
        for (const int32_t others : {0, ~(top | left | topLeft | topRight)})
            check(((i & 1) != 0 ? top : 0) | ((i & 2) != 0 ? left : 0) | ((i & 4) != 0 ? topLeft : 0) |
                  ((i & 8) != 0 ? topRight : 0) | others);
}

// Samples anywhere in the range, or at its ends, or on a slope as plane prediction meets them.
Plane<uint8_t> randomPlane(Random& random, int n)
{
    Plane<uint8_t> plane(n, n);
    switch (random.uniform<int>(0, 2)) {
    case 0:
        plane.randomise(random, 0, 255);
        break;
    case 1:
        plane.randomise(random, 0, 1);
        for (int y = -8; y < n + 8; y++)
            for (int x = -8; x < n + 8; x++)
                plane.at(x, y) = plane.at(x, y) != 0 ? 255 : 0;
        break;
    default:
        const int dx = random.uniform<int>(-20, 20);
        const int dy = random.uniform<int>(-20, 20);
        for (int y = -8; y < n + 8; y++)
            for (int x = -8; x < n + 8; x++)
                plane.at(x, y) = static_cast<uint8_t>(std::clamp(128 + x * dx + y * dy, 0, 255));
    }
    return plane;
}

TEST(PredictIntra4x4, FollowsTheEquations)
{
    constexpr std::array<int32_t, 9> needed = {
        top, left, 0, top, top | left | topLeft, top | left | topLeft, top | left | topLeft, top, left};
    Random random(1);
    for (uint32_t mode = 0; mode < 9; mode++)
        forEveryAvailability([&](int32_t availability) {
            for (int i = 0; i < 20; i++) {
                Plane<uint8_t> plane = randomPlane(random, 4);
                Plane<uint8_t> expected = plane;
                plainPredict(expected, 0, 0, 4, static_cast<int>(mode), around(availability));
                const Status status =
                    keliPredictIntra_4x4_H264_8u_C1IR(plane.data(), plane.step(), mode, availability);
                EXPECT_EQ(status, (needed[mode] & ~availability) != 0 ? StatusWarnNoNeighbour : StatusOk);
                ASSERT_EQ(plane, expected) << "mode " << mode << ", availability " << availability;
            }
        });
}

// 16x16 and chroma: `same` are the numbers of vertical, horizontal, DC and plane.
template <class Operation>
void expectLarge(Operation operation, int n, std::array<uint32_t, 4> numbers)
{
    constexpr std::array<int32_t, 4> needed = {top, left, 0, top | left | topLeft};
    Random random(2);
    for (std::size_t mode = 0; mode < 4; mode++)
        forEveryAvailability([&](int32_t availability) {
            for (int i = 0; i < 40; i++) {
                Plane<uint8_t> plane = randomPlane(random, n);
                Plane<uint8_t> expected = plane;
                const bool refused = (needed[mode] & ~availability) != 0;
                if (!refused)
                    plainPredictLarge(expected, n, n, static_cast<int>(mode), (availability & top) != 0,
                                      [=](int) { return (availability & left) != 0; });
                EXPECT_EQ(operation(plane.data(), plane.step(), numbers[mode], availability),
                          refused ? StatusBadIntraMode : StatusOk);
                ASSERT_EQ(plane, expected) << "mode " << numbers[mode] << ", availability " << availability;
            }
        });
}

TEST(PredictIntra16x16, FollowsTheEquations)
{
    expectLarge(keliPredictIntra_16x16_H264_8u_C1IR, 16, {0, 1, 2, 3});
}

TEST(PredictIntraChroma, FollowsTheEquations)
{
    expectLarge(keliPredictIntraChroma8x8_H264_8u_C1IR, 8, {2, 1, 0, 3});
}

struct Member {
    Status (*operation)(uint8_t*, int32_t, uint32_t, int32_t) noexcept;
    int32_t width;
    uint32_t modes;
};

TEST(PredictIntra, RefusesArgumentsInOrder)
{
    for (const Member& member :
         {Member{keliPredictIntra_4x4_H264_8u_C1IR, 4, 9}, Member{keliPredictIntra_16x16_H264_8u_C1IR, 16, 4},
          Member{keliPredictIntraChroma8x8_H264_8u_C1IR, 8, 4}}) {
        Plane<uint8_t> plane(16, 16);
        const Plane<uint8_t> before = plane;
        EXPECT_EQ(member.operation(nullptr, 0, 99, 0), StatusNullPointer);
        for (const int32_t step : {member.width - 1, 0, -64})
            EXPECT_EQ(member.operation(plane.data(), step, 99, 0), StatusBadStep);
        for (const uint32_t mode : {member.modes, UINT32_MAX})
            EXPECT_EQ(member.operation(plane.data(), plane.step(), mode, 0), StatusOutOfRange);
        EXPECT_EQ(plane, before);
        EXPECT_EQ(member.operation(plane.data() + 32, member.width, 2 - 2 * (member.width == 8), 0),
                  StatusOk);
    }
}

} // namespace
} // namespace kelvcpx::test
