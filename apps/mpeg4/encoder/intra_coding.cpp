#include "mpeg4/encoder/intra_coding.h"

#include <algorithm>
#include <cstdlib>

namespace kelvcpx::app::mpeg4 {
namespace {

constexpr int32_t zigzag = 0;
constexpr int32_t alternateVertical = 1;
constexpr int32_t alternateHorizontal = 2;

// The sum of the magnitudes without prediction, less that with it.
int benefit(const std::array<int16_t, 64>& levels, const std::array<int16_t, 64>& predicted)
{
    int sum = 0;
    for (std::size_t k = 1; k < 64; k++)
        sum += std::abs(levels[k]) - std::abs(levels[k] - predicted[k]);
    return sum;
}

} // namespace

void IntraCoding::code(Macroblock& macroblock, const MacroblockLevels& levels, IntraDifferences& differences)
{
    std::array<Block, 6> predicted{};
    std::array<bool, 6> fromAbove{};
    int gain = 0;
    macroblock.predictsAc = true;
    for (std::size_t i = 0; i < 6; i++) {
        const IntraPredictor::Source source = predictor_.sourceOf(macroblock, i);
        predictor_.predict(macroblock, i, source, predicted[i].data()); // of nothing: the prediction itself
        fromAbove[i] = source.fromAbove;
        gain += benefit(levels.blocks[i], predicted[i]);
        keep(macroblock, i, levels.blocks[i]);
    }
    macroblock.predictsAc = gain > 0;
    differences.predictsAc = macroblock.predictsAc;
    for (std::size_t i = 0; i < 6; i++) {
        Block& block = differences.blocks[i];
        block = levels.blocks[i];
        for (std::size_t k = 0; k < (macroblock.predictsAc ? 64 : 1); k++)
            block[k] = static_cast<int16_t>(block[k] - predicted[i][k]);
        differences.acCounts[i] = static_cast<int32_t>(
            std::count_if(block.begin() + 1, block.end(), [](int16_t l) { return l != 0; }));
        differences.scans[i] = !macroblock.predictsAc ? zigzag
                               : fromAbove[i]         ? alternateHorizontal
                                                      : alternateVertical;
    }
}

// The levels, and the DC as the decoder reconstructs it.
void IntraCoding::keep(const Macroblock& macroblock, std::size_t i, const Block& levels)
{
    predictor_.keepLevels(macroblock, i, levels.data());
    Block dc{};
    dc[0] = levels[0];
    keliQuantInvIntra_MPEG4_16s_C1I(dc.data(), 0, context_.intraQuantiser, macroblock.quant, i >= 4);
    predictor_.keepDc(macroblock, i, dc[0]);
}

} // namespace kelvcpx::app::mpeg4
