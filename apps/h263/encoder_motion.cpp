#include "h263/encoder_motion.h"

#include "common/median.h"
#include "h263/chroma_vector.h"

#include <kelvcpx/block.h>

#include <algorithm>
#include <cstddef>

namespace kelvcpx::app::h263 {

VectorField::VectorField(int wide, int high)
    : wide_(wide), vectors_(static_cast<std::size_t>(wide) * static_cast<std::size_t>(high))
{}

void VectorField::clear()
{
    std::fill(vectors_.begin(), vectors_.end(), app::MotionVector{});
}

void VectorField::set(int column, int row, app::MotionVector vector)
{
    vectors_[static_cast<std::size_t>(row * wide_ + column)] = vector;
}

app::MotionVector VectorField::at(int column, int row) const
{
    const bool inside = column >= 0 && column < wide_ && row >= 0;
    return inside ? vectors_[static_cast<std::size_t>(row * wide_ + column)] : app::MotionVector{};
}

app::MotionVector VectorField::predicted(int column, int row) const
{
    const app::MotionVector left = at(column - 1, row);
    if (row == 0)
        return left;
    const app::MotionVector above = at(column, row - 1);
    const app::MotionVector aboveRight = at(column + 1, row - 1);
    return {median(left.x, above.x, aboveRight.x), median(left.y, above.y, aboveRight.y)};
}

std::array<app::MotionVector, 3> VectorField::candidates(int column, int row) const
{
    return {predicted(column, row), at(column - 1, row), at(column, row - 1)};
}

void predictMacroblock(const PaddedFrame& reference, int column, int row, app::MotionVector vector,
                       int32_t rounding, PredictedMacroblock& predicted)
{
    const ReferenceBlock luma =
        referenceBlock(reference.plane(0), 16, 32 * column + vector.x, 32 * row + vector.y);
    keliCopy16x16HP_8u_C1R(luma.samples, luma.step, predicted.luma.data(), 16, luma.acc, rounding);
    for (std::size_t i = 1; i < 3; i++) {
        const ReferenceBlock chroma =
            referenceBlock(reference.plane(i), 8, 16 * column + chromaComponentOfSum(4 * vector.x),
                           16 * row + chromaComponentOfSum(4 * vector.y));
        keliCopy8x8HP_8u_C1R(chroma.samples, chroma.step, predicted.chroma[i - 1].data(), 8, chroma.acc,
                             rounding);
    }
}

} // namespace kelvcpx::app::h263
