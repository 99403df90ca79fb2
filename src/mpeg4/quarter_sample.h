// Quarter-sample prediction (ISO/IEC 14496-2 7.6.2.2).
#pragma once

#include <kelvcpx/types.h>

#include <cstddef>
#include <cstdint>

namespace kelvcpx::mpeg4 {

// `acc` bits 0 and 1: quarter samples to the right; bits 2 and 3: quarter samples down. A width of 4, 8 or
// 16; a height of 4 (not if the width is 4), 8 or 16. Steps are in bytes.
void ownvc_CopyQP_8u_C1R(const uint8_t* src, std::ptrdiff_t srcStep, uint8_t* dst, std::ptrdiff_t dstStep,
                         RoiSize size, int32_t acc, int32_t rounding);

} // namespace kelvcpx::mpeg4
