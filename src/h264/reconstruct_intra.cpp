// Intra macroblocks of 8-bit 4:2:0 pictures: predicted and completed by the residual block by block.

#include "h264/macroblock_checks.h"
#include "h264/records.h"

#include <kelvcpx/h264_residual.h>

#include <array>
#include <cstddef>

namespace kelvcpx::h264 {
namespace {

// The checks of the luma operations whose blocks have modes of their own.
Status check(int16_t** ppSrcCoeff, const uint8_t* pSrcDst, const uint32_t* pIntraModes, int32_t srcDstStep,
             int32_t QP)
{
    if (hasNull(ppSrcCoeff, pSrcDst, pIntraModes))
        return StatusNullPointer;
    if (srcDstStep < 1)
        return StatusBadStep;
    return isQp(QP) ? StatusOk : StatusOutOfRange;
}

// Intra_4x4 with the default scaling.
Status reconstruct(int16_t** ppSrcCoeff, uint8_t* pSrcDst, int32_t srcDstStep, const uint32_t* pIntraModes,
                   uint32_t coded, int32_t QP, uint8_t edgeFlags, std::size_t count)
{
    if (const Status status = check(ppSrcCoeff, pSrcDst, pIntraModes, srcDstStep, QP); status != StatusOk)
        return status;
    return reconstructIntraBlocks<4, Depth8>(ppSrcCoeff, {pSrcDst, srcDstStep}, pIntraModes, coded, edgeFlags,
                                             count, DefaultScaling(QP), {});
}

// Blocks of n x n samples with factors of the caller.
template <int n>
Status reconstruct(int16_t** ppSrcCoeff, uint8_t* pSrcDst, int32_t srcDstStep, const uint32_t* pIntraModes,
                   uint32_t coded, int32_t QP, uint8_t edgeFlags, const int16_t* pLevelScale, uint8_t bypass,
                   std::size_t count)
{
    if (anyNull(pLevelScale))
        return StatusNullPointer;
    if (const Status status = check(ppSrcCoeff, pSrcDst, pIntraModes, srcDstStep, QP); status != StatusOk)
        return status;
    return reconstructIntraBlocks<n, Depth8>(ppSrcCoeff, {pSrcDst, srcDstStep}, pIntraModes, coded, edgeFlags,
                                             count, LevelScaling(pLevelScale, QP, bypass != 0), {});
}

} // namespace
} // namespace kelvcpx::h264

using namespace kelvcpx;
using namespace kelvcpx::h264;

Status keliReconstructLumaIntraMB_H264_16s8u_C1R(int16_t** ppSrcCoeff, uint8_t* pSrcDst, int32_t srcDstStep,
                                                 const uint32_t* pIntraModes, uint32_t cbp, int32_t QP,
                                                 uint8_t edgeFlags) noexcept
{
    return reconstruct(ppSrcCoeff, pSrcDst, srcDstStep, pIntraModes, coded4x4(cbp), QP, edgeFlags, 16);
}

Status keliReconstructLumaIntraHalfMB_H264_16s8u_C1R(int16_t** ppSrcCoeff, uint8_t* pSrcDst,
                                                     int32_t srcDstStep, const uint32_t* pIntraModes,
                                                     uint32_t cbp, int32_t QP, uint8_t edgeFlags) noexcept
{
    return reconstruct(ppSrcCoeff, pSrcDst, srcDstStep, pIntraModes, cbp, QP, edgeFlags, 8);
}

Status keliReconstructLumaIntra4x4MB_H264_16s8u_C1R(int16_t** ppSrcCoeff, uint8_t* pSrcDst,
                                                    int32_t srcDstStep, const uint32_t* pIntraModes,
                                                    uint32_t cbp, int32_t QP, uint8_t edgeFlags,
                                                    const int16_t* pLevelScale, uint8_t bypass) noexcept
{
    return reconstruct<4>(ppSrcCoeff, pSrcDst, srcDstStep, pIntraModes, coded4x4(cbp), QP, edgeFlags,
                          pLevelScale, bypass, 16);
}

Status keliReconstructLumaIntraHalf4x4MB_H264_16s8u_C1R(int16_t** ppSrcCoeff, uint8_t* pSrcDst,
                                                        int32_t srcDstStep, const uint32_t* pIntraModes,
                                                        uint32_t cbp, int32_t QP, uint8_t edgeFlags,
                                                        const int16_t* pLevelScale, uint8_t bypass) noexcept
{
    return reconstruct<4>(ppSrcCoeff, pSrcDst, srcDstStep, pIntraModes, cbp, QP, edgeFlags, pLevelScale,
                          bypass, 8);
}

