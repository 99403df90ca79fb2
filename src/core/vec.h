// 16 bytes at a time: the compilers' generic vector types, which become the registers of any processor that
// has some and plain code elsewhere. Only the operations that the kernels need.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace kelvcpx {

template <class T>
using Vec16 [[gnu::vector_size(16)]] = T;

using U8x16 = Vec16<uint8_t>;
using S16x8 = Vec16<int16_t>;
using U16x8 = Vec16<uint16_t>;
using S32x4 = Vec16<int32_t>;
using U32x4 = Vec16<uint32_t>;

// Reads a T from any address.
template <class T>
T loadUnaligned(const void* p)
{
    T value;
    std::memcpy(&value, p, sizeof value);
    return value;
}

template <class T>
void storeUnaligned(void* p, T value)
{
    std::memcpy(p, &value, sizeof value);
}

inline U8x16 splat8(uint8_t value)
{
    return U8x16{} + value;
}

inline S16x8 splat16(int16_t value)
{
    return S16x8{} + value;
}

inline U8x16 minimum(U8x16 a, U8x16 b)
{
    return a < b ? a : b;
}

inline U8x16 maximum(U8x16 a, U8x16 b)
{
    return a > b ? a : b;
}

inline S16x8 minimum(S16x8 a, S16x8 b)
{
    return a < b ? a : b;
}

inline S16x8 maximum(S16x8 a, S16x8 b)
{
    return a > b ? a : b;
}

inline S32x4 minimum(S32x4 a, S32x4 b)
{
    return a < b ? a : b;
}

inline S32x4 maximum(S32x4 a, S32x4 b)
{
    return a > b ? a : b;
}

// Sums, differences and products that wrap instead of overflowing.

inline S16x8 wrapAdd(S16x8 a, S16x8 b)
{
    return std::bit_cast<S16x8>(std::bit_cast<U16x8>(a) + std::bit_cast<U16x8>(b));
}

inline S16x8 wrapSub(S16x8 a, S16x8 b)
{
    return std::bit_cast<S16x8>(std::bit_cast<U16x8>(a) - std::bit_cast<U16x8>(b));
}

inline S16x8 wrapMul(S16x8 a, S16x8 b)
{
    return std::bit_cast<S16x8>(std::bit_cast<U16x8>(a) * std::bit_cast<U16x8>(b));
}

inline S32x4 wrapAdd(S32x4 a, S32x4 b)
{
    return std::bit_cast<S32x4>(std::bit_cast<U32x4>(a) + std::bit_cast<U32x4>(b));
}

inline S32x4 wrapSub(S32x4 a, S32x4 b)
{
    return std::bit_cast<S32x4>(std::bit_cast<U32x4>(a) - std::bit_cast<U32x4>(b));
}

inline S32x4 wrapMul(S32x4 a, S32x4 b)
{
    return std::bit_cast<S32x4>(std::bit_cast<U32x4>(a) * std::bit_cast<U32x4>(b));
}

template <class Lanes>
[[gnu::always_inline]] inline Lanes absolute(Lanes v)
{
    return maximum(v, -v);
}

// Each lane clipped to low..high.
template <class Lanes>
[[gnu::always_inline]] inline Lanes clamped(Lanes v, Lanes low, Lanes high)
{
    return minimum(maximum(v, low), high);
}

// v, but at most `limit` in magnitude.
template <class Lanes>
[[gnu::always_inline]] inline Lanes limited(Lanes v, Lanes limit)
{
    return clamped(v, -limit, limit);
}

// Each lane clipped to 0..255.
inline S16x8 saturate8u(S16x8 v)
{
    return clamped(v, S16x8{}, splat16(255));
}

// The lanes of a where those of the mask are set, of b elsewhere.
template <class Lanes>
[[gnu::always_inline]] inline Lanes select(Lanes mask, Lanes a, Lanes b)
{
    return mask != 0 ? a : b;
}

// Whether any lane is not 0, as that of a mask is if the comparison is true.
template <class Lanes>
[[gnu::always_inline]] inline bool anyLane(Lanes v)
{
    const auto halves = std::bit_cast<Vec16<uint64_t>>(v);
    return (halves[0] | halves[1]) != 0;
}

// average() is (a + b + 1) >> 1 in each lane, multiplyHigh() the upper 16 bits of the 32-bit products. Most
// processors have an instruction for each. GCC finds it when it vectorises a loop, which must not have been
// unrolled before; clang finds it in an expression, but an average only where neither of its operands is
// another one.
#if defined(__GNUC__) && !defined(__clang__)

[[gnu::always_inline]] inline U8x16 average(U8x16 a, U8x16 b)
{
    U8x16 result;
#pragma GCC unroll 1
    for (int i = 0; i < 16; i++)
        result[i] = static_cast<uint8_t>((a[i] + b[i] + 1) >> 1);
    return result;
}

