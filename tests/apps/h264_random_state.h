// What the parts of a random H.264 stream are drawn from, and what is noted about them.
#pragma once

#include "apps/h264_random_stream.h"
#include "support/random.h"

#include "h264/picture_buffer.h"

#include <map>
#include <string>

namespace kelvcpx::test {

struct RandomH264State {
    const RandomH264Options& options;
    Random& random;
    const app::h264::SequenceParameterSet& sequence;
    const app::h264::PictureBuffer& buffer; // before the picture that is being written
    std::map<std::string, int>& tools;
};

// FrameNumWrap (8.2.4.1)
inline int frameNumWrap(const app::h264::Frame& frame, const app::h264::SliceHeader& header,
                        const app::h264::SequenceParameterSet& sequence)
{
    return frame.frameNum > header.frameNum ? frame.frameNum - sequence.maxFrameNum() : frame.frameNum;
}

} // namespace kelvcpx::test
