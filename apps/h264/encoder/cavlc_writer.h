// Residual blocks of CAVLC (ITU-T H.264 7.3.5.3.2, 9.2).
#pragma once

#include "common/bit_writer.h"
#include "h264/encoder/bits.h"

#include <array>
#include <cstdint>

namespace kelvcpx::app::h264::encoder {

// What is coded of a block, as the library's analysis finds it: from the highest frequency down.
struct CavlcBlock {
    uint8_t trailingOnes = 0;
    uint8_t trailingOneSigns = 0;
    uint8_t totalCoeff = 0;
    uint8_t totalZeros = 0;
    std::array<int16_t, 16> levels; // without the trailing ones
    std::array<uint8_t, 16> runs;

    // Without any level.
    void clear()
    {
        trailingOnes = 0;
        totalCoeff = 0;
    }
};

// A 4x4 block in raster order, whose last level that is not 0 is at scan position `last`. `first` is 1 for a
// block without its DC.
CavlcBlock analysed(const int16_t* levels, uint8_t first, uint8_t last);

// A block in scan order.
CavlcBlock analysedInScanOrder(const int16_t* levels);

// The DC levels of a chroma component.
CavlcBlock analysedChromaDc(const int16_t* levels);

constexpr int chromaDcContext = -1; // in place of nC

// Writes a block of up to maxNumCoeff coefficients to a BitWriter or a BitCounter.
template <class Sink>
void putBlock(Sink& sink, const CavlcBlock& block, int nC, int maxNumCoeff);

} // namespace kelvcpx::app::h264::encoder
