// The loop filter (ITU-T H.261 3.2.3).

#include "block/strip.h"
#include "core/arguments.h"

#include <kelvcpx/h261_filter.h>

#include <array>
#include <cstddef>

namespace kelvcpx::h261 {
namespace {

// A row and its filtered samples, times 4; the samples at its ends stay as they are.
S16x8 filterRow(const uint8_t* p)
{
    const U8x16 bytes = gatherRows<8, 1>(p, 0);
    const S16x8 twice = widenLow(bytes) * 2;
    const S16x8 neighbours = widenLow(shifted<-1>(bytes)) + widenLow(shifted<1>(bytes));
    constexpr S16x8 inside = {0, -1, -1, -1, -1, -1, -1, 0};
    return twice + (inside != 0 ? neighbours : twice);
}

void filterBlock(const uint8_t* src, std::ptrdiff_t srcStep, uint8_t* dst, std::ptrdiff_t dstStep)
{
    std::array<S16x8, 8> rows;
    for (std::size_t y = 0; y < rows.size(); y++)
        rows[y] = filterRow(src + static_cast<std::ptrdiff_t>(y) * srcStep);
    for (std::size_t y = 0; y < rows.size(); y++) {
        const S16x8 twice = rows[y] * 2;
        const S16x8 neighbours = y > 0 && y < 7 ? rows[y - 1] + rows[y + 1] : twice;
        const S16x8 filtered = (twice + neighbours + 8) >> 4;
        scatterRows<8, 1>(dst + static_cast<std::ptrdiff_t>(y) * dstStep, dstStep,
                          narrow(filtered, filtered));
    }
}

} // namespace
} // namespace kelvcpx::h261

using namespace kelvcpx;

Status keliFilter8x8_H261_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                 int32_t dstStep) noexcept
{
    if (anyNull(pSrc, pDst))
        return StatusNullPointer;
    h261::filterBlock(pSrc, srcStep, pDst, dstStep);
    return StatusOk;
}
