// Inverse transforms (ITU-T H.264 8.5.10 to 8.5.13), on numbers or on lanes of numbers side by side. All
// arithmetic wraps.
#pragma once

#include "core/arithmetic.h"
#include "core/vec.h"

#include <array>

namespace kelvcpx::h264 {

// One row or column of the 4x4 transform (8.5.12.2).
template <class T>
[[gnu::always_inline]] inline std::array<T, 4> inverse4(const std::array<T, 4>& x)
{
    const T e = wrapAdd(x[0], x[2]);
    const T f = wrapSub(x[0], x[2]);
    const T g = wrapSub(x[1] >> 1, x[3]);
    const T h = wrapAdd(x[1], x[3] >> 1);
    return {wrapAdd(e, h), wrapAdd(f, g), wrapSub(f, g), wrapSub(e, h)};
}

// One row or column of the 8x8 transform (8.5.13.2).
template <class T>
[[gnu::always_inline]] inline std::array<T, 8> inverse8(const std::array<T, 8>& d)
{
    const T a0 = wrapAdd(d[0], d[4]);
    const T a2 = wrapSub(d[0], d[4]);
    const T a4 = wrapSub(d[2] >> 1, d[6]);
    const T a6 = wrapAdd(d[2], d[6] >> 1);
    const T a1 = wrapSub(wrapSub(d[5], d[3]), wrapAdd(d[7], d[7] >> 1));
    const T a3 = wrapSub(wrapAdd(d[1], d[7]), wrapAdd(d[3], d[3] >> 1));
    const T a5 = wrapAdd(wrapSub(d[7], d[1]), wrapAdd(d[5], d[5] >> 1));
    const T a7 = wrapAdd(wrapAdd(d[3], d[5]), wrapAdd(d[1], d[1] >> 1));

    const T b0 = wrapAdd(a0, a6);
    const T b2 = wrapAdd(a2, a4);
    const T b4 = wrapSub(a2, a4);
    const T b6 = wrapSub(a0, a6);
    const T b1 = wrapAdd(a1, a7 >> 2);
    const T b7 = wrapSub(a7, a1 >> 2);
    const T b3 = wrapAdd(a3, a5 >> 2);
    const T b5 = wrapSub(a3 >> 2, a5);

    return {wrapAdd(b0, b7), wrapAdd(b2, b5), wrapAdd(b4, b3), wrapAdd(b6, b1),
            wrapSub(b6, b1), wrapSub(b4, b3), wrapSub(b2, b5), wrapSub(b0, b7)};
}

// One row or column of the Hadamard transform of the luma DC (8.5.10), and a column of the chroma DC of 4:2:2
// (8.5.11.1).
template <class T>
std::array<T, 4> hadamard4(const std::array<T, 4>& x)
{
    const T a = wrapAdd(x[0], x[1]);
    const T b = wrapSub(x[0], x[1]);
    const T c = wrapAdd(x[2], x[3]);
    const T d = wrapSub(x[2], x[3]);
    return {wrapAdd(a, c), wrapSub(a, c), wrapSub(b, d), wrapAdd(b, d)};
}

// The transform of the four chroma DC coefficients of 4:2:0 in raster order (8.5.11.1).
template <class T>
std::array<T, 4> hadamard2x2(const std::array<T, 4>& c)
{
    const T a = wrapAdd(c[0], c[1]);
    const T b = wrapSub(c[0], c[1]);
    const T d = wrapAdd(c[2], c[3]);
    const T e = wrapSub(c[2], c[3]);
    return {wrapAdd(a, d), wrapAdd(b, e), wrapSub(a, d), wrapSub(b, e)};
}

} // namespace kelvcpx::h264
