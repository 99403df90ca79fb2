// Decides the types of pictures and the order in which they are coded.
#pragma once

#include "mpeg2/frame.h"
#include "mpeg2/headers.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace kelvcpx::app::mpeg2 {

// A picture whose turn it is.
struct ScheduledPicture {
    std::shared_ptr<const Frame> frame;
    PictureType type;
    int64_t number;     // in display order
    int64_t groupStart; // number of the first picture to be shown of its group
};

using ScheduleSink = std::function<void(const ScheduledPicture&)>;

// Every groupSize-th picture is intra. Between an intra or P picture and the next one are `bFrames` B
// pictures, fewer before an intra picture that comes earlier and at the end. An intra picture starts a group,
// to which the B pictures before it belong.
class GroupStructure
{
public:
    GroupStructure(int groupSize, int bFrames) : groupSize_(groupSize), bFrames_(bFrames) {}

    // Takes the next picture in display order, and hands over those that can be coded, in coding order.
    void add(std::shared_ptr<const Frame> frame, const ScheduleSink& sink);

    // The last picture cannot be B.
    void flush(const ScheduleSink& sink);

private:
    void release(PictureType type, const ScheduleSink& sink);

    int groupSize_;
    int bFrames_;
    int64_t count_ = 0;      // of pictures taken
    int64_t groupStart_ = 0; // of the current group
    std::vector<std::shared_ptr<const Frame>> waiting_;
};

} // namespace kelvcpx::app::mpeg2
