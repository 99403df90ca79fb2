// The steps of residual decoding one by one (ITU-T H.264 8.5.9 to 8.5.13), and the decoding of SP and SI
// macroblocks (8.6).

#include "block/strip.h"
#include "core/arguments.h"
#include "core/rows.h"
#include "core/vec.h"
#include "h264/forward_transform.h"
#include "h264/reconstruct.h"

#include <kelvcpx/h264_transform.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace kelvcpx::h264 {
namespace {

// The residual of a 4x4 block, whose DC may come from elsewhere.
Coefficients<16, int16_t> residualOf(const Coefficients<16, int16_t>& c, const int16_t* dc, int32_t qp)
{
    auto scaled = DefaultScaling(qp).blocks<4, int16_t>().scaling(c);
    if (dc != nullptr)
        scaled[0] = withFirst(scaled[0], *dc);
    return transformed(scaled);
}

// A 4x4 block of coefficients whose rows are `step` bytes apart.
Coefficients<16, int16_t> loadBlock(const int16_t* block, std::ptrdiff_t step)
{
    const auto* const bytes = reinterpret_cast<const uint8_t*>(block);
    return {std::bit_cast<S16x8>(gatherRows<8, 2>(bytes, step)),
            std::bit_cast<S16x8>(gatherRows<8, 2>(bytes + 2 * step, step))};
}

void storeBlock(int16_t* block, std::ptrdiff_t step, const Coefficients<16, int16_t>& c)
{
    auto* const bytes = reinterpret_cast<uint8_t*>(block);
    scatterRows<8, 2>(bytes, step, std::bit_cast<U8x16>(c[0]));
    scatterRows<8, 2>(bytes + 2 * step, step, std::bit_cast<U8x16>(c[1]));
}

constexpr int32_t levelScale(int32_t qp, std::size_t k)
{
    return InvQuantTable[static_cast<std::size_t>(qp)][static_cast<std::size_t>(QuantIndex[k])];
}

// The residual of an 8x8 block with all the bits of the results of rows. Where the weights of sums, at most
// 7.4, leave those within 16 bits, it is the usual one.
Coefficients<64, int16_t> transformedWide(const Coefficients<64, int16_t>& c)
{
    if (areWithin(c, 32700 * 10 / 74)) [[likely]]
        return transformed(c);
    Coefficients<64, int32_t> wide;
    for (std::size_t i = 0; i < c.size(); i++) {
        wide[2 * i] = widenLow(c[i]);
        wide[2 * i + 1] = widenHigh(c[i]);
    }
    wide = transformed(wide);
    Coefficients<64, int16_t> residual;
    for (std::size_t i = 0; i < c.size(); i++)
        residual[i] = narrow(wide[2 * i], wide[2 * i + 1]);
    return residual;
}

// Quantises a coefficient at raster position k with QS and scales the level (8.6.1, 8.6.2). The DC of chroma
// has one more bit to lose.
int64_t requantised(int64_t u, std::size_t k, int32_t qs, int32_t dcBit)
{
    const int32_t shift = 15 + dcBit + qs / 6;
    const int64_t half = int64_t{1} << (shift - 1);
    const int64_t magnitude = (std::abs(u) * QuantCoef[static_cast<std::size_t>(qs % 6)][k] + half) >> shift;
    return (u > 0 ? magnitude : -magnitude) * levelScale(qs, k);
}

} // namespace
} // namespace kelvcpx::h264

using namespace kelvcpx;
using namespace kelvcpx::h264;

Status keliTransformDequantLumaDC_H264_16s_C1I(int16_t* pSrcDst, int32_t QP) noexcept
{
    if (anyNull(pSrcDst))
        return StatusNullPointer;
    if (!isQp(QP))
        return StatusOutOfRange;
    storeUnaligned(pSrcDst, transformLumaDc(pSrcDst, DefaultScaling(QP).lumaDc()));
    return StatusOk;
}

