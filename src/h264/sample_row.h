// Rows of samples for intra prediction: written a word at a time, or filtered in vectors.
#pragma once

#include "core/vec.h"
#include "h264/lanes.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

namespace kelvcpx::h264 {

// Calls f with the constants 0..n - 1.
template <int n, class F>
[[gnu::always_inline]] inline void forConstants(F f)
{
    [&]<int... i>(std::integer_sequence<int, i...>)
    {
        (f(std::integral_constant<int, i>{}), ...);
    }
    (std::make_integer_sequence<int, n>{});
}

// Samples side by side as they are in memory.
template <class Word, class Sample, class Value>
[[gnu::always_inline]] inline Word wordOf(Value valueAt)
{
    constexpr int count = sizeof(Word) / sizeof(Sample);
    Word word = 0;
    forConstants<count>([&](auto x) {
        constexpr int place = littleEndian ? x : count - 1 - x;
        word |= static_cast<Word>(valueAt(x)) << (8 * static_cast<int>(sizeof(Sample)) * place);
    });
    return word;
}

// Writes n samples at once.
template <int n, class Sample, class Value>
[[gnu::always_inline]] inline void storeRow(Sample* dst, Value valueAt)
{
    using Word = std::conditional_t<n * sizeof(Sample) == 4, uint32_t, uint64_t>;
    constexpr int count = sizeof(Word) / sizeof(Sample);
    forConstants<n / count>([&](auto i) {
        storeUnaligned(dst + i * count, wordOf<Word, Sample>([&](auto x) {
                           return valueAt(std::integral_constant<int, i * count + x>{});
                       }));
    });
}

// (a + 2 * b + c + 2) >> 2 of samples side by side.
template <class Vector>
[[gnu::always_inline]] inline Vector threeTap(Vector a, Vector b, Vector c)
{
    const Vector half = average(a, c) - ((a ^ c) & 1); // rounded down
    return average(b, half);
}

// Sixteen samples in a row, and what the filtering of reference samples (8.3.2.2.1) needs of them. There is
// one for each type of samples.
template <class Sample>
class SampleRow;

template <>
class SampleRow<uint8_t>
{
public:
    SampleRow(uint64_t first, uint64_t second)
        : samples_(std::bit_cast<U8x16>(Vec16<uint64_t>{first, second}))
    {}

    // Eight samples of a row or column.
    static uint64_t eight(const uint8_t* p) { return loadUnaligned<uint64_t>(p); }
    static uint64_t eight(const uint8_t* p, std::ptrdiff_t step)
    {
        return wordOf<uint64_t, uint8_t>([=](int y) { return p[y * step]; });
    }
    static uint64_t eightTimes(uint8_t sample) { return uint64_t{0x0101010101010101} * sample; }

    // Before the first sample is `before`, behind the last one there is another of its kind.
    SampleRow filtered(uint8_t before) const
    {
        const U8x16 left = shifted<-1>(samples_) | U8x16{before};
        const U8x16 right =
            shifted<1>(samples_) | (samples_ & U8x16{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 255});
        return SampleRow(threeTap(left, samples_, right));
    }

    void store(uint8_t* p) const { storeUnaligned(p, samples_); }

private:
    explicit SampleRow(U8x16 samples) : samples_(samples) {}

    U8x16 samples_;
};

template <>
class SampleRow<uint16_t>
{
public:
    SampleRow(U16x8 first, U16x8 second) : first_(first), second_(second) {}

    static U16x8 eight(const uint16_t* p) { return loadUnaligned<U16x8>(p); }
    static U16x8 eight(const uint16_t* p, std::ptrdiff_t step)
    {
        U16x8 samples{};
        for (int y = 0; y < 8; y++)
            samples[y] = p[y * step];
        return samples;
    }
    static U16x8 eightTimes(uint16_t sample) { return U16x8{} + sample; }

    SampleRow filtered(uint16_t before) const
    {
        const U16x8 firstLeft =
            __builtin_shufflevector(eightTimes(before), first_, 0, 8, 9, 10, 11, 12, 13, 14);
        const U16x8 firstRight = __builtin_shufflevector(first_, second_, 1, 2, 3, 4, 5, 6, 7, 8);
        const U16x8 secondLeft = __builtin_shufflevector(first_, second_, 7, 8, 9, 10, 11, 12, 13, 14);
        const U16x8 secondRight = __builtin_shufflevector(second_, second_, 1, 2, 3, 4, 5, 6, 7, 7);
        return {threeTap(firstLeft, first_, firstRight), threeTap(secondLeft, second_, secondRight)};
    }

    void store(uint16_t* p) const { storeUnaligned(p, std::array{first_, second_}); }

private:
    U16x8 first_;
    U16x8 second_;
};

} // namespace kelvcpx::h264
