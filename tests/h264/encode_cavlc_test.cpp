#include "support/arguments.h"
#include "support/random.h"

#include <kelvcpx/h264_encode.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <vector>

namespace kelvcpx::test {
namespace {

// What the operations report, with room behind it that they must leave alone.
struct Analysis {
    static constexpr int16_t untouched = 12345;

    uint8_t trailingOnes = 99;
    uint8_t signs = 99;
    uint8_t totalCoeff = 99;
    uint8_t totalZeros = 99;
    std::array<int16_t, 17> levels;
    std::array<uint8_t, 17> runs;

    Analysis()
    {
        levels.fill(untouched);
        runs.fill(99);
    }
};

// The block in scan order that a decoder makes of the syntax elements (9.2.4), of `size` positions.
std::vector<int16_t> decoded(const Analysis& a, std::size_t size)
{
    std::vector<int16_t> block(size);
    std::size_t position = std::size_t{a.totalZeros} + a.totalCoeff;
    for (std::size_t i = 0; i < a.totalCoeff; i++) {
        position--;
        if (i < a.trailingOnes)
            block.at(position) = (a.signs >> (a.trailingOnes - 1 - i) & 1) != 0 ? -1 : 1;
        else
            block.at(position) = a.levels[i - a.trailingOnes];
        if (i + 1 < a.totalCoeff)
            position -= a.runs[i];
    }
    return block;
}

// There are as many trailing ones as there can be, and nothing is written beyond the results.
void expectComplete(const Analysis& a)
{
    ASSERT_LE(a.trailingOnes, 3);
    ASSERT_LE(a.trailingOnes, a.totalCoeff);
    if (a.trailingOnes < 3 && a.trailingOnes < a.totalCoeff) {
        EXPECT_NE(std::abs(a.levels[0]), 1);
    }
    for (std::size_t i = a.totalCoeff - std::size_t{a.trailingOnes}; i < a.levels.size(); i++)
        EXPECT_EQ(a.levels[i], Analysis::untouched);
    for (std::size_t i = std::max<std::size_t>(a.totalCoeff, 1) - 1; i < a.runs.size(); i++)
        EXPECT_EQ(a.runs[i], 99);
}

std::vector<int16_t> randomLevels(Random& random, std::size_t size)
{
    std::vector<int16_t> levels(size);
    const int zeros = random.uniform<int>(1, 4);
    const int limit = random.oneIn(3) ? 32767 : 1 + random.uniform<int>(0, 1);
    for (int16_t& level : levels)
        if (random.oneIn(zeros))
            level = random.uniform<int16_t>(-limit, limit);
    return levels;
}

TEST(EncodeCavlc, FindsWhatDecodesToTheBlock)
{
    Random random(1);
    std::array<uint32_t, 16> scan;
    std::iota(scan.begin(), scan.end(), 0u);
    for (int i = 0; i < 20000; i++) {
        std::swap(scan[random.uniform<std::size_t>(0, 15)], scan[random.uniform<std::size_t>(0, 15)]);
        const auto first = random.uniform<uint8_t>(0, 3);
        const auto last = random.uniform<uint8_t>(first, 15);
        const std::vector<int16_t> block = randomLevels(random, 16);
        std::vector<int16_t> scanned;
        for (std::size_t p = first; p <= last; p++)
            scanned.push_back(block[scan[p]]);

        Analysis a;
        ASSERT_EQ(keliEncodeCoeffsCAVLC_H264_16s(block.data(), first, scan.data(), last, &a.trailingOnes,
                                                 &a.signs, &a.totalCoeff, &a.totalZeros, a.levels.data(),
                                                 a.runs.data()),
                  StatusOk);
        ASSERT_EQ(decoded(a, scanned.size()), scanned);
        ASSERT_NO_FATAL_FAILURE(expectComplete(a));
        if (a.totalCoeff == 0) {
            ASSERT_EQ(a.totalZeros, scanned.size());
        }
    }
}

TEST(EncodeCavlc, FindsWhatDecodesToChromaDc)
{
    Random random(2);
    for (int i = 0; i < 5000; i++) {
        const std::vector<int16_t> block = randomLevels(random, 4);
        Analysis a;
        ASSERT_EQ(keliEncodeChromaDcCoeffsCAVLC_H264_16s(block.data(), &a.trailingOnes, &a.signs,
                                                         &a.totalCoeff, &a.totalZeros, a.levels.data(),
                                                         a.runs.data()),
                  StatusOk);
        ASSERT_EQ(decoded(a, 4), block);
        ASSERT_NO_FATAL_FAILURE(expectComplete(a));
    }
}

TEST(EncodeCavlc, ChecksItsArguments)
{
    const std::array<int16_t, 16> block{};
    const std::array<uint32_t, 16> scan{};
    Analysis a;
    expectNullPointersRefused(keliEncodeCoeffsCAVLC_H264_16s, {}, block.data(), 5, scan.data(), 4,
                              &a.trailingOnes, &a.signs, &a.totalCoeff, &a.totalZeros, a.levels.data(),
                              a.runs.data());
    expectNullPointersRefused(keliEncodeChromaDcCoeffsCAVLC_H264_16s, {}, block.data(), &a.trailingOnes,
                              &a.signs, &a.totalCoeff, &a.totalZeros, a.levels.data(), a.runs.data());
    for (const auto& [first, last] : {std::pair{0, 16}, {16, 16}, {5, 4}, {1, 0}})
        EXPECT_EQ(keliEncodeCoeffsCAVLC_H264_16s(block.data(), static_cast<uint8_t>(first), scan.data(),
                                                 static_cast<uint8_t>(last), &a.trailingOnes, &a.signs,
                                                 &a.totalCoeff, &a.totalZeros, a.levels.data(),
                                                 a.runs.data()),
                  StatusOutOfRange)
            << first << ".." << last;
    EXPECT_EQ(a.totalCoeff, 99);
}

} // namespace
} // namespace kelvcpx::test
