// The command as its users meet it: messages, exit codes, files.
#include "apps/support/clip.h"
#include "apps/support/process.h"

#include <gtest/gtest.h>

#include <fstream>

namespace kelvcpx::test {

namespace {

namespace fs = std::filesystem;

ProcessResult kelvcpx(const std::string& arguments)
{
    return run(words(KELVCPX_COMMAND " " + arguments));
}

std::string clip()
{
    return makeClip("clip.m2v",
                    "-f lavfi -i testsrc2=size=176x144:rate=25:duration=0.4 -c:v mpeg2video -bf 2");
}

constexpr int clipPictures = 10;
constexpr std::size_t pictureBytes = 176 * 144 * 3 / 2;

} // namespace

// Expects the exit code, and a message on standard error that contains the text.
struct Refusal {
    std::string arguments;
    int exitCode;
    std::string message;
};

TEST(Command, RefusesWhatItCannotDo)
{
    const std::string audio = makeClip("audio.wav", "-f lavfi -i sine=duration=0.1");
    const std::string unknown =
        makeClip("unknown.avi", "-f lavfi -i testsrc2=size=64x64:duration=0.1 -c:v huffyuv -pix_fmt yuv422p");
    const std::string text = testFile("text").string();
    std::ofstream(text) << "Not a video.\n";

    const Refusal refusals[] = {
        {"decode nowhere.m2v", 1, "nowhere.m2v: No such file"},
        {"info nowhere.m2v", 1, "nowhere.m2v: No such file"},
        {"decode " + text, 1, "not a video file"},
        {"info " + text, 1, "not a video file"},
        {"decode -", 1, "cannot read standard input"},
        {"decode " + audio, 1, "no video stream"},
        {"decode " + unknown, 1, "no decoder for huffyuv"},
        {"info " + unknown, 1, "no decoder for huffyuv"},
        {"decode " + clip() + " -o /nowhere/out.y4m", 1, "cannot write /nowhere/out.y4m"},
        {"decode " + clip() + " -o /dev/full", 1, "No space left"},
        {"decode " + clip() + " --png /dev/null/folder", 1, "cannot make the folder"},
        {"", 2, "subcommand"},
        {"frobnicate", 2, ""},
        {"decode", 2, "INPUT"},
        {"decode " + clip() + " --frames 0", 2, "above 0"},
        {"decode " + clip() + " --frames many", 2, "many"},
        {"decode " + clip() + " --format gif", 2, "gif"},
        {"decode " + clip() + " --no-such-option", 2, "--no-such-option"},
        {"decode " + clip() + " --md5 -o -", 2, "standard output"},
    };
    for (const Refusal& refusal : refusals) {
        const ProcessResult result = kelvcpx(refusal.arguments);
        EXPECT_EQ(result.exitCode, refusal.exitCode) << refusal.arguments << '\n' << result.err;
        EXPECT_NE(result.err.find(refusal.message), std::string::npos) << refusal.arguments << '\n'
                                                                       << result.err;
    }
}

TEST(Command, NeverOverwritesItsInput)
{
    const std::string input = testFile("precious.m2v").string();
    const std::string link = testFile("link.y4m").string();
    fs::copy_file(clip(), input, fs::copy_options::overwrite_existing);
    fs::remove(link);
    fs::create_symlink(input, link);
    for (const std::string& output : {input, link})
        for (const std::string& read : {input, "- < " + input}) {
            const std::string command = KELVCPX_COMMAND " decode " + read + " -o " + output;
            const ProcessResult result = run({"sh", "-c", command});
            EXPECT_EQ(result.exitCode, 2) << command;
            EXPECT_NE(result.err.find("is the input"), std::string::npos) << result.err;
        }
    EXPECT_EQ(contents(input), contents(clip()));
}

TEST(Command, LeavesAnOutputAloneIfThereIsNothingToDecode)
{
    const std::string output = testFile("kept.y4m").string();
    std::ofstream(output) << "kept";
    const std::string audio = makeClip("audio.wav", "-f lavfi -i sine=duration=0.1");
    EXPECT_EQ(kelvcpx("decode " + audio + " -o " + output).exitCode, 1);
    EXPECT_EQ(contents(output), "kept");
}

TEST(Command, DescribesAStream)
{
    const ProcessResult result = kelvcpx("info " + clip());
    EXPECT_EQ(result.exitCode, 0) << result.err;
    for (const char* fact : {"MPEG-2", "176x144", "25 pictures a second", "0:00:00.40"})
        EXPECT_NE(result.out.find(fact), std::string::npos) << fact << '\n' << result.out;
    // What container and stream both know stands there once.
    EXPECT_EQ(result.out.find("176x144"), result.out.rfind("176x144")) << result.out;
}

TEST(Command, DescribesAStreamThatItCannotDecode)
{
    const std::string unknown =
        makeClip("unknown.avi", "-f lavfi -i testsrc2=size=64x64:duration=0.1 -c:v huffyuv -pix_fmt yuv422p");
    EXPECT_NE(kelvcpx("info " + unknown).out.find("64x64"), std::string::npos);
}

TEST(Command, TakesUncompressedPictures)
{
    const std::string y4m = testFile("plain.y4m").string();
    ASSERT_EQ(kelvcpx("decode " + clip() + " -o " + y4m).exitCode, 0);
    EXPECT_EQ(kelvcpx("decode " + y4m + " -o -").out, contents(y4m));
    EXPECT_EQ(kelvcpx("decode " + y4m + " --zoom 2").exitCode, 2);
    const ProcessResult result = kelvcpx("info " + y4m);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    for (const char* fact : {"176x144", "4:2:0", "25 pictures a second"})
        EXPECT_NE(result.out.find(fact), std::string::npos) << fact << '\n' << result.out;
}

TEST(Command, WritesTheSamePicturesEveryWay)
{
    const std::string y4m = testFile("same.y4m").string();
    const std::string yuv = testFile("same.yuv").string();
    const ProcessResult hashes = kelvcpx("decode " + clip() + " --md5 -o " + y4m);
    ASSERT_EQ(hashes.exitCode, 0) << hashes.err;
    ASSERT_EQ(kelvcpx("decode " + clip() + " -o " + yuv).exitCode, 0);

    const std::vector<std::string> lines = words(hashes.out);
    ASSERT_EQ(lines.size(), 2U * clipPictures);
    for (std::size_t i = 0; i < clipPictures; i++)
        EXPECT_EQ(lines[2 * i], std::to_string(i));

    // Raw planes are what remains of a Y4M file without its headers; a pipe gets the same bytes as a file.
    std::string planes;
    for (const Frame& frame : parseY4m(contents(y4m)))
        for (const std::vector<uint8_t>& plane : frame.planes)
            planes.append(plane.begin(), plane.end());
    EXPECT_EQ(planes.size(), clipPictures * pictureBytes);
    EXPECT_EQ(contents(yuv), planes);
    EXPECT_EQ(kelvcpx("decode " + clip() + " --format yuv -o -").out, planes);
}

TEST(Command, StopsAfterTheNumberOfPicturesAskedFor)
{
    const ProcessResult result = kelvcpx("decode " + clip() + " --frames 3 --format yuv -o -");
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.out.size(), 3 * pictureBytes);
}

