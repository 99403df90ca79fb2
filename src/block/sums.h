// Sums over the samples of a block, which come strip by strip. A strip that is not full ends with zeros on
// both sides.
#pragma once

#include "core/vec.h"

#include <bit>
#include <cstdint>
#include <cstdlib>

namespace kelvcpx {

inline int32_t sumOf(S32x4 v)
{
    v += __builtin_shufflevector(v, v, 2, 3, 2, 3);
    v += __builtin_shufflevector(v, v, 1, 1, 1, 1);
    return v[0];
}

// The sum of the absolute differences between the samples of up to 64 strips. Most processors have an
// instruction for sixteen of them, which GCC finds in a loop over the samples alone.
#if defined(__GNUC__) && !defined(__clang__)

class AbsoluteDifferences
{
public:
    [[gnu::always_inline]] void add(U8x16 a, U8x16 b)
    {
#pragma GCC unroll 1
        for (int i = 0; i < 16; i++)
            sum_ += std::abs(a[i] - b[i]);
    }

    int32_t sum() const
    {
        return sum_;
    }

private:
    int32_t sum_ = 0;
};

#else

class AbsoluteDifferences
{
public:
    void add(U8x16 a, U8x16 b)
    {
        const U8x16 d = maximum(a, b) - minimum(a, b);
        sums_ += widenLow(d) + widenHigh(d);
    }

    int32_t sum() const { return sumOf(widenLow(sums_) + widenHigh(sums_)); }

private:
    S16x8 sums_{};
};

#endif

// The sum of the squares of differences.
class SquaredDifferences
{
public:
    [[gnu::always_inline]] void add(U8x16 a, U8x16 b)
    {
        add(widenLow(a) - widenLow(b));
        add(widenHigh(a) - widenHigh(b));
    }

    int32_t sum() const { return sumOf(std::bit_cast<S32x4>(sums_)); }

private:
    // Squares of -255..255 fit into 16 bits.
    [[gnu::always_inline]] void add(S16x8 d)
    {
        const auto squares = std::bit_cast<U32x4>(wrapMul(d, d));
        sums_ += (squares & 0xFFFF) + (squares >> 16);
    }

    U32x4 sums_{};
};

} // namespace kelvcpx
