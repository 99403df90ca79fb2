// Where the samples of a picture go when it is turned.
#pragma once

#include "core/rows.h"

#include <cstddef>
#include <cstdint>

namespace kelvcpx::convert {

enum class Rotation : int32_t { none = 0, counterClockwise = 1, clockwise = 2, half = 3 };

constexpr bool isRotation(int32_t rotation)
{
    return rotation >= 0 && rotation <= 3;
}

// The destination of a picture that is `width` samples wide and `height` rows high before it is turned.
template <class T>
class RotatedPlane
{
public:
    RotatedPlane(T* data, std::ptrdiff_t step, std::ptrdiff_t width, std::ptrdiff_t height, Rotation rotation)
        : first_(data), column_(sizeof(T)), row_(step)
    {
        constexpr std::ptrdiff_t size = sizeof(T);
        if (rotation == Rotation::counterClockwise || rotation == Rotation::clockwise) {
            column_ = step;
            row_ = size;
        }
        // Walks along columns or rows backwards, from the last one.
        if (rotation == Rotation::counterClockwise || rotation == Rotation::half) {
            first_ = advanceBytes(first_, (width - 1) * column_);
            column_ = -column_;
        }
        if (rotation == Rotation::clockwise || rotation == Rotation::half) {
            first_ = advanceBytes(first_, (height - 1) * row_);
            row_ = -row_;
        }
    }

    // The place of the source's sample in column x of row y.
    T* at(std::ptrdiff_t x, std::ptrdiff_t y) const { return advanceBytes(first_, x * column_ + y * row_); }

    // Samples side by side in the source.
    void storeRow(std::ptrdiff_t x, std::ptrdiff_t y, const T* samples, std::ptrdiff_t count) const
    {
        T* const p = at(x, y);
        for (std::ptrdiff_t i = 0; i < count; i++)
            *advanceBytes(p, i * column_) = samples[i];
    }

private:
    T* first_;
    std::ptrdiff_t column_; // bytes from a source column to the next one, and from a source row
    std::ptrdiff_t row_;
};

} // namespace kelvcpx::convert
