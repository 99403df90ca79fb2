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

} // namespace kelvcpx::app::dv
