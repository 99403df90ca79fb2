// A block that an operation reads. It takes up exactly as much memory as it is allowed to read, so that
// AddressSanitizer shows any access beyond; rows are any number of bytes apart, upwards or downwards.
#pragma once

#include "support/random.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace kelvcpx::test {

template <class T>
class Operand
{
public:
    Operand(Random& random, int width, int height, int64_t low = std::numeric_limits<T>::min(),
            int64_t high = std::numeric_limits<T>::max())
        : upwards_(random.oneIn(3)), stride_(width * static_cast<int>(sizeof(T)) + gap(random)),
          height_(height), bytes_(static_cast<std::size_t>(stride_ * (height - 1)) +
                                  static_cast<std::size_t>(width) * sizeof(T))
    {
        for (int y = 0; y < height; y++)
            for (int x = 0; x < width; x++)
                set(x, y, random.extreme<T>(low, high));
    }

    const T* data() const { return reinterpret_cast<const T*>(row(0)); }
    int32_t step() const { return upwards_ ? -stride_ : stride_; }

    T at(int x, int y) const
    {
        T value;
        std::memcpy(&value, row(y) + static_cast<std::size_t>(x) * sizeof(T), sizeof(T));
        return value;
    }

    void set(int x, int y, T value)
    {
        std::memcpy(bytes_.data() + (row(y) - bytes_.data()) + static_cast<std::size_t>(x) * sizeof(T),
                    &value, sizeof(T));
    }

private:
    // Odd ones too, unless that would misalign the first row.
    int gap(Random& random) const
    {
        return upwards_ ? random.uniform<int>(0, 8) * static_cast<int>(sizeof(T))
                        : random.uniform<int>(0, 17);
    }

    const uint8_t* row(int y) const { return bytes_.data() + (upwards_ ? height_ - 1 - y : y) * stride_; }

    bool upwards_;
    int stride_;
    int height_;
    std::vector<uint8_t> bytes_;
};

// A reference block with all samples that a prediction at a half-sample position needs.
class Reference
{
public:
    Reference(Random& random, int width, int height, bool right, bool down, int distance = 1)
        : right_(right), down_(down), distance_(distance),
          samples_(random, width + (right ? distance : 0), height + (down ? 1 : 0))
    {}

    const uint8_t* data() const { return samples_.data(); }
    int32_t step() const { return samples_.step(); }

    int predict(int x, int y, int r) const
    {
        const int a = samples_.at(x, y);
        if (right_ && down_)
            return (a + samples_.at(x + distance_, y) + samples_.at(x, y + 1) +
                    samples_.at(x + distance_, y + 1) + 2 - r) >>
                   2;
        if (right_)
            return (a + samples_.at(x + distance_, y) + 1 - r) >> 1;
        if (down_)
            return (a + samples_.at(x, y + 1) + 1 - r) >> 1;
        return a;
    }

private:
    bool right_;
    bool down_;
    int distance_;
    Operand<uint8_t> samples_;
};

} // namespace kelvcpx::test
