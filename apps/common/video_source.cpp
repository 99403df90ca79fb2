#include "common/video_source.h"

#include "codecs.h"
#include "common/errors.h"

#include <fmt/format.h>

namespace kelvcpx::app {

VideoSource::VideoSource(const std::string& path, DamageListener& listener, const DecoderSettings& settings)
    : listener_(listener), demuxer_(path)
{
    if (!demuxer_.stream().raw)
        decoder_ = makeDecoder(demuxer_.stream(), listener, settings);
    else if (settings != DecoderSettings{})
        throw UsageError(
            "uncompressed pictures are taken as they are: no option changes how they are decoded");
}

bool VideoSource::read(const PictureSink& sink)
{
    const PictureSink completing = [&](PictureView picture) {
        complete(picture.format);
        pictures_++;
        sink(picture);
    };
    const std::optional<Packet> packet = nextPacket();
    if (!packet) {
        if (decoder_ != nullptr)
            decoder_->flush(completing);
        return false;
    }
    if (packet->damaged)
        listener_.damaged(fmt::format("the container lost data near picture {}", pictures_));
    if (decoder_ != nullptr)
        decoder_->decode(packet->data, completing);
    else
        handOverRaw(*packet, completing);
    return true;
}

// A file that breaks off is damaged, but what came before is still worth having.
std::optional<Packet> VideoSource::nextPacket()
{
    try {
        return demuxer_.read();
    } catch (const InputError& error) {
        listener_.damaged(error.what());
        return std::nullopt;
    }
}

// What the stream leaves open, the container may know.
void VideoSource::complete(VideoFormat& format) const
{
    if (format.frameRate.numerator == 0)
        format.frameRate = demuxer_.stream().frameRate;
    if (format.sampleAspect.numerator == 0)
        format.sampleAspect = demuxer_.stream().sampleAspect;
}

// The planes follow one another, their rows too.
void VideoSource::handOverRaw(const Packet& packet, const PictureSink& sink)
{
    PictureView picture{*demuxer_.stream().raw, {}};
    const VideoFormat& format = picture.format;
    std::size_t at = 0;
    for (int p = 0; p < format.planeCount(); p++) {
        const int shiftX = p == 0 ? 0 : chromaShiftX(format.chroma);
        const int shiftY = p == 0 ? 0 : chromaShiftY(format.chroma);
        PlaneView& plane = picture.planes[static_cast<std::size_t>(p)];
        plane.width = (format.width + (1 << shiftX) - 1) >> shiftX;
        plane.height = (format.height + (1 << shiftY) - 1) >> shiftY;
        plane.step = std::ptrdiff_t{plane.width} * format.bytesPerSample();
        plane.samples = packet.data.data() + at;
        at += static_cast<std::size_t>(plane.step) * static_cast<std::size_t>(plane.height);
    }
    if (at <= packet.data.size())
        sink(picture);
    else
        listener_.damaged(fmt::format("the picture behind picture {} is cut off", pictures_));
}

} // namespace kelvcpx::app
