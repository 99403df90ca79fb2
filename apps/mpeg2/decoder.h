// Decodes MPEG-1 (ISO/IEC 11172-2) and MPEG-2 (ISO/IEC 13818-2) video.
#pragma once

#include "common/decoder.h"

#include <memory>

namespace kelvcpx::app::mpeg2 {

std::unique_ptr<VideoDecoder> makeDecoder(DamageListener& listener, const DecoderSettings& settings = {});

} // namespace kelvcpx::app::mpeg2
