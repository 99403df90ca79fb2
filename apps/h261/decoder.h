// Decodes H.261 (ITU-T Recommendation H.261).
#pragma once

#include "common/decoder.h"

#include <memory>

namespace kelvcpx::app::h261 {

std::unique_ptr<VideoDecoder> makeDecoder(DamageListener& listener, const DecoderSettings& settings = {});

} // namespace kelvcpx::app::h261
