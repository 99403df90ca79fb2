// Chroma sample interpolation (ITU-T H.264 8.4.2.2.2) behind the operations. The interpolations do not check
// their arguments, which the check functions do for all operations.
#pragma once

#include <kelvcpx/h264_inter.h>

#include <cstdint>

namespace kelvcpx::h264 {

// The statuses of the operations that take such arguments, in the order of their checks.
Status checkInterpolateChroma(const uint8_t* src, const uint8_t* dst, int32_t dx, int32_t dy, RoiSize size);
Status checkInterpolateChroma(const InterpolationParams16u* params);

// They read a column after the block only if dx is not 0, and a row after it only if dy is not.
void own_InterpolateChroma_H264_8u(const uint8_t* src, int32_t srcStep, uint8_t* dst, int32_t dstStep,
                                   int32_t dx, int32_t dy, RoiSize size);
void own_InterpolateChroma_H264_16u(const InterpolationParams16u& params);

} // namespace kelvcpx::h264
