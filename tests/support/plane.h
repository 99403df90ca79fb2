// A rectangle of elements with a margin all round. Comparing whole planes, margin included, shows at once
// that an operation wrote what it should and nothing else.
#pragma once

#include "support/random.h"

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <vector>

namespace kelvcpx::test {

template <class T>
class Plane
{
public:
    // `margin` elements on every side; `slack` more at the end of each row, so that the step is not the
    // width.
    Plane(int width, int height, int margin = 8, int slack = 3)
        : width_(width), height_(height), margin_(margin), stride_(width + 2 * margin + slack),
          elements_(static_cast<std::size_t>(stride_) * static_cast<std::size_t>(height + 2 * margin))
    {}

    int width() const { return width_; }
    int height() const { return height_; }
    int32_t step() const { return stride_ * static_cast<int32_t>(sizeof(T)); } // bytes
    int32_t stride() const { return stride_; }                                 // elements

    T* data() { return &at(0, 0); }
    const T* data() const { return &at(0, 0); }
    T& at(int x, int y) { return elements_[index(x, y)]; }
    const T& at(int x, int y) const { return elements_[index(x, y)]; }

    // Fills everything, margin included.
    void fill(T value) { elements_.assign(elements_.size(), value); }
    void randomise(Random& random, int64_t low = std::numeric_limits<T>::min(),
                   int64_t high = std::numeric_limits<T>::max())
    {
        for (T& element : elements_)
            element = random.extreme<T>(low, high);
    }

    bool operator==(const Plane&) const = default;

    // Printed by a failed comparison of planes: the block without its margin.
    friend void PrintTo(const Plane& plane, std::ostream* out)
    {
        for (int y = 0; y < plane.height_; y++) {
            *out << '\n';
            for (int x = 0; x < plane.width_; x++)
                *out << +plane.at(x, y) << ' ';
        }
    }

private:
    std::size_t index(int x, int y) const
    {
        return static_cast<std::size_t>((y + margin_) * stride_ + margin_ + x);
    }

    int width_;
    int height_;
    int margin_;
    int stride_;
    std::vector<T> elements_;
};

} // namespace kelvcpx::test
