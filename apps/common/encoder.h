// The interface between the command and the encoders.
#pragma once

#include "common/picture.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>

namespace kelvcpx::app {

// What the person at the command line asked for; what is left open, each encoder decides.
struct EncoderSettings {
    std::optional<int> qp{};          // constant quantiser, in the units of the standard
    std::optional<int64_t> bitRate{}; // bits a second; excludes qp
    std::optional<int> groupSize{};   // pictures from one intra picture to the next
    std::optional<int> bFrames{};     // B pictures in a row
    bool high = false;                // with the tools of the standard's High profile
};

// Where an encoder puts its results.
struct EncoderOutput {
    std::function<void(std::span<const uint8_t>)> bytes; // of the elementary stream, piece by piece
    PictureSink reconstruction; // what a decoder will show, in display order; may be empty
};

class VideoEncoder
{
public:
    virtual ~VideoEncoder() = default;

    // Takes the next picture, in display order. All pictures have the format that the encoder was made for.
    virtual void encode(const PictureView& picture, const EncoderOutput& output) = 0;

    // Ends the stream: what is left of it follows.
    virtual void flush(const EncoderOutput& output) = 0;
};

// What makes the encoder of a codec, for pictures of 4:2:0 with 8 bits and settings that the codec has.
// Throws UnsupportedStream for sizes and rates that the standard does not provide for.
using MakeEncoder = std::unique_ptr<VideoEncoder> (*)(const VideoFormat&, const EncoderSettings&);

} // namespace kelvcpx::app
