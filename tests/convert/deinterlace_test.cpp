#include "block/operand.h"
#include "support/arguments.h"
#include "support/plane.h"
#include "support/random.h"

#include <kelvcpx/convert.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>

namespace kelvcpx::test {
namespace {

const auto filter = keliDeinterlaceFilterTriangle_8u_C1R;

TEST(Deinterlace, FollowsTheFormulaAtOnceAndInSlices)
{
    Random random(1);
    for (int i = 0; i < 500; i++) {
        const RoiSize size{random.uniform<int>(1, 50), random.uniform<int>(3, 30)};
        const uint32_t weight =
            random.oneIn(3) ? random.extreme<uint32_t>() : random.uniform<uint32_t>(0, 300);
        const Operand<uint8_t> src(random, size.width, size.height);
        Plane<uint8_t> dst(size.width, size.height);
        dst.randomise(random);
        Plane<uint8_t> slices = dst;
        Plane<uint8_t> expected = dst;
        const int w = static_cast<int>(std::min(weight, 256u));
        for (int y = 0; y < size.height; y++)
            for (int x = 0; x < size.width; x++)
                expected.at(x, y) =
                    y == 0 || y == size.height - 1
                        ? src.at(x, y)
                        : static_cast<uint8_t>(
                              ((src.at(x, y - 1) + src.at(x, y + 1)) * ((256 - w) / 2) + src.at(x, y) * w) /
                              256);

        EXPECT_EQ(filter(src.data(), src.step(), dst.data(), dst.step(), size, weight,
                         random.oneIn(2) ? 0 : random.uniform<int>(17, 99)),
                  StatusOk);
        ASSERT_EQ(dst, expected) << "weight " << weight;

        for (int first = 0, end; size.height >= 6 && first < size.height; first = end) {
            end = random.uniform<int>(first + 3, first + 9);
            if (end > size.height - 3)
                end = size.height;
            if (first == 0 && end == size.height)
                end = 3; // more than one slice
            const int32_t layout = first == 0 ? 1 : end == size.height ? 16 : 4;
            EXPECT_EQ(filter(src.data() + first * src.step(), src.step(), &slices.at(0, first), slices.step(),
                             {size.width, end - first}, weight, layout),
                      StatusOk);
        }
        if (size.height >= 6) {
            ASSERT_EQ(slices, expected);
        }
    }
}

TEST(Deinterlace, WritesTheRowsOfASliceOnly)
{
    Random random(2);
    Plane<uint8_t> src(20, 9);
    src.randomise(random);
    for (const int32_t layout : {1, 4, 16}) {
        Plane<uint8_t> dst(20, 9);
        dst.randomise(random);
        const Plane<uint8_t> before = dst;
        EXPECT_EQ(filter(&src.at(0, 3), src.step(), &dst.at(0, 3), dst.step(), {20, 4}, 0, layout), StatusOk);
        for (int y = 0; y < 9; y++) {
            const bool written = y >= (layout == 1 ? 3 : 2) && y < (layout == 16 ? 7 : 6);
            const bool same = std::equal(&dst.at(0, y), &dst.at(0, y) + 20, &before.at(0, y));
            EXPECT_EQ(same, !written) << "layout " << layout << ", row " << y;
        }
    }
}

TEST(Deinterlace, ChecksItsArguments)
{
    Plane<uint8_t> p(8, 8);
    expectNullPointersRefused(filter, {}, p.data(), 8, p.data(), 8, RoiSize{0, 0}, 100u, 0);
    for (const RoiSize& bad : {RoiSize{0, 3}, RoiSize{8, 2}, RoiSize{-1, -1}})
        EXPECT_EQ(filter(p.data(), p.step(), p.data(), p.step(), bad, 100, 0), StatusBadSize);
}

} // namespace
} // namespace kelvcpx::test
