// Decoded pictures in memory, and how far two of them differ.
#pragma once

#include "common/decoder.h"
#include "common/picture.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace kelvcpx::test {

// A picture with planes of its own, rows without padding; samples of more than 8 bits take two bytes, low
// byte first.
struct Frame {
    app::VideoFormat format;
    std::array<std::vector<uint8_t>, 3> planes;
};

Frame copyOf(const app::PictureView& picture);
app::PictureView viewOf(const Frame& frame);

// The size of a plane in samples.
int planeWidth(const app::VideoFormat& format, int plane);
int planeHeight(const app::VideoFormat& format, int plane);

// The pictures of a Y4M stream. Throws std::runtime_error if it is not one.
std::vector<Frame> parseY4m(const std::string& bytes);

struct DecodedStream {
    std::vector<Frame> frames;       // in display order
    std::vector<std::string> damage; // what the decoder concealed
};

// Demultiplexes a file and decodes it with the decoder of its codec, in this process.
DecodedStream decodeInProcess(const std::filesystem::path& path, const app::DecoderSettings& settings = {});

// Decodes an elementary stream, in one piece.
DecodedStream decodeInProcess(const std::string& codec, std::span<const uint8_t> bytes);

// Peak signal-to-noise ratio of each plane in dB; infinite where two planes are equal, and in planes that a
// monochrome picture does not have. Throws std::runtime_error if the pictures differ in size or kind of
// samples.
std::array<double, 3> psnr(const Frame& frame, const Frame& reference);

// Where the pictures differ first and how many samples differ, plane by plane; empty if they are equal:
//     EXPECT_EQ(differences(ours[i], theirs[i]), "") << "picture " << i;
std::string differences(const Frame& frame, const Frame& expected);

} // namespace kelvcpx::test
