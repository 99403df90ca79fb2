// The outputs: files that an independent program reads back give the same pictures.
#include "common/md5_output.h"
#include "common/planar_output.h"
#include "common/png_output.h"
#include "common/rgb.h"

#include "apps/support/clip.h"
#include "apps/support/process.h"
#include "apps/support/test_picture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

namespace kelvcpx::test {

using namespace kelvcpx::app;

namespace {

VideoFormat formatOf(ChromaFormat chroma, int bitDepth)
{
    VideoFormat format;
    format.width =
        38; // neither size is a multiple of a macroblock, and the chroma of 4:1:1 is not a quarter of it
    format.height = 22;
    format.chroma = chroma;
    format.bitDepth = bitDepth;
    format.frameRate = {30000, 1001};
    format.sampleAspect = {16, 11};
    return format;
}

// A file of a name that no other test uses.
std::string outputPath(const std::string& ending)
{
    const auto* test = testing::UnitTest::GetInstance()->current_test_info();
    std::string name = std::string(test->test_suite_name()) + "." + test->name();
    std::replace(name.begin(), name.end(), '/', '-');
    return testFile("outputs/" + name + ending).string();
}

using SampleKind = std::tuple<ChromaFormat, int>;

class Y4mFormats : public testing::TestWithParam<SampleKind>
{
};

// "C420p8", "Monop12"
std::string nameOf(const testing::TestParamInfo<SampleKind>& info)
{
    constexpr const char* names[] = {"Mono", "C411", "C420", "C422", "C444"};
    const auto [chroma, bitDepth] = info.param;
    return names[static_cast<std::size_t>(chroma)] + ("p" + std::to_string(bitDepth));
}

} // namespace

TEST_P(Y4mFormats, AreReadByAnotherProgram)
{
    const auto [chroma, bitDepth] = GetParam();
    VideoFormat format = formatOf(chroma, bitDepth);
    format.fieldOrder = FieldOrder::topFirst;
    const TestPicture pictures[] = {TestPicture(format, 1), TestPicture(format, 2)};

    const std::string path = outputPath(".y4m");
    PlanarOutput output(path, PlanarFormat::y4m);
    for (const TestPicture& picture : pictures)
        output.write(picture.view());
    output.finish();

    const std::vector<Frame> frames = decodeWithFfmpeg(path);
    ASSERT_EQ(frames.size(), std::size(pictures));
    for (std::size_t i = 0; i < frames.size(); i++)
        EXPECT_EQ(differences(frames[i], copyOf(pictures[i].view())), "") << "picture " << i;
    EXPECT_EQ(runOrThrow(words("ffprobe -v error -of csv=p=0 -show_entries "
                               "stream=r_frame_rate,sample_aspect_ratio,field_order " +
                               path)),
              "16:11,tt,30000/1001\n");

    // The last column of each line of this format is the MD5 of a picture.
    const std::vector<std::string> hashes =
        words(runOrThrow(words("ffmpeg -v error -i " + path + " -fps_mode passthrough -f framemd5 -")));
    EXPECT_EQ(hashes.back(), pictureMd5(pictures[1].view()));
}

INSTANTIATE_TEST_SUITE_P(, Y4mFormats,
                         testing::Combine(testing::Values(ChromaFormat::monochrome, ChromaFormat::yuv420,
                                                          ChromaFormat::yuv422, ChromaFormat::yuv444),
                                          testing::Values(8, 10, 12)),
                         nameOf);
INSTANTIATE_TEST_SUITE_P(OnlyOf8Bits, Y4mFormats, testing::Values(SampleKind(ChromaFormat::yuv411, 8)),
                         nameOf);

TEST(Y4mHeader, TellsWhatIsKnown)
{
    VideoFormat format = formatOf(ChromaFormat::yuv420, 8);
    EXPECT_EQ(y4mHeader(format), "YUV4MPEG2 W38 H22 F30000:1001 Ip A16:11 C420mpeg2\n");
    format.chromaSiting = ChromaSiting::centre;
    format.fieldOrder = FieldOrder::bottomFirst;
    EXPECT_EQ(y4mHeader(format), "YUV4MPEG2 W38 H22 F30000:1001 Ib A16:11 C420jpeg\n");
    format.chromaSiting = ChromaSiting::topLeft;
    format.frameRate = {0, 1};
    format.sampleAspect = {0, 1};
    EXPECT_EQ(y4mHeader(format), "YUV4MPEG2 W38 H22 F0:0 Ib A0:0 C420paldv\n");
}

TEST(PlanarOutput, OfRawPlanesHasNothingElse)
{
    const TestPicture picture(formatOf(ChromaFormat::yuv422, 10));
    const std::string path = outputPath(".yuv");
    PlanarOutput output(path, planarFormatOf(path));
    output.write(picture.view());
    output.finish();

    std::string expected;
    for (const std::vector<uint8_t>& plane : copyOf(picture.view()).planes)
        expected.append(plane.begin(), plane.end());
    EXPECT_EQ(contents(path), expected);
}

TEST(PlanarOutput, RefusesPicturesOfAnotherShapeAndKeepsTheOthers)
{
    const VideoFormat first = formatOf(ChromaFormat::yuv420, 8);
    VideoFormat wider = first;
    wider.width += 2;
    for (const VideoFormat& other :
         {wider, formatOf(ChromaFormat::yuv422, 8), formatOf(ChromaFormat::yuv420, 10)}) {
        const std::string path = outputPath(".y4m");
        PlanarOutput output(path, PlanarFormat::y4m);
        output.write(TestPicture(first).view());
        EXPECT_THROW(output.write(TestPicture(other).view()), OutputError);
        EXPECT_EQ(parseY4m(contents(path)).size(), 1U);
    }
}

TEST(PlanarOutput, ReportsAFullDisk)
{
    PlanarOutput output("/dev/full", PlanarFormat::y4m);
    EXPECT_THROW(output.write(TestPicture(formatOf(ChromaFormat::yuv420, 8)).view()), OutputError);
}

// The primary colours at three quarters of the full amplitude, as both recommendations define them.
TEST(Rgb, FollowsTheMatrixOfTheStream)
{
    struct Colour {
        ColourMatrix matrix;
        int y, cb, cr;
        std::array<int, 3> rgb;
    };
    const Colour colours[] = {
        {ColourMatrix::bt601, 16, 128, 128, {0, 0, 0}},
        {ColourMatrix::bt601, 235, 128, 128, {255, 255, 255}},
        {ColourMatrix::bt601, 65, 100, 212, {191, 0, 0}},
        {ColourMatrix::bt601, 112, 72, 58, {0, 191, 0}},
        {ColourMatrix::bt601, 35, 212, 114, {0, 0, 191}},
        {ColourMatrix::bt709, 51, 109, 212, {191, 0, 0}},
        {ColourMatrix::bt709, 133, 63, 52, {0, 191, 0}},
        {ColourMatrix::bt709, 28, 212, 120, {0, 0, 191}},
    };
    for (const int bitDepth : {8, 10}) {
        for (const Colour& colour : colours) {
            VideoFormat format = formatOf(ChromaFormat::yuv420, bitDepth);
            format.matrix = colour.matrix;
            TestPicture picture(format);
            const int scale = 1 << (bitDepth - 8);
            picture.fill(0, colour.y * scale);
            picture.fill(1, colour.cb * scale);
            picture.fill(2, colour.cr * scale);
            const std::vector<uint8_t> rgb = toRgb(picture.view());
            ASSERT_EQ(rgb.size(), 3U * 38 * 22);
            for (std::size_t i = 0; i < rgb.size(); i++)
                ASSERT_NEAR(rgb[i], colour.rgb[i % 3], 2) << "Y " << colour.y << ", component " << i % 3;
        }
    }
}

TEST(PngOutput, IsReadByAnotherProgram)
{
    const std::string folder = outputPath("");
    std::filesystem::remove_all(folder);
    PngOutput output(folder);
    for (const ChromaFormat chroma : {ChromaFormat::yuv411, ChromaFormat::monochrome}) {
        const TestPicture picture(formatOf(chroma, 8));
        output.write(picture.view());
        const std::string path =
            folder + (chroma == ChromaFormat::yuv411 ? "/picture-00000.png" : "/picture-00001.png");
        const std::string pixels =
            runOrThrow(words("ffmpeg -v error -i " + path + " -f rawvideo -pix_fmt rgb24 -"));
        EXPECT_EQ(std::vector<uint8_t>(pixels.begin(), pixels.end()), toRgb(picture.view()));
    }
}

} // namespace kelvcpx::test
