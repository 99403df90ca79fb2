// Packed 4:2:2: four bytes for two pixels, in the order Cb, Y, Cr, Y.
#pragma once

#include "core/vec.h"

#include <cstdint>

namespace kelvcpx::convert {

// The bytes at even, or at odd places of a and b.
[[gnu::always_inline]] inline U8x16 evenBytes(U8x16 a, U8x16 b)
{
    return __builtin_shufflevector(a, b, 0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30);
}

[[gnu::always_inline]] inline U8x16 oddBytes(U8x16 a, U8x16 b)
{
    return __builtin_shufflevector(a, b, 1, 3, 5, 7, 9, 11, 13, 15, 17, 19, 21, 23, 25, 27, 29, 31);
}

// Sixteen pixels.
struct PackedPixels {
    explicit PackedPixels(const uint8_t* p)
        : first(loadUnaligned<U8x16>(p)), second(loadUnaligned<U8x16>(p + 16))
    {}

    U8x16 luma() const { return oddBytes(first, second); }
    U8x16 chroma() const { return evenBytes(first, second); } // Cb and Cr by turns

    U8x16 first;
    U8x16 second;
};

} // namespace kelvcpx::convert
