// Test streams, made by an independent encoder when they are first needed, and what an independent decoder
// makes of them.
#pragma once

#include "apps/support/frames.h"

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace kelvcpx::test {

// A path in the build's folder of test files, which exists.
std::filesystem::path testFile(const std::string& name);

// What is in a file.
std::string contents(const std::filesystem::path& file);
std::vector<uint8_t> bytesOf(const std::filesystem::path& file);

// Writes a stream to a test file; the name's ending tells the kind of stream.
std::filesystem::path storeStream(const std::string& name, std::span<const uint8_t> bytes);

// The clip that `ffmpeg ARGUMENTS NAME` makes, arguments separated by spaces; made once for each set of
// arguments:
//     makeClip("progressive.m2v", "-f lavfi -i testsrc2=size=352x288:rate=25:duration=1 -c:v mpeg2video -q:v
//     4")
std::filesystem::path makeClip(const std::string& name, const std::string& arguments);

// All pictures as ffmpeg decodes them, in display order, none dropped or repeated. The input arguments,
// separated by spaces, stand before the input: "-idct int", "-flags +bitexact".
std::vector<Frame> decodeWithFfmpeg(const std::filesystem::path& clip,
                                    const std::string& inputArguments = "");

// A letter a picture, in display order: "IBBPBBP".
std::string pictureTypes(const std::filesystem::path& clip);

} // namespace kelvcpx::test
