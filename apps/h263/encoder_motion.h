// Vectors of whole macroblocks, as the encoders of H.263 and MPEG-4 predict and apply them.
#pragma once

#include "common/motion_vector.h"
#include "common/padded_frame.h"
#include "common/predictive_encoder.h"

#include <array>
#include <vector>

namespace kelvcpx::app::h263 {

// The vectors of a picture.
class VectorField
{
public:
    VectorField(int wide, int high);

    void clear();
    void set(int column, int row, app::MotionVector vector);

    // Zero outside of the picture, and in macroblocks that have none.
    app::MotionVector at(int column, int row) const;

    // The median of those of three neighbours (ITU-T H.263 6.1.1, ISO/IEC 14496-2 7.6.5).
    app::MotionVector predicted(int column, int row) const;

    // Vectors worth trying.
    std::array<app::MotionVector, 3> candidates(int column, int row) const;

private:
    int wide_;
    std::vector<app::MotionVector> vectors_;
};

// Half-sample prediction of a macroblock by one vector.
void predictMacroblock(const PaddedFrame& reference, int column, int row, app::MotionVector vector,
                       int32_t rounding, PredictedMacroblock& predicted);

} // namespace kelvcpx::app::h263
