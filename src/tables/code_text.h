// Codes as the standards print them: the bits, first one first, as text.
#pragma once

#include <cstdint>
#include <string_view>

namespace kelvcpx {

constexpr uint32_t bitsOf(std::string_view code)
{
    uint32_t bits = 0;
    for (const char bit : code)
        bits = 2 * bits + (bit == '1' ? 1 : 0);
    return bits;
}

constexpr int32_t lengthOf(std::string_view code)
{
    return static_cast<int32_t>(code.size());
}

} // namespace kelvcpx
