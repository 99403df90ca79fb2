// Intra prediction (ITU-T H.264 8.3): kernels for every block size and bit depth. Steps are in samples.
#pragma once

#include "h264/depth.h"
#include "h264/lanes.h"
#include "h264/sample_row.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

namespace kelvcpx::h264 {

// Sets of neighbours whose samples may be read.
constexpr int32_t topAvailable = 0x01;
constexpr int32_t leftAvailable = 0x02;
constexpr int32_t topLeftAvailable = 0x20;
constexpr int32_t topRightAvailable = 0x40;
constexpr int32_t allButTopRight = topAvailable | leftAvailable | topLeftAvailable;

// Of 4x4 and 8x8 blocks (tables 8-2, 8-3).
enum class Mode {
    vertical,
    horizontal,
    dc,
    diagonalDownLeft,
    diagonalDownRight,
    verticalRight,
    horizontalDown,
    verticalLeft,
    horizontalUp
};
constexpr uint32_t modes = 9;

// Of 16x16 blocks (table 8-4).
enum class Mode16x16 { vertical, horizontal, dc, plane };

// Of chroma blocks (table 8-5).
enum class ChromaMode { dc, horizontal, vertical, plane };

// Neighbours that each mode of a 4x4 or 8x8 block needs, whatever its size.
constexpr std::array<int32_t, modes> neededNeighbours = {topAvailable,   leftAvailable,  0,
                                                         topAvailable,   allButTopRight, allButTopRight,
                                                         allButTopRight, topAvailable,   leftAvailable};

constexpr bool isMissing(int32_t needed, int32_t availability)
{
    return (needed & ~availability) != 0;
}

// Where the samples next to a block are. Missing ones are replaced by the middle of the range, at the upper
// right by the last one above the block.
template <class Sample>
class Neighbours
{
public:
    template <class Depth>
    Neighbours(const Sample* block, std::ptrdiff_t step, int32_t availability, const Depth& depth)
    {
        const bool hasLeft = (availability & leftAvailable) != 0;
        const bool hasTopRight = (availability & topRightAvailable) != 0;
        const Sample* const middle = depth.middle.data();
        top_ = (availability & topAvailable) != 0 ? block - step : middle;
        left_ = hasLeft ? block - 1 : middle;
        leftStep_ = hasLeft ? step : 0;
        topLeft_ = (availability & topLeftAvailable) != 0 ? block - step - 1 : middle;
        topRightStep_ = hasTopRight ? 1 : 0;
        // One before the first sample, or the last one above a block of four.
        topRight_ = hasTopRight ? block - step + 3 : top_ + 3;
    }

    // Samples that are all there: the column at the left, the corner, and the row above with what follows it.
    Neighbours(const Sample* left, const Sample* topLeft, const Sample* top, int width)
        : top_(top), left_(left), leftStep_(1), topLeft_(topLeft), topRight_(top + width - 1),
          topRightStep_(1)
    {}

