#include "h264/decoder.h"

#include "h264/deblocking.h"
#include "h264/nal.h"
#include "h264/picture_buffer.h"
#include "h264/picture_order.h"
#include "h264/slice_decoder.h"
#include "h264/slice_groups.h"

#include <kelvcpx/core.h>

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <utility>

namespace kelvcpx::app::h264 {
namespace {

// What a stream needs that is not there.
void refuseUnsupported(const SequenceParameterSet& sequence, const SliceHeader& slice)
{
    if (sequence.chromaFormatIdc != 0 && sequence.bitDepthLuma != sequence.bitDepthChroma)
        throw UnsupportedStream(
            fmt::format("the stream has luma of {} and chroma of {} bits a sample, which is "
                        "not supported: they must have the same",
                        sequence.bitDepthLuma, sequence.bitDepthChroma));
    if (slice.type == SliceType::sp || slice.type == SliceType::si)
        throw UnsupportedStream("the stream has SP or SI slices, which are not supported");
}

std::string profileName(const SequenceParameterSet& sequence)
{
    static const std::map<int, std::string> names = {{66, "Baseline"},
                                                     {77, "Main"},
                                                     {88, "Extended"},
                                                     {100, "High"},
                                                     {110, "High 10"},
                                                     {122, "High 4:2:2"},
                                                     {244, "High 4:4:4 Predictive"}};
    const auto found = names.find(sequence.profileIdc);
    const bool constrained = sequence.profileIdc == 66 && (sequence.constraintFlags & 0x40) != 0;
    return (constrained ? "Constrained " : "") +
           (found != names.end() ? found->second : fmt::format("{}", sequence.profileIdc));
}

// 7.4.1.2.4: whether a slice belongs to another primary coded picture than the one before.
bool startsPicture(const SliceHeader& a, const SliceHeader& b)
{
    return a.frameNum != b.frameNum || a.pictureParameterSet != b.pictureParameterSet ||
           a.fieldPicture != b.fieldPicture || a.bottomField != b.bottomField ||
           (a.nalRefIdc == 0) != (b.nalRefIdc == 0) || a.pocLsb != b.pocLsb ||
           a.deltaPocBottom != b.deltaPocBottom || a.deltaPoc != b.deltaPoc || a.idr != b.idr ||
           (a.idr && a.idrPicId != b.idrPicId);
}

// Whether the picture makes all others unused for reference, and counts as an IDR picture from then on.
bool forgetsReferences(const SliceHeader& slice)
{
    return std::any_of(slice.marking.begin(), slice.marking.end(),
                       [](const MarkingOperation& operation) { return operation.operation == 5; });
}

// By the order counts of the picture, as pic_struct is inferred where a stream does not have it (Annex D);
// the field that is coded first is shown first.
FieldOrder fieldOrderOf(const SequenceParameterSet& sequence, const SliceHeader& slice,
                        const std::array<int, 2>& poc)
{
    if (sequence.frameMbsOnly || (!slice.fieldPicture && poc[0] == poc[1]))
        return FieldOrder::progressive;
    const bool topFirst = slice.fieldPicture ? !slice.bottomField : poc[0] < poc[1];
    return topFirst ? FieldOrder::topFirst : FieldOrder::bottomFirst;
}

class Decoder : public VideoDecoder
{
public:
    Decoder(std::span<const uint8_t> configuration, DamageListener& listener);

    void decode(std::span<const uint8_t> packet, const PictureSink& sink) override;
    void flush(const PictureSink& sink) override;
    std::vector<Property> describe() const override;

private:
    void decodeUnit(std::span<const uint8_t> unit, const PictureSink& sink);
    void decodeSlice(const Payload& payload, const PictureSink& sink);

    void startPicture(const SliceHeader& slice, const PictureSink& sink);
    void startFrame(const SequenceParameterSet& sequence, const SliceHeader& slice, const PictureSink& sink);
    void preparePicture(const SequenceParameterSet& sequence, Structure structure);
    void activate(const SequenceParameterSet& sequence, const PictureSink& sink);
    void fillGap(const SliceHeader& slice, const PictureSink& sink);
    bool continuesFrame(const SliceHeader& slice) const;
    SliceContext makeSlice(const SliceHeader& slice);
    void fillReferenceLists(std::array<ReferenceList, 2>& lists);
    FramePointer newestReference() const;