Status keliTransformDequantChromaDC_H264_16s_C1I(int16_t* pSrcDst, int32_t QP) noexcept
{
    if (anyNull(pSrcDst))
        return StatusNullPointer;
    if (!isQp(QP))
        return StatusOutOfRange;
    const auto f = hadamard2x2<int32_t>({pSrcDst[0], pSrcDst[1], pSrcDst[2], pSrcDst[3]});
    std::ranges::transform(f, pSrcDst, [scaling = DefaultScaling(QP).chromaDc()](int32_t v) {
        return static_cast<int16_t>(scaling(v));
    });
    return StatusOk;
}

Status keliDequantTransformResidual_H264_16s_C1I(int16_t* pSrcDst, int32_t srcDstStep, const int16_t* pDC,
                                                 int32_t hasAC, int32_t QP) noexcept
{
    if (anyNull(pSrcDst))
        return StatusNullPointer;
    if (srcDstStep < 8)
        return StatusBadStep;
    if (!isQp(QP))
        return StatusOutOfRange;
    const auto c = loadBlock(pSrcDst, srcDstStep);
    if (hasAC != 0) {
        storeBlock(pSrcDst, srcDstStep, residualOf(c, pDC, QP));
    } else {
        const auto dc = pDC != nullptr ? *pDC : static_cast<int16_t>(c[0][0] * levelScale(QP, 0));
        const S16x8 residual = splat16(static_cast<int16_t>((dc + 32) >> 6));
        storeBlock(pSrcDst, srcDstStep, {residual, residual});
    }
    return StatusOk;
}

Status keliDequantTransformResidualAndAdd_H264_16s_C1I(const uint8_t* pPred, int16_t* pCoeffs,
                                                       const int16_t* pDC, uint8_t* pDst, int32_t predStep,
                                                       int32_t dstStep, int32_t QP, int32_t hasAC) noexcept
{
    if (anyNull(pPred, pDst) || (anyNull(pCoeffs) && anyNull(pDC)))
        return StatusNullPointer;
    if (!isQp(QP))
        return StatusOutOfRange;
    Coefficients<16, int16_t> residual;
    if (hasAC != 0 && pCoeffs != nullptr) {
        residual = residualOf(loadCoefficients<16>(pCoeffs), pDC, QP);
        storeUnaligned(pCoeffs, residual);
    } else {
        const int32_t dc = pDC != nullptr ? *pDC : pCoeffs[0] * levelScale(QP, 0);
        residual.fill(splat16(static_cast<int16_t>(std::clamp((dc + 32) >> 6, -256, 256))));
    }
    addResidual<4>(pPred, predStep, pDst, dstStep, residual, Depth8{});
    return StatusOk;
}

Status keliTransformPrediction_H264_8u16s_C1(const uint8_t* pSrc, int32_t srcStep, int16_t* pDst) noexcept
{
    if (anyNull(pSrc, pDst))
        return StatusNullPointer;
    if (srcStep < 1)
        return StatusBadStep;
    const U8x16 samples = gatherRows<4, 4>(pSrc, srcStep);
    storeUnaligned(pDst, forwardTransformed({widenLow(samples), widenHigh(samples)}));
    return StatusOk;
}

Status keliDequantTransformResidual_SISP_H264_16s_C1I(int16_t* pSrcDst, const int16_t* pPredCoeffs,
                                                      const int16_t* pDC, int32_t hasAC, int32_t QP,
                                                      int32_t QS, int32_t isSwitching) noexcept
{
    if (anyNull(pSrcDst, pPredCoeffs))
        return StatusNullPointer;
    if (!isQp(QP) || !isQp(QS))
        return StatusOutOfRange;
    const int32_t qp = isSwitching != 0 ? QS : QP;
    std::array<int16_t, 16> d;
    for (std::size_t k = 0; k < 16; k++) {
        int64_t u = pPredCoeffs[k];
        if (k == 0 || hasAC != 0)
            u += (int64_t{pSrcDst[k]} * levelScale(qp, k) * MATR[k]) >> 6;
        d[k] = static_cast<int16_t>(requantised(u, k, QS, 0));
    }
    if (pDC != nullptr)
        d[0] = *pDC;
    auto samples = transformed(loadCoefficients<16>(d.data()));
    for (S16x8& lanes : samples)
        lanes = Depth8::clip(lanes);
    storeUnaligned(pSrcDst, samples);
    return StatusOk;
}

