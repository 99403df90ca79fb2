#include "common/video_source.h"

#include "codecs.h"
#include "common/errors.h"

namespace kelvcpx::app {

VideoSource::VideoSource(const std::string& path, DamageListener& listener)
    : listener_(listener), demuxer_(path)
{
    if (!demuxer_.stream().raw)
        decoder_ = makeDecoder(demuxer_.stream(), listener);
}

bool VideoSource::read(const PictureSink& sink)
{
    const PictureSink completing = [&](PictureView picture) {
        complete(picture.format);
        sink(picture);
    };
    const std::optional<Packet> packet = demuxer_.read();
    if (!packet) {
        if (decoder_ != nullptr)
            decoder_->flush(completing);
        return false;
    }
    if (packet->damaged)
        listener_.damaged("the container lost data");
    if (decoder_ != nullptr)
        decoder_->decode(packet->data, completing);
    else
        completing(rawPicture(*packet));
    return true;
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
PictureView VideoSource::rawPicture(const Packet& packet) const
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
    if (at > packet.data.size())
        throw InputError("reading stopped: a picture is cut off");
    return picture;
}

} // namespace kelvcpx::app
