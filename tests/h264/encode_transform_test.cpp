#include "support/arguments.h"
#include "support/random.h"

#include <kelvcpx/h264_encode.h>
#include <kelvcpx/h264_residual.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <numeric>
#include <vector>

namespace kelvcpx::test {
namespace {

using Values = std::vector<int16_t>;

// Row i, column k is the weight of sample k in coefficient i.
using Matrix = std::vector<std::vector<int64_t>>;

const Matrix core4x4 = {{1, 1, 1, 1}, {2, 1, -1, -2}, {1, -1, -1, 1}, {1, -2, 2, -1}};
const Matrix hadamard4x4 = {{1, 1, 1, 1}, {1, 1, -1, -1}, {1, -1, -1, 1}, {1, -1, 1, -1}};
const Matrix hadamard2x2 = {{1, 1}, {1, -1}};
const Matrix core8x8 = {{8, 8, 8, 8, 8, 8, 8, 8},     {12, 10, 6, 3, -3, -6, -10, -12},
                        {8, 4, -4, -8, -8, -4, 4, 8}, {10, -3, -12, -6, 6, 12, 3, -10},
                        {8, -8, -8, 8, 8, -8, -8, 8}, {6, -12, 3, 10, -10, -3, 12, -6},
                        {4, -8, 8, -4, -4, 8, -8, 4}, {3, -6, 10, -12, 12, -10, 6, -3}};

// M * x * transposed M.
std::vector<int64_t> transformed(const Matrix& m, const Values& x)
{
    const std::size_t n = m.size();
    std::vector<int64_t> y(n * n);
    for (std::size_t i = 0; i < n; i++)
        for (std::size_t j = 0; j < n; j++)
            for (std::size_t k = 0; k < n; k++)
                for (std::size_t l = 0; l < n; l++)
                    y[i * n + j] += m[i][k] * m[j][l] * x[k * n + l];
    return y;
}

Values low16(const std::vector<int64_t>& values)
{
    Values result;
    for (const int64_t v : values)
        result.push_back(static_cast<int16_t>(v));
    return result;
}

// Residuals of ordinary, of all 8-bit and of all samples.
Values randomValues(Random& random, std::size_t size)
{
    constexpr int limits[] = {3, 20, 255, 255, 4095, 32768};
    const int limit = limits[random.uniform<int>(0, 5)];
    Values values(size);
    for (int16_t& v : values)
        v = random.extreme<int16_t>(-limit, std::min(limit, 32767));
    return values;
}

Values randomScanPositions(Random& random, std::size_t size)
{
    Values positions(size);
    std::iota(positions.begin(), positions.end(), int16_t{0});
    for (std::size_t i = size; i > 1; i--)
        std::swap(positions[i - 1], positions[random.uniform<std::size_t>(0, static_cast<int64_t>(i) - 1)]);
    return positions;
}

// F by QP % 6 and by position.
int64_t factor(int qp, std::size_t k)
{
    constexpr int factors[6][3] = {{13107, 5243, 8066}, {11916, 4660, 7490}, {10082, 4194, 6554},
                                   {9362, 3647, 5825},  {8192, 3355, 5243},  {7282, 2893, 4559}};
    const std::size_t odd = k / 4 % 2 + k % 2;
    return factors[qp % 6][odd == 0 ? 0 : odd == 2 ? 1 : 2];
}

struct Quantised {
    Status status = StatusOk;
    Values block; // levels, as far as they are not too large
    int numLevels = 0;
    int lastPos = 0;

    bool operator==(const Quantised&) const = default;
};

// `factorAt` gives the factor of a coefficient. What is not quantised keeps the value it has in `block`.
template <class FactorAt>
Quantised quantise(const Values& coefficients, Values block, FactorAt factorAt, int qbits, int64_t offset,
                   int64_t limit, const Values& scanPos)
{
    Quantised result{StatusOk, std::move(block)};
    for (std::size_t k = 0; k < coefficients.size(); k++) {
        const int64_t c = coefficients[k];
        const int64_t magnitude = (std::abs(c) * factorAt(k) + offset) >> qbits;
        if (magnitude > limit)
            return {StatusLevelTooLarge, result.block};
        result.block[k] = static_cast<int16_t>(c < 0 ? -magnitude : magnitude);
        if (result.block[k] != 0) {
            result.numLevels++;
            result.lastPos = std::max(result.lastPos, int{scanPos[k]});
        }
    }
    if (result.block[0] != 0)
        result.numLevels = -result.numLevels;
    return result;
}

constexpr int64_t largestLevel = 2063;

class EncodeTransform : public testing::Test
{
protected:
    Random random_{1};
    uint8_t numLevels_ = 0;
    uint8_t lastPos_ = 0;

