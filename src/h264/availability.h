// Which neighbours of a block of a macroblock are available for intra prediction (ITU-T H.264 6.4.11).
#pragma once

#include "h264/intra_predict.h"
#include "tables/h264_tables.h"

#include <cstddef>
#include <cstdint>

namespace kelvcpx::h264 {

// Edge flags of the interface: neighbouring macroblocks that are not available.
constexpr uint32_t leftMissing = 0x01;
constexpr uint32_t topMissing = 0x04;
constexpr uint32_t topLeftMissing = 0x10;
constexpr uint32_t topRightMissing = 0x20;
constexpr uint32_t edgeFlagsMask = leftMissing | topMissing | topLeftMissing | topRightMissing;

// The availability for a block as large as the macroblock.
constexpr int32_t macroblockAvailability(uint32_t edgeFlags)
{
    return ((edgeFlags & topMissing) == 0 ? topAvailable : 0) |
           ((edgeFlags & leftMissing) == 0 ? leftAvailable : 0) |
           ((edgeFlags & topLeftMissing) == 0 ? topLeftAvailable : 0);
}

// What sets the blocks of one size apart.
struct BlockEdges {
    bool top;
    bool left;
    bool aboveRight; // the upper right neighbour comes before the block in decoding order
    bool atTopRight; // the upper right neighbour belongs to the upper right macroblock
    bool atTopLeft;
};

constexpr int32_t blockAvailability(uint32_t edgeFlags, BlockEdges block)
{
    const bool noTop = block.top && (edgeFlags & topMissing) != 0;
    const bool noLeft = block.left && (edgeFlags & leftMissing) != 0;
    const bool noTopLeft = block.atTopLeft ? (edgeFlags & topLeftMissing) != 0 : noTop || noLeft;
    const bool noTopRight =
        !block.aboveRight || (block.atTopRight ? (edgeFlags & topRightMissing) != 0 : noTop);
    return (noTop ? 0 : topAvailable) | (noLeft ? 0 : leftAvailable) | (noTopLeft ? 0 : topLeftAvailable) |
           (noTopRight ? 0 : topRightAvailable);
}

// By edge flags and block number.
inline constexpr auto availability4x4 = [] {
    Table<uint8_t, edgeFlagsMask + 1, 16> table{};
    for (uint32_t flags = 0; flags <= edgeFlagsMask; flags++)
        for (std::size_t i = 0; i < 16; i++)
            table[flags][i] = static_cast<uint8_t>(
                blockAvailability(flags, {top_edge_tab16[i] != 0, left_edge_tab16[i] != 0,
                                          above_right_avail_4x4[i] != 0, i == 5, i == 0}));
    return table;
}();

inline constexpr auto availability8x8 = [] {
    Table<uint8_t, edgeFlagsMask + 1, 4> table{};
    for (uint32_t flags = 0; flags <= edgeFlagsMask; flags++)
        for (std::size_t i = 0; i < 4; i++)
            table[flags][i] = static_cast<uint8_t>(blockAvailability(
                flags, {top_edge_tab4[i] != 0, left_edge_tab4[i] != 0, i != 3, i == 1, i == 0}));
    return table;
}();

} // namespace kelvcpx::h264
