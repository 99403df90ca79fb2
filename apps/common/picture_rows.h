// The bytes of a picture in the order in which every output wants them: Y, Cb, Cr, row by row, without
// padding.
#pragma once

#include "common/picture.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace kelvcpx::app {

template <class Function>
void forEachRow(const PictureView& picture, Function function)
{
    const auto bytesPerSample = static_cast<std::size_t>(picture.format.bytesPerSample());
    for (int p = 0; p < picture.format.planeCount(); p++) {
        const PlaneView& plane = picture.planes[static_cast<std::size_t>(p)];
        const std::size_t rowBytes = static_cast<std::size_t>(plane.width) * bytesPerSample;
        for (int y = 0; y < plane.height; y++)
            function(std::span<const uint8_t>(plane.samples + y * plane.step, rowBytes));
    }
}

} // namespace kelvcpx::app
