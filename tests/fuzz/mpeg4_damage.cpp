// Decodes damaged copies of MPEG-4 streams.
#include "apps/mpeg4_random_stream.h"
#include "fuzz/damage.h"

#include "mpeg4/decoder.h"

#include <cstddef>
#include <vector>

namespace {

using namespace kelvcpx;
using namespace kelvcpx::test;

std::vector<std::vector<uint8_t>> makeStreams()
{
    RandomMpeg4Options all[] = {
        {.types = "IPBBPBB"},
        {.types = "ISPSBBP", .quarterSample = true, .warpingPoints = 3, .packets = true},
        {.interlaced = true, .weighted = true, .packets = true},
        {.types = "IPPP", .packets = true, .partitioned = true},
        {.types = "IPSPBB", .warpingPoints = 2, .packets = true, .partitioned = true, .reversible = true},
        {.types = "IPBPB", .interlaced = true, .quarterSample = true, .complexity = true},
        {.types = "IPPPB", .weighted = true, .packets = true, .partitioned = true, .reversible = true},
    };
    std::vector<std::vector<uint8_t>> streams;
    for (RandomMpeg4Options& options : all) {
        options.exact = false;
        streams.push_back(makeRandomMpeg4Stream(options).bytes);
    }
    return streams;
}

} // namespace

int main(int argc, char** argv)
{
    return searchForFaults(
        argc, argv, 300, makeStreams, [](auto stream, Random& random, auto& listener, auto& sink) {
            // Mostly the headers above the VOPs stay, without which there is not much to decode.
            constexpr std::size_t headers = 40;
            const auto copy = damagedCopy(stream, random.oneIn(4) ? 0 : headers, random);
            const auto decoder = app::mpeg4::makeDecoder(listener, {.postprocess = random.oneIn(3)});
            decodeInPackets(*decoder, copy, random, sink);
        });
}
