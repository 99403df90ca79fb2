#include "h264/interpolation_faults.h"
#include "h264/plain_interpolation.h"
#include "h264/reference_samples.h"
#include "support/faults.h"
#include "support/plane.h"
#include "support/random.h"

#include <kelvcpx/h264_inter.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <ostream>
#include <vector>

namespace kelvcpx::test {
namespace {

enum class Edge { top, bottom };
enum class Component { luma, chroma };

using Operation8 = Status (*)(const uint8_t*, int32_t, uint8_t*, int32_t, int32_t, int32_t, int32_t,
                              RoiSize) noexcept;
using Operation16 = Status (*)(const InterpolationParams16u*, int32_t) noexcept;

struct Member {
    const char* name;
    Component component;
    Edge edge;
    Operation8 operation8;
    Operation16 operation16;

    Status operator()(const uint8_t* src, int32_t srcStep, Plane<uint8_t>& dst, int32_t dx, int32_t dy,
                      RoiSize size, int32_t outPixels) const
    {
        return operation8(src, srcStep, dst.data(), dst.stride(), dx, dy, outPixels, size);
    }
    Status operator()(const uint16_t* src, int32_t srcStep, Plane<uint16_t>& dst, int32_t dx, int32_t dy,
                      RoiSize size, int32_t outPixels) const
    {
        const InterpolationParams16u params{src, srcStep, dst.data(), dst.stride(), dx, dy, size, 10};
        return operation16(&params, outPixels);
    }

    friend void PrintTo(const Member& member, std::ostream* out) { *out << member.name; }
};

class InterpolateAtEdge : public testing::TestWithParam<Member>
{
protected:
    bool luma() const { return member_.component == Component::luma; }

    // The samples that the operation may read from a picture that goes on far enough on the other side.
    Border support(int dx, int dy) const
    {
        if (luma())
            return {dx != 0 ? 2 : 0, dx != 0 ? 3 : 0, dy != 0 ? 2 : 0, dy != 0 ? 3 : 0};
        return {0, dx != 0 ? 1 : 0, 0, dy != 0 ? 1 : 0};
    }

    // Predicts a block that has `outPixels` rows outside the picture, or so many rows between it and the edge
    // if negative. All the memory there is are the rows inside that the filter needs.
    template <class T>
    void expectRowsRepeated(RoiSize size, int dx, int dy, int32_t outPixels)
    {
        const int64_t largest = sizeof(T) == 1 ? 255 : 1023;
        const Border border = support(dx, dy);
        const bool top = member_.edge == Edge::top;
        // Rows in the block's coordinates.
        const int64_t edge = top ? int64_t{outPixels} : int64_t{size.height} - 1 - outPixels;
        const auto inside = [&](int64_t y) { return top ? std::max(y, edge) : std::min(y, edge); };
        const int64_t first = inside(-border.above);
        const int64_t last = inside(size.height - 1 + border.below);

        ReferenceSamples<T> ref(size.width, static_cast<int>(last - first + 1),
                                {.left = border.left, .right = border.right}, random_.uniform<int>(7, 20));
        ref.randomise(random_, largest);
        const auto at = [&](int x, int y) { return ref.at(x, static_cast<int>(inside(y) - first)); };

        Plane<T> dst(size.width, size.height);
        dst.randomise(random_);
        Plane<T> expected = dst;
        for (int y = 0; y < size.height; y++)
            for (int x = 0; x < size.width; x++)
                expected.at(x, y) = static_cast<T>(luma() ? plainLuma(at, x, y, dx, dy, largest)
                                                          : plainChroma(at, x, y, dx, dy));
        EXPECT_EQ(member_(ref.data() - first * ref.step(), ref.step(), dst, dx, dy, size, outPixels),
                  StatusOk);
        ASSERT_EQ(dst, expected) << size.width << 'x' << size.height << ", dx " << dx << ", dy " << dy
                                 << ", outPixels " << outPixels;
    }

    template <class T>
    void expectRowsRepeated(RoiSize size)
    {
        constexpr int32_t far = 1000000;
        std::vector<int32_t> distances = {
            -far, -100, 100, far, std::numeric_limits<int32_t>::max(), std::numeric_limits<int32_t>::min()};
        for (int32_t distance = -5; distance <= size.height + 5; distance++)
            distances.push_back(distance);
        const int fractions = luma() ? 4 : 8;
        for (int dx = 0; dx < fractions; dx++)
            for (int dy = 0; dy < fractions; dy++)
                for (const int32_t outPixels : distances)
                    ASSERT_NO_FATAL_FAILURE(expectRowsRepeated<T>(size, dx, dy, outPixels));
    }

