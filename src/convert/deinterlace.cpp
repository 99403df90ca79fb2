// De-interlacing by a vertical filter of three taps.

#include "core/arguments.h"
#include "core/copy.h"
#include "core/rows.h"

#include <kelvcpx/convert.h>

#include <algorithm>
#include <cstddef>

namespace kelvcpx::convert {
namespace {

// Values of `layout`; any other is a whole picture.
constexpr int32_t firstSlice = 1;
constexpr int32_t middleSlice = 4;
constexpr int32_t lastSlice = 16;

struct Weights {
    uint16_t centre;
    uint16_t side;
};

// The sums are within 16 bits: the weights add up to 256 at most.
void filterRow(const uint8_t* src, std::ptrdiff_t srcStep, uint8_t* __restrict dst, int32_t width,
               Weights weights)
{
    const uint8_t* const above = src - srcStep;
    const uint8_t* const below = src + srcStep;
    for (int32_t x = 0; x < width; x++) {
        const auto sum =
            static_cast<uint16_t>((above[x] + below[x]) * weights.side + src[x] * weights.centre);
        dst[x] = static_cast<uint8_t>(sum >> 8);
    }
}

} // namespace
} // namespace kelvcpx::convert

using namespace kelvcpx;
using namespace kelvcpx::convert;

Status keliDeinterlaceFilterTriangle_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                            int32_t dstStep, RoiSize roiSize, uint32_t centreWeight,
                                            int32_t layout) noexcept
{
    if (anyNull(pSrc, pDst))
        return StatusNullPointer;
    if (roiSize.height < 3 || roiSize.width < 1)
        return StatusBadSize;
    const auto copyRow = [&](int32_t y) {
        ownsCopy_8u(rowAt(pSrc, srcStep, y), rowAt(pDst, dstStep, y), roiSize.width);
    };
    const auto centre = static_cast<uint16_t>(std::min(centreWeight, 256u));
    const Weights weights{centre, static_cast<uint16_t>((256 - centre) / 2)};
    const bool hasSliceAbove = layout == middleSlice || layout == lastSlice;
    const bool hasSliceBelow = layout == firstSlice || layout == middleSlice;
    const int32_t last = roiSize.height - 1;
    if (!hasSliceAbove)
        copyRow(0);
    for (int32_t y = hasSliceAbove ? -1 : 1; y < last; y++)
        filterRow(rowAt(pSrc, srcStep, y), srcStep, rowAt(pDst, dstStep, y), roiSize.width, weights);
    if (!hasSliceBelow)
        copyRow(last);
    return StatusOk;
}
