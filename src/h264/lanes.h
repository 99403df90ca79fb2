// Samples as the H.264 filters compute with them: eight of 8 bits in 16-bit lanes, or four of up to 16 bits
// in 32-bit lanes. Samples8 and Samples16 are the parameter of every kernel that exists for both; `Lanes` is
// the vector, `Sample` the element of a plane. All steps are in samples.
#pragma once

#include "block/strip.h"
#include "core/vec.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace kelvcpx::h264 {

// widenLow() and widenHigh() make lanes of the lower and the upper half of a vector of samples, narrow()
// makes one of two vectors of lanes, or its lower half of one.
struct Samples8 {
    using Sample = uint8_t;
    using SampleVector = U8x16;
    using Lane = int16_t;
    using Lanes = Vec16<Lane>;
    static constexpr int lanes = 8;

    static Lanes splat(int32_t value) { return splat16(static_cast<int16_t>(value)); }
    static Lanes widenLow(SampleVector samples) { return kelvcpx::widenLow(samples); }
    static Lanes widenHigh(SampleVector samples) { return kelvcpx::widenHigh(samples); }
    static SampleVector narrow(Lanes lanes) { return kelvcpx::narrow(lanes, lanes); }
    static SampleVector narrow(Lanes low, Lanes high) { return kelvcpx::narrow(low, high); }
};

struct Samples16 {
    using Sample = uint16_t;
    using SampleVector = U16x8;
    using Lane = int32_t;
    using Lanes = Vec16<Lane>;
    static constexpr int lanes = 4;

    static Lanes splat(int32_t value) { return Lanes{} + value; }
    static Lanes widenLow(SampleVector samples)
    {
        return std::bit_cast<Lanes>(littleEndian ? interleaveLow(samples, U16x8{})
                                                 : interleaveLow(U16x8{}, samples));
    }
    static Lanes widenHigh(SampleVector samples)
    {
        return std::bit_cast<Lanes>(littleEndian ? interleaveHigh(samples, U16x8{})
                                                 : interleaveHigh(U16x8{}, samples));
    }
    // In three steps, for which processors have instructions; GCC takes the words one by one otherwise.
    static SampleVector narrow(Lanes lanes)
    {
        auto words = std::bit_cast<U16x8>(littleEndian ? lanes : lanes << 16);
        words = __builtin_shufflevector(words, words, 0, 2, 2, 3, 4, 5, 6, 7);
        words = __builtin_shufflevector(words, words, 0, 1, 2, 3, 4, 6, 6, 7);
        const auto pairs = std::bit_cast<U32x4>(words);
        return std::bit_cast<U16x8>(__builtin_shufflevector(pairs, pairs, 0, 2, 0, 2));
    }
    static SampleVector narrow(Lanes low, Lanes high)
    {
        return std::bit_cast<SampleVector>(kelvcpx::narrow(low, high));
    }
};

// (a + b + 1) >> 1 of samples side by side.
using kelvcpx::average;

inline U16x8 average(U16x8 a, U16x8 b)
{
    return (a | b) - ((a ^ b) >> 1);
}

// The same of samples in lanes.
template <class Lanes>
Lanes averageOf(Lanes a, Lanes b)
{
    return (a + b + 1) >> 1;
}

// Clips lanes to the range of the samples (Clip1 of ITU-T H.264 5.7).
template <class S>
struct Clip;

template <>
struct Clip<Samples8> {
    static constexpr int32_t largest() { return 255; }

    S16x8 operator()(S16x8 v) const { return saturate8u(v); }
};

template <>
struct Clip<Samples16> {
    // A bit depth outside 1..16 counts as the nearest one in that range.
    explicit Clip(int32_t bitDepth) : largest_((1 << std::clamp(bitDepth, 1, 16)) - 1) {}

    int32_t largest() const { return largest_; }

    S32x4 operator()(S32x4 v) const { return clamped(v, S32x4{}, Samples16::splat(largest_)); }

private:
    int32_t largest_;
};

// Reads samples that lie side by side in each of some rows into one vector, row by row; the rest is zero.
template <class S, int columns, int rows>
[[gnu::always_inline]] inline typename S::SampleVector gather(const typename S::Sample* p,
                                                              std::ptrdiff_t step)
{
    constexpr int bytes = sizeof *p;
    return std::bit_cast<typename S::SampleVector>(
        gatherRows<columns * bytes, rows>(reinterpret_cast<const uint8_t*>(p), step * bytes));
}

template <class S, int columns, int rows>
[[gnu::always_inline]] inline void scatter(typename S::Sample* p, std::ptrdiff_t step,
                                           typename S::SampleVector samples)
{
    constexpr int bytes = sizeof *p;
    scatterRows<columns * bytes, rows>(reinterpret_cast<uint8_t*>(p), step * bytes,
                                       std::bit_cast<U8x16>(samples));
}

// A strip: the samples of a block that one vector holds. It is part of a row, or of two rows of a narrow
// block.
template <class S, int Width>
struct Strip {
    using Sample = typename S::Sample;
    using Vector = typename S::SampleVector;

    static constexpr int columns = std::min(Width, 16 / static_cast<int>(sizeof(Sample)));
    static constexpr int rows = columns * sizeof(Sample) < 16 ? 2 : 1;

    static Vector load(const Sample* p, std::ptrdiff_t step) { return gather<S, columns, rows>(p, step); }
    static void store(Sample* p, std::ptrdiff_t step, Vector v) { scatter<S, columns, rows>(p, step, v); }
};

// A group: the same with samples in lanes, of which a vector holds half as many.
template <class S, int Width>
struct Group {
    using Sample = typename S::Sample;
    using Lanes = typename S::Lanes;

    static constexpr int columns = std::min(Width, S::lanes);
    static constexpr int rows = columns < S::lanes ? 2 : 1;

    static Lanes load(const Sample* p, std::ptrdiff_t step)
    {
        return S::widenLow(gather<S, columns, rows>(p, step));
    }
    static void store(Sample* p, std::ptrdiff_t step, Lanes lanes)
    {
        scatter<S, columns, rows>(p, step, S::narrow(lanes));
    }
};

// A block that is predicted and the reference samples at its place.
template <class S>
struct BlockMove {
    const typename S::Sample* src;
    std::ptrdiff_t srcStep;
    typename S::Sample* dst;
    std::ptrdiff_t dstStep;
    int32_t height;

    template <int Width>
    void copy() const
    {
        for (int32_t y = 0; y < height; y++)
            std::memcpy(dst + y * dstStep, src + y * srcStep, Width * sizeof *src);
    }
};

} // namespace kelvcpx::h264
