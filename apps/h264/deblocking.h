// The deblocking filter of a whole picture (ITU-T H.264 8.7).
#pragma once

#include "h264/slice_context.h"

namespace kelvcpx::app::h264 {

void deblock(const PictureContext& picture);

} // namespace kelvcpx::app::h264
