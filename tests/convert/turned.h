// Where samples go when a picture is turned.
#pragma once

#include <utility>

namespace kelvcpx::test {

// Column and row of the turned picture for column x, row y of a picture of this size: turned not at all, a
// quarter turn counter-clockwise, a quarter turn clockwise, or half a turn.
inline std::pair<int, int> turned(int x, int y, int width, int height, int rotation)
{
    switch (rotation) {
    case 1:
        return {y, width - 1 - x};
    case 2:
        return {height - 1 - y, x};
    case 3:
        return {width - 1 - x, height - 1 - y};
    default:
        return {x, y};
    }
}

} // namespace kelvcpx::test
