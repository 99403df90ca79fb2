// Makes decoded pictures look better: the deblocking and deringing filters of ISO/IEC 14496-2 Annex F.3.
#pragma once

#include "common/padded_frame.h"

#include <cstdint>
#include <optional>
#include <span>

namespace kelvcpx::app {

class PostFilter
{
public:
    // Filters a copy of the frame, whose macroblocks have these quantisers, 1..31, in raster order. The view
    // is valid until the next call.
    PictureView apply(const PaddedFrame& frame, std::span<const uint8_t> quants);

private:
    std::optional<PaddedFrame> deblocked_;
    std::optional<PaddedFrame> smooth_;
};

} // namespace kelvcpx::app
