// Decodes damaged copies of H.261 and H.263 streams: the decoders may report damage or give up in the way
// they document, and have to hand over what they can. Run it with sanitizers:
//
//     h263_damage [COPIES [FIRST]]
//
// decodes the copies FIRST, FIRST + 1, ... of a sequence that is always the same.
#include "apps/support/clip.h"
#include "fuzz/damage.h"

#include "h261/decoder.h"
#include "h263/decoder.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iterator>
#include <memory>
#include <vector>

namespace {

using namespace kelvcpx;
using namespace kelvcpx::test;

using MakeDecoder = std::unique_ptr<app::VideoDecoder> (*)(app::DamageListener&);

struct Stream {
    MakeDecoder makeDecoder;
    std::vector<uint8_t> bytes;
};

Stream encoded(MakeDecoder makeDecoder, const std::string& file, const std::string& arguments)
{
    const auto clip =
        makeClip(file, "-f lavfi -i testsrc2=size=" + arguments + " -threads 1 -frames:v 6 -g 3");
    std::ifstream in(clip, std::ios::binary);
    return {makeDecoder, {std::istreambuf_iterator<char>(in), {}}};
}

std::vector<Stream> makeStreams()
{
    const std::string small = "128x96 -c:v h263p ";
    return {
        encoded(app::h261::makeDecoder, "d.h261", "176x144 -c:v h261 -flags +loop -q:v 8"),
        encoded(app::h263::makeDecoder, "d.h263", "128x96 -c:v h263 -q:v 6"),
        encoded(app::h263::makeDecoder, "d.h263", "128x96 -c:v h263 -obmc 1 -flags +mv4 -q:v 6"),
        encoded(app::h263::makeDecoder, "d.h263", small + "-flags +aic+loop -q:v 6"),
        encoded(app::h263::makeDecoder, "d.h263", small + "-umv 1 -structured_slices 1 -ps 100 -q:v 6"),
        encoded(app::h263::makeDecoder, "d.h263", small + "-flags +aic+loop+mv4 -umv 1 -obmc 1 -q:v 4"),
    };
}

// What became of the copies.
struct Outcome : app::DamageListener {
    int64_t pictures = 0;
    int64_t reports = 0;
    int64_t unsupported = 0;
    int64_t failures = 0;

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
void decode(const Stream& stream, const std::vector<uint8_t>& bytes, Random& random, Outcome& outcome)
{
    const auto decoder = stream.makeDecoder(outcome);
    volatile uint32_t looked = 0;
    const app::PictureSink sink = [&](const app::PictureView& picture) {
        looked = looked + sumOf(picture);
        outcome.pictures++;
    };
    std::span<const uint8_t> rest = bytes;
    const bool whole = random.oneIn(2);
    while (!rest.empty()) {
        const auto size = whole ? rest.size() : std::min(rest.size(), random.uniform<std::size_t>(1, 4000));
        decoder->decode(rest.first(size), sink);
        rest = rest.subspan(size);
    }
    decoder->flush(sink);
}

// Makes predicted pictures of the first version say that they are PB-frames, which no encoder at hand writes:
// their macroblocks are then read for what they are not.
void makePbFrames(std::vector<uint8_t>& bytes)
{
    for (std::size_t i = 0; i + 8 < bytes.size(); i++)
        if (bytes[i] == 0 && bytes[i + 1] == 0 && (bytes[i + 2] & 0xFC) == 0x80 && (bytes[i + 4] & 2) != 0)
            bytes[i + 5] = static_cast<uint8_t>(bytes[i + 5] | 0x20);
}

void tryCopy(const Stream& stream, int64_t number, Outcome& outcome)
{
    Random random(static_cast<uint32_t>(number));
    std::vector<uint8_t> copy = damagedCopy(stream.bytes, 0, random);
    if (random.oneIn(6))
        makePbFrames(copy);
    try {
        decode(stream, copy, random, outcome);
    } catch (const app::UnsupportedStream&) {
        outcome.unsupported++;
    } catch (const std::exception& failure) {
        outcome.failures++;
        std::printf("copy %lld: %s\n", static_cast<long long>(number), failure.what());
    }
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
    std::printf("%lld copies: %lld pictures, %lld reports of damage, %lld streams called unsupported, %lld "
                "failures\n",
                static_cast<long long>(copies), static_cast<long long>(outcome.pictures),
                static_cast<long long>(outcome.reports), static_cast<long long>(outcome.unsupported),
                static_cast<long long>(outcome.failures));
    return outcome.failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
