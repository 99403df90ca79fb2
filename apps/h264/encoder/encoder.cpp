#include "h264/encoder/encoder.h"

#include "common/decoder.h"
#include "h264/deblocking.h"
#include "h264/encoder/headers.h"
#include "h264/encoder/macroblock_encoder.h"
#include "h264/encoder/settings.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace kelvcpx::app::h264::encoder {
namespace {

constexpr int largestSize = 16 * 1055; // of level 6.2
constexpr int64_t mostSamples = 256 * 139264;
constexpr int intraQpDifference = 3; // pictures that others refer to for long are worth more bits

constexpr int baselineProfile = 66;
constexpr int highProfile = 100;
constexpr int constrainedBaseline = 0xC0; // constraint_set0_flag, constraint_set1_flag

SequenceParameterSet sequenceParameterSet(const VideoFormat& format, const Settings& settings)
{
    SequenceParameterSet set;
    set.profileIdc = settings.high ? highProfile : baselineProfile;
    set.constraintFlags = settings.high ? 0 : constrainedBaseline;
    set.widthInMbs = (format.width + 15) / 16;
    set.heightInMapUnits = (format.height + 15) / 16;
    set.levelIdc = levelFor(set.widthInMbs, set.heightInMapUnits, format.frameRate);
    set.log2MaxFrameNum = 8;
    set.pocType = 2;
    set.maxNumRefFrames = 1;
    set.direct8x8Inference = true;
    // Whole chroma samples only: an odd picture is shown with one more column or row.
    set.cropRight = (16 * set.widthInMbs - format.width) / 2 * 2;
    set.cropBottom = (16 * set.heightInMapUnits - format.height) / 2 * 2;
    set.sampleAspect = format.sampleAspect;
    set.frameRate = format.frameRate;
    set.numReorderFrames = 0;
    set.maxDecFrameBuffering = 1;
    return set;
}

PictureParameterSet pictureParameterSet(const Settings& settings)
{
    PictureParameterSet set;
    set.transform8x8 = settings.high;
    return set;
}

// Copies a plane and repeats its last samples up to the size of the other.
void copyExtended(const PlaneView& from, const Surface::Plane& to)
{
    for (int y = 0; y < to.height; y++) {
        const uint8_t* const row = from.samples + std::min(y, from.height - 1) * from.step;
        std::copy_n(row, from.width, to.at(0, y));
        std::fill(to.at(from.width, y), to.at(to.width, y), row[from.width - 1]);
    }
}

class Encoder : public VideoEncoder
{
public:
    Encoder(const VideoFormat& format, const Settings& settings)
        : format_(format), settings_(settings), sequence_(sequenceParameterSet(format, settings)),
          set_(pictureParameterSet(settings)), source_(FrameShape(sequence_)),
          current_(std::make_shared<Frame>(FrameShape(sequence_))),
          reference_(std::make_shared<Frame>(FrameShape(sequence_)))
    {
        format_.width = 16 * sequence_.widthInMbs - sequence_.cropRight;
        format_.height = 16 * sequence_.heightInMbs() - sequence_.cropBottom;
    }

    void encode(const PictureView& picture, const EncoderOutput& output) override
    {
        for (std::size_t i = 0; i < 3; i++)
            copyExtended(picture.planes[i], source_.surface().planes[i]);
        const bool idr = sinceIdr_ == 0;
        SliceHeader header;
        header.idr = idr;
        header.nalRefIdc = idr ? 3 : 2;
        header.type = idr ? SliceType::i : SliceType::p;
        header.frameNum = sinceIdr_ % sequence_.maxFrameNum();
        header.idrPicId = idrCount_ % 2;
        header.qp = idr ? std::max(settings_.qp - intraQpDifference, 0) : settings_.qp;
        if (idr)
            putParameterSets(output);
        output.bytes(codedPicture(header));
        if (output.reconstruction)
            output.reconstruction(current_->view());

        std::swap(current_, reference_);
        idrCount_ += idr ? 1 : 0;
        sinceIdr_ = (sinceIdr_ + 1) % settings_.intraPeriod;
    }

