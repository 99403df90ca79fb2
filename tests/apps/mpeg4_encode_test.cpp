// The MPEG-4 encoder: its streams decode to its own reconstruction, here exactly and in an independent
// decoder up to the inverse DCT, and they are worth their bits.
#include "apps/support/clip.h"
#include "apps/support/encode.h"
#include "apps/support/frames.h"

#include "common/decoder.h"
#include "common/errors.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace kelvcpx::test {

struct VopCase {
    std::string name;
    std::string graph;
    std::string size;
    app::EncoderSettings settings;
    double quality;    // of luma, in dB, that every picture has at least
    std::string types; // of the pictures
    std::string filters = "null";
};

void PrintTo(const VopCase& c, std::ostream* out)
{
    *out << c.name;
}

class Mpeg4Encoder : public testing::TestWithParam<VopCase>
{
};

TEST_P(Mpeg4Encoder, KnowsWhatDecodersWillSee)
{
    const VopCase& c = GetParam();
    const auto source = makePictures(c.graph, c.size, static_cast<int>(c.types.size()), c.filters);
    const EncodedVideo video = encodeInProcess("mpeg4", source, c.settings);
    ASSERT_EQ(video.reconstruction.size(), source.size());
    for (std::size_t i = 0; i < source.size(); i++)
        EXPECT_GE(psnr(video.reconstruction[i], source[i])[0], c.quality) << "picture " << i;
    const auto file = storeStream(c.name + ".m4v", video.bytes);
    expectReconstruction(video, "mpeg4", file, {42, 45});
    EXPECT_EQ(pictureTypes(file), c.types);
}

namespace {

const std::string noise = "noise=alls=100:allf=t";

const VopCase vopCases[] = {
    {"Default", "testsrc2", "352x288", {}, 33, "IPPPPPPPPPPPIPP"},
    {"Finest", "mandelbrot", "176x144", {.qp = 1, .groupSize = 8}, 46, "IPPPPPPPI"},
    {"Coarsest", "mandelbrot", "176x144", {.qp = 31}, 24, "IPPPPPPPPPPPI"},
    {"IntraOnly", "testsrc2", "176x144", {.qp = 3, .groupSize = 1}, 36, "IIII"},
    {"OddSize", "mandelbrot", "165x123", {.qp = 4}, 37, "IPPPPP"},
    {"OneSample", "mandelbrot", "1x1", {.qp = 4}, 40, "IPP"},
    {"Wide", "mandelbrot", "720x34", {.qp = 8}, 32, "IPPP"},
    {"NoiseFinest", "mandelbrot", "96x80", {.qp = 1, .groupSize = 4}, 40, "IPPPI", noise},
    {"NoiseCoarsest", "mandelbrot", "96x80", {.qp = 31}, 11, "IPPPPP", noise},
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Clips, Mpeg4Encoder, testing::ValuesIn(vopCases),
                         [](const auto& info) { return info.param.name; });

// A picture that moves to and fro, far enough for every code of a vector difference.
TEST(Mpeg4EncoderTools, FollowMotion)
{
    const auto pan = makePictures("testsrc2", "416x352", 12,
                                  "trim=end_frame=1,loop=-1:1,crop=352:288:32+14*sin(n):32+14*cos(n*1.3)");
    const EncodedVideo video = encodeInProcess("mpeg4", pan, {.qp = 4});
    expectReconstruction(video, "mpeg4", storeStream("Pan.m4v", video.bytes), {42, 45});
    EXPECT_LT(2 * video.bytes.size(), encodeInProcess("mpeg4", pan, {.qp = 4, .groupSize = 1}).bytes.size());
}

TEST(Mpeg4EncoderHeaders, DescribeTheVideo)
{
    const auto source = makePictures("testsrc2", "64x48", 4);
    const app::Rational rates[] = {{30000, 1001}, {25, 1}, {1, 2}, {90000, 3003}};
    for (const app::Rational& rate : rates) {
        std::vector<Frame> frames = source;
        for (Frame& frame : frames) {
            frame.format.frameRate = rate;
            frame.format.sampleAspect = {12, 11};
        }
        const auto decoded = decodeInProcess("mpeg4", encodeInProcess("mpeg4", frames, {}).bytes);
        ASSERT_EQ(decoded.frames.size(), frames.size());
        EXPECT_EQ(decoded.damage, std::vector<std::string>());
        EXPECT_EQ(decoded.frames[0].format.sampleAspect, frames[0].format.sampleAspect);
        if (rate.numerator > 65535 || rate.numerator <= rate.denominator)
            continue; // a rate that the stream can only tell by the times of its pictures
        EXPECT_EQ(decoded.frames[0].format.frameRate, rate);
    }
}

TEST(Mpeg4EncoderSettings, AreChecked)
{
    const auto frames = makePictures("testsrc2", "64x48", 1);
    for (const app::EncoderSettings& settings : {app::EncoderSettings{.qp = 0},
                                                 {.qp = 32},
                                                 {.bitRate = 100'000},
                                                 {.groupSize = 0},
                                                 {.bFrames = 1},
                                                 {.high = true}})
        EXPECT_THROW(encodeInProcess("mpeg4", frames, settings), app::UsageError);
    std::vector<Frame> large = frames;
    for (const auto& [width, height] : {std::pair{8192, 48}, {8191, 8191}}) {
        large[0].format.width = width;
        large[0].format.height = height;
        EXPECT_THROW(encodeInProcess("mpeg4", large, {}), app::UnsupportedStream);
    }
}

} // namespace kelvcpx::test
