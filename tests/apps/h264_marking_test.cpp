// Marking of H.264 reference pictures where no independent decoder at hand follows the standard: fields that
// are marked by themselves, and the lists that they make.
#include "h264/picture_buffer.h"
#include "h264/reference_lists.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace kelvcpx::test {
namespace {

using namespace app::h264;

constexpr Structure top = Structure::top;
constexpr Structure bottom = Structure::bottom;
constexpr Structure frame = Structure::frame;

// Memory management control operations, with their syntax elements.
MarkingOperation releaseShort(uint32_t differenceMinus1)
{
    return {1, differenceMinus1, 0, 0, 0};
}
MarkingOperation releaseLong(uint32_t longTermPicNum)
{
    return {2, 0, longTermPicNum, 0, 0};
}
MarkingOperation makeLong(uint32_t differenceMinus1, uint32_t idx)
{
    return {3, differenceMinus1, 0, idx, 0};
}
MarkingOperation allow(uint32_t indices)
{
    return {4, 0, 0, 0, indices};
}
MarkingOperation makeCurrentLong(uint32_t idx)
{
    return {6, 0, 0, idx, 0};
}

struct Picture {
    int frameNum;
    Structure structure;
    std::vector<MarkingOperation> marking;
};

struct MarkingCase {
    std::string name;
    std::vector<Picture> pictures;
    std::string marks; // frame_num, then the top and the bottom field: short-term, long-term with its index
    Structure current; // of the P picture that comes next
    std::string list;  // its references: frame_num and parity
};

class Marker
{
public:
    Marker()
    {
        sequence_.maxNumRefFrames = 3;
        sequence_.widthInMbs = 1;
        sequence_.heightInMapUnits = 1;
        sequence_.frameMbsOnly = false;
        buffer_.configure(sequence_, nobody_);
    }

    void decode(const Picture& picture)
    {
        if (current_ == nullptr || current_->isComplete) {
            current_ = buffer_.newFrame(FrameShape(sequence_), {});
            current_->frameNum = picture.frameNum;
            current_->fieldPoc = {8 * picture.frameNum, 8 * picture.frameNum + 1};
            buffer_.add(current_);
        }
        SliceHeader header;
        header.nalRefIdc = 1;
        header.idr = picture.frameNum == 0 && current_->decoded == Structure::none;
        header.longTermReference = header.idr && !picture.marking.empty();
        header.frameNum = picture.frameNum;
        header.adaptiveMarking = !picture.marking.empty();
        header.marking = picture.marking;
        current_->decoded = current_->decoded | picture.structure;
        buffer_.mark(*current_, picture.structure, header);
        if (current_->decoded == frame)
            buffer_.complete(*current_, nobody_);
    }

    std::string marks() const
    {
        std::string text;
        for (const FramePointer& f : buffer_.frames()) {
            if (!f->isReference())
                continue;
            text += text.empty() ? "" : ", ";
            text += std::to_string(f->frameNum);
            for (const Structure field : {top, bottom})
                text += includes(f->shortTerm, field)  ? " short"
                        : includes(f->longTerm, field) ? " long" + std::to_string(f->longTermFrameIdx)
                                                       : " -";
        }
        return text;
    }

    // A frame that a gap in frame_num stands for.
    void leaveOut(int frameNum, std::optional<int> poc)
    {
        const FramePointer missing = buffer_.newFrame(FrameShape(sequence_), {});
        missing->frameNum = frameNum;
        missing->nonExisting = true;
        missing->decoded = missing->shortTerm = frame;
        missing->hasPoc = poc.has_value();
        missing->fieldPoc.fill(poc.value_or(0));
        buffer_.add(missing);
        buffer_.complete(*missing, nobody_);
    }

    std::string listOfP(Structure structure) const { return list(SliceType::p, 0, structure, 0); }

