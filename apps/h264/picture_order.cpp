#include "h264/picture_order.h"

#include <cstddef>
#include <numeric>

namespace kelvcpx::app::h264 {
namespace {

std::array<int, 2> counts(int64_t top, int64_t bottom)
{
    return {static_cast<int>(top), static_cast<int>(bottom)};
}

} // namespace

std::array<int, 2> PictureOrderCounter::next(const SequenceParameterSet& sequence, const SliceHeader& slice)
{
    if (slice.idr)
        frameNumOffset_ = 0;
    else if (previousFrameNum_ > slice.frameNum)
        frameNumOffset_ += sequence.maxFrameNum();
    previousFrameNum_ = slice.frameNum;
    if (sequence.pocType == 0)
        return nextOfType0(sequence, slice);
    return sequence.pocType == 1 ? nextOfType1(sequence, slice) : nextOfType2(slice);
}

// 8.2.1.1
std::array<int, 2> PictureOrderCounter::nextOfType0(const SequenceParameterSet& sequence,
                                                    const SliceHeader& slice)
{
    if (slice.idr) {
        previousPocMsb_ = 0;
        previousPocLsb_ = 0;
    }
    const int maxLsb = 1 << sequence.log2MaxPocLsb;
    int64_t msb = previousPocMsb_;
    if (slice.pocLsb < previousPocLsb_ && previousPocLsb_ - slice.pocLsb >= maxLsb / 2)
        msb += maxLsb;
    else if (slice.pocLsb > previousPocLsb_ && slice.pocLsb - previousPocLsb_ > maxLsb / 2)
        msb -= maxLsb;
    if (slice.nalRefIdc != 0) {
        previousPocMsb_ = msb;
        previousPocLsb_ = slice.pocLsb;
    }
    const int64_t poc = msb + slice.pocLsb;
    return counts(poc, poc + (slice.fieldPicture ? 0 : slice.deltaPocBottom));
}

// 8.2.1.2
std::array<int, 2> PictureOrderCounter::nextOfType1(const SequenceParameterSet& sequence,
                                                    const SliceHeader& slice) const
{
    const auto cycleLength = static_cast<int64_t>(sequence.offsetForRefFrame.size());
    int64_t absFrameNum = cycleLength != 0 ? frameNumOffset_ + slice.frameNum : 0;
    if (slice.nalRefIdc == 0 && absFrameNum > 0)
        absFrameNum--;
    int64_t expected = 0;
    if (absFrameNum > 0) {
        const auto& offsets = sequence.offsetForRefFrame;
        const int64_t cycles = (absFrameNum - 1) / cycleLength;
        const int64_t inCycle = (absFrameNum - 1) % cycleLength;
        expected = cycles * std::accumulate(offsets.begin(), offsets.end(), int64_t{0}) +
                   std::accumulate(offsets.begin(), offsets.begin() + inCycle + 1, int64_t{0});
    }
    if (slice.nalRefIdc == 0)
        expected += sequence.offsetForNonRefPic;
    const int64_t top = expected + slice.deltaPoc[0];
    const int64_t bottom = top + sequence.offsetForTopToBottomField;
    return counts(top, bottom + (slice.fieldPicture ? 0 : slice.deltaPoc[1]));
}

// 8.2.1.3
std::array<int, 2> PictureOrderCounter::nextOfType2(const SliceHeader& slice) const
{
    const int64_t poc =
        slice.idr ? 0 : 2 * (frameNumOffset_ + slice.frameNum) - (slice.nalRefIdc == 0 ? 1 : 0);
    return counts(poc, poc);
}

void PictureOrderCounter::restartAfter(const SliceHeader& slice, int topPoc)
{
    previousPocMsb_ = 0;
    previousPocLsb_ = slice.bottomField ? 0 : topPoc;
    previousFrameNum_ = 0;
    frameNumOffset_ = 0;
}

} // namespace kelvcpx::app::h264
