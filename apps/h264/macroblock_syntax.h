// What the readers of macroblock syntax share, whichever the entropy code.
#pragma once

#include "h264/current_macroblock.h"

#include <cstddef>
#include <cstdint>

namespace kelvcpx::app::h264 {

// A rectangle of 4x4 blocks of a macroblock.
struct BlockArea {
    int x;
    int y;
    int width;
    int height;
};

// In the order of ctxBlockCat (ITU-T H.264 table 9-42).
enum class BlockKind : uint8_t { lumaDc, lumaAc, luma4x4, chromaDc, chromaAc, luma8x8 };

// A block of transform coefficients.
struct ResidualBlock {
    BlockKind kind;
    std::size_t component; // Y, Cb, Cr
    int x;                 // in 4x4 blocks of its component; 0 for a block of DCs
    int y;
    const int32_t* scan; // raster index by position in the scan

    bool isWithoutDc() const { return kind == BlockKind::lumaAc || kind == BlockKind::chromaAc; }
    int columns() const { return component == 0 ? 4 : 2; } // of blocks in the component

    // Of the block, or one beside it, in MbInfo::totalCoeff.
    std::size_t indexOf(int column, int row) const
    {
        return firstBlockOf(component) + static_cast<std::size_t>(row * columns() + column);
    }
};

// coded_block_pattern of macroblock types is luma + 16 * chroma.
constexpr int lumaPattern = 15;

// mb_type of I slices, and the number of those in front of them in P and B slices (tables 7-11, 7-13, 7-14).
constexpr int firstIntraTypeOfP = 5;
constexpr int firstIntraTypeOfB = 23;
constexpr int pcmType = 25;

} // namespace kelvcpx::app::h264