    std::string list(SliceType type, std::size_t number, Structure structure, int poc) const
    {
        SliceHeader header;
        header.type = type;
        header.frameNum = current_->frameNum + (current_->isComplete ? 1 : 0);
        header.fieldPicture = structure != frame;
        header.refCount = {8, 8};
        const auto lists =
            makeReferenceLists(buffer_.frames(), header, structure, poc, sequence_.maxFrameNum());
        std::string text;
        for (const ReferencePicture& entry : lists[number]) {
            if (entry.frame == nullptr)
                continue;
            text += text.empty() ? "" : " ";
            text += std::to_string(entry.frame->frameNum);
            text += structure == frame ? "" : entry.structure == top ? "t" : "b";
        }
        return text;
    }

private:
    SequenceParameterSet sequence_;
    PictureBuffer buffer_;
    PictureBuffer::Output nobody_ = [](const Frame&) {};
    FramePointer current_;
};

const MarkingCase cases[] = {
    {"an IDR picture of two long-term fields",
     {{0, top, {makeCurrentLong(0)}}, {0, bottom, {makeCurrentLong(0)}}},
     "0 long0 long0",
     bottom,
     "0b 0t"},
    {"fields that become long-term references by themselves, one after the other",
     {{0, frame, {}}, {1, bottom, {allow(2), makeCurrentLong(1)}}, {1, top, {makeCurrentLong(1)}}},
     "0 short short, 1 long1 long1",
     top,
     "0t 0b 1t 1b"},
    {"a second field refers to the first one, which is long-term",
     {{0, frame, {}}, {1, bottom, {allow(1), makeCurrentLong(0)}}},
     "0 short short, 1 - long0",
     top,
     "0t 0b 1b"},
    {"a current field takes the index of another frame",
     {{0, frame, {}}, {1, frame, {allow(2), makeLong(0, 1)}}, {2, top, {makeCurrentLong(1)}}},
     "1 short short, 2 long1 -",
     bottom,
     "1b 1t 2t"},
    {"one field of a frame becomes long-term",
     {{0, frame, {}}, {1, frame, {}}, {2, top, {allow(1), makeLong(4, 0)}}},
     "0 short long0, 1 short short, 2 short -",
     bottom,
     "1b 2t 1t 0t 0b"},
    {"frames do not refer to a frame that is half long-term",
     {{0, frame, {}}, {1, top, {allow(1), makeLong(1, 0)}}, {1, bottom, {}}},
     "0 long0 short, 1 short short",
     frame,
     "1"},
    {"the other field follows with the same index",
     {{0, frame, {}}, {1, top, {allow(1), makeLong(1, 0)}}, {1, bottom, {makeLong(1, 0)}}},
     "0 long0 long0, 1 short short",
     frame,
     "1 0"},
    {"a field takes the index of a field of another frame",
     {{0, frame, {}},
      {1, frame, {}},
      {2, top, {allow(1), makeLong(3, 0), releaseShort(4)}},
      {2, bottom, {makeLong(1, 0)}}},
     "1 short long0, 2 short short",
     top,
     "2t 2b 1t 1b"},
    {"one of two long-term fields is released",
     {{0, frame, {}}, {1, frame, {allow(3), makeLong(0, 2)}}, {2, bottom, {releaseLong(4)}}},
     "0 - long2, 1 short short, 2 - short",
     top,
     "1t 2b 1b 0b"},
    {"fewer indices are allowed",
     {{0, frame, {}},
      {1, frame, {allow(3), makeLong(0, 2)}},
      {2, frame, {makeCurrentLong(1)}},
      {3, top, {allow(2)}}},
     "1 short short, 2 long1 long1, 3 short -",
     bottom,
     "1b 3t 1t 2b 2t"},
    {"no more are allowed",
     {{0, frame, {makeCurrentLong(0)}}, {1, top, {allow(0)}}, {1, bottom, {}}},
     "1 short short",
     top,
     "1t 1b"},
    {"the window slides over short-term frames only, and not for second fields",
     {{0, frame, {makeCurrentLong(0)}}, {1, frame, {}}, {2, frame, {}}, {3, bottom, {}}, {3, top, {}}},
     "0 long0 long0, 2 short short, 3 short short",
     bottom,
     "3b 3t 2b 2t 0b 0t"},
    {"a frame of which one field was released takes a place in the window",
     {{0, frame, {}}, {1, frame, {}}, {2, top, {releaseShort(1)}}, {2, bottom, {}}, {3, frame, {}}},
     "1 - short, 2 short short, 3 short short",
     frame,
     "3 2"},
    {"a second field releases the first one",
     {{0, frame, {}}, {1, top, {}}, {1, bottom, {releaseShort(0)}}},
     "0 short short, 1 - short",
     top,
     "0t 1b 0b"},
    {"a damaged stream keeps more than it may",
     {{0, frame, {}},
      {1, frame, {releaseShort(9)}},
      {2, frame, {releaseShort(9)}},
      {3, frame, {releaseShort(9)}}},
     "1 short short, 2 short short, 3 short short",
     frame,
     "3 2 1"},
};

TEST(H264Marking, TakesFieldsOneByOne)
{
    for (const MarkingCase& marking : cases) {
        SCOPED_TRACE(marking.name);
        Marker marker;
        for (const Picture& picture : marking.pictures)
            marker.decode(picture);
        EXPECT_EQ(marker.marks(), marking.marks);
        EXPECT_EQ(marker.listOfP(marking.current), marking.list);
    }
}

// B pictures leave out what has no place in the order of output (8.2.4.2.3, 8.2.4.2.4).
TEST(H264Marking, ListsFramesOfGaps)
{
    for (const std::optional<int> poc : {std::optional<int>(), std::optional<int>(6)}) {
        Marker marker;
        marker.decode({0, frame, {}});
        marker.decode({1, frame, {}});
        marker.leaveOut(2, poc);
        EXPECT_EQ(marker.listOfP(frame), "2 1 0");
        EXPECT_EQ(marker.listOfP(bottom), "2b 2t 1b 1t 0b 0t");
        EXPECT_EQ(marker.list(SliceType::b, 0, frame, 4), poc ? "0 2 1" : "0 1");
        EXPECT_EQ(marker.list(SliceType::b, 1, frame, 4), poc ? "2 1 0" : "1 0");
        EXPECT_EQ(marker.list(SliceType::b, 0, top, 4), poc ? "0t 0b 2t 2b 1t 1b" : "0t 0b 1t 1b");
        EXPECT_EQ(marker.list(SliceType::b, 1, top, 4), poc ? "2t 2b 1t 1b 0t 0b" : "1t 1b 0t 0b");
    }
}

} // namespace
} // namespace kelvcpx::test
