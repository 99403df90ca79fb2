// Pictures to encode: uncompressed ones of a Y4M file or another container, or those that a decoder of this
// project makes of a compressed stream.
#pragma once

#include "common/decoder.h"
#include "common/demuxer.h"
#include "common/picture.h"

#include <memory>
#include <string>

namespace kelvcpx::app {

class VideoSource
{
public:
    // "-" is standard input. Damage of the input goes to the listener, which must outlive the source. Throws
    // InputError if the file cannot be read, UnsupportedStream for a kind of video that is not known.
    VideoSource(const std::string& path, DamageListener& listener);

    // Hands the pictures of the next packet to the sink, in display order. False at the end.
    bool read(const PictureSink& sink);

private:
    PictureView rawPicture(const Packet& packet) const;
    void complete(VideoFormat& format) const;

    DamageListener& listener_;
    Demuxer demuxer_;
    std::unique_ptr<VideoDecoder> decoder_; // null if the pictures are uncompressed
};

} // namespace kelvcpx::app
