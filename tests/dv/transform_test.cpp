#include "support/arguments.h"
#include "support/plane.h"

#include <kelvcpx/dv.h>

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <numbers>

namespace kelvcpx::test {
namespace {

using Block = std::array<int16_t, 64>;
using RealBlock = std::array<double, 64>;

int16_t low16(int64_t v)
{
    return static_cast<int16_t>(v);
}

Block randomBlock(Random& random, int range)
{
    Block block;
    for (int16_t& value : block)
        value = random.extreme<int16_t>(-range, range);
    return block;
}

TEST(DvQuantInv, FollowsItsFormulaForAnyValues)
{
    Random random(50);
    for (int round = 0; round < 3000; round++) {
        Plane<int16_t> single(64, 1);
        single.randomise(random);
        Plane<int16_t> weighted = single;
        const Block f = randomBlock(random, 32767);
        const Block w = randomBlock(random, round % 2 == 0 ? 32767 : 300);
        Plane<int16_t> expectedSingle = single;
        Plane<int16_t> expectedWeighted = single;
        for (std::size_t i = 0; i < 64; i++) {
            const int64_t c = single.data()[i];
            expectedSingle.data()[i] = low16((c * f[i] >> 14) & ~int64_t{3});
            expectedWeighted.data()[i] = low16(static_cast<int32_t>((c >> 3) * f[i] * w[i]) >> 16);
        }
        ASSERT_EQ(keliQuantInv_DV_16s_C1I(single.data(), f.data()), StatusOk);
        ASSERT_EQ(keliQuantWeightBlockInv_DV_16s_C1I(weighted.data(), f.data(), w.data()), StatusOk);
        ASSERT_EQ(single, expectedSingle);
        ASSERT_EQ(weighted, expectedWeighted);
    }
}

// The orthonormal DCT of N values at the frequency k.
double basis(int N, int k, int n)
{
    return std::cos((2 * n + 1) * k * std::numbers::pi / (2 * N)) * std::sqrt((k == 0 ? 1.0 : 2.0) / N);
}

// The exact 2-4-8 DCT of the standard: rows 0..3 are of sums, rows 4..7 of differences, all divided by the
// root of two, so that the transform is orthonormal.
double basis248(std::size_t coefficient, std::size_t sample)
{
    const int v = static_cast<int>(coefficient / 8);
    const int y = static_cast<int>(sample / 8);
    const double field = v >= 4 && y % 2 == 1 ? -1 : 1;
    return basis(8, static_cast<int>(coefficient % 8), static_cast<int>(sample % 8)) *
           basis(4, v % 4, y / 2) * field / std::numbers::sqrt2;
}

RealBlock transformed(const Block& samples)
{
    RealBlock result{};
    for (std::size_t k = 0; k < 64; k++)
        for (std::size_t n = 0; n < 64; n++)
            result[k] += basis248(k, n) * samples[n];
    return result;
}

TEST(Dct248, ForwardIsCloseToTheExactTransform)
{
    Random random(51);
    double squares = 0;
    constexpr int rounds = 300;
    for (int round = 0; round < rounds; round++) {
        Block block = randomBlock(random, 255);
        const RealBlock exact = transformed(block);
        ASSERT_EQ(keliDCT2x4x8Frw_16s_C1I(block.data()), StatusOk);
        for (std::size_t i = 0; i < 64; i++) {
            ASSERT_NEAR(block[i], exact[i], 2) << i;
            squares += (block[i] - exact[i]) * (block[i] - exact[i]);
        }
    }
    EXPECT_LT(squares / (64 * rounds), 0.2);
}

TEST(Dct248, InverseRestoresTheSamples)
{
    Random random(52);
    double squares = 0;
    constexpr int rounds = 300;
    for (int round = 0; round < rounds; round++) {
        const Block samples = randomBlock(random, 255);
        const RealBlock exact = transformed(samples);
        Block block;
        for (std::size_t i = 0; i < 64; i++)
            block[i] = low16(std::lround(exact[i]));
        ASSERT_EQ(keliDCT2x4x8Inv_16s_C1I(block.data()), StatusOk);
        for (std::size_t i = 0; i < 64; i++) {
            ASSERT_NEAR(block[i], samples[i], 2) << i;
            squares += (block[i] - samples[i]) * (block[i] - samples[i]);
        }
    }
    EXPECT_LT(squares / (64 * rounds), 0.5);
}

int32_t wrap(int64_t v)
{
    return static_cast<int32_t>(v);
}

// The forward transform in numbers of 32 bits, value by value. The odd frequencies of columns lack a factor
// of cos(pi / 8), which the weights of their rows make up for.
struct PlainForward {
    static std::array<int16_t, 4> column(const std::array<int64_t, 4>& y)
    {
        const auto turned = [](int64_t v) { return wrap(v * 27146 + 32768) >> 16; }; // by tan(pi / 8)
        const int64_t c = y[0] - y[3], e = y[1] - y[2];
        return {low16(y[0] + y[3] + y[1] + y[2]), low16(c + turned(e)), low16(y[0] + y[3] - y[1] - y[2]),
                low16(turned(c) - e)};
    }

