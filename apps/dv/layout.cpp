#include "dv/layout.h"

#include <cstddef>

namespace kelvcpx::app::dv {
namespace {

// The fifths of a picture, left to right, that the macroblocks of a segment come from.
constexpr std::array<int, macroblocksPerSegment> fifths = {2, 1, 3, 0, 4};

// Standard definition: the macroblock's row of superblocks is this much below that of the sequence.
constexpr std::array<int, macroblocksPerSegment> rowOffsets = {2, 6, 8, 0, 4};

// A superblock is passed through in columns, by turns down and up.
int turnedRow(int column, int row, int rows)
{
    return column % 2 == 0 ? row : rows - 1 - row;
}

// 4:1:1: superblocks of four columns and a half, six macroblocks high.
Place place411(int fifth, int superblockRow, int segment)
{
    constexpr std::array<int, 5> firstColumns = {0, 16, 36, 52, 72};
    constexpr int rows = 6;
    constexpr int edge = 88;
    const int k = segment + (fifth % 2 == 1 ? rows / 2 : 0); // every other one begins with the half column
    const int column = k / rows;
    const int x = firstColumns[static_cast<std::size_t>(fifth)] + 4 * column;
    if (x == edge)
        return {x, rows * superblockRow + 2 * (k % rows), Shape::square};
    return {x, rows * superblockRow + turnedRow(column, k % rows, rows), Shape::row};
}

// 4:2:0 and 4:2:2: superblocks of nine by three macroblocks; at 50 Mb/s the channels take turns.
Place placeSd(const System& system, int channel, int sequence, int segment, std::size_t m)
{
    const int superblockRow = (sequence + rowOffsets[m]) % system.sequences;
    if (system.sampling == Sampling::yuv411)
        return place411(fifths[m], superblockRow, segment);
    constexpr int rows = 3;
    const int column = segment / rows;
    const int row = turnedRow(column, segment % rows, rows);
    const int x = 18 * fifths[m] + 2 * column;
    if (system.sampling == Sampling::yuv420)
        return {x, 6 * superblockRow + 2 * row, Shape::square};
    return {x, 6 * superblockRow + 3 * channel + row, Shape::pair};
}

// High definition: segments go through bands of the picture in turn, then to the next column, then to the
// next rows. The macroblocks of a segment come from five different fifths and bands.
constexpr std::array<int, macroblocksPerSegment> bandOffsets = {1, 3, 4, 0, 2};

Place place720(int channel, int k, std::size_t m)
{
    constexpr int bands = 5;
    constexpr int columns = 6;
    const int band = (k + bandOffsets[m] + 2 * channel) % bands;
    const int inGroup = k % (bands * columns);
    return {24 * fifths[m] + 12 * (channel % 2) + 2 * (inGroup / bands),
            2 * (k / (bands * columns)) + 18 * band, Shape::square};
}

// What 1080/60i has above and below its bands, in strips of ten macroblocks, by pairs of channels and groups
// of columns. Those of the last row are twice as wide and half as high.
struct Strip {
    int x;
    int y;
};
constexpr int strips = 5;
constexpr int lastRow = 134;
constexpr Strip strips60[2][6][strips] = {
    {{{120, 0}, {20, 130}, {100, 130}, {0, 0}, {60, 0}},
     {{120, 4}, {40, 128}, {120, 128}, {0, 4}, {60, 4}},
     {{140, 0}, {40, 132}, {120, 132}, {20, 0}, {80, 0}},
     {{140, 4}, {60, 130}, {140, 130}, {20, 4}, {80, 4}},
     {{0, 128}, {80, 128}, {0, 134}, {40, 0}, {100, 0}},
     {{0, 132}, {80, 132}, {80, 134}, {40, 4}, {100, 4}}},
    {{{60, 2}, {120, 2}, {20, 132}, {100, 132}, {0, 2}},
     {{60, 6}, {120, 6}, {40, 130}, {120, 130}, {0, 6}},
     {{80, 2}, {140, 2}, {60, 128}, {140, 128}, {20, 2}},
     {{80, 6}, {140, 6}, {60, 132}, {140, 132}, {20, 6}},
     {{100, 2}, {0, 130}, {80, 130}, {40, 134}, {40, 2}},
     {{100, 6}, {20, 128}, {100, 128}, {120, 134}, {40, 6}}},
};

Place place1080At60(int channel, int k, std::size_t m)
{
    constexpr int columns = 9;
    constexpr int bands = 5;
    const int group = k / (columns * bands);
    const int column = k / bands % columns + (channel % 2) * columns;
    constexpr int columnsInLastFifth = 8;
    if (fifths[m] == 4 && column >= columnsInLastFifth) {
        const int inStrip = column - columnsInLastFifth;
        const int turn = channel % 2 == 0 ? 0 : 2;
        const Strip& strip = strips60[channel / 2][group][(k + turn) % strips];
        const bool isLast = strip.y == lastRow;
        return {strip.x + (isLast ? 4 : 2) * inStrip, strip.y, isLast ? Shape::row : Shape::square};
    }
    const int band = (k + bandOffsets[m] + 2 * channel) % bands;
    return {36 * fifths[m] + 2 * column, 8 + 2 * (channel / 2) + 4 * group + 24 * band, Shape::square};
}

Place place1080At50(int channel, int sequence, int segment, std::size_t m)
{
    constexpr int columns = 9;
    constexpr int bands = 11;
    const int k = sequence * segmentsPerSequence + segment;
    constexpr int bandSequences = 11;
    if (sequence == bandSequences) { // the first and the last row
        constexpr int inFirstRow = 90;
        const int number = static_cast<int>(m) * segmentsPerSequence + segment;
        if (number < inFirstRow)
            return {2 * number, 0, Shape::square};
        return {4 * (number - inFirstRow), lastRow, Shape::row};
    }
    const int band = (k % (columns * bands) + 2 * bandOffsets[m] + 4 * channel) % bands;
    return {36 * fifths[m] + 18 * (channel % 2) + 2 * (k % (columns * bands) / bands),
            2 + 2 * (channel / 2) + 4 * (k / (columns * bands)) + 12 * band, Shape::square};
}

} // namespace

SegmentPlaces placesOf(const System& system, int channel, int sequence, int segment)
{
    const int k = sequence * segmentsPerSequence + segment;
    SegmentPlaces places;
    for (std::size_t m = 0; m < places.size(); m++) {
        if (!system.isHd())
            places[m] = placeSd(system, channel, sequence, segment, m);
        else if (system.height == 720)
            places[m] = place720(channel, k, m);
        else if (system.is50Hz)
            places[m] = place1080At50(channel, sequence, segment, m);
        else
            places[m] = place1080At60(channel, k, m);
    }
    return places;
}

} // namespace kelvcpx::app::dv