    Member member_ = GetParam();
    Random random_{1};
};

TEST_P(InterpolateAtEdge, RepeatsTheRowsOfTheEdge)
{
    for (const RoiSize size : {RoiSize{4, 4}, {8, 8}, {8, 16}, {4, 8}}) {
        ASSERT_NO_FATAL_FAILURE(expectRowsRepeated<uint8_t>(size));
        ASSERT_NO_FATAL_FAILURE(expectRowsRepeated<uint16_t>(size));
    }
    if (luma())
        ASSERT_NO_FATAL_FAILURE(expectRowsRepeated<uint8_t>({16, 16}));
    else
        ASSERT_NO_FATAL_FAILURE(expectRowsRepeated<uint8_t>({2, 2}));
    ASSERT_NO_FATAL_FAILURE(expectRowsRepeated<uint16_t>({16, 16}));
}

TEST_P(InterpolateAtEdge, ChecksItsArgumentsInOrder)
{
    const Plane<uint8_t> ref(16, 16);
    Plane<uint8_t> dst(16, 16);
    expectFaultsRefused<InterpolationRequest>({ref.data(), ref.step(), dst.data(), dst.step(), 1, 1, {8, 8}},
                                              luma() ? lumaFaults() : chromaFaults(), [&](const auto& r) {
                                                  return member_.operation8(r.src, r.srcStep, r.dst,
                                                                            r.dstStep, r.dx, r.dy, 3, r.size);
                                              });
    EXPECT_EQ(dst, Plane<uint8_t>(16, 16));
}

TEST_P(InterpolateAtEdge, ChecksItsRecordInOrder)
{
    const Plane<uint16_t> ref(16, 16);
    Plane<uint16_t> dst(16, 16);
    EXPECT_EQ(member_.operation16(nullptr, 0), StatusNullPointer);
    expectFaultsRefused<InterpolationParams16u>(
        {ref.data(), ref.stride(), dst.data(), dst.stride(), 1, 1, {8, 8}, 10},
        luma() ? lumaFaults16() : chromaFaults16(),
        [&](const auto& params) { return member_.operation16(&params, 3); });
    EXPECT_EQ(dst, Plane<uint16_t>(16, 16));
}

INSTANTIATE_TEST_SUITE_P(
    Edges, InterpolateAtEdge,
    testing::Values(Member{"LumaTop", Component::luma, Edge::top, keliInterpolateLumaTop_H264_8u_C1R,
                           keliInterpolateLumaTop_H264_16u_C1R},
                    Member{"LumaBottom", Component::luma, Edge::bottom, keliInterpolateLumaBottom_H264_8u_C1R,
                           keliInterpolateLumaBottom_H264_16u_C1R},
                    Member{"ChromaTop", Component::chroma, Edge::top, keliInterpolateChromaTop_H264_8u_C1R,
                           keliInterpolateChromaTop_H264_16u_C1R},
                    Member{"ChromaBottom", Component::chroma, Edge::bottom,
                           keliInterpolateChromaBottom_H264_8u_C1R,
                           keliInterpolateChromaBottom_H264_16u_C1R}),
    [](const auto& info) { return info.param.name; });

// Each sample of the margin is the nearest one of the plane, or of the field whose row it is in.
TEST(ExpandPlane, RepeatsTheNearestSample)
{
    Random random(1);
    for (const auto& [width, height] : {RoiSize{1, 2}, {3, 4}, {16, 8}, {37, 30}})
        for (const int32_t margin : {1, 2, 3, 16, 33})
            for (const int32_t mode : {0, 1, 2}) {
                Plane<uint8_t> plane(width, height, margin + 4);
                plane.randomise(random);
                Plane<uint8_t> expected = plane;
                const int step = mode == 0 ? 1 : 2;
                const int first = mode == 2 ? 1 : 0;
                for (int y = -margin; y < height + margin; y++)
                    for (int x = -margin; x < width + margin; x++)
                        if ((y - first) % step == 0)
                            expected.at(x, y) = plane.at(std::clamp(x, 0, width - 1),
                                                         std::clamp(y, first, height - step + first));
                EXPECT_EQ(
                    keliExpandPlane_H264_8u_C1R(plane.data(), width, height, plane.step(), margin, mode),
                    StatusOk);
                ASSERT_EQ(plane, expected)
                    << width << 'x' << height << ", margin " << margin << ", mode " << mode;
            }
}

struct ExpandRequest {
    uint8_t* plane;
    int32_t width;
    int32_t height;
    int32_t margin;
    int32_t mode;
};

TEST(ExpandPlane, ChecksItsArgumentsInOrder)
{
    using R = ExpandRequest;
    Plane<uint8_t> plane(8, 8);
    const auto expand = [&](const R& r) {
        return keliExpandPlane_H264_8u_C1R(r.plane, r.width, r.height, plane.step(), r.margin, r.mode);
    };
    expectFaultsRefused<R>({plane.data(), 8, 8, 4, 1},
                           {fault(StatusNullPointer, &R::plane, nullptr), fault(StatusBadSize, &R::height, 7),
                            fault(StatusBadSize, &R::height, 0), fault(StatusBadSize, &R::height, -2),
                            fault(StatusBadSize, &R::width, 0), fault(StatusBadSize, &R::width, -8),
                            fault(StatusOk, &R::margin, 0), fault(StatusOk, &R::margin, -4),
                            fault(StatusBadArgument, &R::mode, 3), fault(StatusBadArgument, &R::mode, -1)},
                           expand);
    EXPECT_EQ(plane, Plane<uint8_t>(8, 8));
}

} // namespace
} // namespace kelvcpx::test
