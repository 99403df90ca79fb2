// Inter macroblocks of one half-sample vector, as the encoders of H.263 and MPEG-4 choose and write them.
#pragma once

#include "common/code_writer.h"
#include "common/predictive_encoder.h"
#include "h263/encoder_motion.h"

#include <cstdint>

namespace kelvcpx::app::h263 {

// Of macroblocks, times 4 in MCBPC.
constexpr int32_t typeInter = 0;
constexpr int32_t typeIntra = 3;

class InterEncoder : public PredictiveEncoder
{
protected:
    // Vectors are `reach` half samples long at most.
    InterEncoder(const VideoFormat& format, const EncoderSettings& settings, MakeDecoder makeDecoder,
                 int reach);

    int wide() const { return wide_; } // in macroblocks
    int high() const { return high_; }

    // Forgets the vectors of the picture before; predictions round half a sample down if `rounding` is 1.
    void startPicture(int32_t rounding);

    // False if the macroblock had better be intra; then nothing is written.
    bool encodeInter(int column, int row);

    // COD, or not_coded, and MCBPC of an intra macroblock.
    void writeIntraType(bool intraPicture, uint32_t pattern);

    // An operation of the library for the levels of an inter block.
    virtual Status encodeLevels(const int16_t* levels, uint8_t** at, int32_t* offset,
                                int32_t count) const = 0;
    virtual void writeDifference(int difference) = 0;

    CodeWriter writer_;
    MacroblockLevels levels_;

private:
    int wide_;
    int high_;
    int reach_;
    int32_t rounding_ = 0;
    VectorField vectors_;
    PredictedMacroblock predicted_;
};

} // namespace kelvcpx::app::h263
