// Decodes DV (IEC 61834-2, SMPTE 314M) and DV100 (SMPTE 370M) video.
#pragma once

#include "common/decoder.h"

#include <memory>

namespace kelvcpx::app::dv {

std::unique_ptr<VideoDecoder> makeDecoder(DamageListener& listener, const DecoderSettings& settings = {});

} // namespace kelvcpx::app::dv
