#include "mpeg2/encoder/group_structure.h"

#include <utility>

namespace kelvcpx::app::mpeg2 {

void GroupStructure::add(std::shared_ptr<const Frame> frame, const ScheduleSink& sink)
{
    const bool intra = count_ % groupSize_ == 0;
    waiting_.push_back(std::move(frame));
    count_++;
    if (intra)
        release(PictureType::intra, sink);
    else if (static_cast<int>(waiting_.size()) > bFrames_)
        release(PictureType::predicted, sink);
}

void GroupStructure::flush(const ScheduleSink& sink)
{
    if (!waiting_.empty())
        release(PictureType::predicted, sink);
}

// The newest picture gets the type, and goes before the B pictures that wait for it.
void GroupStructure::release(PictureType type, const ScheduleSink& sink)
{
    const auto waiting = std::exchange(waiting_, {});
    const int64_t first = count_ - static_cast<int64_t>(waiting.size());
    if (type == PictureType::intra)
        groupStart_ = first;
    sink({waiting.back(), type, count_ - 1, groupStart_});
    for (std::size_t i = 0; i + 1 < waiting.size(); i++)
        sink({waiting[i], PictureType::bidirectional, first + static_cast<int64_t>(i), groupStart_});
}

} // namespace kelvcpx::app::mpeg2
