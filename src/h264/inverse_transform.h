// Inverse transforms of blocks (ITU-T H.264 8.5.12.2, 8.5.13.2): from scaled coefficients to the residual,
// each with as many bits as the coefficients.
#pragma once

#include "core/transpose.h"
#include "core/vec.h"
#include "h264/scaling.h"
#include "h264/transform.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace kelvcpx::h264 {

// The upper four lanes in place of the lower ones.
inline S16x8 upperHalf(S16x8 v)
{
    return std::bit_cast<S16x8>(joinHigh(std::bit_cast<U32x4>(v), std::bit_cast<U32x4>(v)));
}

// The rows of a 4x4 block whose columns are the lower halves of vectors.
[[gnu::always_inline]] inline Coefficients<16, int16_t> rowsOf(const std::array<S16x8, 4>& columns)
{
    const auto first = std::bit_cast<U32x4>(interleaveLow(columns[0], columns[1]));
    const auto second = std::bit_cast<U32x4>(interleaveLow(columns[2], columns[3]));
    return {std::bit_cast<S16x8>(interleaveLow(first, second)),
            std::bit_cast<S16x8>(interleaveHigh(first, second))};
}

// The residual of a 4x4 block. Of 16-bit coefficients the results of the rows have 16 bits; those of the
// columns need more before they are shifted.
inline Coefficients<16, int16_t> transformed(const Coefficients<16, int16_t>& coefficients)
{
    const auto columns = transpose(coefficients);
    const auto [rows01, rows23] =
        rowsOf(inverse4<S16x8>({columns[0], upperHalf(columns[0]), columns[1], upperHalf(columns[1])}));
    const auto r =
        inverse4<S32x4>({widenLow(rows01) + 32, widenHigh(rows01), widenLow(rows23), widenHigh(rows23)});
    return {narrow(r[0] >> 6, r[1] >> 6), narrow(r[2] >> 6, r[3] >> 6)};
}

inline Coefficients<16, int32_t> transformed(const Coefficients<16, int32_t>& coefficients)
{
    auto rows = transpose(inverse4(transpose(coefficients)));
    rows[0] = wrapAdd(rows[0], S32x4{} + 32);
    rows = inverse4(rows);
    for (S32x4& row : rows)
        row >>= 6;
    return rows;
}

// One direction of the 8x8 transform, of eight rows or columns at once, whatever bits the sums need.
template <int32_t rounding, int32_t shift>
[[gnu::noinline]] Coefficients<64, int16_t> widePass(const Coefficients<64, int16_t>& x)
{
    std::array<S32x4, 8> low;
    std::array<S32x4, 8> high;
    for (std::size_t i = 0; i < 8; i++) {
        low[i] = widenLow(x[i]);
        high[i] = widenHigh(x[i]);
    }
    low[0] += rounding;
    high[0] += rounding;
    low = inverse8(low);
    high = inverse8(high);
    Coefficients<64, int16_t> y;
    for (std::size_t i = 0; i < 8; i++)
        y[i] = narrow(low[i] >> shift, high[i] >> shift);
    return y;
}

// True if all lanes are within -limit - 1..limit.
template <std::size_t n>
bool areWithin(const std::array<S16x8, n>& lanes, int16_t limit)
{
    S16x8 least = lanes[0];
    S16x8 most = lanes[0];
    for (std::size_t i = 1; i < n; i++) {
        least = minimum(least, lanes[i]);
        most = maximum(most, lanes[i]);
    }
    return !anyLane(maximum(most, ~least) > splat16(limit));
}

// Of the results of rows 16 bits count. Those of any sum do, unless it is shifted: sums of odd inputs with
// weights that add up to 3.5 are.
inline Coefficients<64, int16_t> passOverRows(const Coefficients<64, int16_t>& x)
{
    if (areWithin<4>({x[1], x[3], x[5], x[7]}, 32760 * 2 / 7)) [[likely]]
        return inverse8(x);
    return widePass<0, 0>(x);
}

// The results of columns count whole. The weights of no sum add up to more than 7.4.
inline Coefficients<64, int16_t> passOverColumns(Coefficients<64, int16_t> x)
{
    if (!areWithin(x, 32700 * 10 / 74)) [[unlikely]]
        return widePass<32, 6>(x);
    x[0] += 32;
    x = inverse8(x);
    for (S16x8& row : x)
        row >>= 6;
    return x;
}

inline Coefficients<64, int16_t> transformed(const Coefficients<64, int16_t>& coefficients)
{
    return passOverColumns(transpose(passOverRows(transpose(coefficients))));
}

// Eight rows or columns of the 8x8 transform at once.
inline Coefficients<64, int32_t> pass(const Coefficients<64, int32_t>& x)
{
    std::array<S32x4, 8> low;
    std::array<S32x4, 8> high;
    for (std::size_t i = 0; i < 8; i++) {
        low[i] = x[2 * i];
        high[i] = x[2 * i + 1];
    }
    low = inverse8(low);
    high = inverse8(high);
    Coefficients<64, int32_t> y;
    for (std::size_t i = 0; i < 8; i++) {
        y[2 * i] = low[i];
        y[2 * i + 1] = high[i];
    }
    return y;
}

inline Coefficients<64, int32_t> transformed(const Coefficients<64, int32_t>& coefficients)
{
    auto rows = transpose(pass(transpose(coefficients)));
    for (std::size_t i = 0; i < 2; i++)
        rows[i] = wrapAdd(rows[i], S32x4{} + 32);
    rows = pass(rows);
    for (S32x4& lanes : rows)
        lanes >>= 6;
    return rows;
}

} // namespace kelvcpx::h264
