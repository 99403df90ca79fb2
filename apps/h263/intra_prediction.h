// Prediction of intra coefficients in advanced intra coding (ITU-T H.263 I.3).
#pragma once

#include "h263/macroblock.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace kelvcpx::app::h263 {

// INTRA_MODE, with its scan as the operations of the library number them.
enum class IntraMode { dcOnly, vertical, horizontal };

constexpr int32_t scanOf(IntraMode mode)
{
    return mode == IntraMode::dcOnly ? 0 : mode == IntraMode::vertical ? 2 : 1;
}

class IntraPredictor
{
public:
    // For pictures of so many macroblocks.
    void start(int wide, int high);

    // Adds the prediction to the coefficients of a block, 0..5, of an intra macroblock of the segment, and
    // keeps what later blocks are predicted from.
    void predict(CodedBlock& block, int number, int column, int row, int segment, IntraMode mode);

private:
    // The coefficients of a block along its upper and left side.
    struct Edges {
        int segment = 0; // 0: not intra
        std::array<int16_t, 8> row;
        std::array<int16_t, 8> column;
    };

    const Edges* at(std::size_t plane, int x, int y, int segment) const;

    std::array<std::vector<Edges>, 3> planes_;
    std::array<int, 3> widths_{};
};

} // namespace kelvcpx::app::h263