Status keliTransformDequantChromaDC_SISP_H264_16s_C1I(int16_t* pSrcDst, const int16_t* pPredDC, int32_t QP,
                                                      int32_t QS, int32_t isSwitching) noexcept
{
    if (anyNull(pSrcDst, pPredDC))
        return StatusNullPointer;
    if (!isQp(QP) || !isQp(QS))
        return StatusOutOfRange;
    const int32_t qp = isSwitching != 0 ? QS : QP;
    const auto prediction = hadamard2x2<int32_t>({pPredDC[0], pPredDC[1], pPredDC[2], pPredDC[3]});
    std::array<int32_t, 4> d;
    for (std::size_t k = 0; k < 4; k++) {
        const int32_t u = prediction[k] + ((pSrcDst[k] * levelScale(qp, 0) * MATR[0]) >> 5);
        d[k] = static_cast<int32_t>(requantised(u, 0, QS, 1));
    }
    std::ranges::transform(hadamard2x2(d), pSrcDst, [](int32_t f) { return static_cast<int16_t>(f >> 1); });
    return StatusOk;
}

Status keliQuantLuma8x8Inv_H264_16s_C1I(int16_t* pSrcDst, int32_t qpPer,
                                        const int16_t* pDequantScale) noexcept
{
    if (anyNull(pSrcDst, pDequantScale))
        return StatusNullPointer;
    if (qpPer < 0 || qpPer > largestQp / 6)
        return StatusBadQuantizer;
    const Scaling<64, int16_t> scaling(pDequantScale, qpPer - 6);
    storeUnaligned(pSrcDst, scaling(loadCoefficients<64>(pSrcDst)));
    return StatusOk;
}

Status keliTransformLuma8x8InvAddPred_H264_16s8u_C1R(const uint8_t* pPred, int32_t predStep,
                                                     const int16_t* pCoeffs, uint8_t* pDst,
                                                     int32_t dstStep) noexcept
{
    if (anyNull(pPred, pDst, pCoeffs))
        return StatusNullPointer;
    const auto c = loadCoefficients<64>(pCoeffs);
    addResidual<8>(pPred, predStep, pDst, dstStep, transformedWide(c), Depth8{});
    return StatusOk;
}

Status keliGenScaleLevel8x8_H264_8u16s_D2(const uint8_t* pScalingMatrix, int32_t matrixStep,
                                          int16_t* pDequantScale, int16_t* pQuantScale,
                                          int32_t qpRem) noexcept
{
    if (anyNull(pScalingMatrix, pDequantScale, pQuantScale))
        return StatusNullPointer;
    if (qpRem < 0 || qpRem > 5)
        return StatusBadQuantizer;
    std::array<uint8_t, 64> weights;
    for (std::size_t y = 0; y < 8; y++)
        std::copy_n(rowAt(pScalingMatrix, matrixStep, static_cast<int32_t>(y)), 8, &weights[8 * y]);
    if (std::ranges::find(weights, 0) != weights.end())
        return StatusDivideByZero;
    const auto rem = static_cast<std::size_t>(qpRem);
    for (std::size_t k = 0; k < 64; k++) {
        pDequantScale[k] = static_cast<int16_t>(InvLevelScale_8x8_default[rem][k] * weights[k]);
        pQuantScale[k] = static_cast<int16_t>(LevelScale_8x8_default[rem][k] / weights[k]);
    }
    return StatusOk;
}
