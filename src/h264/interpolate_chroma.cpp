#include "h264/interpolate_chroma.h"

#include "core/arguments.h"
#include "h264/checks.h"
#include "h264/interpolate_chroma_kernels.h"

namespace kelvcpx::h264 {
namespace {

template <class S, int Width>
void interpolate(const BlockMove<S>& block, int32_t dx, int32_t dy)
{
    if (dx != 0 && dy != 0)
        ChromaInterpolation<S, Width, true, true>(block, dx, dy).run();
    else if (dx != 0)
        ChromaInterpolation<S, Width, true, false>(block, dx, dy).run();
    else if (dy != 0)
        ChromaInterpolation<S, Width, false, true>(block, dx, dy).run();
    else
        block.template copy<Width>();
}

template <class S>
void interpolate(const BlockMove<S>& block, int32_t dx, int32_t dy, int32_t width)
{
    switch (width) {
    case 16:
        return interpolate<S, 16>(block, dx, dy);
    case 8:
        return interpolate<S, 8>(block, dx, dy);
    case 4:
        return interpolate<S, 4>(block, dx, dy);
    default:
        return interpolate<S, 2>(block, dx, dy);
    }
}

} // namespace

Status checkInterpolateChroma(const uint8_t* src, const uint8_t* dst, int32_t dx, int32_t dy, RoiSize size)
{
    if (anyNull(src, dst))
        return StatusNullPointer;
    if (!isFraction(dx, 8) || !isFraction(dy, 8))
        return StatusBadArgument;
    if (!isAnyOf(size.height, 2, 4, 8, 16) || !isAnyOf(size.width, 2, 4, 8))
        return StatusBadSize;
    return StatusOk;
}

Status checkInterpolateChroma(const InterpolationParams16u* params)
{
    if (anyNull(params) || anyNull(params->pSrc, params->pDst))
        return StatusNullPointer;
    if (params->srcStep < 8 || params->dstStep < 8)
        return StatusBadStep;
    if (!isFraction(params->dx, 8) || !isFraction(params->dy, 8))
        return StatusBadArgument;
    const auto [width, height] = params->roiSize;
    if (!isAnyOf(height, 2, 4, 8, 16) || !isAnyOf(width, 2, 4, 8, 16))
        return StatusBadSize;
    return StatusOk;
}

void own_InterpolateChroma_H264_8u(const uint8_t* src, int32_t srcStep, uint8_t* dst, int32_t dstStep,
                                   int32_t dx, int32_t dy, RoiSize size)
{
    interpolate<Samples8>({src, srcStep, dst, dstStep, size.height}, dx, dy, size.width);
}

void own_InterpolateChroma_H264_16u(const InterpolationParams16u& params)
{
    interpolate<Samples16>({params.pSrc, params.srcStep, params.pDst, params.dstStep, params.roiSize.height},
                           params.dx, params.dy, params.roiSize.width);
}

} // namespace kelvcpx::h264

using namespace kelvcpx::h264;

Status keliInterpolateChroma_H264_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                                         int32_t dx, int32_t dy, RoiSize roiSize) noexcept
{
    if (const Status status = checkInterpolateChroma(pSrc, pDst, dx, dy, roiSize); status != StatusOk)
        return status;
    own_InterpolateChroma_H264_8u(pSrc, srcStep, pDst, dstStep, dx, dy, roiSize);
    return StatusOk;
}

Status keliInterpolateChroma_H264_16u_C1R(const InterpolationParams16u* pParams) noexcept
{
    if (const Status status = checkInterpolateChroma(pParams); status != StatusOk)
        return status;
    own_InterpolateChroma_H264_16u(*pParams);
    return StatusOk;
}
