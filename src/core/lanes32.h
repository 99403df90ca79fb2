// Eight numbers of 32 bits side by side: what becomes of eight of 16 bits that are multiplied.
#pragma once

#include "core/vec.h"

#include <bit>
#include <cstdint>

namespace kelvcpx {

// Sums, differences and products wrap.
struct Lanes32 {
    S32x4 low;
    S32x4 high;

    friend Lanes32 operator+(const Lanes32& a, const Lanes32& b)
    {
        return {wrapAdd(a.low, b.low), wrapAdd(a.high, b.high)};
    }
    friend Lanes32 operator-(const Lanes32& a, const Lanes32& b)
    {
        return {wrapSub(a.low, b.low), wrapSub(a.high, b.high)};
    }
    friend Lanes32 operator+(const Lanes32& a, int32_t b)
    {
        return {wrapAdd(a.low, S32x4{} + b), wrapAdd(a.high, S32x4{} + b)};
    }
    friend Lanes32 operator*(const Lanes32& a, int32_t b)
    {
        return {wrapMul(a.low, S32x4{} + b), wrapMul(a.high, S32x4{} + b)};
    }
    friend Lanes32 operator>>(const Lanes32& a, int shift) { return {a.low >> shift, a.high >> shift}; }
};

// Numbers of which the lower and the upper 16 bits are given.
[[gnu::always_inline]] inline Lanes32 joinHalves(S16x8 lower, S16x8 upper)
{
    const S16x8 first = littleEndian ? lower : upper;
    const S16x8 second = littleEndian ? upper : lower;
    return {std::bit_cast<S32x4>(interleaveLow(first, second)),
            std::bit_cast<S32x4>(interleaveHigh(first, second))};
}

// Processors multiply 16 bits by 16 bits in many lanes at once, but few of them 32 bits by 32 bits.
[[gnu::always_inline]] inline Lanes32 multiply(S16x8 a, S16x8 b)
{
    return joinHalves(wrapMul(a, b), multiplyHigh(a, b));
}

[[gnu::always_inline]] inline Lanes32 multiply(S16x8 a, int16_t b)
{
    return multiply(a, splat16(b));
}

inline Lanes32 widen(S16x8 v)
{
    return {widenLow(v), widenHigh(v)};
}

// The low halves.
inline S16x8 narrow(const Lanes32& v)
{
    return narrow(v.low, v.high);
}

} // namespace kelvcpx
