// The MPEG-2 video encoder (ISO/IEC 13818-2): Main Profile, frame pictures, progressive or interlaced.
#pragma once

#include "common/encoder.h"

#include <memory>

namespace kelvcpx::app::mpeg2 {

// The quantiser of the settings is a quantiser_scale_code.
std::unique_ptr<VideoEncoder> makeEncoder(const VideoFormat& format, const EncoderSettings& settings);

} // namespace kelvcpx::app::mpeg2
