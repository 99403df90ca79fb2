// Replication of the border samples of a reference plane (the clipping of coordinates in ITU-T H.264
// 8.4.2.2.1, done once for the plane instead of once a sample).

#include "core/arguments.h"
#include "core/rows.h"
#include "h264/checks.h"

#include <kelvcpx/h264_inter.h>

#include <cstddef>
#include <cstring>

namespace kelvcpx::h264 {
namespace {

// A frame, or the rows of one of its fields as a plane of their own.
struct Field {
    uint8_t* samples;
    int32_t width;
    int32_t height;
    std::ptrdiff_t step;
};

// The margin: `side` samples to the left and right, rows above and below.
struct Margin {
    int32_t side;
    int32_t above;
    int32_t below;
};

void expand(const Field& field, const Margin& margin)
{
    const auto width = static_cast<std::size_t>(field.width);
    const auto side = static_cast<std::size_t>(margin.side);
    uint8_t* last = rowAt(field.samples, field.step, field.height - 1);
    for (int32_t y = 0; y < field.height; y++) {
        uint8_t* row = rowAt(field.samples, field.step, y);
        std::memset(row - side, row[0], side);
        std::memset(row + width, row[width - 1], side);
    }
    for (int32_t y = 1; y <= margin.below; y++)
        std::memcpy(rowAt(last, field.step, y) - side, last - side, width + 2 * side);
    for (int32_t y = 1; y <= margin.above; y++)
        std::memcpy(rowAt(field.samples, field.step, -y) - side, field.samples - side, width + 2 * side);
}

} // namespace
} // namespace kelvcpx::h264

using namespace kelvcpx;
using namespace kelvcpx::h264;

Status keliExpandPlane_H264_8u_C1R(uint8_t* pSrcDst, int32_t width, int32_t height, int32_t srcDstStep,
                                   int32_t expandPels, int32_t fieldMode) noexcept
{
    if (anyNull(pSrcDst))
        return StatusNullPointer;
    if (height < 2 || height % 2 != 0 || width < 1)
        return StatusBadSize;
    if (expandPels < 1)
        return StatusOk;
    constexpr int32_t frame = 0;
    constexpr int32_t oddRows = 2;
    if (!isAnyOf(fieldMode, frame, 1, oddRows))
        return StatusBadArgument;
    if (fieldMode == frame) {
        expand({pSrcDst, width, height, srcDstStep}, {expandPels, expandPels, expandPels});
        return StatusOk;
    }
    // Of the rows of the margin, a field has every second one.
    const int32_t half = expandPels / 2;
    const int32_t halfUp = half + expandPels % 2;
    const Margin margin =
        fieldMode == oddRows ? Margin{expandPels, halfUp, half} : Margin{expandPels, half, halfUp};
    expand({fieldMode == oddRows ? rowAt(pSrcDst, srcDstStep, 1) : pSrcDst, width, height / 2,
            2 * std::ptrdiff_t{srcDstStep}},
           margin);
    return StatusOk;
}
