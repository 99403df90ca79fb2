// The reference samples of a block: its own and as many beyond each side as an operation may read. They take
// up exactly their memory, so that AddressSanitizer shows any access before the first or after the last.
#pragma once

#include "support/random.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kelvcpx::test {

struct Border {
    int left = 0;
    int right = 0;
    int above = 0;
    int below = 0;
};

template <class T>
class ReferenceSamples
{
public:
    // `gap` more samples from the end of a row to the next one.
    ReferenceSamples(int width, int height, Border border, int gap)
        : border_(border), columns_(border.left + width + border.right),
          rows_(border.above + height + border.below), step_(columns_ + gap),
          samples_(static_cast<std::size_t>(step_ * (rows_ - 1) + columns_))
    {}

    int32_t step() const { return step_; } // in samples
    const T* data() const { return &samples_[index(0, 0)]; }
    T at(int x, int y) const { return samples_[index(x, y)]; }

    // Sets all samples to what `value` returns for their coordinates.
    template <class Value>
    void fill(Value value)
    {
        for (int y = -border_.above; y < rows_ - border_.above; y++)
            for (int x = -border_.left; x < columns_ - border_.left; x++)
                samples_[index(x, y)] = static_cast<T>(value(x, y));
    }

    void randomise(Random& random, int64_t largest)
    {
        fill([&](int, int) { return random.extreme<T>(0, largest); });
    }

private:
    std::size_t index(int x, int y) const
    {
        return static_cast<std::size_t>((y + border_.above) * step_ + x + border_.left);
    }

    Border border_;
    int columns_;
    int rows_;
    int step_;
    std::vector<T> samples_;
};

} // namespace kelvcpx::test
