// Interpolation of blocks that reach over the top or bottom edge of the reference picture, where the samples
// are those of the nearest row inside (ITU-T H.264 8.4.2.2.1, 8.4.2.2.2): the rows that the filters need are
// brought together in a buffer first.

#include "h264/interpolate_chroma.h"
#include "h264/interpolate_luma.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>

namespace kelvcpx::h264 {
namespace {

// The samples that an interpolation reads beyond the block.
struct Support {
    int32_t left;
    int32_t right;
    int32_t above;
    int32_t below;
};

constexpr Support lumaSupport(int32_t dx, int32_t dy)
{
    const bool across = dx != 0;
    const bool down = dy != 0;
    return {across ? 2 : 0, across ? 3 : 0, down ? 2 : 0, down ? 3 : 0};
}

constexpr Support chromaSupport(int32_t dx, int32_t dy)
{
    return {0, dx != 0 ? 1 : 0, 0, dy != 0 ? 1 : 0};
}

enum class Edge { top, bottom };

// The first and last row of the picture that the edge leaves, the first row of the block being 0.
struct PictureRows {
    int64_t first;
    int64_t last;
};

constexpr PictureRows rowsInside(Edge edge, int32_t outPixels, int32_t height)
{
    if (edge == Edge::top)
        return {outPixels, std::numeric_limits<int64_t>::max()};
    return {std::numeric_limits<int64_t>::min(), int64_t{height} - 1 - outPixels};
}

// Calls interpolate(src, step) with a source of which every row of the support can be read.
template <class Sample, class Interpolate>
void interpolateInside(const Sample* src, int32_t srcStep, RoiSize size, const Support& support,
                       PictureRows rows, Interpolate interpolate)
{
    const int32_t end = size.height + support.below;
    if (rows.first <= -support.above && end - 1 <= rows.last)
        return interpolate(src, srcStep);

    constexpr int32_t step = 32;
    std::array<Sample, 21 * step> buffer; // for a block of 16x16 with 5 more rows and columns
    const auto columns = support.left + size.width + support.right;
    Sample* to = buffer.data();
    for (int32_t y = -support.above; y < end; y++, to += step) {
        const std::ptrdiff_t row = std::clamp(int64_t{y}, rows.first, rows.last);
        std::copy_n(src + row * srcStep - support.left, columns, to);
    }
    interpolate(buffer.data() + support.above * step + support.left, step);
}

// The same for a record.
void interpolateInside(const InterpolationParams16u& params, const Support& support, PictureRows rows,
                       void (*interpolate)(const InterpolationParams16u&))
{
    interpolateInside(params.pSrc, params.srcStep, params.roiSize, support, rows,
                      [&](const uint16_t* inside, int32_t step) {
                          InterpolationParams16u paramsInside = params;
                          paramsInside.pSrc = inside;
                          paramsInside.srcStep = step;
                          interpolate(paramsInside);
                      });
}

Status luma(Edge edge, const uint8_t* src, int32_t srcStep, uint8_t* dst, int32_t dstStep, int32_t dx,
            int32_t dy, int32_t outPixels, RoiSize size)
{
    if (const Status status = checkInterpolateLuma(src, dst, dx, dy, size); status != StatusOk)
        return status;
    interpolateInside(src, srcStep, size, lumaSupport(dx, dy), rowsInside(edge, outPixels, size.height),
                      [&](const uint8_t* inside, int32_t step) {
                          InterpolFnTbl[quarterSampleEntry(dx, dy)](inside, dst, step, dstStep, size.width,
                                                                    size.height);
                      });
    return StatusOk;
}

Status luma(Edge edge, const InterpolationParams16u* params, int32_t outPixels)
{
    if (const Status status = checkInterpolateLuma(params); status != StatusOk)
        return status;
    interpolateInside(*params, lumaSupport(params->dx, params->dy),
                      rowsInside(edge, outPixels, params->roiSize.height), own_InterpolateLuma_H264_16u);
    return StatusOk;
}

Status chroma(Edge edge, const uint8_t* src, int32_t srcStep, uint8_t* dst, int32_t dstStep, int32_t dx,
              int32_t dy, int32_t outPixels, RoiSize size)
{
    if (const Status status = checkInterpolateChroma(src, dst, dx, dy, size); status != StatusOk)
        return status;
    interpolateInside(src, srcStep, size, chromaSupport(dx, dy), rowsInside(edge, outPixels, size.height),
                      [&](const uint8_t* inside, int32_t step) {
                          own_InterpolateChroma_H264_8u(inside, step, dst, dstStep, dx, dy, size);
                      });
    return StatusOk;
}

Status chroma(Edge edge, const InterpolationParams16u* params, int32_t outPixels)
{
    if (const Status status = checkInterpolateChroma(params); status != StatusOk)
        return status;
    interpolateInside(*params, chromaSupport(params->dx, params->dy),
                      rowsInside(edge, outPixels, params->roiSize.height), own_InterpolateChroma_H264_16u);
    return StatusOk;
}

} // namespace
} // namespace kelvcpx::h264

using namespace kelvcpx::h264;

Status keliInterpolateLumaTop_H264_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                          int32_t dstStep, int32_t dx, int32_t dy, int32_t outPixels,
                                          RoiSize roiSize) noexcept
{
    return luma(Edge::top, pSrc, srcStep, pDst, dstStep, dx, dy, outPixels, roiSize);
}

Status keliInterpolateLumaBottom_H264_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                             int32_t dstStep, int32_t dx, int32_t dy, int32_t outPixels,
                                             RoiSize roiSize) noexcept
{
    return luma(Edge::bottom, pSrc, srcStep, pDst, dstStep, dx, dy, outPixels, roiSize);
}

Status keliInterpolateChromaTop_H264_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                            int32_t dstStep, int32_t dx, int32_t dy, int32_t outPixels,
                                            RoiSize roiSize) noexcept
{
    return chroma(Edge::top, pSrc, srcStep, pDst, dstStep, dx, dy, outPixels, roiSize);
}

Status keliInterpolateChromaBottom_H264_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                               int32_t dstStep, int32_t dx, int32_t dy, int32_t outPixels,
                                               RoiSize roiSize) noexcept
{
    return chroma(Edge::bottom, pSrc, srcStep, pDst, dstStep, dx, dy, outPixels, roiSize);
}

Status keliInterpolateLumaTop_H264_16u_C1R(const InterpolationParams16u* pParams, int32_t outPixels) noexcept
{
    return luma(Edge::top, pParams, outPixels);
}

Status keliInterpolateLumaBottom_H264_16u_C1R(const InterpolationParams16u* pParams,
                                              int32_t outPixels) noexcept
{
    return luma(Edge::bottom, pParams, outPixels);
}

Status keliInterpolateChromaTop_H264_16u_C1R(const InterpolationParams16u* pParams,
                                             int32_t outPixels) noexcept
{
    return chroma(Edge::top, pParams, outPixels);
}

Status keliInterpolateChromaBottom_H264_16u_C1R(const InterpolationParams16u* pParams,
                                                int32_t outPixels) noexcept
{
    return chroma(Edge::bottom, pParams, outPixels);
}
