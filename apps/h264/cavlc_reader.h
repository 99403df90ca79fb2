// Macroblock syntax elements of CAVLC slices (ITU-T H.264 7.3.5, 9.1, 9.2).
#pragma once

#include "h264/cavlc_tables.h"
#include "h264/macroblock_syntax.h"

namespace kelvcpx::app::h264 {

class CavlcReader
{
public:
    CavlcReader(const SliceContext& slice, BitReader& reader)
        : slice_(slice), reader_(reader), tables_(cavlcTables())
    {}

    void startMacroblock(const CurrentMacroblock& current) { current_ = &current; }

    // mb_type; types of intra macroblocks in P and B slices come behind the others.
    int mbType() { return readUe(); }
    int subMbType() { return readUe(); }
    bool transform8x8Flag() { return reader_.readFlag(); }
    int remainingIntraMode(); // -1: the predicted mode
    int intraChromaMode();
    int refIdx(std::size_t list, std::size_t block, int most);
    Vector mvd(std::size_t list, const BlockArea& area);
    int codedBlockPattern();
    int qpDelta();

    // One residual block to *coefficients, with the number of its coefficients as the result. Without any,
    // *coefficients stays.
    template <class Coefficient>
    int block(const ResidualBlock& block, Coefficient** coefficients);

    // The same for the 8x8 block at x, y.
    template <class Coefficient>
    int block8x8(const ResidualBlock& block, Coefficient** coefficients);

    // The samples of an I_PCM macroblock.
    BitReader& startPcm();
    void endPcm() {}

    void noteNoQpDelta() {} // nothing depends on it

    bool isPastEnd() const { return reader_.pastEnd(); }

private:
    int totalCoeffContext(const ResidualBlock& block) const; // nC
    int readUe();
    int readSe();

    const SliceContext& slice_;
    BitReader& reader_;
    const CavlcTables& tables_;
    const CurrentMacroblock* current_ = nullptr;
};

} // namespace kelvcpx::app::h264
