// The MPEG-2 video encoder (ISO/IEC 13818-2): Main Profile, frame pictures, progressive or interlaced.
#pragma once

#include "common/encoder.h"

#include <memory>

namespace kelvcpx::app::mpeg2 {

// The quantiser of the settings is a quantiser_scale_code, 1..31. Throws UsageError for settings out of
// range, UnsupportedStream for pictures that are not 4:2:0 of 8 bits or too large.
std::unique_ptr<VideoEncoder> makeEncoder(const VideoFormat& format, const EncoderSettings& settings);

} // namespace kelvcpx::app::mpeg2
