// Slices and their macroblocks (ISO/IEC 13818-2 6.2.4 to 6.2.6, 7.2 to 7.6).
#pragma once

#include "common/bit_reader.h"
#include "mpeg2/frame.h"
#include "mpeg2/headers.h"
#include "mpeg2/motion.h"
#include "mpeg2/prediction.h"

#include <array>
#include <cstdint>
#include <vector>

namespace kelvcpx::app::mpeg2 {

// A coded picture, frame or field, while its slices are decoded.
struct PictureContext {
    Sequence sequence; // as they are now: headers that come too late change nothing
    Picture picture;
    Surface target;                       // the frame, or the field of it that this picture is
    std::array<References, 2> references; // forward and backward
    int macroblocksWide;
    int macroblocksHigh;
    std::vector<bool> decoded; // by macroblock address

    int parity() const { return picture.structure == PictureStructure::bottomField ? 1 : 0; }
};

class SliceDecoder
{
public:
    explicit SliceDecoder(PictureContext& context);

    // Decodes the slice whose start code has the given value. Throws DamagedUnit where it breaks off; what
    // came before is in the picture.
    void decode(BitReader& reader, int startCode);

private:
    struct Macroblock {
        int32_t type = 0;
        MotionType motionType = MotionType::none;
        bool fieldDct = false;
        std::array<Motion, 2> motion; // forward, backward

        bool has(int32_t flag) const { return (type & flag) != 0; }
    };

    // Where a block of a macroblock lies in a plane.
    struct BlockPlace {
        std::size_t plane;
        int x;
        int y;
        int stepFactor; // 2 if its rows are those of one field
    };

    int firstAddress(BitReader& reader, int startCode) const;
    int readAddressIncrement(BitReader& reader) const;
    void readScale(BitReader& reader);
    void resetDcPredictors();

    void decodeMacroblock(BitReader& reader, int address);
    void readModes(BitReader& reader, Macroblock& macroblock) const;
    void readMotion(BitReader& reader, Macroblock& macroblock);
    MotionType pictureMotionType() const; // of macroblocks that do not say
    void skipMacroblock(int address);

    void decodeIntraBlocks(BitReader& reader, const Macroblock& macroblock, int address);
    void decodeResidual(BitReader& reader, const Macroblock& macroblock, uint32_t pattern);
    uint32_t readPattern(BitReader& reader) const;
    BlockPlace placeOf(int block, bool fieldDct) const;
    int blockCount() const { return context_.sequence.chroma == ChromaFormat::yuv420 ? 6 : 8; }

    void reconstruct(const Macroblock& macroblock, int address, bool coded);
    void reconstructInFrame(const Macroblock& macroblock, int x, int y, const ResidualView& residual);
    void reconstructInField(const Macroblock& macroblock, int x, int y, const ResidualView& residual);
    SourceList sources(const Macroblock& macroblock, std::size_t r) const;
    SourceList dualPrimeSources(const Macroblock& macroblock, std::size_t parity, Vector opposite) const;

    PictureContext& context_;
    MotionPredictor predictor_;
    Macroblock previous_;
    std::array<int16_t, 3> dcPredictors_{};
    int32_t scale_ = 0;
    const int32_t* scan_;
    Residual residual_;
};

} // namespace kelvcpx::app::mpeg2
