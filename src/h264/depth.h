// The bit depth of a picture, a parameter of all reconstruction templates. A depth is passed by value: it may
// be known only at run time.
#pragma once

#include "core/vec.h"

#include <array>
#include <cstdint>

namespace kelvcpx::h264 {

// Samples of 8 bits, coefficients of 16.
struct Depth8 {
    using Sample = uint8_t;
    using Coefficient = int16_t;

    // Sums of plane prediction are within -11472..19648.
    using PlaneLane = int16_t;
    using PlaneLanes = S16x8;

    // Sixteen samples of the middle of the range, in place of neighbours that are not available.
    static constexpr std::array<Sample, 16> middle = {128, 128, 128, 128, 128, 128, 128, 128,
                                                      128, 128, 128, 128, 128, 128, 128, 128};
};

} // namespace kelvcpx::h264
