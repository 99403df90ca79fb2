// A strip: up to 16 samples of a block, taken row by row, so that narrow blocks fill a vector as wide ones
// do. It is one row of a block 16 wide, two of one 8 wide, up to four of one 4 or 2 wide.
#pragma once

#include "core/vec.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace kelvcpx {

// Rows of a strip of a block of this size; the height is a multiple of it.
template <int Width, int Height = 16>
constexpr int stripRows = std::min({16 / Width, Height, 4});

namespace detail {

// An unsigned integer of this many bytes.
template <int Bytes>
using Unsigned = std::conditional_t<Bytes == 2, uint16_t, std::conditional_t<Bytes == 4, uint32_t, uint64_t>>;

} // namespace detail

// Rows of `Bytes` bytes one after the other; the rest is zero.
template <int Bytes, int Rows>
U8x16 gatherRows(const uint8_t* p, std::ptrdiff_t step)
{
    static_assert(Bytes * Rows <= 16);
    if constexpr (Bytes == 16) {
        return loadUnaligned<U8x16>(p);
    } else if constexpr (Bytes * Rows == 16 && Bytes >= 4) {
        // GCC makes a detour through memory to set lanes one by one.
        using Row = detail::Unsigned<Bytes>;
        const auto row = [=](std::ptrdiff_t y) { return loadUnaligned<Row>(p + y * step); };
        if constexpr (Rows == 2)
            return std::bit_cast<U8x16>(Vec16<Row>{row(0), row(1)});
        else
            return std::bit_cast<U8x16>(Vec16<Row>{row(0), row(1), row(2), row(3)});
    } else {
        using Row = detail::Unsigned<Bytes>;
        Vec16<Row> rows{};
        for (int y = 0; y < Rows; y++)
            rows[y] = loadUnaligned<Row>(p + y * step);
        return std::bit_cast<U8x16>(rows);
    }
}

template <int Bytes, int Rows>
void scatterRows(uint8_t* p, std::ptrdiff_t step, U8x16 strip)
{
    if constexpr (Bytes == 16) {
        storeUnaligned(p, strip);
    } else {
        using Row = detail::Unsigned<Bytes>;
        const auto rows = std::bit_cast<Vec16<Row>>(strip);
        for (int y = 0; y < Rows; y++)
            storeUnaligned<Row>(p + y * step, rows[y]);
    }
}

// The residual of a strip.
struct ResidualStrip {
    S16x8 low;
    S16x8 high;
};

template <int Width, int Rows>
ResidualStrip gatherResidual(const uint8_t* p, std::ptrdiff_t step)
{
    if constexpr (Width == 16) {
        return {loadUnaligned<S16x8>(p), loadUnaligned<S16x8>(p + 16)};
    } else {
        constexpr int bytes = 2 * Width;
        constexpr int lowRows = std::min(16 / bytes, Rows);
        ResidualStrip residual{std::bit_cast<S16x8>(gatherRows<bytes, lowRows>(p, step)), {}};
        if constexpr (Rows > lowRows)
            residual.high = std::bit_cast<S16x8>(gatherRows<bytes, Rows - lowRows>(p + lowRows * step, step));
        return residual;
    }
}

template <int Width, int Rows>
void scatterResidual(uint8_t* p, std::ptrdiff_t step, ResidualStrip residual)
{
    if constexpr (Width == 16) {
        storeUnaligned(p, residual.low);
        storeUnaligned(p + 16, residual.high);
    } else {
        constexpr int bytes = 2 * Width;
        constexpr int lowRows = std::min(16 / bytes, Rows);
        scatterRows<bytes, lowRows>(p, step, std::bit_cast<U8x16>(residual.low));
        if constexpr (Rows > lowRows)
            scatterRows<bytes, Rows - lowRows>(p + lowRows * step, step, std::bit_cast<U8x16>(residual.high));
    }
}

inline ResidualStrip widened(U8x16 samples)
{
    return {widenLow(samples), widenHigh(samples)};
}

// What has to be added to the prediction to get the samples.
inline ResidualStrip difference(U8x16 samples, U8x16 prediction)
{
    const ResidualStrip s = widened(samples);
    const ResidualStrip p = widened(prediction);
    return {s.low - p.low, s.high - p.high};
}

// Prediction and residual added and clipped to 0..255 (ISO/IEC 13818-2 7.6.8), exact for every residual.
inline U8x16 addResidual(U8x16 prediction, ResidualStrip residual)
{
    const S16x8 white = splat16(255);
    const auto add = [=](S16x8 p, S16x8 r) {
        // A residual above 255 saturates whatever it is added to: cut off, it leaves the sum within 16 bits.
        return saturate8u(p + minimum(r, white));
    };
    return narrow(add(widenLow(prediction), residual.low), add(widenHigh(prediction), residual.high));
}

} // namespace kelvcpx
