// Decodes damaged copies of DV frames: the decoder may report damage or give up in the way it documents, and
// has to hand over what it can. Run it with sanitizers:
//
//     dv_damage [COPIES [FIRST]]
//
// decodes the copies FIRST, FIRST + 1, ... of a sequence that is always the same, a frame each.
#include "dv/segment_encoder.h"
#include "fuzz/damage.h"

#include "dv/decoder.h"
#include "dv/system.h"

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
using Bytes = std::vector<uint8_t>;

// A segment whose blocks are filled unevenly, so that they share their bits.
Bytes makeSegment(bool isHd, Random& random)
{
    DvSegment segment(isHd ? std::vector<int>{10, 10, 10, 10, 10, 10, 8, 8}
                           : std::vector<int>{14, 14, 14, 14, 10, 10});
    for (DvBlock& block : segment.blocks) {
        block = {random.uniform(-200, 200), random.oneIn(2), random.uniform(0, 3), {}, {}};
        encodeLevels(block);
    }
    const int64_t last = std::ssize(segment.blocks) - 1;
    for (int i = 0; i < 400 && segment.fits(); i++) {
        DvBlock& block = segment.blocks[random.uniform<std::size_t>(0, random.oneIn(3) ? last : 7)];
        const DvBlock before = block;
        block.levels[random.uniform<std::size_t>(1, 63)] = random.extreme(-255, 255);
        encodeLevels(block);
        if (!segment.fits()) {
            block = before;
            break;
        }
    }
    return segment.bytes();
}

// What tells one system from another in a frame's header.
struct Kind {
    bool is50Hz;
    uint8_t application; // APT
    uint8_t type;        // STYPE
    int sequences;       // of all channels
    bool laterChannels = false;
};

Bytes makeFrame(const Kind& kind, Random& random)
{
    using namespace app::dv;
    const bool isHd = (kind.type & 0x10) != 0;
    std::vector<Bytes> segments;
    for (int i = 0; i < 20; i++)
        segments.push_back(makeSegment(isHd, random));
    Bytes frame(static_cast<std::size_t>(kind.sequences) * sequenceBytes);
    for (int sequence = 0; sequence < kind.sequences; sequence++) {
        uint8_t* const start = frame.data() + static_cast<std::size_t>(sequence) * sequenceBytes;
        start[1] = kind.laterChannels ? 0x03 : 0x07;
        start[3] = kind.is50Hz ? 0xBF : 0x3F;
        start[4] = kind.application;
        uint8_t* const sourcePack = start + 5 * blockBytes + 48;
        sourcePack[0] = 0x60;
        sourcePack[3] = kind.type;
        for (int segment = 0; segment < segmentsPerSequence; segment++) {
            const Bytes& bytes = segments[random.uniform<std::size_t>(0, std::ssize(segments) - 1)];
            std::copy(bytes.begin(), bytes.end(), start + segmentOffset(segment));
        }
    }
    return frame;
}

// What became of the copies.
struct Outcome : app::DamageListener {
    int64_t pictures = 0;
    int64_t reports = 0;
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

app::DecoderSettings randomSettings(Random& random)
{
    app::DecoderSettings settings;
    if (random.oneIn(3))
        settings.zoom = 2 << random.uniform(0, 2);
    if (random.oneIn(3))
        settings.deinterlaceWeight = random.uniform<uint32_t>(0, 256);
    return settings;
}

// A sound frame first, half of the time: then there is something to conceal with.
void tryCopy(const Bytes& frame, int64_t number, Outcome& outcome)
{
    Random random(static_cast<uint32_t>(number));
    Bytes copy = damagedCopy(frame, 0, random);
    for (int more = random.uniform(0, 30); more > 0 && !copy.empty(); more--)
        copy = damagedCopy(copy, std::min<std::size_t>(copy.size() - 1, 480), random);
    const auto start = Clock::now();
    try {
        volatile uint32_t looked = 0;
        const app::PictureSink sink = [&](const app::PictureView& picture) {
            looked = looked + sumOf(picture);
            outcome.pictures++;
        };
        const auto decoder = app::dv::makeDecoder(outcome, randomSettings(random));
        if (random.oneIn(4))
            decoder->decode(frame, sink);
        decoder->decode(copy, sink);
        decoder->flush(sink);
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
    const int64_t copies = argc > 1 ? std::atoll(argv[1]) : 60;
    const int64_t first = argc > 2 ? std::atoll(argv[2]) : 0;
    constexpr Kind kinds[] = {{false, 0, 0, 10},    {true, 0, 0, 12},     {true, 1, 0, 12},
                              {false, 1, 0x04, 20}, {true, 1, 0x04, 24},  {false, 1, 0x14, 40},
                              {true, 1, 0x14, 48},  {false, 1, 0x18, 20}, {true, 1, 0x18, 24, true}};
    Random random(1);
    std::vector<Bytes> frames;
    for (const Kind& kind : kinds)
        frames.push_back(makeFrame(kind, random));
    Outcome outcome;
    for (int64_t i = first; i < first + copies; i++) {
        if (i % 1000 == 0) // tells where to start again after a crash
            std::fprintf(stderr, "copy %lld\n", static_cast<long long>(i));
        tryCopy(frames[static_cast<std::size_t>(i) % frames.size()], i, outcome);
    }
    std::printf("%lld copies: %lld pictures, %lld reports of damage, %lld failures; slowest copy %.3f s\n",
                static_cast<long long>(copies), static_cast<long long>(outcome.pictures),
                static_cast<long long>(outcome.reports), static_cast<long long>(outcome.failures),
                outcome.slowest);
    return outcome.failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
