#include "h264/encoder/motion_predictor.h"

#include "common/median.h"
#include "h264/encoder/coded_macroblock.h"

#include <algorithm>

namespace kelvcpx::app::h264::encoder {

// Of another macroblock; x8 and y8 count 8x8 blocks from the first one of this macroblock.
MotionPredictor::Neighbour MotionPredictor::outside(int x8, int y8) const
{
    const bool left = x8 < 0;
    const bool right = x8 > 1;
    const bool above = y8 < 0;
    if ((left && mbX_ == 0) || (above && mbY_ == 0) || (right && (!above || mbX_ + 1 == field_.widthInMbs)))
        return {};
    const int x = 2 * mbX_ + x8;
    const int y = 2 * mbY_ + y8;
    return {true, field_.refIdx[0][field_.block8x8(x, y)] >= 0,
            field_.vectors[0][field_.block4x4(2 * x, 2 * y)]};
}

// Blocks of this macroblock are available if they come before `firstBlock`.
MotionPredictor::Neighbour MotionPredictor::at(int x8, int y8, std::size_t firstBlock,
                                               const std::array<Vector, 4>& vectors) const
{
    if (x8 < 0 || x8 > 1 || y8 < 0)
        return outside(x8, y8);
    const auto block = static_cast<std::size_t>(2 * y8 + x8);
    return block < firstBlock ? Neighbour{true, true, vectors[block]} : Neighbour{};
}

Vector MotionPredictor::predict(Partitioning partitioning, std::size_t partition,
                                const std::array<Vector, 4>& vectors) const
{
    const std::size_t first = firstBlockOfPartition(partitioning, partition);
    const int x = static_cast<int>(first % 2);
    const int y = static_cast<int>(first / 2);
    const int width = partitioning == Partitioning::whole || partitioning == Partitioning::twoRows ? 2 : 1;
    const Neighbour a = at(x - 1, y, first, vectors);
    Neighbour b = at(x, y - 1, first, vectors);
    Neighbour c = at(x + width, y - 1, first, vectors);
    if (!c.available)
        c = at(x - 1, y - 1, first, vectors);

    if (partitioning == Partitioning::twoRows) {
        const Neighbour& preferred = partition == 0 ? b : a;
        if (preferred.inter)
            return preferred.vector;
    } else if (partitioning == Partitioning::twoColumns) {
        const Neighbour& preferred = partition == 0 ? a : c;
        if (preferred.inter)
            return preferred.vector;
    }
    if (!b.available && !c.available && a.available)
        return a.inter ? a.vector : Vector{};
    if (a.inter + b.inter + c.inter == 1)
        return a.inter ? a.vector : b.inter ? b.vector : c.vector;
    const auto vectorOf = [](const Neighbour& n) { return n.inter ? n.vector : Vector{}; };
    const Vector va = vectorOf(a);
    const Vector vb = vectorOf(b);
    const Vector vc = vectorOf(c);
    return {median(va.x, vb.x, vc.x), median(va.y, vb.y, vc.y)};
}

Vector MotionPredictor::skipVector() const
{
    const Neighbour a = outside(-1, 0);
    const Neighbour b = outside(0, -1);
    const auto isStill = [](const Neighbour& n) { return n.inter && n.vector == Vector{}; };
    if (!a.available || !b.available || isStill(a) || isStill(b))
        return {};
    return predict(Partitioning::whole, 0, {});
}

} // namespace kelvcpx::app::h264::encoder
