#include "h264/reference_lists.h"

#include <algorithm>
#include <cstdint>

namespace kelvcpx::app::h264 {
namespace {

using Frames = std::vector<FramePointer>;

class ListBuilder
{
public:
    ListBuilder(std::span<const FramePointer> frames, const SliceHeader& slice, Structure structure, int poc,
                int maxFrameNum)
        : frames_(frames), slice_(slice), structure_(structure), poc_(poc), maxFrameNum_(maxFrameNum)
    {}

    std::array<ReferenceList, 2> make()
    {
        std::array<ReferenceList, 2> lists;
        if (slice_.isIntra())
            return lists;
        lists[0] = slice_.isB() ? initialB(0) : initialP();
        if (slice_.isB()) {
            lists[1] = initialB(1);
            if (lists[1].size() > 1 && lists[0] == lists[1])
                std::swap(lists[1][0], lists[1][1]);
        }
        for (std::size_t list = 0; list < 2; list++) {
            lists[list].resize(static_cast<std::size_t>(slice_.refCount[list]));
            modify(lists[list], slice_.modifications[list]);
        }
        return lists;
    }

private:
    bool codesField() const { return structure_ != Structure::frame; }

    // FrameNumWrap (8.2.4.1).
    int wrapOf(const Frame& frame) const
    {
        return frame.frameNum > slice_.frameNum ? frame.frameNum - maxFrameNum_ : frame.frameNum;
    }

    // Frames that are wholly marked for a frame, in part for a field.
    template <class Marking>
    Frames select(Marking marking) const
    {
        Frames selected;
        for (const FramePointer& frame : frames_)
            if (codesField() ? marking(*frame) != Structure::none : marking(*frame) == Structure::frame)
                selected.push_back(frame);
        return selected;
    }

    Frames shortTerm() const
    {
        return select([](const Frame& frame) { return frame.shortTerm; });
    }

    Frames longTerm() const
    {
        Frames frames = select([](const Frame& frame) { return frame.longTerm; });
        std::stable_sort(frames.begin(), frames.end(), [](const FramePointer& a, const FramePointer& b) {
            return a->longTermFrameIdx < b->longTermFrameIdx;
        });
        return frames;
    }

    // 8.2.4.2.1, 8.2.4.2.2
    ReferenceList initialP() const
    {
        Frames frames = shortTerm();
        std::stable_sort(frames.begin(), frames.end(), [this](const FramePointer& a, const FramePointer& b) {
            return wrapOf(*a) > wrapOf(*b);
        });
        return joined(frames);
    }

    // 8.2.4.2.3, 8.2.4.2.4: list 0 starts with what comes before the current picture in output order, the
    // nearest first, list 1 with what comes after it.
    ReferenceList initialB(int list) const
    {
        Frames before;
        Frames after;
        for (const FramePointer& frame : shortTerm()) {
            if (!frame->hasPoc)
                continue;
            const int poc = frame->poc();
            const bool isBefore = codesField() ? poc <= poc_ : poc < poc_;
            (isBefore ? before : after).push_back(frame);
        }
        const auto earlier = [](const FramePointer& a, const FramePointer& b) { return a->poc() < b->poc(); };
        std::stable_sort(before.rbegin(), before.rend(), earlier);
        std::stable_sort(after.begin(), after.end(), earlier);
        Frames& first = list == 0 ? before : after;
        const Frames& second = list == 0 ? after : before;
        first.insert(first.end(), second.begin(), second.end());
        return joined(first);
    }

    // The list of short-term frames, ordered, and that of long-term ones, as pictures of the current
    // structure.
    ReferenceList joined(const Frames& shortTermFrames) const
    {
        ReferenceList list;
        if (!codesField()) {
            for (const FramePointer& frame : shortTermFrames)
                list.push_back({frame, Structure::frame});
            for (const FramePointer& frame : longTerm())
                list.push_back({frame, Structure::frame});
            return list;
        }
        appendFields(list, shortTermFrames, [](const Frame& frame) { return frame.shortTerm; });
        appendFields(list, longTerm(), [](const Frame& frame) { return frame.longTerm; });
        return list;
    }

