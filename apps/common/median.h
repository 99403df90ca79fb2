// The median by which vectors are predicted from those of neighbours.
#pragma once

#include <algorithm>

namespace kelvcpx::app {

template <class Number>
constexpr Number median(Number a, Number b, Number c)
{
    return std::max(std::min(a, b), std::min(std::max(a, b), c));
}

} // namespace kelvcpx::app
