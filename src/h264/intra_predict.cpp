#include "h264/intra_predict.h"

#include "core/arguments.h"

#include <kelvcpx/h264_residual.h>

using namespace kelvcpx;

Status keliPredictIntra_4x4_H264_8u_C1IR(uint8_t* pSrcDst, int32_t srcDstStep, uint32_t mode,
                                         int32_t availability) noexcept
{
    if (anyNull(pSrcDst))
        return StatusNullPointer;
    if (srcDstStep < 4)
        return StatusBadStep;
    if (mode >= h264::modes)
        return StatusOutOfRange;
    h264::predictions4x4<h264::Depth8>[mode](pSrcDst, srcDstStep, availability, {});
    return h264::isMissing(h264::neededNeighbours[mode], availability) ? StatusWarnNoNeighbour : StatusOk;
}

Status keliPredictIntra_16x16_H264_8u_C1IR(uint8_t* pSrcDst, int32_t srcDstStep, uint32_t mode,
                                           int32_t availability) noexcept
{
    if (anyNull(pSrcDst))
        return StatusNullPointer;
    if (srcDstStep < 16)
        return StatusBadStep;
    if (mode > static_cast<uint32_t>(h264::Mode16x16::plane))
        return StatusOutOfRange;
    const bool done = h264::predict16x16(pSrcDst, srcDstStep, static_cast<h264::Mode16x16>(mode),
                                         availability, h264::Depth8{});
    return done ? StatusOk : StatusBadIntraMode;
}

Status keliPredictIntraChroma8x8_H264_8u_C1IR(uint8_t* pSrcDst, int32_t srcDstStep, uint32_t mode,
                                              int32_t availability) noexcept
{
    if (anyNull(pSrcDst))
        return StatusNullPointer;
    if (srcDstStep < 8)
        return StatusBadStep;
    if (mode > static_cast<uint32_t>(h264::ChromaMode::plane))
        return StatusOutOfRange;
    if (h264::isMissing(h264::neededChromaNeighbours[mode], availability))
        return StatusBadIntraMode;
    h264::predictChroma<8>(pSrcDst, srcDstStep, static_cast<h264::ChromaMode>(mode), availability,
                           h264::Depth8{});
    return StatusOk;
}
