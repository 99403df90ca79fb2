// An encoder for MPEG-4 Part 2 (ISO/IEC 14496-2): Simple Profile, I- and P-VOPs with vectors of half samples.
#pragma once

#include "common/encoder.h"

#include <memory>

namespace kelvcpx::app::mpeg4 {

// The quantiser of the settings is a vop_quant.
std::unique_ptr<VideoEncoder> makeEncoder(const VideoFormat& format, const EncoderSettings& settings);

} // namespace kelvcpx::app::mpeg4
