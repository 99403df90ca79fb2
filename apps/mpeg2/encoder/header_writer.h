// Writes the headers above the slice (ISO/IEC 13818-2 6.2.2, 6.2.3), each with its extension.
#pragma once

#include "common/bit_writer.h"
#include "mpeg2/headers.h"

#include <cstdint>

namespace kelvcpx::app::mpeg2 {

// Chooses what the headers say about a video of the format: the codes of its rates and the least level of
// Main Profile that has room for it. `bitRate` is 0 for the level's largest. Throws UnsupportedStream if no
// level is large enough.
Sequence describeSequence(const VideoFormat& format, int64_t bitRate);

void writeSequenceHeader(BitWriter& bits, const Sequence& sequence);

// The time code is that of the first picture to be shown, by its number.
void writeGroupHeader(BitWriter& bits, const Sequence& sequence, const Group& group, int64_t firstPicture);

void writePictureHeader(BitWriter& bits, const Picture& picture);

} // namespace kelvcpx::app::mpeg2
