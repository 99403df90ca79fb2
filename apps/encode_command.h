// `kelvcpx encode`: encodes video with an encoder of this project.
#pragma once

#include "common/encoder.h"

#include <cstdint>
#include <optional>
#include <string>

namespace kelvcpx::app {

struct EncodeOptions {
    std::string input;             // "-" is standard input
    std::string codec;             // a name of encoderNames()
    std::string output;            // "-" is standard output
    std::string reconstruction;    // file for the pictures as a decoder will see them; empty: none
    std::optional<int64_t> frames; // stop after so many pictures
    EncoderSettings settings;
};

// Returns the exit code. Throws UsageError, InputError, UnsupportedStream or OutputError.
int runEncode(const EncodeOptions& options);

} // namespace kelvcpx::app
