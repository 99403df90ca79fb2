// The MPEG-2 encoder: its streams decode to its own reconstruction, here exactly and in an independent
// decoder up to the inverse DCT, and they are as good and as large as was asked for.
#include "apps/support/clip.h"
#include "apps/support/encode.h"
#include "apps/support/frames.h"

#include "common/decoder.h"
#include "common/errors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace kelvcpx::test {
namespace {

namespace fs = std::filesystem;
using app::EncoderSettings;
using app::FieldOrder;

double worstLuma(const std::vector<Frame>& frames, const std::vector<Frame>& reference)
{
    double worst = psnr(frames[0], reference[0])[0];
    for (std::size_t i = 1; i < frames.size(); i++)
        worst = std::min(worst, psnr(frames[i], reference[i])[0]);
    return worst;
}

// 50 fields a second of a window that moves over a still picture, 64 samples smaller than it, now here, now
// there: the two fields of a frame differ as much as those of different frames.
const std::string interlace = "trim=end_frame=1,loop=-1:1,crop=iw-64:ih-64:32+30*sin(n*0.7):32+30*cos(n*"
                              "0.9):exact=1,tinterlace=interleave_top";

} // namespace

struct EncodeCase {
    std::string name;
    std::string graph;
    std::string size;
    EncoderSettings settings;
    double quality;    // dB that luma has at least
    std::string types; // of the pictures, in display order
    FieldOrder fieldOrder = FieldOrder::progressive;
    std::string filter = "null";
};

void PrintTo(const EncodeCase& encodeCase, std::ostream* out)
{
    *out << encodeCase.name;
}

class Mpeg2Encoder : public testing::TestWithParam<EncodeCase>
{
};

TEST_P(Mpeg2Encoder, KnowsWhatDecodersWillSee)
{
    const EncodeCase& c = GetParam();
    std::vector<Frame> source = makePictures(c.graph, c.size, static_cast<int>(c.types.size()), c.filter);
    for (Frame& frame : source)
        frame.format.fieldOrder = c.fieldOrder;
    const EncodedVideo video = encodeInProcess("mpeg2", source, c.settings);
    ASSERT_EQ(video.reconstruction.size(), source.size());
    EXPECT_GE(worstLuma(video.reconstruction, source), c.quality);

    const fs::path file = storeStream(c.name + ".m2v", video.bytes);
    expectReconstruction(video, "mpeg2video", file, {45, 50});
    const app::VideoFormat format = decodeInProcess(file).frames.at(0).format;
    EXPECT_EQ(format.frameRate, source[0].format.frameRate);
    EXPECT_EQ(format.fieldOrder, c.fieldOrder);
    EXPECT_EQ(pictureTypes(file), c.types);
}

namespace {

const std::string noise = "noise=alls=100:allf=t";

const EncodeCase encodeCases[] = {
    {"Default", "testsrc2", "352x288", {}, 36, "IBBPBBPBBPBBIBBPP"},
    {"Finest", "mandelbrot", "176x144", {.qp = 1}, 45, "IBBPBBPBBPBBI"},
    {"Coarsest", "mandelbrot", "176x144", {.qp = 31}, 24, "IBBPBBPBBPBBI"},
    {"IntraOnly", "testsrc2", "176x144", {.qp = 3, .groupSize = 1}, 38, "IIII"},
    {"NoBPictures", "testsrc2", "176x144", {.qp = 5, .groupSize = 5, .bFrames = 0}, 33, "IPPPPIPP"},
    {"GroupThatCutsBPicturesShort",
     "mandelbrot",
     "176x144",
     {.qp = 6, .groupSize = 5, .bFrames = 3},
     33,
     "IBBBPIBBBPIBP"},
    {"ManyBPictures", "testsrc2", "176x144", {.qp = 6, .groupSize = 20, .bFrames = 7}, 29, "IBBBBBBBPBBBP"},
    {"OnePicture", "testsrc2", "176x144", {}, 36, "I"},
    {"OddSize", "mandelbrot", "165x123", {.qp = 4}, 37, "IBBPBBPBBP"},
    {"OneMacroblock", "mandelbrot", "16x16", {.qp = 4}, 33, "IBBPBBP"},
    {"OneSample", "mandelbrot", "1x1", {.qp = 4}, 40, "IBP"},
    {"Wide", "mandelbrot", "1904x32", {.qp = 8}, 33, "IBBP"},
    {"Tall", "mandelbrot", "32x1080", {.qp = 8}, 30, "IBBP"},
    {"NoiseOfFullRangeFinest", "mandelbrot", "96x80", {.qp = 1}, 40, "IBBPBBP", {}, noise},
    {"NoiseOfFullRangeCoarsest", "mandelbrot", "96x80", {.qp = 31}, 11, "IBBPBBP", {}, noise},
    {"TopFieldFirst", "testsrc2", "240x208", {.qp = 4}, 38, "IBBPBBPBBP", FieldOrder::topFirst, interlace},
    {"BottomFieldFirst", "testsrc2", "240x208", {.qp = 10}, 30, "IBBPBP", FieldOrder::bottomFirst, interlace},
    {"InterlacedOddSize", "mandelbrot", "163x147", {.qp = 4}, 33, "IBBPBBP", FieldOrder::topFirst, interlace},
};

std::string caseName(const testing::TestParamInfo<EncodeCase>& info)
{
    return info.param.name;
}

} // namespace

