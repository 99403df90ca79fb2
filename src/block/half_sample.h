// Half-sample prediction (ISO/IEC 13818-2 7.6.4, ITU-T H.263 6.1.2). With a the sample itself, b its right
// neighbour, c the one below it, d the one below b, and r the rounding control, a predicted sample is
//
//     full        a
//     horizontal  (a + b + 1 - r) >> 1
//     vertical    (a + c + 1 - r) >> 1
//     both        (a + b + c + d + 2 - r) >> 2
//
// All of it happens in bytes. The average of a pair rounded up, minus the lowest bit of a ^ b, is the average
// rounded down. The average of two such averages is that of the four samples but for having been rounded up
// too often; combine() takes the excess away.
#pragma once

#include "block/strip.h"

#include <cstddef>
#include <cstdint>

namespace kelvcpx {

// Bit 0: half a sample to the right. Bit 1: half a sample down.
enum class Position : uint8_t { full = 0, horizontal = 1, vertical = 2, both = 3 };

// Predicts a block strip by strip, top to bottom, from the reference samples that the position needs and no
// others. `Distance` is that of horizontal neighbours: 1, or 2 where two colour components alternate. Always
// inlined, because a call would cost as much as a strip.
template <Position position, int Width, int Rows = stripRows<Width>, int Distance = 1>
class HalfSampleStrips
{
public:
    HalfSampleStrips(const uint8_t* ref, std::ptrdiff_t step, int32_t rounding)
        : ref_(ref), step_(step), roundDown_(splat8((rounding & 1) != 0 ? 0xff : 0))
    {
        if constexpr (position == Position::both && Rows == 1)
            top_ = pairs(0);
    }

    [[gnu::always_inline]] U8x16 next()
    {
        const U8x16 strip = predict();
        ref_ += Rows * step_;
        return strip;
    }

private:
    // Horizontal pairs: their averages rounded up, and in the lowest bits what was rounded.
    struct Pairs {
        U8x16 average;
        U8x16 odd;
    };

    U8x16 load(std::ptrdiff_t offset) const { return gatherRows<Width, Rows>(ref_ + offset, step_); }

    [[gnu::always_inline]] Pairs pairs(std::ptrdiff_t offset) const
    {
        const U8x16 a = load(offset);
        const U8x16 b = load(offset + Distance);
        return {average(a, b), a ^ b};
    }

    [[gnu::always_inline]] U8x16 predict()
    {
        if constexpr (position == Position::full) {
            return load(0);
        } else if constexpr (position != Position::both) {
            const U8x16 a = load(0);
            const U8x16 b = load(position == Position::horizontal ? Distance : step_);
            return average(a, b) - ((a ^ b) & roundDown_ & splat8(1));
        } else if constexpr (Rows == 1) {
            const Pairs bottom = pairs(step_);
            const U8x16 strip = combine(top_, bottom);
            top_ = bottom;
            return strip;
        } else {
            return combine(pairs(0), pairs(step_));
        }
    }

    // With s the sum of the four samples and e the number of odd pair sums, the average of the averages is
    // (s + e + 2) >> 2. That is one more than (s + 2) >> 2 if a pair sum and the sum of the averages are odd,
    // and one more than (s + 1) >> 2 if both pair sums, or else the sum of the averages, are odd.
    U8x16 combine(const Pairs& top, const Pairs& bottom) const
    {
        const U8x16 odd = top.average ^ bottom.average;
        const U8x16 either = top.odd | bottom.odd;
        const U8x16 each = top.odd & bottom.odd;
        const U8x16 excess = (odd & (either | roundDown_)) | (each & roundDown_);
        return average(top.average, bottom.average) - (excess & splat8(1));
    }

    const uint8_t* ref_;
    std::ptrdiff_t step_;
    U8x16 roundDown_; // all ones for rounding control 1
    Pairs top_{};     // of the row that the next strip starts with, where a strip is one row
};

} // namespace kelvcpx
