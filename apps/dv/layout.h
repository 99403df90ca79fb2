// Where the macroblocks of the video segments lie in the picture (IEC 61834-2, SMPTE 314M, SMPTE 370M:
// shuffling).
#pragma once

#include "dv/system.h"

#include <array>

namespace kelvcpx::app::dv {

// How the luma blocks of a macroblock lie.
enum class Shape {
    square, // two by two
    pair,   // two side by side
    row,    // four side by side
};

struct Place {
    int x; // of the top left luma block, in blocks
    int y;
    Shape shape;
};

using SegmentPlaces = std::array<Place, macroblocksPerSegment>;

// The channel counts from the first of the stream, sequence and segment from that of the channel.
SegmentPlaces placesOf(const System& system, int channel, int sequence, int segment);

// Calls function(channel, sequence, segment) for the segments of a frame, channels counted from its first.
template <class Function>
void forEachSegment(const System& system, Function function)
{
    constexpr int onlyInFirstChannel = 11; // of 1080/50i
    for (int channel = 0; channel < system.channels; channel++)
        for (int sequence = 0; sequence < system.sequencesWithVideo; sequence++)
            for (int segment = 0; segment < segmentsPerSequence; segment++)
                if (system.height != 1080 || sequence != onlyInFirstChannel || channel == 0)
                    function(channel, sequence, segment);
}

} // namespace kelvcpx::app::dv
