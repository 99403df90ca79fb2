// The two scans of ISO/IEC 13818-2 7.3 in the library's transposed coefficient layout.
#pragma once

#include "common/scan.h"

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

constexpr std::array rasterScans = {zigzagScan, alternateVerticalScan};

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
