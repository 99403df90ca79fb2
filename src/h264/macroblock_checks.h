// Argument checks of the operations on macroblocks of 8-bit pictures: pointers, step, quantisers.
#pragma once

#include "core/arguments.h"
#include "h264/reconstruct.h"

#include <kelvcpx/types.h>

#include <cstdint>

namespace kelvcpx::h264 {

template <class... T>
bool hasNull(int16_t* const* ppSrcCoeff, const T*... pointers)
{
    return anyNull(ppSrcCoeff, pointers...) || anyNull(*ppSrcCoeff);
}

// Chroma of 4:2:0.
template <class... T>
Status checkChroma(int16_t* const* ppSrcCoeff, int32_t srcDstStep, int32_t QPcb, int32_t QPcr,
                   const T*... pointers)
{
    if (hasNull(ppSrcCoeff, pointers...))
        return StatusNullPointer;
    if (srcDstStep == 0)
        return StatusBadStep;
    return isChromaQp(QPcb) && isChromaQp(QPcr) ? StatusOk : StatusOutOfRange;
}

} // namespace kelvcpx::h264
