// The MPEG-4 decoder against an independent one, on streams of independent encoders.
#include "apps/support/clip.h"
#include "apps/support/close_pictures.h"
#include "apps/support/encoded_stream.h"
#include "apps/support/frames.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kelvcpx::test {

namespace fs = std::filesystem;

namespace {

constexpr Bounds bounds = {52, 45};

} // namespace

class EncodedMpeg4Video : public testing::TestWithParam<EncodedStream>
{
};

TEST_P(EncodedMpeg4Video, DecodesAsTheReferenceDoes)
{
    const EncodedStream& stream = GetParam();
    // The name alone would make the encoder write an MP4 file.
    const bool isElementary = stream.file.ends_with(".m4v");
    const fs::path clip = makeClip(stream.file, stream.arguments + (isElementary ? " -f m4v" : ""));
    const std::string types = pictureTypes(clip);
    ASSERT_GE(types.size(), 20U);
    expectDecodesAsReference(clip, types, bounds);
}

namespace {

std::string source(const std::string& graph, const std::string& size = "176x144")
{
    return testSource(graph, size, "-frames:v 25 -g 12 -threads 1");
}

const std::string plain = "-c:v mpeg4 -q:v 4 ";
const std::string twoB = "-c:v mpeg4 -bf 2 -q:v 4 ";
const std::string xvid = "-c:v libxvid -q:v 4 ";
const std::string noise = "-vf noise=alls=60:allf=t ";
const std::string turning = "-vf rotate=0.02*n,scale=iw*1.2:-2,crop=176:144 ";

// Fields that move apart.
const std::string fields = "-vf tinterlace=interleave_top ";
const std::string interlaced = fields + "-flags +ilme+ildct -top 1 ";
const std::string interlacedBottomFirst = fields + "-flags +ilme+ildct -top 0 ";

// Weights that rise steeply, intra, and from 10 on, inter.
const std::string matrices =
    "-mpeg_quant 1 -intra_matrix 8,9,10,11,12,13,14,15,9,10,11,12,13,14,15,16,10,11,12,13,14,15,16,17,11,12,"
    "13,14,15,16,17,18,12,13,14,15,16,17,18,19,13,14,15,16,17,18,19,20,14,15,16,17,18,19,20,21,15,16,17,18,"
    "19,20,21,22 -inter_matrix 10,11,12,13,14,15,16,17,11,12,13,14,15,16,17,18,12,13,14,15,16,17,18,19,13,14,"
    "15,16,17,18,19,20,14,15,16,17,18,19,20,21,15,16,17,18,19,20,21,22,16,17,18,19,20,21,22,23,17,18,19,20,"
    "21,22,23,24 ";

const EncodedStream ownEncoder[] = {
    {"Plain", "a.m4v", source("testsrc2") + plain},
    {"Cif", "a.mp4", source("mandelbrot", "352x288") + plain},
    // What one picture has too much, forty would add up.
    {"LongGroup", "a.m4v", source("mandelbrot") + "-frames:v 40 -g 100 -c:v mpeg4 -q:v 2"},
    {"OddSize", "a.m4v", source("testsrc2", "171x133") + twoB},
    {"Coarse", "a.m4v", source("testsrc2") + "-c:v mpeg4 -bf 1 -q:v 31"},
    {"NoiseFine", "a.m4v", source("testsrc2") + noise + "-c:v mpeg4 -bf 1 -q:v 1"},
    {"AcPrediction", "a.m4v", source("testsrc2") + plain + "-flags +aic"},
    {"FourVectors", "a.mkv", source("testsrc2") + plain + "-flags +mv4+aic"},
    {"QuarterSample", "a.m4v", source("mandelbrot") + plain + "-flags +qpel"},
    {"QuarterSampleFourVectors", "a.m4v", source("testsrc2") + plain + "-flags +qpel+mv4"},
    {"QuarterSampleWithB", "a.avi", source("testsrc2") + twoB + "-flags +qpel+mv4"},
    {"Bidirectional", "a.m4v", source("mandelbrot") + twoB},
    {"BidirectionalMp4", "a.mp4", source("testsrc2") + twoB + "-flags +mv4"},
    {"LargeVectors", "a.m4v", source("mandelbrot", "720x64") + twoB + "-me_range 200"},
    {"Weighted", "a.m4v", source("testsrc2") + plain + "-mpeg_quant 1"},
    {"WeightedWithB", "a.m4v", source("testsrc2") + twoB + "-mpeg_quant 1 -flags +aic"},
    {"Matrices", "a.m4v", source("testsrc2") + twoB + matrices},
    {"ChangesOfQuantiser", "a.m4v", source("testsrc2") + twoB + "-lumi_mask 0.5 -dark_mask 0.5 -flags +mv4"},
    {"Packets", "a.m4v", source("testsrc2") + plain + "-ps 200"},
    {"PacketsWithB", "a.m4v", source("testsrc2") + twoB + "-ps 200 -flags +mv4+aic"},
    {"Partitions", "a.m4v", source("testsrc2") + plain + "-data_partitioning 1 -ps 300 -flags +aic"},
    {"PartitionsFourVectors", "a.m4v",
     source("mandelbrot") + plain + "-data_partitioning 1 -ps 300 -flags +mv4"},
    {"PartitionsWithB", "a.m4v", source("testsrc2") + twoB + "-data_partitioning 1 -ps 300 -flags +mv4+aic"},
    {"PartitionsWeighted", "a.m4v",
     source("testsrc2") + twoB + "-data_partitioning 1 -ps 500 -mpeg_quant 1 -flags +qpel"},
    {"Interlaced", "a.m4v", source("testsrc2") + interlaced + plain},
    {"InterlacedAlternateScan", "a.m4v", source("mandelbrot") + interlaced + plain + "-alternate_scan 1"},
    {"InterlacedBottomFirst", "a.m4v", source("testsrc2") + interlacedBottomFirst + plain},
    {"InterlacedQuarterSample", "a.m4v",
     source("testsrc2") + fields + plain + "-flags +ilme+ildct+qpel+mv4 -top 1"},
    {"InterlacedPackets", "a.m4v", source("testsrc2") + interlaced + plain + "-ps 300 -mpeg_quant 1"},
    {"InterlacedWithB", "a.m4v", source("testsrc2") + interlaced + twoB},
    {"InterlacedWithBBottomFirst", "a.m4v", source("mandelbrot") + interlacedBottomFirst + twoB},
    {"InterlacedQuarterSampleWithB", "a.m4v",
     source("testsrc2") + fields + twoB + "-flags +ilme+ildct+qpel -top 1"},
    // No packets: the reference decoder and its encoder keep the prediction of the second field's vector from
    // one packet to the next.
    {"InterlacedWithBAlternateScan", "a.mkv",
     source("testsrc2") + interlaced + twoB + "-alternate_scan 1 -mpeg_quant 1"},
};

const EncodedStream otherEncoder[] = {
    {"Plain", "a.m4v", source("testsrc2") + xvid},
    {"Bidirectional", "a.m4v", source("mandelbrot") + xvid + "-bf 2"},
    {"QuarterSample", "a.m4v", source("testsrc2") + xvid + "-flags +qpel+mv4 -bf 2"},
    {"Weighted", "a.mp4", source("testsrc2") + xvid + "-mpeg_quant 1 -bf 1"},
    {"ChangesOfQuantiser", "a.m4v", source("mandelbrot") + xvid + "-lumi_aq 1 -bf 2"},
    {"GlobalMotion", "a.m4v", source("testsrc2", "220x180") + turning + xvid + "-gmc 1"},
    {"GlobalMotionQuarterSample", "a.m4v",
     source("mandelbrot", "220x180") + turning + xvid + "-gmc 1 -flags +qpel+mv4 -bf 2"},
    // So many pictures that the last packet has no B-VOP, which the reference decoder would keep.
    {"Packed", "a.avi", source("testsrc2") + "-frames:v 27 " + xvid + "-bf 2 -gmc 1 -flags +qpel"},
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Ffmpeg, EncodedMpeg4Video, testing::ValuesIn(ownEncoder), nameOf);
INSTANTIATE_TEST_SUITE_P(Xvid, EncodedMpeg4Video, testing::ValuesIn(otherEncoder), nameOf);

// Streams with short headers are those of baseline H.263 under another name.
TEST(EncodedMpeg4Video, TakesShortHeaders)
{
    const fs::path clip = makeClip("a.h263", source("testsrc2") + "-c:v h263 -q:v 4");
    const DecodedStream ours = decodeInProcess("mpeg4", bytesOf(clip));
    EXPECT_EQ(ours.damage, std::vector<std::string>());
    expectClose(ours.frames, decodeWithFfmpeg(clip, referenceArguments), pictureTypes(clip), bounds);
}

} // namespace kelvcpx::test