    // 8.2.4.2.5: fields of alternating parity, the current one's first; where one parity runs out, the rest
    // of the other.
    template <class Marking>
    void appendFields(ReferenceList& list, const Frames& frames, Marking marking) const
    {
        std::array<std::size_t, 2> next{};
        const std::array<Structure, 2> parity{structure_, opposite(structure_)};
        const auto advance = [&](std::size_t p) {
            while (next[p] < frames.size() && !includes(marking(*frames[next[p]]), parity[p]))
                next[p]++;
            return next[p] < frames.size();
        };
        std::size_t turn = 0;
        while (advance(0) || advance(1)) {
            if (!advance(turn))
                turn = 1 - turn;
            list.push_back({frames[next[turn]++], parity[turn]});
            turn = 1 - turn;
        }
    }

    // 8.2.4.3
    void modify(ReferenceList& list, const std::vector<ListModification>& modifications) const
    {
        const int64_t maxPicNum = codesField() ? 2 * int64_t{maxFrameNum_} : maxFrameNum_;
        const int64_t currPicNum = codesField() ? 2 * int64_t{slice_.frameNum} + 1 : slice_.frameNum;
        int64_t predicted = currPicNum;
        std::size_t position = 0;
        for (const ListModification& modification : modifications) {
            if (position >= list.size())
                throw DamagedUnit("a reference list is modified beyond its end");
            ReferencePicture picture;
            if (modification.idc == 2) {
                picture = findLongTerm(modification.value);
            } else {
                const int64_t difference = static_cast<int64_t>(modification.value) + 1;
                predicted += modification.idc == 0 ? -difference : difference;
                predicted = (predicted % maxPicNum + maxPicNum) % maxPicNum;
                picture = findShortTerm(predicted > currPicNum ? predicted - maxPicNum : predicted);
            }
            insert(list, position++, picture);
        }
    }

    // Moves or puts the picture to the position; what stood from there on moves behind it.
    static void insert(ReferenceList& list, std::size_t position, const ReferencePicture& picture)
    {
        const auto at = list.begin() + static_cast<std::ptrdiff_t>(position);
        auto old = std::find(at, list.end(), picture);
        if (old == list.end())
            old = list.end() - 1; // the last entry falls off
        std::rotate(at, old, old + 1);
        *at = picture;
    }

    ReferencePicture findShortTerm(int64_t picNum) const
    {
        return find(
            picNum, [](const Frame& frame) { return frame.shortTerm; },
            [this](const Frame& frame) { return wrapOf(frame); });
    }

    ReferencePicture findLongTerm(int64_t longTermPicNum) const
    {
        return find(
            longTermPicNum, [](const Frame& frame) { return frame.longTerm; },
            [](const Frame& frame) { return frame.longTermFrameIdx; });
    }

    // The picture with the number that its frame's number and, for a field, its parity give (8.2.4.1).
    template <class Marking, class Number>
    ReferencePicture find(int64_t picNum, Marking marking, Number number) const
    {
        for (const FramePointer& frame : frames_) {
            if (!codesField()) {
                if (marking(*frame) == Structure::frame && number(*frame) == picNum)
                    return {frame, Structure::frame};
                continue;
            }
            for (const Structure field : {structure_, opposite(structure_)})
                if (includes(marking(*frame), field) &&
                    2 * int64_t{number(*frame)} + (field == structure_ ? 1 : 0) == picNum)
                    return {frame, field};
        }
        return {};
    }

    std::span<const FramePointer> frames_;
    const SliceHeader& slice_;
    Structure structure_;
    int poc_;
    int maxFrameNum_;
};

} // namespace

std::array<ReferenceList, 2> makeReferenceLists(std::span<const FramePointer> frames,
                                                const SliceHeader& slice, Structure structure, int poc,
                                                int maxFrameNum)
{
    return ListBuilder(frames, slice, structure, poc, maxFrameNum).make();
}

} // namespace kelvcpx::app::h264
