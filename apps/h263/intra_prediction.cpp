#include "h263/intra_prediction.h"

#include <algorithm>

namespace kelvcpx::app::h263 {
namespace {

constexpr int missingDc = 1024;

int clipAc(int value)
{
    return std::clamp(value, -2048, 2047);
}

// Odd, so that no encoder and decoder drift apart.
int oddifyDc(int value)
{
    return std::clamp(value, 0, 2047) | 1;
}

} // namespace

void IntraPredictor::start(int wide, int high)
{
    for (std::size_t i = 0; i < 3; i++) {
        const int perMacroblock = i == 0 ? 2 : 1;
        widths_[i] = perMacroblock * wide;
        planes_[i].assign(
            static_cast<std::size_t>(widths_[i]) * static_cast<std::size_t>(perMacroblock * high), Edges{});
    }
}

const IntraPredictor::Edges* IntraPredictor::at(std::size_t plane, int x, int y, int segment) const
{
    if (x < 0 || y < 0)
        return nullptr;
    const Edges& edges = planes_[plane][static_cast<std::size_t>(y * widths_[plane] + x)];
    return edges.segment == segment ? &edges : nullptr;
}

void IntraPredictor::predict(CodedBlock& block, int number, int column, int row, int segment, IntraMode mode)
{
    const std::size_t plane = number < 4 ? 0 : static_cast<std::size_t>(number - 3);
    const int x = plane == 0 ? 2 * column + (number & 1) : column;
    const int y = plane == 0 ? 2 * row + (number >> 1) : row;
    const Edges* const above = at(plane, x, y - 1, segment);
    const Edges* const left = at(plane, x - 1, y, segment);
    auto& c = block.coefficients;

    int dc = missingDc;
    if (mode == IntraMode::vertical) {
        dc = above != nullptr ? above->row[0] : missingDc;
    } else if (mode == IntraMode::horizontal) {
        dc = left != nullptr ? left->row[0] : missingDc;
    } else if (above != nullptr || left != nullptr) {
        const int first = above != nullptr ? above->row[0] : left->row[0];
        const int second = left != nullptr ? left->row[0] : first;
        dc = (first + second) >> 1;
    }
    c[0] = static_cast<int16_t>(oddifyDc(c[0] + dc));
    for (std::size_t i = 1; i < 8; i++) {
        if (mode == IntraMode::vertical && above != nullptr)
            c[i] = static_cast<int16_t>(clipAc(c[i] + above->row[i]));
        if (mode == IntraMode::horizontal && left != nullptr)
            c[8 * i] = static_cast<int16_t>(clipAc(c[8 * i] + left->column[i]));
    }
    const bool acPredicted = (mode == IntraMode::vertical && above != nullptr) ||
                             (mode == IntraMode::horizontal && left != nullptr);
    block.last = acPredicted ? 63 : std::max(block.last, 0);

    Edges& own = planes_[plane][static_cast<std::size_t>(y * widths_[plane] + x)];
    own.segment = segment;
    for (std::size_t i = 0; i < 8; i++) {
        own.row[i] = c[i];
        own.column[i] = c[8 * i];
    }
}

} // namespace kelvcpx::app::h263
