#include "h264/encoder/motion_search.h"

#include "h264/encoder/bits.h"

#include <kelvcpx/metrics.h>

#include <algorithm>
#include <cstddef>
#include <limits>

namespace kelvcpx::app::h264::encoder {
namespace {

constexpr int mostSteps = 24; // of the search at whole samples

Vector operator+(Vector a, Vector b)
{
    return {static_cast<int16_t>(a.x + b.x), static_cast<int16_t>(a.y + b.y)};
}

Vector scaled(Vector v, int factor)
{
    return {static_cast<int16_t>(v.x * factor), static_cast<int16_t>(v.y * factor)};
}

// The nearest whole sample.
Vector rounded(Vector v)
{
    return {static_cast<int16_t>((v.x + 2) & ~3), static_cast<int16_t>((v.y + 2) & ~3)};
}

// Whether no candidate before this one is the same.
bool isFirst(std::span<const Vector> candidates, std::size_t i)
{
    return std::find(candidates.begin(), candidates.begin() + static_cast<std::ptrdiff_t>(i),
                     candidates[i]) == candidates.begin() + static_cast<std::ptrdiff_t>(i);
}

constexpr Vector hexagon[] = {{-2, 0}, {-1, -2}, {1, -2}, {2, 0}, {1, 2}, {-1, 2}};
constexpr Vector square[] = {{0, -1}, {-1, 0}, {1, 0}, {0, 1}, {-1, -1}, {1, -1}, {-1, 1}, {1, 1}};

} // namespace

int MotionSearch::vectorCost(Vector v) const
{
    return lambda_.absolute(seBits(v.x - predicted_.x) + seBits(v.y - predicted_.y));
}

int MotionSearch::difference(const SourcePlace& source, const uint8_t* samples, int32_t step) const
{
    const RoiSize size = block_->size;
    int32_t sad = 0;
    if (size.width == 16) {
        const auto operation = size.height == 16 ? keliSAD16x16_8u32s : keliSAD16x8_8u32s_C1R;
        operation(source.samples, source.step, samples, step, &sad, 0);
        return sad;
    }
    keliSAD8x8_8u32s_C1R(source.samples, source.step, samples, step, &sad, 0);
    if (size.height == 8)
        return sad;
    int32_t lower = 0;
    keliSAD8x8_8u32s_C1R(source.at(0, 8).samples, source.step, samples + 8 * step, step, &lower, 0);
    return sad + lower;
}

// Keeps the vector, which is one of whole samples, if it is better than the best.
void MotionSearch::tryWhole(Vector v)
{
    if (!range_->contains(v))
        return;
    const Surface::Plane& plane = reference_.planes[0];
    const uint8_t* const samples = plane.at(block_->x + v.x / 4, block_->y + v.y / 4);
    const int cost = difference(block_->source, samples, plane.step) + vectorCost(v);
    if (cost < best_.cost)
        best_ = {v, cost};
}

// The same at any position.
void MotionSearch::tryPart(Vector v)
{
    const int bits = vectorCost(v);
    if (bits >= best_.cost || !range_->contains(v))
        return;
    compensateLuma(reference_, block_->x, block_->y, v, {prediction_.data(), 16}, block_->size);
    const int cost = difference(block_->source, prediction_.data(), 16) + bits;
    if (cost < best_.cost)
        best_ = {v, cost};
}

void MotionSearch::searchWhole(std::span<const Vector> candidates)
{
    for (std::size_t i = 0; i < candidates.size(); i++)
        if (isFirst(candidates, i))
            tryWhole(rounded(range_->clamp(candidates[i])));
    for (int step = 0; step < mostSteps; step++) {
        const Vector centre = best_.vector;
        for (const Vector offset : hexagon)
            tryWhole(centre + scaled(offset, 4));
        if (best_.vector == centre)
            break;
    }
    refine(4);
}

// Tries the eight vectors that are so many quarter samples away.
void MotionSearch::refine(int distance)
{
    const Vector centre = best_.vector;
    for (const Vector offset : square)
        if (distance == 4)
            tryWhole(centre + scaled(offset, distance));
        else
            tryPart(centre + scaled(offset, distance));
}

Motion MotionSearch::search(const Block& block, const VectorRange& range, Vector predicted,
                            std::span<const Vector> candidates)
{
    block_ = &block;
    range_ = &range;
    predicted_ = predicted;
    best_ = {{}, std::numeric_limits<int>::max()};
    searchWhole(candidates);
    // What moves as its neighbours do is often predicted best with their very vectors.
    for (std::size_t i = 0; i < candidates.size(); i++)
        if (((candidates[i].x | candidates[i].y) & 3) != 0 && isFirst(candidates, i))
            tryPart(range.clamp(candidates[i]));
    refine(2);
    refine(1);
    return best_;
}

} // namespace kelvcpx::app::h264::encoder
