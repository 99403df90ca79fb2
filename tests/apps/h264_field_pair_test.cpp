// Which fields of an H.264 stream make a frame: the independent decoder at hand drops those that have no
// partner.
#include "apps/h264_random_headers.h"
#include "apps/h264_random_syntax.h"
#include "apps/support/frames.h"

#include "h264/frame.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace kelvcpx::test {
namespace {

using namespace app::h264;

// A picture of one grey.
struct GreyPicture {
    Structure structure;
    int frameNum;
    int poc;
    int grey;
    bool reference = true;
    bool idr = false;
    bool forgets = false; // memory management control operation 5
};

struct PairingCase {
    std::string name;
    std::vector<GreyPicture> pictures;
    std::string frames; // greys of their first two rows
};

constexpr Structure top = Structure::top;
constexpr Structure bottom = Structure::bottom;
constexpr Structure frame = Structure::frame;

std::vector<uint8_t> write(const std::vector<GreyPicture>& pictures)
{
    SequenceParameterSet sequence;
    sequence.profileIdc = 77;
    sequence.levelIdc = 30;
    sequence.log2MaxPocLsb = 8;
    sequence.maxNumRefFrames = 2;
    sequence.widthInMbs = 2;
    sequence.heightInMapUnits = 1;
    sequence.frameMbsOnly = false;
    sequence.direct8x8Inference = true;
    const PictureParameterSet set;
    std::vector<uint8_t> bytes;
    const auto append = [&](const std::vector<uint8_t>& unit) {
        bytes.insert(bytes.end(), unit.begin(), unit.end());
    };
    append(nalUnit(3, 7, sequenceParameterSet(sequence)));
    append(nalUnit(3, 8, pictureParameterSet(set, sequence)));
    for (const GreyPicture& picture : pictures) {
        SliceHeader header;
        header.nalRefIdc = picture.reference ? 1 : 0;
        header.idr = picture.idr;
        header.frameNum = picture.frameNum;
        header.pocLsb = picture.poc;
        header.fieldPicture = picture.structure != frame;
        header.bottomField = picture.structure == bottom;
        header.adaptiveMarking = picture.forgets;
        if (picture.forgets)
            header.marking.push_back({5, 0, 0, 0, 0});
        BitWriter bits;
        putSliceHeader(bits, header, sequence, set, false);
        for (int i = 0; i < (header.fieldPicture ? 2 : 4); i++) {
            putUe(bits, 25); // I_PCM
            bits.align();
            for (int k = 0; k < 384; k++)
                bits.put(picture.grey, 8);
        }
        append(nalUnit(header.nalRefIdc, header.idr ? 5 : 1, bits));
    }
    return bytes;
}

const PairingCase cases[] = {
    {"two reference fields",
     {{top, 0, 0, 10, true, true}, {bottom, 0, 1, 11}, {frame, 1, 4, 20}},
     "10/11 20/20"},
    {"an IDR field alone", {{bottom, 0, 0, 11, true, true}, {frame, 1, 4, 20}}, "11/11 20/20"},
    {"a field of the same parity follows",
     {{top, 0, 0, 10, true, true}, {top, 1, 4, 20}, {bottom, 1, 5, 21}},
     "10/10 20/21"},
    {"a field of the other parity with another frame_num follows",
     {{top, 0, 0, 10, true, true}, {bottom, 1, 4, 21}, {top, 1, 5, 20}},
     "10/10 20/21"},
    {"three non-reference fields in a row",
     {{frame, 0, 0, 10, true, true},
      {top, 1, 4, 20, false},
      {bottom, 1, 5, 21, false},
      {top, 1, 8, 30, false},
      {frame, 1, 12, 40}},
     "10/10 20/21 30/30 40/40"},
    {"a non-reference field comes before a reference field",
     {{frame, 0, 0, 10, true, true}, {top, 1, 4, 20, false}, {bottom, 1, 5, 21}, {frame, 2, 8, 30}},
     "10/10 20/20 21/21 30/30"},
    {"a first field forgets all references",
     {{frame, 0, 0, 10, true, true},
      {top, 1, 4, 20, true, false, true},
      {bottom, 0, 1, 21},
      {frame, 1, 4, 30}},
     "10/10 20/21 30/30"},
    {"what would be a second field forgets all references",
     {{frame, 0, 0, 10, true, true},
      {top, 1, 4, 20},
      {bottom, 1, 5, 21, true, false, true},
      {frame, 1, 4, 30}},
     "10/10 20/20 21/21 30/30"},
    {"both fields are IDR pictures",
     {{top, 0, 0, 10, true, true}, {bottom, 0, 1, 11, true, true}, {frame, 1, 4, 20}},
     "10/11 20/20"},
    {"fields without partners are put in order, too",
     {{frame, 0, 0, 10, true, true}, {top, 1, 12, 40}, {top, 2, 4, 20, false}, {top, 2, 8, 30, false}},
     "10/10 20/20 30/30 40/40"},
};

TEST(H264FieldPairs, AreTheOnesOfTheStandard)
{
    for (const PairingCase& pairing : cases) {
        SCOPED_TRACE(pairing.name);
        const DecodedStream stream = decodeInProcess("h264", write(pairing.pictures));
        EXPECT_EQ(stream.damage, std::vector<std::string>());
        std::string frames;
        for (const test::Frame& f : stream.frames) {
            const std::vector<uint8_t>& luma = f.planes[0];
            frames += frames.empty() ? "" : " ";
            frames += std::to_string(luma[0]) + "/" +
                      std::to_string(luma[static_cast<std::size_t>(f.format.width)]);
        }
        EXPECT_EQ(frames, pairing.frames);
    }
}

TEST(H264FieldPairs, AreShownInTheOrderOfTheFirst)
{
    const auto orderOf = [](const std::vector<GreyPicture>& pictures) {
        return decodeInProcess("h264", write(pictures)).frames.at(0).format.fieldOrder;
    };
    EXPECT_EQ(orderOf({{top, 0, 0, 10, true, true}, {bottom, 0, 1, 11}}), app::FieldOrder::topFirst);
    EXPECT_EQ(orderOf({{bottom, 0, 0, 10, true, true}, {top, 0, 1, 11}}), app::FieldOrder::bottomFirst);
    EXPECT_EQ(orderOf({{frame, 0, 0, 10, true, true}, {top, 1, 4, 20}, {bottom, 1, 5, 21}}),
              app::FieldOrder::progressive);
}

} // namespace
} // namespace kelvcpx::test
