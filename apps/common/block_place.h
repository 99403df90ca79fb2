// Where the blocks of macroblocks of 4:2:0 lie.
#pragma once

#include <cstddef>

namespace kelvcpx::app {

// In samples of the plane.
struct BlockPlace {
    std::size_t plane;
    int x;
    int y;
};

// Of block 0..5 of a macroblock.
constexpr BlockPlace blockPlace(std::size_t block, int column, int row)
{
    if (block >= 4)
        return {block - 3, 8 * column, 8 * row};
    const int index = static_cast<int>(block);
    return {0, 16 * column + 8 * (index & 1), 16 * row + 8 * (index >> 1)};
}

} // namespace kelvcpx::app
