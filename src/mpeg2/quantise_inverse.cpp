#include "block/dequantise.h"
#include "core/arguments.h"
#include "mpeg2/dequantise.h"

#include <kelvcpx/mpeg2.h>

namespace kelvcpx {
namespace {

constexpr int32_t flatWeight = 16;

// Dequantises the levels from block index `firstIndex` on and returns the sum of the coefficients.
template <BlockKind kind, class WeightAt>
int32_t dequantiseBlock(int16_t* block, int32_t firstIndex, int32_t scale, WeightAt weightAt)
{
    int32_t sum = 0;
    for (int32_t k = firstIndex; k < 64; k++) {
        block[k] = saturateCoefficient(dequantise<Standard::mpeg2, kind>(block[k], scale, weightAt(k)));
        sum += block[k];
    }
    return sum;
}

} // namespace
} // namespace kelvcpx

using namespace kelvcpx;

Status keliQuantInvIntra_MPEG2_16s_C1I(int16_t* pSrcDst, int32_t QP, const int16_t* pQMatrix) noexcept
{
    if (anyNull(pSrcDst, pQMatrix))
        return StatusNullPointer;
    const int32_t sum = pSrcDst[0] + dequantiseBlock<BlockKind::intra>(
                                         pSrcDst, 1, QP, [=](int32_t k) { return pQMatrix[k]; });
    controlMismatch(pSrcDst, sum);
    return StatusOk;
}

Status keliQuantInv_MPEG2_16s_C1I(int16_t* pSrcDst, int32_t QP, const int16_t* pQMatrix) noexcept
{
    if (anyNull(pSrcDst))
        return StatusNullPointer;
    const int32_t sum =
        pQMatrix != nullptr
            ? dequantiseBlock<BlockKind::nonIntra>(pSrcDst, 0, QP, [=](int32_t k) { return pQMatrix[k]; })
            : dequantiseBlock<BlockKind::nonIntra>(pSrcDst, 0, QP, [](int32_t) { return flatWeight; });
    controlMismatch(pSrcDst, sum);
    return StatusOk;
}
