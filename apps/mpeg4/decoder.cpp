#include "mpeg4/decoder.h"

#include "common/postfilter.h"
#include "common/start_code.h"
#include "h263/decoder.h"
#include "mpeg4/headers.h"
#include "mpeg4/records.h"
#include "mpeg4/vop_decoder.h"

#include <kelvcpx/core.h>

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <optional>
#include <utility>

namespace kelvcpx::app::mpeg4 {
namespace {

using FramePointer = std::shared_ptr<Frame>;

constexpr uint8_t grey = 128;

// profile_and_level_indication (table G.1).
void describeProfile(int indication, std::vector<Property>& properties)
{
    using ProfileAndLevel = std::pair<const char*, const char*>;
    static const std::map<int, ProfileAndLevel> known = {
        {0x01, {"Simple", "1"}},          {0x02, {"Simple", "2"}},          {0x03, {"Simple", "3"}},
        {0x04, {"Simple", "4a"}},         {0x05, {"Simple", "5"}},          {0x06, {"Simple", "6"}},
        {0x08, {"Simple", "0"}},          {0x09, {"Simple", "0b"}},         {0xF0, {"Advanced Simple", "0"}},
        {0xF1, {"Advanced Simple", "1"}}, {0xF2, {"Advanced Simple", "2"}}, {0xF3, {"Advanced Simple", "3"}},
        {0xF4, {"Advanced Simple", "4"}}, {0xF5, {"Advanced Simple", "5"}}, {0xF7, {"Advanced Simple", "3b"}},
    };
    const auto found = known.find(indication);
    if (found == known.end()) {
        properties.emplace_back("Profile and level", fmt::format("0x{:02x}", indication));
        return;
    }
    properties.emplace_back("Profile", found->second.first);
    properties.emplace_back("Level", found->second.second);
}

// Nearest whole number; the divisor is positive.
int64_t divideRounded(int64_t numerator, int64_t divisor)
{
    return (numerator + (numerator < 0 ? -divisor : divisor) / 2) / divisor;
}

// short_video_start_marker (6.2.5.3): the stream is one of H.263.
bool startsWithShortHeader(std::span<const uint8_t> packet)
{
    return packet.size() > 2 && packet[0] == 0 && packet[1] == 0 && (packet[2] & 0xFC) == 0x80;
}

class Decoder : public VideoDecoder
{
public:
    Decoder(DamageListener& listener, const DecoderSettings& settings)
        : listener_(listener), settings_(settings)
    {}

    void decode(std::span<const uint8_t> packet, const PictureSink& sink) override;
    void flush(const PictureSink& sink) override;
    std::vector<Property> describe() const override;

private:
    void decodeUnit(uint8_t startCode, CodeReader& reader, const PictureSink& sink);
    void activate(const VideoObjectLayer& layer, const PictureSink& sink);
    void decodeVop(CodeReader& reader, const PictureSink& sink);
    int64_t timeOf(const Vop& vop);
    bool hasReferences(const Vop& vop);
    void setDistances(VopContext& context);
    void repeatReference(const Vop& vop, int64_t time, const PictureSink& sink);
    void finish(const FramePointer& frame, const PictureSink& sink);
    void showNewer(const PictureSink& sink);
    void show(const Frame& frame, const PictureSink& sink);
    FramePointer newFrame();
    VideoFormat videoFormat() const;
    void report(const std::string& message);

    DamageListener& listener_;
    const DecoderSettings settings_;
    std::unique_ptr<VideoDecoder> shortHeader_; // of a stream with short headers
    PaddedBytes bytes_;

    // Headers as they were read last.
    std::optional<int> profileAndLevel_;
    VisualObject object_;
    std::optional<VideoObjectLayer> layer_;
    std::optional<Quantisers> quantisers_; // of the layer

    int64_t vopCount_ = 0; // in coding order
    int64_t seconds_ = 0;  // the time base of the newest reference, and of the one before
    int64_t olderSeconds_ = 0;
    int64_t framePeriod_ = 0; // in ticks, of interlaced B-VOPs; 0 until it is known