    const Sample* top() const { return top_; }
    int32_t top(int x) const { return top_[x]; }
    int32_t left(int y) const { return left_[y * leftStep_]; }
    int32_t topLeft() const { return *topLeft_; }
    // The sample x right of the last one above the block, from 1.
    int32_t topRight(int x) const { return topRight_[x * topRightStep_]; }

private:
    const Sample* top_;
    const Sample* left_;
    std::ptrdiff_t leftStep_;
    const Sample* topLeft_;
    const Sample* topRight_;
    std::ptrdiff_t topRightStep_;
};

template <int width, int height, class Sample>
void fillBlock(Sample* dst, std::ptrdiff_t step, int32_t value)
{
    std::array<Sample, width> row;
    row.fill(static_cast<Sample>(value));
    for (int y = 0; y < height; y++)
        std::memcpy(dst + y * step, row.data(), sizeof row);
}

template <int width, int height, class Sample>
void predictVertical(Sample* dst, std::ptrdiff_t step, const Sample* top)
{
    std::array<Sample, width> row;
    std::memcpy(row.data(), top, sizeof row);
    for (int y = 0; y < height; y++)
        std::memcpy(dst + y * step, row.data(), sizeof row);
}

template <int width, int height, class Sample>
void predictHorizontal(Sample* dst, std::ptrdiff_t step, const Neighbours<Sample>& neighbours)
{
    for (int y = 0; y < height; y++)
        fillBlock<width, 1>(dst + y * step, 0, neighbours.left(y));
}

template <int n, class Sample>
int32_t sumOfTop(const Sample* top)
{
    int32_t sum = 0;
    for (int x = 0; x < n; x++)
        sum += top[x];
    return sum;
}

template <int n, class Sample>
int32_t sumOfLeft(const Neighbours<Sample>& neighbours, int from = 0)
{
    int32_t sum = 0;
    for (int y = 0; y < n; y++)
        sum += neighbours.left(from + y);
    return sum;
}

// The mean of the n samples above and the n at the left, of those that are there (8.3.1.2.3, 8.3.2.2.4,
// 8.3.3.3).
template <int n, class Depth>
int32_t meanOf(const Neighbours<typename Depth::Sample>& neighbours, int32_t availability, const Depth& depth)
{
    switch (availability & (topAvailable | leftAvailable)) {
    case topAvailable | leftAvailable:
        return (sumOfTop<n>(neighbours.top()) + sumOfLeft<n>(neighbours) + n) / (2 * n);
    case topAvailable:
        return (sumOfTop<n>(neighbours.top()) + n / 2) / n;
    case leftAvailable:
        return (sumOfLeft<n>(neighbours) + n / 2) / n;
    default:
        return depth.middle[0];
    }
}

// The samples around a block of n x n, from the lowest at the left, -n, over the corner, 0, to the last at
// the upper right, 2 n. The first and the last one are repeated.
template <int n, class Sample>
class Edge
{
public:
    explicit Edge(const Neighbours<Sample>& neighbours)
    {
        forConstants<n>([&](auto y) { samples_[n - y] = neighbours.left(y); });
        samples_[n + 1] = neighbours.topLeft();
        forConstants<n>([&](auto x) { samples_[n + 2 + x] = neighbours.top(x); });
        forConstants<n>([&](auto x) { samples_[2 * n + 2 + x] = neighbours.topRight(x + 1); });
        samples_[0] = samples_[1];
        samples_[3 * n + 2] = samples_[3 * n + 1];
    }

    // The filters around and right of sample i.
    int32_t three(int i) const { return (at(i - 1) + 2 * at(i) + at(i + 1) + 2) >> 2; }
    int32_t two(int i) const { return (at(i) + at(i + 1) + 1) >> 1; }

private:
    int32_t at(int i) const { return samples_[static_cast<std::size_t>(n + 1 + i)]; }

    std::array<int32_t, 3 * n + 3> samples_;
};

// The sample at (x, y) of the directional modes (8.3.1.2.4 to 8.3.1.2.9, 8.3.2.2.5 to 8.3.2.2.10), which are
// the same for both sizes.
template <Mode mode, int n, class Sample>
[[gnu::always_inline]] inline int32_t predictSample(const Edge<n, Sample>& edge, int x, int y)
{
    const int halfX = x >> 1;
    const int halfY = y >> 1;
    switch (mode) {
    case Mode::diagonalDownLeft:
        return edge.three(x + y + 2);
    case Mode::diagonalDownRight:
        return edge.three(x - y);
    case Mode::verticalRight:
        if (x < halfY)
            return edge.three(2 * x - y + 1);
        return y % 2 == 0 ? edge.two(x - halfY) : edge.three(x - halfY);
    case Mode::horizontalDown:
        if (y < halfX)
            return edge.three(x - 2 * y - 1);
        return x % 2 == 0 ? edge.two(halfX - y - 1) : edge.three(halfX - y);
    case Mode::verticalLeft:
        return y % 2 == 0 ? edge.two(x + halfY + 1) : edge.three(x + halfY + 2);
    default: // horizontal up
        if (y + halfX > n - 2)
            return edge.two(-n - 1); // the lowest sample at the left, which is there twice
        return x % 2 == 0 ? edge.two(-y - halfX - 2) : edge.three(-y - halfX - 2);
    }
}

// A block of 4x4, or of 8x8 with filtered neighbours.
template <Mode mode, int n, class Depth>
[[gnu::always_inline]] inline void predict(typename Depth::Sample* dst, std::ptrdiff_t step,
                                           const Neighbours<typename Depth::Sample>& neighbours,
                                           int32_t availability, const Depth& depth)
{
    using Sample = typename Depth::Sample;
    if constexpr (mode == Mode::vertical) {
        predictVertical<n, n>(dst, step, neighbours.top());
    } else if constexpr (mode == Mode::horizontal) {
        predictHorizontal<n, n>(dst, step, neighbours);
    } else if constexpr (mode == Mode::dc) {
        fillBlock<n, n>(dst, step, meanOf<n>(neighbours, availability, depth));
    } else {
        const Edge<n, Sample> edge(neighbours);
        forConstants<n>([&](auto y) {
            storeRow<n>(dst + y * step, [&](auto x) { return predictSample<mode>(edge, x, y); });
        });
    }
}

template <class Depth>
using Predict = void (*)(typename Depth::Sample* dst, std::ptrdiff_t step, int32_t availability,
                         const Depth& depth);

template <Mode mode, class Depth>
void predict4x4(typename Depth::Sample* dst, std::ptrdiff_t step, int32_t availability, const Depth& depth)
{
    predict<mode, 4>(dst, step, Neighbours<typename Depth::Sample>(dst, step, availability, depth),
                     availability, depth);
}

// The reference samples of an 8x8 block, filtered (8.3.2.2.1).
template <class Depth>
class FilteredEdge
{
    using Sample = typename Depth::Sample;
    using Row = SampleRow<Sample>;

public:
    FilteredEdge(const Sample* block, std::ptrdiff_t step, int32_t availability, const Depth& depth)
    {
        const bool hasTop = (availability & topAvailable) != 0;
        const bool hasLeft = (availability & leftAvailable) != 0;
        const bool hasTopLeft = (availability & topLeftAvailable) != 0;
        const bool hasTopRight = (availability & topRightAvailable) != 0;
        const Sample* const above = hasTop ? block - step : depth.middle.data();
        const Sample middle = depth.middle[0];
        const Sample corner = hasTopLeft ? block[-step - 1] : middle;
        const Sample firstLeft = hasLeft ? block[-1] : middle;

        // Before the first sample of a row or column comes the corner, or else the sample itself once more.
        Row top(Row::eight(above), hasTopRight ? Row::eight(block - step + 8) : Row::eightTimes(above[7]));
        if (hasTop)
            top = top.filtered(hasTopLeft ? corner : above[0]);
        top.store(top_.data());
        Row left(Row::eightTimes(middle), Row::eightTimes(middle));
        if (hasLeft)
            left = Row(Row::eight(block - 1, step), Row::eightTimes(block[7 * step - 1]))
                       .filtered(hasTopLeft ? corner : firstLeft);
        left.store(left_.data());
        const int32_t before = hasLeft ? firstLeft : corner;
        const int32_t after = hasTop ? above[0] : corner;
        topLeft_ = hasTopLeft ? static_cast<Sample>((before + 2 * corner + after + 2) >> 2) : middle;
    }

