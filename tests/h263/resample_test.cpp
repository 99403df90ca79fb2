#include "block/operand.h"
#include "support/arguments.h"
#include "support/plane.h"
#include "support/random.h"

#include <kelvcpx/h263_resample.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>

namespace kelvcpx::test {
namespace {

constexpr int none = -1; // no fill value

// Sums of the samples round an output sample, and how much the weights add up to: with neighbours outside the
// source there are only those inside, unless they are filled.
struct Weighted {
    int sum;
    int weights;
};

template <class Source>
Weighted upsampled(const Source& src, RoiSize size, int x, int y, int fill)
{
    const int nextX = x % 2 == 0 ? x / 2 - 1 : x / 2 + 1;
    const int nextY = y % 2 == 0 ? y / 2 - 1 : y / 2 + 1;
    const bool insideX = nextX >= 0 && nextX < size.width;
    const bool insideY = nextY >= 0 && nextY < size.height;
    const int a = src.at(x / 2, y / 2);
    const int b = insideY ? src.at(x / 2, nextY) : fill;
    const int c = insideX ? src.at(nextX, y / 2) : fill;
    const int d = insideX && insideY ? src.at(nextX, nextY) : fill;
    if (fill != none || (insideX && insideY))
        return {9 * a + 3 * b + 3 * c + d, 16};
    if (insideX || insideY)
        return {3 * a + (insideX ? c : b), 4};
    return {a, 1};
}

RoiSize randomSize(Random& random)
{
    return {2 * random.uniform<int>(2, 24), 2 * random.uniform<int>(2, 8)};
}

TEST(Upsampling, FollowsTheFormula)
{
    Random random(1);
    for (int i = 0; i < 1000; i++) {
        const RoiSize size = randomSize(random);
        const Operand<uint8_t> src(random, size.width, size.height);
        const int32_t rounding = random.uniform<int>(0, 1);
        const int32_t fill = random.oneIn(2) ? none : random.extreme<int>(0, 255);
        Plane<uint8_t> dst(2 * size.width, 2 * size.height);
        dst.randomise(random);
        Plane<uint8_t> expected = dst;
        for (int y = 0; y < dst.height(); y++)
            for (int x = 0; x < dst.width(); x++) {
                const auto [sum, weights] = upsampled(src, size, x, y, fill);
                // 7 for sixteenths, 1 for quarters, nothing for a copy
                const int round = weights == 1 ? 0 : weights / 2 - 1 + rounding;
                expected.at(x, y) = static_cast<uint8_t>((sum + round) / weights);
            }
        EXPECT_EQ(keliUpsampleFour_H263_8u_C1R(src.data(), src.step(), size, dst.data(), dst.step(), rounding,
                                               fill),
                  StatusOk);
        ASSERT_EQ(dst, expected) << "rounding " << rounding << ", fill value " << fill;
    }
}

TEST(SpatialInterpolation, FollowsTheFormula)
{
    Random random(2);
    for (int i = 0; i < 1000; i++) {
        const RoiSize size = randomSize(random);
        const Operand<uint8_t> src(random, size.width, size.height);
        const int32_t type = random.uniform<int>(0, 4);
        const bool down = type == 2 || type == 3;
        const bool across = type != 2;
        Plane<uint8_t> dst(size.width << across, size.height << down);
        dst.randomise(random);
        Plane<uint8_t> expected = dst;
        const auto next = [](int v, int last) {
            return std::clamp(v % 2 == 0 ? v / 2 - 1 : v / 2 + 1, 0, last);
        };
        for (int y = 0; y < dst.height(); y++)
            for (int x = 0; x < dst.width(); x++) {
                const int x0 = across ? x / 2 : x;
                const int y0 = down ? y / 2 : y;
                const int x1 = across ? next(x, size.width - 1) : x;
                const int y1 = down ? next(y, size.height - 1) : y;
                const int sum = 9 * src.at(x0, y0) + 3 * src.at(x0, y1) + 3 * src.at(x1, y0) + src.at(x1, y1);
                expected.at(x, y) = static_cast<uint8_t>((sum + 8) / 16);
            }
        EXPECT_EQ(
            keliSpatialInterpolation_H263_8u_C1R(src.data(), src.step(), size, dst.data(), dst.step(), type),
            StatusOk);
        ASSERT_EQ(dst, expected) << "type " << type;
    }
}

TEST(ResidualUpsampling, DividesTowardsZero)
{
    Random random(3);
    for (int i = 0; i < 1000; i++) {
        const int64_t most = random.oneIn(2) ? 20 : 32767;
        const Operand<int16_t> src(random, 8, 8, -most - 1, most);
        Plane<int16_t> dst(16, 16);
        dst.randomise(random);
        Plane<int16_t> expected = dst;
        for (int y = 0; y < 16; y++)
            for (int x = 0; x < 16; x++) {
                const auto [sum, weights] = upsampled(src, {8, 8}, x, y, none);
                expected.at(x, y) = static_cast<int16_t>((sum + weights / 2) / weights);
            }
        EXPECT_EQ(keliUpsampleFour8x8_H263_16s_C1R(src.data(), src.step(), dst.data(), dst.step()), StatusOk);
        ASSERT_EQ(dst, expected);
    }
}

template <class T>
int sumOfSquare(const Operand<T>& src, int x, int y)
{
    return src.at(2 * x, 2 * y) + src.at(2 * x + 1, 2 * y) + src.at(2 * x, 2 * y + 1) +
           src.at(2 * x + 1, 2 * y + 1);
}

TEST(Downsampling, FollowsTheFormula)
{
    Random random(4);
    for (int i = 0; i < 1000; i++) {
        const RoiSize size{random.uniform<int>(1, 90), random.uniform<int>(1, 9)};
        const Operand<uint8_t> src(random, size.width, size.height);
        const int32_t rounding = random.uniform<int>(0, 1);
        Plane<uint8_t> dst(size.width / 2, size.height / 2);
        dst.randomise(random);
        Plane<uint8_t> expected = dst;
        for (int y = 0; y < dst.height(); y++)
            for (int x = 0; x < dst.width(); x++)
                expected.at(x, y) = static_cast<uint8_t>((sumOfSquare(src, x, y) + 1 + rounding) / 4);
        EXPECT_EQ(
            keliDownsampleFour_H263_8u_C1R(src.data(), src.step(), size, dst.data(), dst.step(), rounding),
            StatusOk);
        ASSERT_EQ(dst, expected);
    }
}

TEST(ResidualDownsampling, RoundsDown)
{
    Random random(5);
    for (int i = 0; i < 1000; i++) {
        const int64_t most = random.oneIn(2) ? 20 : 32767;
        const Operand<int16_t> src(random, 16, 16, -most - 1, most);
        Plane<int16_t> dst(8, 8);
        dst.randomise(random);
        Plane<int16_t> expected = dst;
        for (int y = 0; y < 8; y++)
            for (int x = 0; x < 8; x++)
                expected.at(x, y) = static_cast<int16_t>((sumOfSquare(src, x, y) + 2) >> 2);
        EXPECT_EQ(keliDownsampleFour16x16_H263_16s_C1R(src.data(), src.step(), dst.data(), dst.step()),
                  StatusOk);
        ASSERT_EQ(dst, expected);
    }
}

TEST(Resampling, ChecksItsArguments)
{
    Plane<uint8_t> p(16, 16);
    Plane<int16_t> b(16, 16);
    const RoiSize empty{0, 0};
    expectNullPointersRefused(keliUpsampleFour_H263_8u_C1R, {}, p.data(), 16, empty, p.data(), 16, 0, 0);
    expectNullPointersRefused(keliSpatialInterpolation_H263_8u_C1R, {}, p.data(), 16, empty, p.data(), 16, 3);
    expectNullPointersRefused(keliDownsampleFour_H263_8u_C1R, {}, p.data(), 16, empty, p.data(), 16, 0);
    expectNullPointersRefused(keliUpsampleFour8x8_H263_16s_C1R, {}, b.data(), 32, b.data(), 32);
    expectNullPointersRefused(keliDownsampleFour16x16_H263_16s_C1R, {}, b.data(), 32, b.data(), 32);
    for (const RoiSize& bad : {RoiSize{2, 4}, {4, 2}, {6, 5}, {5, 6}, {-4, 4}, {4, -4}}) {
        EXPECT_EQ(keliUpsampleFour_H263_8u_C1R(p.data(), 16, bad, p.data(), 16, 0, 0), StatusBadSize);
        EXPECT_EQ(keliSpatialInterpolation_H263_8u_C1R(p.data(), 16, bad, p.data(), 16, 3), StatusBadSize);
    }
    for (const RoiSize& bad : {RoiSize{0, 1}, RoiSize{1, 0}})
        EXPECT_EQ(keliDownsampleFour_H263_8u_C1R(p.data(), 16, bad, p.data(), 16, 0), StatusBadSize);
}

} // namespace
} // namespace kelvcpx::test
