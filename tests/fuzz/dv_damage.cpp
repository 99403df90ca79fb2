// Decodes damaged copies of DV frames.
#include "dv/segment_encoder.h"
#include "fuzz/damage.h"

#include "dv/decoder.h"
#include "dv/system.h"

#include <algorithm>
#include <vector>

namespace {

using namespace kelvcpx;
using namespace kelvcpx::test;

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

app::DecoderSettings randomSettings(Random& random)
{
    app::DecoderSettings settings;
    if (random.oneIn(3))
        settings.zoom = 2 << random.uniform(0, 2);
    if (random.oneIn(3))
        settings.deinterlaceWeight = random.uniform<uint32_t>(0, 256);
    return settings;
}

} // namespace

int main(int argc, char** argv)
{
    constexpr Kind kinds[] = {{false, 0, 0, 10},    {true, 0, 0, 12},     {true, 1, 0, 12},
                              {false, 1, 0x04, 20}, {true, 1, 0x04, 24},  {false, 1, 0x14, 40},
                              {true, 1, 0x14, 48},  {false, 1, 0x18, 20}, {true, 1, 0x18, 24, true}};
    Random frameRandom(1);
    std::vector<Bytes> frames;
    for (const Kind& kind : kinds)
        frames.push_back(makeFrame(kind, frameRandom));
    return searchForFaults(argc, argv, 60, [&](int64_t number, Random& random, auto& listener, auto& sink) {
        const Bytes& frame = frames[static_cast<std::size_t>(number) % frames.size()];
        Bytes copy = damagedCopy(frame, 0, random);
        for (int more = random.uniform(0, 30); more > 0 && !copy.empty(); more--)
            copy = damagedCopy(copy, std::min<std::size_t>(copy.size() - 1, 480), random);
        const auto decoder = app::dv::makeDecoder(listener, randomSettings(random));
        if (random.oneIn(4)) // a sound frame first: then there is something to conceal with
            decoder->decode(frame, sink);
        decoder->decode(copy, sink);
        decoder->flush(sink);
    });
}
