// From the coefficients of an 8x8 block in raster order to samples.
#pragma once

#include <kelvcpx/block.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace kelvcpx::app {

// Swaps rows and columns, as far as the inverse DCT reads the block: all frequencies, or those below 4 if the
// last coefficient is among the first ten.
inline void transpose(int16_t* block, int32_t last)
{
    const std::size_t size = last < 10 ? 4 : 8;
    for (std::size_t row = 1; row < size; row++)
        for (std::size_t column = 0; column < row; column++)
            std::swap(block[8 * row + column], block[8 * column + row]);
}

// The inverse DCT adds an eighth too much before it rounds, and cuts a DC that is alone towards zero. In one
// picture that is little, but predicted pictures add it up. With this in the DC it rounds to the nearest.
inline void compensateRounding(int16_t* coefficients, int32_t last)
{
    const int dc = coefficients[0];
    coefficients[0] = static_cast<int16_t>(last > 0 ? dc - 1 : dc < 0 ? dc - 4 : dc + 4);
}

// The samples of an intra block. The coefficients are used up.
inline void reconstructBlock(int16_t* coefficients, int32_t last, uint8_t* dst, int32_t step)
{
    compensateRounding(coefficients, last);
    if (last > 0)
        transpose(coefficients, last);
    keliDCT8x8Inv_AANTransposed_16s8u_C1R(coefficients, dst, step, last);
}

// Adds the residual of an inter block to its prediction. The coefficients are used up.
inline void addBlock(int16_t* coefficients, int32_t last, uint8_t* dst, int32_t step)
{
    constexpr int32_t residualStep = 8 * sizeof(int16_t);
    alignas(32) std::array<int16_t, 64> residual;
    compensateRounding(coefficients, last);
    if (last > 0)
        transpose(coefficients, last);
    keliDCT8x8Inv_AANTransposed_16s_C1R(coefficients, residual.data(), residualStep, last);
    keliAdd8x8_16s8u_C1IRS(residual.data(), residualStep, dst, step);
}

} // namespace kelvcpx::app
