// Encodes H.264 video (ITU-T H.264, ISO/IEC 14496-10): Constrained Baseline or High profile, CAVLC.
#pragma once

#include "common/encoder.h"

#include <memory>

namespace kelvcpx::app::h264 {

// The quantiser of the settings is the QP of P pictures. Pictures of odd sizes get one more column or row.
std::unique_ptr<VideoEncoder> makeEncoder(const VideoFormat& format, const EncoderSettings& settings);

} // namespace kelvcpx::app::h264
