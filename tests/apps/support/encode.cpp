#include "apps/support/encode.h"

#include "codecs.h"

namespace kelvcpx::test {

EncodedVideo encodeInProcess(const std::string& codec, std::span<const Frame> frames,
                             const app::EncoderSettings& settings)
{
    EncodedVideo video;
    const app::EncoderOutput output{
        [&](std::span<const uint8_t> bytes) {
            video.bytes.insert(video.bytes.end(), bytes.begin(), bytes.end());
        },
        [&](const app::PictureView& picture) { video.reconstruction.push_back(copyOf(picture)); }};
    const auto encoder = app::makeEncoder(codec, frames.front().format, settings);
    for (const Frame& frame : frames)
        encoder->encode(viewOf(frame), output);
    encoder->flush(output);
    return video;
}

} // namespace kelvcpx::test
