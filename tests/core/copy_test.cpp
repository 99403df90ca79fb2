#include "support/arguments.h"
#include "support/plane.h"

#include <kelvcpx/core.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <vector>

namespace kelvcpx::test {
namespace {

TEST(Copy, ArraysOfEveryLength)
{
    Random random(3);
    for (int32_t len = 1; len < 100; len++) {
        Plane<uint8_t> source(len, 1), target(len, 1);
        Plane<int16_t> source16(len, 1), target16(len, 1), zeroed(len, 1);
        for (Plane<uint8_t>* plane : {&source, &target})
            plane->randomise(random);
        for (Plane<int16_t>* plane : {&source16, &target16, &zeroed})
            plane->randomise(random);
        auto expected = target;
        auto expected16 = target16;
        auto expectedZero = zeroed;
        std::copy_n(source.data(), len, expected.data());
        std::copy_n(source16.data(), len, expected16.data());
        std::fill_n(expectedZero.data(), len, int16_t{0});

        ASSERT_EQ(kelsCopy_8u(source.data(), target.data(), len), StatusOk);
        ASSERT_EQ(kelsCopy_16s(source16.data(), target16.data(), len), StatusOk);
        ASSERT_EQ(kelsZero_16s(zeroed.data(), len), StatusOk);
        ASSERT_EQ(target, expected);
        ASSERT_EQ(target16, expected16);
        ASSERT_EQ(zeroed, expectedZero);
    }
}

// First byte first: a destination ahead of its source repeats the first bytes, one behind it is a plain copy.
TEST(Copy, OverlappingArraysCopyTheFirstByteFirst)
{
    for (const int32_t distance : {-40, -3, -1, 0, 1, 2, 3, 7, 40}) {
        constexpr int32_t len = 120;
        std::vector<uint8_t> bytes(300);
        std::iota(bytes.begin(), bytes.end(), uint8_t{0});
        auto expected = bytes;
        for (int32_t i = 0; i < len; i++)
            expected[static_cast<std::size_t>(100 + distance + i)] =
                expected[static_cast<std::size_t>(100 + i)];

        auto array = bytes;
        EXPECT_EQ(kelsCopy_8u(array.data() + 100, array.data() + 100 + distance, len), StatusOk);
        EXPECT_EQ(array, expected) << distance;
        auto region = bytes;
        EXPECT_EQ(keliCopy_8u_C1R(region.data() + 100, 0, region.data() + 100 + distance, 0, {len, 1}),
                  StatusOk);
        EXPECT_EQ(region, expected) << distance;
    }
}

TEST(Copy, RegionsOfEveryShapeAndStep)
{
    Random random(4);
    for (const RoiSize size : {RoiSize{1, 1}, {7, 5}, {16, 16}, {33, 2}}) {
        for (const bool flipped : {false, true}) {
            Plane<uint8_t> source(size.width, size.height), target(size.width, size.height);
            source.randomise(random);
            target.randomise(random);
            auto expected = target;
            for (int y = 0; y < size.height; y++)
                for (int x = 0; x < size.width; x++)
                    expected.at(x, y) = source.at(x, flipped ? size.height - 1 - y : y);
            const uint8_t* const first = flipped ? &source.at(0, size.height - 1) : source.data();
            ASSERT_EQ(keliCopy_8u_C1R(first, flipped ? -source.step() : source.step(), target.data(),
                                      target.step(), size),
                      StatusOk);
            ASSERT_EQ(target, expected);
        }
    }
}

TEST(Copy, ChecksPointersThenSizes)
{
    uint8_t bytes[4] = {1, 2, 3, 4};
    int16_t words[4] = {1, 2, 3, 4};
    expectNullPointersRefused(kelsZero_16s, {}, words, 0);
    expectNullPointersRefused(kelsCopy_8u, {}, bytes, bytes + 2, 0);
    expectNullPointersRefused(kelsCopy_16s, {}, words, words + 2, 0);
    expectNullPointersRefused(keliCopy_8u_C1R, {}, bytes, 1, bytes + 2, 1, RoiSize{0, 0});
    for (const int32_t len : {0, -1}) {
        EXPECT_EQ(kelsZero_16s(words, len), StatusBadSize);
        EXPECT_EQ(kelsCopy_8u(bytes, bytes + 2, len), StatusBadSize);
        EXPECT_EQ(kelsCopy_16s(words, words + 2, len), StatusBadSize);
        EXPECT_EQ(keliCopy_8u_C1R(bytes, 1, bytes + 2, 1, {len, 1}), StatusBadSize);
        EXPECT_EQ(keliCopy_8u_C1R(bytes, 1, bytes + 2, 1, {1, len}), StatusBadSize);
    }
    EXPECT_EQ(bytes[2], 3);
    EXPECT_EQ(words[0], 1);
}

} // namespace
} // namespace kelvcpx::test
