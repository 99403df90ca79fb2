// Random marking of decoded pictures as references, sliding windows and memory management (ITU-T
// H.264 8.2.5).
#pragma once

#include "apps/h264_random_state.h"

#include <vector>

namespace kelvcpx::test {

class MarkingDrawing
{
public:
    explicit MarkingDrawing(const RandomH264State& state) : state_(state) {}

    // For a frame, or a field of it, that is about to be written. `mayForget`: it may release all references.
    void draw(app::h264::SliceHeader& header, const app::h264::Frame& current, app::h264::Structure structure,
              bool mayForget);

private:
    void drawFirst(app::h264::SliceHeader& header, app::h264::Structure structure, bool mayForget);
    void drawSecond(app::h264::SliceHeader& header, const app::h264::Frame& current,
                    app::h264::Structure structure);
    void spareField(app::h264::SliceHeader& header);
    void makeLongTerm(app::h264::SliceHeader& header, const app::h264::Frame& frame,
                      app::h264::Structure structure);
    int drawLongTermIdx(app::h264::SliceHeader& header);
    std::vector<app::h264::MarkingOperation> releasing(const app::h264::Frame& frame,
                                                       const app::h264::SliceHeader& header,
                                                       app::h264::Structure structure) const;

    static constexpr int noLongTermIdx = -1;

    RandomH264State state_;
    int maxLongTermFrameIdx_ = noLongTermIdx;
};

} // namespace kelvcpx::test
