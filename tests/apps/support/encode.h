// Runs the encoders in this process, and checks what they write.
#pragma once

#include "apps/support/frames.h"

#include "common/encoder.h"

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace kelvcpx::test {

struct EncodedVideo {
    std::vector<uint8_t> bytes;
    std::vector<Frame> reconstruction; // as the encoder expects decoders to see it
};

// `codec` is a name of the command line.
EncodedVideo encodeInProcess(const std::string& codec, std::span<const Frame> frames,
                             const app::EncoderSettings& settings);

// Pictures of 4:2:0 that a source of ffmpeg and a chain of its filters make: "testsrc2", "176x144".
std::vector<Frame> makePictures(const std::string& source, const std::string& size, int count,
                                const std::string& filters = "null");

// How near an independent decoder, whose inverse DCT rounds in another way, is to come in dB.
struct Nearness {
    double picture; // in every plane of every picture
    double mean;    // in each plane, over all pictures; infinite ones count as 99
};

// Expects that our decoder of the codec, a name of libavcodec, shows the very reconstruction, and that ffmpeg
// comes near.
void expectReconstruction(const EncodedVideo& video, const std::string& codec,
                          const std::filesystem::path& file, const Nearness& nearness);

} // namespace kelvcpx::test
