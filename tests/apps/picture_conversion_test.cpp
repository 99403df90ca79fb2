// Pictures as the command writes them on request: turned, and small ones side by side.
#include "common/decoder.h"
#include "common/rotation.h"

#include "apps/support/clip.h"
#include "apps/support/process.h"
#include "apps/support/test_picture.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace kelvcpx::test {

using namespace kelvcpx::app;

namespace {

VideoFormat format422(int width, int height)
{
    VideoFormat format;
    format.width = width;
    format.height = height;
    format.chroma = ChromaFormat::yuv422;
    format.sampleAspect = {16, 15};
    format.fieldOrder = FieldOrder::topFirst;
    return format;
}

} // namespace

// Every sample is where a turn by hand puts it.
TEST(Rotation, TurnsClockwise)
{
    constexpr int width = 38;
    constexpr int height = 22;
    for (const bool isOdd : {false, true}) { // a last column and row more, which are left out
        const TestPicture source(format422(width + isOdd, height + isOdd), 7);
        const PictureView& from = source.view();
        for (const int degrees : {0, 90, 180, 270}) {
            Rotation rotation(degrees);
            const PictureView to = rotation.apply(from);
            const bool quarter = degrees % 180 != 0;
            ASSERT_EQ(to.format.width, quarter ? height : width);
            ASSERT_EQ(to.format.height, quarter ? width : height);
            ASSERT_EQ(to.format.chroma, ChromaFormat::yuv420);
            EXPECT_EQ(to.format.sampleAspect, quarter ? Rational({15, 16}) : Rational({16, 15}));
            EXPECT_EQ(to.format.fieldOrder, quarter ? FieldOrder::progressive : FieldOrder::topFirst);
            for (std::size_t p = 0; p < 3; p++) {
                const int w = p == 0 ? width : width / 2;
                const int h = p == 0 ? height : height / 2;
                for (int y = 0; y < h; y++)
                    for (int x = 0; x < w; x++) {
                        const int expected = p == 0 ? from.sampleAs8Bits(0, x, y)
                                                    : (from.sampleAs8Bits(p, x, 2 * y) +
                                                       from.sampleAs8Bits(p, x, 2 * y + 1) + 1) /
                                                          2;
                        const int toX = degrees == 0     ? x
                                        : degrees == 90  ? h - 1 - y
                                        : degrees == 180 ? w - 1 - x
                                                         : y;
                        const int toY = degrees == 0     ? y
                                        : degrees == 90  ? x
                                        : degrees == 180 ? h - 1 - y
                                                         : w - 1 - x;
                        ASSERT_EQ(to.sampleAs8Bits(p, toX, toY), expected)
                            << degrees << " degrees, plane " << p << ", (" << x << ", " << y << ")";
                    }
            }
        }
    }
}

TEST(Rotation, RefusesOtherPictures)
{
    VideoFormat format = format422(16, 16);
    format.chroma = ChromaFormat::yuv420;
    EXPECT_THROW(Rotation(90).apply(TestPicture(format).view()), UnsupportedStream);
    format.chroma = ChromaFormat::yuv422;
    format.bitDepth = 10;
    EXPECT_THROW(Rotation(90).apply(TestPicture(format).view()), UnsupportedStream);
}

// Three seconds of one colour each make three small pictures, whatever the codec.
TEST(Preview, ShowsAPictureASecond)
{
    const auto colours = [](const std::string& rate) {
        const std::string kind = ":s=720x576:d=1:r=" + rate;
        return "-f lavfi -i color=red" + kind + "[a];color=lime" + kind + "[b];color=blue" + kind +
               "[c];[a][b][c]concat=n=3 -pix_fmt yuv420p ";
    };
    const std::string clips[] = {makeClip("colours.dv", colours("25") + "-c:v dvvideo"),
                                 makeClip("colours.264", colours("4") + "-c:v libx264"),
                                 makeClip("colours.m4v", colours("4") + "-c:v mpeg4 -q:v 2")};
    for (const std::string& clip : clips) {
        const std::string sheet = testFile("sheet.png").string();
        const ProcessResult result =
            run(words(KELVCPX_COMMAND " preview " + clip + " -o " + sheet + " --scale 8"));
        ASSERT_EQ(result.exitCode, 0) << result.err;
        const std::string pixels =
            runOrThrow(words("ffmpeg -v error -i " + sheet + " -f rawvideo -pix_fmt rgb24 -"));
        // Two across, two down, a gap round each.
        constexpr int gap = 6, width = 90, height = 72;
        constexpr int across = gap + 2 * (width + gap);
        constexpr int down = gap + 2 * (height + gap);
        ASSERT_EQ(pixels.size(), 3U * across * down);
        const auto expectColour = [&](int x, int y, std::array<int, 3> rgb) {
            for (std::size_t i = 0; i < 3; i++)
                EXPECT_NEAR(static_cast<uint8_t>(pixels[static_cast<std::size_t>(3 * (across * y + x)) + i]),
                            rgb[i], 12)
                    << clip << " (" << x << ", " << y << ")";
        };
        for (const int corner : {0, 1}) { // of each small picture
            const int x = gap + corner * (width - 1);
            const int y = gap + corner * (height - 1);
            expectColour(x, y, {255, 0, 0});
            expectColour(x + width + gap, y, {0, 255, 0});
            expectColour(x, y + height + gap, {0, 0, 255});
        }
        expectColour(0, 0, {32, 32, 32});
        expectColour(across - gap - 1, down - gap - 1, {32, 32, 32});
    }
}

TEST(Preview, RefusesWhatItCannotDo)
{
    const std::string clip =
        makeClip("small.m2v", "-f lavfi -i testsrc2=size=64x64:rate=25 -frames:v 3 -c:v mpeg2video");
    const auto preview = [&](const std::string& arguments) {
        return run(words(KELVCPX_COMMAND " preview " + clip + " " + arguments)).exitCode;
    };
    EXPECT_EQ(preview("-o " + clip), 2);
    EXPECT_EQ(preview("-o /nowhere/sheet.png"), 1);
    EXPECT_EQ(preview("-o /dev/null --scale 3"), 2);
    EXPECT_EQ(preview("-o /dev/null --every -1"), 2);
    EXPECT_EQ(preview("-o /dev/null --every nan"), 2);
    EXPECT_EQ(preview(""), 2);
    const std::string sheet = testFile("small.png").string();
    EXPECT_EQ(preview("-o " + sheet), 0);
    EXPECT_EQ(run(words(KELVCPX_COMMAND " preview " + clip + " -o -")).out, contents(sheet));
    const auto decode = [&](const std::string& arguments) {
        return run(words(KELVCPX_COMMAND " decode " + clip + " " + arguments)).exitCode;
    };
    EXPECT_EQ(decode("--rotate 45"), 2);
    EXPECT_EQ(decode("--rotate 90"), 1); // 4:2:0
    EXPECT_EQ(decode("--zoom 2"), 2);
    EXPECT_EQ(decode("--postprocess"), 2);
    EXPECT_EQ(decode("--deinterlace 300"), 2);
}

} // namespace kelvcpx::test
