// `kelvcpx decode`: decodes a video stream and writes its pictures.
#pragma once

#include "common/decoder.h"
#include "common/planar_output.h"

#include <cstdint>
#include <optional>
#include <string>

namespace kelvcpx::app {

struct DecodeOptions {
    std::string input;                  // "-" is standard input
    std::string output;                 // "-" is standard output; empty: no file
    std::optional<PlanarFormat> format; // by the output's name if not given
    std::optional<int64_t> frames;      // stop after so many pictures
    DecoderSettings settings;
    std::optional<int> rotation; // degrees clockwise
    bool md5 = false;            // a line a picture on standard output
    std::string pngFolder;       // empty: no pictures
};

// Returns the exit code. Throws UsageError, InputError, UnsupportedStream or OutputError.
int runDecode(const DecodeOptions& options);

} // namespace kelvcpx::app
