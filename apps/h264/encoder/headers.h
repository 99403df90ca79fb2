// Parameter sets, slice headers and NAL units (ITU-T H.264 7.3.1 to 7.3.3, Annex B).
#pragma once

#include "common/bit_writer.h"
#include "h264/nal.h"
#include "h264/parameter_sets.h"
#include "h264/slice_header.h"

#include <cstdint>
#include <vector>

namespace kelvcpx::app::h264::encoder {

// level_idc: the lowest level that allows frames of this size at this rate (table A-1).
int levelFor(int widthInMbs, int heightInMbs, Rational frameRate);

// Write the syntax structures that the decoder's functions of the same names read, for the streams that this
// encoder makes: progressive 4:2:0 of 8 bits with CAVLC, I and P slices, output in coding order.
void putSequenceParameterSet(BitWriter& bits, const SequenceParameterSet& set);
void putPictureParameterSet(BitWriter& bits, const PictureParameterSet& set);
void putSliceHeader(BitWriter& bits, const SliceHeader& header, const SequenceParameterSet& sequence,
                    const PictureParameterSet& picture);

// The NAL unit in the byte stream format, with the trailing bits that the payload lacks.
std::vector<uint8_t> nalUnit(NalHeader header, BitWriter payload);

} // namespace kelvcpx::app::h264::encoder
