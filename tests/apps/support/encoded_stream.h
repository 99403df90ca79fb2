// Streams that an independent encoder makes, as parameters of tests of decoders.
#pragma once

#include "apps/support/close_pictures.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <ostream>
#include <string>

namespace kelvcpx::test {

struct EncodedStream {
    std::string name;                  // of the test
    std::string file;                  // the ending tells the kind of stream
    std::string arguments;             // of ffmpeg
    std::optional<Bounds> bounds = {}; // where they are not those of all streams
};

void PrintTo(const EncodedStream& stream, std::ostream* out);

std::string nameOf(const testing::TestParamInfo<EncodedStream>& info);

// The arguments for pictures of a graph, 25 a second.
std::string testSource(const std::string& graph, const std::string& size, const std::string& options);

// The arguments for a reference decoder with an inverse DCT in floating point.
extern const std::string referenceArguments;

// Expects that our decoder finds no damage, and that its pictures, of these types, are close to those of the
// reference decoder.
void expectDecodesAsReference(const std::filesystem::path& file, const std::string& types, Bounds bounds);

} // namespace kelvcpx::test
