#include "h263/decoder.h"

#include "common/postfilter.h"
#include "h263/deblocking.h"
#include "h263/picture_decoder.h"
#include "h263/picture_header.h"
#include "h263/reconstruction.h"

#include <fmt/format.h>

#include <string>
#include <utility>
#include <vector>

namespace kelvcpx::app::h263 {
namespace {

constexpr uint8_t grey = 128;
constexpr int32_t pictureStartLength = 22;

class Decoder : public VideoDecoder
{
public:
    Decoder(DamageListener& listener, const DecoderSettings& settings)
        : listener_(listener), settings_(settings)
    {}

    void decode(std::span<const uint8_t> packet, const PictureSink& sink) override;
    void flush(const PictureSink&) override {}
    std::vector<Property> describe() const override;

private:
    void decodePicture(std::size_t first, std::size_t end, const PictureSink& sink);
    void show(const PaddedFrame& frame, const PictureSink& sink);
    void prepareFrames();
    int interval() const;
    VideoFormat videoFormat() const;
    void report(const std::string& message);

    DamageListener& listener_;
    const DecoderSettings settings_;
    PaddedBytes bytes_;
    PictureContext context_;
    int previousReference_ = 0; // temporal reference of reference_
    int64_t pictureCount_ = 0;
    std::unique_ptr<PaddedFrame> reference_; // the picture before; null if there is none
    std::unique_ptr<PaddedFrame> target_;
    std::unique_ptr<PaddedFrame> bTarget_;
    PostFilter postFilter_;
};

// Position of the next picture start code, a byte position in bits (5.1.1), or the end.
std::size_t findPicture(const PaddedBytes& bytes, std::size_t from)
{
    for (std::size_t i = from / 8; i + 3 < bytes.size(); i++) {
        const uint8_t* const at = bytes.data() + i;
        if (at[0] == 0 && at[1] == 0 && (at[2] & 0xFC) == 0x80)
            return 8 * i;
    }
    return 8 * bytes.size();
}

void Decoder::decode(std::span<const uint8_t> packet, const PictureSink& sink)
{
    bytes_.assign(packet);
    const std::size_t end = 8 * bytes_.size();
    std::size_t at = findPicture(bytes_, 0);
    if (at == end && !packet.empty())
        report("there is no picture in a packet");
    while (at < end) {
        const std::size_t next = findPicture(bytes_, at + 8);
        pictureCount_++;
        decodeTolerantly([&] { decodePicture(at, next, sink); }, [&] { return reference_ != nullptr; },
                         [&](const char* damage) { report(damage); });
        at = next;
    }
}

void Decoder::decodePicture(std::size_t first, std::size_t end, const PictureSink& sink)
{
    CodeReader reader(bytes_, first, end);
    reader.skip(pictureStartLength);
    readPictureHeader(reader, context_.header);
    const PictureHeader& header = context_.header;
    prepareFrames();
    context_.macroblocks.assign(
        static_cast<std::size_t>(context_.wide()) * static_cast<std::size_t>(context_.high()), Macroblock{});
    context_.blocks.clear();

    Reconstruction reconstruction(context_, *reference_, *target_, header.pbFrames ? bTarget_.get() : nullptr,
                                  header.bPictureTime, interval());
    const PictureDecoder::Report toListener = [this](const std::string& message) { report(message); };
    PictureDecoder(context_, reconstruction, bytes_, toListener).decode(reader);
    if (header.deblocking)
        deblock(context_, *target_);
    target_->expand();
    if (header.pbFrames)
        show(*bTarget_, sink);
    show(*target_, sink);
    std::swap(reference_, target_);
    previousReference_ = header.temporalReference;
}

// Both pictures of a PB-frame count as having the quantisers of the P-macroblocks.
void Decoder::show(const PaddedFrame& frame, const PictureSink& sink)
{
    if (!settings_.postprocess) {
        sink(frame.view());
        return;
    }
    std::vector<uint8_t> quants;
    for (const Macroblock& macroblock : context_.macroblocks)
        quants.push_back(static_cast<uint8_t>(macroblock.quant));
    sink(postFilter_.apply(frame, quants));
}

// The frames have the format of the picture; a reference of another format is none.
void Decoder::prepareFrames()
{
    const VideoFormat format = videoFormat();
    const auto fits = [&](const std::unique_ptr<PaddedFrame>& frame) {
        return frame != nullptr && frame->format().width == format.width &&
               frame->format().height == format.height;
    };
    if (!fits(target_))
        target_ = std::make_unique<PaddedFrame>(format);
    if (context_.header.pbFrames && !fits(bTarget_))
        bTarget_ = std::make_unique<PaddedFrame>(format);
    if (fits(reference_))
        return;
    if (context_.header.type == PictureType::predicted)
        report("a picture refers to one that is missing");
    reference_ = std::make_unique<PaddedFrame>(format);
    reference_->fill(grey);
}

// TRD (G.4), with a reserve for damaged streams.
int Decoder::interval() const
{
    const int period = context_.header.customClock ? 1024 : 256;
    const int interval = (context_.header.temporalReference - previousReference_ + period) % period;
    return interval > 0 ? interval : period;
}

VideoFormat Decoder::videoFormat() const
{
    VideoFormat format;
    format.width = context_.header.width;
    format.height = context_.header.height;
    format.sampleAspect = context_.header.sampleAspect;
    format.chromaSiting = ChromaSiting::centre;
    return format;
}

std::vector<Property> Decoder::describe() const
{
    const PictureHeader& header = context_.header;
    if (header.width == 0)
        return {};
    std::vector<Property> properties;
    properties.emplace_back("Standard", "H.263 (ITU-T H.263)");
    properties.emplace_back("Size", fmt::format("{}x{}", header.width, header.height));
    std::string modes;
    const auto list = [&](bool used, const char* name) {
        if (used)
            modes += modes.empty() ? name : std::string(", ") + name;
    };
    list(header.unrestrictedVectors, "unrestricted motion vectors");
    list(header.advancedPrediction, "advanced prediction");
    list(header.pbFrames, "PB-frames");
    list(header.advancedIntra, "advanced intra coding");
    list(header.deblocking, "deblocking filter");
    list(header.sliceStructured, "slices");
    list(header.modifiedQuantisation, "modified quantisation");
    if (!modes.empty())
        properties.emplace_back("Modes", modes);
    return properties;
}

void Decoder::report(const std::string& message)
{
    listener_.damaged(fmt::format("coded picture {}: {}", pictureCount_, message));
}

} // namespace

std::unique_ptr<VideoDecoder> makeDecoder(DamageListener& listener, const DecoderSettings& settings)
{
    return std::make_unique<Decoder>(listener, settings);
}

} // namespace kelvcpx::app::h263
