// Picture order count (ITU-T H.264 8.2.1).
#pragma once

#include "h264/slice_header.h"

#include <array>
#include <cstdint>

namespace kelvcpx::app::h264 {

// Carries what the counts of the next picture depend on.
class PictureOrderCounter
{
public:
    // The counts of the top and the bottom field. Of a field picture only its own is meaningful.
    std::array<int, 2> next(const SequenceParameterSet& sequence, const SliceHeader& slice);

    // After a picture with memory management control operation 5, whose counts have been made relative
    // (8.2.1).
    void restartAfter(const SliceHeader& slice, int topPoc);

private:
    std::array<int, 2> nextOfType0(const SequenceParameterSet& sequence, const SliceHeader& slice);
    std::array<int, 2> nextOfType1(const SequenceParameterSet& sequence, const SliceHeader& slice) const;
    std::array<int, 2> nextOfType2(const SliceHeader& slice) const;

    int64_t previousPocMsb_ = 0; // wide, since damaged streams count without end
    int previousPocLsb_ = 0;
    int previousFrameNum_ = 0;
    int64_t frameNumOffset_ = 0;
};

} // namespace kelvcpx::app::h264
