// The pictures of a video: uncompressed ones of a Y4M file or another container, or those that a decoder of
// this project makes of a compressed stream.
#pragma once

#include "common/decoder.h"
#include "common/demuxer.h"
#include "common/picture.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace kelvcpx::app {

class VideoSource
{
public:
    // "-" is standard input. Damage of the input goes to the listener, which must outlive the source. Throws
    // InputError if the file cannot be read, UnsupportedStream for a kind of video that is not known,
    // UsageError for settings that its decoder does not have.
    VideoSource(const std::string& path, DamageListener& listener, const DecoderSettings& settings = {});

    // Hands the pictures of the next packet to the sink, in display order. False at the end, which may be
    // where the file breaks off.
    bool read(const PictureSink& sink);

private:
    std::optional<Packet> nextPacket();
    void handOverRaw(const Packet& packet, const PictureSink& sink);
    void complete(VideoFormat& format) const;

    DamageListener& listener_;
    Demuxer demuxer_;
    std::unique_ptr<VideoDecoder> decoder_; // null if the pictures are uncompressed
    int64_t pictures_ = 0;                  // handed over
};

} // namespace kelvcpx::app
