// The deblocking filter of Annex J.
#pragma once

#include "common/padded_frame.h"
#include "h263/macroblock.h"

namespace kelvcpx::app::h263 {

// Filters the edges of all blocks of a picture that is complete but for its margin.
void deblock(const PictureContext& context, PaddedFrame& frame);

} // namespace kelvcpx::app::h263
