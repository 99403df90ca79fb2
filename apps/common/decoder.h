// The interface between the command and the codec drivers.
#pragma once

#include "common/picture.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace kelvcpx::app {

// The stream cannot be decoded at all: the message says what it needs that is not there.
class UnsupportedStream : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

// Receives what a driver has to say about damage that it concealed.
class DamageListener
{
public:
    virtual ~DamageListener() = default;
    virtual void damaged(const std::string& message) = 0;
};

// What a decoder may be asked for beside the pictures as they are coded.
struct DecoderSettings {
    // DV.
    int zoom = 1; // 2, 4, 8: pictures of half, a quarter, an eighth of the size
    std::optional<uint32_t> deinterlaceWeight = {}; // of a line, 0..256, against its neighbours

    // H.263 and MPEG-4.
    bool postprocess = false; // filter what is shown

    bool operator==(const DecoderSettings&) const = default;
};

// A line of `kelvcpx info`: what it is about, and what the stream says.
using Property = std::pair<std::string, std::string>;

class VideoDecoder
{
public:
    virtual ~VideoDecoder() = default;

    // Decodes one packet of the container: whole start-code units, in coding order. Hands every picture that
    // is ready to the sink, in display order. Damage is concealed and reported to the listener that the
    // decoder was made with; throws UnsupportedStream for what cannot be decoded.
    virtual void decode(std::span<const uint8_t> packet, const PictureSink& sink) = 0;

    // Hands over what is left at the end of the stream.
    virtual void flush(const PictureSink& sink) = 0;

    // What the headers seen so far say about the stream. A property that the container describes too ("Size",
    // "Sample aspect", "Frame rate", "Profile", "Level", "Bit rate") takes the place of the container's.
    virtual std::vector<Property> describe() const = 0;
};

// What makes the decoder of a driver. The listener must outlive it; settings that the codec does not have are
// without effect.
using MakeDecoder = std::unique_ptr<VideoDecoder> (*)(DamageListener&, const DecoderSettings&);

} // namespace kelvcpx::app
