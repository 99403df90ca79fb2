// The kernels behind copy, average and add, for use by the whole library. None checks its arguments.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace kelvcpx {

// All steps are in bytes.
using CopyKernel = void (*)(const uint8_t* src, std::ptrdiff_t srcStep, uint8_t* dst, std::ptrdiff_t dstStep);
using AddKernel = void (*)(const int16_t* residual, std::ptrdiff_t residualStep, const uint8_t* ref,
                           std::ptrdiff_t refStep, uint8_t* dst, std::ptrdiff_t dstStep);

// One entry for each half-sample position and rounding control, in the order of halfSampleEntry(). Rounding
// does not matter at full-sample position: the first two entries are the same.
using CopyTable = std::array<CopyKernel, 8>;
using AddTable = std::array<AddKernel, 8>;

// `acc`: bit 0 half a sample to the right, bit 1 half a sample down.
constexpr std::size_t halfSampleEntry(int32_t acc, int32_t rounding)
{
    return static_cast<std::size_t>(acc & 3) * 2 + static_cast<std::size_t>(rounding & 1);
}

// dst = prediction
extern const CopyTable ownvc_Copy4x8HP_8u_C1R;
extern const CopyTable ownvc_Copy8x4HP_8u_C1R;
extern const CopyTable ownvc_Copy8x8HP_8u_C1R;
extern const CopyTable ownvc_Copy16x8HP_8u_C1R;
extern const CopyTable ownvc_Copy16x16HP_8u_C1R;

// dst = (prediction + dst + 1) >> 1
extern const CopyTable ownvc_InterpolateAverage8x4HP_8u_C1IR;
extern const CopyTable ownvc_InterpolateAverage8x8HP_8u_C1IR;
extern const CopyTable ownvc_InterpolateAverage16x8HP_8u_C1IR;
extern const CopyTable ownvc_InterpolateAverage16x16HP_8u_C1IR;

// dst = prediction + residual, clipped to 0..255
extern const AddTable ownvc_Add8x8HP_16s8u_C1RS;

} // namespace kelvcpx
