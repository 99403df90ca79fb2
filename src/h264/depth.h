// The bit depth of a picture, a parameter of all reconstruction templates: the samples, the lanes that
// compute with them, and the coefficients. A depth above 8 is known only at run time.
#pragma once

#include "h264/lanes.h"
#include "tables/h264_tables.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace kelvcpx::h264 {

// Samples of 8 bits, coefficients of 16.
struct Depth8 : Samples8 {
    using Coefficient = int16_t;

    static constexpr int32_t bits = 8;
    static constexpr Clip<Samples8> clip{};

    // Sixteen samples of the middle of the range, in place of neighbours that are not available.
    static constexpr std::array<Sample, 16> middle = {128, 128, 128, 128, 128, 128, 128, 128,
                                                      128, 128, 128, 128, 128, 128, 128, 128};

    // A residual in lanes with room for its sum with a sample. A residual above 255 saturates whatever it is
    // added to.
    static Lanes limited(Lanes residual) { return minimum(residual, splat(255)); }

    // Adds a residual to one sample.
    static Sample add(Sample sample, int32_t residual)
    {
        return ClampTbl[static_cast<std::size_t>(256 + sample + std::clamp(residual, -256, 255))];
    }
};

// Samples of up to 16 bits, coefficients of 32.
class DepthHigh : public Samples16
{
public:
    using Coefficient = int32_t;

    // A bit depth outside 1..16 counts as the nearest one in that range.
    explicit DepthHigh(int32_t bitDepth) : bits(std::clamp(bitDepth, 1, 16)), clip(bits)
    {
        middle.fill(static_cast<Sample>(1 << (bits - 1)));
    }

    // Samples may exceed the bit depth: then the limits show.
    Lanes limited(Lanes residual) const { return kelvcpx::limited(residual, splat(clip.largest())); }

    Sample add(Sample sample, int32_t residual) const
    {
        const int32_t largest = clip.largest();
        return static_cast<Sample>(
            std::clamp(sample + std::clamp(residual, -largest, largest), int32_t{0}, largest));
    }

    int32_t bits;
    Clip<Samples16> clip;
    std::array<Sample, 16> middle;
};

} // namespace kelvcpx::h264
