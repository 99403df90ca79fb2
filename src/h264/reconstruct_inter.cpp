// Inter macroblocks of 8-bit 4:2:0 pictures: the residual is added to the prediction.

#include "core/arguments.h"
#include "h264/reconstruct.h"

#include <kelvcpx/h264_residual.h>

using namespace kelvcpx;
using namespace kelvcpx::h264;

Status keliReconstructLumaInterMB_H264_16s8u_C1R(int16_t** ppSrcCoeff, uint8_t* pSrcDst, int32_t srcDstStep,
                                                 uint32_t cbp, int32_t QP) noexcept
{
    if (anyNull(ppSrcCoeff, pSrcDst) || anyNull(*ppSrcCoeff))
        return StatusNullPointer;
    if (QP < 0 || QP > largestQp)
        return StatusOutOfRange;
    reconstructInterBlocks<4, Depth8>(ppSrcCoeff, {pSrcDst, srcDstStep}, coded4x4(cbp), DefaultScaling(QP),
                                      {});
    return StatusOk;
}

Status keliReconstructLumaInter4x4MB_H264_16s8u_C1R(int16_t** ppSrcCoeff, uint8_t* pSrcDst,
                                                    int32_t srcDstStep, uint32_t cbp, int32_t QP,
                                                    const int16_t* pLevelScale, uint8_t bypass) noexcept
{
    if (anyNull(ppSrcCoeff, pSrcDst, pLevelScale) || anyNull(*ppSrcCoeff))
        return StatusNullPointer;
    if (srcDstStep == 0)
        return StatusBadStep;
    if (QP < 0 || QP > largestQp)
        return StatusOutOfRange;
    reconstructInterBlocks<4, Depth8>(ppSrcCoeff, {pSrcDst, srcDstStep}, coded4x4(cbp),
                                      LevelScaling(pLevelScale, QP, bypass != 0), {});
    return StatusOk;
}

Status keliReconstructLumaInter8x8MB_H264_16s8u_C1R(int16_t** ppSrcCoeff, uint8_t* pSrcDst,
                                                    int32_t srcDstStep, uint32_t cbp, int32_t QP,
                                                    const int16_t* pLevelScale, uint8_t bypass) noexcept
{
    if (anyNull(ppSrcCoeff, pSrcDst, pLevelScale) || anyNull(*ppSrcCoeff))
        return StatusNullPointer;
    if (srcDstStep == 0)
        return StatusBadStep;
    if (QP < 0 || QP > largestQp)
        return StatusOutOfRange;
    reconstructInterBlocks<8, Depth8>(ppSrcCoeff, {pSrcDst, srcDstStep}, coded8x8(cbp),
                                      LevelScaling(pLevelScale, QP, bypass != 0), {});
    return StatusOk;
}

Status keliReconstructChromaInterMB_H264_16s8u_P2R(int16_t** ppSrcCoeff, uint8_t* pSrcDstCb,
                                                   uint8_t* pSrcDstCr, int32_t srcDstStep, uint32_t cbp,
                                                   int32_t QPc) noexcept
{
    if (anyNull(ppSrcCoeff, pSrcDstCb, pSrcDstCr) || anyNull(*ppSrcCoeff))
        return StatusNullPointer;
    if (srcDstStep == 0)
        return StatusBadStep;
    if (QPc < 0 || QPc > largestChromaQp)
        return StatusOutOfRange;
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
    if (anyNull(ppSrcCoeff, pSrcDstCb, pSrcDstCr, pLevelScaleCb, pLevelScaleCr) || anyNull(*ppSrcCoeff))
        return StatusNullPointer;
    if (srcDstStep == 0)
        return StatusBadStep;
    if (QPcb < 0 || QPcb > largestChromaQp || QPcr < 0 || QPcr > largestChromaQp)
        return StatusOutOfRange;
    reconstructChroma<Chroma420>(ppSrcCoeff, pSrcDstCb, pSrcDstCr, srcDstStep, cbp,
                                 LevelScaling(pLevelScaleCb, QPcb, bypass != 0),
                                 LevelScaling(pLevelScaleCr, QPcr, bypass != 0));
    return StatusOk;
}
