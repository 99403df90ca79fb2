// What the encoders of H.261, H.263 and MPEG-4 share: pictures one after the other, each predicted from the
// one before, as this project's decoder shows it.
#pragma once

#include "common/decoder.h"
#include "common/encoder.h"
#include "common/motion_vector.h"
#include "common/padded_frame.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace kelvcpx::app {

// The levels of a macroblock, in raster order, and how many of each block are not zero, an intra DC included.
struct MacroblockLevels {
    alignas(32) std::array<std::array<int16_t, 64>, 6> blocks;
    std::array<int32_t, 6> counts;
};

// The blocks with at least so many levels, the first one in bit 5.
uint32_t codedBlockPattern(std::span<const int32_t, 6> counts, int32_t least = 1);

// The prediction of a macroblock.
struct PredictedMacroblock {
    alignas(32) std::array<uint8_t, 256> luma;
    alignas(32) std::array<std::array<uint8_t, 64>, 2> chroma;
};

class PredictiveEncoder : public VideoEncoder, private DamageListener
{
public:
    void encode(const PictureView& picture, const EncoderOutput& output) override;
    void flush(const EncoderOutput&) override {}

protected:
    PredictiveEncoder(const VideoFormat& format, const EncoderSettings& settings, MakeDecoder makeDecoder);

    // Encodes the source as an intra picture, or predicted from the reference.
    virtual std::vector<uint8_t> encodePicture(bool intra) = 0;

    const VideoFormat& format() const { return format_; }
    const PaddedFrame& source() const { return source_; }
    const PaddedFrame& reference() const { return reference_; }
    int qp() const { return qp_; }
    int64_t number() const { return number_; } // of the picture

    // The time of the picture in units of 1001/30000 s, as H.261 and H.263 count it.
    int64_t temporalReference() const;

    // The best vector of a macroblock for which the prediction stays in the picture, at most `reach` half
    // samples long to the left and above, one less to the right and below.
    MotionVector searchVector(int column, int row, int reach, std::span<const MotionVector> candidates,
                              MotionVector predicted, int& sad) const;

    // True if the samples of the macroblock lie nearer to their mean than to a prediction with this SAD.
    bool intraIsBetter(int column, int row, int sad) const;

    // The source of a macroblock, or its difference from a prediction, transformed and quantised.
    void quantiseIntra(int column, int row, MacroblockLevels& levels) const;
    void quantiseInter(int column, int row, const PredictedMacroblock& predicted,
                       MacroblockLevels& levels) const;

    // Quantise the coefficients of a block, 0..5, and count the levels that are not zero, an intra DC
    // included. Unless they are overridden, as H.261 and H.263 do it.
    virtual void quantiseIntraBlock(std::size_t block, int16_t* coefficients, int32_t& count) const;
    virtual void quantiseInterBlock(int16_t* coefficients, int32_t& count) const;

private:
    void damaged(const std::string& message) override;

    VideoFormat format_;
    int qp_;
    int groupSize_;
    PaddedFrame source_;
    PaddedFrame reference_;
    std::unique_ptr<VideoDecoder> decoder_;
    int64_t number_ = 0;
};

} // namespace kelvcpx::app
