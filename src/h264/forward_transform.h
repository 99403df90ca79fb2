// Forward transforms, the counterparts of those of ITU-T H.264 8.5.12 and 8.5.13, on numbers or on lanes of
// numbers side by side. All arithmetic wraps.
#pragma once

#include "h264/residual.h"
#include "h264/transform.h"

#include <array>
#include <bit>
#include <cstdint>

namespace kelvcpx::h264 {

// One row or column of the 4x4 transform.
template <class T>
[[gnu::always_inline]] inline std::array<T, 4> forward4(const std::array<T, 4>& x)
{
    const T s0 = wrapAdd(x[0], x[3]);
    const T s1 = wrapAdd(x[1], x[2]);
    const T d0 = wrapSub(x[0], x[3]);
    const T d1 = wrapSub(x[1], x[2]);
    return {wrapAdd(s0, s1), wrapAdd(wrapAdd(d0, d0), d1), wrapSub(s0, s1), wrapSub(d0, wrapAdd(d1, d1))};
}

// One row or column of the 8x8 transform.
template <class T>
[[gnu::always_inline]] inline std::array<T, 8> forward8(const std::array<T, 8>& x)
{
    const T a0 = wrapAdd(x[0], x[7]);
    const T a1 = wrapAdd(x[1], x[6]);
    const T a2 = wrapAdd(x[2], x[5]);
    const T a3 = wrapAdd(x[3], x[4]);
    const T a4 = wrapSub(x[0], x[7]);
    const T a5 = wrapSub(x[1], x[6]);
    const T a6 = wrapSub(x[2], x[5]);
    const T a7 = wrapSub(x[3], x[4]);

    const T b0 = wrapAdd(a0, a3);
    const T b1 = wrapAdd(a1, a2);
    const T b2 = wrapSub(a0, a3);
    const T b3 = wrapSub(a1, a2);
    const T b4 = wrapAdd(wrapAdd(a5, a6), wrapAdd(a4, a4 >> 1));
    const T b5 = wrapSub(wrapSub(a4, a7), wrapAdd(a6, a6 >> 1));
    const T b6 = wrapSub(wrapAdd(a4, a7), wrapAdd(a5, a5 >> 1));
    const T b7 = wrapAdd(wrapSub(a5, a6), wrapAdd(a7, a7 >> 1));

    return {wrapAdd(b0, b1), wrapAdd(b4, b7 >> 2), wrapAdd(b2, b3 >> 1), wrapAdd(b5, b6 >> 2),
            wrapSub(b0, b1), wrapSub(b6, b5 >> 2), wrapSub(b2 >> 1, b3), wrapSub(b4 >> 2, b7)};
}

// Both directions of the 4x4 transform, whose order does not matter. Of the results 16 bits count.
inline Coefficients<16, int16_t> forwardTransformed(const Coefficients<16, int16_t>& block)
{
    const auto columns = transpose(block);
    const auto [rows01, rows23] =
        rowsOf(forward4<S16x8>({columns[0], upperHalf(columns[0]), columns[1], upperHalf(columns[1])}));
    const auto r = forward4<S16x8>({rows01, upperHalf(rows01), rows23, upperHalf(rows23)});
    const auto lowerHalves = [](S16x8 a, S16x8 b) {
        return std::bit_cast<S16x8>(joinLow(std::bit_cast<U32x4>(a), std::bit_cast<U32x4>(b)));
    };
    return {lowerHalves(r[0], r[1]), lowerHalves(r[2], r[3])};
}

} // namespace kelvcpx::h264
