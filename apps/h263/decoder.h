// Decodes H.263 (ITU-T Recommendation H.263): the first version with its options but arithmetic coding, and
// of the second one custom formats, advanced intra coding, the deblocking filter, slices and modified
// quantisation.
#pragma once

#include "common/decoder.h"

#include <memory>

namespace kelvcpx::app::h263 {

std::unique_ptr<VideoDecoder> makeDecoder(DamageListener& listener, const DecoderSettings& settings = {});

} // namespace kelvcpx::app::h263
