#include "dv/decoder.h"

#include "dv/layout.h"
#include "dv/planes.h"
#include "dv/segment_decoder.h"
#include "dv/system.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>

namespace kelvcpx::app::dv {
namespace {

const char* samplingName(Sampling sampling)
{
    switch (sampling) {
    case Sampling::yuv411:
        return "4:1:1";
    case Sampling::yuv420:
        return "4:2:0";
    default:
        return "4:2:2";
    }
}

class Decoder : public VideoDecoder
{
public:
    Decoder(DamageListener& listener, const DecoderSettings& settings)
        : listener_(listener), settings_(settings)
    {}

    void decode(std::span<const uint8_t> packet, const PictureSink& sink) override;
    void flush(const PictureSink&) override {} // every frame is for itself
    std::vector<Property> describe() const override;

private:
    bool readFrameHeader(std::span<const uint8_t> data);
    void decodeFrame(std::span<const uint8_t> frame);
    Rational sampleAspect() const;
    VideoFormat videoFormat() const;
    void report(const std::string& message);

    DamageListener& listener_;
    const DecoderSettings settings_;
    const AcTable table_;
    FrameHeader header_;
    std::unique_ptr<SegmentDecoder> segments_; // for the system of the header
    std::optional<Planes> planes_;
    int64_t frameCount_ = 0;
};

void Decoder::decode(std::span<const uint8_t> packet, const PictureSink& sink)
{
    while (!packet.empty()) {
        frameCount_++;
        if (!readFrameHeader(packet)) {
            report("it has no header of a known system");
            return;
        }
        const std::size_t size = std::min(packet.size(), header_.system->frameBytes());
        decodeFrame(packet.first(size));
        planes_->update(settings_.deinterlaceWeight);
        sink(planes_->view(videoFormat()));
        packet = packet.subspan(size);
    }
}

// A damaged header is made up for by that of the frame before. False if there was none.
bool Decoder::readFrameHeader(std::span<const uint8_t> data)
{
    const FrameHeader header = readHeader(data);
    const System* const before = header_.system;
    const bool isDamaged =
        header.system == nullptr || (before != nullptr && header.system->frameBytes() != data.size() &&
                                     before->frameBytes() == data.size());
    if (isDamaged && before == nullptr)
        return false;
    if (isDamaged) {
        report("its header is damaged");
        return true;
    }
    header_ = header;
    if (header.system != before) {
        segments_ = std::make_unique<SegmentDecoder>(*header.system, table_);
        planes_.emplace(*header.system, settings_.zoom);
    }
    return true;
}

void Decoder::decodeFrame(std::span<const uint8_t> frame)
{
    const System& system = *header_.system;
    const PackedPicture picture = planes_->packed();
    int damaged = 0;
    int count = 0;
    forEachSegment(system, [&](int channel, int sequence, int segment) {
        const std::size_t at =
            static_cast<std::size_t>(channel * system.sequences + sequence) * sequenceBytes +
            segmentOffset(segment);
        const bool sound =
            at + segmentBytes <= frame.size() &&
            segments_->decode(frame.data() + at,
                              placesOf(system, header_.firstChannel + channel, sequence, segment), picture);
        damaged += sound ? 0 : 1;
        count++;
    });
    if (damaged > 0)
        report(fmt::format("{} of {} video segments are damaged", damaged, count));
}

Rational Decoder::sampleAspect() const
{
    return header_.wide ? header_.system->wideSampleAspect : header_.system->sampleAspect;
}

VideoFormat Decoder::videoFormat() const
{
    const System& system = *header_.system;
    VideoFormat format;
    format.width = planes_->width();
    format.height = planes_->height();
    format.chroma = ChromaFormat::yuv422;
    format.frameRate = system.frameRate;
    format.sampleAspect = sampleAspect();
    format.fieldOrder =
        header_.progressive || settings_.zoom > 1 ? FieldOrder::progressive : system.fieldOrder;
    return format;
}

std::vector<Property> Decoder::describe() const
{
    if (header_.system == nullptr)
        return {};
    const System& system = *header_.system;
    const Rational aspect = sampleAspect();
    return {{"Standard", fmt::format("DV, {} ({})", system.name, system.standard)},
            {"Size", fmt::format("{}x{}", system.width, system.height)},
            {"Sample aspect", fmt::format("{}:{}", aspect.numerator, aspect.denominator)},
            {"Chroma", samplingName(system.sampling)},
            {"Scanning", system.fieldOrder == FieldOrder::progressive || header_.progressive ? "progressive"
                                                                                             : "interlaced"}};
}

void Decoder::report(const std::string& message)
{
    listener_.damaged(fmt::format("frame {}: {}", frameCount_, message));
}

} // namespace

std::unique_ptr<VideoDecoder> makeDecoder(DamageListener& listener, const DecoderSettings& settings)
{
    return std::make_unique<Decoder>(listener, settings);
}

} // namespace kelvcpx::app::dv
