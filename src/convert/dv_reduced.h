// DV macroblocks at a half, a quarter or an eighth of their size.
#pragma once

#include "convert/dv_macroblock.h"
#include "core/arithmetic.h"
#include "core/rows.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace kelvcpx::convert {

constexpr uint8_t sampleOf(int32_t v)
{
    return saturate8u(v + 128);
}

// A block of which so many rows and columns become one sample: their mean, rounded towards zero.
template <int rows, int columns>
class ReducedBlock
{
public:
    ReducedBlock(const int16_t* block)
    {
        for (std::size_t y = 0; y < 8 / rows; y++, block += 8 * rows) {
            std::array<int32_t, 8> sums{};
            for (std::size_t r = 0; r < rows; r++)
                for (std::size_t c = 0; c < 8; c++)
                    sums[c] += block[8 * r + c];
            for (std::size_t x = 0; x < width; x++) {
                int32_t sum = 0;
                for (std::size_t c = 0; c < columns; c++)
                    sum += sums[columns * x + c];
                samples_[width * y + x] = sampleOf(sum / (rows * columns));
            }
        }
    }

    uint8_t at(int y, int x) const
    {
        return samples_[width * static_cast<std::size_t>(y) + static_cast<std::size_t>(x)];
    }

private:
    static constexpr std::size_t width = 8 / columns;

    std::array<uint8_t, 8 / rows * width> samples_;
};

// The first sample alone.
template <>
class ReducedBlock<8, 8>
{
public:
    ReducedBlock(const int16_t* block) : sample_(sampleOf(block[0])) {}

    uint8_t at(int, int) const { return sample_; }

private:
    uint8_t sample_;
};

// The chroma of a macroblock that is reduced by a factor; at() is that of pair j in row y.
template <class Layout, int factor>
struct ReducedChroma;

template <int factor>
struct ReducedChroma<Row411, factor> {
    const ReducedBlock<factor, factor == 8 ? 8 : factor / 2> block;
    uint8_t at(int y, int j) const { return block.at(y, j); }
};

template <int factor>
struct ReducedChroma<Edge411, factor> {
    const ReducedBlock<factor, factor == 8 ? 8 : factor / 2> block;
    uint8_t at(int y, int j) const
    {
        constexpr int half = 8 / factor; // rows of the upper blocks
        return block.at(y % half, half * (y / half) + j);
    }
};

template <int factor>
struct ReducedChroma<Square420, factor> {
    const ReducedBlock<factor == 8 ? 8 : 2, factor> block;
    uint8_t at(int y, int j) const { return block.at(factor == 2 ? y / 2 : y, j); }
};

template <int factor>
struct ReducedChroma<Row422, factor> {
    const ReducedBlock<factor, factor> block;
    uint8_t at(int y, int j) const { return block.at(y, j); }
};

template <class Layout, int factor>
void convertReduced(Macroblock macroblock, uint8_t* dst, std::ptrdiff_t step)
{
    constexpr int size = 8 / factor; // of a block
    for (int down = 0; down < Layout::down; down++)
        for (int across = 0; across < Layout::across; across++) {
            const ReducedBlock<factor, factor> luma(macroblock.luma(Layout::block(down, across)));
            for (int y = 0; y < size; y++) {
                uint8_t* const pixels = rowAt(dst, step, size * down + y) + 2 * size * across;
                for (int x = 0; x < size; x++)
                    pixels[2 * x] = luma.at(y, x);
            }
        }
    const ReducedChroma<Layout, factor> cb{macroblock.cb()};
    const ReducedChroma<Layout, factor> cr{macroblock.cr()};
    for (int y = 0; y < size * Layout::down; y++) {
        uint8_t* const pixels = rowAt(dst, step, y);
        for (int j = 0; j < size * Layout::across / 2; j++) {
            pixels[4 * j + 1] = cb.at(y, j);
            pixels[4 * j + 3] = cr.at(y, j);
        }
    }
}

} // namespace kelvcpx::convert
