// What is known of a macroblock, and of the picture while its macroblocks are decoded.
#pragma once

#include "common/padded_frame.h"
#include "h263/picture_header.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace kelvcpx::app::h263 {

// In half samples.
struct Vector {
    int x = 0;
    int y = 0;

    bool operator==(const Vector&) const = default;
};

struct CodedBlock {
    alignas(32) std::array<int16_t, 64> coefficients; // in raster order
    int32_t last;                                     // scan position of the last one
};

struct Macroblock {
    bool present = false; // of this picture; false: still to come, or lost
    bool coded = false;   // COD 0
    bool intra = false;
    bool fourVectors = false;
    int segment = 0; // of the GOBs behind a header, or of a slice: no prediction from another one
    int quant = 1;
    std::array<Vector, 4> vectors{}; // of the luma blocks; of intra macroblocks zero, but in PB-frames

    // Blocks with coefficients, block 1 in bit 5, and where in the pool those of the macroblock begin.
    uint32_t pattern = 0;
    uint32_t bPattern = 0; // of the B-blocks that follow
    std::size_t firstBlock = 0;
    Vector bDelta; // MVDB

    bool hasBlock(int i) const { return (pattern >> (5 - i) & 1) != 0; }
    bool hasBBlock(int i) const { return (bPattern >> (5 - i) & 1) != 0; }
};

struct PictureContext {
    PictureHeader header;
    std::vector<Macroblock> macroblocks;
    std::vector<CodedBlock> blocks; // of all macroblocks that are parsed but not reconstructed

    int wide() const { return header.macroblocksWide(); }
    int high() const { return header.macroblocksHigh(); }
    std::size_t count() const { return macroblocks.size(); }

    // The macroblock at a place, or null outside of the picture or where none is present.
    const Macroblock* at(int column, int row) const
    {
        if (column < 0 || row < 0 || column >= wide() || row >= high())
            return nullptr;
        const Macroblock& macroblock =
            macroblocks[static_cast<std::size_t>(row) * static_cast<std::size_t>(wide()) +
                        static_cast<std::size_t>(column)];
        return macroblock.present ? &macroblock : nullptr;
    }
};

} // namespace kelvcpx::app::h263
