// The deringing post-filter (ISO/IEC 14496-2 Annex F.3.2).

#include "block/copy_kernels.h"
#include "block/strip.h"
#include "core/arguments.h"

#include <kelvcpx/mpeg4_postfilter.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>

namespace kelvcpx::mpeg4 {
namespace {

// The smallest and the largest sample of a block.
struct Range {
    int32_t low;
    int32_t high;

    int32_t length() const { return high - low; }
    int32_t threshold() const { return (high + low + 1) >> 1; }
};

// Combines the bytes of each half of a vector.
template <class Combine>
std::array<int32_t, 2> foldHalves(U8x16 v, Combine combine)
{
    using Halves = Vec16<uint64_t>;
    for (int shift = 32; shift >= 8; shift /= 2)
        v = combine(v, std::bit_cast<U8x16>(std::bit_cast<Halves>(v) >> shift));
    const auto halves = std::bit_cast<Halves>(v);
    return {static_cast<int32_t>(halves[0] & 0xFF), static_cast<int32_t>(halves[1] & 0xFF)};
}

// Of two blocks 8x8, whose row y are the halves of rowsAt(y).
template <class RowsAt>
std::array<Range, 2> rangesOfPair(RowsAt rowsAt)
{
    U8x16 low = rowsAt(0);
    U8x16 high = low;
    for (std::ptrdiff_t y = 1; y < 8; y++) {
        const U8x16 rows = rowsAt(y);
        low = minimum(low, rows);
        high = maximum(high, rows);
    }
    const auto lows = foldHalves(low, [](U8x16 a, U8x16 b) { return minimum(a, b); });
    const auto highs = foldHalves(high, [](U8x16 a, U8x16 b) { return maximum(a, b); });
    return {{{lows[0], highs[0]}, {lows[1], highs[1]}}};
}

// The thresholds of the luma blocks. In a smooth macroblock nothing is a contour; beside a strong contour a
// block with little contrast takes the threshold of the block that has it.
void setLumaThresholds(const std::array<Range, 4>& blocks, int32_t* thresholds)
{
    const auto strongest = std::max_element(
        blocks.begin(), blocks.end(), [](const Range& a, const Range& b) { return a.length() < b.length(); });
    for (std::size_t i = 0; i < blocks.size(); i++) {
        const bool weak = strongest->length() >= 64 && blocks[i].length() < 32;
        thresholds[i] = strongest->length() < 16 ? 0 : weak ? strongest->threshold() : blocks[i].threshold();
    }
}

// A row of the block, with what its neighbours to the left and right add to it.
struct Row {
    S16x8 samples;
    S16x8 weighted; // 1, 2, 1
    S16x8 above;    // how many of the three are not below the threshold, negative
};

[[gnu::always_inline]] inline Row loadRow(const uint8_t* p, S16x8 threshold)
{
    const auto load = [p](std::ptrdiff_t x) { return widenLow(gatherRows<8, 1>(p + x, 0)); };
    const S16x8 left = load(-1);
    const S16x8 centre = load(0);
    const S16x8 right = load(1);
    return {centre, left + centre + centre + right,
            (left >= threshold) + (centre >= threshold) + (right >= threshold)};
}

void smoothBlock(const uint8_t* src, std::ptrdiff_t srcStep, uint8_t* dst, std::ptrdiff_t dstStep,
                 int32_t largestChange, int32_t threshold)
{
    const S16x8 limit = splat16(static_cast<int16_t>(largestChange));
    const S16x8 t = splat16(static_cast<int16_t>(std::clamp(threshold, 0, 256)));
    Row upper = loadRow(src - srcStep, t);
    Row row = loadRow(src, t);
    for (std::ptrdiff_t y = 0; y < 8; y++) {
        const Row lower = loadRow(src + (y + 1) * srcStep, t);
        const S16x8 above = upper.above + row.above + lower.above;
        const S16x8 filtered = (upper.weighted + row.weighted + row.weighted + lower.weighted + 8) >> 4;
        const S16x8 change = limited(filtered - row.samples, limit) & ((above == 0) | (above == -9));
        const S16x8 result = row.samples + change;
        scatterRows<8, 1>(dst + y * dstStep, dstStep, narrow(result, result));
        upper = row;
        row = lower;
    }
}

} // namespace
} // namespace kelvcpx::mpeg4

using namespace kelvcpx;
using namespace kelvcpx::mpeg4;

Status keliFilterDeringingThreshold_MPEG4_8u_P3R(const uint8_t* pSrcY, int32_t srcYStep,
                                                 const uint8_t* pSrcCb, int32_t srcCbStep,
                                                 const uint8_t* pSrcCr, int32_t srcCrStep,
                                                 int32_t* pThresholds) noexcept
{
    if (anyNull(pSrcY, pSrcCb, pSrcCr, pThresholds))
        return StatusNullPointer;
    const auto lumaRow = [&](std::ptrdiff_t y) { return loadUnaligned<U8x16>(pSrcY + y * srcYStep); };
    const auto upper = rangesOfPair(lumaRow);
    const auto lower = rangesOfPair([&](std::ptrdiff_t y) { return lumaRow(y + 8); });
    const auto chroma = rangesOfPair([&](std::ptrdiff_t y) {
        return std::bit_cast<U8x16>(Vec16<uint64_t>{loadUnaligned<uint64_t>(pSrcCb + y * srcCbStep),
                                                    loadUnaligned<uint64_t>(pSrcCr + y * srcCrStep)});
    });
    setLumaThresholds({upper[0], upper[1], lower[0], lower[1]}, pThresholds);
    pThresholds[4] = chroma[0].threshold();
    pThresholds[5] = chroma[1].threshold();
    return StatusOk;
}

Status keliFilterDeringingSmooth8x8_MPEG4_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                                 int32_t dstStep, int32_t QP, int32_t threshold) noexcept
{
    if (anyNull(pSrc, pDst))
        return StatusNullPointer;
    if (QP < 1 || QP > 31)
        return StatusBadQuantizer;
    if (QP == 1)
        ownvc_Copy8x8HP_8u_C1R[0](pSrc, srcStep, pDst, dstStep);
    else
        smoothBlock(pSrc, srcStep, pDst, dstStep, QP >> 1, threshold);
    return StatusOk;
}
