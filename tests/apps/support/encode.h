// Runs the encoders in this process.
#pragma once

#include "apps/support/frames.h"

#include "common/encoder.h"

#include <cstdint>
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

} // namespace kelvcpx::test
