// Saturation, and 32-bit arithmetic that wraps instead of overflowing.
#pragma once

#include <algorithm>
#include <cstdint>

namespace kelvcpx {

constexpr uint8_t saturate8u(int32_t v)
{
    return static_cast<uint8_t>(std::clamp(v, 0, 255));
}

// -2048..2047, the range of a reconstructed DCT coefficient (ISO/IEC 13818-2 7.4.3).
constexpr int16_t saturateCoefficient(int32_t v)
{
    return static_cast<int16_t>(std::clamp(v, -2048, 2047));
}

constexpr int32_t wrapAdd(int32_t a, int32_t b)
{
    return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

constexpr int32_t wrapSub(int32_t a, int32_t b)
{
    return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

constexpr int32_t wrapMul(int32_t a, int32_t b)
{
    return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}

// -1, 0 or 1 with the sign of v.
constexpr int32_t signOf(int32_t v)
{
    return (v > 0) - (v < 0);
}

} // namespace kelvcpx
