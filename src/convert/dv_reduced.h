// DV macroblocks at a half, a quarter or an eighth of their size.
#pragma once

#include "convert/dv_macroblock.h"
#include "core/arithmetic.h"
#include "core/rows.h"

namespace kelvcpx::convert {

// The mean of some samples, rounded towards zero.
template <int rows, int columns>
int32_t mean(const int16_t* block, int firstRow, int firstColumn)
{
    int32_t sum = 0;
    for (int r = firstRow; r < firstRow + rows; r++)
        for (int c = firstColumn; c < firstColumn + columns; c++)
            sum += block[8 * r + c];
    return sum / (rows * columns);
}

// The chroma of pair j in row y of a macroblock that is reduced by a factor of 2 or 4.

template <int factor>
int32_t reducedChroma(Row411, const int16_t* block, int y, int j)
{
    return mean<factor, factor / 2>(block, factor * y, factor / 2 * j);
}

template <int factor>
int32_t reducedChroma(Edge411, const int16_t* block, int y, int j)
{
    constexpr int half = 8 / factor; // rows of the upper blocks
    return mean<factor, factor / 2>(block, factor * (y % half), 4 * (y / half) + factor / 2 * j);
}

template <int factor>
int32_t reducedChroma(Square420, const int16_t* block, int y, int j)
{
    return mean<2, factor>(block, factor == 2 ? y / 2 * 2 : 2 * y, factor * j);
}

template <int factor>
int32_t reducedChroma(Row422, const int16_t* block, int y, int j)
{
    return mean<factor, factor>(block, factor * y, factor * j);
}

constexpr uint8_t sampleOf(int32_t v)
{
    return saturate8u(v + 128);
}

template <class Layout, int factor>
void convertReduced(Macroblock macroblock, uint8_t* dst, std::ptrdiff_t step)
{
    constexpr int size = 8 / factor; // of a block
    const auto luma = [&](int y, int x) {
        const int16_t* const block = macroblock.luma(Layout::block(y / size, x / size));
        if constexpr (factor == 8)
            return sampleOf(block[0]);
        else
            return sampleOf(mean<factor, factor>(block, factor * (y % size), factor * (x % size)));
    };
    const auto chroma = [](const int16_t* block, int y, int j) {
        if constexpr (factor == 8)
            return sampleOf(block[0]);
        else
            return sampleOf(reducedChroma<factor>(Layout{}, block, y, j));
    };
    for (int y = 0; y < size * Layout::down; y++) {
        uint8_t* pixels = rowAt(dst, step, y);
        for (int j = 0; j < size * Layout::across / 2; j++, pixels += 4) {
            pixels[0] = luma(y, 2 * j);
            pixels[1] = chroma(macroblock.cb(), y, j);
            pixels[2] = luma(y, 2 * j + 1);
            pixels[3] = chroma(macroblock.cr(), y, j);
        }
    }
}

} // namespace kelvcpx::convert
