#include "core/arguments.h"
#include "h264/deblock_edges.h"

#include <kelvcpx/h264_inter.h>

#include <algorithm>
#include <cstddef>

namespace kelvcpx::h264 {
namespace {

constexpr int lumaSamples = 8;
constexpr int chromaSamples = 4;

// The samples across an edge, the edges, the lines of an edge, the lines of a segment, the entries of bS from
// an edge to the next one. Chroma edges lie where luma has edges, those of 4:2:0 and the vertical ones of
// 4:2:2 where it has every second one.
constexpr EdgeLayout lumaVertical{Direction::vertical, lumaSamples, 4, 16, 4, 4, Strong::segment};
constexpr EdgeLayout lumaHorizontal{Direction::horizontal, lumaSamples, 4, 16, 4, 4, Strong::segment};
constexpr EdgeLayout lumaMbaff{Direction::vertical, lumaSamples, 1, 8, 2, 4, Strong::segment};
constexpr EdgeLayout chromaVertical{Direction::vertical, chromaSamples, 2, 8, 2, 8, Strong::segment};
constexpr EdgeLayout chromaHorizontal{Direction::horizontal, chromaSamples, 2, 8, 2, 8, Strong::firstEdge};
constexpr EdgeLayout chromaMbaff{Direction::vertical, chromaSamples, 1, 4, 1, 4, Strong::segment};
constexpr EdgeLayout chroma422Vertical{Direction::vertical, chromaSamples, 2, 16, 4, 8, Strong::segment};
constexpr EdgeLayout chroma422Horizontal{Direction::horizontal, chromaSamples, 4, 8, 2, 4, Strong::edge};

enum class StepCheck { no, yes };

template <EdgeLayout layout>
Status deblock(uint8_t* plane, int32_t step, const uint8_t* alpha, const uint8_t* beta, const uint8_t* tc0,
               const uint8_t* bs, StepCheck stepCheck)
{
    if (anyNull(plane, alpha, beta, tc0, bs))
        return StatusNullPointer;
    if (stepCheck == StepCheck::yes && step < 1)
        return StatusBadStep;
    filterEdges<Samples8, layout>({plane, step, {alpha[0], alpha[1]}, {beta[0], beta[1]}, tc0, bs}, {});
    return StatusOk;
}

template <EdgeLayout layout>
Status deblockExternal(uint8_t* plane, int32_t step, uint32_t alpha, uint32_t beta, const uint8_t* tc0,
                       const uint8_t* bs)
{
    if (anyNull(plane, tc0, bs))
        return StatusNullPointer;
    // No difference of 8-bit samples comes near.
    constexpr uint32_t unlimited = 4096;
    filterEdges<Samples8, layout>({plane,
                                   step,
                                   {static_cast<int32_t>(std::min(alpha, unlimited))},
                                   {static_cast<int32_t>(std::min(beta, unlimited))},
                                   tc0,
                                   bs},
                                  {});
    return StatusOk;
}

template <EdgeLayout layout>
Status deblock(const DeblockingParams* params)
{
    if (anyNull(params))
        return StatusNullPointer;
    return deblock<layout>(params->pSrcDstPlane, params->srcDstStep, params->pAlpha, params->pBeta,
                           params->pThresholds, params->pBs, StepCheck::yes);
}

template <EdgeLayout layout>
Status deblock(const DeblockingParams16u* params, StepCheck stepCheck = StepCheck::yes)
{
    if (anyNull(params))
        return StatusNullPointer;
    const auto& [plane, step, alpha, beta, tc0, bs, bitDepth] = *params;
    if (anyNull(plane, alpha, beta, tc0, bs))
        return StatusNullPointer;
    if (stepCheck == StepCheck::yes && step < 1)
        return StatusBadStep;
    // Entry 1 is for the internal edges only.
    constexpr std::size_t internal = layout.edges > 1 ? 1 : 0;
    filterEdges<Samples16, layout>(
        {plane, step, {alpha[0], alpha[internal]}, {beta[0], beta[internal]}, tc0, bs},
        Clip<Samples16>(bitDepth));
    return StatusOk;
}

} // namespace
} // namespace kelvcpx::h264

using namespace kelvcpx::h264;

Status keliFilterDeblockingLuma_VerEdge_H264_8u_C1IR(uint8_t* pSrcDstPlane, int32_t srcDstStep,
                                                     const uint8_t* pAlpha, const uint8_t* pBeta,
                                                     const uint8_t* pThresholds, const uint8_t* pBs) noexcept
{
    return deblock<lumaVertical>(pSrcDstPlane, srcDstStep, pAlpha, pBeta, pThresholds, pBs, StepCheck::yes);
}

