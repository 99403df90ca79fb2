// Groups of blocks and their macroblocks (ITU-T H.261 4.2.2 to 4.2.4, 3.2).
#pragma once

#include "common/code_reader.h"
#include "common/padded_frame.h"

#include <array>
#include <cstdint>

namespace kelvcpx::app::h261 {

constexpr int macroblocksInGob = 33; // three rows of eleven

// Place of a macroblock in the picture, in macroblocks. GOBs are numbered 1 to 12, in two columns in CIF and
// one in QCIF, which has the odd numbers only (figures 6 and 8).
struct Place {
    int column;
    int row;
};
Place placeOf(int gob, int macroblock);

class GobDecoder
{
public:
    GobDecoder(const PaddedFrame& reference, const PaddedFrame& target)
        : reference_(reference), target_(target)
    {}

    // Decodes a GOB behind its number. Macroblocks that it leaves out are those of the reference; so are
    // those behind damage, which is thrown as DamagedUnit.
    void decode(CodeReader& reader, int gob);

    // Copies macroblocks of a GOB, numbered from 0, from the reference.
    void copy(int gob, int first, int end);

private:
    struct Vector {
        int x = 0; // in samples
        int y = 0;
    };

    void decodeMacroblock(CodeReader& reader, Place place, bool followsPrevious);
    void readVector(CodeReader& reader, bool followsPrevious);
    void decodeIntra(CodeReader& reader, Place place);
    void predict(Place place, bool filtered) const;
    void addResidual(CodeReader& reader, Place place, uint32_t pattern);

    const PaddedFrame& reference_;
    const PaddedFrame& target_;
    int quant_ = 1;
    Vector vector_; // of the last macroblock with motion compensation, zero behind another one
};

} // namespace kelvcpx::app::h261
