// An encoder for MPEG-4 Part 2 (ISO/IEC 14496-2): Simple Profile, I- and P-VOPs with vectors of half samples.
#pragma once

#include "common/encoder.h"

#include <memory>

namespace kelvcpx::app::mpeg4 {

// The quantiser of the settings is a vop_quant, 1..31. Throws UsageError for settings out of range,
// UnsupportedStream for pictures that are not 4:2:0 of 8 bits or too large.
std::unique_ptr<VideoEncoder> makeEncoder(const VideoFormat& format, const EncoderSettings& settings);

} // namespace kelvcpx::app::mpeg4
