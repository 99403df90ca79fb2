// Descriptors of syntax elements (ITU-T H.264 7.2, 9.1) beyond those of the bit reader.
#pragma once

#include "common/bit_reader.h"

#include <bit>
#include <cstdint>

namespace kelvcpx::app::h264 {

// ue(v), up to 2^32 - 2.
inline uint32_t readUe(BitReader& reader)
{
    const uint32_t bits = reader.peek(32);
    if (bits == 0)
        throw DamagedUnit("an Exp-Golomb code is too long");
    const int zeros = std::countl_zero(bits);
    reader.skip(zeros + 1);
    return zeros == 0 ? 0 : (uint32_t{1} << zeros) - 1 + reader.read(zeros);
}

inline int32_t readSe(BitReader& reader)
{
    const uint32_t code = readUe(reader);
    const auto magnitude = static_cast<int32_t>((static_cast<uint64_t>(code) + 1) >> 1);
    return (code & 1) != 0 ? magnitude : -magnitude;
}

// ue(v) that must not exceed `most`.
inline int readUeUpTo(BitReader& reader, int most)
{
    const uint32_t value = readUe(reader);
    if (value > static_cast<uint32_t>(most))
        throw DamagedUnit("a value is out of range");
    return static_cast<int>(value);
}

// se(v) that must lie in low..high.
inline int readSeWithin(BitReader& reader, int low, int high)
{
    const int32_t value = readSe(reader);
    if (value < low || value > high)
        throw DamagedUnit("a value is out of range");
    return value;
}

// te(v) with values 0..most.
inline int readTe(BitReader& reader, int most)
{
    return most == 1 ? 1 - reader.readInt(1) : readUeUpTo(reader, most);
}

} // namespace kelvcpx::app::h264
