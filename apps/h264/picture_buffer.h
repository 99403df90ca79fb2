// The decoded picture buffer: marking of reference pictures (ITU-T H.264 8.2.5) and output order (C.4).
#pragma once

#include "h264/frame.h"
#include "h264/slice_header.h"

#include <functional>
#include <vector>

namespace kelvcpx::app::h264 {

class PictureBuffer
{
public:
    using Output = std::function<void(Frame&)>;

    // Empties the buffer and takes the sizes of a new sequence.
    void configure(const SequenceParameterSet& sequence, const Output& output);

    // A frame of the given shape, used before or new, that is not in the buffer yet.
    FramePointer newFrame(const FrameShape& shape, const VideoFormat& format);

    // Puts a frame into the buffer, when all of it or its first field has been decoded.
    void add(const FramePointer& frame) { frames_.push_back(frame); }

    // The frame has all its fields: it joins those that wait for output, and leaves or makes others leave
    // where the buffer has no room.
    void complete(Frame& frame, const Output& output);

    // Hands over all frames that wait, in output order.
    void flush(const Output& output);

    // Marks the reference pictures when `structure` of the current frame, a reference, has been decoded
    // (8.2.5).
    void mark(Frame& current, Structure structure, const SliceHeader& slice);

    // Makes room for the current reference frame (8.2.5.3).
    void slideWindow(const Frame& current);

    const std::vector<FramePointer>& frames() const { return frames_; }

private:
    struct Found {
        Frame* frame = nullptr;
        Structure structure = Structure::none;
    };

    bool goesBefore(const Frame& a, const Frame& b, const Frame& current) const;
    bool outputNext(const Output& output);
    void removeUnused();
    Found findShortTerm(int picNumX, Structure current, int currentFrameNum) const;
    Found findLongTerm(int longTermPicNum, Structure current) const;
    void releaseLongTermIdx(int longTermFrameIdx, const Frame* except);
    void apply(const MarkingOperation& operation, Frame& current, Structure structure,
               const SliceHeader& slice);
    void unmarkAllBut(const Frame* current);

    std::vector<FramePointer> frames_; // in decoding order
    std::vector<FramePointer> pool_;
    std::size_t capacity_ = 1;
    std::size_t reorderDepth_ = 0; // frames that may wait for an earlier one
    std::size_t maxReferences_ = 1;
    int maxFrameNum_ = 16;
    int32_t nextNumber_ = 0;
};

} // namespace kelvcpx::app::h264
