// The levels of a block as an encoder of any standard writes them: each with the zeros before it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kelvcpx {

// Calls visit(run, level, isLast) for the first `count` levels that are not 0 in the order of the scan, from
// position `first` on. The first of them stands behind `run` zeros that come before that position.
template <class Scan, class Visit>
inline void forEachLevel(const int16_t* block, const Scan& scan, std::size_t first, int32_t run,
                         int32_t count, Visit visit)
{
    for (std::size_t position = first; position < 64 && count > 0; position++) {
        const int32_t level = block[scan[position]];
        if (level == 0) {
            run++;
            continue;
        }
        count--;
        visit(run, level, count == 0);
        run = 0;
    }
}

} // namespace kelvcpx
