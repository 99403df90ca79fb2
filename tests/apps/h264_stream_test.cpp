// The H.264 decoder against an independent one, on streams of an independent encoder: every picture is the
// same, and they come in the same order.
#include "apps/support/clip.h"
#include "apps/support/frames.h"
#include "apps/support/process.h"

#include "common/decoder.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <ostream>
#include <string>
#include <tuple>
#include <vector>

namespace kelvcpx::test {
namespace {

namespace fs = std::filesystem;

// What is encoded: something that moves and has edges, and something smooth and slow, too.
struct Source {
    std::string graph = "testsrc2";
    std::string size = "176x144";
    int frames = 16;
    std::string filter = "null";
};

fs::path makeSource(const Source& source)
{
    return makeClip("source.y4m", "-f lavfi -i " + source.graph + "=size=" + source.size +
                                      ":rate=25 -frames:v " + std::to_string(source.frames) + " -vf " +
                                      source.filter + " -pix_fmt yuv420p");
}

// The stream that x264 makes of a source; made once for each set of arguments.
fs::path encode(const Source& source, const std::string& arguments)
{
    const fs::path input = makeSource(source);
    const std::size_t key = std::hash<std::string>()(input.string() + ' ' + arguments);
    fs::path stream = testFile("h264/" + std::to_string(key) + ".264");
    if (fs::exists(stream))
        return stream;
    const fs::path partial = stream.string() + "." + std::to_string(::getpid()) + ".264";
    std::vector<std::string> command = words("x264 --quiet --no-progress --threads 1 " + arguments + " -o");
    command.push_back(partial.string());
    command.push_back(input.string());
    runOrThrow(command);
    fs::rename(partial, stream);
    return stream;
}

// ffmpeg shows monochrome streams with chroma planes, which are grey.
void dropGreyChroma(Frame& frame)
{
    const int grey = 1 << (frame.format.bitDepth - 1);
    const std::size_t bytes = frame.format.bitDepth > 8 ? 2 : 1;
    for (std::size_t plane = 1; plane < 3; plane++) {
        for (std::size_t i = 0; i < frame.planes[plane].size(); i++)
            ASSERT_EQ(frame.planes[plane][i], grey >> 8 * (i % bytes) & 0xFF);
        frame.planes[plane].clear();
    }
    frame.format.chroma = app::ChromaFormat::monochrome;
}

void expectSamePictures(const fs::path& clip)
{
    const DecodedStream ours = decodeInProcess(clip);
    EXPECT_EQ(ours.damage, std::vector<std::string>());
    std::vector<Frame> theirs = decodeWithFfmpeg(clip);
    ASSERT_FALSE(theirs.empty());
    ASSERT_EQ(ours.frames.size(), theirs.size());
    if (ours.frames[0].format.chroma == app::ChromaFormat::monochrome)
        std::for_each(theirs.begin(), theirs.end(), dropGreyChroma);
    for (std::size_t i = 0; i < theirs.size(); i++)
        ASSERT_EQ(differences(ours.frames[i], theirs[i]), "") << "picture " << i;
}

} // namespace

struct X264Stream {
    std::string name;
    std::string arguments;
    Source source{};
};

void PrintTo(const X264Stream& stream, std::ostream* out)
{
    *out << "x264 " << stream.arguments;
}

enum class EntropyCode { cavlc, cabac };

void PrintTo(EntropyCode code, std::ostream* out)
{
    *out << (code == EntropyCode::cavlc ? "CAVLC" : "CABAC");
}

class EncodedH264Video : public testing::TestWithParam<std::tuple<X264Stream, EntropyCode>>
{
};

TEST_P(EncodedH264Video, DecodesToTheSameSamples)
{
    const auto& [stream, code] = GetParam();
    expectSamePictures(
        encode(stream.source, (code == EntropyCode::cavlc ? "--no-cabac " : "") + stream.arguments));
}

namespace {

const Source mandelbrot{"mandelbrot", "352x288", 12};
const Source longer{"testsrc2", "176x144", 25};

// Fields of different times, still and moving parts: frame and field macroblocks side by side.
const Source interlaced{"testsrc2", "176x144", 24, "tinterlace=interleave_top"};
const Source interlacedNoise{"testsrc2", "184x168", 24,
                             "noise=alls=12:allf=t:enable='lt(mod(n,6),3)',tinterlace=interleave_top"};
const Source interlacedMandelbrot{"mandelbrot", "352x288", 16, "tinterlace=interleave_bottom"};

const X264Stream x264Streams[] = {
    {"Baseline", "--profile baseline --crf 24", longer},
    {"Main", "--profile main --crf 24", longer},
    {"High", "--profile high --crf 24", longer},
    {"HighMandelbrot", "--profile high --crf 20", mandelbrot},
    {"IntraOnly", "--keyint 1 --crf 20"},
    {"ShortGroups", "--keyint 5 --min-keyint 2 --bframes 2 --crf 26", longer},
    {"OpenGroups", "--open-gop --keyint 7 --min-keyint 2 --bframes 3 --crf 26", longer},
    {"IntraRefresh", "--intra-refresh --keyint 10 --crf 26", longer},
    {"NoBPictures", "--bframes 0 --crf 26"},
    {"OneBPicture", "--bframes 1 --b-adapt 0 --crf 26"},
    {"FourBPictures", "--bframes 4 --b-adapt 0 --b-pyramid none --crf 26"},
    {"StrictPyramid", "--bframes 4 --b-adapt 0 --b-pyramid strict --crf 26"},
    {"Pyramid", "--bframes 4 --b-adapt 0 --b-pyramid normal --ref 4 --crf 26", longer},
    {"SpatialDirect", "--bframes 3 --direct spatial --partitions all --crf 28", mandelbrot},
    {"TemporalDirect", "--bframes 3 --direct temporal --partitions all --crf 28", mandelbrot},
    {"TemporalDirectPyramid",
     "--bframes 4 --b-adapt 0 --direct temporal --b-pyramid normal --ref 5 --crf 28"},
    {"NoDirect", "--bframes 3 --direct none --crf 28"},
    {"NoWeights", "--weightp 0 --no-weightb --bframes 2 --crf 26"},
    {"SimpleWeights", "--weightp 1 --crf 26", {"testsrc2", "176x144", 16, "fade=in:0:16"}},
    {"Weights", "--weightp 2 --ref 3 --bframes 0 --crf 26", {"testsrc2", "176x144", 16, "fade=in:0:16"}},
    {"ImplicitWeights", "--weightb --bframes 4 --b-adapt 0 --ref 3 --crf 26"},
    {"OneReference", "--ref 1 --bframes 0 --crf 26"},
    {"EightReferences", "--ref 8 --bframes 2 --crf 26", longer},
    {"AllPartitions", "--partitions all --8x8dct --subme 7 --me umh --ref 3 --crf 20", mandelbrot},
    {"NoPartitions", "--partitions none --crf 26"},
    {"Transform4x4", "--no-8x8dct --crf 22"},
    {"StandardMatrices", "--cqm jvt --8x8dct --crf 22", mandelbrot},
    {"CustomMatrices", "--cqm4 6,13,20,28,13,20,28,32,20,28,32,37,28,32,37,42 --8x8dct --qp 22", mandelbrot},
    {"Slices", "--slices 4 --bframes 2 --crf 26", mandelbrot},
    {"SlicesOfMacroblocks", "--slice-max-mbs 7 --bframes 2 --crf 26"},
    {"SlicesOfBytes", "--slice-max-size 300 --crf 26"},
    {"NoDeblocking", "--no-deblock --crf 28"},
    {"StrongDeblocking", "--deblock 6:6 --qp 36"},
    {"WeakDeblocking", "--deblock -6:-4 --qp 36", mandelbrot},
    {"ConstrainedIntra", "--constrained-intra --bframes 2 --crf 24", mandelbrot},
    {"Lossless", "--qp 0 --preset medium", {"testsrc2", "176x144", 8}},
    {"LosslessMandelbrot", "--qp 0", {"mandelbrot", "176x144", 8}},
    {"FinestQuantiser", "--qp 1", {"mandelbrot", "176x144", 8}},
    {"CoarsestQuantiser", "--qp 51"},
    {"ChromaQpOffset", "--chroma-qp-offset -12 --qp 30"},
    {"ChromaQpOffsetUp", "--chroma-qp-offset 12 --qp 42"},
    {"FakeInterlaced", "--fake-interlaced --bframes 2 --crf 26"},
    {"FakeInterlacedTemporal", "--fake-interlaced --bframes 3 --direct temporal --crf 26"},
    {"OddSize", "--bframes 2 --crf 24", {"mandelbrot", "334x250", 8}},
    {"Cropped", "--bframes 2 --crf 24", {"testsrc2", "66x34", 16}},
    {"CroppedInterlaced", "--fake-interlaced --bframes 2 --crf 24", {"testsrc2", "90x68", 16}},
    {"OneMacroblock", "--bframes 2 --crf 24", {"testsrc2", "16x16", 16}},
    {"Flat", "--bframes 3 --crf 24", {"testsrc2", "400x16", 16}},
    {"Narrow", "--bframes 3 --crf 24", {"testsrc2", "16x240", 16}},
    {"Monochrome", "--output-csp i400 --bframes 2 --crf 24"},
    {"MonochromeLossless", "--output-csp i400 --qp 0", {"testsrc2", "176x144", 6}},
    {"PairsIntra", "--tff --keyint 1 --crf 24", interlaced},
    {"PairsIntraFine", "--tff --keyint 1 --qp 12", interlacedNoise},
    {"PairsP", "--tff --bframes 0 --ref 3 --crf 26", interlaced},
    {"PairsPNoise", "--tff --bframes 0 --ref 4 --partitions all --qp 24", interlacedNoise},
    {"PairsSpatialDirect", "--tff --bframes 3 --direct spatial --qp 28", interlacedNoise},
    {"PairsTemporalDirect", "--tff --bframes 3 --direct temporal --qp 28", interlacedNoise},
    {"PairsPyramid", "--bff --bframes 4 --b-adapt 0 --b-pyramid normal --ref 4 --weightb --crf 26",
     interlacedMandelbrot},
    {"PairsWeights",
     "--tff --weightp 2 --ref 3 --crf 26",
     {"testsrc2", "176x144", 24, "fade=in:0:24,tinterlace=interleave_top"}},
    {"PairsTransform4x4", "--tff --no-8x8dct --bframes 2 --qp 26", interlacedNoise},
    {"PairsConstrainedIntra", "--tff --constrained-intra --bframes 2 --qp 34", interlacedNoise},
    {"PairsSlices", "--tff --slices 3 --bframes 2 --qp 30", interlacedMandelbrot},
    {"PairsMatrices", "--tff --cqm jvt --bframes 2 --qp 24", interlacedNoise},
    {"PairsLossless", "--tff --qp 0", {"testsrc2", "176x144", 8, "tinterlace=interleave_top"}},
    {"High10", "--output-depth 10 --bframes 3 --crf 24", mandelbrot},
    {"High10Weights",
     "--output-depth 10 --weightp 2 --ref 3 --crf 24",
     {"testsrc2", "176x144", 16, "fade=in:0:16"}},
    {"High10Fine", "--output-depth 10 --qp 4 --partitions all", {"testsrc2", "176x144", 8, "noise=alls=20"}},
    {"High10Coarse", "--output-depth 10 --qp 60 --deblock 3:3"},
    {"High10Transform4x4", "--output-depth 10 --no-8x8dct --cqm jvt --bframes 2 --crf 20"},
    {"High10Lossless", "--output-depth 10 --qp 0", {"testsrc2", "176x144", 6}},
    {"High10Pairs", "--output-depth 10 --tff --bframes 3 --qp 30", interlacedNoise},
    {"High10PairsConstrainedIntra", "--output-depth 10 --tff --constrained-intra --bframes 0 --qp 40",
     interlacedMandelbrot},
    {"High422", "--output-csp i422 --bframes 3 --crf 24", mandelbrot},
    {"High422Fine", "--output-csp i422 --qp 4 --partitions all", {"testsrc2", "176x144", 8, "noise=alls=20"}},
    {"High422Transform4x4", "--output-csp i422 --no-8x8dct --cqm jvt --bframes 2 --crf 28"},
    {"High422Lossless", "--output-csp i422 --qp 0", {"testsrc2", "176x144", 6}},
    {"High422Pairs", "--output-csp i422 --tff --bframes 3 --qp 28", interlacedNoise},
    {"High422PairsIntra", "--output-csp i422 --tff --constrained-intra --keyint 1 --qp 36",
     interlacedMandelbrot},
    {"High422With10Bits", "--output-csp i422 --output-depth 10 --bframes 3 --crf 22", mandelbrot},
    {"High422With10BitsPairs",
     "--output-csp i422 --output-depth 10 --tff --bframes 3 --direct temporal --qp 30", interlacedNoise},
    {"High422With10BitsLossless", "--output-csp i422 --output-depth 10 --qp 0", {"testsrc2", "176x144", 6}},
    {"Monochrome10", "--output-csp i400 --output-depth 10 --bframes 2 --crf 24"},
    {"AccessUnitDelimiters", "--aud --nal-hrd vbr --vbv-maxrate 500 --vbv-bufsize 500"},
    {"VeryFast", "--preset ultrafast --crf 26", longer},
    {"VerySlow", "--preset veryslow --crf 26"},
};

std::string streamName(const testing::TestParamInfo<std::tuple<X264Stream, EntropyCode>>& info)
{
    const auto& [stream, code] = info.param;
    return stream.name + (code == EntropyCode::cavlc ? "Cavlc" : "Cabac");
}

} // namespace

INSTANTIATE_TEST_SUITE_P(X264, EncodedH264Video,
                         testing::Combine(testing::ValuesIn(x264Streams),
                                          testing::Values(EntropyCode::cavlc, EntropyCode::cabac)),
                         streamName);

// Parameter sets beside the packets or within, lengths or start codes in front of the units.
TEST(EncodedH264Video, ComesInContainers)
{
    for (const char* const name : {"a.mp4", "a.mkv", "a.ts", "a.avi", "a.mov", "a.h264"}) {
        SCOPED_TRACE(name);
        expectSamePictures(makeClip(name, "-f lavfi -i testsrc2=size=176x144:rate=25 -frames:v 20 "
                                          "-pix_fmt yuv420p -c:v libx264 -x264-params bframes=3"));
    }
}

TEST(EncodedH264Video, SaysWhichFieldIsShownFirst)
{
    const std::pair<const char*, app::FieldOrder> streams[] = {
        {"--tff", app::FieldOrder::topFirst},
        {"--bff", app::FieldOrder::bottomFirst},
        {"--fake-interlaced", app::FieldOrder::progressive},
        {"--bframes 2", app::FieldOrder::progressive},
    };
    for (const auto& [arguments, order] : streams) {
        SCOPED_TRACE(arguments);
        for (const Frame& frame : decodeInProcess(encode({"testsrc2", "64x64", 4}, arguments)).frames)
            EXPECT_EQ(frame.format.fieldOrder, order);
    }
}

// What the driver does not decode it refuses, and says why.
TEST(EncodedH264Video, NamesWhatIsNotSupported)
{
    struct Refused {
        std::string arguments;
        std::string reason;
    };
    const Refused streams[] = {
        {"--output-csp i444", "4:4:4"},
    };
    for (const Refused& refused : streams) {
        SCOPED_TRACE(refused.arguments);
        const fs::path clip = encode({"testsrc2", "64x64", 3}, refused.arguments);
        try {
            decodeInProcess(clip);
            ADD_FAILURE() << "decoded";
        } catch (const app::UnsupportedStream& unsupported) {
            EXPECT_NE(std::string(unsupported.what()).find(refused.reason), std::string::npos)
                << unsupported.what();
        }
    }
}

} // namespace kelvcpx::test
