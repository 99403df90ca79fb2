#include "common/predictive_encoder.h"

#include "common/block_place.h"
#include "common/forward_dct.h"
#include "common/motion_search.h"

#include <kelvcpx/h263.h>
#include <kelvcpx/metrics.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace kelvcpx::app {
namespace {

constexpr int defaultQp = 5;
constexpr int defaultGroupSize = 12;

// The last columns and rows go on to the edges of the macroblocks.
void copyExtended(const PictureView& picture, const PaddedFrame& frame)
{
    for (std::size_t i = 0; i < 3; i++) {
        const PlaneView& from = picture.planes[i];
        const PaddedFrame::Plane& to = frame.plane(i);
        for (int y = 0; y < to.height; y++) {
            uint8_t* const row = to.at(0, y);
            std::memcpy(row, from.samples + from.step * std::min(y, from.height - 1),
                        static_cast<std::size_t>(from.width));
            std::fill(row + from.width, row + to.width, row[from.width - 1]);
        }
    }
}

} // namespace

uint32_t codedBlockPattern(std::span<const int32_t, 6> counts, int32_t least)
{
    uint32_t pattern = 0;
    for (const int32_t count : counts)
        pattern = pattern << 1 | (count >= least ? 1 : 0);
    return pattern;
}

PredictiveEncoder::PredictiveEncoder(const VideoFormat& format, const EncoderSettings& settings,
                                     MakeDecoder makeDecoder)
    : format_(format), qp_(settings.qp.value_or(defaultQp)),
      groupSize_(settings.groupSize.value_or(defaultGroupSize)), source_(format), reference_(format),
      decoder_(makeDecoder(*this, {}))
{}

void PredictiveEncoder::encode(const PictureView& picture, const EncoderOutput& output)
{
    copyExtended(picture, source_);
    const std::vector<uint8_t> bytes = encodePicture(number_ % groupSize_ == 0);
    output.bytes(bytes);
    decoder_->decode(bytes, [&](const PictureView& decoded) {
        copyExtended(decoded, reference_);
        if (output.reconstruction) {
            PictureView shown = decoded;
            shown.format.frameRate = format_.frameRate;
            output.reconstruction(shown);
        }
    });
    number_++;
}

void PredictiveEncoder::damaged(const std::string& message)
{
    throw std::logic_error("the encoder writes a stream that cannot be decoded: " + message);
}

int64_t PredictiveEncoder::temporalReference() const
{
    if (format_.frameRate.numerator <= 0)
        return number_;
    const double pictureRate =
        static_cast<double>(format_.frameRate.numerator) / static_cast<double>(format_.frameRate.denominator);
    return static_cast<int64_t>(static_cast<double>(number_) * 30000.0 / 1001.0 / pictureRate + 0.5);
}

MotionVector PredictiveEncoder::searchVector(int column, int row, int reach,
                                             std::span<const MotionVector> candidates, MotionVector predicted,
                                             int& sad) const
{
    const PaddedFrame::Plane& from = reference_.plane(0);
    const PaddedFrame::Plane& to = source_.plane(0);
    const int x = 16 * column;
    const int y = 16 * row;
    const SearchBlock block = {
        to.at(x, y),
        to.step,
        from.at(x, y),
        from.step,
        16,
        {std::max(-reach, -2 * x), std::clamp(2 * (format_.width - 16 - x), 0, reach - 1),
         std::max(-reach, -2 * y), std::clamp(2 * (format_.height - 16 - y), 0, reach - 1)}};
    const FoundVector found = searchMotion(block, candidates, VectorCost{predicted, std::max(1, qp_ / 2)});
    sad = found.sad;
    return found.vector;
}

bool PredictiveEncoder::intraIsBetter(int column, int row, int sad) const
{
    constexpr int intraPenalty = 500; // intra macroblocks take more bits
    const PaddedFrame::Plane& plane = source_.plane(0);
    int32_t deviation = 0; // from the mean, of all samples together
    keliMeanAbsDev16x16_8u32s_C1R(plane.at(16 * column, 16 * row), plane.step, &deviation);
    return deviation + intraPenalty < sad;
}

void PredictiveEncoder::quantiseIntra(int column, int row, MacroblockLevels& levels) const
{
    alignas(32) std::array<int16_t, 64> samples;
    for (std::size_t i = 0; i < 6; i++) {
        const BlockPlace place = blockPlace(i, column, row);
        const PaddedFrame::Plane& plane = source_.plane(place.plane);
        for (std::size_t k = 0; k < 64; k++)
            samples[k] = *plane.at(place.x + static_cast<int>(k % 8), place.y + static_cast<int>(k / 8));
        forwardDct(samples.data(), 8 * sizeof(int16_t), levels.blocks[i]);
        quantiseIntraBlock(i, levels.blocks[i].data(), levels.counts[i]);
    }
}

void PredictiveEncoder::quantiseInter(int column, int row, const PredictedMacroblock& predicted,
                                      MacroblockLevels& levels) const
{
    constexpr int32_t step = 8 * sizeof(int16_t);
    alignas(32) std::array<int16_t, 64> difference;
    for (std::size_t i = 0; i < 6; i++) {
        const BlockPlace place = blockPlace(i, column, row);
        const PaddedFrame::Plane& plane = source_.plane(place.plane);
        const bool isLuma = place.plane == 0;
        const uint8_t* const prediction =
            isLuma ? &predicted.luma[128 * (i / 2) + 8 * (i % 2)] : predicted.chroma[i - 4].data();
        int32_t sad;
        keliSubSAD8x8_8u16s_C1R(plane.at(place.x, place.y), plane.step, prediction, isLuma ? 16 : 8,
                                difference.data(), step, &sad);
        auto& block = levels.blocks[i];
        forwardDct(difference.data(), step, block);
        for (int16_t& coefficient : block) // to the 12 bits that the quantiser is made for
            coefficient = std::clamp<int16_t>(coefficient, -2047, 2047);
        quantiseInterBlock(block.data(), levels.counts[i]);
    }
}

void PredictiveEncoder::quantiseIntraBlock(std::size_t, int16_t* coefficients, int32_t& count) const
{
    keliQuantIntra_H263_16s_C1I(coefficients, qp_, &count, 0, 0);
}

void PredictiveEncoder::quantiseInterBlock(int16_t* coefficients, int32_t& count) const
{
    keliQuantInter_H263_16s_C1I(coefficients, qp_, &count, 0);
}

} // namespace kelvcpx::app
