// Decodes damaged copies of MPEG-1 and MPEG-2 streams: the decoder may report damage or give up in the way it
// documents, and has to hand over what it can. Run it with sanitizers:
//
//     mpeg2_damage [COPIES [FIRST]]
//
// decodes the copies FIRST, FIRST + 1, ... of a sequence that is always the same.
#include "apps/mpeg2_random_stream.h"
#include "fuzz/damage.h"

#include "mpeg2/decoder.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <vector>

namespace {

using namespace kelvcpx;
using namespace kelvcpx::test;

using Clock = std::chrono::steady_clock;

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
    const auto decoder = app::mpeg2::makeDecoder(outcome);
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
    const auto streams = makeStreams();
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
