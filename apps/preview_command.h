// `kelvcpx preview`: a contact sheet of a video.
#pragma once

#include <string>

namespace kelvcpx::app {

struct PreviewOptions {
    std::string input;  // "-" is standard input
    std::string output; // a PNG file; "-" is standard output
    double every = 1;   // seconds from one picture to the next
    int scale = 4;      // 2, 4 or 8: how much smaller the pictures are
};

// Returns the exit code. Throws InputError, UnsupportedStream or OutputError.
int runPreview(const PreviewOptions& options);

} // namespace kelvcpx::app
