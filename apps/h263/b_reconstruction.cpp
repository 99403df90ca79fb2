// The B-blocks of PB-frames (ITU-T H.263 Annex G).
#include "h263/chroma_vector.h"
#include "h263/reconstruction.h"

#include <kelvcpx/block.h>
#include <kelvcpx/h263_filter.h>

#include <algorithm>
#include <bit>

namespace kelvcpx::app::h263 {
namespace {

// Forward and backward vector of a B-block (G.4).
struct VectorPair {
    Vector forward;
    Vector backward;
};

int backwardComponent(int vector, int forward, int delta, int bInterval, int interval)
{
    return delta == 0 ? (bInterval - interval) * vector / interval : forward - vector;
}

VectorPair scaled(Vector vector, Vector delta, int bInterval, int interval)
{
    VectorPair pair;
    pair.forward = {bInterval * vector.x / interval + delta.x, bInterval * vector.y / interval + delta.y};
    pair.backward = {backwardComponent(vector.x, pair.forward.x, delta.x, bInterval, interval),
                     backwardComponent(vector.y, pair.forward.y, delta.y, bInterval, interval)};
    return pair;
}

// Averages the part of an 8x8 block of the B-picture whose backward vector stays within the macroblock of the
// P-picture with the samples there (G.5). The macroblock has `size` x `size` samples of the plane; the block
// lies at x, y in it, the macroblock at originX, originY.
void averageBackward(const PaddedFrame::Plane& from, const PaddedFrame::Plane& to, int size, int originX,
                     int originY, int x, int y, Vector vector)
{
    const int left = std::max(0, (-vector.x + 1) / 2 - x);
    const int top = std::max(0, (-vector.y + 1) / 2 - y);
    const int right = std::min(7, size - 1 - (vector.x + 1) / 2 - x);
    const int bottom = std::min(7, size - 1 - (vector.y + 1) / 2 - y);
    if (left > right || top > bottom)
        return;
    const int toX = originX + x + left;
    const int toY = originY + y + top;
    const RoiSize region = {right - left + 1, bottom - top + 1};
    keliAddBackPredPB_H263_8u_C1R(from.at(toX + (vector.x >> 1), toY + (vector.y >> 1)), from.step, region,
                                  to.at(toX, toY), to.step, (vector.x & 1) | (vector.y & 1) << 1);
}

} // namespace

void Reconstruction::reconstructB(const Macroblock& macroblock, int column, int row)
{
    std::array<Vector, 4> forward, backward;
    const PaddedFrame::Plane& luma = bTarget_->plane(0);
    for (std::size_t i = 0; i < 4; i++) {
        const VectorPair pair = scaled(macroblock.vectors[i], macroblock.bDelta, bInterval_, interval_);
        forward[i] = pair.forward;
        backward[i] = pair.backward;
        const int x = 8 * static_cast<int>(i & 1);
        const int y = 8 * static_cast<int>(i >> 1);
        const ReferenceBlock block =
            referenceBlock(reference_.plane(0), 8, 2 * (16 * column + x) + pair.forward.x,
                           2 * (16 * row + y) + pair.forward.y);
        keliCopy8x8HP_8u_C1R(block.samples, block.step, luma.at(16 * column + x, 16 * row + y), luma.step,
                             block.acc, 0);
        averageBackward(target_.plane(0), luma, 16, 16 * column, 16 * row, x, y, pair.backward);
    }
    predictChroma(*bTarget_, chromaVector(forward), column, row);
    for (std::size_t i = 1; i < 3; i++)
        averageBackward(target_.plane(i), bTarget_->plane(i), 8, 8 * column, 8 * row, 0, 0,
                        chromaVector(backward));
    const auto ownBlocks = static_cast<std::size_t>(std::popcount(macroblock.pattern));
    addBlocks(*bTarget_, macroblock.bPattern, macroblock.firstBlock + ownBlocks, column, row);
}

} // namespace kelvcpx::app::h263
