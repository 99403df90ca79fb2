#include "mpeg2/encoder/encoder.h"

#include "mpeg2/encoder/group_structure.h"
#include "mpeg2/encoder/header_writer.h"
#include "mpeg2/encoder/mode_decision.h"
#include "mpeg2/encoder/rate_control.h"
#include "mpeg2/encoder/slice_encoder.h"
#include "mpeg2/frame.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

namespace kelvcpx::app::mpeg2 {
namespace {

constexpr int defaultQp = 4;
constexpr int defaultGroupSize = 12;
constexpr int defaultBFrames = 2;
constexpr int noFCode = 15;

using FramePointer = std::shared_ptr<Frame>;

// Fills the frame with the picture, whose last columns and rows go on to the frame's edges; the rows of an
// interlaced one by field.
void copyInto(const Frame& frame, const PictureView& picture, bool progressive)
{
    for (std::size_t i = 0; i < 3; i++) {
        const PlaneView& from = picture.planes[i];
        const Surface::Plane& to = frame.surface().planes[i];
        const int lines = progressive || from.height < 2 ? 1 : 2;
        for (int y = 0; y < to.height; y++) {
            const int last = from.height - 1;
            const int row = y <= last ? y : last - (y - last) % lines;
            uint8_t* const samples = to.samples + std::ptrdiff_t{to.step} * y;
            std::memcpy(samples, from.samples + from.step * row, static_cast<std::size_t>(from.width));
            std::fill(samples + from.width, samples + to.width, samples[from.width - 1]);
        }
    }
}

References wholeAndFields(const Frame& frame)
{
    return {frame.surface(), {frame.surface().field(0), frame.surface().field(1)}};
}

class Encoder : public VideoEncoder
{
public:
    Encoder(const VideoFormat& format, const EncoderSettings& settings);

    void encode(const PictureView& picture, const EncoderOutput& output) override;
    void flush(const EncoderOutput& output) override;

private:
    void encodePicture(const ScheduledPicture& scheduled, const EncoderOutput& output);
    Picture describePicture(const ScheduledPicture& scheduled, int code) const;
    void writeSlices(const PictureCoding& coding, BitWriter& bits);
    void keepReconstruction(const FramePointer& frame, PictureType type, const EncoderOutput& output);
    void show(const Frame* frame, const EncoderOutput& output) const;

