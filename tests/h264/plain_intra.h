// Intra prediction as the equations of ITU-T H.264 8.3 give it, sample by sample.
#pragma once

#include "support/plane.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>

namespace kelvcpx::test {

// Which samples around a block are available.
struct Around {
    bool left;
    bool top;
    bool topLeft;
    bool topRight;
};

using SampleAt = std::function<int(int x, int y)>; // relative to the block

// 8.3.1.2 and 8.3.2.2 for a block of n x n, from samples p that are all there; DC is not among these modes.
inline int plainDirectional(int mode, int n, const SampleAt& p, int x, int y)
{
    const auto tap3 = [&](int ax, int ay, int bx, int by, int cx, int cy) {
        return (p(ax, ay) + 2 * p(bx, by) + p(cx, cy) + 2) >> 2;
    };
    const auto tap2 = [&](int ax, int ay, int bx, int by) { return (p(ax, ay) + p(bx, by) + 1) >> 1; };
    switch (mode) {
    case 0:
        return p(x, -1);
    case 1:
        return p(-1, y);
    case 3:
        return x == n - 1 && y == n - 1 ? (p(2 * n - 2, -1) + 3 * p(2 * n - 1, -1) + 2) >> 2
                                        : tap3(x + y, -1, x + y + 1, -1, x + y + 2, -1);
    case 4:
        return x > y   ? tap3(x - y - 2, -1, x - y - 1, -1, x - y, -1)
               : x < y ? tap3(-1, y - x - 2, -1, y - x - 1, -1, y - x)
                       : tap3(0, -1, -1, -1, -1, 0);
    case 5: {
        const int z = 2 * x - y;
        const int i = x - (y >> 1);
        return z >= 0 && z % 2 == 0 ? tap2(i - 1, -1, i, -1)
               : z >= 0             ? tap3(i - 2, -1, i - 1, -1, i, -1)
               : z == -1            ? tap3(-1, 0, -1, -1, 0, -1)
                                    : tap3(-1, y - 2 * x - 1, -1, y - 2 * x - 2, -1, y - 2 * x - 3);
    }
    case 6: {
        const int z = 2 * y - x;
        const int i = y - (x >> 1);
        return z >= 0 && z % 2 == 0 ? tap2(-1, i - 1, -1, i)
               : z >= 0             ? tap3(-1, i - 2, -1, i - 1, -1, i)
               : z == -1            ? tap3(-1, 0, -1, -1, 0, -1)
                                    : tap3(x - 2 * y - 1, -1, x - 2 * y - 2, -1, x - 2 * y - 3, -1);
    }
    case 7: {
        const int i = x + (y >> 1);
        return y % 2 == 0 ? tap2(i, -1, i + 1, -1) : tap3(i, -1, i + 1, -1, i + 2, -1);
    }
    default: {
        const int z = x + 2 * y;
        const int i = y + (x >> 1);
        return z > 2 * n - 3    ? p(-1, n - 1)
               : z == 2 * n - 3 ? (p(-1, n - 2) + 3 * p(-1, n - 1) + 2) >> 2
               : z % 2 == 0     ? tap2(-1, i, -1, i + 1)
                                : tap3(-1, i, -1, i + 1, -1, i + 2);
    }
    }
}

inline int plainSum(const SampleAt& p, int x, int y, int stepX, int stepY, int n)
{
    int sum = 0;
    for (int i = 0; i < n; i++)
        sum += p(x + i * stepX, y + i * stepY);
    return sum;
}

// The mean of the sides of n samples at (x, y) that are there.
inline int plainMean(const SampleAt& p, int x, int y, int n, bool top, bool left, int bitDepth)
{
    const int sum = (top ? plainSum(p, x, -1, 1, 0, n) : 0) + (left ? plainSum(p, -1, y, 0, 1, n) : 0);
    const int count = (top ? n : 0) + (left ? n : 0);
    return count == 0 ? 1 << (bitDepth - 1) : (sum + count / 2) / count;
}

// The samples around a block with replacements for those that are not available.
class PlainNeighbours
{
public:
    template <class T>
    PlainNeighbours(const Plane<T>& plane, int x0, int y0, int n, Around around, int bitDepth)
        : n_(n), left_(static_cast<std::size_t>(n)), top_(static_cast<std::size_t>(2 * n))
    {
        const int middle = 1 << (bitDepth - 1);
        for (int i = 0; i < n; i++) {
            left_[static_cast<std::size_t>(i)] = around.left ? plane.at(x0 - 1, y0 + i) : middle;
            top_[static_cast<std::size_t>(i)] = around.top ? plane.at(x0 + i, y0 - 1) : middle;
        }
        for (int i = n; i < 2 * n; i++)
            top_[static_cast<std::size_t>(i)] =
                around.topRight ? plane.at(x0 + i, y0 - 1) : top_[static_cast<std::size_t>(n - 1)];
        corner_ = around.topLeft ? plane.at(x0 - 1, y0 - 1) : middle;
    }

    int operator()(int x, int y) const
    {
        return y >= 0   ? left_[static_cast<std::size_t>(y)]
               : x >= 0 ? top_[static_cast<std::size_t>(x)]
                        : corner_;
    }

