// The lookup table of the AC code.
#pragma once

#include <cstdint>

namespace kelvcpx::dv {

constexpr int32_t indexBits = 9;                 // of both levels, as the segment decoders use them
constexpr int32_t levelEntries = 1 << indexBits; // the second level begins here
constexpr int32_t prefixBits = 4;                // which the index of the second level leaves out

struct Entry {
    int32_t length;
    int32_t run;
    int16_t value;
};

constexpr int32_t unfilledEntry = 255; // a length that no code has

constexpr uint32_t packEntry(uint32_t length, uint32_t run, uint32_t level)
{
    return length | (run & 0xFF) << 8 | (level & 0x3FF) << 22;
}

constexpr Entry unpackEntry(uint32_t entry)
{
    return {static_cast<int32_t>(entry & 0xFF), static_cast<int32_t>(entry >> 8 & 0xFF),
            static_cast<int16_t>(entry >> 16)};
}

} // namespace kelvcpx::dv
