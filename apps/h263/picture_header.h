// The picture layer (ITU-T H.263 5.1).
#pragma once

#include "common/code_reader.h"
#include "common/picture.h"

#include <cstdint>

namespace kelvcpx::app::h263 {

enum class PictureType { intra, predicted };

// What a picture header says. Fields of the optional part of PLUSPTYPE keep their values where it is absent.
struct PictureHeader {
    int temporalReference = 0;
    PictureType type = PictureType::intra;
    int width = 0;
    int height = 0;
    Rational sampleAspect{12, 11};
    bool customClock = false;

    bool plusType = false;
    bool unrestrictedVectors = false;  // Annex D
    bool unlimitedVectors = false;     // UUI
    bool advancedPrediction = false;   // Annex F
    bool pbFrames = false;             // Annex G
    bool advancedIntra = false;        // Annex I
    bool deblocking = false;           // Annex J
    bool sliceStructured = false;      // Annex K
    bool modifiedQuantisation = false; // Annex T
    int32_t rounding = 0;              // RTYPE

    int quant = 1; // PQUANT
    bool continuousPresence = false;
    int bPictureTime = 0; // TRB
    int bQuant = 0;       // DBQUANT

    int macroblocksWide() const { return (width + 15) / 16; }
    int macroblocksHigh() const { return (height + 15) / 16; }

    // Rows of macroblocks in a GOB (4.2.1).
    int gobRows() const { return height <= 400 ? 1 : height <= 800 ? 2 : 4; }

    // True if vectors of four blocks, and vectors that leave the picture, may occur.
    bool fourVectors() const { return advancedPrediction || deblocking; }
};

// From PTR behind the picture start code up to PSUPP. `header` is that of the picture before, and is updated.
// Throws DamagedUnit, or UnsupportedStream for a mode that is not decoded.
void readPictureHeader(CodeReader& reader, PictureHeader& header);

} // namespace kelvcpx::app::h263
