// Bits as a text of zeros and ones, first one first.
#pragma once

#include <cstdint>
#include <string>

namespace kelvcpx::test {

// The low `length` bits of a number.
inline std::string binary(int64_t value, int length)
{
    std::string text;
    for (int i = length - 1; i >= 0; i--)
        text += (value >> i & 1) != 0 ? '1' : '0';
    return text;
}

} // namespace kelvcpx::test
