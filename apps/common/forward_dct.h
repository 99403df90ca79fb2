// The forward DCT of 8x8 blocks (ISO/IEC 13818-2 Annex A), in single precision, rounded to whole numbers:
// what encoders transform differences and samples with.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace kelvcpx::app {

// The 64 coefficients of a block in raster order: 8 * vertical frequency + horizontal frequency. The rows of
// the block, of 8 elements in -4095..4095, are `step` bytes apart.
void forwardDct(const int16_t* block, std::ptrdiff_t step, std::span<int16_t, 64> coefficients);

// The same, transposed as the inverse DCT of the library takes them: 8 * horizontal frequency + vertical
// frequency.
void forwardDctTransposed(const int16_t* block, std::ptrdiff_t step, std::span<int16_t, 64> coefficients);

} // namespace kelvcpx::app
