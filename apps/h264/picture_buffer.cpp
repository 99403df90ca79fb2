#include "h264/picture_buffer.h"

#include <algorithm>
#include <iterator>
#include <limits>

namespace kelvcpx::app::h264 {
namespace {

// MaxDpbMbs of table A-1, by level_idc.
struct LevelLimit {
    int levelIdc;
    int maxDpbMbs;
};
constexpr LevelLimit levelLimits[] = {{10, 396},    {11, 900},    {12, 2376},   {13, 2376},   {20, 2376},
                                      {21, 4752},   {22, 8100},   {30, 8100},   {31, 18000},  {32, 20480},
                                      {40, 32768},  {41, 32768},  {42, 34816},  {50, 110400}, {51, 184320},
                                      {52, 184320}, {60, 696320}, {61, 696320}, {62, 696320}};
constexpr int mostFrames = 16;

// A.3.1 h
int framesWithin(int maxDpbMbs, const SequenceParameterSet& sequence)
{
    return std::clamp(maxDpbMbs / (sequence.widthInMbs * sequence.heightInMbs()), 1, mostFrames);
}

// Level 1b is coded as 11 with constraint_set3_flag, or as 9.
int framesOfLevel(const SequenceParameterSet& sequence)
{
    const bool level1b =
        sequence.levelIdc == 11 && (sequence.constraintFlags & 0x10) != 0 && !sequence.isHighProfile();
    int maxDpbMbs = levelLimits[std::size(levelLimits) - 1].maxDpbMbs;
    for (const LevelLimit& limit : levelLimits) {
        if ((level1b ? 10 : sequence.levelIdc) <= limit.levelIdc) {
            maxDpbMbs = limit.maxDpbMbs;
            break;
        }
    }
    return framesWithin(maxDpbMbs, sequence);
}

// 8.2.4.1: the frame number as it orders the frames behind the current one.
int frameNumWrap(const Frame& frame, int currentFrameNum, int maxFrameNum)
{
    return frame.frameNum > currentFrameNum ? frame.frameNum - maxFrameNum : frame.frameNum;
}

} // namespace

void PictureBuffer::configure(const SequenceParameterSet& sequence, const Output& output)
{
    unmarkAllBut(nullptr);
    flush(output);
    maxFrameNum_ = sequence.maxFrameNum();
    // What a damaged stream asks for has to fit into memory.
    const int most = framesWithin(std::rbegin(levelLimits)->maxDpbMbs, sequence);
    maxReferences_ = static_cast<std::size_t>(std::clamp(sequence.maxNumRefFrames, 1, most));
    const int buffered = sequence.maxDecFrameBuffering.value_or(framesOfLevel(sequence));
    capacity_ = std::max(static_cast<std::size_t>(std::clamp(buffered, 1, most)), maxReferences_);
    // With picture order count type 2 output follows decoding.
    reorderDepth_ =
        sequence.pocType == 2
            ? 0
            : static_cast<std::size_t>(sequence.numReorderFrames.value_or(static_cast<int>(capacity_)));
}

FramePointer PictureBuffer::newFrame(const FrameShape& shape, const VideoFormat& format)
{
    std::erase_if(pool_, [&](const FramePointer& frame) { return frame->shape() != shape; });
    auto unused =
        std::find_if(pool_.begin(), pool_.end(), [](const FramePointer& f) { return f.use_count() == 1; });
    if (unused == pool_.end())
        unused = pool_.insert(pool_.end(), std::make_shared<Frame>(shape));
    (*unused)->restart(nextNumber_, format);
    nextNumber_ = nextNumber_ == std::numeric_limits<int32_t>::max() / 4 ? 0 : nextNumber_ + 1;
    return *unused;
}

void PictureBuffer::complete(Frame& frame, const Output& output)
{
    frame.isComplete = true;
    frame.awaitsOutput = !frame.nonExisting;
    const auto waiting = [this] {
        return static_cast<std::size_t>(std::count_if(frames_.begin(), frames_.end(),
                                                      [](const FramePointer& f) { return f->awaitsOutput; }));
    };
    removeUnused();
    while (waiting() > 0 && (waiting() > reorderDepth_ || frames_.size() > capacity_)) {
        outputNext(output);
        removeUnused();
    }
}

void PictureBuffer::flush(const Output& output)
{
    while (outputNext(output)) {
    }
    removeUnused();
}

bool PictureBuffer::outputNext(const Output& output)
{
    Frame* next = nullptr;
    for (const FramePointer& frame : frames_)
        if (frame->awaitsOutput && (next == nullptr || frame->poc() < next->poc()))
            next = frame.get();
    if (next == nullptr)
        return false;
    next->awaitsOutput = false;
    output(*next);
    return true;
}

void PictureBuffer::removeUnused()
{
    std::erase_if(frames_, [](const FramePointer& frame) {
        return !frame->awaitsOutput && !frame->isReference() && frame->isComplete;
    });
}

void PictureBuffer::unmarkAllBut(const Frame* current)
{
    for (const FramePointer& frame : frames_)
        if (frame.get() != current)
            frame->shortTerm = frame->longTerm = Structure::none;
}

void PictureBuffer::slideWindow(const Frame& current)
{
    for (;;) {
        Frame* oldest = nullptr;
        std::size_t others = 0;
        for (const FramePointer& frame : frames_) {
            if (frame.get() == &current || !frame->isReference())
                continue;
            others++;
            if (oldest == nullptr || goesBefore(*frame, *oldest, current))
                oldest = frame.get();
        }
        if (others < maxReferences_)
            return;
        oldest->shortTerm = oldest->longTerm = Structure::none;
    }
}

// Which of two references leaves first: short-term ones by age, and long-term ones only in a damaged stream.
bool PictureBuffer::goesBefore(const Frame& a, const Frame& b, const Frame& current) const
{
    const bool aIsShort = a.shortTerm != Structure::none;
    const bool bIsShort = b.shortTerm != Structure::none;
    if (!aIsShort || !bIsShort)
        return aIsShort;
    return frameNumWrap(a, current.frameNum, maxFrameNum_) < frameNumWrap(b, current.frameNum, maxFrameNum_);
}

void PictureBuffer::mark(Frame& current, Structure structure, const SliceHeader& slice)
{
    if (slice.idr) {
        unmarkAllBut(&current);
        if (slice.longTermReference) {
            current.longTerm = current.longTerm | structure;
            current.longTermFrameIdx = 0;
        } else {
            current.shortTerm = current.shortTerm | structure;
        }
        return;
    }
    const bool secondField = current.decoded != structure;
    if (!slice.adaptiveMarking) {
        if (!secondField || current.shortTerm == Structure::none)
            slideWindow(current);
    } else {
        for (const MarkingOperation& operation : slice.marking)
            apply(operation, current, structure, slice);
        slideWindow(current); // where the operations, damaged, do not make the room they have to
    }
    if (!includes(current.longTerm, structure))
        current.shortTerm = current.shortTerm | structure;
}

// Finds the short-term picture with the number picNumX (8.2.4.1): a frame, or a field of one.
PictureBuffer::Found PictureBuffer::findShortTerm(int picNumX, Structure current, int currentFrameNum) const
{
    for (const FramePointer& frame : frames_) {
        const int wrap = frameNumWrap(*frame, currentFrameNum, maxFrameNum_);
        if (current == Structure::frame) {
            if (frame->shortTerm == Structure::frame && wrap == picNumX)
                return {frame.get(), Structure::frame};
            continue;
        }
        for (const Structure field : {current, opposite(current)})
            if (includes(frame->shortTerm, field) && 2 * wrap + (field == current ? 1 : 0) == picNumX)
                return {frame.get(), field};
    }
    return {};
}

PictureBuffer::Found PictureBuffer::findLongTerm(int longTermPicNum, Structure current) const
{
    for (const FramePointer& frame : frames_) {
        if (current == Structure::frame) {
            if (frame->longTerm == Structure::frame && frame->longTermFrameIdx == longTermPicNum)
                return {frame.get(), Structure::frame};
            continue;
        }
        for (const Structure field : {current, opposite(current)})
            if (includes(frame->longTerm, field) &&
                2 * frame->longTermFrameIdx + (field == current ? 1 : 0) == longTermPicNum)
                return {frame.get(), field};
    }
    return {};
}

void PictureBuffer::releaseLongTermIdx(int longTermFrameIdx, const Frame* except)
{
    for (const FramePointer& frame : frames_)
        if (frame.get() != except && frame->longTerm != Structure::none &&
            frame->longTermFrameIdx == longTermFrameIdx)
            frame->longTerm = Structure::none;
}

// 8.2.5.4.
void PictureBuffer::apply(const MarkingOperation& operation, Frame& current, Structure structure,
                          const SliceHeader& slice)
{
    const int currPicNum = structure == Structure::frame ? slice.frameNum : 2 * slice.frameNum + 1;
    const auto picNumX =
        static_cast<int>(currPicNum - (static_cast<int64_t>(operation.differenceOfPicNums) + 1));
    const auto longTermIdx = static_cast<int>(std::min<uint32_t>(operation.longTermFrameIdx, mostFrames));
    switch (operation.operation) {
    case 1:
        if (const Found found = findShortTerm(picNumX, structure, slice.frameNum); found.frame != nullptr)
            found.frame->shortTerm = without(found.frame->shortTerm, found.structure);
        break;
    case 2: {
        const auto number = static_cast<int>(std::min<uint32_t>(operation.longTermPicNum, 4 * mostFrames));
        if (const Found found = findLongTerm(number, structure); found.frame != nullptr)
            found.frame->longTerm = without(found.frame->longTerm, found.structure);
        break;
    }
    case 3:
        if (const Found found = findShortTerm(picNumX, structure, slice.frameNum); found.frame != nullptr) {
            const bool sameFrame =
                found.frame->longTerm != Structure::none && found.frame->longTermFrameIdx == longTermIdx;
            releaseLongTermIdx(longTermIdx, sameFrame ? found.frame : nullptr);
            found.frame->shortTerm = without(found.frame->shortTerm, found.structure);
            found.frame->longTerm = sameFrame ? found.frame->longTerm | found.structure : found.structure;
            found.frame->longTermFrameIdx = longTermIdx;
        }
        break;
    case 4:
        for (const FramePointer& frame : frames_)
            if (static_cast<uint32_t>(frame->longTermFrameIdx) >= operation.maxLongTermFrameIdx)
                frame->longTerm = Structure::none;
        break;
    case 5:
        unmarkAllBut(&current);
        break;
    default: // 6
        releaseLongTermIdx(longTermIdx, &current);
        if (current.longTerm != Structure::none && current.longTermFrameIdx != longTermIdx)
            current.longTerm = Structure::none;
        current.longTerm = current.longTerm | structure;
        current.longTermFrameIdx = longTermIdx;
        break;
    }
}

} // namespace kelvcpx::app::h264
