// Decodes damaged copies of H.261 and H.263 streams.
#include "apps/support/clip.h"
#include "fuzz/damage.h"

#include "h261/decoder.h"
#include "h263/decoder.h"

#include <string>
#include <vector>

namespace {

using namespace kelvcpx;
using namespace kelvcpx::test;

struct Stream {
    app::MakeDecoder makeDecoder;
    std::vector<uint8_t> bytes;
};

Stream encoded(app::MakeDecoder makeDecoder, const std::string& file, const std::string& arguments)
{
    const auto clip =
        makeClip(file, "-f lavfi -i testsrc2=size=" + arguments + " -threads 1 -frames:v 6 -g 3");
    return {makeDecoder, bytesOf(clip)};
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

// Makes predicted pictures of the first version say that they are PB-frames, which no encoder at hand writes:
// their macroblocks are then read for what they are not.
void makePbFrames(std::vector<uint8_t>& bytes)
{
    for (std::size_t i = 0; i + 8 < bytes.size(); i++)
        if (bytes[i] == 0 && bytes[i + 1] == 0 && (bytes[i + 2] & 0xFC) == 0x80 && (bytes[i + 4] & 2) != 0)
            bytes[i + 5] = static_cast<uint8_t>(bytes[i + 5] | 0x20);
}

} // namespace

int main(int argc, char** argv)
{
    const auto streams = makeStreams();
    return searchForFaults(argc, argv, 300, [&](int64_t number, Random& random, auto& listener, auto& sink) {
        const Stream& stream = streams[static_cast<std::size_t>(number) % streams.size()];
        std::vector<uint8_t> copy = damagedCopy(stream.bytes, 0, random);
        if (random.oneIn(6))
            makePbFrames(copy);
        const auto decoder = stream.makeDecoder(listener, {.postprocess = random.oneIn(3)});
        decodeInPackets(*decoder, copy, random, sink);
    });
}
