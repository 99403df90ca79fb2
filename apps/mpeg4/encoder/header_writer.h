// Writes the headers above the macroblock (ISO/IEC 14496-2 6.2.2 to 6.2.5) of a Simple Profile stream.
#pragma once

#include "common/code_writer.h"
#include "mpeg4/headers.h"

#include <cstdint>

namespace kelvcpx::app::mpeg4 {

// Throws UnsupportedStream if the standard has no room for the size.
VideoObjectLayer describeLayer(const VideoFormat& format);

// In ticks of the layer.
int64_t timeOfPicture(const VideoObjectLayer& layer, const VideoFormat& format, int64_t number);

// The sequence, the visual object, the video object and its layer.
void writeSequence(CodeWriter& writer, const VideoObjectLayer& layer);

void writeVop(CodeWriter& writer, const VideoObjectLayer& layer, const Vop& vop);

// The stuffing in front of a start code, and behind the last macroblock (5.2.4).
void stuff(CodeWriter& writer);

} // namespace kelvcpx::app::mpeg4
