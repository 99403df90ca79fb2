// The two scans of ISO/IEC 13818-2 7.3 in the library's transposed coefficient layout.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace kelvcpx::app::mpeg2 {

enum class Scan { zigzag, alternate };

// From 8 * row + column to 8 * column + row.
constexpr std::size_t transposed(std::size_t index)
{
    return index % 8 * 8 + index / 8;
}

namespace detail {

constexpr std::array<std::array<uint8_t, 64>, 2> rasterScans = {
    {{0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,  12, 19, 26, 33, 40, 48,
      41, 34, 27, 20, 13, 6,  7,  14, 21, 28, 35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23,
      30, 37, 44, 51, 58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63},
     {0,  8,  16, 24, 1,  9,  2,  10, 17, 25, 32, 40, 48, 56, 57, 49, 41, 33, 26, 18, 3,  11,
      4,  12, 19, 27, 34, 42, 50, 58, 35, 43, 51, 59, 20, 28, 5,  13, 6,  14, 21, 29, 36, 44,
      52, 60, 37, 45, 53, 61, 22, 30, 7,  15, 23, 31, 38, 46, 54, 62, 39, 47, 55, 63}}};

constexpr std::array<std::array<int32_t, 64>, 2> transposedScans = [] {
    std::array<std::array<int32_t, 64>, 2> scans{};
    for (std::size_t s = 0; s < 2; s++)
        for (std::size_t p = 0; p < 64; p++)
            scans[s][p] = static_cast<int32_t>(transposed(rasterScans[s][p]));
    return scans;
}();

} // namespace detail

// The block index of each scan position.
constexpr const std::array<int32_t, 64>& transposedScan(Scan scan)
{
    return detail::transposedScans[static_cast<std::size_t>(scan)];
}

} // namespace kelvcpx::app::mpeg2
