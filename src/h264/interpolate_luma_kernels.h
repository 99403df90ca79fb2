// The sixteen positions of luma sample interpolation (ITU-T H.264 8.4.2.2.1) as one template. The letters are
// those of Figure 8-4: G is the full sample, b lies half a sample to the right of it, h half a sample below,
// j at the centre; m is the h of the next column, s the b of the next row.
#pragma once

#include "h264/lanes.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace kelvcpx::h264 {

// Six neighbours in a row or in a column, in the standard's letters those of E to J or A, C, G, M, R, T.
template <class Lanes>
struct Taps {
    Lanes e, f, g, h, i, j;

    [[gnu::always_inline]] void push(Lanes next)
    {
        e = f;
        f = g;
        g = h;
        h = i;
        i = j;
        j = next;
    }
};

// The filter (1, -5, 20, 20, -5, 1), neither rounded nor shifted. Of 8-bit samples it is within -2550..10710.
template <class Lanes>
[[gnu::always_inline]] inline Lanes sixTap(const Taps<Lanes>& t)
{
    const Lanes inner = ((t.g + t.h) << 2) - (t.f + t.i);
    return (t.e + t.j) + inner + (inner << 2);
}

template <class S>
[[gnu::always_inline]] inline typename S::Lanes halfSample(typename S::Lanes sum, Clip<S> clip)
{
    return clip((sum + 16) >> 5);
}

// The centre sample j from sums of the other direction. For 8-bit samples the filter stays within 16
// bits: (outer - 5 * middle + 20 * inner) >> 4 is the same as (((outer - middle) >> 2) + (inner - middle) >>
// 2) + inner, and where the difference of inner and middle had to be limited the sample is clipped anyway.
[[gnu::always_inline]] inline S16x8 centreSample(const Taps<S16x8>& sums, Clip<Samples8> clip)
{
    const S16x8 outer = sums.e + sums.j;
    const S16x8 middle = sums.f + sums.i;
    const S16x8 inner = sums.g + sums.h;
    const S16x8 limited = maximum(minimum(inner - middle, splat16(26000)), splat16(-26000));
    const S16x8 sixteenth = ((((outer - middle) >> 2) + limited) >> 2) + inner;
    return clip((sixteenth + 32) >> 6);
}

[[gnu::always_inline]] inline S32x4 centreSample(const Taps<S32x4>& sums, Clip<Samples16> clip)
{
    return clip((sixTap(sums) + 512) >> 10);
}

// Calls sink(y, taps) for the groups of a column, top to bottom: taps are the groups round row y, as
// groupAt() returns them for the rows from -2 on.
template <class Lanes, int groupRows, class GroupAt, class Sink>
[[gnu::always_inline]] inline void forEachInColumn(int32_t height, GroupAt groupAt, Sink sink)
{
    Taps<Lanes> taps{};
    // The taps of row 0 are complete after five rows.
    for (int32_t y = groupRows - 6; y < height; y += groupRows) {
        for (int i = 4 - groupRows; i < 4; i++)
            taps.push(groupAt(y + i));
        if (y >= 0)
            sink(y, taps);
    }
}

// Interpolates a block `Width` samples wide at dx, dy quarter samples.
template <class S, int Width>
class LumaInterpolation
{
public:
    LumaInterpolation(const BlockMove<S>& block, Clip<S> clip) : block_(block), clip_(clip) {}

    template <int dx, int dy>
    void run() const
    {
        if constexpr (dx == 0 && dy == 0)
            block_.template copy<Width>();
        else if constexpr (dy != 2 || dx % 2 == 0)
            for (int x = 0; x < Width; x += Block::columns) {
                if constexpr (dy == 0)
                    horizontal<dx>(x);
                else if constexpr (dx == 0)
                    vertical<dy>(x);
                else if constexpr (dx == 2)
                    centre<dy>(x);
                else
                    diagonal<dx, dy>(x);
            }
        else
            centreAndVertical<dx>();
    }

private:
    using Sample = typename S::Sample;
    using Lanes = typename S::Lanes;
    using Block = Group<S, Width>;

    [[gnu::always_inline]] Lanes load(std::ptrdiff_t x, std::ptrdiff_t y) const
    {
        return Block::load(block_.src + y * block_.srcStep + x, block_.srcStep);
    }
    [[gnu::always_inline]] void store(std::ptrdiff_t x, std::ptrdiff_t y, Lanes lanes) const
    {
        Block::store(block_.dst + y * block_.dstStep + x, block_.dstStep, lanes);
    }

