// Which slice group a macroblock belongs to (ITU-T H.264 8.2.2).
#pragma once

#include "h264/slice_header.h"

#include <cstdint>
#include <vector>

namespace kelvcpx::app::h264 {

// MbToSliceGroupMap of the picture that the slice belongs to. Empty if there is just one group.
std::vector<uint8_t> macroblockSliceGroups(const SequenceParameterSet& sequence,
                                           const PictureParameterSet& picture, const SliceHeader& slice);

} // namespace kelvcpx::app::h264
