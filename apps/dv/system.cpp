#include "dv/system.h"

#include <algorithm>
#include <iterator>

namespace kelvcpx::app::dv {
namespace {

constexpr Rational ntsc{30000, 1001};

constexpr System systems[] = {
    {"525/60 25 Mb/s",
     "IEC 61834-2, SMPTE 314M",
     false,
     0b00000,
     720,
     480,
     Sampling::yuv411,
     ntsc,
     {8, 9},
     {32, 27},
     1,
     10,
     10,
     FieldOrder::bottomFirst},
    {"625/50 25 Mb/s",
     "IEC 61834-2",
     true,
     0b00000,
     720,
     576,
     Sampling::yuv420,
     {25, 1},
     {16, 15},
     {64, 45},
     1,
     12,
     12,
     FieldOrder::bottomFirst},
    {"625/50 25 Mb/s",
     "SMPTE 314M",
     true,
     0b00000,
     720,
     576,
     Sampling::yuv411,
     {25, 1},
     {16, 15},
     {64, 45},
     1,
     12,
     12,
     FieldOrder::bottomFirst},
    {"525/60 50 Mb/s",
     "SMPTE 314M",
     false,
     0b00100,
     720,
     480,
     Sampling::yuv422,
     ntsc,
     {8, 9},
     {32, 27},
     2,
     10,
     10,
     FieldOrder::bottomFirst},
    {"625/50 50 Mb/s",
     "SMPTE 314M",
     true,
     0b00100,
     720,
     576,
     Sampling::yuv422,
     {25, 1},
     {16, 15},
     {64, 45},
     2,
     12,
     12,
     FieldOrder::bottomFirst},
    {"1080/60i 100 Mb/s",
     "SMPTE 370M",
     false,
     0b10100,
     1280,
     1080,
     Sampling::yuv422hd,
     ntsc,
     {3, 2},
     {3, 2},
     4,
     10,
     10,
     FieldOrder::topFirst},
    {"1080/50i 100 Mb/s",
     "SMPTE 370M",
     true,
     0b10100,
     1440,
     1080,
     Sampling::yuv422hd,
     {25, 1},
     {4, 3},
     {4, 3},
     4,
     12,
     12,
     FieldOrder::topFirst},
    {"720/60p 100 Mb/s",
     "SMPTE 370M",
     false,
     0b11000,
     960,
     720,
     Sampling::yuv422hd,
     {60000, 1001},
     {4, 3},
     {4, 3},
     2,
     10,
     10,
     FieldOrder::progressive},
    {"720/50p 100 Mb/s",
     "SMPTE 370M",
     true,
     0b11000,
     960,
     720,
     Sampling::yuv422hd,
     {50, 1},
     {4, 3},
     {4, 3},
     2,
     12,
     10,
     FieldOrder::progressive},
};

// A pack of the auxiliary data of the video (VAUX) in the first sequence, or nothing.
const uint8_t* findPack(std::span<const uint8_t> frame, uint8_t kind)
{
    constexpr std::size_t firstBlock = 3;
    constexpr std::size_t blocks = 3;
    constexpr std::size_t packsPerBlock = 15;
    constexpr std::size_t packBytes = 5;
    for (std::size_t pack = 0; pack < blocks * packsPerBlock; pack++) {
        const std::size_t at =
            (firstBlock + pack / packsPerBlock) * blockBytes + 3 + pack % packsPerBlock * packBytes;
        if (at + packBytes <= frame.size() && frame[at] == kind)
            return frame.data() + at;
    }
    return nullptr;
}

constexpr uint8_t sourcePack = 0x60;
constexpr uint8_t sourceControlPack = 0x61;

// The first system that the properties fit; 4:1:1 of 625 lines is told from 4:2:0 by the track application
// (APT) alone.
const System* findSystem(bool is50Hz, uint8_t type, uint8_t application)
{
    const auto* const found = std::find_if(std::begin(systems), std::end(systems), [=](const System& system) {
        const bool rightSampling =
            !is50Hz || type != 0 || (system.sampling == Sampling::yuv411) == (application != 0);
        return system.is50Hz == is50Hz && system.type == type && rightSampling;
    });
    return found != std::end(systems) ? found : nullptr;
}

} // namespace

std::span<const System> knownSystems()
{
    return systems;
}

std::size_t System::frameBytes() const
{
    return static_cast<std::size_t>(channels) * static_cast<std::size_t>(sequences) * sequenceBytes;
}

FrameHeader readHeader(std::span<const uint8_t> frame)
{
    FrameHeader header;
    const uint8_t* const source = findPack(frame, sourcePack);
    constexpr std::size_t headerBytes = 8;
    if (source == nullptr || frame.size() < headerBytes)
        return header;
    header.system = findSystem((frame[3] & 0x80) != 0, source[3] & 0x1F, frame[4] & 7);
    // In the identification of every block: FSP is 0 in the channels 2 and 3.
    const bool laterChannels = (frame[1] & 0x04) == 0;
    if (header.system != nullptr && header.system->channels == 2 && header.system->isHd() && laterChannels)
        header.firstChannel = 2;
    if (const uint8_t* const control = findPack(frame, sourceControlPack)) {
        const int display = control[2] & 7;
        header.wide = display == 2 || display == 7;
        header.progressive = (control[3] & 0x10) == 0;
    }
    return header;
}

} // namespace kelvcpx::app::dv
