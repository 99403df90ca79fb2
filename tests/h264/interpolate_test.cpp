#include "h264/interpolation_faults.h"
#include "h264/plain_interpolation.h"
#include "h264/reference_samples.h"
#include "support/plane.h"
#include "support/random.h"

#include <kelvcpx/h264_inter.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <limits>

namespace kelvcpx::test {
namespace {

constexpr std::array lumaSizes = {RoiSize{4, 4},  RoiSize{4, 8},  RoiSize{8, 4},  RoiSize{8, 8},
                                  RoiSize{8, 16}, RoiSize{16, 8}, RoiSize{16, 16}};

// Samples of a bit depth in a container, and the operations for it.
template <class T, int bits>
struct Depth {
    using Sample = T;
    static constexpr int64_t largest = (int64_t{1} << bits) - 1;

    static Status luma(const T* src, int32_t srcStep, T* dst, int32_t dstStep, int32_t dx, int32_t dy,
                       RoiSize size)
    {
        if constexpr (sizeof(T) == 1) {
            return keliInterpolateLuma_H264_8u_C1R(src, srcStep, dst, dstStep, dx, dy, size);
        } else {
            const InterpolationParams16u params{src, srcStep, dst, dstStep, dx, dy, size, bits};
            return keliInterpolateLuma_H264_16u_C1R(&params);
        }
    }

    static Status chroma(const T* src, int32_t srcStep, T* dst, int32_t dstStep, int32_t dx, int32_t dy,
                         RoiSize size)
    {
        if constexpr (sizeof(T) == 1) {
            return keliInterpolateChroma_H264_8u_C1R(src, srcStep, dst, dstStep, dx, dy, size);
        } else {
            const InterpolationParams16u params{src, srcStep, dst, dstStep, dx, dy, size, bits};
            return keliInterpolateChroma_H264_16u_C1R(&params);
        }
    }
};

template <class D>
class Interpolate : public testing::Test
{
protected:
    using Sample = typename D::Sample;
    using Reference = ReferenceSamples<Sample>;

    Reference lumaReference(RoiSize size, int dx, int dy)
    {
        const Border border{dx != 0 ? 2 : 0, dx != 0 ? 3 : 0, dy != 0 ? 2 : 0, dy != 0 ? 3 : 0};
        return {size.width, size.height, border, random_.uniform<int>(0, 9)};
    }

    void expectLuma(const Reference& ref, RoiSize size, int dx, int dy)
    {
        Plane<Sample> dst(size.width, size.height);
        dst.randomise(random_);
        Plane<Sample> expected = dst;
        for (int y = 0; y < size.height; y++)
            for (int x = 0; x < size.width; x++)
                expected.at(x, y) = static_cast<Sample>(
                    plainLuma([&](int i, int j) { return ref.at(i, j); }, x, y, dx, dy, D::largest));
        EXPECT_EQ(D::luma(ref.data(), ref.step(), dst.data(), dst.stride(), dx, dy, size), StatusOk);
        ASSERT_EQ(dst, expected) << size.width << 'x' << size.height << ", dx " << dx << ", dy " << dy;
    }

