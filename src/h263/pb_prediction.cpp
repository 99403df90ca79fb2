// Bidirectional prediction of B-blocks in PB-frames (ITU-T H.263 Annex G).

#include "core/arguments.h"
#include "core/rows.h"

#include <kelvcpx/h263_filter.h>

#include <array>
#include <cstddef>

namespace kelvcpx::h263 {
namespace {

using Kernel = void (*)(const uint8_t* src, std::ptrdiff_t srcStep, RoiSize size, uint8_t* dst,
                        std::ptrdiff_t dstStep);

// Averages the destination, rounding down, with the prediction half a sample to the right, down, or both.
template <bool right, bool down>
void addBackwardPrediction(const uint8_t* src, std::ptrdiff_t srcStep, RoiSize size, uint8_t* dst,
                           std::ptrdiff_t dstStep)
{
    for (int32_t y = 0; y < size.height; y++) {
        const uint8_t* const upper = rowAt(src, srcStep, y);
        const uint8_t* const lower = down ? upper + srcStep : upper;
        uint8_t* const t = rowAt(dst, dstStep, y);
        for (int32_t x = 0; x < size.width; x++) {
            int p = upper[x];
            if constexpr (right && down)
                p = (p + upper[x + 1] + lower[x] + lower[x + 1] + 2) >> 2;
            else if constexpr (right || down)
                p = (p + lower[x + right] + 1) >> 1;
            t[x] = static_cast<uint8_t>((t[x] + p) >> 1);
        }
    }
}

constexpr std::array<Kernel, 4> ownAddBackPredPB_8u_C1R = {
    addBackwardPrediction<false, false>, addBackwardPrediction<true, false>,
    addBackwardPrediction<false, true>, addBackwardPrediction<true, true>};

} // namespace
} // namespace kelvcpx::h263

using namespace kelvcpx;
using namespace kelvcpx::h263;

Status keliAddBackPredPB_H263_8u_C1R(const uint8_t* pSrc, int32_t srcStep, RoiSize roiSize, uint8_t* pSrcDst,
                                     int32_t dstStep, int32_t acc) noexcept
{
    if (anyNull(pSrc, pSrcDst))
        return StatusNullPointer;
    if (roiSize.width < 1 || roiSize.height < 1)
        return StatusBadSize;
    if (acc < 0 || acc > 3)
        return StatusBadArgument;
    ownAddBackPredPB_8u_C1R[static_cast<std::size_t>(acc)](pSrc, srcStep, roiSize, pSrcDst, dstStep);
    return StatusOk;
}
