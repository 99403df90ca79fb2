// Writes the headers of H.264 streams (ITU-T H.264 7.3.2, 7.3.3).
#pragma once

#include "common/bit_writer.h"
#include "h264/slice_header.h"

namespace kelvcpx::test {

using app::BitWriter;

BitWriter sequenceParameterSet(const app::h264::SequenceParameterSet& set);
BitWriter pictureParameterSet(const app::h264::PictureParameterSet& set,
                              const app::h264::SequenceParameterSet& sequence);

// slice_header(). `explicitCounts` writes the numbers of references although they are the default ones.
void putSliceHeader(BitWriter& bits, const app::h264::SliceHeader& header,
                    const app::h264::SequenceParameterSet& sequence,
                    const app::h264::PictureParameterSet& set, bool explicitCounts);

} // namespace kelvcpx::test
