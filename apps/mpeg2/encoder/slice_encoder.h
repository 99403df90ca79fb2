// Encodes slices of a frame picture and their macroblocks (ISO/IEC 13818-2 6.2.4 to 6.2.6), and reconstructs
// them as the decoder will.
#pragma once

#include "common/bit_writer.h"
#include "mpeg2/encoder/block_coder.h"
#include "mpeg2/encoder/motion_writer.h"
#include "mpeg2/encoder/picture_coding.h"

#include <array>
#include <cstdint>

namespace kelvcpx::app::mpeg2 {

class SliceEncoder
{
public:
    // The plans of the picture are made.
    SliceEncoder(const PictureCoding& coding, BitWriter& bits);

    // Writes a row of macroblocks as a slice.
    void encode(int row, int scaleCode);

private:
    // What becomes of a plan.
    struct Macroblock {
        MacroblockPlan plan;
        bool fieldDct = false;
        uint32_t pattern = 0; // the first block in the highest of 6 bits
        std::array<CodedBlock, 6> blocks;
    };

    // Where a block of a macroblock lies in a plane.
    struct BlockPlace {
        std::size_t plane;
        int x;
        int y;
        int stepFactor; // 2 if its rows are those of one field
    };

    static BlockPlace placeOf(std::size_t block, bool fieldDct);
    void encodeMacroblock(int column, int row);
    void transformIntra(Macroblock& macroblock, int column, int row) const;
    void transformInter(Macroblock& macroblock, int column, int row);
    bool canSkip(const Macroblock& macroblock, int column) const;

    void write(const Macroblock& macroblock);
    int32_t writtenType(const Macroblock& macroblock) const;
    void writeMotion(const Macroblock& macroblock, int32_t type);
    void writeBlocks(const Macroblock& macroblock);

    void reconstructIntra(const Macroblock& macroblock, int column, int row) const;
    void reconstructInter(const Macroblock& macroblock, int column, int row);
    void resetDcPredictors();

    const PictureCoding& coding_;
    BitWriter& bits_;
    BlockCoder blockCoder_;
    MotionWriter motionWriter_;
    Residual residual_;
    std::array<int32_t, 3> dcPredictors_{};
    MacroblockPlan previous_;
    int addressIncrement_ = 1;
};

} // namespace kelvcpx::app::mpeg2
