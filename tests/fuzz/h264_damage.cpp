// Decodes damaged copies of H.264 streams.
#include "apps/h264_random_stream.h"
#include "fuzz/damage.h"

#include "h264/decoder.h"

namespace {

using namespace kelvcpx;
using namespace kelvcpx::test;

std::vector<std::vector<uint8_t>> makeStreams()
{
    constexpr int size = 4; // macroblocks
    const std::string types = "IPBBPBBPIPBP";
    const RandomH264Options kinds[] = {
        {.widthInMbs = size, .heightInMbs = size, .frameMbsOnly = true, .types = types, .modifyLists = true},
        {.widthInMbs = size,
         .heightInMbs = size,
         .structures = PictureStructures::mixed,
         .types = types,
         .temporalDirect = true,
         .weightedBipredIdc = 2},
        {.widthInMbs = size,
         .heightInMbs = size,
         .structures = PictureStructures::fields,
         .types = types,
         .weightedBipredIdc = 1,
         .weightedPrediction = true,
         .transform8x8 = true,
         .modifyLists = true},
        {.widthInMbs = size,
         .heightInMbs = size,
         .structures = PictureStructures::mixed,
         .types = types,
         .pocType = 1,
         .transform8x8 = true,
         .modifyLists = true,
         .memoryManagement = true,
         .longTermReferences = true},
        {.widthInMbs = 1,
         .heightInMbs = 2,
         .structures = PictureStructures::mixed,
         .monochrome = true,
         .types = types,
         .constrainedIntra = true},
        {.widthInMbs = size,
         .heightInMbs = size,
         .cropped = true,
         .types = "IPPPPP",
         .pocType = 2,
         .gapsInFrameNum = true},
        {.widthInMbs = size,
         .heightInMbs = size,
         .structures = PictureStructures::mixed,
         .types = types,
         .longLists = true,
         .gapsInFrameNum = true,
         .extendedProfile = true,
         .sliceGroups = true},
    };
    std::vector<std::vector<uint8_t>> streams;
    for (const RandomH264Options& options : kinds)
        streams.push_back(makeRandomH264Stream(options).bytes);
    return streams;
}

} // namespace

int main(int argc, char** argv)
{
    return searchForFaults(argc, argv, 300, makeStreams,
                           [](auto stream, Random& random, auto& listener, auto& sink) {
                               const auto decoder = app::h264::makeDecoder({}, listener);
                               decodeInPackets(*decoder, damagedCopy(stream, 0, random), random, sink);
                           });
}
