#include "h264/interpolate_luma.h"

#include "core/arguments.h"
#include "h264/checks.h"
#include "h264/interpolate_luma_kernels.h"

#include <array>

namespace kelvcpx::h264 {
namespace {

template <class S, int dx, int dy, class... BitDepth>
void interpolate(const typename S::Sample* src, typename S::Sample* dst, int32_t srcStep, int32_t dstStep,
                 int32_t width, int32_t height, BitDepth... bitDepth)
{
    const BlockMove<S> block{src, srcStep, dst, dstStep, height};
    const Clip<S> clip(bitDepth...);
    switch (width) {
    case 16:
        return LumaInterpolation<S, 16>(block, clip).template run<dx, dy>();
    case 8:
        return LumaInterpolation<S, 8>(block, clip).template run<dx, dy>();
    default:
        return LumaInterpolation<S, 4>(block, clip).template run<dx, dy>();
    }
}

template <int dx, int dy>
constexpr InterpolateLuma8 interpolate8 = interpolate<Samples8, dx, dy>;
template <int dx, int dy>
constexpr InterpolateLuma16 interpolate16 = interpolate<Samples16, dx, dy>;

// Named by the quarter samples to the right (H) and down (V).
constexpr auto kelInterpolate_H00V00 = interpolate8<0, 0>;
constexpr auto kelInterpolate_H00V01 = interpolate8<0, 1>;
constexpr auto kelInterpolate_H00V02 = interpolate8<0, 2>;
constexpr auto kelInterpolate_H00V03 = interpolate8<0, 3>;
constexpr auto kelInterpolate_H01V00 = interpolate8<1, 0>;
constexpr auto kelInterpolate_H01V01 = interpolate8<1, 1>;
constexpr auto kelInterpolate_H01V02 = interpolate8<1, 2>;
constexpr auto kelInterpolate_H01V03 = interpolate8<1, 3>;
constexpr auto kelInterpolate_H02V00 = interpolate8<2, 0>;
constexpr auto kelInterpolate_H02V01 = interpolate8<2, 1>;
constexpr auto kelInterpolate_H02V02 = interpolate8<2, 2>;
constexpr auto kelInterpolate_H02V03 = interpolate8<2, 3>;
constexpr auto kelInterpolate_H03V00 = interpolate8<3, 0>;
constexpr auto kelInterpolate_H03V01 = interpolate8<3, 1>;
constexpr auto kelInterpolate_H03V02 = interpolate8<3, 2>;
constexpr auto kelInterpolate_H03V03 = interpolate8<3, 3>;

constexpr auto kelInterpolate_H00V00_16u = interpolate16<0, 0>;
constexpr auto kelInterpolate_H00V01_16u = interpolate16<0, 1>;
constexpr auto kelInterpolate_H00V02_16u = interpolate16<0, 2>;
constexpr auto kelInterpolate_H00V03_16u = interpolate16<0, 3>;
constexpr auto kelInterpolate_H01V00_16u = interpolate16<1, 0>;
constexpr auto kelInterpolate_H01V01_16u = interpolate16<1, 1>;
constexpr auto kelInterpolate_H01V02_16u = interpolate16<1, 2>;
constexpr auto kelInterpolate_H01V03_16u = interpolate16<1, 3>;
constexpr auto kelInterpolate_H02V00_16u = interpolate16<2, 0>;
constexpr auto kelInterpolate_H02V01_16u = interpolate16<2, 1>;
constexpr auto kelInterpolate_H02V02_16u = interpolate16<2, 2>;
constexpr auto kelInterpolate_H02V03_16u = interpolate16<2, 3>;
constexpr auto kelInterpolate_H03V00_16u = interpolate16<3, 0>;
constexpr auto kelInterpolate_H03V01_16u = interpolate16<3, 1>;
constexpr auto kelInterpolate_H03V02_16u = interpolate16<3, 2>;
constexpr auto kelInterpolate_H03V03_16u = interpolate16<3, 3>;

} // namespace

constexpr std::array<InterpolateLuma8, 16> InterpolFnTbl = {
    kelInterpolate_H00V00, kelInterpolate_H00V01, kelInterpolate_H00V02, kelInterpolate_H00V03,
    kelInterpolate_H01V00, kelInterpolate_H01V01, kelInterpolate_H01V02, kelInterpolate_H01V03,
    kelInterpolate_H02V00, kelInterpolate_H02V01, kelInterpolate_H02V02, kelInterpolate_H02V03,
    kelInterpolate_H03V00, kelInterpolate_H03V01, kelInterpolate_H03V02, kelInterpolate_H03V03,
};

constexpr std::array<InterpolateLuma16, 16> InterpolFnTbl_16u = {
    kelInterpolate_H00V00_16u, kelInterpolate_H00V01_16u, kelInterpolate_H00V02_16u,
    kelInterpolate_H00V03_16u, kelInterpolate_H01V00_16u, kelInterpolate_H01V01_16u,
    kelInterpolate_H01V02_16u, kelInterpolate_H01V03_16u, kelInterpolate_H02V00_16u,
    kelInterpolate_H02V01_16u, kelInterpolate_H02V02_16u, kelInterpolate_H02V03_16u,
    kelInterpolate_H03V00_16u, kelInterpolate_H03V01_16u, kelInterpolate_H03V02_16u,
    kelInterpolate_H03V03_16u,
};

Status checkInterpolateLuma(const uint8_t* src, const uint8_t* dst, int32_t dx, int32_t dy, RoiSize size)
{
    if (anyNull(src, dst))
        return StatusNullPointer;
    if (!isFraction(dx, 4) || !isFraction(dy, 4))
        return StatusBadArgument;
    if (!isAnyOf(size.height, 4, 8, 16) || !isAnyOf(size.width, 4, 8, 16))
        return StatusBadSize;
    return StatusOk;
}

Status checkInterpolateLuma(const InterpolationParams16u* params)
{
    if (anyNull(params) || anyNull(params->pSrc, params->pDst))
        return StatusNullPointer;
    const auto [width, height] = params->roiSize;
    if (params->srcStep < width || width > params->dstStep)
        return StatusBadStep;
    if (!isFraction(params->dx, 4) || !isFraction(params->dy, 4))
        return StatusBadArgument;
    if (!isAnyOf(height, 4, 8, 16) || !isAnyOf(width, 4, 8, 16) || width + height == 20)
        return StatusBadSize;
    return StatusOk;
}

void own_InterpolateLuma_H264_16u(const InterpolationParams16u& params)
{
    InterpolFnTbl_16u[quarterSampleEntry(params.dx, params.dy)](params.pSrc, params.pDst, params.srcStep,
                                                                params.dstStep, params.roiSize.width,
                                                                params.roiSize.height, params.bitDepth);
}

} // namespace kelvcpx::h264

using namespace kelvcpx::h264;

Status keliInterpolateLuma_H264_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                                       int32_t dx, int32_t dy, RoiSize roiSize) noexcept
{
    if (const Status status = checkInterpolateLuma(pSrc, pDst, dx, dy, roiSize); status != StatusOk)
        return status;
    InterpolFnTbl[quarterSampleEntry(dx, dy)](pSrc, pDst, srcStep, dstStep, roiSize.width, roiSize.height);
    return StatusOk;
}

Status keliInterpolateLuma_H264_16u_C1R(const InterpolationParams16u* pParams) noexcept
{
    if (const Status status = checkInterpolateLuma(pParams); status != StatusOk)
        return status;
    own_InterpolateLuma_H264_16u(*pParams);
    return StatusOk;
}