INSTANTIATE_TEST_SUITE_P(Clips, Mpeg2Encoder, testing::ValuesIn(encodeCases), caseName);

// Motion, field prediction and field DCT are worth what they cost: without them these clips take several
// times as many bits.
TEST(Mpeg2EncoderTools, SaveBits)
{
    const std::vector<Frame> pan =
        makePictures("mandelbrot", "352x288", 12, "trim=end_frame=1,loop=-1:1,scroll=h=0.02:v=0.01");
    const std::size_t inter = encodeInProcess("mpeg2", pan, {.qp = 4}).bytes.size();
    const std::size_t intra = encodeInProcess("mpeg2", pan, {.qp = 4, .groupSize = 1}).bytes.size();
    EXPECT_LT(inter, intra / 3);

    std::vector<Frame> fields = makePictures("testsrc2", "416x352", 12, interlace);
    const auto sizeAs = [&](FieldOrder order) {
        for (Frame& frame : fields)
            frame.format.fieldOrder = order;
        return encodeInProcess("mpeg2", fields, {.qp = 4}).bytes.size();
    };
    EXPECT_LT(sizeAs(FieldOrder::topFirst), sizeAs(FieldOrder::progressive) * 3 / 4);
}

TEST(Mpeg2EncoderRate, IsMet)
{
    const std::vector<Frame> clip = makePictures("testsrc2", "176x144", 96, "noise=alls=10:allf=t");
    for (const int64_t bitRate : {200'000, 600'000, 1'500'000})
        for (const int bFrames : {0, 2}) {
            const EncodedVideo video =
                encodeInProcess("mpeg2", clip, {.bitRate = bitRate, .bFrames = bFrames});
            const double seconds = static_cast<double>(clip.size()) / 25;
            EXPECT_NEAR(static_cast<double>(video.bytes.size()) * 8 / seconds / static_cast<double>(bitRate),
                        1, 0.08)
                << bitRate << " bits a second, " << bFrames << " B pictures";
            const DecodedStream ours = decodeInProcess("mpeg2video", video.bytes);
            EXPECT_EQ(ours.damage, std::vector<std::string>());
            EXPECT_EQ(differences(ours.frames.back(), video.reconstruction.back()), "");
        }
}

TEST(Mpeg2EncoderHeaders, DescribeTheVideo)
{
    Frame frame = makePictures("testsrc2", "64x48", 1)[0];
    const app::Rational rates[] = {{24000, 1001}, {25, 1}, {60, 1}, {15, 1}, {25, 2}, {100, 3}};
    for (const app::Rational& rate : rates) {
        frame.format.frameRate = rate;
        frame.format.sampleAspect = {1, 1};
        const auto decoded = decodeInProcess("mpeg2video", encodeInProcess("mpeg2", {{frame}}, {}).bytes);
        const app::Rational& found = decoded.frames.at(0).format.frameRate;
        EXPECT_EQ(found.numerator * rate.denominator, rate.numerator * found.denominator)
            << rate.numerator << '/' << rate.denominator;
        EXPECT_EQ(decoded.frames[0].format.sampleAspect, frame.format.sampleAspect);
    }
    frame.format.sampleAspect = {4, 3}; // 64x48 of these make 16:9
    const auto decoded = decodeInProcess("mpeg2video", encodeInProcess("mpeg2", {{frame}}, {}).bytes);
    const app::Rational& aspect = decoded.frames.at(0).format.sampleAspect;
    EXPECT_EQ(aspect.numerator * 3, aspect.denominator * 4);
}

TEST(Mpeg2EncoderSettings, AreChecked)
{
    const Frame frame = makePictures("testsrc2", "64x48", 1)[0];
    const EncoderSettings wrong[] = {{.qp = 0},       {.qp = 32},      {.bitRate = 10}, {.groupSize = 0},
                                     {.bFrames = -1}, {.bFrames = 17}, {.high = true}};
    for (const EncoderSettings& settings : wrong)
        EXPECT_THROW(encodeInProcess("mpeg2", {{frame}}, settings), app::UsageError);
    Frame other = frame;
    other.format.chroma = app::ChromaFormat::yuv444;
    EXPECT_THROW(encodeInProcess("mpeg2", {{other}}, {}), app::UnsupportedStream);
    other = frame;
    other.format.width = 1921;
    EXPECT_THROW(encodeInProcess("mpeg2", {{other}}, {}), app::UnsupportedStream);
}

} // namespace kelvcpx::test
