// A macroblock as it will be written (ITU-T H.264 7.3.5).
#pragma once

#include "h264/encoder/cavlc_writer.h"
#include "h264/macroblock.h"

#include <array>
#include <cstdint>

namespace kelvcpx::app::h264::encoder {

struct CodedMacroblock {
    MbKind kind = MbKind::inter;

    // Inter
    bool skipped = false;
    Partitioning partitioning = Partitioning::whole; // 8x8 blocks are not divided any further
    std::array<Vector, 4> vectors{};                 // by 8x8 block
    std::array<Vector, 4> mvds{};                    // by partition

    // Intra. Modes are numbered as in the standard.
    uint32_t intra16x16Mode = 0;
    std::array<uint8_t, 16> intraModes{};         // by 4x4 block in decoding order
    std::array<int8_t, 16> remainingIntraModes{}; // by 4x4 or 8x8 block; -1: the predicted mode
    uint32_t chromaMode = 0;

    // Residual
    bool transform8x8 = false;
    int lumaPattern = 0;   // CodedBlockPatternLuma
    int chromaPattern = 0; // CodedBlockPatternChroma
    CavlcBlock lumaDc;
    std::array<CavlcBlock, 16> luma; // in decoding order
    std::array<CavlcBlock, 2> chromaDc;
    std::array<std::array<CavlcBlock, 4>, 2> chromaAc;

    int codedBlockPattern() const { return lumaPattern + 16 * chromaPattern; }
};

// Number of partitions, and the first 8x8 block of each.
constexpr std::size_t partitionCount(Partitioning partitioning)
{
    return partitioning == Partitioning::whole ? 1 : partitioning == Partitioning::four ? 4 : 2;
}

constexpr std::size_t firstBlockOfPartition(Partitioning partitioning, std::size_t partition)
{
    return partitioning == Partitioning::twoRows ? 2 * partition : partition;
}

} // namespace kelvcpx::app::h264::encoder