Status keliReconstructLumaIntra8x8MB_H264_16s8u_C1R(int16_t** ppSrcCoeff, uint8_t* pSrcDst,
                                                    int32_t srcDstStep, const uint32_t* pIntraModes,
                                                    uint32_t cbp, int32_t QP, uint8_t edgeFlags,
                                                    const int16_t* pLevelScale, uint8_t bypass) noexcept
{
    return reconstruct<8>(ppSrcCoeff, pSrcDst, srcDstStep, pIntraModes, cbp, QP, edgeFlags, pLevelScale,
                          bypass, 4);
}

Status keliReconstructLumaIntraHalf8x8MB_H264_16s8u_C1R(int16_t** ppSrcCoeff, uint8_t* pSrcDst,
                                                        int32_t srcDstStep, const uint32_t* pIntraModes,
                                                        uint32_t cbp, int32_t QP, uint8_t edgeFlags,
                                                        const int16_t* pLevelScale, uint8_t bypass) noexcept
{
    return reconstruct<8>(ppSrcCoeff, pSrcDst, srcDstStep, pIntraModes, cbp, QP, edgeFlags, pLevelScale,
                          bypass, 2);
}

Status keliReconstructLumaIntra16x16MB_H264_16s8u_C1R(int16_t** ppSrcCoeff, uint8_t* pSrcDst,
                                                      int32_t srcDstStep, uint32_t mode, uint32_t cbp,
                                                      int32_t QP, uint8_t edgeFlags) noexcept
{
    if (hasNull(ppSrcCoeff, pSrcDst))
        return StatusNullPointer;
    if (!isQp(QP))
        return StatusOutOfRange;
    return reconstructIntra16x16<Depth8>(ppSrcCoeff, {pSrcDst, srcDstStep}, mode, cbp, edgeFlags,
                                         DefaultScaling(QP), {});
}

Status keliReconstructLumaIntra_16x16MB_H264_16s8u_C1R(int16_t** ppSrcCoeff, uint8_t* pSrcDst,
                                                       int32_t srcDstStep, uint32_t mode, uint32_t cbp,
                                                       int32_t QP, uint8_t edgeFlags,
                                                       const int16_t* pLevelScale, uint8_t bypass) noexcept
{
    if (hasNull(ppSrcCoeff, pSrcDst, pLevelScale))
        return StatusNullPointer;
    if (srcDstStep < 1)
        return StatusBadStep;
    if (!isQp(QP))
        return StatusOutOfRange;
    return reconstructIntra16x16<Depth8>(ppSrcCoeff, {pSrcDst, srcDstStep}, mode, cbp, edgeFlags,
                                         LevelScaling(pLevelScale, QP, bypass != 0), {});
}

Status keliReconstructChromaIntraMB_H264_16s8u_P2R(int16_t** ppSrcCoeff, uint8_t* pSrcDstCb,
                                                   uint8_t* pSrcDstCr, int32_t srcDstStep, uint32_t mode,
                                                   uint32_t cbp, int32_t QPc, uint8_t edgeFlags) noexcept
{
    if (const Status status = checkChroma(ppSrcCoeff, srcDstStep, QPc, QPc, pSrcDstCb, pSrcDstCr);
        status != StatusOk)
        return status;
    const Status status = predictChromaComponents<Chroma420, Depth8>(
        {pSrcDstCb, srcDstStep}, {pSrcDstCr, srcDstStep}, mode, edgeFlags, {});
    if (status == StatusOk)
        reconstructChroma<Chroma420>(ppSrcCoeff, pSrcDstCb, pSrcDstCr, srcDstStep, cbp, DefaultScaling(QPc),
                                     DefaultScaling(QPc));
    return status;
}

Status keliReconstructChromaIntra4x4MB_H264_16s8u_P2R(int16_t** ppSrcCoeff, uint8_t* pSrcDstCb,
                                                      uint8_t* pSrcDstCr, int32_t srcDstStep, uint32_t mode,
                                                      uint32_t cbp, int32_t QPcb, int32_t QPcr,
                                                      uint8_t edgeFlags, const int16_t* pLevelScaleCb,
                                                      const int16_t* pLevelScaleCr, uint8_t bypass) noexcept
{
    if (const Status status = checkChroma(ppSrcCoeff, srcDstStep, QPcb, QPcr, pSrcDstCb, pSrcDstCr,
                                          pLevelScaleCb, pLevelScaleCr);
        status != StatusOk)
        return status;
    const Status status = predictChromaComponents<Chroma420, Depth8>(
        {pSrcDstCb, srcDstStep}, {pSrcDstCr, srcDstStep}, mode, edgeFlags, {});
    if (status == StatusOk)
        reconstructChroma<Chroma420>(ppSrcCoeff, pSrcDstCb, pSrcDstCr, srcDstStep, cbp,
                                     LevelScaling(pLevelScaleCb, QPcb, bypass != 0),
                                     LevelScaling(pLevelScaleCr, QPcr, bypass != 0));
    return status;
}