    static int16_t coefficient(const std::array<int64_t, 8>& z, int m, bool oddRow)
    {
        using std::numbers::pi, std::numbers::sqrt2;
        int64_t sum = 32768;
        for (int n = 0; n < 4; n++) {
            const double weight = 8192 * (m == 0 ? 1 : sqrt2) * std::cos((2 * n + 1) * m * pi / 16) *
                                  (oddRow ? sqrt2 * std::cos(pi / 8) : 1);
            const auto i = static_cast<std::size_t>(n);
            sum += std::lround(weight) * (m % 2 == 0 ? z[i] + z[7 - i] : z[i] - z[7 - i]);
        }
        return low16(wrap(sum) >> 16);
    }

    static void transform(int16_t* block)
    {
        std::array<std::array<int64_t, 8>, 8> rows;
        for (std::size_t x = 0; x < 8; x++) {
            std::array<int64_t, 4> sums, differences;
            for (std::size_t i = 0; i < 4; i++) {
                sums[i] = block[16 * i + x] + block[16 * i + 8 + x];
                differences[i] = block[16 * i + x] - block[16 * i + 8 + x];
            }
            for (std::size_t i = 0; i < 4; i++) {
                rows[i][x] = column(sums)[i];
                rows[4 + i][x] = column(differences)[i];
            }
        }
        for (std::size_t k = 0; k < 64; k++)
            block[k] = coefficient(rows[k / 8], static_cast<int>(k % 8), k / 8 % 2 != 0);
    }
};

// The inverse transform likewise.
struct PlainInverse {
    static void row(int16_t* x)
    {
        const int64_t a1 = 22725 * x[1] + 4520 * x[7], a2 = 4520 * x[1] - 22725 * x[7];
        const int64_t b1 = 19265 * x[3] + 12872 * x[5], b2 = 19265 * x[5] - 12872 * x[3];
        const int64_t c1 = 21406 * x[2] + 8866 * x[6], c2 = 8866 * x[2] - 21406 * x[6];
        const int64_t e0 = (x[0] + x[4]) * 16384LL, e1 = (x[0] - x[4]) * 16384LL;
        const auto turned = [](int64_t sum) { return wrap(int64_t{wrap(sum + 1024) >> 11} * 11585) >> 3; };
        const int64_t odd[] = {a1 + b1, turned(a1 + a2 - b1 - b2), turned(a1 - a2 - b1 + b2), a2 + b2};
        const int64_t even[] = {e0 + c1, e1 + c2, e1 - c2, e0 - c1};
        for (int i = 0; i < 4; i++) {
            x[i] = low16(wrap(even[i] + odd[i] + 8192) >> 14);
            x[7 - i] = low16(wrap(even[i] - odd[i] + 8192) >> 14);
        }
    }

