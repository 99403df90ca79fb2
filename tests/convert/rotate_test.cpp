#include "block/operand.h"
#include "convert/turned.h"
#include "support/arguments.h"
#include "support/plane.h"
#include "support/random.h"

#include <kelvcpx/convert.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <utility>

namespace kelvcpx::test {
namespace {

struct Picture {
    Picture(int width, int height, Random& random) : y(width, height), cb(width / 2, height / 2), cr(cb)
    {
        for (Plane<uint8_t>* plane : {&y, &cb, &cr})
            plane->randomise(random);
    }

    std::array<uint8_t*, 3> planes() { return {y.data(), cb.data(), cr.data()}; }
    std::array<int32_t, 3> steps() const { return {y.step(), cb.step(), cr.step()}; }

    bool operator==(const Picture&) const = default;

    Plane<uint8_t> y;
    Plane<uint8_t> cb;
    Plane<uint8_t> cr;
};

class Rotate : public testing::TestWithParam<int>
{
};

// Sizes on both sides of what is converted at once, and odd ones.
TEST_P(Rotate, MovesEverySample)
{
    const int rotation = GetParam();
    Random random(1);
    for (int i = 0; i < 400; i++) {
        const bool small = random.oneIn(2);
        const RoiSize size{random.uniform<int>(2, small ? 20 : 70), random.uniform<int>(2, small ? 20 : 70)};
        const int width = size.width / 2 * 2;
        const int height = size.height / 2 * 2;
        const bool quarter = rotation == 1 || rotation == 2;

        Operand<uint8_t> packed(random, 2 * width, height);
        Operand<uint8_t> y(random, width, height);
        Operand<uint8_t> cb(random, width / 2, height);
        Operand<uint8_t> cr(random, width / 2, height);
        Picture dst(quarter ? height : width, quarter ? width : height, random);
        Picture dstOfPacked = dst;
        Picture expected = dst;
        for (int row = 0; row < height; row++)
            for (int x = 0; x < width; x++) {
                packed.set(2 * x + 1, row, y.at(x, row));
                packed.set(2 * x, row, (x % 2 == 0 ? cb : cr).at(x / 2, row));
                const auto [column, line] = turned(x, row, width, height, rotation);
                expected.y.at(column, line) = y.at(x, row);
                const auto [chromaColumn, chromaLine] =
                    turned(x / 2, row / 2, width / 2, height / 2, rotation);
                const auto mean = [&](const auto& plane) {
                    const int above = row / 2 * 2;
                    return static_cast<uint8_t>((plane.at(x / 2, above) + plane.at(x / 2, above + 1) + 1) /
                                                2);
                };
                expected.cb.at(chromaColumn, chromaLine) = mean(cb);
                expected.cr.at(chromaColumn, chromaLine) = mean(cr);
            }

        const Status status = size.width % 2 + size.height % 2 != 0 ? StatusWarnOddSize : StatusOk;
        const std::array<const uint8_t*, 3> src = {cb.data(), y.data(), cr.data()};
        const std::array<int32_t, 3> srcSteps = {cb.step(), y.step(), cr.step()};
        EXPECT_EQ(keliCbYCr422ToYCbCr420_Rotate_8u_P3R(src.data(), srcSteps.data(), size, dst.planes().data(),
                                                       dst.steps().data(), rotation),
                  status);
        EXPECT_EQ(keliCbYCr422ToYCbCr420_Rotate_8u_C2P3R(packed.data(), packed.step(), size,
                                                         dstOfPacked.planes().data(),
                                                         dstOfPacked.steps().data(), rotation),
                  status);
        ASSERT_EQ(dst, expected) << size.width << 'x' << size.height;
        ASSERT_EQ(dstOfPacked, expected) << size.width << 'x' << size.height;
    }
}

INSTANTIATE_TEST_SUITE_P(Turns, Rotate, testing::Range(0, 4));

TEST(RotateArguments, AreChecked)
{
    Random random(2);
    Plane<uint8_t> src(16, 16);
    Picture dst(8, 8, random);
    const Picture before = dst;
    auto planes = dst.planes();
    const auto steps = dst.steps();
    std::array<const uint8_t*, 3> sources = {src.data(), src.data(), src.data()};
    const RoiSize size{8, 8};
    const auto packed = [&](RoiSize roi, int rotation) {
        return keliCbYCr422ToYCbCr420_Rotate_8u_C2P3R(src.data(), src.step(), roi, planes.data(),
                                                      steps.data(), rotation);
    };
    const auto planar = [&](RoiSize roi, int rotation) {
        return keliCbYCr422ToYCbCr420_Rotate_8u_P3R(sources.data(), steps.data(), roi, planes.data(),
                                                    steps.data(), rotation);
    };
    for (const int rotation : {-1, 4, 7}) {
        EXPECT_EQ(packed(size, rotation), StatusOk);
        EXPECT_EQ(planar({7, 8}, rotation), StatusWarnOddSize);
    }
    for (const RoiSize& bad : {RoiSize{1, 8}, RoiSize{8, 1}}) {
        EXPECT_EQ(packed(bad, 0), StatusBadSize);
        EXPECT_EQ(planar(bad, 0), StatusBadSize);
    }
    expectNullPointersRefused(keliCbYCr422ToYCbCr420_Rotate_8u_C2P3R, {4}, src.data(), 16, RoiSize{0, 0},
                              planes.data(), steps.data(), 0);
    expectNullPointersRefused(keliCbYCr422ToYCbCr420_Rotate_8u_P3R, {1, 4}, sources.data(), steps.data(),
                              RoiSize{0, 0}, planes.data(), steps.data(), 0);
    for (std::size_t i = 0; i < 3; i++) {
        uint8_t* const plane = std::exchange(planes[i], nullptr);
        EXPECT_EQ(packed({0, 0}, 0), StatusNullPointer);
        EXPECT_EQ(planar({0, 0}, 0), StatusNullPointer);
        planes[i] = plane;
        const uint8_t* const source = std::exchange(sources[i], nullptr);
        EXPECT_EQ(planar({0, 0}, 0), StatusNullPointer);
        sources[i] = source;
    }
    EXPECT_EQ(dst, before);
}

} // namespace
} // namespace kelvcpx::test
