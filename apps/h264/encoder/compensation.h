// Motion-compensated prediction (ITU-T H.264 8.4.2.2) from a picture with margins.
#pragma once

#include "h264/encoder/samples.h"

#include <kelvcpx/types.h>

namespace kelvcpx::app::h264::encoder {

// The vectors, in quarter samples, that keep a block and the samples that its interpolation needs within the
// margins, and within what every level allows.
struct VectorRange {
    Vector least;
    Vector most;

    // Of a block at a place of the picture, in luma samples.
    VectorRange(const Surface& reference, int x, int y);

    Vector clamp(Vector v) const;
    bool contains(Vector v) const { return clamp(v) == v; }
};

// Predict a block, whose place is given in samples of the component.
void compensateLuma(const Surface& reference, int x, int y, Vector vector, const PicturePlace& target,
                    RoiSize size);
void compensateChroma(const Surface& reference, std::size_t component, int x, int y, Vector vector,
                      const PicturePlace& target, RoiSize size);

} // namespace kelvcpx::app::h264::encoder
