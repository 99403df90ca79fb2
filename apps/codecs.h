// Which decoder is for which codec.
#pragma once

#include "common/decoder.h"
#include "common/demuxer.h"

#include <memory>

namespace kelvcpx::app {

// A decoder for the stream, which has already seen the headers that the container keeps apart. The listener
// must outlive it. Throws UnsupportedStream if there is none.
std::unique_ptr<VideoDecoder> makeDecoder(const VideoStream& stream, DamageListener& listener);

} // namespace kelvcpx::app
