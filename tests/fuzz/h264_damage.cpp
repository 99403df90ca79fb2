// Decodes damaged copies of H.264 streams: the decoder may report damage or give up in the way it
// documents, and has to hand over what it can. Run it with sanitizers:
//
//     h264_damage [COPIES [FIRST [FILE...]]]
//
// decodes the copies FIRST, FIRST + 1, ... of a sequence that is always the same. Streams in files (Annex B)
// may follow: then copies of those are decoded.
#include "apps/h264_random_stream.h"
#include "fuzz/damage.h"

#include "h264/decoder.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

using namespace kelvcpx;
using namespace kelvcpx::test;

using Clock = std::chrono::steady_clock;

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
    };
    std::vector<std::vector<uint8_t>> streams;
    for (const RandomH264Options& options : kinds)
        streams.push_back(makeRandomH264Stream(options).bytes);
    return streams;
}

// What became of the copies.
struct Outcome : app::DamageListener {
    int64_t pictures = 0;
    int64_t reports = 0;
    int64_t unsupported = 0;
    int64_t failures = 0;
    double slowest = 0; // seconds

    void damaged(const std::string&) override { reports++; }
};

// Looks at every sample, so that sanitizers see it if a picture is not what its format says.
uint32_t sumOf(const app::PictureView& picture)
{
    uint32_t sum = 0;
    for (const app::PlaneView& plane : picture.planes)
        for (int y = 0; y < plane.height; y++)
            for (int x = 0; x < plane.width; x++)
                sum += plane.samples[y * plane.step + x];
    return sum;
}

// Hands over the stream whole, or in packets that end anywhere.
void decode(const std::vector<uint8_t>& stream, Random& random, Outcome& outcome)
{
    const auto decoder = app::h264::makeDecoder({}, outcome);
    volatile uint32_t looked = 0;
    const app::PictureSink sink = [&](const app::PictureView& picture) {
        looked = looked + sumOf(picture);
        outcome.pictures++;
    };
    std::span<const uint8_t> rest = stream;
    const bool whole = random.oneIn(2);
    while (!rest.empty()) {
        const auto size = whole ? rest.size() : std::min(rest.size(), random.uniform<std::size_t>(1, 4000));
        decoder->decode(rest.first(size), sink);
        rest = rest.subspan(size);
    }
    decoder->flush(sink);
}

void tryCopy(const std::vector<uint8_t>& stream, int64_t number, Outcome& outcome)
{
    Random random(static_cast<uint32_t>(number));
    const std::vector<uint8_t> copy = damagedCopy(stream, 0, random);
    const auto start = Clock::now();
    try {
        decode(copy, random, outcome);
    } catch (const app::UnsupportedStream&) {
        outcome.unsupported++;
    } catch (const std::exception& failure) {
        outcome.failures++;
        std::printf("copy %lld: %s\n", static_cast<long long>(number), failure.what());
    }
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    outcome.slowest = std::max(outcome.slowest, seconds);
}

} // namespace

int main(int argc, char** argv)
{
    const int64_t copies = argc > 1 ? std::atoll(argv[1]) : 300;
    const int64_t first = argc > 2 ? std::atoll(argv[2]) : 0;
    auto streams = argc > 3 ? std::vector<std::vector<uint8_t>>() : makeStreams();
    for (int i = 3; i < argc; i++) {
        std::ifstream in(argv[i], std::ios::binary);
        streams.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    Outcome outcome;
    for (int64_t i = first; i < first + copies; i++) {
        if (i % 1000 == 0) // tells where to start again after a crash
            std::fprintf(stderr, "copy %lld\n", static_cast<long long>(i));
        tryCopy(streams[static_cast<std::size_t>(i) % streams.size()], i, outcome);
    }
    std::printf("%lld copies: %lld pictures, %lld reports of damage, %lld streams called unsupported, "
                "%lld failures; slowest copy %.3f s\n",
                static_cast<long long>(copies), static_cast<long long>(outcome.pictures),
                static_cast<long long>(outcome.reports), static_cast<long long>(outcome.unsupported),
                static_cast<long long>(outcome.failures), outcome.slowest);
    return outcome.failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
