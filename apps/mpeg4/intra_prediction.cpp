#include "mpeg4/intra_prediction.h"

#include <algorithm>
#include <cstdlib>

namespace kelvcpx::app::mpeg4 {
namespace {

constexpr int missingDc = 1024; // of mid-grey

// The nearest whole number, halves away from zero; the divisor is positive.
int divideRounded(int numerator, int divisor)
{
    return (numerator + (numerator < 0 ? -divisor : divisor) / 2) / divisor;
}

// dc_scaler (table 7-1).
int dcScaler(int quant, bool chroma)
{
    if (quant < 5)
        return 8;
    if (chroma)
        return quant < 25 ? (quant + 13) / 2 : quant - 6;
    return quant < 9 ? 2 * quant : quant < 25 ? quant + 8 : 2 * quant - 16;
}

int16_t saturate(int level)
{
    return static_cast<int16_t>(std::clamp(level, -2048, 2047));
}

} // namespace

IntraPredictor::IntraPredictor(const VopContext& context)
    : context_(context), entries_(2 * static_cast<std::size_t>(context.wide()))
{}

int IntraPredictor::Neighbour::dc() const
{
    return edges == nullptr ? missingDc : edges->dc;
}

std::size_t IntraPredictor::indexOf(int column, int row) const
{
    return static_cast<std::size_t>((row & 1) * context_.wide() + column);
}

// The block beside a block of the macroblock: of luma in units of blocks, of chroma in macroblocks.
IntraPredictor::Neighbour IntraPredictor::neighbour(const Macroblock& macroblock, std::size_t block, int dx,
                                                    int dy) const
{
    int column = macroblock.column;
    int row = macroblock.row;
    if (block < 4) {
        const int x = 2 * column + static_cast<int>(block & 1) + dx;
        const int y = 2 * row + static_cast<int>(block >> 1) + dy;
        column = x >> 1;
        row = y >> 1;
        block = static_cast<std::size_t>((x & 1) + 2 * (y & 1));
    } else {
        column += dx;
        row += dy;
    }
    if (column < 0 || row < 0)
        return {};
    const auto& motion = context_.target->motion;
    const MacroblockMotion& other = motion[static_cast<std::size_t>(row * context_.wide() + column)];
    const MacroblockMotion& own = motion[static_cast<std::size_t>(macroblock.address)];
    if (!other.intra || other.packet != own.packet)
        return {};
    const Entry& entry = entryAt(column, row);
    return {&entry.blocks[block], entry.quant};
}

IntraPredictor::Source IntraPredictor::sourceOf(const Macroblock& macroblock, std::size_t block) const
{
    const int left = neighbour(macroblock, block, -1, 0).dc();
    const int corner = neighbour(macroblock, block, -1, -1).dc();
    const int above = neighbour(macroblock, block, 0, -1).dc();
    if (std::abs(left - corner) < std::abs(corner - above))
        return {above, true};
    return {left, false};
}

void IntraPredictor::predict(const Macroblock& macroblock, std::size_t block, const Source& source,
                             int16_t* levels) const
{
    levels[0] =
        static_cast<int16_t>(levels[0] + divideRounded(source.dc, dcScaler(macroblock.quant, block >= 4)));
    if (!macroblock.predictsAc)
        return;
    const Neighbour from =
        source.fromAbove ? neighbour(macroblock, block, 0, -1) : neighbour(macroblock, block, -1, 0);
    if (from.edges == nullptr)
        return;
    const auto& edge = source.fromAbove ? from.edges->row : from.edges->column;
    const std::size_t stride = source.fromAbove ? 1 : 8;
    for (std::size_t i = 0; i < edge.size(); i++) {
        int16_t& level = levels[(i + 1) * stride];
        level = saturate(level + divideRounded(edge[i] * from.quant, macroblock.quant));
    }
}

void IntraPredictor::keepLevels(const Macroblock& macroblock, std::size_t block, const int16_t* levels)
{
    Entry& entry = entries_[indexOf(macroblock.column, macroblock.row)];
    entry.quant = macroblock.quant;
    Edges& edges = entry.blocks[block];
    for (std::size_t i = 0; i < edges.row.size(); i++) {
        edges.row[i] = levels[i + 1];
        edges.column[i] = levels[8 * (i + 1)];
    }
}

void IntraPredictor::keepDc(const Macroblock& macroblock, std::size_t block, int16_t dc)
{
    entries_[indexOf(macroblock.column, macroblock.row)].blocks[block].dc = dc;
}

} // namespace kelvcpx::app::mpeg4
