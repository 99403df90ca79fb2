// The steps of residual decoding one by one, and those of SP and SI slices.

#include "h264/plain_macroblock.h"
#include "h264/plain_residual.h"
#include "support/arguments.h"
#include "support/plane.h"
#include "support/random.h"

#include <kelvcpx/h264_transform.h>

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <vector>

namespace kelvcpx::test {
namespace {

using Coefficients = std::vector<int16_t>;

constexpr int quantisers = 52;

// LevelScale4x4 of flat lists without their 16, times 2^(QP / 6).
int64_t factor(int qp, int k)
{
    return int64_t{plainFlatScale(4, qp, k) / 16} << (qp / 6);
}

// Calls check(qp, random) many times for every quantiser.
template <class Check>
void forEveryQp(Check check)
{
    Random random(1);
    for (int qp = 0; qp < quantisers; qp++)
        for (int round = 0; round < 60; round++)
            check(qp, random);
}

TEST(LumaDcStep, TransformsAndScales)
{
    forEveryQp([](int qp, Random& random) {
        Coefficients c = randomBlock<int16_t>(random, 16);
        Block f = plainHadamard(Block(c.begin(), c.end()));
        for (int64_t& v : f)
            v = plainScale(v, plainFlatScale(4, qp, 0), qp, 6);
        EXPECT_EQ(keliTransformDequantLumaDC_H264_16s_C1I(c.data(), qp), StatusOk);
        ASSERT_EQ(Block(c.begin(), c.end()), f) << "QP " << qp;
    });
}

TEST(ChromaDcStep, TransformsAndScales)
{
    forEveryQp([](int qp, Random& random) {
        Coefficients c = randomBlock<int16_t>(random, 4);
        Block f = {c[0] + c[1] + c[2] + c[3], c[0] - c[1] + c[2] - c[3], c[0] + c[1] - c[2] - c[3],
                   c[0] - c[1] - c[2] + c[3]};
        for (int64_t& v : f)
            v = low16((v * factor(qp, 0)) >> 1);
        EXPECT_EQ(keliTransformDequantChromaDC_H264_16s_C1I(c.data(), qp), StatusOk);
        ASSERT_EQ(Block(c.begin(), c.end()), f) << "QP " << qp;
    });
}

Block plainResidual(const Coefficients& c, int qp, const int16_t* dc, bool hasAc)
{
    Block d(16, 0);
    for (std::size_t k = 0; k < 16; k++)
        if (k == 0 || hasAc)
            d[k] = low16(c[k] * factor(qp, static_cast<int>(k)));
    if (dc != nullptr)
        d[0] = *dc;
    return plainTransform(d);
}

TEST(ResidualStep, ScalesAndTransforms)
{
    forEveryQp([](int qp, Random& random) {
        const Coefficients c = randomBlock<int16_t>(random, 16);
        const auto dc = random.extreme<int16_t>();
        const int16_t* const pDc = random.oneIn(2) ? &dc : nullptr;
        const int32_t hasAc = random.oneIn(2) ? 0 : 256;
        const Block residual = plainResidual(c, qp, pDc, hasAc != 0);

        Plane<int16_t> block(4, 4);
        for (int k = 0; k < 16; k++)
            block.at(k % 4, k / 4) = c[static_cast<std::size_t>(k)];
        Plane<int16_t> expected = block;
        for (int k = 0; k < 16; k++)
            expected.at(k % 4, k / 4) = static_cast<int16_t>(residual[static_cast<std::size_t>(k)]);
        EXPECT_EQ(keliDequantTransformResidual_H264_16s_C1I(block.data(), block.step(), pDc, hasAc, qp),
                  StatusOk);
        ASSERT_EQ(block, expected) << "QP " << qp;
    });
}

TEST(ResidualStep, AddsToThePrediction)
{
    forEveryQp([](int qp, Random& random) {
        const Coefficients c = randomBlock<int16_t>(random, 16);
        const auto dc = random.extreme<int16_t>();
        const bool hasAc = random.oneIn(2);
        const bool withDc = random.oneIn(2);
        const bool withCoefficients = !withDc || random.oneIn(2);
        const bool transforms = hasAc && withCoefficients;
        Block residual;
        if (transforms)
            residual = plainResidual(c, qp, withDc ? &dc : nullptr, true);
        else
            residual.assign(16, ((withDc ? dc : c[0] * factor(qp, 0)) + 32) >> 6);

        const Plane<uint8_t> prediction = randomPlane<uint8_t>(random, 4, 4, 8);
        Plane<uint8_t> dst(4, 4, 8, 5);
        Plane<uint8_t> expected = dst;
        for (int k = 0; k < 16; k++)
            expected.at(k % 4, k / 4) = prediction.at(k % 4, k / 4);
        addToPlane(expected, 0, 0, residual, 8);
        Coefficients left = c;
        EXPECT_EQ(keliDequantTransformResidualAndAdd_H264_16s_C1I(
                      prediction.data(), withCoefficients ? left.data() : nullptr, withDc ? &dc : nullptr,
                      dst.data(), prediction.step(), dst.step(), qp, hasAc ? 1 : 0),
                  StatusOk);
        ASSERT_EQ(dst, expected) << "QP " << qp;
        ASSERT_EQ(Block(left.begin(), left.end()), transforms ? residual : Block(c.begin(), c.end()));
    });
}

Block plainForward(const Plane<uint8_t>& samples, int x0, int y0)
{
    constexpr int core[4][4] = {{1, 1, 1, 1}, {2, 1, -1, -2}, {1, -1, -1, 1}, {1, -2, 2, -1}};
    Block c(16, 0);
    for (int i = 0; i < 4; i++)
        for (int j = 0; j < 4; j++)
            for (int y = 0; y < 4; y++)
                for (int x = 0; x < 4; x++)
                    c[static_cast<std::size_t>(4 * i + j)] +=
                        core[i][y] * core[j][x] * samples.at(x0 + x, y0 + y);
    return c;
}

TEST(SwitchingSteps, TransformThePrediction)
{
    Random random(2);
    for (int round = 0; round < 200; round++) {
        const Plane<uint8_t> prediction = randomPlane<uint8_t>(random, 4, 4, 8);
        Coefficients c(17, 99);
        EXPECT_EQ(keliTransformPrediction_H264_8u16s_C1(prediction.data(), prediction.step(), c.data()),
                  StatusOk);
        EXPECT_EQ(c.back(), 99);
        c.pop_back();
        ASSERT_EQ(Block(c.begin(), c.end()), plainForward(prediction, 0, 0));
    }
}

// 8.6.1: quantised with QS and scaled again; coefficients that are the sum of more have a bit more to lose.
int64_t plainRequantised(int64_t u, int qs, int k, int bits)
{
    constexpr int scale[6][3] = {{13107, 5243, 8066}, {11916, 4660, 7490}, {10082, 4194, 6554},
                                 {9362, 3647, 5825},  {8192, 3355, 5243},  {7282, 2893, 4559}};
    const int kind = k / 4 % 2 == 0 && k % 2 == 0 ? 0 : k / 4 % 2 == 1 && k % 2 == 1 ? 1 : 2;
    const int64_t level =
        (std::abs(u) * scale[qs % 6][kind] + (int64_t{1} << (14 + bits + qs / 6))) >> (15 + bits + qs / 6);
    return (u < 0 ? -level : level) * factor(qs, k);
}

TEST(SwitchingSteps, ReconstructSamples)
{
    constexpr int weights[16] = {16, 20, 16, 20, 20, 25, 20, 25, 16, 20, 16, 20, 20, 25, 20, 25};
    forEveryQp([&](int qs, Random& random) {
        Coefficients levels = randomBlock<int16_t>(random, 16);
        const Coefficients prediction = randomBlock<int16_t>(random, 16);
        const int qp = random.uniform<int>(0, 51);
        const bool switching = random.oneIn(2);
        const bool hasAc = random.oneIn(2);
        const auto dc = random.extreme<int16_t>();
        const bool withDc = random.oneIn(2);
        Block d(16);
        for (int k = 0; k < 16; k++) {
            const auto i = static_cast<std::size_t>(k);
            const int64_t scaled = (levels[i] * factor(switching ? qs : qp, k) * weights[i]) >> 6;
            d[i] = low16(plainRequantised(prediction[i] + (k == 0 || hasAc ? scaled : 0), qs, k, 0));
        }
        if (withDc)
            d[0] = dc;
        Block samples = plainTransform(d);
        for (int64_t& sample : samples)
            sample = std::clamp<int64_t>(sample, 0, 255);
        EXPECT_EQ(keliDequantTransformResidual_SISP_H264_16s_C1I(levels.data(), prediction.data(),
                                                                 withDc ? &dc : nullptr, hasAc ? 1 : 0, qp,
                                                                 qs, switching ? 1 : 0),
                  StatusOk);
        ASSERT_EQ(Block(levels.begin(), levels.end()), samples) << "QP " << qp << ", QS " << qs;
    });
}

TEST(SwitchingSteps, ReconstructChromaDc)
{
    constexpr int sign[4][4] = {{1, 1, 1, 1}, {1, -1, 1, -1}, {1, 1, -1, -1}, {1, -1, -1, 1}};
    forEveryQp([&](int qs, Random& random) {
        Coefficients levels = randomBlock<int16_t>(random, 4);
        const Coefficients prediction = randomBlock<int16_t>(random, 4);
        const int qp = random.uniform<int>(0, 51);
        const bool switching = random.oneIn(2);
        Block d(4);
        for (std::size_t k = 0; k < 4; k++) {
            int64_t u = (levels[k] * factor(switching ? qs : qp, 0) * 16) >> 5;
            for (std::size_t i = 0; i < 4; i++)
                u += sign[k][i] * prediction[i];
            d[k] = plainRequantised(u, qs, 0, 1);
        }
        Block expected(4);
        for (std::size_t k = 0; k < 4; k++)
            expected[k] =
                low16((sign[k][0] * d[0] + sign[k][1] * d[1] + sign[k][2] * d[2] + sign[k][3] * d[3]) >> 1);
        EXPECT_EQ(keliTransformDequantChromaDC_SISP_H264_16s_C1I(levels.data(), prediction.data(), qp, qs,
                                                                 switching ? 1 : 0),
                  StatusOk);
        ASSERT_EQ(Block(levels.begin(), levels.end()), expected) << "QP " << qp << ", QS " << qs;
    });
}

// Without levels and with a fine QS, a predicted chroma component comes back through all steps.
TEST(SwitchingSteps, KeepAPrediction)
{
    Random random(3);
    for (int round = 0; round < 200; round++) {
        const Plane<uint8_t> plane = randomPlane<uint8_t>(random, 8, 8, 8);
        const int qs = random.uniform<int>(0, 4);
        std::array<Coefficients, 4> blocks;
        Coefficients predictedDc;
        for (int i = 0; i < 4; i++) {
            Coefficients& c = blocks[static_cast<std::size_t>(i)];
            c.resize(16);
            keliTransformPrediction_H264_8u16s_C1(&plane.at(i % 2 * 4, i / 2 * 4), plane.step(), c.data());
            predictedDc.push_back(c[0]);
        }
        Coefficients dc(4, 0);
        keliTransformDequantChromaDC_SISP_H264_16s_C1I(dc.data(), predictedDc.data(), 28, qs, 0);
        for (int i = 0; i < 4; i++) {
            const auto b = static_cast<std::size_t>(i);
            Coefficients samples(16, 0);
            keliDequantTransformResidual_SISP_H264_16s_C1I(samples.data(), blocks[b].data(),
                                                           round % 2 == 0 ? &dc[b] : nullptr, 1, 28, qs, 0);
            for (int k = 0; k < 16; k++)
                ASSERT_NEAR(samples[static_cast<std::size_t>(k)],
                            plane.at(i % 2 * 4 + k % 4, i / 2 * 4 + k / 4), 2);
        }
    }
}

TEST(Steps8x8, Scale)
{
    Random random(4);
    for (int round = 0; round < 900; round++) {
        const int period = round % 9;
        Coefficients c = randomBlock<int16_t>(random, 64);
        const Coefficients scales = randomScales(random, 8, random.uniform<int>(0, 5));
        Block expected(64);
        for (std::size_t k = 0; k < 64; k++)
            expected[k] = plainScale(c[k], scales[k], 6 * period, 6);
        EXPECT_EQ(keliQuantLuma8x8Inv_H264_16s_C1I(c.data(), period, scales.data()), StatusOk);
        ASSERT_EQ(Block(c.begin(), c.end()), expected) << "QP / 6 " << period;
    }
}

TEST(Steps8x8, TransformAndAdd)
{
    Random random(5);
    for (int round = 0; round < 2000; round++) {
        const Coefficients c = randomBlock<int16_t>(random, 64);
        const Plane<uint8_t> prediction = randomPlane<uint8_t>(random, 8, 8, 8);
        Plane<uint8_t> dst(8, 8, 8, 5);
        Plane<uint8_t> expected = dst;
        for (int k = 0; k < 64; k++)
            expected.at(k % 8, k / 8) = prediction.at(k % 8, k / 8);
        addToPlane(expected, 0, 0, plainTransform(Block(c.begin(), c.end()), 32), 8);
        EXPECT_EQ(keliTransformLuma8x8InvAddPred_H264_16s8u_C1R(prediction.data(), prediction.step(),
                                                                c.data(), dst.data(), dst.step()),
                  StatusOk);
        ASSERT_EQ(dst, expected);
    }
}

// The factors for quantisation follow from those for scaling and the norms of the transform's rows.
TEST(Steps8x8, GenerateFactors)
{
    constexpr std::array<double, 4> norms = {8, 289.0 / 32, 5, 289.0 / 32};
    Random random(6);
    for (int rem = 0; rem < 6; rem++)
        for (const bool flat : {true, false}) {
            Plane<uint8_t> matrix(8, 8);
            if (flat)
                matrix.fill(16);
            else
                matrix.randomise(random, 1, 255);
            Coefficients scale(64);
            Coefficients quant(64);
            EXPECT_EQ(keliGenScaleLevel8x8_H264_8u16s_D2(matrix.data(), matrix.step(), scale.data(),
                                                         quant.data(), rem),
                      StatusOk);
            for (std::size_t k = 0; k < 64; k++) {
                const int weight = matrix.at(static_cast<int>(k % 8), static_cast<int>(k / 8));
                const int norm = plainFlatScale(8, rem, static_cast<int>(k)) / 16;
                EXPECT_EQ(scale[k], norm * weight);
                const double exact = 16777216 / (norm * norms[k / 8 % 4] * norms[k % 4]);
                EXPECT_EQ(quant[k], static_cast<int>(std::lround(exact)) / weight) << k;
            }
        }
}

TEST(ResidualSteps, RefuseArgumentsInOrder)
{
    std::array<int16_t, 64> c;
    c.fill(1);
    std::array<int16_t, 64> other = c;
    std::array<uint8_t, 64> samples;
    samples.fill(1);
    const auto before = c;
    int16_t* const p = c.data();
    uint8_t* const s = samples.data();

    expectNullPointersRefused(keliTransformDequantLumaDC_H264_16s_C1I, {}, p, 99);
    expectNullPointersRefused(keliTransformDequantChromaDC_H264_16s_C1I, {}, p, 99);
    expectNullPointersRefused(keliDequantTransformResidual_H264_16s_C1I, {2}, p, 0, p, 1, 99);
    expectNullPointersRefused(keliDequantTransformResidualAndAdd_H264_16s_C1I, {1, 2}, s, p, p, s, 8, 8, 99,
                              1);
    EXPECT_EQ(keliDequantTransformResidualAndAdd_H264_16s_C1I(s, nullptr, nullptr, s, 8, 8, 99, 1),
              StatusNullPointer);
    expectNullPointersRefused(keliTransformPrediction_H264_8u16s_C1, {}, s, 0, p);
    expectNullPointersRefused(keliDequantTransformResidual_SISP_H264_16s_C1I, {2}, p, p, p, 1, 99, 99, 0);
    expectNullPointersRefused(keliTransformDequantChromaDC_SISP_H264_16s_C1I, {}, p, p, 99, 99, 0);
    expectNullPointersRefused(keliQuantLuma8x8Inv_H264_16s_C1I, {}, p, 9, p);
    expectNullPointersRefused(keliTransformLuma8x8InvAddPred_H264_16s8u_C1R, {}, s, 8, p, s, 8);
    expectNullPointersRefused(keliGenScaleLevel8x8_H264_8u16s_D2, {}, s, 8, p, p, 6);

    EXPECT_EQ(keliDequantTransformResidual_H264_16s_C1I(p, 7, nullptr, 1, 99), StatusBadStep);
    EXPECT_EQ(keliTransformPrediction_H264_8u16s_C1(s, 0, p), StatusBadStep);
    for (const int32_t qp : {-1, 52}) {
        EXPECT_EQ(keliTransformDequantLumaDC_H264_16s_C1I(p, qp), StatusOutOfRange);
        EXPECT_EQ(keliTransformDequantChromaDC_H264_16s_C1I(p, qp), StatusOutOfRange);
        EXPECT_EQ(keliDequantTransformResidual_H264_16s_C1I(p, 8, nullptr, 1, qp), StatusOutOfRange);
        EXPECT_EQ(keliDequantTransformResidualAndAdd_H264_16s_C1I(s, p, nullptr, s, 8, 8, qp, 1),
                  StatusOutOfRange);
        EXPECT_EQ(keliDequantTransformResidual_SISP_H264_16s_C1I(p, p, nullptr, 1, qp, 1, 0),
                  StatusOutOfRange);
        EXPECT_EQ(keliDequantTransformResidual_SISP_H264_16s_C1I(p, p, nullptr, 1, 1, qp, 0),
                  StatusOutOfRange);
        EXPECT_EQ(keliTransformDequantChromaDC_SISP_H264_16s_C1I(p, p, qp, 1, 0), StatusOutOfRange);
        EXPECT_EQ(keliTransformDequantChromaDC_SISP_H264_16s_C1I(p, p, 1, qp, 0), StatusOutOfRange);
    }
    for (const int32_t period : {-1, 9})
        EXPECT_EQ(keliQuantLuma8x8Inv_H264_16s_C1I(p, period, other.data()), StatusBadQuantizer);
    samples[63] = 0;
    for (const int32_t rem : {-1, 6})
        EXPECT_EQ(keliGenScaleLevel8x8_H264_8u16s_D2(s, 8, p, other.data(), rem), StatusBadQuantizer);
    EXPECT_EQ(keliGenScaleLevel8x8_H264_8u16s_D2(s, 8, p, other.data(), 0), StatusDivideByZero);
    EXPECT_EQ(c, before);
    EXPECT_EQ(other, before);
}

} // namespace
} // namespace kelvcpx::test
