// Transforms and quantisation of residuals for encoders.

#include "core/arguments.h"
#include "core/lanes32.h"
#include "core/transpose.h"
#include "h264/forward_transform.h"
#include "h264/reconstruct.h"
#include "tables/h264_tables.h"

#include <kelvcpx/h264_encode.h>

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace kelvcpx::h264 {
namespace {

// The largest level that level_prefix 15 can code with every suffixLength (9.2.2.1).
constexpr int16_t largestLevel = 2063;

// The coefficients, levels, factors or scan positions of a block, side by side in raster order.
template <std::size_t vectors>
using Lanes = std::array<S16x8, vectors>;

// What becomes of a magnitude: with the offset, a division by 2^shift.
struct Rounding {
    int32_t shift;
    int32_t offset;

    static Rounding of4x4(int32_t shift, bool isIntra) { return {shift, (1 << shift) / (isIntra ? 3 : 6)}; }
};

// The low 16 bits of the levels.
S16x8 quantise(S16x8 c, S16x8 factor, const Rounding& rounding)
{
    const auto level = [&](S32x4 product, S32x4 sign) { // 0 or -1
        const S32x4 magnitude = ((product ^ sign) - sign + rounding.offset) >> rounding.shift;
        return (magnitude ^ sign) - sign;
    };
    const Lanes32 products = multiply(c, factor);
    const Lanes32 signs = widen(c >> 15);
    return narrow(level(products.low, signs.low), level(products.high, signs.high));
}

template <std::size_t vectors>
Lanes<vectors> quantise(const Lanes<vectors>& c, const Lanes<vectors>& factors, const Rounding& rounding)
{
    Lanes<vectors> levels;
    for (std::size_t i = 0; i < vectors; i++)
        levels[i] = quantise(c[i], factors[i], rounding);
    return levels;
}

// The factors of a 4x4 block.
Lanes<2> factorsOf(int32_t qp)
{
    const int32_t* const row = QuantCoef[static_cast<std::size_t>(qp % 6)].data();
    const auto s32 = [=](int i) { return loadUnaligned<S32x4>(row + 4 * i); };
    return {narrow(s32(0), s32(1)), narrow(s32(2), s32(3))};
}

// The factor of all DC coefficients.
S16x8 dcFactor(int32_t qp)
{
    return splat16(static_cast<int16_t>(FwdQuantTable[static_cast<std::size_t>(qp % 6)][0]));
}

// How many levels are not 0, negated if the first one is not.
template <std::size_t vectors>
int32_t countLevels(const Lanes<vectors>& levels)
{
    S16x8 counts{};
    for (const S16x8& l : levels)
        counts -= l != S16x8{};
    const auto halves = std::bit_cast<Vec16<uint64_t>>(counts);
    const auto count = static_cast<int32_t>((halves[0] + halves[1]) * 0x0001000100010001u >> 48);
    return levels[0][0] != 0 ? -count : count;
}

// The largest scan position of a level that is not 0.
template <std::size_t vectors>
int16_t lastPosition(const Lanes<vectors>& levels, const int16_t* scanPos)
{
    S16x8 last{};
    for (std::size_t i = 0; i < vectors; i++)
        last = maximum(last, loadUnaligned<S16x8>(scanPos + 8 * i) & (levels[i] != S16x8{}));
    last = maximum(last, __builtin_shufflevector(last, last, 4, 5, 6, 7, 4, 5, 6, 7));
    last = maximum(last, __builtin_shufflevector(last, last, 2, 3, 2, 3, 2, 3, 2, 3));
    last = maximum(last, __builtin_shufflevector(last, last, 1, 1, 1, 1, 1, 1, 1, 1));
    return last[0];
}

template <std::size_t vectors>
bool hasLargeLevel(const Lanes<vectors>& levels)
{
    S16x8 most{};
    for (const S16x8& l : levels)
        most = maximum(most, maximum(l, -l));
    return anyLane(most > splat16(largestLevel));
}

// Stores the levels, or those before the first one that is too large.
template <std::size_t size, std::size_t vectors>
Status storeLevels(const Lanes<vectors>& levels, int16_t* dst)
{
    if (!hasLargeLevel(levels)) [[likely]] {
        std::memcpy(dst, levels.data(), size * sizeof *dst);
        return StatusOk;
    }
    std::array<int16_t, 8 * vectors> all;
    std::memcpy(all.data(), levels.data(), sizeof levels);
    for (std::size_t k = 0; std::abs(int32_t{all[k]}) <= largestLevel; k++)
        dst[k] = all[k];
    return StatusLevelTooLarge;
}

// The Hadamard transform of the DC coefficients of Intra_16x16, halved, whose sums need more than 16 bits.
Lanes<2> halvedHadamard(const Lanes<2>& dc)
{
    const Lanes32 upper = widen(dc[0]);
    const Lanes32 lower = widen(dc[1]);
    const auto columns = transpose(hadamard4<S32x4>({upper.low, upper.high, lower.low, lower.high}));
    const auto t = transpose(hadamard4(columns));
    return {narrow(t[0] >> 1, t[1] >> 1), narrow(t[2] >> 1, t[3] >> 1)};
}

// One direction of the 8x8 transform. The sums have 32 bits, of the results 16 are kept.
Lanes<8> forwardPass(const Lanes<8>& x)
{
    // Of sums that are not shifted, the low bits are right whatever the others are. The weights of those that
    // are shifted add up to at most 7.
    if (areWithin(x, 32760 / 7)) [[likely]]
        return forward8(x);
    std::array<S32x4, 8> low;
    std::array<S32x4, 8> high;
    for (std::size_t i = 0; i < 8; i++) {
        low[i] = widenLow(x[i]);
        high[i] = widenHigh(x[i]);
    }
    low = forward8(low);
    high = forward8(high);
    Lanes<8> y;
    for (std::size_t i = 0; i < 8; i++)
        y[i] = narrow(low[i], high[i]);
    return y;
}

} // namespace
} // namespace kelvcpx::h264

