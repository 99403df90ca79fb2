// Codes as the standards print them, the bits as text, first one first; and as they are written.
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

// The low bits of a number.
struct Code {
    uint32_t bits;
    int32_t length;
};

constexpr Code codeOf(std::string_view code)
{
    return {bitsOf(code), lengthOf(code)};
}

// A code with a sign bit of 0 behind it.
constexpr Code signedCodeOf(std::string_view code)
{
    return {bitsOf(code) << 1, lengthOf(code) + 1};
}

} // namespace kelvcpx
