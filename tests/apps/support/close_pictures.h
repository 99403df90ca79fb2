// How close the pictures of two decoders have to be, or those of a decoder to what an encoder expects.
#pragma once

#include "apps/support/frames.h"

#include <string>
#include <vector>

namespace kelvcpx::test {

// Least signal-to-noise ratios in dB. Inverse DCTs round differently, and inter pictures add up what the
// pictures they refer to have. An error in anything else costs far more than the bounds allow.
struct Bounds {
    double intra;
    double inter;
};

// Expects as many pictures as there are letters of types, all planes of which are within the bounds.
void expectClose(const std::vector<Frame>& ours, const std::vector<Frame>& theirs, const std::string& types,
                 Bounds bounds);

// Expects the same samples in as many pictures.
void expectSamePictures(const std::vector<Frame>& ours, const std::vector<Frame>& theirs);

} // namespace kelvcpx::test
