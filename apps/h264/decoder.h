// Decodes H.264 video (ITU-T H.264, ISO/IEC 14496-10): the Baseline, Main, High, High 10 and High 4:2:2
// profiles, and of the Extended profile what has neither data partitions nor SP and SI slices.
#pragma once

#include "common/decoder.h"

#include <cstdint>
#include <memory>
#include <span>

namespace kelvcpx::app::h264 {

// `configuration` is the AVCDecoderConfigurationRecord of containers that have one, or parameter sets with
// start codes, or empty.
std::unique_ptr<VideoDecoder> makeDecoder(std::span<const uint8_t> configuration, DamageListener& listener);

} // namespace kelvcpx::app::h264
