// What remains of a region of a macroblock after its prediction: the counterpart of predict().
#pragma once

#include "mpeg2/prediction.h"

namespace kelvcpx::app::mpeg2 {

// The residual planes of a region, or a part of them.
struct ResidualTarget {
    std::array<int16_t*, 3> planes;
    std::array<int32_t, 3> steps; // bytes

    explicit ResidualTarget(Residual& residual)
        : planes{residual.luma.data(), residual.chroma[0].data(), residual.chroma[1].data()}, steps{32, 16,
                                                                                                    16}
    {}

    // The rows of one parity.
    ResidualTarget field(int parity) const
    {
        ResidualTarget target = *this;
        for (std::size_t i = 0; i < 3; i++) {
            target.planes[i] += parity * steps[i] / static_cast<int32_t>(sizeof(int16_t));
            target.steps[i] *= 2;
        }
        return target;
    }
};

enum class Components { luma, all };

// Writes the region of the picture minus its prediction. The pictures are 4:2:0, and the vectors stay inside
// of the references.
void difference(const Surface& picture, const Region& region, const SourceList& sources,
                Components components, const ResidualTarget& residual);

} // namespace kelvcpx::app::mpeg2
