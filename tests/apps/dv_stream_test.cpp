// The DV decoder against an independent one, on streams of an independent encoder: every system and both DCT
// modes.
#include "apps/support/clip.h"
#include "apps/support/frames.h"

#include "codecs.h"
#include "common/demuxer.h"
#include "dv/layout.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

namespace kelvcpx::test {

namespace {

namespace fs = std::filesystem;

using app::ChromaFormat;

// The chroma of 4:1:1 and 4:2:0 as 4:2:2, by the rules of the conversion: twice as many samples a row, within
// a macroblock, or each row for two of its field.
std::vector<uint8_t> chroma422(const Frame& frame, std::size_t plane)
{
    const std::vector<uint8_t>& source = frame.planes[plane];
    const int width = frame.format.width / 2;
    std::vector<uint8_t> result;
    for (int y = 0; y < frame.format.height; y++) {
        for (int x = 0; x < width; x++) {
            if (frame.format.chroma == ChromaFormat::yuv420) {
                result.push_back(source[static_cast<std::size_t>((y / 4 * 2 + y % 2) * width + x)]);
                continue;
            }
            // Macroblocks are 8 samples of chroma wide, at the right edge of the picture 4.
            const uint8_t* const sample = &source[static_cast<std::size_t>(y * (width / 2) + x / 2)];
            const bool isLast = x % 16 == 15 || x == width - 1;
            const int neighbour = x % 2 == 1 && !isLast ? sample[1] : sample[0];
            const int sum = sample[0] + neighbour - 256;
            result.push_back(static_cast<uint8_t>(sum / 2 + 128)); // as if centred round 0
        }
    }
    return result;
}

Frame as422(Frame frame)
{
    if (frame.format.chroma != ChromaFormat::yuv422)
        for (std::size_t plane = 1; plane < 3; plane++)
            frame.planes[plane] = chroma422(frame, plane);
    frame.format.chroma = ChromaFormat::yuv422;
    return frame;
}

// Samples by which a reduced picture differs from the means of a full one, on average.
double distanceFromMeans(const Frame& reduced, const Frame& full, int zoom)
{
    double sum = 0;
    std::size_t i = 0;
    for (std::size_t plane = 0; plane < 3; plane++) {
        const int width = planeWidth(full.format, static_cast<int>(plane));
        i = 0;
        for (int y = 0; y < reduced.format.height; y++)
            for (int x = 0; x < planeWidth(reduced.format, static_cast<int>(plane)); x++) {
                int mean = 0;
                for (int n = 0; n < zoom * zoom; n++)
                    mean += full.planes[plane][static_cast<std::size_t>((zoom * y + n / zoom) * width +
                                                                        zoom * x + n % zoom)];
                sum += std::abs(reduced.planes[plane][i++] - static_cast<double>(mean) / (zoom * zoom));
            }
    }
    return sum / static_cast<double>(2 * reduced.planes[0].size());
}

} // namespace

struct DvStream {
    std::string name;
    std::string file;
    std::string size;
    std::string rate;
    std::string format;
    std::string coding = "";
};

void PrintTo(const DvStream& stream, std::ostream* out)
{
    *out << stream.name;
}

class DvStreams : public testing::TestWithParam<DvStream>
{
protected:
    // Moving patterns, and noise that fills the segments.
    fs::path clip() const
    {
        const DvStream& s = GetParam();
        const std::string filters =
            s.coding.empty() ? "noise=alls=12:allf=t" : "noise=alls=12:allf=t,tinterlace=interleave_bottom";
        return makeClip(s.file, "-f lavfi -i testsrc2=size=" + s.size + ":rate=" + s.rate + " -vf " +
                                    filters + " -frames:v 4 -pix_fmt " + s.format + " -c:v dvvideo " +
                                    s.coding);
    }
};

TEST_P(DvStreams, DecodeAsTheReferenceDoes)
{
    const DecodedStream ours = decodeInProcess(clip());
    const std::vector<Frame> theirs = decodeWithFfmpeg(clip());
    EXPECT_EQ(ours.damage, std::vector<std::string>());
    ASSERT_EQ(ours.frames.size(), theirs.size());
    ASSERT_FALSE(theirs.empty());
    for (std::size_t i = 0; i < theirs.size(); i++) {
        const auto ratios = psnr(ours.frames[i], as422(theirs[i]));
        for (std::size_t plane = 0; plane < 3; plane++)
            EXPECT_GE(ratios[plane], 51) << "picture " << i << ", plane " << plane;
    }
}

TEST_P(DvStreams, DecodeToReducedPictures)
{
    const Frame full = decodeInProcess(clip()).frames.at(1);
    for (const int zoom : {2, 4, 8}) {
        const DecodedStream reduced = decodeInProcess(clip(), {.zoom = zoom});
        ASSERT_EQ(reduced.frames.size(), 4U);
        const Frame& frame = reduced.frames[1];
        ASSERT_EQ(frame.format.width, full.format.width / zoom);
        ASSERT_EQ(frame.format.height, full.format.height / zoom);
        // At an eighth, a macroblock of 4:1:1 has two pairs of pixels but one sample of chroma.
        const bool isCoarse = zoom == 8 && GetParam().format == "yuv411p";
        EXPECT_LT(distanceFromMeans(frame, full, zoom), isCoarse ? 6 : 2) << "zoom " << zoom;
    }
}

namespace {

const std::string ntsc = "30000/1001";
const std::string twoDcts = "-flags +ildct";

const DvStream streams[] = {
    {"Dv25Ntsc411", "a.dv", "720x480", ntsc, "yuv411p"},
    {"Dv25Ntsc411Interlaced", "a.avi", "720x480", "60000/1001", "yuv411p", twoDcts},
    {"Dv25Pal420", "a.dv", "720x576", "25", "yuv420p"},
    {"Dv25Pal420Interlaced", "a.mov", "720x576", "50", "yuv420p", twoDcts},
    {"Dv25Pal411", "a.dv", "720x576", "25", "yuv411p"},
    {"Dv25Pal411Interlaced", "a.mxf", "720x576", "50", "yuv411p", twoDcts},
    {"Dv50Ntsc", "a.mov", "720x480", ntsc, "yuv422p"},
    {"Dv50NtscInterlaced", "a.dv", "720x480", "60000/1001", "yuv422p", twoDcts},
    {"Dv50Pal", "a.mxf", "720x576", "25", "yuv422p"},
    {"Dv50PalInterlaced", "a.avi", "720x576", "50", "yuv422p", twoDcts},
    {"Dv100At1080i60", "a.mov", "1280x1080", ntsc, "yuv422p"},
    {"Dv100At1080i60Interlaced", "a.dv", "1280x1080", "60000/1001", "yuv422p", twoDcts},
    {"Dv100At1080i50", "a.mxf", "1440x1080", "25", "yuv422p"},
    {"Dv100At1080i50Interlaced", "a.mov", "1440x1080", "50", "yuv422p", twoDcts},
    {"Dv100At720p60", "a.dv", "960x720", "60000/1001", "yuv422p"},
    {"Dv100At720p50", "a.mov", "960x720", "50", "yuv422p"},
};

std::string streamName(const testing::TestParamInfo<DvStream>& info)
{
    return info.param.name;
}

} // namespace

INSTANTIATE_TEST_SUITE_P(Ffmpeg, DvStreams, testing::ValuesIn(streams), streamName);

// Filtered in slices, the picture is what the filter makes of it as a whole.
TEST(DvDeinterlacing, FiltersEveryPlane)
{
    const fs::path clip = makeClip("combs.dv", "-f lavfi -i testsrc2=size=720x480:rate=60000/1001 -vf "
                                               "tinterlace=interleave_bottom -frames:v 2 -pix_fmt yuv411p "
                                               "-c:v dvvideo -flags +ildct");
    for (const int zoom : {1, 8}) {
        const Frame plain = decodeInProcess(clip, {.zoom = zoom}).frames.at(1);
        constexpr int weight = 101;
        const Frame filtered =
            decodeInProcess(clip, {.zoom = zoom, .deinterlaceWeight = weight}).frames.at(1);
        Frame expected = plain;
        for (std::size_t plane = 0; plane < 3; plane++) {
            const auto width = static_cast<std::size_t>(planeWidth(plain.format, static_cast<int>(plane)));
            const std::vector<uint8_t>& source = plain.planes[plane];
            for (std::size_t i = width; i + width < source.size(); i++)
                expected.planes[plane][i] = static_cast<uint8_t>(
                    ((source[i - width] + source[i + width]) * ((256 - weight) / 2) + source[i] * weight) /
                    256);
        }
        EXPECT_EQ(differences(filtered, expected), "") << "zoom " << zoom;
        EXPECT_NE(differences(filtered, plain), "");
    }
}

// Frames that break off, lose their header or have damaged segments are shown as far as they go; the rest is
// that of the frame before.
TEST(DvDamage, IsConcealedByTheFrameBefore)
{
    const fs::path clip = makeClip("damage.dv", "-f lavfi -i testsrc2=size=720x576:rate=25 -frames:v 3 "
                                                "-pix_fmt yuv420p -c:v dvvideo");
    const std::string sound = contents(clip);
    constexpr std::size_t frameBytes = 144000;
    ASSERT_EQ(sound.size(), 3 * frameBytes);
    const auto decode = [](const std::string& bytes) {
        return decodeInProcess("dvvideo",
                               std::span(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()));
    };
    const DecodedStream whole = decode(sound);
    ASSERT_EQ(whole.frames.size(), 3U);
    EXPECT_TRUE(whole.damage.empty());

    // The second half of the last frame is missing: that of the one before stays.
    const DecodedStream half = decode(sound.substr(0, 2 * frameBytes + frameBytes / 2));
    ASSERT_EQ(half.frames.size(), 3U);
    ASSERT_EQ(half.damage, std::vector<std::string>{"frame 3: 162 of 324 video segments are damaged"});
    std::size_t fromLast = 0;
    std::size_t fromBefore = 0;
    for (std::size_t i = 0; i < half.frames[2].planes[0].size(); i++) {
        const uint8_t sample = half.frames[2].planes[0][i];
        fromLast += sample == whole.frames[2].planes[0][i] ? 1 : 0;
        fromBefore += sample == whole.frames[1].planes[0][i] ? 1 : 0;
        ASSERT_TRUE(sample == whole.frames[2].planes[0][i] || sample == whole.frames[1].planes[0][i]);
    }
    EXPECT_GT(fromLast, half.frames[2].planes[0].size() / 2);
    EXPECT_GT(fromBefore, half.frames[2].planes[0].size() / 2);

    // A header without the video's source pack: that of the frame before is as good.
    std::string headless = sound;
    std::fill_n(headless.begin() + frameBytes, 480, '\xff');
    const DecodedStream second = decode(headless);
    ASSERT_EQ(second.frames.size(), 3U);
    EXPECT_EQ(second.damage, std::vector<std::string>{"frame 2: its header is damaged"});
    EXPECT_EQ(differences(second.frames[1], whole.frames[1]), "");
    headless = sound.substr(0, frameBytes);
    std::fill_n(headless.begin(), 480, '\xff');
    EXPECT_TRUE(decode(headless).frames.empty());
}

// The shuffling of the macroblocks covers every picture once.
TEST(DvLayout, CoversThePictureOnce)
{
    using namespace app::dv;
    for (const System& system : knownSystems()) {
        const int across = system.width / 8;
        const bool alternates = system.height == 720; // two frames share four channels
        for (int firstChannel = 0; firstChannel < (alternates ? 4 : 1); firstChannel += 2) {
            std::vector<int> covered(static_cast<std::size_t>(across * system.height / 8));
            forEachSegment(system, [&](int channel, int sequence, int segment) {
                for (const Place& place : placesOf(system, firstChannel + channel, sequence, segment)) {
                    const int wide = place.shape == Shape::row ? 4 : 2;
                    const int high = place.shape == Shape::square ? 2 : 1;
                    for (int y = place.y; y < place.y + high; y++)
                        for (int x = place.x; x < place.x + wide; x++)
                            covered.at(static_cast<std::size_t>(across * y + x))++;
                }
            });
            EXPECT_EQ(std::count(covered.begin(), covered.end(), 1), std::ssize(covered)) << system.name;
        }
    }
}

} // namespace kelvcpx::test
