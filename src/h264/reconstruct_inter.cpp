// Inter macroblocks of 8-bit 4:2:0 pictures: the residual is added to the prediction.

#include "h264/macroblock_checks.h"

#include <kelvcpx/h264_residual.h>

namespace kelvcpx::h264 {
namespace {

// Blocks of n x n samples with factors of the caller.
template <int n>
Status reconstructLuma(int16_t** ppSrcCoeff, uint8_t* pSrcDst, int32_t srcDstStep, uint32_t coded, int32_t QP,
                       const int16_t* pLevelScale, uint8_t bypass)
{
    if (hasNull(ppSrcCoeff, pSrcDst, pLevelScale))
        return StatusNullPointer;
    if (srcDstStep == 0)
        return StatusBadStep;
    if (!isQp(QP))
        return StatusOutOfRange;
    reconstructInterBlocks<n, Depth8>(ppSrcCoeff, {pSrcDst, srcDstStep}, coded,
                                      LevelScaling(pLevelScale, QP, bypass != 0), {});
    return StatusOk;
}

} // namespace
} // namespace kelvcpx::h264

using namespace kelvcpx;
using namespace kelvcpx::h264;

Status keliReconstructLumaInterMB_H264_16s8u_C1R(int16_t** ppSrcCoeff, uint8_t* pSrcDst, int32_t srcDstStep,
                                                 uint32_t cbp, int32_t QP) noexcept
{
    if (hasNull(ppSrcCoeff, pSrcDst))
        return StatusNullPointer;
    if (!isQp(QP))
        return StatusOutOfRange;
    reconstructInterBlocks<4, Depth8>(ppSrcCoeff, {pSrcDst, srcDstStep}, coded4x4(cbp), DefaultScaling(QP),
                                      {});
    return StatusOk;
}

Status keliReconstructLumaInter4x4MB_H264_16s8u_C1R(int16_t** ppSrcCoeff, uint8_t* pSrcDst,
                                                    int32_t srcDstStep, uint32_t cbp, int32_t QP,
                                                    const int16_t* pLevelScale, uint8_t bypass) noexcept
{
    return reconstructLuma<4>(ppSrcCoeff, pSrcDst, srcDstStep, coded4x4(cbp), QP, pLevelScale, bypass);
}

Status keliReconstructLumaInter8x8MB_H264_16s8u_C1R(int16_t** ppSrcCoeff, uint8_t* pSrcDst,
                                                    int32_t srcDstStep, uint32_t cbp, int32_t QP,
                                                    const int16_t* pLevelScale, uint8_t bypass) noexcept
{
    return reconstructLuma<8>(ppSrcCoeff, pSrcDst, srcDstStep, coded8x8(cbp), QP, pLevelScale, bypass);
}

Status keliReconstructChromaInterMB_H264_16s8u_P2R(int16_t** ppSrcCoeff, uint8_t* pSrcDstCb,
                                                   uint8_t* pSrcDstCr, int32_t srcDstStep, uint32_t cbp,
                                                   int32_t QPc) noexcept
{
    if (const Status status = checkChroma(ppSrcCoeff, srcDstStep, QPc, QPc, pSrcDstCb, pSrcDstCr);
        status != StatusOk)
        return status;
    reconstructChroma<Chroma420>(ppSrcCoeff, pSrcDstCb, pSrcDstCr, srcDstStep, cbp, DefaultScaling(QPc),
                                 DefaultScaling(QPc));
    return StatusOk;
}

Status keliReconstructChromaInter4x4MB_H264_16s8u_P2R(int16_t** ppSrcCoeff, uint8_t* pSrcDstCb,
                                                      uint8_t* pSrcDstCr, int32_t srcDstStep, uint32_t cbp,
                                                      int32_t QPcb, int32_t QPcr,
                                                      const int16_t* pLevelScaleCb,
                                                      const int16_t* pLevelScaleCr, uint8_t bypass) noexcept
{
    if (const Status status = checkChroma(ppSrcCoeff, srcDstStep, QPcb, QPcr, pSrcDstCb, pSrcDstCr,
                                          pLevelScaleCb, pLevelScaleCr);
        status != StatusOk)
        return status;
    reconstructChroma<Chroma420>(ppSrcCoeff, pSrcDstCb, pSrcDstCr, srcDstStep, cbp,
                                 LevelScaling(pLevelScaleCb, QPcb, bypass != 0),
                                 LevelScaling(pLevelScaleCr, QPcr, bypass != 0));
    return StatusOk;
}
