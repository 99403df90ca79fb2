// Pictures of 4:2:2 as turned ones of 4:2:0.
#pragma once

#include "common/picture.h"

#include <array>
#include <cstdint>
#include <vector>

namespace kelvcpx::app {

class Rotation
{
public:
    // Degrees clockwise: 0, 90, 180 or 270.
    explicit Rotation(int degrees) : degrees_(degrees) {}

    // Valid until the next call. Throws UnsupportedStream for other pictures than 4:2:2 of 8 bits.
    PictureView apply(const PictureView& picture);

private:
    int degrees_;
    std::array<std::vector<uint8_t>, 3> planes_;
};

} // namespace kelvcpx::app
