// `kelvcpx encode` as its users meet it.
#include "apps/support/clip.h"
#include "apps/support/close_pictures.h"
#include "apps/support/frames.h"
#include "apps/support/process.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace kelvcpx::test {
namespace {

namespace fs = std::filesystem;

ProcessResult kelvcpx(const std::string& arguments)
{
    return run(words(KELVCPX_COMMAND " " + arguments));
}

constexpr auto chart = "-f lavfi -i testsrc2=size=176x144:rate=25 -frames:v 10 -pix_fmt ";

std::string clip()
{
    return makeClip("raw.y4m", std::string(chart) + "yuv420p");
}

} // namespace

TEST(EncodeCommand, WritesTheStreamAndItsReconstruction)
{
    const fs::path stream = testFile("encode.264");
    const fs::path reconstruction = testFile("encode-recon.y4m");
    const ProcessResult result = kelvcpx("encode " + clip() + " -c h264 --qp 24 -o " + stream.string() +
                                         " --recon " + reconstruction.string());
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const std::vector<Frame> expected = parseY4m(contents(reconstruction));
    EXPECT_EQ(expected.size(), 10U);
    expectSamePictures(decodeInProcess(stream).frames, expected);
}

TEST(EncodeCommand, TakesRawVideoInContainers)
{
    const auto encoded = [](const std::string& input) {
        const std::string stream = kelvcpx("encode " + input + " -c h264 --frames 4 -o -").out;
        return decodeInProcess("h264", {reinterpret_cast<const uint8_t*>(stream.data()), stream.size()})
            .frames;
    };
    const std::vector<Frame> expected = encoded(clip());
    EXPECT_EQ(expected.size(), 4U);
    for (const char* const name : {"raw.avi", "raw.nut", "raw.mkv"}) {
        SCOPED_TRACE(name);
        expectSamePictures(encoded(makeClip(name, std::string(chart) + "yuv420p -c:v rawvideo")), expected);
    }
}

TEST(EncodeCommand, UnderstandsUnitsOfBitRates)
{
    const auto encoded = [](const std::string& rate) {
        return kelvcpx("encode " + clip() + " -c mpeg2 --gop 6 --bframes 1 --bitrate " + rate + " -o -").out;
    };
    const std::string expected = encoded("1500000");
    EXPECT_NEAR(static_cast<double>(expected.size()), 1500000.0 / 8 * 10 / 25, 15000);
    EXPECT_EQ(encoded("1500k"), expected);
    EXPECT_EQ(encoded("1.5M"), expected);
}

TEST(EncodeCommand, RefusesWhatItCannotDo)
{
    struct Refusal {
        std::string arguments;
        int exitCode;
        std::string message;
    };
    const std::string packed = makeClip("packed.avi", std::string(chart) + "bgr24 -c:v rawvideo");
    const std::string other = makeClip("422.y4m", std::string(chart) + "yuv422p");
    const std::string to = " -c h264 -o " + testFile("refused.264").string();
    const Refusal refusals[] = {
        {"encode " + packed + to, 1, "no decoder for rawvideo"},
        {"encode " + other + to, 1, "4:2:0"},
        {"encode nowhere.y4m" + to, 1, "No such file"},
        {"encode " + clip() + " -c h264 -o /dev/full", 1, "No space left"},
        {"encode " + clip() + to + " --qp 52", 2, "0..51"},
        {"encode " + clip() + to + " --intra-period 0", 2, "above 0"},
        {"encode " + clip() + " -c vhs -o x", 2, "vhs"},
        {"encode " + clip() + " -c h264", 2, "output"},
        {"encode " + clip() + to + " --bitrate 500k", 2, "constant quantiser"},
        {"encode " + clip() + " -c mpeg2 -o x --bitrate 5x", 2, "5x"},
        {"encode " + clip() + " -c mpeg2 -o x --bitrate 1M --qp 4", 2, "exclude"},
        {"encode " + clip() + " -c h264 -o " + clip(), 2, "is the input"},
        {"encode " + clip() + to + " --recon " + clip(), 2, "is the input"},
        {"encode " + clip() + to + " --recon " + testFile("./refused.264").string(), 2, "two outputs"},
        {"encode " + clip() + " -c h264 -o - --recon -", 2, "standard output"},
    };
    for (const Refusal& refusal : refusals) {
        const ProcessResult result = kelvcpx(refusal.arguments);
        EXPECT_EQ(result.exitCode, refusal.exitCode) << refusal.arguments << '\n' << result.err;
        EXPECT_NE(result.err.find(refusal.message), std::string::npos) << refusal.arguments << '\n'
                                                                       << result.err;
    }
}

} // namespace kelvcpx::test
