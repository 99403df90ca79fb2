// Slice groups of H.264 pictures, drawn by lot and laid out (ITU-T H.264 7.4.2.2, 8.2.2).
#pragma once

#include "support/random.h"

#include "h264/slice_header.h"

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace kelvcpx::test {

constexpr int sliceGroupMapTypes = 7;

// Draws the slice groups of a picture parameter set.
void drawSliceGroups(app::h264::PictureParameterSet& set, const app::h264::SequenceParameterSet& sequence,
                     int mapType, Random& random);

// Draws slice_group_change_cycle of a picture; 0 for map types that do not change.
int drawSliceGroupChangeCycle(const app::h264::PictureParameterSet& set,
                              const app::h264::SequenceParameterSet& sequence, Random& random);

// The macroblocks of a picture, or the pairs of a frame of macroblock pairs, by slice group in decoding
// order.
std::vector<std::vector<int>> macroblocksOfGroups(const app::h264::PictureParameterSet& set,
                                                  const app::h264::SequenceParameterSet& sequence,
                                                  const app::h264::SliceHeader& header);

template <class T>
void shuffle(std::vector<T>& values, Random& random)
{
    for (std::size_t i = values.size(); i > 1; i--)
        std::swap(values[i - 1], values[random.uniform<std::size_t>(0, static_cast<int64_t>(i) - 1)]);
}

// Cuts macroblocks that follow one another in decoding order into slices.
std::vector<std::vector<int>> cutIntoSlices(const std::vector<int>& macroblocks, Random& random);

} // namespace kelvcpx::test