    VideoFormat format_;
    Sequence sequence_;
    GroupStructure groups_;
    std::unique_ptr<RateControl> rateControl_;
    FramePointer older_; // the reconstructions of the last two I and P pictures
    FramePointer newer_;
    std::vector<MacroblockPlan> earlierPlans_;
};

std::unique_ptr<RateControl> makeRateControl(const EncoderSettings& settings, const Sequence& sequence,
                                             int groupSize, int bFrames)
{
    if (!settings.bitRate)
        return std::make_unique<ConstantQuantiser>(settings.qp.value_or(defaultQp));
    const double pictureRate = static_cast<double>(sequence.frameRate.numerator) /
                               static_cast<double>(sequence.frameRate.denominator);
    return std::make_unique<ConstantRate>(static_cast<double>(*settings.bitRate), pictureRate,
                                          sequence.macroblocksHigh(), groupSize, bFrames);
}

Encoder::Encoder(const VideoFormat& format, const EncoderSettings& settings)
    : format_(format), sequence_(describeSequence(format, settings.bitRate.value_or(0))),
      groups_(settings.groupSize.value_or(defaultGroupSize), settings.bFrames.value_or(defaultBFrames)),
      rateControl_(makeRateControl(settings, sequence_, settings.groupSize.value_or(defaultGroupSize),
                                   settings.bFrames.value_or(defaultBFrames)))
{}

void Encoder::encode(const PictureView& picture, const EncoderOutput& output)
{
    const auto frame = std::make_shared<Frame>(sequence_);
    copyInto(*frame, picture, sequence_.progressive);
    groups_.add(frame, [&](const ScheduledPicture& scheduled) { encodePicture(scheduled, output); });
}

void Encoder::flush(const EncoderOutput& output)
{
    groups_.flush([&](const ScheduledPicture& scheduled) { encodePicture(scheduled, output); });
    show(newer_.get(), output);
    newer_ = nullptr;
    BitWriter bits;
    bits.startCode(sequenceEnd);
    output.bytes(bits.bytes());
}

Picture Encoder::describePicture(const ScheduledPicture& scheduled, int code) const
{
    Picture picture;
    picture.temporalReference = static_cast<int>(scheduled.number - scheduled.groupStart);
    picture.type = scheduled.type;
    picture.fCode = {{{noFCode, noFCode}, {noFCode, noFCode}}};
    picture.extended = true;
    // The DC is not to be coarser than the other coefficients.
    picture.intraDcPrecision = code <= 1 ? 2 : code <= 3 ? 1 : 0;
    picture.topFieldFirst = format_.fieldOrder == FieldOrder::topFirst;
    picture.framePredFrameDct = sequence_.progressive;
    picture.intraVlcFormat = true;
    picture.alternateScan = !sequence_.progressive;
    picture.progressiveFrame = sequence_.progressive;
    return picture;
}

void Encoder::encodePicture(const ScheduledPicture& scheduled, const EncoderOutput& output)
{
    BitWriter bits;
    if (scheduled.type == PictureType::intra) {
        writeSequenceHeader(bits, sequence_);
        const Group group{.closed = scheduled.number == scheduled.groupStart};
        writeGroupHeader(bits, sequence_, group, scheduled.groupStart);
    }
    const int code = rateControl_->startPicture(scheduled.type);
    const auto reconstruction = std::make_shared<Frame>(sequence_);
    reconstruction->setFormat(format_);
    PictureCoding coding{.sequence = sequence_,
                         .picture = describePicture(scheduled, code),
                         .source = scheduled.frame->surface(),
                         .target = reconstruction->surface(),
                         .references = {},
                         .plans = {}};
    if (scheduled.type == PictureType::predicted)
        coding.references[0] = wholeAndFields(*newer_);
    else if (scheduled.type == PictureType::bidirectional)
        coding.references = {wholeAndFields(*older_), wholeAndFields(*newer_)};
    ModeDecision(coding, 2 * code, earlierPlans_).decide();
    writePictureHeader(bits, coding.picture);
    writeSlices(coding, bits);
    bits.align();
    rateControl_->finishPicture(static_cast<int64_t>(bits.bitCount()));
    output.bytes(bits.bytes());
    keepReconstruction(reconstruction, scheduled.type, output);
    earlierPlans_ = std::move(coding.plans);
}

void Encoder::writeSlices(const PictureCoding& coding, BitWriter& bits)
{
    SliceEncoder slices(coding, bits);
    for (int row = 0; row < sequence_.macroblocksHigh(); row++)
        slices.encode(row, rateControl_->codeOfRow(row, static_cast<int64_t>(bits.bitCount())));
}

// Pictures come out in display order: an I or P picture when the next one has been coded.
void Encoder::keepReconstruction(const FramePointer& frame, PictureType type, const EncoderOutput& output)
{
    if (type == PictureType::bidirectional) {
        show(frame.get(), output);
        return;
    }
    show(newer_.get(), output);
    older_ = std::exchange(newer_, frame);
}

void Encoder::show(const Frame* frame, const EncoderOutput& output) const
{
    if (frame != nullptr && output.reconstruction)
        output.reconstruction(frame->view());
}

} // namespace

std::unique_ptr<VideoEncoder> makeEncoder(const VideoFormat& format, const EncoderSettings& settings)
{
    return std::make_unique<Encoder>(format, settings);
}

} // namespace kelvcpx::app::mpeg2