    Neighbours<Sample> neighbours() const { return {left_.data(), &topLeft_, top_.data(), 8}; }

private:
    std::array<Sample, 16> top_;
    std::array<Sample, 16> left_; // eight count
    Sample topLeft_;
};

template <Mode mode, class Depth>
void predict8x8(typename Depth::Sample* dst, std::ptrdiff_t step, int32_t availability, const Depth& depth)
{
    const FilteredEdge<Depth> edge(dst, step, availability, depth);
    predict<mode, 8>(dst, step, edge.neighbours(), availability, depth);
}

template <class Depth>
constexpr std::array<Predict<Depth>, modes> predictions4x4 = []<std::size_t... i>(std::index_sequence<i...>)
{
    return std::array<Predict<Depth>, modes>{predict4x4<static_cast<Mode>(i), Depth>...};
}
(std::make_index_sequence<modes>{});

template <class Depth>
constexpr std::array<Predict<Depth>, modes> predictions8x8 = []<std::size_t... i>(std::index_sequence<i...>)
{
    return std::array<Predict<Depth>, modes>{predict8x8<static_cast<Mode>(i), Depth>...};
}
(std::make_index_sequence<modes>{});

// The slope of the n samples along one side of a block for plane prediction, from their weighted differences
// around the centre; sample -1 is the corner (8.3.3.4, 8.3.4.4).
template <int n, class SampleAt>
int32_t slope(SampleAt sampleAt)
{
    int32_t difference = 0;
    for (int i = 1; i <= n / 2; i++)
        difference += i * (sampleAt(n / 2 - 1 + i) - sampleAt(n / 2 - 1 - i));
    return ((n == 16 ? 5 : 34) * difference + 32) >> 6;
}

template <int width, int height, class Depth>
void predictPlane(typename Depth::Sample* dst, std::ptrdiff_t step, const Depth& depth)
{
    const auto* const top = dst - step;
    const auto* const left = dst - 1;
    const int32_t b = slope<width>([=](int x) -> int32_t { return top[x]; });
    const int32_t c = slope<height>([=](int y) -> int32_t { return left[y * step]; });
    const int32_t a = 16 * (left[(height - 1) * step] + top[width - 1]);
    const int32_t origin = a - b * (width / 2 - 1) - c * (height / 2 - 1) + 16;

    // One vector of samples at a time. Of 8-bit samples all sums are within -11472..19648.
    using Part = Strip<Depth, width>;
    using Lane = typename Depth::Lane;
    using Lanes = typename Depth::Lanes;
    std::array<Lane, 2 * Depth::lanes> ramp;
    for (int i = 0; i < 2 * Depth::lanes; i++)
        ramp[static_cast<std::size_t>(i)] =
            static_cast<Lane>(b * (i % Part::columns) + c * (i / Part::columns));
    const auto ramps = std::bit_cast<std::array<Lanes, 2>>(ramp);
    for (int y = 0; y < height; y += Part::rows)
        for (int x = 0; x < width; x += Part::columns) {
            const auto start = static_cast<Lane>(origin + b * x + c * y);
            Part::store(
                dst + y * step + x, step,
                Depth::narrow(depth.clip((ramps[0] + start) >> 5), depth.clip((ramps[1] + start) >> 5)));
        }
}

// False, and nothing is written, if the mode needs a neighbour that is missing.
template <class Depth>
bool predict16x16(typename Depth::Sample* dst, std::ptrdiff_t step, Mode16x16 mode, int32_t availability,
                  const Depth& depth)
{
    constexpr std::array<int32_t, 4> needed = {topAvailable, leftAvailable, 0, allButTopRight};
    if (isMissing(needed[static_cast<std::size_t>(mode)], availability))
        return false;
    const Neighbours<typename Depth::Sample> neighbours(dst, step, availability, depth);
    switch (mode) {
    case Mode16x16::vertical:
        predictVertical<16, 16>(dst, step, neighbours.top());
        break;
    case Mode16x16::horizontal:
        predictHorizontal<16, 16>(dst, step, neighbours);
        break;
    case Mode16x16::dc:
        fillBlock<16, 16>(dst, step, meanOf<16>(neighbours, availability, depth));
        break;
    case Mode16x16::plane:
        predictPlane<16, 16>(dst, step, depth);
        break;
    }
    return true;
}

// The DC of a 4x4 block at (x, y) of a chroma block (8.3.4.1 to 8.3.4.3): the blocks on the diagonal and
// below it take the mean of both sides, the others at the upper or left edge that of the side next to them.
template <class Depth>
int32_t chromaMean(const Neighbours<typename Depth::Sample>& neighbours, int x, int y, int32_t availability,
                   const Depth& depth)
{
    const bool hasTop = (availability & topAvailable) != 0;
    const bool hasLeft = (availability & leftAvailable) != 0;
    const bool prefersTop = x > 0 && y == 0;
    const bool prefersLeft = x == 0 && y > 0;
    const int32_t top = hasTop ? sumOfTop<4>(neighbours.top() + x) : 0;
    const int32_t left = hasLeft ? sumOfLeft<4>(neighbours, y) : 0;
    if (hasTop && hasLeft && !prefersTop && !prefersLeft)
        return (top + left + 4) >> 3;
    if (hasTop && (prefersTop || !hasLeft))
        return (top + 2) >> 2;
    return hasLeft ? (left + 2) >> 2 : depth.middle[0];
}

// The DC prediction of the rows from..end of a chroma block whose neighbours are `availability`.
template <class Depth>
void predictChromaDc(typename Depth::Sample* dst, std::ptrdiff_t step, int from, int end,
                     int32_t availability, const Depth& depth)
{
    const Neighbours<typename Depth::Sample> neighbours(dst, step, availability, depth);
    for (int y = from; y < end; y += 4)
        for (int x = 0; x < 8; x += 4)
            fillBlock<4, 4>(dst + y * step + x, step, chromaMean(neighbours, x, y, availability, depth));
}

// Neighbours that a chroma mode needs.
constexpr std::array<int32_t, 4> neededChromaNeighbours = {0, leftAvailable, topAvailable, allButTopRight};

// A chroma block of 8 samples a row, whose neighbours must be there.
template <int height, class Depth>
void predictChroma(typename Depth::Sample* dst, std::ptrdiff_t step, ChromaMode mode, int32_t availability,
                   const Depth& depth)
{
    switch (mode) {
    case ChromaMode::dc:
        predictChromaDc(dst, step, 0, height, availability, depth);
        break;
    case ChromaMode::horizontal:
        predictHorizontal<8, height>(dst, step,
                                     Neighbours<typename Depth::Sample>(dst, step, availability, depth));
        break;
    case ChromaMode::vertical:
        predictVertical<8, height>(dst, step, dst - step);
        break;
    case ChromaMode::plane:
        predictPlane<8, height>(dst, step, depth);
        break;
    }
}

} // namespace kelvcpx::h264