    // The operation's results, those that are specified.
    Quantised results(Status status, const Values& block) const
    {
        if (status != StatusOk)
            return {status, block};
        return {status, block, static_cast<int8_t>(numLevels_), lastPos_};
    }
};

TEST_F(EncodeTransform, QuantisesResiduals)
{
    for (int qp = 0; qp <= 51; qp++)
        for (int i = 0; i < 200; i++) {
            const Values residual = randomValues(random_, 16);
            const Values scanPos = randomScanPositions(random_, 16);
            const auto intra = random_.uniform<uint8_t>(0, 2);
            const Values c = low16(transformed(core4x4, residual));
            const int qbits = 15 + qp / 6;
            const Quantised expected = quantise(
                c, c, [=](std::size_t k) { return factor(qp, k); }, qbits,
                (1 << qbits) / (intra != 0 ? 3 : 6), largestLevel, scanPos);
            Values block = residual;
            const Status status = keliTransformQuantResidual_H264_16s_C1I(block.data(), qp, &numLevels_,
                                                                          intra, scanPos.data(), &lastPos_);
            ASSERT_EQ(results(status, block), expected) << "QP " << qp;
        }
}

TEST_F(EncodeTransform, QuantisesLumaDc)
{
    for (int qp = 0; qp <= 51; qp++)
        for (int i = 0; i < 200; i++) {
            const Values dc = randomValues(random_, 16);
            const Values scanPos = randomScanPositions(random_, 16);
            const bool transform = random_.oneIn(2);
            Values c = transform ? Values(16) : randomValues(random_, 16);
            Values transformedDc = c;
            if (transform) {
                std::vector<int64_t> sums = transformed(hadamard4x4, dc);
                std::for_each(sums.begin(), sums.end(), [](int64_t& v) { v >>= 1; });
                c = low16(sums);
            }
            const int qbits = 16 + qp / 6;
            const Quantised expected = quantise(
                c, dc, [=](std::size_t) { return factor(qp, 0); }, qbits, (1 << qbits) / 3, largestLevel,
                scanPos);
            Values block = dc;
            const Status status =
                keliTransformQuantLumaDC_H264_16s_C1I(block.data(), transformedDc.data(), qp, &numLevels_,
                                                      transform ? 2 : 0, scanPos.data(), &lastPos_);
            ASSERT_EQ(results(status, block), expected) << "QP " << qp << ", transform " << transform;
            ASSERT_EQ(transformedDc, c);
        }
}

TEST_F(EncodeTransform, QuantisesChromaDc)
{
    const Values noScan(4);
    for (int qp = 0; qp <= 39; qp++)
        for (int i = 0; i < 200; i++) {
            const Values dc = randomValues(random_, 4);
            const auto intra = random_.uniform<uint8_t>(0, 2);
            const bool transform = random_.oneIn(2);
            Values transformedDc = transform ? Values(4) : randomValues(random_, 4);
            const Values c = transform ? low16(transformed(hadamard2x2, dc)) : transformedDc;
            const int qbits = 16 + qp / 6;
            const Quantised expected = quantise(
                c, dc, [=](std::size_t) { return factor(qp, 0); }, qbits, (1 << qbits) / (intra != 0 ? 3 : 6),
                largestLevel, noScan);
            Values block = dc;
            const Status status = keliTransformQuantChromaDC_H264_16s_C1I(
                block.data(), transformedDc.data(), qp, &numLevels_, intra, transform ? 1 : 0);
            ASSERT_EQ(results(status, block), expected) << "QP " << qp << ", transform " << transform;
            ASSERT_EQ(transformedDc, c);
        }
}

// The first level that is too large may be any of them, of either sign.
TEST_F(EncodeTransform, StopsAtLevelsThatAreTooLarge)
{
    Values scanPos = randomScanPositions(random_, 16);
    for (const int level : {2063, 2064, -2063, -2064})
        for (std::size_t k = 0; k < 16; k++) {
            // At QP 0 the quantiser step of coefficients is 5.
            Values transformedDc(16, 10);
            transformedDc[k] = static_cast<int16_t>(5 * level);
            const Values c = transformedDc;
            Values block(16, 77);
            Values expected(16, 2);
            const bool large = std::abs(level) > largestLevel;
            if (large)
                std::fill(expected.begin() + static_cast<std::ptrdiff_t>(k), expected.end(), int16_t{77});
            else
                expected[k] = static_cast<int16_t>(level);
            ASSERT_EQ(keliTransformQuantLumaDC_H264_16s_C1I(block.data(), transformedDc.data(), 0,
                                                            &numLevels_, 0, scanPos.data(), &lastPos_),
                      large ? StatusLevelTooLarge : StatusOk)
                << level << " at " << k;
            ASSERT_EQ(block, expected) << level << " at " << k;
            ASSERT_EQ(transformedDc, c);
        }
}

// One row or column, as one reads it in 8.5.13 backwards.
std::array<int64_t, 8> plainForward8(const std::array<int64_t, 8>& x)
{
    const int64_t a0 = x[0] + x[7], a1 = x[1] + x[6], a2 = x[2] + x[5], a3 = x[3] + x[4];
    const int64_t a4 = x[0] - x[7], a5 = x[1] - x[6], a6 = x[2] - x[5], a7 = x[3] - x[4];
    const int64_t b0 = a0 + a3, b1 = a1 + a2, b2 = a0 - a3, b3 = a1 - a2;
    const int64_t b4 = a5 + a6 + (a4 >> 1) + a4;
    const int64_t b5 = a4 - a7 - (a6 >> 1) - a6;
    const int64_t b6 = a4 + a7 - (a5 >> 1) - a5;
    const int64_t b7 = a5 - a6 + (a7 >> 1) + a7;
    return {b0 + b1, b4 + (b7 >> 2), b2 + (b3 >> 1), b5 + (b6 >> 2),
            b0 - b1, b6 - (b5 >> 2), (b2 >> 1) - b3, (b4 >> 2) - b7};
}

// Transforms rows (distance 1) or columns (distance 8), and keeps 16 bits.
void plainPass(Values& block, std::size_t line, std::size_t distance)
{
    for (std::size_t i = 0; i < 8; i++) {
        std::array<int64_t, 8> x;
        for (std::size_t k = 0; k < 8; k++)
            x[k] = block[i * line + k * distance];
        x = plainForward8(x);
        for (std::size_t k = 0; k < 8; k++)
            block[i * line + k * distance] = static_cast<int16_t>(x[k]);
    }
}

TEST_F(EncodeTransform, TransformsBlocksOf8x8)
{
    for (int i = 0; i < 5000; i++) {
        const Values residual = randomValues(random_, 64);
        Values expected = residual;
        plainPass(expected, 8, 1);
        plainPass(expected, 1, 8);
        Values block = residual;
        ASSERT_EQ(keliTransformLuma8x8Fwd_H264_16s_C1I(block.data()), StatusOk);
        ASSERT_EQ(block, expected);
    }
}

// The butterflies of the transform are those of its matrix but for what the shifts cut off.
TEST_F(EncodeTransform, OfBlocksOf8x8IsThatOfTheMatrix)
{
    for (int i = 0; i < 1000; i++) {
        Values block(64);
        for (int16_t& v : block)
            v = random_.extreme<int16_t>(-255, 255);
        const std::vector<int64_t> exact = transformed(core8x8, block);
        keliTransformLuma8x8Fwd_H264_16s_C1I(block.data());
        for (std::size_t k = 0; k < 64; k++)
            ASSERT_NEAR(block[k], static_cast<double>(exact[k]) / 64, 20) << "coefficient " << k;
    }
}

TEST_F(EncodeTransform, QuantisesBlocksOf8x8)
{
    for (int qpPer = 0; qpPer <= 8; qpPer++)
        for (int i = 0; i < 1000; i++) {
            const Values c = randomValues(random_, 64);
            const Values scanPos = randomScanPositions(random_, 64);
            const auto intra = random_.uniform<int32_t>(0, 2);
            Values scale(64);
            for (int16_t& s : scale)
                s = random_.extreme<int16_t>(0, random_.oneIn(3) ? 32767 : 1048);
            const Quantised expected = quantise(
                c, Values(64), [&](std::size_t k) { return scale[k]; }, qpPer + 12,
                (intra != 0 ? 682 : 342) << (qpPer + 1), INT32_MAX, scanPos);
            Values levels(64, 77);
            int32_t numLevels = 0;
            int32_t lastPos = -1;
            ASSERT_EQ(keliQuantLuma8x8_H264_16s_C1(c.data(), levels.data(), qpPer, intra, scanPos.data(),
                                                   scale.data(), &numLevels, &lastPos),
                      StatusOk);
            ASSERT_EQ((Quantised{StatusOk, levels, numLevels, lastPos}), expected) << "QP / 6 " << qpPer;
        }
}

// What the decoder makes of the levels is near the residual: quantiser steps double every six QP.
TEST_F(EncodeTransform, IsUndoneByReconstruction)
{
    const Values scanPos = randomScanPositions(random_, 16);
    for (int qp = 0; qp <= 51; qp++) {
        const double step = 0.625 * std::exp2(qp / 6.0);
        for (int i = 0; i < 50; i++) {
            Values residual(16);
            for (int16_t& v : residual)
                v = random_.uniform<int16_t>(-100, 100);
            Values levels(16 * 16);
            std::copy(residual.begin(), residual.end(), levels.begin());
            ASSERT_EQ(keliTransformQuantResidual_H264_16s_C1I(levels.data(), qp, &numLevels_, 1,
                                                              scanPos.data(), &lastPos_),
                      StatusOk);
            std::array<uint8_t, 256> samples;
            samples.fill(128);
            int16_t* next = levels.data();
            ASSERT_EQ(keliReconstructLumaInterMB_H264_16s8u_C1R(&next, samples.data(), 16, 2, qp), StatusOk);
            double squares = 0;
            for (std::size_t k = 0; k < 16; k++)
                squares += std::pow(samples[k / 4 * 16 + k % 4] - 128 - residual[k], 2);
            ASSERT_LT(std::sqrt(squares / 16), 1 + step * 2 / 3) << "QP " << qp;
        }
    }
}

TEST_F(EncodeTransform, ChecksItsArguments)
{
    Values block(64);
    Values other(64);
    Values scanPos(64);
    int32_t numLevels = 0;
    int32_t lastPos = 0;
    expectNullPointersRefused(keliTransformQuantResidual_H264_16s_C1I, {}, block.data(), -1, &numLevels_, 1,
                              scanPos.data(), &lastPos_);
    expectNullPointersRefused(keliTransformQuantLumaDC_H264_16s_C1I, {}, block.data(), other.data(), -1,
                              &numLevels_, 1, scanPos.data(), &lastPos_);
    expectNullPointersRefused(keliTransformQuantChromaDC_H264_16s_C1I, {}, block.data(), other.data(), -1,
                              &numLevels_, 1, 1);
    expectNullPointersRefused(keliTransformLuma8x8Fwd_H264_16s_C1I, {}, block.data());
    expectNullPointersRefused(keliQuantLuma8x8_H264_16s_C1, {}, block.data(), other.data(), -1, 1,
                              scanPos.data(), other.data(), &numLevels, &lastPos);
    for (const int qp : {-1, 52})
        EXPECT_EQ(keliTransformQuantResidual_H264_16s_C1I(block.data(), qp, &numLevels_, 1, scanPos.data(),
                                                          &lastPos_),
                  StatusOutOfRange);
    for (const int qp : {-1, 52})
        EXPECT_EQ(keliTransformQuantLumaDC_H264_16s_C1I(block.data(), other.data(), qp, &numLevels_, 1,
                                                        scanPos.data(), &lastPos_),
                  StatusOutOfRange);
    for (const int qp : {-1, 40})
        EXPECT_EQ(keliTransformQuantChromaDC_H264_16s_C1I(block.data(), other.data(), qp, &numLevels_, 1, 1),
                  StatusOutOfRange);
    for (const int qpPer : {-1, 9})
        EXPECT_EQ(keliQuantLuma8x8_H264_16s_C1(block.data(), other.data(), qpPer, 1, scanPos.data(),
                                               other.data(), &numLevels, &lastPos),
                  StatusBadQuantizer);
}

} // namespace
} // namespace kelvcpx::test
