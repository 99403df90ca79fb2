#include "mpeg2/decoder.h"

#include "common/start_code.h"
#include "mpeg2/frame.h"
#include "mpeg2/headers.h"
#include "mpeg2/slice_decoder.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace kelvcpx::app::mpeg2 {
namespace {

using FramePointer = std::shared_ptr<Frame>;

constexpr uint8_t grey = 128;

// profile_and_level_indication (13818-2 8, tables 8-2, 8-3 and 8-5 on).
void describeProfile(int indication, std::vector<Property>& properties)
{
    constexpr std::array<const char*, 6> profiles = {nullptr,        "High", "Spatially Scalable",
                                                     "SNR Scalable", "Main", "Simple"};
    constexpr std::array<const char*, 16> levels = {nullptr,     nullptr, nullptr, nullptr, "High", nullptr,
                                                    "High 1440", nullptr, "Main",  nullptr, "Low"};
    const bool is422 = indication == 0x82 || indication == 0x85;
    const auto profileCode = static_cast<std::size_t>(indication >> 4);
    const char* const profile = is422                           ? "4:2:2"
                                : profileCode < profiles.size() ? profiles[profileCode]
                                                                : nullptr;
    const char* const level = is422 ? (indication == 0x82 ? "High" : "Main") : levels[indication & 15];
    if (profile == nullptr || level == nullptr) {
        properties.emplace_back("Profile and level", fmt::format("0x{:02x}", indication));
        return;
    }
    properties.emplace_back("Profile", profile);
    properties.emplace_back("Level", level);
}

FieldOrder fieldOrderOf(const Sequence& sequence, const Picture& picture)
{
    if (sequence.progressive || (picture.structure == PictureStructure::frame && picture.progressiveFrame))
        return FieldOrder::progressive;
    const bool topFirst = picture.structure == PictureStructure::frame
                              ? picture.topFieldFirst
                              : picture.structure == PictureStructure::topField;
    return topFirst ? FieldOrder::topFirst : FieldOrder::bottomFirst;
}

class Decoder : public VideoDecoder
{
public:
    explicit Decoder(DamageListener& listener) : listener_(listener) {}

    void decode(std::span<const uint8_t> packet, const PictureSink& sink) override;
    void flush(const PictureSink& sink) override;
    std::vector<Property> describe() const override;

private:
    void decodeUnit(uint8_t startCode, BitReader& reader, const PictureSink& sink);
    void decodeSlice(uint8_t startCode, BitReader& reader, const PictureSink& sink);

    bool startPicture(const PictureSink& sink);
    bool continuesFrame() const;
    bool hasReferences();
    std::array<References, 2> references() const;
    void finishPicture(const PictureSink& sink);
    void finishFrame(const PictureSink& sink);
    void concealMissingMacroblocks();
    void showNewer(const PictureSink& sink);
    FramePointer newFrame();
    VideoFormat videoFormat() const;

    void report(const std::string& message);

    DamageListener& listener_;
    WordStream words_;

    // Headers as they were read last.
    Sequence sequence_;
    Group group_;
    Picture picture_;
    int64_t pictureCount_ = 0; // in coding order

    enum class Stage { noPicture, headerRead, decoding, skipping };
    Stage stage_ = Stage::noPicture;
    std::optional<PictureContext> context_; // of the picture that is being decoded