TEST(Command, ReadsStandardInput)
{
    const ProcessResult piped = run({"sh", "-c", "cat " + clip() + " | " KELVCPX_COMMAND " decode - --md5"});
    EXPECT_EQ(piped.exitCode, 0) << piped.err;
    EXPECT_EQ(piped.out, kelvcpx("decode " + clip() + " --md5").out);
}

TEST(Command, EndsQuietlyWhenItsReaderGoesAway)
{
    const ProcessResult result =
        run({"bash", "-c",
             KELVCPX_COMMAND " decode " + clip() + " -o - | head -c 20 > /dev/null; exit ${PIPESTATUS[0]}"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.err, "");
}

TEST(Command, SaysHowFastItWasIfThatIsAllThatIsAskedFor)
{
    const ProcessResult result = kelvcpx("decode " + clip());
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.out, "");
    EXPECT_NE(result.err.find("10 pictures in "), std::string::npos) << result.err;
}

TEST(Command, KeepsWhatCameBeforeAChangeOfSize)
{
    const std::string other =
        makeClip("other.m2v", "-f lavfi -i testsrc2=size=96x80:rate=25:duration=0.4 -c:v mpeg2video");
    const std::string joined = testFile("joined.m2v").string();
    std::ofstream(joined, std::ios::binary) << contents(clip()) << contents(other);
    const std::string output = testFile("joined.y4m").string();

    const ProcessResult result = kelvcpx("decode " + joined + " -o " + output);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_NE(result.err.find("change from 176x144"), std::string::npos) << result.err;
    EXPECT_EQ(parseY4m(contents(output)).size(), static_cast<std::size_t>(clipPictures));
    EXPECT_EQ(words(kelvcpx("decode " + joined + " --md5").out).size(), 4U * clipPictures);

    const ProcessResult encoded =
        kelvcpx("encode " + joined + " -c mpeg2 -o " + testFile("again.m2v").string());
    EXPECT_EQ(encoded.exitCode, 1);
    EXPECT_NE(encoded.err.find("change from 176x144"), std::string::npos) << encoded.err;
    EXPECT_EQ(decodeInProcess(testFile("again.m2v")).frames.size(), static_cast<std::size_t>(clipPictures));
}

} // namespace kelvcpx::test
