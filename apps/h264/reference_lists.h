// Reference picture lists of a slice (ITU-T H.264 8.2.4).
#pragma once

#include "h264/frame.h"
#include "h264/slice_header.h"

#include <array>
#include <span>
#include <vector>

namespace kelvcpx::app::h264 {

// An entry of a reference picture list. The frame is null where the list has no picture.
struct ReferencePicture {
    FramePointer frame;
    Structure structure = Structure::frame;
    bool isSubstitute = false; // for a picture that the list lacks

    bool isLongTerm() const { return includes(frame->longTerm, structure); }
    int poc() const { return frame->poc(structure); }
    PictureId id() const { return pictureId(frame->number, structure); }
    bool operator==(const ReferencePicture&) const = default;
};

using ReferenceList = std::vector<ReferencePicture>;

// RefPicList0 and RefPicList1 of the slice, each with as many entries as the slice says. `structure` is that
// of the current picture, `poc` its picture order count.
std::array<ReferenceList, 2> makeReferenceLists(std::span<const FramePointer> frames,
                                                const SliceHeader& slice, Structure structure, int poc,
                                                int maxFrameNum);

} // namespace kelvcpx::app::h264