Status keliReconstructChromaIntraHalfsMB_H264_16s8u_P2R(int16_t** ppSrcCoeff, uint8_t* pSrcDstCb,
                                                        uint8_t* pSrcDstCr, int32_t srcDstStep, uint32_t mode,
                                                        uint32_t cbp, int32_t QPc, uint8_t edgeFlagsUpper,
                                                        uint8_t edgeFlagsLower) noexcept
{
    if (hasNull(ppSrcCoeff, pSrcDstCb, pSrcDstCr))
        return StatusNullPointer;
    if (srcDstStep == 0)
        return StatusBadStep;
    if (!isQp(QPc))
        return StatusOutOfRange;
    const Status status = predictChromaHalves<Chroma420, Depth8>(
        {pSrcDstCb, srcDstStep}, {pSrcDstCr, srcDstStep}, mode, edgeFlagsUpper, edgeFlagsLower, {});
    if (status != StatusOk)
        return status;
    return keliReconstructChromaInterMB_H264_16s8u_P2R(ppSrcCoeff, pSrcDstCb, pSrcDstCr, srcDstStep, cbp,
                                                       QPc);
}

Status keliReconstructChromaIntraHalvesMB_H264_16s8u_P2R(int16_t** ppSrcCoeff, uint8_t* pSrcDstCb,
                                                         uint8_t* pSrcDstCr, int32_t srcDstStep,
                                                         uint32_t mode, uint32_t cbp, int32_t QPc,
                                                         uint8_t edgeFlagsUpper,
                                                         uint8_t edgeFlagsLower) noexcept
{
    return keliReconstructChromaIntraHalfsMB_H264_16s8u_P2R(ppSrcCoeff, pSrcDstCb, pSrcDstCr, srcDstStep,
                                                            mode, cbp, QPc, edgeFlagsUpper, edgeFlagsLower);
}

Status keliReconstructChromaIntraHalfs4x4MB_H264_16s8u_P2R(
    int16_t** ppSrcCoeff, uint8_t* pSrcDstCb, uint8_t* pSrcDstCr, int32_t srcDstStep, uint32_t mode,
    uint32_t cbp, int32_t QPcb, int32_t QPcr, uint8_t edgeFlagsUpper, uint8_t edgeFlagsLower,
    const int16_t* pLevelScaleCb, const int16_t* pLevelScaleCr, uint8_t bypass) noexcept
{
    const BlockReconParams8u cb{ppSrcCoeff, pSrcDstCb, srcDstStep, cbp, QPcb, pLevelScaleCb, bypass, 8};
    const BlockReconParams8u cr{ppSrcCoeff, pSrcDstCr, srcDstStep, cbp, QPcr, pLevelScaleCr, bypass, 8};
    const std::array pair = {&cb, &cr};
    return reconstructIntraHalfPair(pair.data(), mode, edgeFlagsUpper, edgeFlagsLower, Records420{});
}

Status keliReconstructChromaIntraHalves4x4MB_H264_16s8u_P2R(int16_t** ppSrcCoeff, uint8_t* pSrcDstCb,
                                                            uint8_t* pSrcDstCr, int32_t srcDstStep,
                                                            uint32_t mode, uint32_t cbp, int32_t QPcb,
                                                            int32_t QPcr, uint8_t edgeFlagsUpper,
                                                            uint8_t edgeFlagsLower) noexcept
{
    if (hasNull(ppSrcCoeff, pSrcDstCb, pSrcDstCr))
        return StatusNullPointer;
    if (srcDstStep < 1)
        return StatusBadStep;
    if (!isChromaQp(QPcb) || !isChromaQp(QPcr))
        return StatusOutOfRange;
    const Status status = predictChromaHalves<Chroma420, Depth8>(
        {pSrcDstCb, srcDstStep}, {pSrcDstCr, srcDstStep}, mode, edgeFlagsUpper, edgeFlagsLower, {});
    if (status == StatusOk)
        reconstructChroma<Chroma420>(ppSrcCoeff, pSrcDstCb, pSrcDstCr, srcDstStep, cbp, DefaultScaling(QPcb),
                                     DefaultScaling(QPcr));
    return status;
}
