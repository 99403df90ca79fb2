// The systems of DV (IEC 61834-2, SMPTE 314M) and DV100 (SMPTE 370M), and how a frame of each is recognised.
#pragma once

#include "common/picture.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace kelvcpx::app::dv {

enum class Sampling {
    yuv411,
    yuv420,
    yuv422,   // of six blocks, two of which are not used
    yuv422hd, // DV100: eight blocks
};

struct System {
    const char* name;
    const char* standard;
    bool is50Hz;  // 625/50, 1080/50 or 720/50 (DSF)
    uint8_t type; // of the video signal (STYPE)
    int width;
    int height;
    Sampling sampling;
    Rational frameRate;
    Rational sampleAspect;     // of 4:3 pictures, or of all there are
    Rational wideSampleAspect; // of 16:9 pictures
    int channels;              // of a frame
    int sequences;             // of a channel
    int sequencesWithVideo;
    FieldOrder fieldOrder;

    bool isHd() const { return sampling == Sampling::yuv422hd; }
    std::size_t blocksPerMacroblock() const { return isHd() ? 8 : 6; }
    std::size_t frameBytes() const;
};

std::span<const System> knownSystems();

// What the headers of a frame say.
struct FrameHeader {
    const System* system = nullptr; // null if they are of no known system
    int firstChannel = 0;           // 2 in the second of two 720-line frames that share four channels
    bool wide = false;
    bool progressive = false;
};

FrameHeader readHeader(std::span<const uint8_t> frame);

// DIF blocks (SMPTE 314M): a sequence has 150 of 80 bytes.
constexpr std::size_t blockBytes = 80;
constexpr std::size_t sequenceBytes = 150 * blockBytes;

constexpr int segmentsPerSequence = 27;
constexpr int macroblocksPerSegment = 5;
constexpr std::size_t segmentBytes = macroblocksPerSegment * blockBytes;

// Where a video segment begins in its sequence: after the header, two blocks of subcode and three of
// auxiliary data, with a block of audio in front of every three segments.
constexpr std::size_t segmentOffset(int segment)
{
    const auto video = static_cast<std::size_t>(macroblocksPerSegment * segment);
    return (7 + video + video / 15) * blockBytes;
}

} // namespace kelvcpx::app::dv
