// Random macroblocks of H.264 CAVLC slices (ITU-T H.264 7.3.4, 7.3.5).
#pragma once

#include "apps/h264_random_syntax.h"
#include "support/random.h"

#include "common/bit_writer.h"
#include "h264/slice_header.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

namespace kelvcpx::test {

using app::BitWriter;

// What macroblocks of the same slice need to know of one another.
struct WrittenMacroblock {
    int slice = -1;     // -1: not written yet
    bool field = false; // of a pair in field mode
    bool inter = false;
    std::array<uint8_t, 16> intraModes{}; // by 4x4 block in raster order
    std::array<uint8_t, 24> totalCoeff{}; // luma in raster order, Cb, Cr
};

struct RandomSlice {
    const app::h264::SequenceParameterSet& sequence;
    const app::h264::PictureParameterSet& set;
    const app::h264::SliceHeader& header;
    std::vector<WrittenMacroblock>& macroblocks; // of the picture
    int widthInMbs;
    int number;                                 // of the slice in the picture
    std::span<const int> addresses;             // of its macroblocks, in decoding order
    std::array<std::vector<int>, 2> references; // indices that may be used
    bool hasPairs;                              // MbaffFrameFlag
};

class MacroblockWriter
{
public:
    MacroblockWriter(const RandomSlice& slice, Random& random, BitWriter& bits,
                     std::map<std::string, int>& tools, UsedCodes& codes);

    // slice_data()
    void write();

private:
    struct Available {
        bool left, top, topRight, topLeft; // left: all rows
        std::array<bool, 2> leftOfHalf;    // upper, lower
    };
    struct Location { // of a luma sample: its macroblock, -1 if not available, and its row there
        int address;
        int row;
    };
    struct Partition { // of a macroblock: its vectors, and the lists it uses
        int vectors;
        unsigned lists;
    };

    void writePair(int pair);
    void skipMacroblock();
    void writeMacroblock();
    void writeIntraNxN(int firstType);
    void writeIntra16x16(int firstType);
    void writePcm(int firstType);
    void writeInterP();
    void writeInterB();
    void writePartitions(std::span<const Partition> partitions, bool withReferences);
    int drawReference(std::size_t list);
    void writeVector();
    std::vector<Partition> writeSubTypes(bool& allows8x8);

    void writeIntraModes(bool transform8x8);
    int predictedMode(std::size_t x, std::size_t y) const;
    bool allowsMode(int mode, std::size_t x, std::size_t y) const;
    int randomModeOf16x16();
    void writeChromaMode();

    int randomPattern();
    void writePatternAndQp(bool inter, bool allows8x8, bool transform8x8);
    void writeQpDelta();
    void writeResidual(int pattern, bool intra16x16, bool transform8x8);
    void writeLuma8x8(std::size_t block);
    void writeLuma4x4(std::size_t block, std::size_t size);
    void writeChroma(int pattern);
    int context(std::size_t component, std::size_t x, std::size_t y) const; // nC
    std::vector<int> randomLevels(std::size_t size, int budget);
    int levelBudget(bool transform8x8, int qpOffset = 0) const;

    int neighbour(int dx, int dy) const; // address, or -1 if not available; of pairs that of the first
    Location locate(int x, int y) const; // of a sample relative to the macroblock, outside of it
    Location locateInPairs(int x, int y) const;
    bool inferredMode() const; // of a pair that is skipped
    Available availableSamples() const;
    // ffmpeg predicts from the deblocked sample of the macroblock to the upper left in fields with
    // disable_deblocking_filter_idc 2, unlike 8.3.1.2: nothing that looks at it is written there.
    bool avoidsCorner() const
    {
        return (slice_.header.fieldPicture || slice_.hasPairs) && slice_.header.disableDeblocking == 2;
    }
    WrittenMacroblock& current() { return at(address_); }
    WrittenMacroblock& at(int address) const { return slice_.macroblocks[static_cast<std::size_t>(address)]; }
    bool isMonochrome() const { return slice_.sequence.chromaFormatIdc == 0; }

    RandomSlice slice_;
    Random& random_;
    BitWriter& bits_;
    std::map<std::string, int>& tools_;
    UsedCodes& codes_;
    int address_ = 0;
    int qp_;
    uint32_t skipped_ = 0;
};

} // namespace kelvcpx::test
