// Decodes damaged copies of MPEG-1 and MPEG-2 streams.
#include "apps/mpeg2_random_stream.h"
#include "fuzz/damage.h"

#include "mpeg2/decoder.h"

namespace {

using namespace kelvcpx;
using namespace kelvcpx::test;

std::vector<std::vector<uint8_t>> makeStreams()
{
    const RandomStreamOptions kinds[] = {
        {.mpeg1 = true, .width = 64, .height = 48, .exact = false},
        {.width = 64, .height = 48, .progressive = true, .exact = false},
        {.width = 64, .height = 64, .structures = PictureStructures::mixed, .exact = false},
        {.width = 64,
         .height = 64,
         .structures = PictureStructures::fields,
         .types = "IPBIPPP",
         .exact = false},
        {.width = 48,
         .height = 64,
         .chroma = app::ChromaFormat::yuv422,
         .structures = PictureStructures::mixed,
         .exact = false},
        {.width = 32, .height = 2848, .progressive = true, .types = "IB", .exact = false},
    };
    std::vector<std::vector<uint8_t>> streams;
    for (const RandomStreamOptions& options : kinds)
        streams.push_back(makeRandomStream(options).bytes);
    return streams;
}

} // namespace

int main(int argc, char** argv)
{
    return searchForFaults(argc, argv, 300, makeStreams,
                           [](auto stream, Random& random, auto& listener, auto& sink) {
                               const auto decoder = app::mpeg2::makeDecoder(listener);
                               decodeInPackets(*decoder, damagedCopy(stream, 0, random), random, sink);
                           });
}
