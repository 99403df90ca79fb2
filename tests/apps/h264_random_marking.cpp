#include "apps/h264_random_marking.h"

#include <algorithm>
#include <cstdint>

namespace kelvcpx::test {

using namespace app::h264;

// Operations that release a frame, or its fields one by one; none if pictures of this structure cannot name
// it.
std::vector<MarkingOperation> MarkingDrawing::releasing(const Frame& frame, const SliceHeader& header,
                                                        Structure structure) const
{
    std::vector<MarkingOperation> operations;
    const bool isField = structure != Structure::frame;
    const auto release = [&](Structure part, bool sameParity) {
        const auto number = [&](int ofFrame) {
            return isField ? 2 * ofFrame + (sameParity ? 1 : 0) : ofFrame;
        };
        const int current = isField ? 2 * header.frameNum + 1 : header.frameNum;
        if (includes(frame.shortTerm, part)) {
            const int difference = current - number(frameNumWrap(frame, header, state_.sequence)) - 1;
            operations.push_back({1, static_cast<uint32_t>(difference), 0, 0, 0});
        }
        if (includes(frame.longTerm, part))
            operations.push_back({2, 0, static_cast<uint32_t>(number(frame.longTermFrameIdx)), 0, 0});
    };
    if (isField) {
        release(structure, true);
        release(opposite(structure), false);
    } else {
        release(Structure::frame, false);
    }
    return operations;
}

int MarkingDrawing::drawLongTermIdx(SliceHeader& header)
{
    if (maxLongTermFrameIdx_ == noLongTermIdx || state_.random.oneIn(4)) {
        maxLongTermFrameIdx_ = state_.random.uniform(0, state_.options.maxRefFrames - 1);
        header.marking.push_back({4, 0, 0, 0, static_cast<uint32_t>(maxLongTermFrameIdx_ + 1)});
    }
    return state_.random.uniform(0, maxLongTermFrameIdx_);
}

void MarkingDrawing::draw(SliceHeader& header, const Frame& current, Structure structure, bool mayForget)
{
    header.adaptiveMarking = false;
    header.marking.clear();
    if (header.nalRefIdc == 0)
        return;
    if (header.idr) {
        header.longTermReference =
            state_.options.longTermReferences && !current.codedAsFields && state_.random.oneIn(2);
        maxLongTermFrameIdx_ = header.longTermReference ? 0 : noLongTermIdx;
        return;
    }
    if (!state_.options.memoryManagement)
        return;
    if (current.decoded != Structure::none)
        drawSecond(header, current, structure);
    else
        drawFirst(header, structure, mayForget);
    header.adaptiveMarking = !header.marking.empty();
    for (const MarkingOperation& operation : header.marking)
        state_.tools["memory management operation " + std::to_string(operation.operation)]++;
}

// At most maxRefFrames frames may be references afterwards.
void MarkingDrawing::drawFirst(SliceHeader& header, Structure structure, bool mayForget)
{
    // The next picture has frame_num 0 or 1, by which it must be told from this one.
    if (mayForget && header.frameNum > 1 && state_.random.oneIn(6)) {
        header.marking.push_back({5, 0, 0, 0, 0});
        maxLongTermFrameIdx_ = noLongTermIdx;
        return;
    }
    std::vector<const Frame*> frames;
    for (const FramePointer& frame : state_.buffer.frames())
        if (frame->isReference())
            frames.push_back(frame.get());
    const bool full = std::ssize(frames) >= state_.options.maxRefFrames;
    const bool canSlide = std::any_of(frames.begin(), frames.end(),
                                      [](const Frame* frame) { return frame->shortTerm != Structure::none; });
    if (frames.empty() || (canSlide && state_.random.oneIn(2)))
        return;
    const auto draw = [&] { return frames[state_.random.uniform<std::size_t>(0, std::ssize(frames) - 1)]; };
    const Frame* const victim = full || state_.random.oneIn(4) ? draw() : nullptr;
    if (victim != nullptr) {
        header.marking = releasing(*victim, header, structure);
        if (header.marking.empty())
            return;
        if (!full)
            spareField(header);
    }
    const Frame* const other = draw();
    // ffmpeg forgets the first field when the second one becomes a long-term reference by itself, unlike
    // 8.2.5.4.6.
    if (state_.options.longTermReferences && structure == Structure::frame && state_.random.oneIn(3)) {
        const int idx = drawLongTermIdx(header);
        header.marking.push_back({6, 0, 0, static_cast<uint32_t>(idx), 0});
    } else if (state_.options.longTermReferences && state_.random.oneIn(2) && other != victim) {
        makeLongTerm(header, *other, structure);
    }
}

void MarkingDrawing::drawSecond(SliceHeader& header, const Frame& current, Structure structure)
{
    for (const FramePointer& frame : state_.buffer.frames()) {
        if (frame.get() == &current || !frame->isReference() || !state_.random.oneIn(6))
            continue;
        if (state_.options.longTermReferences && state_.random.oneIn(2)) {
            makeLongTerm(header, *frame, structure);
        } else {
            header.marking = releasing(*frame, header, structure);
            spareField(header);
        }
        return;
    }
}

// Now and then only one of two fields is released. For ffmpeg it is still half a reference of frames, unlike
// 8.2.4.2.1.
void MarkingDrawing::spareField(SliceHeader& header)
{
    if (header.marking.size() > 1 && state_.options.structures == PictureStructures::fields &&
        state_.random.oneIn(2))
        header.marking.pop_back();
}

// A frame, or both fields of it: for ffmpeg a field is what the other one is, unlike 8.2.5.4.3.
void MarkingDrawing::makeLongTerm(SliceHeader& header, const Frame& frame, Structure structure)
{
    const std::vector<MarkingOperation> operations = releasing(frame, header, structure);
    if (frame.shortTerm == Structure::none || frame.nonExisting || operations.empty())
        return;
    const auto idx = static_cast<uint32_t>(drawLongTermIdx(header));
    for (const MarkingOperation& operation : operations)
        header.marking.push_back({3, operation.differenceOfPicNums, 0, idx, 0});
}

} // namespace kelvcpx::test
