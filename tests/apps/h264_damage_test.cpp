// Damaged H.264 streams.
#include "apps/h264_random_headers.h"
#include "apps/h264_random_syntax.h"
#include "apps/support/clip.h"
#include "apps/support/frames.h"
#include "fuzz/damage.h"

#include "h264/decoder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kelvcpx::test {
namespace {

// What the random streams lack: CABAC, deep samples, 4:2:2.
TEST(DamagedH264Video, IsDecodedAsFarAsPossible)
{
    const std::string kinds[] = {
        "-pix_fmt yuv420p -x264-params bframes=3:ref=4",
        "-pix_fmt yuv420p -x264-params tff=1:bframes=3:direct=temporal:slices=2",
        "-pix_fmt yuv420p -x264-params cabac=0:bff=1:bframes=2:constrained-intra=1",
        "-pix_fmt yuv422p10le -x264-params tff=1:bframes=1:cqm=jvt",
        "-pix_fmt yuv420p10le -x264-params cabac=0:bframes=1:weightp=2",
        "-pix_fmt yuv420p -x264-params qp=0:tff=1",
    };
    std::vector<std::vector<uint8_t>> streams;
    for (const std::string& kind : kinds)
        streams.push_back(
            bytesOf(makeClip("damaged.264", "-f lavfi -i testsrc2=size=96x80:rate=25 -frames:v 8 "
                                            "-c:v libx264 -threads 1 " +
                                                kind + " -f h264")));
    DamageSearch search([&](int64_t number, Random& random, auto& listener, auto& sink) {
        const auto& stream = streams[static_cast<std::size_t>(number) % streams.size()];
        const auto decoder = app::h264::makeDecoder({}, listener);
        decodeInPackets(*decoder, damagedCopy(stream, 0, random), random, sink);
    });
    constexpr int copies = 300;
    search.run(0, copies);
    const DamageSearch::Outcome& outcome = search.outcome();
    EXPECT_EQ(outcome.failures, 0);
    EXPECT_LT(outcome.unsupported, copies / 10);
    EXPECT_GT(outcome.reports, 0);
    EXPECT_GT(outcome.pictures, 5 * copies);
}

// An IDR picture of one macroblock, and one that is predicted from the entry `refIdx` of a list of two, which
// has one picture.
std::vector<uint8_t> streamWithShortList(int refIdx)
{
    using namespace app::h264;
    SequenceParameterSet sequence;
    sequence.profileIdc = 66;
    sequence.levelIdc = 10;
    sequence.maxNumRefFrames = 2;
    sequence.widthInMbs = 1;
    sequence.heightInMapUnits = 1;
    PictureParameterSet set;
    set.defaultRefCount = {2, 1};
    SliceHeader header;
    header.nalRefIdc = 1;
    header.idr = true;
    BitWriter intra;
    putSliceHeader(intra, header, sequence, set, false);
    putUe(intra, 25); // I_PCM
    intra.align();
    for (int i = 0; i < 384; i++)
        intra.put(70, 8);
    header.idr = false;
    header.type = SliceType::p;
    header.frameNum = 1;
    header.pocLsb = 2;
    header.refCount = {2, 0};
    BitWriter inter;
    putSliceHeader(inter, header, sequence, set, false);
    putUe(inter, 0); // mb_skip_run
    putUe(inter, 0); // P_L0_16x16
    putTe(inter, 1, refIdx);
    putSe(inter, 0); // mvd_l0
    putSe(inter, 0);
    putCodedBlockPattern(inter, 0, true, false);
    std::vector<uint8_t> bytes;
    for (const auto& unit :
         {nalUnit(1, 7, sequenceParameterSet(sequence)), nalUnit(1, 8, pictureParameterSet(set, sequence)),
          nalUnit(1, 5, intra), nalUnit(1, 1, inter)})
        bytes.insert(bytes.end(), unit.begin(), unit.end());
    return bytes;
}

TEST(DamagedH264Video, IsReportedOnlyWhereABlockRefersToNothing)
{
    for (const int refIdx : {0, 1}) {
        SCOPED_TRACE(refIdx);
        const DecodedStream stream = decodeInProcess("h264", streamWithShortList(refIdx));
        EXPECT_EQ(stream.damage.size(), static_cast<std::size_t>(refIdx));
        ASSERT_EQ(stream.frames.size(), 2U);
        EXPECT_EQ(stream.frames[1].planes[0], std::vector<uint8_t>(256, 70)); // concealed by what there is
    }
}

// A unit of a kind that is not supported is mere damage where pictures have been decoded before.
TEST(DamagedH264Video, GoesOnAfterAnUnsupportedUnit)
{
    const std::vector<uint8_t> stream = bytesOf(
        makeClip("sound.264", "-f lavfi -i testsrc2=size=64x64:rate=25 -frames:v 8 -c:v libx264 -threads 1"));
    constexpr uint8_t partition[] = {0, 0, 1, 0x42, 0x80};
    std::vector<uint8_t> bytes(std::begin(partition), std::end(partition));
    bytes.insert(bytes.end(), stream.begin(), stream.end());
    EXPECT_THROW(decodeInProcess("h264", bytes), app::UnsupportedStream);

    bytes.insert(bytes.end(), std::begin(partition), std::end(partition));
    bytes.insert(bytes.end(), stream.begin(), stream.end());
    bytes.erase(bytes.begin(), bytes.begin() + std::ssize(partition));
    const DecodedStream decoded = decodeInProcess("h264", bytes);
    EXPECT_EQ(decoded.frames.size(), 16U);
    ASSERT_EQ(decoded.damage.size(), 1U);
    EXPECT_NE(decoded.damage[0].find("data partitioning"), std::string::npos) << decoded.damage[0];
}

} // namespace
} // namespace kelvcpx::test
