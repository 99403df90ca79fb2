// The driver for MPEG-4 Part 2 video (ISO/IEC 14496-2): Simple and Advanced Simple Profile.
#pragma once

#include "common/decoder.h"

#include <memory>

namespace kelvcpx::app::mpeg4 {

std::unique_ptr<VideoDecoder> makeDecoder(DamageListener& listener, const DecoderSettings& settings = {});

} // namespace kelvcpx::app::mpeg4