    static std::array<int16_t, 4> column(const int16_t* u)
    {
        const int64_t p = (u[0] + u[16]) * 16384LL, m = (u[0] - u[16]) * 16384LL;
        const int64_t c1 = 21406 * u[8] + 8866 * u[24], c2 = 8866 * u[8] - 21406 * u[24];
        const auto rounded = [](int64_t v) { return low16(wrap(v + 65536) >> 17); };
        return {rounded(p + c1), rounded(m + c2), rounded(m - c2), rounded(p - c1)};
    }

    static void transform(int16_t* block)
    {
        for (int r = 0; r < 8; r++)
            row(block + 8 * r);
        for (int c = 0; c < 8; c++) {
            const auto sums = column(block + c);
            const auto differences = column(block + 32 + c);
            for (std::size_t i = 0; i < 4; i++) {
                block[16 * i + static_cast<std::size_t>(c)] = low16(sums[i] + differences[i]);
                block[16 * i + 8 + static_cast<std::size_t>(c)] = low16(sums[i] - differences[i]);
            }
        }
    }
};

void expectExact(Status (*operation)(int16_t*) noexcept, void (*plain)(int16_t*))
{
    Random random(53);
    for (int round = 0; round < 2000; round++) {
        Plane<int16_t> actual(64, 1);
        const int range = round % 4 == 0 ? 32767 : round % 4 == 1 ? 2047 : round % 4 == 2 ? 200 : 3;
        actual.randomise(random, -range - 1, range);
        Plane<int16_t> expected = actual;
        plain(expected.data());
        ASSERT_EQ(operation(actual.data()), StatusOk);
        ASSERT_EQ(actual, expected);
    }
}

TEST(Dct248, IsExactFixedPoint)
{
    expectExact(keliDCT2x4x8Frw_16s_C1I, PlainForward::transform);
    expectExact(keliDCT2x4x8Inv_16s_C1I, PlainInverse::transform);
}

// Numbers worked out by hand.
TEST(Dct248, KnownBlocks)
{
    Block flat;
    flat.fill(255);
    keliDCT2x4x8Frw_16s_C1I(flat.data());
    Block expected{};
    expected[0] = 2040;
    EXPECT_EQ(flat, expected);

    Block block{};
    block[0] = 800;
    block[9] = -120;
    block[40] = 77;
    keliDCT2x4x8Inv_16s_C1I(block.data());
    const std::array<int16_t, 8> firstRow = {86, 90, 98, 108, 118, 128, 136, 140};
    EXPECT_TRUE(std::equal(firstRow.begin(), firstRow.end(), block.begin()));
}

TEST(CountZeros, CountsThem)
{
    Random random(54);
    for (int round = 0; round < 200; round++) {
        const Block block = randomBlock(random, round % 3);
        uint32_t count = 0;
        ASSERT_EQ(keliCountZeros8x8_16s_C1(block.data(), &count), StatusOk);
        EXPECT_EQ(count, std::count(block.begin(), block.end(), 0));
    }
}

TEST(DvBlocks, RefuseNullPointers)
{
    Block a{}, b{}, c{};
    uint32_t count = 0;
    expectNullPointersRefused(keliQuantInv_DV_16s_C1I, {}, a.data(), b.data());
    expectNullPointersRefused(keliQuantWeightBlockInv_DV_16s_C1I, {}, a.data(), b.data(), c.data());
    expectNullPointersRefused(keliDCT2x4x8Frw_16s_C1I, {}, a.data());
    expectNullPointersRefused(keliDCT2x4x8Inv_16s_C1I, {}, a.data());
    expectNullPointersRefused(keliCountZeros8x8_16s_C1, {}, a.data(), &count);
}

} // namespace
} // namespace kelvcpx::test
