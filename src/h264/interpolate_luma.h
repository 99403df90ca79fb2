// Luma sample interpolation (ITU-T H.264 8.4.2.2.1): the kernels behind the operations, and the tables by
// which they are chosen. None checks its arguments, which the check functions do for all operations.
#pragma once

#include <kelvcpx/h264_inter.h>

#include <array>
#include <cstddef>
#include <cstdint>

namespace kelvcpx::h264 {

// The statuses of the operations that take such arguments, in the order of their checks.
Status checkInterpolateLuma(const uint8_t* src, const uint8_t* dst, int32_t dx, int32_t dy, RoiSize size);
Status checkInterpolateLuma(const InterpolationParams16u* params);

// The width is 4, 8 or 16, the height a multiple of 4. Steps are in samples.
using InterpolateLuma8 = void (*)(const uint8_t* src, uint8_t* dst, int32_t srcStep, int32_t dstStep,
                                  int32_t width, int32_t height);
using InterpolateLuma16 = void (*)(const uint16_t* src, uint16_t* dst, int32_t srcStep, int32_t dstStep,
                                   int32_t width, int32_t height, int32_t bitDepth);

// Entry dx * 4 + dy interpolates at dx quarter samples to the right and dy quarter samples down.
extern const std::array<InterpolateLuma8, 16> InterpolFnTbl;
extern const std::array<InterpolateLuma16, 16> InterpolFnTbl_16u;

constexpr std::size_t quarterSampleEntry(int32_t dx, int32_t dy)
{
    return static_cast<std::size_t>(dx) * 4 + static_cast<std::size_t>(dy);
}

// Interpolates with the kernel that the record's fractions choose.
void own_InterpolateLuma_H264_16u(const InterpolationParams16u& params);

} // namespace kelvcpx::h264
