// Conversion to RGB for looking at pictures.
#pragma once

#include "common/picture.h"

#include <cstdint>
#include <vector>

namespace kelvcpx::app {

// Three bytes a sample, rows without padding. The matrix is the one that the format names, otherwise that of
// ITU-R BT.601 up to 576 rows and that of BT.709 above; chroma is taken from the nearest sample.
std::vector<uint8_t> toRgb(const PictureView& picture);

} // namespace kelvcpx::app
