// Quarter-sample prediction by the formulas of ISO/IEC 14496-2 7.6.2.2, sample by sample.
#pragma once

#include <algorithm>

namespace kelvcpx::test {

// Predicts blocks of a size from sampleAt(x, y), with x and y relative to the block's top left sample.
template <class SampleAt>
class PlainQuarterSample
{
public:
    PlainQuarterSample(SampleAt sampleAt, int width, int height, int acc, int rounding)
        : sampleAt_(sampleAt), width_(width), height_(height), right_(acc & 3), down_((acc >> 2) & 3),
          rounding_(rounding & 1)
    {}

    int operator()(int x, int y) const
    {
        return interpolate(down_, y, height_, [&](int row) {
            return interpolate(right_, x, width_, [&](int column) { return sampleAt_(column, row); });
        });
    }

private:
    // Between the samples at(i) and at(i + 1), of which there are those from 0 to `last`.
    template <class At>
    int interpolate(int fraction, int i, int last, At at) const
    {
        if (fraction == 0)
            return at(i);
        const auto pair = [&](int k) { return at(mirror(i - k, last)) + at(mirror(i + 1 + k, last)); };
        const int sum = 160 * pair(0) - 48 * pair(1) + 24 * pair(2) - 8 * pair(3);
        const int half = std::clamp((sum + 128 - rounding_) >> 8, 0, 255);
        if (fraction == 2)
            return half;
        return (half + at(fraction == 1 ? i : i + 1) + 1 - rounding_) >> 1;
    }

    static int mirror(int i, int last) { return i < 0 ? -1 - i : i > last ? 2 * last + 1 - i : i; }

    SampleAt sampleAt_;
    int width_;
    int height_;
    int right_;
    int down_;
    int rounding_;
};

} // namespace kelvcpx::test