    [[gnu::always_inline]] Taps<Lanes> rowTaps(std::ptrdiff_t x, std::ptrdiff_t y) const
    {
        return {load(x - 2, y), load(x - 1, y), load(x, y), load(x + 1, y), load(x + 2, y), load(x + 3, y)};
    }
    [[gnu::always_inline]] Lanes horizontalSum(std::ptrdiff_t x, std::ptrdiff_t y) const
    {
        return sixTap(rowTaps(x, y));
    }
    [[gnu::always_inline]] Lanes half(Lanes sum) const { return halfSample<S>(sum, clip_); }

    // a, b, c
    template <int dx>
    void horizontal(int x) const
    {
        for (int32_t y = 0; y < block_.height; y += Block::rows) {
            const auto taps = rowTaps(x, y);
            const Lanes b = half(sixTap(taps));
            if constexpr (dx == 2)
                store(x, y, b);
            else
                store(x, y, averageOf(b, dx == 1 ? taps.g : taps.h));
        }
    }

    // d, h, n
    template <int dy>
    void vertical(int x) const
    {
        forEachInColumn<Lanes, Block::rows>(
            block_.height, [&](int32_t y) { return load(x, y); },
            [&](int32_t y, const Taps<Lanes>& taps) {
                const Lanes h = half(sixTap(taps));
                if constexpr (dy == 2)
                    store(x, y, h);
                else
                    store(x, y, averageOf(h, dy == 1 ? taps.g : taps.h));
            });
    }

    // e, g, p, r: averages of b or s and h or m
    template <int dx, int dy>
    void diagonal(int x) const
    {
        forEachInColumn<Lanes, Block::rows>(
            block_.height, [&](int32_t y) { return load(x + (dx == 3), y); },
            [&](int32_t y, const Taps<Lanes>& taps) {
                const Lanes h = half(sixTap(taps));
                const Lanes b = half(horizontalSum(x, y + (dy == 3)));
                store(x, y, averageOf(b, h));
            });
    }

    // f, j, q
    template <int dy>
    void centre(int x) const
    {
        forEachInColumn<Lanes, Block::rows>(
            block_.height, [&](int32_t y) { return horizontalSum(x, y); },
            [&](int32_t y, const Taps<Lanes>& sums) {
                const Lanes j = centreSample(sums, clip_);
                if constexpr (dy == 2)
                    store(x, y, j);
                else
                    store(x, y, averageOf(j, half(dy == 1 ? sums.g : sums.h)));
            });
    }

    // i, k: filtered vertically first, so that the sums of h are at hand
    template <int dx>
    void centreAndVertical() const
    {
        VerticalSums sums(block_);
        for (int x = 0; x < Width; x += Block::columns)
            for (int32_t y = 0; y < block_.height; y += Block::rows) {
                const auto taps = sums.rowTaps(x, y);
                const Lanes j = centreSample(taps, clip_);
                store(x, y, averageOf(j, half(dx == 1 ? taps.g : taps.h)));
            }
    }

    // The vertical sums of the columns 2 before the block to 3 after it.
    class VerticalSums
    {
    public:
        explicit VerticalSums(const BlockMove<S>& block)
        {
            // The last group overlaps the one before it instead of reaching beyond the columns.
            for (int x = 0; x < width - Row::columns; x += Row::columns)
                fill(block, x);
            fill(block, width - Row::columns);
        }

        [[gnu::always_inline]] Taps<Lanes> rowTaps(int x, int32_t y)
        {
            return {load(x, y),     load(x + 1, y), load(x + 2, y),
                    load(x + 3, y), load(x + 4, y), load(x + 5, y)};
        }

    private:
        using Row = Group<S, 16>;
        using Sum = typename S::Lane;

        static constexpr int width = Width + 5;

        void fill(const BlockMove<S>& block, int x)
        {
            const auto groupAt = [&](int32_t y) {
                return Row::load(block.src + y * block.srcStep + x - 2, block.srcStep);
            };
            const auto sink = [&](int32_t y, const Taps<Lanes>& taps) {
                storeUnaligned(at(x, y), sixTap(taps));
            };
            forEachInColumn<Lanes, 1>(block.height, groupAt, sink);
        }

        Lanes load(std::ptrdiff_t x, std::ptrdiff_t y)
        {
            constexpr int bytes = Block::columns * static_cast<int>(sizeof(Sum));
            return std::bit_cast<Lanes>(
                gatherRows<bytes, Block::rows>(reinterpret_cast<const uint8_t*>(at(x, y)), sizeof sums_[0]));
        }

        Sum* at(std::ptrdiff_t x, std::ptrdiff_t y)
        {
            return &sums_[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)];
        }

        std::array<std::array<Sum, width>, 16> sums_;
    };

    BlockMove<S> block_;
    [[no_unique_address]] Clip<S> clip_;
};

} // namespace kelvcpx::h264
