// Encodes H.263 (ITU-T Recommendation H.263), without optional modes: intra pictures and pictures predicted
// with one vector a macroblock.
#pragma once

#include "common/encoder.h"

#include <memory>

namespace kelvcpx::app::h263 {

// Sizes other than the five of the standard are custom formats: multiples of 4 up to 2048 x 1152.
std::unique_ptr<VideoEncoder> makeEncoder(const VideoFormat& format, const EncoderSettings& settings);

} // namespace kelvcpx::app::h263
