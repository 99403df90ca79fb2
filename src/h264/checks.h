// Argument checks of the H.264 prediction operations.
#pragma once

#include <cstdint>

namespace kelvcpx::h264 {

// True if `value` is one of the others.
template <class... T>
constexpr bool isAnyOf(int32_t value, T... others)
{
    return ((value == others) || ...);
}

// True for a fraction of a motion vector in units of 1 / denominator.
constexpr bool isFraction(int32_t value, int32_t denominator)
{
    return value >= 0 && value < denominator;
}

} // namespace kelvcpx::h264
