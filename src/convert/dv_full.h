// DV macroblocks at full size, eight samples at a time.
#pragma once

#include "convert/dv_macroblock.h"
#include "core/rows.h"
#include "core/vec.h"

#include <cstddef>
#include <cstdint>

namespace kelvcpx::convert {

// Samples from -128 on become samples from 0 on.
inline S16x8 clipped(S16x8 v)
{
    return clamped(v, splat16(-128), splat16(127)) + splat16(128);
}

// (a + b) / 2, rounded towards zero, of any two numbers: first rounded down, without a carry.
inline S16x8 mean(S16x8 a, S16x8 b)
{
    const S16x8 down = (a & b) + ((a ^ b) >> 1);
    const S16x8 isNegative = down >> 15;
    return wrapAdd(down, (a ^ b) & isNegative & splat16(1));
}

inline S16x8 rowOf(const int16_t* block, int y)
{
    return loadUnaligned<S16x8>(block + 8 * y);
}

// 16 pixels.
inline void storePixels(uint8_t* dst, S16x8 left, S16x8 right, S16x8 cb, S16x8 cr)
{
    const U8x16 luma = narrow(clipped(left), clipped(right));
    const S16x8 cbSamples = clipped(cb);
    const S16x8 crSamples = clipped(cr);
    const U8x16 chroma = interleaveLow(narrow(cbSamples, cbSamples), narrow(crSamples, crSamples));
    storeUnaligned(dst, interleaveLow(luma, chroma));
    storeUnaligned(dst + 16, interleaveHigh(luma, chroma));
}

// A row of chroma with twice as many samples, in two halves.
struct Doubled {
    S16x8 left;
    S16x8 right;
};

inline Doubled doubled(S16x8 row, S16x8 neighbours)
{
    const S16x8 between = mean(row, neighbours);
    return {interleaveLow(row, between), interleaveHigh(row, between)};
}

inline void convertFull(Row411, Macroblock macroblock, uint8_t* dst, std::ptrdiff_t step)
{
    const auto doubledRow = [](const int16_t* block, int y) {
        const S16x8 row = rowOf(block, y);
        return doubled(row, __builtin_shufflevector(row, row, 1, 2, 3, 4, 5, 6, 7, 7));
    };
    for (int y = 0; y < 8; y++) {
        uint8_t* const pixels = rowAt(dst, step, y);
        const Doubled cb = doubledRow(macroblock.cb(), y);
        const Doubled cr = doubledRow(macroblock.cr(), y);
        storePixels(pixels, rowOf(macroblock.luma(0), y), rowOf(macroblock.luma(1), y), cb.left, cr.left);
        storePixels(pixels + 32, rowOf(macroblock.luma(2), y), rowOf(macroblock.luma(3), y), cb.right,
                    cr.right);
    }
}

inline void convertFull(Edge411, Macroblock macroblock, uint8_t* dst, std::ptrdiff_t step)
{
    // The halves of a row of chroma are no neighbours.
    const auto doubledRow = [](const int16_t* block, int y) {
        const S16x8 row = rowOf(block, y);
        return doubled(row, __builtin_shufflevector(row, row, 1, 2, 3, 3, 5, 6, 7, 7));
    };
    for (int y = 0; y < 8; y++) {
        const Doubled cb = doubledRow(macroblock.cb(), y);
        const Doubled cr = doubledRow(macroblock.cr(), y);
        storePixels(rowAt(dst, step, y), rowOf(macroblock.luma(0), y), rowOf(macroblock.luma(1), y), cb.left,
                    cr.left);
        storePixels(rowAt(dst, step, y + 8), rowOf(macroblock.luma(2), y), rowOf(macroblock.luma(3), y),
                    cb.right, cr.right);
    }
}

inline void convertFull(Square420, Macroblock macroblock, uint8_t* dst, std::ptrdiff_t step)
{
    for (int y = 0; y < 16; y++) {
        const int left = y / 8 * 2;
        const int chromaRow = y / 4 * 2 + y % 2;
        storePixels(rowAt(dst, step, y), rowOf(macroblock.luma(left), y % 8),
                    rowOf(macroblock.luma(left + 1), y % 8), rowOf(macroblock.cb(), chromaRow),
                    rowOf(macroblock.cr(), chromaRow));
    }
}

inline void convertFull(Row422, Macroblock macroblock, uint8_t* dst, std::ptrdiff_t step)
{
    for (int y = 0; y < 8; y++)
        storePixels(rowAt(dst, step, y), rowOf(macroblock.luma(0), y), rowOf(macroblock.luma(2), y),
                    rowOf(macroblock.cb(), y), rowOf(macroblock.cr(), y));
}

} // namespace kelvcpx::convert