    Random random_{1};
};

using Depths = testing::Types<Depth<uint8_t, 8>, Depth<uint16_t, 8>, Depth<uint16_t, 9>, Depth<uint16_t, 10>,
                              Depth<uint16_t, 12>, Depth<uint16_t, 14>, Depth<uint16_t, 16>>;
TYPED_TEST_SUITE(Interpolate, Depths);

TYPED_TEST(Interpolate, LumaFollowsTheStandardAtEveryPosition)
{
    for (const RoiSize size : lumaSizes)
        for (int dx = 0; dx < 4; dx++)
            for (int dy = 0; dy < 4; dy++)
                for (int i = 0; i < 5; i++) {
                    auto ref = this->lumaReference(size, dx, dy);
                    ref.randomise(this->random_, TypeParam::largest);
                    ASSERT_NO_FATAL_FAILURE(this->expectLuma(ref, size, dx, dy));
                }
}

// Rows that drive the sums of the filter to their ends, upwards or downwards by chance, so that among them
// are the ends of the second pass.
TYPED_TEST(Interpolate, LumaIsExactAtTheEndsOfTheRange)
{
    constexpr std::array<bool, 6> peak = {true, false, true, true, false, true};
    for (int i = 0; i < 300; i++)
        for (int dx = 1; dx < 4; dx++)
            for (int dy = 1; dy < 4; dy++) {
                const RoiSize size = lumaSizes[static_cast<std::size_t>(i) % lumaSizes.size()];
                auto ref = this->lumaReference(size, dx, dy);
                const bool byRows = this->random_.oneIn(2);
                std::array<bool, 21> inverted{};
                for (bool& line : inverted)
                    line = this->random_.oneIn(2);
                ref.fill([&](int x, int y) {
                    const auto along = static_cast<std::size_t>((byRows ? x : y) + 2);
                    const auto across = static_cast<std::size_t>((byRows ? y : x) + 2);
                    return peak[along % 6] != inverted[across] ? TypeParam::largest : 0;
                });
                ASSERT_NO_FATAL_FAILURE(this->expectLuma(ref, size, dx, dy));
            }
}

TYPED_TEST(Interpolate, ChromaFollowsTheStandardAtEveryPosition)
{
    using Sample = typename TypeParam::Sample;
    for (const int width : {2, 4, 8, 16})
        for (const int height : {2, 4, 8, 16}) {
            if (width == 16 && sizeof(Sample) == 1)
                continue;
            for (int dx = 0; dx < 8; dx++)
                for (int dy = 0; dy < 8; dy++) {
                    ReferenceSamples<Sample> ref(width, height, {.right = 1, .below = 1},
                                                 this->random_.template uniform<int>(7, 16));
                    ref.randomise(this->random_, std::numeric_limits<Sample>::max());
                    Plane<Sample> dst(width, height);
                    dst.randomise(this->random_);
                    Plane<Sample> expected = dst;
                    for (int y = 0; y < height; y++)
                        for (int x = 0; x < width; x++)
                            expected.at(x, y) = static_cast<Sample>(
                                plainChroma([&](int i, int j) { return ref.at(i, j); }, x, y, dx, dy));
                    EXPECT_EQ(TypeParam::chroma(ref.data(), ref.step(), dst.data(), dst.stride(), dx, dy,
                                                {width, height}),
                              StatusOk);
                    ASSERT_EQ(dst, expected) << width << 'x' << height << ", dx " << dx << ", dy " << dy;
                }
        }
}

TEST(InterpolateLuma, TakesStepsUpwards)
{
    Random random(1);
    Plane<uint8_t> ref(16, 16);
    ref.randomise(random);
    for (int dx = 0; dx < 4; dx++)
        for (int dy = 0; dy < 4; dy++) {
            Plane<uint8_t> dst(8, 8);
            Plane<uint8_t> expected(8, 8);
            for (int y = 0; y < 8; y++)
                for (int x = 0; x < 8; x++)
                    expected.at(x, 7 - y) = static_cast<uint8_t>(
                        plainLuma([&](int i, int j) { return ref.at(i, 12 - j); }, x, y, dx, dy, 255));
            keliInterpolateLuma_H264_8u_C1R(&ref.at(0, 12), -ref.step(), &dst.at(0, 7), -dst.step(), dx, dy,
                                            {8, 8});
            ASSERT_EQ(dst, expected) << "dx " << dx << ", dy " << dy;
        }
}

TEST(InterpolateLuma, TakesABitDepthOutOfRangeForTheNearest)
{
    Random random(1);
    Plane<uint16_t> ref(8, 8);
    ref.randomise(random);
    const auto interpolate = [&](int32_t bitDepth) {
        Plane<uint16_t> dst(4, 4);
        const InterpolationParams16u params{ref.data(), ref.stride(), dst.data(), dst.stride(), 2,
                                            2,          {4, 4},       bitDepth};
        keliInterpolateLuma_H264_16u_C1R(&params);
        return dst;
    };
    EXPECT_EQ(interpolate(0), interpolate(1));
    EXPECT_EQ(interpolate(std::numeric_limits<int32_t>::min()), interpolate(1));
    EXPECT_EQ(interpolate(17), interpolate(16));
    EXPECT_EQ(interpolate(std::numeric_limits<int32_t>::max()), interpolate(16));
}

TEST(InterpolateLuma, ChecksItsArgumentsInOrder)
{
    const Plane<uint8_t> ref(16, 16);
    Plane<uint8_t> dst(16, 16);
    expectFaultsRefused<InterpolationRequest>(
        {ref.data(), ref.step(), dst.data(), dst.step(), 1, 1, {8, 8}}, lumaFaults(), [](const auto& r) {
            return keliInterpolateLuma_H264_8u_C1R(r.src, r.srcStep, r.dst, r.dstStep, r.dx, r.dy, r.size);
        });
    EXPECT_EQ(dst, Plane<uint8_t>(16, 16));
    for (const RoiSize size : {RoiSize{16, 4}, RoiSize{4, 16}})
        EXPECT_EQ(keliInterpolateLuma_H264_8u_C1R(ref.data(), ref.step(), dst.data(), dst.step(), 1, 1, size),
                  StatusOk);
}

TEST(InterpolateLuma, ChecksItsRecordInOrder)
{
    const Plane<uint16_t> ref(16, 16);
    Plane<uint16_t> dst(16, 16);
    EXPECT_EQ(keliInterpolateLuma_H264_16u_C1R(nullptr), StatusNullPointer);
    for (const RoiSize size : lumaSizes)
        for (const bool source : {true, false}) {
            const int32_t below = size.width - 1;
            const InterpolationParams16u params{
                ref.data(), source ? below : 16, dst.data(), source ? 16 : below, 1, 1, size, 10};
            EXPECT_EQ(keliInterpolateLuma_H264_16u_C1R(&params), StatusBadStep);
        }
    expectFaultsRefused<InterpolationParams16u>(
        {ref.data(), ref.stride(), dst.data(), dst.stride(), 1, 1, {8, 8}, 10}, lumaFaults16(),
        [](const auto& params) { return keliInterpolateLuma_H264_16u_C1R(&params); });
    EXPECT_EQ(dst, Plane<uint16_t>(16, 16));
}

TEST(InterpolateChroma, ChecksItsArgumentsInOrder)
{
    const Plane<uint8_t> ref(16, 16);
    Plane<uint8_t> dst(16, 16);
    expectFaultsRefused<InterpolationRequest>(
        {ref.data(), ref.step(), dst.data(), dst.step(), 1, 1, {8, 8}}, chromaFaults(), [](const auto& r) {
            return keliInterpolateChroma_H264_8u_C1R(r.src, r.srcStep, r.dst, r.dstStep, r.dx, r.dy, r.size);
        });
    EXPECT_EQ(dst, Plane<uint8_t>(16, 16));
}

TEST(InterpolateChroma, ChecksItsRecordInOrder)
{
    const Plane<uint16_t> ref(16, 16);
    Plane<uint16_t> dst(16, 16);
    EXPECT_EQ(keliInterpolateChroma_H264_16u_C1R(nullptr), StatusNullPointer);
    expectFaultsRefused<InterpolationParams16u>(
        {ref.data(), ref.stride(), dst.data(), dst.stride(), 1, 1, {8, 8}, 10}, chromaFaults16(),
        [](const auto& params) { return keliInterpolateChroma_H264_16u_C1R(&params); });
    EXPECT_EQ(dst, Plane<uint16_t>(16, 16));
}

} // namespace
} // namespace kelvcpx::test
