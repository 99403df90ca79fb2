// Prediction of intra coefficients (ISO/IEC 14496-2 7.4.3).
#pragma once

#include "mpeg4/vop.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace kelvcpx::app::mpeg4 {

class IntraPredictor
{
public:
    explicit IntraPredictor(const VopContext& context);

    // Where the prediction of a block, 0..5, comes from.
    struct Source {
        int dc;         // the coefficient
        bool fromAbove; // or from the left
    };
    Source sourceOf(const Macroblock& macroblock, std::size_t block) const;

    // Adds the prediction to the levels of a block in raster order.
    void predict(const Macroblock& macroblock, std::size_t block, const Source& source,
                 int16_t* levels) const;

    // Keeps what later blocks are predicted from: the levels along two edges, and the dequantised DC.
    void keepLevels(const Macroblock& macroblock, std::size_t block, const int16_t* levels);
    void keepDc(const Macroblock& macroblock, std::size_t block, int16_t dc);

private:
    struct Edges {
        int16_t dc;
        std::array<int16_t, 7> row; // the levels of the frequencies 1..7
        std::array<int16_t, 7> column;
    };

    struct Entry {
        int quant;
        std::array<Edges, 6> blocks;
    };

    // A block beside or above, or null if there is none to predict from.
    struct Neighbour {
        const Edges* edges = nullptr;
        int quant = 0;

        int dc() const;
    };
    Neighbour neighbour(const Macroblock& macroblock, std::size_t block, int dx, int dy) const;
    const Entry& entryAt(int column, int row) const { return entries_[indexOf(column, row)]; }
    std::size_t indexOf(int column, int row) const;

    const VopContext& context_;
    std::vector<Entry> entries_; // of two rows of macroblocks, by turns
};

} // namespace kelvcpx::app::mpeg4