    FramePointer older_; // the two reference frames, in coding order
    FramePointer newer_;
    bool newerIsShown_ = false;
    bool reorders_ = true;                            // there may be B-VOPs: references are shown late
    FieldOrder fieldOrder_ = FieldOrder::progressive; // of the stream, by its first VOP
    std::vector<FramePointer> pool_;
    PostFilter postFilter_;
};

void Decoder::decode(std::span<const uint8_t> packet, const PictureSink& sink)
{
    if (shortHeader_ == nullptr && !layer_ && startsWithShortHeader(packet))
        shortHeader_ = h263::makeDecoder(listener_, settings_);
    if (shortHeader_ != nullptr) {
        shortHeader_->decode(packet, sink);
        return;
    }
    bytes_.assign(packet);
    forEachUnit(packet, [&](std::size_t first, std::size_t end) {
        CodeReader reader(bytes_, 8 * (first + 1), 8 * end);
        decodeTolerantly([&] { decodeUnit(packet[first], reader, sink); }, [&] { return newer_ != nullptr; },
                         [&](const char* damage) { report(damage); });
    });
}

void Decoder::decodeUnit(uint8_t startCode, CodeReader& reader, const PictureSink& sink)
{
    if (startCode >= firstVideoObjectLayerStart && startCode <= lastVideoObjectLayerStart) {
        activate(readVideoObjectLayer(reader, object_), sink);
        return;
    }
    switch (startCode) {
    case visualObjectSequenceStart:
        profileAndLevel_ = reader.readInt(8);
        break;
    case visualObjectSequenceEnd:
        flush(sink);
        break;
    case visualObjectStart:
        object_ = readVisualObject(reader);
        break;
    case groupOfVopStart:
        seconds_ = readGroupTime(reader);
        break;
    case vopStart:
        decodeVop(reader, sink);
        break;
    default:
        break;
    }
}

void Decoder::activate(const VideoObjectLayer& layer, const PictureSink& sink)
{
    if (layer_ && *layer_ == layer)
        return;
    if (layer_ && (layer_->width != layer.width || layer_->height != layer.height))
        flush(sink);
    layer_ = layer;
    quantisers_.emplace(layer);
    reorders_ = !layer.lowDelay.value_or(layer.isSimple);
    framePeriod_ = layer.fixedTimeIncrement;
}

void Decoder::decodeVop(CodeReader& reader, const PictureSink& sink)
{
    vopCount_++;
    if (!layer_)
        throw DamagedUnit("a VOP without a video object layer");
    const Vop vop = readVop(reader, *layer_);
    const int64_t time = timeOf(vop);
    if (!vop.coded) {
        repeatReference(vop, time, sink);
        return;
    }
    if (!hasReferences(vop))
        return;
    if (newer_ == nullptr && layer_->interlaced)
        fieldOrder_ = vop.topFieldFirst ? FieldOrder::topFirst : FieldOrder::bottomFirst;

    const FramePointer frame = newFrame();
    frame->type = vop.type;
    frame->time = time;
    VopContext context;
    context.layer = *layer_;
    context.vop = vop;
    context.target = frame.get();
    context.past = (vop.type == VopType::bidirectional ? older_ : newer_).get();
    context.future = newer_.get();
    context.intraQuantiser = quantisers_->intra();
    context.interQuantiser = quantisers_->inter();
    if (vop.type == VopType::bidirectional)
        setDistances(context);
    std::optional<Warping> warping;
    if (vop.type == VopType::sprite)
        context.warp = warping.emplace(*layer_, vop).spec();
    VopDecoder(context, bytes_, [this](const std::string& message) { report(message); }).decode(reader);
    finish(frame, sink);
}

// In ticks. The time base of B-VOPs is that of the reference before them (6.3.5).
int64_t Decoder::timeOf(const Vop& vop)
{
    int64_t base = olderSeconds_ + vop.seconds;
    if (vop.type != VopType::bidirectional) {
        olderSeconds_ = seconds_;
        seconds_ += vop.seconds;
        base = seconds_;
    }
    return base * layer_->timeIncrementResolution + vop.increment;
}

// Makes up for reference frames that are missing, where the VOP is worth showing without them.
bool Decoder::hasReferences(const Vop& vop)
{
    if (vop.type == VopType::intra)
        return true;
    // B-VOPs in front of the first reference but one refer to VOPs before the stream: nobody misses them.
    if (vop.type == VopType::bidirectional)
        return older_ != nullptr && newer_ != nullptr;
    if (newer_ == nullptr) {
        report("the stream does not start with an intra VOP");
        newer_ = newFrame();
        newerIsShown_ = true;
    }
    return true;
}

// 7.6.9.5.2. Of fields the times are in field periods, and the first field of a frame comes half a frame
// earlier than the second.
void Decoder::setDistances(VopContext& context)
{
    const int64_t past = older_->time;
    const int64_t future = newer_->time;
    const int64_t current = context.target->time;
    if (current <= past || current >= future)
        throw DamagedUnit("a B-VOP does not lie between its references");
    context.frames = {future - past, current - past};
    if (framePeriod_ == 0)
        framePeriod_ = current - past;
    const auto frames = [&](int64_t time) { return divideRounded(time, framePeriod_); };
    for (int field = 0; field < 2; field++)
        for (int reference = 0; reference < 2; reference++) {
            const int64_t later = context.vop.topFieldFirst ? field - reference : reference - field;
            context.fields[static_cast<std::size_t>(field)][static_cast<std::size_t>(reference)] = {
                std::max<int64_t>(1, 2 * (frames(future) - frames(past)) + later),
                2 * (frames(current) - frames(past)) + later};
        }
}

// A VOP that is not coded looks like its reference. In files that pack a B-VOP into the packet of the
// reference behind it, one fills the packet that is left over: it is not to be shown.
void Decoder::repeatReference(const Vop& vop, int64_t time, const PictureSink& sink)
{
    if (newer_ == nullptr || time <= newer_->time || vop.type == VopType::bidirectional)
        return;
    const FramePointer frame = newFrame();
    for (std::size_t i = 0; i < 3; i++) {
        const PaddedFrame::Plane& from = newer_->picture.plane(i);
        const PaddedFrame::Plane& to = frame->picture.plane(i);
        keliCopy_8u_C1R(from.samples, from.step, to.samples, to.step, {from.width, from.height});
    }
    std::fill(frame->motion.begin(), frame->motion.end(), MacroblockMotion{});
    frame->quants = newer_->quants;
    frame->type = VopType::predicted;
    frame->time = time;
    finish(frame, sink);
}

void Decoder::finish(const FramePointer& frame, const PictureSink& sink)
{
    if (frame->type == VopType::bidirectional) {
        reorders_ = true;
        show(*frame, sink);
        return;
    }
    frame->picture.expand();
    showNewer(sink);
    older_ = std::exchange(newer_, frame);
    newerIsShown_ = false;
    if (!reorders_)
        showNewer(sink);
}

void Decoder::showNewer(const PictureSink& sink)
{
    if (newer_ != nullptr && !newerIsShown_)
        show(*newer_, sink);
    newerIsShown_ = true;
}

void Decoder::show(const Frame& frame, const PictureSink& sink)
{
    sink(settings_.postprocess ? postFilter_.apply(frame.picture, frame.quants) : frame.picture.view());
}

void Decoder::flush(const PictureSink& sink)
{
    if (shortHeader_ != nullptr)
        shortHeader_->flush(sink);
    showNewer(sink);
    older_ = nullptr;
    newer_ = nullptr;
}

// Its samples are those of an old one, or grey if there is none to refer to.
FramePointer Decoder::newFrame()
{
    const VideoFormat format = videoFormat();
    std::erase_if(pool_, [&](const FramePointer& frame) {
        const VideoFormat& other = frame->picture.format();
        return other.width != format.width || other.height != format.height ||
               other.fieldOrder != format.fieldOrder;
    });
    auto unused =
        std::find_if(pool_.begin(), pool_.end(), [](const FramePointer& f) { return f.use_count() == 1; });
    if (unused == pool_.end())
        unused = pool_.insert(pool_.end(), std::make_shared<Frame>(
                                               format, static_cast<std::size_t>(layer_->macroblockCount())));
    if (newer_ == nullptr)
        (*unused)->picture.fill(grey);
    return *unused;
}

VideoFormat Decoder::videoFormat() const
{
    VideoFormat format;
    format.width = layer_->width;
    format.height = layer_->height;
    format.frameRate = layer_->frameRate();
    format.sampleAspect = layer_->sampleAspect;
    format.fieldOrder = fieldOrder_;
    format.matrix = object_.matrix;
    return format;
}

std::vector<Property> Decoder::describe() const
{
    if (shortHeader_ != nullptr)
        return shortHeader_->describe();
    if (!layer_)
        return {};
    std::vector<Property> properties;
    properties.emplace_back("Standard", "MPEG-4 Part 2 (ISO/IEC 14496-2)");
    if (profileAndLevel_)
        describeProfile(*profileAndLevel_, properties);
    properties.emplace_back("Size", fmt::format("{}x{}", layer_->width, layer_->height));
    properties.emplace_back("Scanning", layer_->interlaced ? "interlaced" : "progressive");
    properties.emplace_back("Vectors", layer_->quarterSample ? "quarter samples" : "half samples");
    properties.emplace_back("Quantisation", layer_->weightedQuantisation ? "weighted" : "flat");
    if (layer_->globalMotion)
        properties.emplace_back("Global motion", fmt::format("{} warping points", layer_->warpingPoints));
    if (layer_->hasResyncMarkers)
        properties.emplace_back("Resync markers", "allowed");
    if (layer_->dataPartitioned)
        properties.emplace_back("Data partitions", layer_->reversibleCodes ? "with reversible codes" : "yes");
    if (layer_->lowDelay)
        properties.emplace_back("Low delay", *layer_->lowDelay ? "yes" : "no");
    return properties;
}

void Decoder::report(const std::string& message)
{
    listener_.damaged(fmt::format("VOP {}: {}", vopCount_, message));
}

} // namespace

std::unique_ptr<VideoDecoder> makeDecoder(DamageListener& listener, const DecoderSettings& settings)
{
    return std::make_unique<Decoder>(listener, settings);
}

} // namespace kelvcpx::app::mpeg4