Status keliFilterDeblockingLuma_HorEdge_H264_8u_C1IR(uint8_t* pSrcDstPlane, int32_t srcDstStep,
                                                     const uint8_t* pAlpha, const uint8_t* pBeta,
                                                     const uint8_t* pThresholds, const uint8_t* pBs) noexcept
{
    return deblock<lumaHorizontal>(pSrcDstPlane, srcDstStep, pAlpha, pBeta, pThresholds, pBs, StepCheck::yes);
}

Status keliFilterDeblockingChroma_VerEdge_H264_8u_C1IR(uint8_t* pSrcDstPlane, int32_t srcDstStep,
                                                       const uint8_t* pAlpha, const uint8_t* pBeta,
                                                       const uint8_t* pThresholds,
                                                       const uint8_t* pBs) noexcept
{
    return deblock<chromaVertical>(pSrcDstPlane, srcDstStep, pAlpha, pBeta, pThresholds, pBs, StepCheck::yes);
}

Status keliFilterDeblockingChroma_HorEdge_H264_8u_C1IR(uint8_t* pSrcDstPlane, int32_t srcDstStep,
                                                       const uint8_t* pAlpha, const uint8_t* pBeta,
                                                       const uint8_t* pThresholds,
                                                       const uint8_t* pBs) noexcept
{
    return deblock<chromaHorizontal>(pSrcDstPlane, srcDstStep, pAlpha, pBeta, pThresholds, pBs,
                                     StepCheck::no);
}

Status keliFilterDeblockingLuma_VerEdge_MBAFF_H264_8u_C1IR(uint8_t* pSrcDstPlane, int32_t srcDstStep,
                                                           uint32_t alpha, uint32_t beta,
                                                           const uint8_t* pThresholds,
                                                           const uint8_t* pBs) noexcept
{
    return deblockExternal<lumaMbaff>(pSrcDstPlane, srcDstStep, alpha, beta, pThresholds, pBs);
}

Status keliFilterDeblockingChroma_VerEdge_MBAFF_H264_8u_C1IR(uint8_t* pSrcDstPlane, int32_t srcDstStep,
                                                             uint32_t alpha, uint32_t beta,
                                                             const uint8_t* pThresholds,
                                                             const uint8_t* pBs) noexcept
{
    return deblockExternal<chromaMbaff>(pSrcDstPlane, srcDstStep, alpha, beta, pThresholds, pBs);
}

Status keliFilterDeblockingChroma422VerEdge_H264_8u_IP1R(const DeblockingParams* pParams) noexcept
{
    return deblock<chroma422Vertical>(pParams);
}

Status keliFilterDeblockingChroma422HorEdge_H264_8u_IP1R(const DeblockingParams* pParams) noexcept
{
    return deblock<chroma422Horizontal>(pParams);
}

Status keliFilterDeblockingChroma422VerEdgeMBAFF_H264_8u_IP1R(const DeblockingParams*) noexcept
{
    return StatusNotSupported;
}

Status keliFilterDeblockingLumaVerEdge_H264_16u_IP1R(const DeblockingParams16u* pParams) noexcept
{
    return deblock<lumaVertical>(pParams);
}

Status keliFilterDeblockingLumaHorEdge_H264_16u_IP1R(const DeblockingParams16u* pParams) noexcept
{
    return deblock<lumaHorizontal>(pParams);
}

Status keliFilterDeblockingLumaVerEdgeMBAFF_H264_16u_IP1R(const DeblockingParams16u* pParams) noexcept
{
    return deblock<lumaMbaff>(pParams);
}

Status keliFilterDeblockingChromaVerEdge_H264_16u_IP1R(const DeblockingParams16u* pParams) noexcept
{
    return deblock<chromaVertical>(pParams);
}

Status keliFilterDeblockingChromaHorEdge_H264_16u_IP1R(const DeblockingParams16u* pParams) noexcept
{
    return deblock<chromaHorizontal>(pParams);
}

Status keliFilterDeblockingChromaVerEdgeMBAFF_H264_16u_IP1R(const DeblockingParams16u* pParams) noexcept
{
    return deblock<chromaMbaff>(pParams, StepCheck::no);
}

Status keliFilterDeblockingChroma422VerEdge_H264_16u_IP1R(const DeblockingParams16u* pParams) noexcept
{
    return deblock<chroma422Vertical>(pParams);
}

Status keliFilterDeblockingChroma422HorEdge_H264_16u_IP1R(const DeblockingParams16u* pParams) noexcept
{
    return deblock<chroma422Horizontal>(pParams);
}

Status keliFilterDeblockingChroma422VerEdgeMBAFF_H264_16u_IP1R(const DeblockingParams16u*) noexcept
{
    return StatusNotSupported;
}