[[gnu::always_inline]] inline S16x8 multiplyHigh(S16x8 a, S16x8 b)
{
    S16x8 result;
#pragma GCC unroll 1
    for (int i = 0; i < 8; i++)
        result[i] = static_cast<int16_t>(a[i] * b[i] >> 16);
    return result;
}

#else

inline U8x16 average(U8x16 a, U8x16 b)
{
    // a | b is (a & b) + (a ^ b), half of a + b is (a & b) + (a ^ b) / 2.
    return (a | b) - ((a ^ b) >> 1);
}

inline S16x8 multiplyHigh(S16x8 a, S16x8 b)
{
    using S32x8 [[gnu::vector_size(32)]] = int32_t;
    return __builtin_convertvector(
        (__builtin_convertvector(a, S32x8) * __builtin_convertvector(b, S32x8)) >> 16, S16x8);
}

#endif

// Lane i becomes lane i + Distance; zero where there is none. Distance is 1 or -1.
template <int Distance>
U8x16 shifted(U8x16 v)
{
    static_assert(Distance == 1 || Distance == -1);
    if constexpr (Distance == 1)
        return __builtin_shufflevector(v, U8x16{}, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16);
    else
        return __builtin_shufflevector(v, U8x16{}, 16, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14);
}

// The lanes of the lower or upper halves of a and b by turns.
inline U8x16 interleaveLow(U8x16 a, U8x16 b)
{
    return __builtin_shufflevector(a, b, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
}

inline U8x16 interleaveHigh(U8x16 a, U8x16 b)
{
    return __builtin_shufflevector(a, b, 8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15, 31);
}

inline S16x8 interleaveLow(S16x8 a, S16x8 b)
{
    return __builtin_shufflevector(a, b, 0, 8, 1, 9, 2, 10, 3, 11);
}

inline S16x8 interleaveHigh(S16x8 a, S16x8 b)
{
    return __builtin_shufflevector(a, b, 4, 12, 5, 13, 6, 14, 7, 15);
}

inline U16x8 interleaveLow(U16x8 a, U16x8 b)
{
    return __builtin_shufflevector(a, b, 0, 8, 1, 9, 2, 10, 3, 11);
}

inline U16x8 interleaveHigh(U16x8 a, U16x8 b)
{
    return __builtin_shufflevector(a, b, 4, 12, 5, 13, 6, 14, 7, 15);
}

inline U32x4 interleaveLow(U32x4 a, U32x4 b)
{
    return __builtin_shufflevector(a, b, 0, 4, 1, 5);
}

inline U32x4 interleaveHigh(U32x4 a, U32x4 b)
{
    return __builtin_shufflevector(a, b, 2, 6, 3, 7);
}

// The lower halves, or the upper halves, of a and b.
inline U32x4 joinLow(U32x4 a, U32x4 b)
{
    return __builtin_shufflevector(a, b, 0, 1, 4, 5);
}

inline U32x4 joinHigh(U32x4 a, U32x4 b)
{
    return __builtin_shufflevector(a, b, 2, 3, 6, 7);
}

constexpr bool littleEndian = std::endian::native == std::endian::little;

// The lanes of the lower half with 16 bits each.
inline S16x8 widenLow(U8x16 v)
{
    return std::bit_cast<S16x8>(littleEndian ? interleaveLow(v, U8x16{}) : interleaveLow(U8x16{}, v));
}

// The lanes of the upper half with 16 bits each.
inline S16x8 widenHigh(U8x16 v)
{
    return std::bit_cast<S16x8>(littleEndian ? interleaveHigh(v, U8x16{}) : interleaveHigh(U8x16{}, v));
}

// The signed lanes of the lower half with 32 bits each.
inline S32x4 widenLow(S16x8 v)
{
    return std::bit_cast<S32x4>(interleaveLow(v, v)) >> 16;
}

// The signed lanes of the upper half with 32 bits each.
inline S32x4 widenHigh(S16x8 v)
{
    return std::bit_cast<S32x4>(interleaveHigh(v, v)) >> 16;
}

// The low halves of the lanes of two vectors.
inline S16x8 narrow(S32x4 low, S32x4 high)
{
    const auto a = std::bit_cast<S16x8>(low);
    const auto b = std::bit_cast<S16x8>(high);
    if constexpr (littleEndian)
        return __builtin_shufflevector(a, b, 0, 2, 4, 6, 8, 10, 12, 14);
    return __builtin_shufflevector(a, b, 1, 3, 5, 7, 9, 11, 13, 15);
}

// The low bytes of the lanes of two vectors.
inline U8x16 narrow(S16x8 low, S16x8 high)
{
    const auto a = std::bit_cast<U8x16>(low);
    const auto b = std::bit_cast<U8x16>(high);
    if constexpr (littleEndian)
        return __builtin_shufflevector(a, b, 0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30);
    return __builtin_shufflevector(a, b, 1, 3, 5, 7, 9, 11, 13, 15, 17, 19, 21, 23, 25, 27, 29, 31);
}

} // namespace kelvcpx
