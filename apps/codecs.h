// Which decoder is for which codec.
#pragma once

#include "common/decoder.h"
#include "common/demuxer.h"
#include "common/encoder.h"

#include <memory>
#include <string>
#include <vector>

namespace kelvcpx::app {

// A decoder for the stream, which has already seen the headers that the container keeps apart. The listener
// must outlive it. Throws UnsupportedStream if there is none, UsageError if it does not have the settings.
std::unique_ptr<VideoDecoder> makeDecoder(const VideoStream& stream, DamageListener& listener,
                                          const DecoderSettings& settings = {});

// The encoders by the names that the command line has for them.
std::vector<std::string> encoderNames();

// An encoder for pictures of the format. Throws UsageError for settings out of its range, UnsupportedStream
// for pictures that the standard does not provide for.
std::unique_ptr<VideoEncoder> makeEncoder(const std::string& name, const VideoFormat& format,
                                          const EncoderSettings& settings);

} // namespace kelvcpx::app