    void flush(const EncoderOutput&) override {}

private:
    void putParameterSets(const EncoderOutput& output) const
    {
        BitWriter sequence;
        putSequenceParameterSet(sequence, sequence_);
        output.bytes(nalUnit({3, NalType::sequenceParameterSet}, std::move(sequence)));
        BitWriter picture;
        putPictureParameterSet(picture, set_);
        output.bytes(nalUnit({3, NalType::pictureParameterSet}, std::move(picture)));
    }

    // The NAL unit of the picture's only slice. Leaves the reconstruction in the current frame, which is
    // ready to be referred to.
    std::vector<uint8_t> codedPicture(const SliceHeader& header)
    {
        current_->restart(0, format_);
        PictureContext picture = pictureContext();
        MacroblockEncoder::Task task{picture, source_.surface(), std::nullopt, header.qp, settings_.high};
        if (!header.isIntra())
            task.reference.emplace(InterReference{reference_->surface(), vectors_});
        BitWriter bits;
        putSliceHeader(bits, header, sequence_, set_);
        MacroblockEncoder encoder(task, bits);
        const int count = picture.widthInMbs * picture.heightInMbs;
        for (int address = 0; address < count; address++)
            encoder.encode(address);
        encoder.finish();
        deblock(picture);
        current_->expand(Structure::frame);
        keepVectors(*picture.motion);
        return nalUnit({header.nalRefIdc, header.idr ? NalType::idrSlice : NalType::slice}, std::move(bits));
    }

    PictureContext pictureContext()
    {
        PictureContext picture;
        picture.sequence = sequence_;
        picture.frame = current_;
        picture.target = current_->surface();
        picture.motion = &current_->motion[0];
        picture.widthInMbs = sequence_.widthInMbs;
        picture.heightInMbs = sequence_.heightInMbs();
        picture.motion->resize(picture.widthInMbs, picture.heightInMbs);
        picture.macroblocks.resize(static_cast<std::size_t>(picture.widthInMbs * picture.heightInMbs));
        picture.filters.push_back({0, 0, 0, {0, 0}});
        return picture;
    }

    void keepVectors(const MotionField& field)
    {
        vectors_.clear();
        for (int y = 0; y < sequence_.heightInMbs(); y++)
            for (int x = 0; x < sequence_.widthInMbs; x++)
                vectors_.push_back(field.vectors[0][field.block4x4(4 * x, 4 * y)]);
    }

    VideoFormat format_; // of the decoded pictures
    Settings settings_;
    SequenceParameterSet sequence_;
    PictureParameterSet set_;
    Frame source_;
    FramePointer current_;
    FramePointer reference_;
    std::vector<Vector> vectors_; // of the macroblocks of the picture before
    int sinceIdr_ = 0;
    int idrCount_ = 0;
};

Settings completed(const EncoderSettings& settings)
{
    Settings own;
    own.qp = settings.qp.value_or(own.qp);
    own.intraPeriod = settings.groupSize.value_or(own.intraPeriod);
    own.high = settings.high;
    return own;
}

} // namespace
} // namespace kelvcpx::app::h264::encoder

namespace kelvcpx::app::h264 {

std::unique_ptr<VideoEncoder> makeEncoder(const VideoFormat& format, const EncoderSettings& settings)
{
    if (std::max(format.width, format.height) > encoder::largestSize ||
        int64_t{format.width} * format.height > encoder::mostSamples)
        throw UnsupportedStream(fmt::format("H.264 pictures have at most {} columns and rows, and {} samples",
                                            encoder::largestSize, encoder::mostSamples));
    return std::make_unique<encoder::Encoder>(format, encoder::completed(settings));
}

} // namespace kelvcpx::app::h264