    void finishPicture(const PictureSink& sink);
    void concealMissingMacroblocks();
    void forgetOrder(const SliceHeader& slice);
    void finishFrame(const PictureSink& sink);
    PictureBuffer::Output outputTo(const PictureSink& sink) const;
    VideoFormat videoFormat() const;
    void report(const std::string& message);

    DamageListener& listener_;
    std::optional<int> lengthBytes_; // of the lengths in front of NAL units; nothing: start codes
    ParameterSets sets_;
    std::optional<SequenceParameterSet> active_;
    PictureBuffer buffer_;
    PictureOrderCounter order_;
    int64_t pictureCount_ = 0; // in coding order
    int previousRefFrameNum_ = 0;
    FieldOrder fieldOrder_ = FieldOrder::progressive; // of the sequence, by its first picture

    // The picture that is being decoded.
    std::optional<PictureContext> picture_;
    SliceHeader firstSlice_;
    PictureParameterSet pictureSet_;
    std::optional<LevelScales> levelScales_;
    std::vector<uint8_t> sliceGroups_;
    FramePointer current_; // the frame that is being decoded, until both fields are complete
};

Decoder::Decoder(std::span<const uint8_t> configuration, DamageListener& listener) : listener_(listener)
{
    const PictureSink nobody = [](const PictureView&) {};
    if (const auto record = readAvcConfiguration(configuration)) {
        lengthBytes_ = record->lengthBytes;
        for (const auto& unit : record->parameterSets)
            decodeUnit(unit, nobody);
    } else {
        decode(configuration, nobody);
    }
}

void Decoder::decode(std::span<const uint8_t> packet, const PictureSink& sink)
{
    forEachNalUnit(packet, lengthBytes_, [&](std::span<const uint8_t> unit) {
        decodeTolerantly([&] { decodeUnit(unit, sink); }, [&] { return active_.has_value(); },
                         [&](const char* damage) { report(damage); });
    });
}

void Decoder::decodeUnit(std::span<const uint8_t> unit, const PictureSink& sink)
{
    const Payload payload(unit);
    switch (payload.header().type) {
    case NalType::slice:
    case NalType::idrSlice:
        decodeSlice(payload, sink);
        break;
    case NalType::partitionA:
    case NalType::partitionB:
    case NalType::partitionC:
        throw UnsupportedStream("the stream needs data partitioning, which is not supported");
    case NalType::sequenceParameterSet: {
        finishPicture(sink);
        SequenceParameterSet set = readSequenceParameterSet(payload);
        sets_.sequences[static_cast<std::size_t>(set.id)] = std::move(set);
        break;
    }
    case NalType::pictureParameterSet: {
        finishPicture(sink);
        PictureParameterSet set = readPictureParameterSet(payload);
        sets_.pictures[static_cast<std::size_t>(set.id)] = std::move(set);
        break;
    }
    case NalType::accessUnitDelimiter:
    case NalType::endOfSequence:
    case NalType::endOfStream:
        finishPicture(sink);
        break;
    default:
        break;
    }
}

void Decoder::decodeSlice(const Payload& payload, const PictureSink& sink)
{
    BitReader reader = payload.reader();
    const SliceHeader slice = readSliceHeader(reader, payload.header(), sets_);
    if (slice.redundantPicCount > 0)
        return;
    const PictureParameterSet& set = *sets_.pictures[static_cast<std::size_t>(slice.pictureParameterSet)];
    refuseUnsupported(*sets_.sequences[static_cast<std::size_t>(set.sequenceId)], slice);
    if (!picture_ || startsPicture(firstSlice_, slice)) {
        finishPicture(sink);
        startPicture(slice, sink);
    }
    const SliceContext context = makeSlice(slice);
    h264::decodeSlice(context, reader, payload.stopBit());
}

void Decoder::startPicture(const SliceHeader& slice, const PictureSink& sink)
{
    const PictureParameterSet& set = *sets_.pictures[static_cast<std::size_t>(slice.pictureParameterSet)];
    const SequenceParameterSet& sequence = *sets_.sequences[static_cast<std::size_t>(set.sequenceId)];
    pictureCount_++;
    if (!continuesFrame(slice))
        startFrame(sequence, slice, sink);

    firstSlice_ = slice;
    pictureSet_ = set;
    levelScales_.emplace(scalingLists(sequence, set));
    sliceGroups_ = macroblockSliceGroups(sequence, set, slice);
    const Structure structure = !slice.fieldPicture ? Structure::frame
                                : slice.bottomField ? Structure::bottom
                                                    : Structure::top;
    const auto poc = order_.next(sequence, slice);
    if (structure != Structure::bottom)
        current_->fieldPoc[0] = poc[0];
    if (structure != Structure::top)
        current_->fieldPoc[1] = poc[1];
    current_->frameNum = slice.frameNum;
    preparePicture(sequence, structure);
}

void Decoder::startFrame(const SequenceParameterSet& sequence, const SliceHeader& slice,
                         const PictureSink& sink)
{
    if (current_ != nullptr)
        finishFrame(sink);
    if (!active_ || *active_ != sequence) {
        if (!slice.isIntra())
            report("the stream does not start with an intra picture");
        activate(sequence, sink);
        fieldOrder_ = fieldOrderOf(sequence, slice, PictureOrderCounter(order_).next(sequence, slice));
        previousRefFrameNum_ = slice.frameNum; // what came before is nobody's loss
    }
    fillGap(slice, sink);
    current_ = buffer_.newFrame(FrameShape(sequence), videoFormat());
    if (newestReference() == nullptr)
        current_->fillGrey();
    current_->codedAsFields = slice.fieldPicture;
}

// The frame, or the field of it, that the macroblocks of the first slice and of those behind it belong to.
void Decoder::preparePicture(const SequenceParameterSet& sequence, Structure structure)
{
    const bool isFrame = structure == Structure::frame;
    picture_.emplace();
    picture_->sequence = sequence;
    picture_->frame = current_;
    picture_->structure = structure;
    picture_->target = current_->surface().of(structure);
    picture_->motion = &current_->motion[structure == Structure::bottom ? 1 : 0];
    picture_->widthInMbs = sequence.widthInMbs;
    picture_->heightInMbs = sequence.heightInMbs() / (isFrame ? 1 : 2);
    picture_->macroblocks.resize(static_cast<std::size_t>(picture_->widthInMbs) *
                                 static_cast<std::size_t>(picture_->heightInMbs));
    picture_->motion->resize(picture_->widthInMbs, picture_->heightInMbs);
    if (pictureSet_.cabac)
        picture_->mvds.resize(picture_->macroblocks.size());
    picture_->hasPairs = sequence.mbAdaptiveFrameField && isFrame;
    if (picture_->hasPairs) {
        picture_->fields = {current_->surface().of(Structure::top),
                            current_->surface().of(Structure::bottom)};
        picture_->motion->fieldPairs.assign(picture_->macroblocks.size() / 2, 0);
    }
}

void Decoder::activate(const SequenceParameterSet& sequence, const PictureSink& sink)
{
    buffer_.configure(sequence, outputTo(sink));
    active_ = sequence;
}

// 8.2.5.2: frames that the stream leaves out on purpose, or that were lost.
void Decoder::fillGap(const SliceHeader& slice, const PictureSink& sink)
{
    if (slice.idr)
        return;
    const int maxFrameNum = active_->maxFrameNum();
    int expected = (previousRefFrameNum_ + 1) % maxFrameNum;
    if (slice.frameNum == previousRefFrameNum_ || slice.frameNum == expected)
        return;
    if (!active_->gapsInFrameNumAllowed)
        report("reference pictures are missing");
    const FramePointer model = newestReference();
    int missing = (slice.frameNum - expected + maxFrameNum) % maxFrameNum;
    // More than the buffer holds would push each other out.
    if (missing > 16) {
        expected = (expected + missing - 16) % maxFrameNum;
        missing = 16;
    }
    for (; missing > 0; missing--, expected = (expected + 1) % maxFrameNum) {
        const FramePointer frame = buffer_.newFrame(FrameShape(*active_), videoFormat());
        if (model != nullptr)
            frame->copySamples(*model);
        else
            frame->fillGrey();
        frame->frameNum = expected;
        frame->nonExisting = true;
        frame->decoded = Structure::frame;
        frame->hasPoc = active_->pocType != 0;
        if (frame->hasPoc) {
            SliceHeader inferred;
            inferred.frameNum = expected;
            inferred.nalRefIdc = 1;
            frame->fieldPoc = order_.next(*active_, inferred);
        }
        buffer_.slideWindow(*frame);
        frame->shortTerm = Structure::frame;
        buffer_.add(frame);
        buffer_.complete(*frame, outputTo(sink));
        previousRefFrameNum_ = expected;
    }
}

// Whether the slice is of the second field of the current frame (3.30, 3.31). Two fields of one IDR picture
// are no legal pair, but nothing else can be meant.
bool Decoder::continuesFrame(const SliceHeader& slice) const
{
    if (current_ == nullptr || !slice.fieldPicture || forgetsReferences(slice))
        return false;
    const Structure field = slice.bottomField ? Structure::bottom : Structure::top;
    const PictureParameterSet& set = *sets_.pictures[static_cast<std::size_t>(slice.pictureParameterSet)];
    return current_->decoded == opposite(field) && current_->frameNum == slice.frameNum &&
           (!slice.idr || (firstSlice_.idr && firstSlice_.idrPicId == slice.idrPicId)) &&
           *sets_.sequences[static_cast<std::size_t>(set.sequenceId)] == *active_ &&
           (firstSlice_.nalRefIdc != 0 || slice.nalRefIdc == 0);
}

FramePointer Decoder::newestReference() const
{
    const auto& frames = buffer_.frames();
    const auto newest = std::find_if(frames.rbegin(), frames.rend(), [this](const FramePointer& frame) {
        return frame != current_ && frame->isReference();
    });
    return newest == frames.rend() ? nullptr : *newest;
}

SliceContext Decoder::makeSlice(const SliceHeader& slice)
{
    SliceContext context{*picture_, pictureSet_, slice, *levelScales_, sliceGroups_};
    auto lists = makeReferenceLists(buffer_.frames(), slice, picture_->structure,
                                    current_->poc(picture_->structure), picture_->sequence.maxFrameNum());
    fillReferenceLists(lists);
    context.setReferences(lists);
    context.number = static_cast<int>(picture_->filters.size());
    picture_->filters.push_back(
        {slice.disableDeblocking, slice.alphaOffset, slice.betaOffset, pictureSet_.chromaQpOffset});
    return context;
}

// A list may be longer than there are pictures, as long as nothing is predicted from the rest of it.
void Decoder::fillReferenceLists(std::array<ReferenceList, 2>& lists)
{
    FramePointer substitute;
    for (ReferenceList& list : lists) {
        for (ReferencePicture& entry : list) {
            if (entry.frame != nullptr) {
                entry.isSubstitute = entry.frame->nonExisting;
                continue;
            }
            if (substitute == nullptr)
                substitute = newestReference();
            if (substitute == nullptr) {
                substitute = buffer_.newFrame(FrameShape(*active_), videoFormat());
                substitute->fillGrey();
            }
            entry = {substitute, picture_->structure, true};
        }
    }
}

void Decoder::finishPicture(const PictureSink& sink)
{
    if (!picture_)
        return;
    if (picture_->usesSubstitutes)
        report("blocks are predicted from pictures that are not there");
    concealMissingMacroblocks();
    deblock(*picture_);
    const Structure structure = picture_->structure;
    picture_.reset();
    const SliceHeader& slice = firstSlice_;
    const bool firstOfFrame = current_->decoded == Structure::none;
    current_->decoded = current_->decoded | structure;
    current_->expand(structure);

    // What comes later in decoding order comes later in output order. Nothing is dropped, whatever
    // no_output_of_prior_pics_flag says.
    const bool forgets = forgetsReferences(slice);
    if (firstOfFrame && (slice.idr || forgets))
        buffer_.flush(outputTo(sink));
    if (firstOfFrame)
        buffer_.add(current_);
    if (slice.nalRefIdc != 0) {
        buffer_.mark(*current_, structure, slice);
        previousRefFrameNum_ = slice.frameNum;
    }
    if (forgets)
        forgetOrder(slice);
    if (current_->decoded == Structure::frame)
        finishFrame(sink);
}

// Memory management control operation 5: the picture counts as if it were an IDR picture (8.2.1).
void Decoder::forgetOrder(const SliceHeader& slice)
{
    const int first = current_->poc();
    for (int& poc : current_->fieldPoc)
        poc -= first;
    current_->frameNum = 0;
    previousRefFrameNum_ = 0;
    order_.restartAfter(slice, current_->fieldPoc[0]);
}

void Decoder::finishFrame(const PictureSink& sink)
{
    const FramePointer frame = std::exchange(current_, nullptr);
    if (frame->decoded != Structure::frame) {
        frame->repeatField(frame->decoded);
        frame->expand(Structure::frame);
    }
    buffer_.complete(*frame, outputTo(sink));
}

PictureBuffer::Output Decoder::outputTo(const PictureSink& sink) const
{
    return [&sink](const Frame& frame) { sink(frame.view()); };
}

VideoFormat Decoder::videoFormat() const
{
    VideoFormat format;
    const SequenceParameterSet& set = *active_;
    format.width = 16 * set.widthInMbs - set.cropLeft - set.cropRight;
    format.height = 16 * set.heightInMbs() - set.cropTop - set.cropBottom;
    format.chroma = set.chromaFormatIdc == 0   ? ChromaFormat::monochrome
                    : set.chromaFormatIdc == 1 ? ChromaFormat::yuv420
                                               : ChromaFormat::yuv422;
    format.bitDepth = set.bitDepthLuma;
    format.frameRate = set.frameRate;
    format.sampleAspect = set.sampleAspect;
    format.fieldOrder = fieldOrder_;
    return format;
}

// Replaces the macroblocks that no slice brought by those at their place in the newest reference.
void Decoder::concealMissingMacroblocks()
{
    const auto& macroblocks = picture_->macroblocks;
    const auto missing = std::count_if(macroblocks.begin(), macroblocks.end(),
                                       [](const MbInfo& info) { return info.slice < 0; });
    if (missing == 0)
        return;
    report(fmt::format("{} of {} macroblocks are missing and were concealed", missing, macroblocks.size()));
    const FramePointer model = newestReference();
    if (model == nullptr)
        return; // the picture was grey to begin with
    const Surface source = model->surface().of(picture_->structure);
    for (std::size_t address = 0; address < macroblocks.size(); address++) {
        if (macroblocks[address].slice >= 0)
            continue;
        for (std::size_t i = 0; i < static_cast<std::size_t>(source.planeCount); i++) {
            const Surface::Plane& target = picture_->target.planes[i];
            const int width = target.width / picture_->widthInMbs;
            const int height = target.height / picture_->heightInMbs;
            const int bytes = videoFormat().bytesPerSample();
            const int x = width * bytes * (static_cast<int>(address) % picture_->widthInMbs);
            const int y = height * (static_cast<int>(address) / picture_->widthInMbs);
            keliCopy_8u_C1R(source.planes[i].at(x, y), source.planes[i].step, target.at(x, y), target.step,
                            {width * bytes, height});
        }
    }
}

void Decoder::flush(const PictureSink& sink)
{
    finishPicture(sink);
    if (current_ != nullptr)
        finishFrame(sink);
    buffer_.flush(outputTo(sink));
}

std::vector<Property> Decoder::describe() const
{
    if (!active_)
        return {};
    const SequenceParameterSet& set = *active_;
    std::vector<Property> properties;
    properties.emplace_back("Standard", "H.264 (ISO/IEC 14496-10)");
    properties.emplace_back("Profile", profileName(set));
    properties.emplace_back("Level", fmt::format("{}.{}", set.levelIdc / 10, set.levelIdc % 10));
    const VideoFormat format = videoFormat();
    properties.emplace_back("Size", fmt::format("{}x{}", format.width, format.height));
    properties.emplace_back("Chroma", nameOf(format.chroma));
    properties.emplace_back("Bit depth", fmt::format("{}", set.bitDepthLuma));
    properties.emplace_back("Scanning", set.frameMbsOnly ? "progressive" : "frames or fields");
    properties.emplace_back("References", fmt::format("{}", set.maxNumRefFrames));
    return properties;
}

void Decoder::report(const std::string& message)
{
    listener_.damaged(fmt::format("coded picture {}: {}", pictureCount_, message));
}

} // namespace

std::unique_ptr<VideoDecoder> makeDecoder(std::span<const uint8_t> configuration, DamageListener& listener)
{
    return std::make_unique<Decoder>(configuration, listener);
}

} // namespace kelvcpx::app::h264
