// Chroma sample interpolation (ITU-T H.264 8.4.2.2.2): the weighted mean of four neighbours A, B (right), C
// (below) and D (below B),
//
//     ((8 - dx) * (8 - dy) * A + dx * (8 - dy) * B + (8 - dx) * dy * C + dx * dy * D + 32) >> 6
//
// computed as a horizontal mean in each row and a vertical one of two rows.
#pragma once

#include "h264/lanes.h"

#include <cstddef>
#include <cstdint>

namespace kelvcpx::h264 {

// Interpolates a block `Width` samples wide, to the right, down or both. Samples of weight 0 are not read.
template <class S, int Width, bool right, bool down>
class ChromaInterpolation
{
public:
    ChromaInterpolation(const BlockMove<S>& block, int32_t dx, int32_t dy)
        : block_(block), dx_(S::splat(dx)), dy_(S::splat(dy))
    {}

    void run() const
    {
        for (int x = 0; x < Width; x += Block::columns)
            if constexpr (down)
                interpolateDown(x);
            else
                interpolateRight(x);
    }

private:
    using Lanes = typename S::Lanes;
    using Block = Group<S, Width>;

    void interpolateRight(int x) const
    {
        for (int32_t y = 0; y < block_.height; y += Block::rows)
            store(x, y, (rowMean(x, y) + 4) >> 3);
    }

    void interpolateDown(int x) const
    {
        Lanes top = rowMean(x, 0);
        for (int32_t y = 0; y < block_.height; y += Block::rows) {
            if constexpr (Block::rows == 2)
                top = rowMean(x, y);
            const Lanes bottom = rowMean(x, y + 1);
            store(x, y, (mean(top, bottom, dy_) + 32) >> 6);
            top = bottom;
        }
    }

    // Eight times the mean of a and b, which is `eighths` away from a.
    [[gnu::always_inline]] static Lanes mean(Lanes a, Lanes b, Lanes eighths)
    {
        return (a << 3) + (b - a) * eighths;
    }

    [[gnu::always_inline]] Lanes rowMean(int x, std::ptrdiff_t y) const
    {
        const Lanes a = load(x, y);
        if constexpr (right)
            return mean(a, load(x + 1, y), dx_);
        else
            return a << 3;
    }

    [[gnu::always_inline]] Lanes load(std::ptrdiff_t x, std::ptrdiff_t y) const
    {
        return Block::load(block_.src + y * block_.srcStep + x, block_.srcStep);
    }
    [[gnu::always_inline]] void store(std::ptrdiff_t x, std::ptrdiff_t y, Lanes lanes) const
    {
        Block::store(block_.dst + y * block_.dstStep + x, block_.dstStep, lanes);
    }

    BlockMove<S> block_;
    Lanes dx_;
    Lanes dy_;
};

} // namespace kelvcpx::h264
