// Macroblocks of pictures with more than 8 bits: luma, and chroma of 4:2:0.

#include "h264/records.h"

#include <cstddef>

namespace kelvcpx::h264 {
namespace {

// The first `count` blocks of n x n samples of an intra macroblock; `coded` has the bits of `cbp` in the
// order of the blocks.
template <int n>
Status reconstructIntra(const BlockReconParams* params, const uint32_t* intraModes, uint8_t edgeFlags,
                        std::size_t count, uint32_t (*coded)(uint32_t cbp))
{
    if (anyNull(intraModes))
        return StatusNullPointer;
    if (const Status status = checkLuma(params); status != StatusOk)
        return status;
    return reconstructIntraBlocks<n>(params->ppSrcCoeff, samplesOf(*params), intraModes, coded(params->cbp),
                                     edgeFlags, count, scalingOf(*params), depthOf(*params));
}

constexpr uint32_t codedHalf(uint32_t cbp)
{
    return cbp;
}

template <int n>
Status reconstructInter(const BlockReconParams* params, uint32_t (*coded)(uint32_t cbp))
{
    if (const Status status = checkLuma(params); status != StatusOk)
        return status;
    reconstructInterBlocks<n>(params->ppSrcCoeff, samplesOf(*params), coded(params->cbp), scalingOf(*params),
                              depthOf(*params));
    return StatusOk;
}

} // namespace
} // namespace kelvcpx::h264

using namespace kelvcpx;
using namespace kelvcpx::h264;

Status keliReconstructLumaIntra16x16_H264High_32s16u_IP1R(const BlockReconParams* pParams, uint32_t mode,
                                                          uint8_t edgeFlags) noexcept
{
    if (const Status status = checkLuma(pParams); status != StatusOk)
        return status;
    return reconstructIntra16x16(pParams->ppSrcCoeff, samplesOf(*pParams), mode, pParams->cbp, edgeFlags,
                                 scalingOf(*pParams), depthOf(*pParams));
}

Status keliReconstructLumaIntra4x4_H264High_32s16u_IP1R(const BlockReconParams* pParams,
                                                        const uint32_t* pIntraModes,
                                                        uint8_t edgeFlags) noexcept
{
    return reconstructIntra<4>(pParams, pIntraModes, edgeFlags, 16, coded4x4);
}

Status keliReconstructLumaIntra8x8_H264High_32s16u_IP1R(const BlockReconParams* pParams,
                                                        const uint32_t* pIntraModes,
                                                        uint8_t edgeFlags) noexcept
{
    return reconstructIntra<8>(pParams, pIntraModes, edgeFlags, 4, coded8x8);
}

Status keliReconstructLumaIntraHalf4x4_H264High_32s16u_IP1R(const BlockReconParams* pParams,
                                                            const uint32_t* pIntraModes,
                                                            uint8_t edgeFlags) noexcept
{
    return reconstructIntra<4>(pParams, pIntraModes, edgeFlags, 8, codedHalf);
}

Status keliReconstructLumaIntraHalf8x8_H264High_32s16u_IP1R(const BlockReconParams* pParams,
                                                            const uint32_t* pIntraModes,
                                                            uint8_t edgeFlags) noexcept
{
    return reconstructIntra<8>(pParams, pIntraModes, edgeFlags, 2, codedHalf);
}

Status keliReconstructLumaInter4x4_H264High_32s16u_IP1R(const BlockReconParams* pParams) noexcept
{
    return reconstructInter<4>(pParams, coded4x4);
}

Status keliReconstructLumaInter8x8_H264High_32s16u_IP1R(const BlockReconParams* pParams) noexcept
{
    return reconstructInter<8>(pParams, coded8x8);
}

Status keliReconstructChromaIntra4x4_H264High_32s16u_IP2R(const BlockReconParams* const* ppParams,
                                                          uint32_t mode, uint8_t edgeFlags) noexcept
{
    return reconstructIntraPair(ppParams, mode, edgeFlags, Records420{});
}

Status keliReconstructChromaIntraHalf4x4_H264High_32s16u_IP2R(const BlockReconParams* const* ppParams,
                                                              uint32_t mode, uint8_t edgeFlagsUpper,
                                                              uint8_t edgeFlagsLower) noexcept
{
    return reconstructIntraHalfPair(ppParams, mode, edgeFlagsUpper, edgeFlagsLower, Records420{});
}

Status keliReconstructChromaInter4x4_H264High_32s16u_IP2R(const BlockReconParams* const* ppParams) noexcept
{
    return reconstructInterPair(ppParams, Records420{});
}