    // 8.3.2.2.1.
    PlainNeighbours filtered(Around around) const
    {
        PlainNeighbours result = *this;
        const auto& p = *this;
        const int last = 2 * n_ - 1;
        if (around.top) {
            result.top_[0] = around.topLeft ? (p(-1, -1) + 2 * p(0, -1) + p(1, -1) + 2) >> 2
                                            : (3 * p(0, -1) + p(1, -1) + 2) >> 2;
            for (int x = 1; x < last; x++)
                result.top_[static_cast<std::size_t>(x)] =
                    (p(x - 1, -1) + 2 * p(x, -1) + p(x + 1, -1) + 2) >> 2;
            result.top_.back() = (p(last - 1, -1) + 3 * p(last, -1) + 2) >> 2;
        }
        if (around.topLeft && around.top && around.left)
            result.corner_ = (p(0, -1) + 2 * p(-1, -1) + p(-1, 0) + 2) >> 2;
        else if (around.topLeft && around.top)
            result.corner_ = (3 * p(-1, -1) + p(0, -1) + 2) >> 2;
        else if (around.topLeft && around.left)
            result.corner_ = (3 * p(-1, -1) + p(-1, 0) + 2) >> 2;
        if (around.left) {
            result.left_[0] = around.topLeft ? (p(-1, -1) + 2 * p(-1, 0) + p(-1, 1) + 2) >> 2
                                             : (3 * p(-1, 0) + p(-1, 1) + 2) >> 2;
            for (int y = 1; y < n_ - 1; y++)
                result.left_[static_cast<std::size_t>(y)] =
                    (p(-1, y - 1) + 2 * p(-1, y) + p(-1, y + 1) + 2) >> 2;
            result.left_.back() = (p(-1, n_ - 2) + 3 * p(-1, n_ - 1) + 2) >> 2;
        }
        return result;
    }

private:
    int n_;
    std::vector<int> left_;
    std::vector<int> top_;
    int corner_;
};

// Intra_4x4 and Intra_8x8.
template <class T>
void plainPredict(Plane<T>& plane, int x0, int y0, int n, int mode, Around around, int bitDepth = 8)
{
    PlainNeighbours neighbours(plane, x0, y0, n, around, bitDepth);
    if (n == 8)
        neighbours = neighbours.filtered(around);
    const SampleAt p = neighbours;
    const int mean = plainMean(p, 0, 0, n, around.top, around.left, bitDepth);
    for (int y = 0; y < n; y++)
        for (int x = 0; x < n; x++)
            plane.at(x0 + x, y0 + y) = static_cast<T>(mode == 2 ? mean : plainDirectional(mode, n, p, x, y));
}

// 8.3.3.4 and 8.3.4.4: luma is 16 samples wide, chroma 8.
inline int plainPlane(const SampleAt& p, int width, int height, int x, int y, int bitDepth)
{
    const int xCentre = width / 2 - 1;
    const int yCentre = height / 2 - 1;
    int h = 0;
    int v = 0;
    for (int i = 1; i <= width / 2; i++)
        h += i * (p(xCentre + i, -1) - p(xCentre - i, -1));
    for (int i = 1; i <= height / 2; i++)
        v += i * (p(-1, yCentre + i) - p(-1, yCentre - i));
    const int b = ((width == 16 ? 5 : 34) * h + 32) >> 6;
    const int c = ((height == 16 ? 5 : 34) * v + 32) >> 6;
    const int a = 16 * (p(-1, height - 1) + p(width - 1, -1));
    return std::clamp((a + b * (x - xCentre) + c * (y - yCentre) + 16) >> 5, 0, (1 << bitDepth) - 1);
}

// 8.3.4.1 to 8.3.4.3.
inline int plainChromaDc(const SampleAt& p, int x, int y, bool top, bool left, int bitDepth)
{
    const int blockX = x & ~3;
    const int blockY = y & ~3;
    if (blockX > 0 && blockY == 0)
        left = left && !top;
    if (blockX == 0 && blockY > 0)
        top = top && !left;
    return plainMean([&](int i, int j) { return p(j < 0 ? blockX + i : i, i < 0 ? blockY + j : j); }, 0, 0, 4,
                     top, left, bitDepth);
}

// Intra_16x16 and chroma, whose modes are mapped to those of Intra_16x16. `leftOf` tells whether the left
// neighbour of a row is available.
template <class T>
void plainPredictLarge(Plane<T>& plane, int width, int height, int mode, bool top,
                       const std::function<bool(int)>& leftOf, int bitDepth = 8)
{
    const Plane<T> before = plane;
    const SampleAt p = [&](int x, int y) -> int { return before.at(x, y); };
    for (int y = 0; y < height; y++)
        for (int x = 0; x < width; x++) {
            const int sample = mode == 0     ? p(x, -1)
                               : mode == 1   ? p(-1, y)
                               : mode == 3   ? plainPlane(p, width, height, x, y, bitDepth)
                               : width == 16 ? plainMean(p, 0, 0, 16, top, leftOf(0), bitDepth)
                                             : plainChromaDc(p, x, y, top, leftOf(y), bitDepth);
            plane.at(x, y) = static_cast<T>(sample);
        }
}

} // namespace kelvcpx::test
