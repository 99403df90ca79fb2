// The bit depth of a picture, a parameter of all reconstruction templates. A depth is passed by value: it may
// be known only at run time.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

namespace kelvcpx::h264 {

// Samples of 8 bits, coefficients of 16.
struct Depth8 {
    using Sample = uint8_t;
    using Coefficient = int16_t;

    static constexpr int32_t largest() { return 255; }
    static constexpr Sample clip(int32_t v) { return static_cast<Sample>(std::clamp(v, 0, largest())); }

    // Sixteen samples of the middle of the range, in place of neighbours that are not available.
    static constexpr std::array<Sample, 16> middle = {128, 128, 128, 128, 128, 128, 128, 128,
                                                      128, 128, 128, 128, 128, 128, 128, 128};
};

} // namespace kelvcpx::h264
