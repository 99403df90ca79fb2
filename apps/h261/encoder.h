// Encodes H.261 (ITU-T Recommendation H.261): intra pictures and predicted ones, with the loop filter where
// it helps.
#pragma once

#include "common/encoder.h"

#include <memory>

namespace kelvcpx::app::h261 {

// For pictures of 176x144 and 352x288.
std::unique_ptr<VideoEncoder> makeEncoder(const VideoFormat& format, const EncoderSettings& settings);

} // namespace kelvcpx::app::h261
