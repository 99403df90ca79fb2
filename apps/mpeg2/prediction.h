// Motion-compensated prediction of a region of a macroblock (ISO/IEC 13818-2 7.6.4 to 7.6.8).
#pragma once

#include "mpeg2/frame.h"
#include "mpeg2/motion.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace kelvcpx::app::mpeg2 {

// Residual samples of a macroblock in frame order, as the inverse DCT leaves them.
struct Residual {
    alignas(32) std::array<int16_t, 16 * 16> luma;
    alignas(32) std::array<std::array<int16_t, 8 * 16>, 2> chroma; // 8 rows of them in 4:2:0
};

// The part of a residual that belongs to a region: all rows, those from some row on, or those of one field.
struct ResidualView {
    bool coded; // if not, the residual is zero, whatever the planes hold
    std::array<const int16_t*, 3> planes;
    std::array<int32_t, 3> steps; // bytes

    ResidualView(const Residual& residual, bool isCoded)
        : coded(isCoded), planes{residual.luma.data(), residual.chroma[0].data(), residual.chroma[1].data()},
          steps{32, 16, 16}
    {}

    ResidualView field(int parity) const
    {
        ResidualView view = fromRows({parity, parity, parity});
        for (int32_t& step : view.steps)
            step *= 2;
        return view;
    }

    // From the given row of each plane on.
    ResidualView fromRows(std::array<int, 3> rows) const
    {
        ResidualView view = *this;
        for (std::size_t i = 0; i < 3; i++)
            view.planes[i] += rows[i] * steps[i] / static_cast<int32_t>(sizeof(int16_t));
        return view;
    }
};

struct Source {
    const Surface* surface;
    Vector vector;
};

// One source, or two whose average is the prediction.
struct SourceList {
    std::array<Source, 2> items;
    std::size_t count = 0;

    void add(const Surface& surface, Vector vector) { items[count++] = {&surface, vector}; }
};

// What a direction of prediction refers to: a frame, and fields that need not be of the same one.
struct References {
    Surface frame;
    std::array<Surface, 2> fields; // by parity
};

// Forward, backward.
using ReferencePair = std::array<References, 2>;
using MotionPair = std::array<Motion, 2>;

// The sources that the vectors with index r of a macroblock point to, one for each direction that its type
// has.
SourceList sourcesOf(const ReferencePair& references, int32_t type, MotionType motionType,
                     const MotionPair& motion, std::size_t r);

// A region 16 samples wide, with its chroma.
struct Region {
    int x; // top left, in luma samples of the target
    int y;
    int height; // 16 or 8
};

// Writes the prediction plus the residual. Vectors that leave the reference, which no valid stream has, are
// held at its edge.
void predict(const Surface& target, ChromaFormat chroma, const Region& region, const SourceList& sources,
             const ResidualView& residual);

} // namespace kelvcpx::app::mpeg2