using namespace kelvcpx;
using namespace kelvcpx::h264;

Status keliTransformQuantResidual_H264_16s_C1I(int16_t* pSrcDst, int32_t QP, uint8_t* pNumLevels,
                                               uint8_t isIntra, const int16_t* pScanPos,
                                               uint8_t* pLastPos) noexcept
{
    if (anyNull(pSrcDst, pNumLevels, pScanPos, pLastPos))
        return StatusNullPointer;
    if (!isQp(QP))
        return StatusOutOfRange;
    const auto c = forwardTransformed(loadUnaligned<Lanes<2>>(pSrcDst));
    const auto levels = quantise(c, factorsOf(QP), Rounding::of4x4(QP / 6 + 15, isIntra != 0));
    storeUnaligned(pSrcDst, c);
    const Status status = storeLevels<16>(levels, pSrcDst);
    if (status == StatusOk) {
        *pNumLevels = static_cast<uint8_t>(countLevels(levels));
        *pLastPos = static_cast<uint8_t>(lastPosition(levels, pScanPos));
    }
    return status;
}

Status keliTransformQuantLumaDC_H264_16s_C1I(int16_t* pSrcDst, int16_t* pTransformed, int32_t QP,
                                             uint8_t* pNumLevels, uint8_t needTransform,
                                             const int16_t* pScanPos, uint8_t* pLastPos) noexcept
{
    if (anyNull(pSrcDst, pTransformed, pNumLevels, pScanPos, pLastPos))
        return StatusNullPointer;
    if (!isQp(QP))
        return StatusOutOfRange;
    if (needTransform != 0)
        storeUnaligned(pTransformed, halvedHadamard(loadUnaligned<Lanes<2>>(pSrcDst)));
    const S16x8 factor = dcFactor(QP);
    const auto levels = quantise<2>(loadUnaligned<Lanes<2>>(pTransformed), {factor, factor},
                                    Rounding::of4x4(QP / 6 + 16, true));
    const Status status = storeLevels<16>(levels, pSrcDst);
    if (status == StatusOk) {
        *pNumLevels = static_cast<uint8_t>(countLevels(levels));
        *pLastPos = static_cast<uint8_t>(lastPosition(levels, pScanPos));
    }
    return status;
}

Status keliTransformQuantChromaDC_H264_16s_C1I(int16_t* pSrcDst, int16_t* pTransformed, int32_t QP,
                                               uint8_t* pNumLevels, uint8_t isIntra,
                                               uint8_t needTransform) noexcept
{
    if (anyNull(pSrcDst, pTransformed, pNumLevels))
        return StatusNullPointer;
    if (!isChromaQp(QP))
        return StatusOutOfRange;
    if (needTransform != 0)
        storeUnaligned(pTransformed, Chroma420::transformDc(pSrcDst));
    Lanes<1> c{};
    std::memcpy(c.data(), pTransformed, Chroma420::blocks * sizeof *pTransformed);
    const auto levels = quantise<1>(c, {dcFactor(QP)}, Rounding::of4x4(QP / 6 + 16, isIntra != 0));
    const Status status = storeLevels<Chroma420::blocks>(levels, pSrcDst);
    if (status == StatusOk)
        *pNumLevels = static_cast<uint8_t>(countLevels(levels));
    return status;
}

Status keliTransformLuma8x8Fwd_H264_16s_C1I(int16_t* pSrcDst) noexcept
{
    if (anyNull(pSrcDst))
        return StatusNullPointer;
    const auto rows = forwardPass(transpose(loadUnaligned<Lanes<8>>(pSrcDst)));
    storeUnaligned(pSrcDst, forwardPass(transpose(rows)));
    return StatusOk;
}

Status keliQuantLuma8x8_H264_16s_C1(const int16_t* pSrc, int16_t* pDst, int32_t qpPer, int32_t isIntra,
                                    const int16_t* pScanPos, const int16_t* pQuantScale, int32_t* pNumLevels,
                                    int32_t* pLastPos) noexcept
{
    if (anyNull(pSrc, pDst, pScanPos, pQuantScale, pNumLevels, pLastPos))
        return StatusNullPointer;
    if (qpPer < 0 || qpPer > largestQp / 6)
        return StatusBadQuantizer;
    const Rounding rounding{qpPer + 12, (isIntra != 0 ? 682 : 342) << (qpPer + 1)};
    const auto levels =
        quantise(loadUnaligned<Lanes<8>>(pSrc), loadUnaligned<Lanes<8>>(pQuantScale), rounding);
    storeUnaligned(pDst, levels);
    *pNumLevels = countLevels(levels);
    *pLastPos = lastPosition(levels, pScanPos);
    return StatusOk;
}
