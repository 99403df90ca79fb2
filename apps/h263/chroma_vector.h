// Chroma vectors from luma vectors.
#pragma once

#include "h263/macroblock.h"

#include <array>
#include <cstddef>

namespace kelvcpx::app::h263 {

// A sixteenth of the sum of four luma vectors, in whole samples, to the half sample of table F.1. Four times
// one vector gives what 6.1.1 prescribes for it: a quarter becomes a half.
inline int chromaComponentOfSum(int sum)
{
    constexpr std::array<int, 16> halves = {0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 2, 2};
    return (sum >> 4) * 2 + halves[static_cast<std::size_t>(sum & 15)];
}

inline Vector chromaVector(const std::array<Vector, 4>& vectors)
{
    Vector sum;
    for (const Vector& vector : vectors) {
        sum.x += vector.x;
        sum.y += vector.y;
    }
    return {chromaComponentOfSum(sum.x), chromaComponentOfSum(sum.y)};
}

} // namespace kelvcpx::app::h263
