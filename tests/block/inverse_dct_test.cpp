#include "support/arguments.h"
#include "support/plane.h"
#include "support/random.h"

#include <kelvcpx/block.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <vector>

namespace kelvcpx::test {
namespace {

using Block = std::array<int16_t, 64>; // coefficients, transposed: index 8 * horizontal + vertical frequency
using Samples = std::array<int, 64>;   // index 8 * row + column, not clipped

constexpr int fullCount = 63;

constexpr std::size_t at(std::size_t major, std::size_t minor)
{
    return 8 * major + minor;
}

// cos(m pi / 16) times 65536, rounded down in magnitude.
int64_t fixedCosine(std::size_t m)
{
    constexpr std::array<int64_t, 9> quarter = {65536, 64276, 60547, 54491, 46340, 36409, 25079, 12785, 0};
    m %= 32;
    if (m > 16)
        m = 32 - m;
    return m > 8 ? -quarter[16 - m] : quarter[m];
}

// One value of the one-dimensional transform, straight from the definition, modulo 2^32.
int32_t transformOne(const std::array<int, 8>& x, std::size_t place)
{
    int64_t sum = 0;
    for (std::size_t k = 0; k < 8; k++)
        sum += x[k] * fixedCosine(k == 0 ? 4 : (2 * place + 1) * k);
    return static_cast<int32_t>(sum);
}

int32_t roundAndShift(int32_t v, uint32_t rounding, int shift)
{
    return static_cast<int32_t>(static_cast<uint32_t>(v) + rounding) >> shift;
}

Samples fixedPointTransform(const Block& coefficients)
{
    Samples columns{}; // index 8 * vertical frequency + column
    for (std::size_t vertical = 0; vertical < 8; vertical++) {
        std::array<int, 8> x{};
        for (std::size_t horizontal = 0; horizontal < 8; horizontal++)
            x[horizontal] = coefficients[at(horizontal, vertical)];
        for (std::size_t column = 0; column < 8; column++)
            columns[at(vertical, column)] = roundAndShift(transformOne(x, column), 32768, 16);
    }
    Samples result{};
    for (std::size_t column = 0; column < 8; column++) {
        std::array<int, 8> x{};
        for (std::size_t vertical = 0; vertical < 8; vertical++)
            x[vertical] = columns[at(vertical, column)];
        for (std::size_t row = 0; row < 8; row++)
            result[at(row, column)] = roundAndShift(transformOne(x, row), 163840, 18);
    }
    return result;
}

// What the operations store: residuals of nine bits or samples of eight.
int16_t residual(int v)
{
    return static_cast<int16_t>(std::clamp(v, -256, 255));
}

uint8_t sample(int v)
{
    return static_cast<uint8_t>(std::clamp(v, 0, 255));
}

// Runs the operations for one block and expects these values, and nothing written beside the block.
void expectTransformed(const int16_t* coefficients, int32_t count, const Samples& residuals,
                       const Samples& samples)
{
    Plane<int16_t> words(8, 8);
    Plane<uint8_t> bytes(8, 8);
    Plane<int16_t> expectedWords = words;
    Plane<uint8_t> expectedBytes = bytes;
    for (int y = 0; y < 8; y++)
        for (int x = 0; x < 8; x++) {
            expectedWords.at(x, y) = residual(residuals[static_cast<std::size_t>(8 * y + x)]);
            expectedBytes.at(x, y) = sample(samples[static_cast<std::size_t>(8 * y + x)]);
        }
    EXPECT_EQ(keliDCT8x8Inv_AANTransposed_16s_C1R(coefficients, words.data(), words.step(), count), StatusOk);
    EXPECT_EQ(keliDCT8x8Inv_AANTransposed_16s8u_C1R(coefficients, bytes.data(), bytes.step(), count),
              StatusOk);
    ASSERT_EQ(words, expectedWords) << "count " << count;
    ASSERT_EQ(bytes, expectedBytes) << "count " << count;
}

Block randomBlock(Random& random, int64_t low, int64_t high)
{
    Block block{};
    const auto coefficients = random.uniform<int>(1, 64);
    for (int i = 0; i < coefficients; i++)
        block[random.uniform<std::size_t>(0, 63)] = random.extreme<int16_t>(low, high);
    return block;
}

TEST(InverseDct, IsExactForEveryBlock)
{
    Random random(1);
    for (const int64_t range : {16, 300, 2048, 32768})
        for (int i = 0; i < 3000; i++) {
            const Block block = randomBlock(random, -range, range - 1);
            const Samples expected = fixedPointTransform(block);
            expectTransformed(block.data(), random.uniform<int32_t>(10, 70), expected, expected);
            if (HasFatalFailure())
                return;
        }
}

TEST(InverseDct, IsExactForEveryValueOfEachCoefficient)
{
    for (std::size_t place = 0; place < 64; place++)
        for (int value = -32768; value < 32768; value += place == 9 ? 1 : 251) {
            Block block{};
            block[place] = static_cast<int16_t>(value);
            const Samples expected = fixedPointTransform(block);
            Block result;
            keliDCT8x8Inv_AANTransposed_16s_C1R(block.data(), result.data(), 16, fullCount);
            ASSERT_TRUE(std::equal(result.begin(), result.end(), expected.begin(),
                                   [](int16_t stored, int v) { return stored == residual(v); }))
                << value << " at " << place;
        }
}

TEST(InverseDct, OfLowFrequenciesEqualsTheFullTransformAndReadsNoOther)
{
    Random random(2);
    for (int i = 0; i < 3000; i++) {
        const auto range = random.oneIn(2) ? 2048 : 32768;
        std::vector<int16_t> coefficients(8 * 3 + 4);
        Block low{};
        for (std::size_t k = 0; k < coefficients.size(); k++) {
            coefficients[k] = random.extreme<int16_t>(-range, range - 1);
            if (k % 8 < 4)
                low[k] = coefficients[k];
        }
        const Samples expected = fixedPointTransform(low);
        expectTransformed(coefficients.data(), random.uniform<int32_t>(1, 9), expected, expected);
        if (HasFatalFailure())
            return;
    }
}

TEST(InverseDct, OfDcAloneIsAnEighthRoundedTowardsZero)
{
    for (int dc = -32768; dc < 32768; dc++) {
        const std::vector<int16_t> coefficient(1, static_cast<int16_t>(dc));
        Samples flat;
        flat.fill(static_cast<int>(std::trunc(dc / 8.0)));
        expectTransformed(coefficient.data(), 0, flat, flat);
        if (dc % 1000 == 0)
            expectTransformed(coefficient.data(), -1, Samples{}, flat);
        if (HasFatalFailure())
            return;
    }
}

// The exact transform of 8x8 values, or its inverse (ISO/IEC 13818-2 Annex A).
std::array<double, 64> exactTransform(std::array<double, 64> block, bool inverse)
{
    for (const std::size_t stride : {std::size_t{1}, std::size_t{8}}) // along rows, then along columns
        for (std::size_t line = 0; line < 8; line++) {
            double* const first = &block[line * 8 / stride];
            std::array<double, 8> x;
            for (std::size_t k = 0; k < 8; k++)
                x[k] = first[k * stride];
            for (std::size_t k = 0; k < 8; k++) {
                double sum = 0;
                for (std::size_t n = 0; n < 8; n++) {
                    const auto frequency = static_cast<double>(inverse ? n : k);
                    const auto place = static_cast<double>(inverse ? k : n);
                    sum += x[n] * (frequency == 0 ? std::numbers::sqrt2 / 4 : 0.5) *
                           std::cos((2 * place + 1) * frequency * std::numbers::pi / 16);
                }
                first[k * stride] = sum;
            }
        }
    return block;
}

// Random blocks in the manner of IEEE Std 1180-1990: transformed forwards, coefficients rounded and clipped,
// transformed back and compared with the exact transform, rounded. The errors are those that the header
// states.
TEST(InverseDct, IsCloseToTheExactTransform)
{
    Random random(3);
    for (const auto& [low, high] : {std::pair{-256, 255}, {-5, 5}, {-300, 300}}) {
        constexpr int blocks = 2000;
        double errors = 0;
        double squares = 0;
        for (int i = 0; i < blocks; i++) {
            std::array<double, 64> spatial;
            for (double& v : spatial)
                v = random.uniform<int>(low, high);
            std::array<double, 64> frequencies = exactTransform(spatial, false);
            Block block;
            for (std::size_t v = 0; v < 8; v++)
                for (std::size_t u = 0; u < 8; u++) {
                    double& coefficient = frequencies[at(v, u)];
                    coefficient = std::clamp(std::round(coefficient), -2048.0, 2047.0);
                    block[at(u, v)] = static_cast<int16_t>(coefficient);
                }
            const std::array<double, 64> exact = exactTransform(frequencies, true);
            Block result;
            keliDCT8x8Inv_AANTransposed_16s_C1R(block.data(), result.data(), 16, fullCount);
            for (std::size_t k = 0; k < 64; k++) {
                const double error = result[k] - std::clamp(std::round(exact[k]), -256.0, 255.0);
                ASSERT_LE(std::abs(error), 1) << low << ".." << high << ", block " << i;
                errors += error;
                squares += error * error;
            }
        }
        EXPECT_LT(std::abs(errors / (64.0 * blocks)), 0.11) << low << ".." << high;
        EXPECT_LT(squares / (64.0 * blocks), 0.13) << low << ".." << high;
    }
}

// The result of an operation for two blocks is that of two operations for one block, interleaved.
template <class T, class One, class Two>
void expectInterleaved(One one, Two two)
{
    Random random(4);
    for (const int32_t countU : {-1, 0, 5, 40})
        for (const int32_t countV : {-1, 0, 5, 40}) {
            const Block u = randomBlock(random, -2048, 2047);
            const Block v = randomBlock(random, -2048, 2047);
            std::array<T, 64> resultU;
            std::array<T, 64> resultV;
            one(u.data(), resultU.data(), 8 * sizeof(T), countU);
            one(v.data(), resultV.data(), 8 * sizeof(T), countV);
            Plane<T> dst(16, 8);
            dst.randomise(random);
            Plane<T> expected = dst;
            for (int y = 0; y < 8; y++)
                for (int x = 0; x < 8; x++) {
                    expected.at(2 * x, y) = resultU[static_cast<std::size_t>(8 * y + x)];
                    expected.at(2 * x + 1, y) = resultV[static_cast<std::size_t>(8 * y + x)];
                }
            EXPECT_EQ(two(u.data(), v.data(), dst.data(), dst.step(), countU, countV), StatusOk);
            ASSERT_EQ(dst, expected) << "counts " << countU << " and " << countV;
        }
}

TEST(InverseDct, InterleavesTwoBlocks)
{
    expectInterleaved<int16_t>(keliDCT8x8Inv_AANTransposed_16s_C1R, keliDCT8x8Inv_AANTransposed_16s_P2C2R);
    expectInterleaved<uint8_t>(keliDCT8x8Inv_AANTransposed_16s8u_C1R,
                               keliDCT8x8Inv_AANTransposed_16s8u_P2C2R);
}

TEST(InverseDct, MayReplaceItsCoefficients)
{
    Random random(5);
    for (const int32_t count : {0, 9, fullCount}) {
        Block block = randomBlock(random, -2048, 2047);
        Block expected;
        keliDCT8x8Inv_AANTransposed_16s_C1R(block.data(), expected.data(), 16, count);
        keliDCT8x8Inv_AANTransposed_16s_C1R(block.data(), block.data(), 16, count);
        ASSERT_EQ(block, expected) << "count " << count;
    }
}

TEST(InverseDct, RefusesNullPointersAndThenBadSteps)
{
    const Block u{};
    const Block v{};
    std::array<int16_t, 128> words{};
    std::array<uint8_t, 128> bytes{};
    for (const int32_t step : {32, 0}) {
        expectNullPointersRefused(keliDCT8x8Inv_AANTransposed_16s_C1R, {}, u.data(), words.data(), step, 0);
        expectNullPointersRefused(keliDCT8x8Inv_AANTransposed_16s8u_C1R, {}, u.data(), bytes.data(), step, 0);
        expectNullPointersRefused(keliDCT8x8Inv_AANTransposed_16s_P2C2R, {}, u.data(), v.data(), words.data(),
                                  step, 0, 0);
        expectNullPointersRefused(keliDCT8x8Inv_AANTransposed_16s8u_P2C2R, {}, u.data(), v.data(),
                                  bytes.data(), step, 0, 0);
    }
    for (const int32_t step : {0, -32}) {
        words.fill(7);
        bytes.fill(7);
        EXPECT_EQ(keliDCT8x8Inv_AANTransposed_16s_C1R(u.data(), words.data(), step, 0), StatusBadStep);
        EXPECT_EQ(keliDCT8x8Inv_AANTransposed_16s8u_C1R(u.data(), bytes.data(), step, 0), StatusBadStep);
        EXPECT_EQ(keliDCT8x8Inv_AANTransposed_16s_P2C2R(u.data(), v.data(), words.data(), step, 0, 0),
                  StatusBadStep);
        EXPECT_EQ(keliDCT8x8Inv_AANTransposed_16s8u_P2C2R(u.data(), v.data(), bytes.data(), step, 0, 0),
                  StatusBadStep);
        EXPECT_TRUE(std::all_of(words.begin(), words.end(), [](int16_t w) { return w == 7; }));
        EXPECT_TRUE(std::all_of(bytes.begin(), bytes.end(), [](uint8_t b) { return b == 7; }));
    }
}

} // namespace
} // namespace kelvcpx::test
