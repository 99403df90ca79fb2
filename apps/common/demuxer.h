// Takes the video stream out of a container, or cuts an elementary stream into pictures. Nothing is decoded
// here.
#pragma once

#include "common/picture.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace kelvcpx::app {

// What the container says about its video stream. The headers of the stream itself are the decoder's
// business.
struct VideoStream {
    std::string container;
    std::string codec;              // short name as libavcodec has it: "mpeg2video", "h264", "dvvideo", ...
    std::string codecTitle;         // for people
    std::string profile;            // empty if the container does not say
    std::vector<uint8_t> extradata; // headers that the container keeps apart from the packets
    int width = 0;
    int height = 0;
    Rational frameRate{0, 1}; // 0/1 if unknown, like the sample aspect
    Rational sampleAspect{0, 1};
    std::optional<double> duration; // seconds
    std::optional<int64_t> bitRate; // of the whole file, bits a second
    std::optional<VideoFormat> raw; // of uncompressed planar pictures, one a packet
};

struct Packet {
    std::span<const uint8_t> data; // one picture or more, whole start-code units
    bool damaged = false;          // the container lost a part of it
};

class Demuxer
{
public:
    // "-" is standard input. Throws InputError if the file cannot be read or has no video stream.
    explicit Demuxer(const std::string& path);
    ~Demuxer();

    const VideoStream& stream() const { return stream_; }

    // The next packet of the video stream, valid until the next call; nothing at the end. Throws InputError
    // where the file cannot be read any further.
    std::optional<Packet> read();

private:
    struct Context; // keeps libavformat out of this header

    std::unique_ptr<Context> context_;
    VideoStream stream_;
};

} // namespace kelvcpx::app
