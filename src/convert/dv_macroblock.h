// The parts of a decoded DV macroblock, and where they lie (IEC 61834-2, SMPTE 314M).
#pragma once

#include <cstdint>

namespace kelvcpx::convert {

struct Macroblock {
    const int16_t* samples;

    const int16_t* luma(int block) const { return samples + 64 * block; }
    const int16_t* cr() const { return samples + 64 * 4; }
    const int16_t* cb() const { return samples + 64 * 5; }
};

// How many luma blocks stand side by side and below one another, and which of the macroblock's they are.

struct Row411 {
    static constexpr int across = 4;
    static constexpr int down = 1;
    static constexpr int block(int, int x) { return x; }
};

struct Edge411 {
    static constexpr int across = 2;
    static constexpr int down = 2;
    static constexpr int block(int y, int x) { return 2 * y + x; }
};

struct Square420 : Edge411 {
};

struct Row422 {
    static constexpr int across = 2;
    static constexpr int down = 1;
    static constexpr int block(int, int x) { return 2 * x; }
};

constexpr int segmentMacroblocks = 5;

} // namespace kelvcpx::convert