    FramePointer older_; // the two reference frames, in coding order
    FramePointer newer_;
    bool newerIsShown_ = false;           // low delay: handed over as soon as it was complete
    FramePointer current_;                // the frame that is being decoded
    PictureType frameType_{};             // of its first picture
    std::optional<int> firstFieldParity_; // of current_, if its second field is to come or being decoded
    FieldOrder fieldOrder_ = FieldOrder::progressive; // of the stream, by its first picture
    std::vector<FramePointer> pool_;
};

void Decoder::decode(std::span<const uint8_t> packet, const PictureSink& sink)
{
    words_.assign(packet);
    forEachUnit(packet, [&](std::size_t first, std::size_t end) {
        BitReader reader(words_, first + 1, end);
        decodeTolerantly([&] { decodeUnit(packet[first], reader, sink); }, [&] { return newer_ != nullptr; },
                         [&](const char* damage) { report(damage); });
    });
}

void Decoder::decodeUnit(uint8_t startCode, BitReader& reader, const PictureSink& sink)
{
    if (startCode >= firstSliceStart && startCode <= lastSliceStart) {
        decodeSlice(startCode, reader, sink);
        return;
    }
    if (startCode == extensionStart) {
        readExtension(reader, sequence_, picture_);
        return;
    }
    if (startCode == userDataStart)
        return;

    finishPicture(sink);
    switch (startCode) {
    case pictureStart:
        pictureCount_++;
        stage_ = Stage::skipping; // unless its header is sound
        readPictureHeader(reader, picture_);
        stage_ = Stage::headerRead;
        break;
    case sequenceHeaderStart:
        readSequenceHeader(reader, sequence_);
        break;
    case groupStart:
        readGroupHeader(reader, group_);
        break;
    case sequenceEnd:
        flush(sink);
        break;
    default:
        break;
    }
}

void Decoder::decodeSlice(uint8_t startCode, BitReader& reader, const PictureSink& sink)
{
    if (stage_ == Stage::headerRead) {
        stage_ = Stage::skipping;
        if (startPicture(sink))
            stage_ = Stage::decoding;
    }
    if (stage_ == Stage::decoding)
        SliceDecoder(*context_).decode(reader, startCode);
}

// Prepares for the first slice of a picture. False if the picture cannot be decoded and is passed over.
bool Decoder::startPicture(const PictureSink& sink)
{
    if (sequence_.width == 0)
        throw DamagedUnit("a picture without a sequence header");
    if (sequence_.mpeg2 && !picture_.extended)
        throw DamagedUnit("a picture without its coding extension");
    const bool secondField = continuesFrame();
    if (!secondField) {
        if (current_ != nullptr) {
            report("a field without the other one");
            finishFrame(sink);
        }
        if (newer_ != nullptr && !newer_->fits(sequence_))
            flush(sink);
        if (!hasReferences())
            return false;
        if (newer_ == nullptr)
            fieldOrder_ = fieldOrderOf(sequence_, picture_);
        current_ = newFrame();
        frameType_ = picture_.type;
    }

    const bool isFrame = picture_.structure == PictureStructure::frame;
    const int parity = picture_.structure == PictureStructure::bottomField ? 1 : 0;
    const int wide = sequence_.macroblocksWide();
    const int high = sequence_.macroblocksHigh() / (isFrame ? 1 : 2);
    context_.emplace(PictureContext{
        sequence_, picture_, isFrame ? current_->surface() : current_->surface().field(parity), references(),
        wide, high, std::vector<bool>(static_cast<std::size_t>(wide) * static_cast<std::size_t>(high))});
    if (!isFrame && !secondField) // not before references(): a first field does not refer to itself
        firstFieldParity_ = parity;
    return true;
}

// True if the picture is the second field of the current frame.
bool Decoder::continuesFrame() const
{
    if (current_ == nullptr || !current_->fits(sequence_) || picture_.structure == PictureStructure::frame)
        return false;
    const int parity = picture_.structure == PictureStructure::bottomField ? 1 : 0;
    const bool bothB =
        frameType_ == PictureType::bidirectional && picture_.type == PictureType::bidirectional;
    const bool neitherB =
        frameType_ != PictureType::bidirectional && picture_.type != PictureType::bidirectional;
    return parity != *firstFieldParity_ && (bothB || neitherB);
}

// Makes up for reference frames that are missing, where the picture is worth showing without them.
bool Decoder::hasReferences()
{
    if (picture_.type == PictureType::intra)
        return true;
    if (newer_ == nullptr) {
        report("the stream does not start with an intra picture");
        if (picture_.type == PictureType::bidirectional)
            return false;
        newer_ = newFrame();
        newerIsShown_ = true;
    }
    // B pictures at the start of an open group refer to pictures before the stream: nobody misses them.
    return picture_.type == PictureType::predicted || older_ != nullptr || group_.closed;
}

std::array<References, 2> Decoder::references() const
{
    const auto whole = [](const Frame& frame) {
        return References{frame.surface(), {frame.surface().field(0), frame.surface().field(1)}};
    };
    const Frame& newest = newer_ != nullptr ? *newer_ : *current_;
    if (picture_.type == PictureType::bidirectional)
        return {whole(older_ != nullptr ? *older_ : newest), whole(newest)};
    References forward = whole(newest);
    // The second field of a reference frame may refer to the first (13818-2 7.6.2.1).
    if (firstFieldParity_)
        forward.fields[static_cast<std::size_t>(*firstFieldParity_)] =
            current_->surface().field(*firstFieldParity_);
    return {forward, forward};
}

void Decoder::finishPicture(const PictureSink& sink)
{
    const bool decoded = stage_ == Stage::decoding;
    stage_ = Stage::noPicture;
    if (!decoded)
        return;
    concealMissingMacroblocks();
    const PictureContext context = std::move(*context_);
    context_.reset();
    if (context.picture.structure == PictureStructure::frame || context.parity() != *firstFieldParity_)
        finishFrame(sink);
}

void Decoder::finishFrame(const PictureSink& sink)
{
    firstFieldParity_.reset();
    const FramePointer frame = std::exchange(current_, nullptr);
    if (frameType_ == PictureType::bidirectional) {
        sink(frame->view());
        return;
    }
    showNewer(sink);
    older_ = std::exchange(newer_, frame);
    newerIsShown_ = false;
    if (sequence_.lowDelay)
        showNewer(sink);
}

void Decoder::showNewer(const PictureSink& sink)
{
    if (newer_ != nullptr && !newerIsShown_)
        sink(newer_->view());
    newerIsShown_ = true;
}

void Decoder::flush(const PictureSink& sink)
{
    finishPicture(sink);
    if (current_ != nullptr) {
        report("a field without the other one");
        finishFrame(sink);
    }
    showNewer(sink);
    older_ = nullptr;
    newer_ = nullptr;
}

// Replaces the macroblocks that no slice brought by those at their place in the forward reference.
void Decoder::concealMissingMacroblocks()
{
    const PictureContext& context = *context_;
    const auto missing = std::count(context.decoded.begin(), context.decoded.end(), false);
    if (missing == 0)
        return;
    report(
        fmt::format("{} of {} macroblocks are missing and were concealed", missing, context.decoded.size()));
    const References& forward = context.references[0];
    const bool isFrame = context.picture.structure == PictureStructure::frame;
    const Surface& source =
        isFrame ? forward.frame : forward.fields[static_cast<std::size_t>(context.parity())];
    if (source.planes[0].samples == context.target.planes[0].samples)
        return; // there is no other picture: this one was grey to begin with
    SourceList sources;
    sources.add(source, {});
    const Residual unused{};
    for (std::size_t address = 0; address < context.decoded.size(); address++) {
        const int x = 16 * (static_cast<int>(address) % context.macroblocksWide);
        const int y = 16 * (static_cast<int>(address) / context.macroblocksWide);
        if (!context.decoded[address])
            predict(context.target, context.sequence.chroma, {x, y, 16}, sources,
                    ResidualView(unused, false));
    }
}

// A frame for the current picture. Its samples are those of an old one, or grey if there is none to refer to.
FramePointer Decoder::newFrame()
{
    std::erase_if(pool_, [&](const FramePointer& frame) { return !frame->fits(sequence_); });
    auto unused =
        std::find_if(pool_.begin(), pool_.end(), [](const FramePointer& f) { return f.use_count() == 1; });
    if (unused == pool_.end())
        unused = pool_.insert(pool_.end(), std::make_shared<Frame>(sequence_));
    (*unused)->setFormat(videoFormat());
    if (newer_ == nullptr)
        (*unused)->fill(grey);
    return *unused;
}

VideoFormat Decoder::videoFormat() const
{
    VideoFormat format;
    format.width = sequence_.width;
    format.height = sequence_.height;
    format.chroma = sequence_.chroma;
    format.frameRate = sequence_.frameRate;
    format.sampleAspect = sequence_.sampleAspect();
    format.fieldOrder = fieldOrder_;
    format.chromaSiting = sequence_.mpeg2 ? ChromaSiting::left : ChromaSiting::centre;
    return format;
}

std::vector<Property> Decoder::describe() const
{
    if (sequence_.width == 0)
        return {};
    std::vector<Property> properties;
    properties.emplace_back("Standard",
                            sequence_.mpeg2 ? "MPEG-2 (ISO/IEC 13818-2)" : "MPEG-1 (ISO/IEC 11172-2)");
    if (sequence_.mpeg2)
        describeProfile(sequence_.profileAndLevel, properties);
    properties.emplace_back("Size", fmt::format("{}x{}", sequence_.width, sequence_.height));
    properties.emplace_back("Chroma", nameOf(sequence_.chroma));
    properties.emplace_back("Scanning", sequence_.progressive ? "progressive" : "interlaced");
    if (sequence_.mpeg2 || !sequence_.variableBitRate)
        properties.emplace_back("Bit rate limit", fmt::format("{} kbit/s", sequence_.bitRate / 1000));
    if (sequence_.lowDelay)
        properties.emplace_back("Low delay", "yes");
    return properties;
}

void Decoder::report(const std::string& message)
{
    listener_.damaged(fmt::format("coded picture {}: {}", pictureCount_, message));
}

} // namespace

std::unique_ptr<VideoDecoder> makeDecoder(DamageListener& listener, const DecoderSettings&)
{
    return std::make_unique<Decoder>(listener);
}

} // namespace kelvcpx::app::mpeg2
