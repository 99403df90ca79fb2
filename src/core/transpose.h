// Transposition of a block that lies in vectors, row by row.
#pragma once

#include "core/vec.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace kelvcpx {

// Rotates the bits of each element's index by one to the left, the index in all vectors together: repeated
// for each bit of a column number, it transposes.
template <class V, std::size_t n>
[[gnu::always_inline]] inline std::array<V, n> shuffleOnce(const std::array<V, n>& a)
{
    std::array<V, n> shuffled;
    for (std::size_t i = 0; i < n / 2; i++) {
        shuffled[2 * i] = interleaveLow(a[i], a[i + n / 2]);
        shuffled[2 * i + 1] = interleaveHigh(a[i], a[i + n / 2]);
    }
    return shuffled;
}

template <int columns, class V, std::size_t n>
[[gnu::always_inline]] inline std::array<V, n> transposed(std::array<V, n> rows)
{
    for (int i = 1; i < columns; i *= 2)
        rows = shuffleOnce(rows);
    return rows;
}

// A block of 4x4 or 8x8 numbers.
template <std::size_t n>
[[gnu::always_inline]] inline std::array<S16x8, n> transpose(const std::array<S16x8, n>& rows)
{
    constexpr int columns = n == 2 ? 4 : 8;
    return transposed<columns>(rows);
}

template <std::size_t n>
[[gnu::always_inline]] inline std::array<S32x4, n> transpose(const std::array<S32x4, n>& rows)
{
    constexpr int columns = n == 4 ? 4 : 8;
    const auto elements = std::bit_cast<std::array<U32x4, n>>(rows);
    return std::bit_cast<std::array<S32x4, n>>(transposed<columns>(elements));
}

} // namespace kelvcpx
