// The MPEG-1 and MPEG-2 decoder against an independent one: on streams of an independent encoder, and on
// random streams with what no encoder writes.
#include "apps/mpeg2_random_stream.h"
#include "apps/support/clip.h"
#include "apps/support/close_pictures.h"
#include "apps/support/encoded_stream.h"
#include "apps/support/frames.h"
#include "apps/support/process.h"

#include "mpeg2/code_tables.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace kelvcpx::test {

namespace fs = std::filesystem;

namespace {

constexpr Bounds bounds = {54, 45};

} // namespace

class EncodedMpegVideo : public testing::TestWithParam<EncodedStream>
{
};

TEST_P(EncodedMpegVideo, DecodesAsTheReferenceDoes)
{
    const fs::path clip = makeClip(GetParam().file, GetParam().arguments);
    expectDecodesAsReference(clip, pictureTypes(clip), bounds);
}

namespace {

std::string source(const std::string& graph, const std::string& size = "176x144")
{
    return testSource(graph, size, "-frames:v 25");
}

const std::string mpeg1 = "-c:v mpeg1video -g 12 -bf 2 ";
const std::string mpeg2 = "-c:v mpeg2video -g 12 -bf 2 ";
const std::string interlaced = "-flags +ilme+ildct ";
const std::string noise = "-vf noise=alls=60:allf=t ";

// Weights that rise steeply, intra, and from 10 on, inter.
const std::string matrices =
    "-intra_matrix 8,9,10,11,12,13,14,15,9,10,11,12,13,14,15,16,10,11,12,13,14,15,16,17,11,12,13,14,15,16,17,"
    "18,12,13,14,15,16,17,18,19,13,14,15,16,17,18,19,20,14,15,16,17,18,19,20,21,15,16,17,18,19,20,21,22 "
    "-inter_matrix 10,11,12,13,14,15,16,17,11,12,13,14,15,16,17,18,12,13,14,15,16,17,18,19,13,14,15,16,17,18,"
    "19,20,14,15,16,17,18,19,20,21,15,16,17,18,19,20,21,22,16,17,18,19,20,21,22,23,17,18,19,20,21,22,23,24 ";

const EncodedStream encodedStreams[] = {
    {"Mpeg1", "a.m1v", source("testsrc2") + mpeg1 + "-q:v 4"},
    {"Mpeg1Mandelbrot", "a.mpg", source("mandelbrot", "352x288") + mpeg1 + "-q:v 6"},
    {"Mpeg1Noise", "a.m1v", source("testsrc2") + noise + mpeg1 + "-q:v 20"},
    {"Mpeg1OddSize", "a.m1v", source("testsrc2", "171x133") + mpeg1 + "-q:v 3"},
    {"Mpeg1Matrices", "a.mkv", source("testsrc2") + mpeg1 + matrices + "-q:v 4"},
    {"Progressive", "a.m2v", source("testsrc2") + mpeg2 + "-q:v 4"},
    {"TopFieldFirst", "a.m2v", source("testsrc2") + mpeg2 + interlaced + "-top 1 -q:v 4"},
    {"BottomFieldFirst", "a.m2v", source("mandelbrot") + mpeg2 + interlaced + "-top 0 -q:v 4"},
    {"AlternateScan", "a.m2v",
     source("testsrc2") + mpeg2 + interlaced +
         "-alternate_scan 1 -intra_vlc 1 -non_linear_quant 1 -qmax 28 -q:v 4"},
    {"NonLinearScaleNoise", "a.m2v",
     source("testsrc2") + noise + mpeg2 + "-intra_vlc 1 -non_linear_quant 1 -qmax 28 -q:v 20"},
    {"Chroma422", "a.m2v", source("testsrc2") + mpeg2 + "-pix_fmt yuv422p -q:v 4"},
    {"Chroma422Interlaced", "a.mpg",
     source("mandelbrot") + mpeg2 + interlaced + "-pix_fmt yuv422p -alternate_scan 1 -q:v 3"},
    {"Chroma422Matrices", "a.m2v", source("testsrc2") + mpeg2 + matrices + "-pix_fmt yuv422p -q:v 4"},
    {"DcOfNineBits", "a.m2v", source("testsrc2") + mpeg2 + "-dc 9 -q:v 3"},
    {"DcOfTenBits", "a.ts", source("mandelbrot", "352x288") + mpeg2 + "-dc 10 -q:v 2"},
    {"Matrices", "a.m2v", source("testsrc2") + mpeg2 + matrices + "-q:v 4"},
    {"OddSize", "a.m2v", source("testsrc2", "165x123") + mpeg2 + "-q:v 3"},
    {"OddSizeInterlaced", "a.m2v", source("testsrc2", "166x122") + mpeg2 + interlaced + "-q:v 3"},
    {"LowDelay", "a.mkv", source("testsrc2") + "-c:v mpeg2video -g 12 -bf 0 -flags +low_delay -q:v 4"},
    {"ManySlices", "a.m2v", source("testsrc2", "352x288") + mpeg2 + "-slices 8 -q:v 4"},
    {"TransportStream", "a.ts", source("testsrc2") + mpeg2 + "-q:v 4"},
    {"Matroska", "a.mkv", source("testsrc2") + mpeg2 + interlaced + "-q:v 4"},
    {"ProgramStream", "a.mpg", source("testsrc2") + mpeg2 + "-q:v 4"},
    {"LargeVectors", "a.m2v", source("mandelbrot", "720x64") + mpeg2 + "-me_range 200 -q:v 4"},
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Ffmpeg, EncodedMpegVideo, testing::ValuesIn(encodedStreams), nameOf);

// Tuned in to in mid-stream: the B pictures before the first intra picture have nothing to refer to, and are
// passed over.
TEST(EncodedMpegVideo, StartsInAnOpenGroup)
{
    const fs::path clip = makeClip("open.m2v", source("testsrc2") + "-c:v mpeg2video -g 9 -bf 2 -q:v 4");
    const std::vector<uint8_t> bytes = bytesOf(clip);
    constexpr uint8_t sequenceHeader[] = {0, 0, 1, 0xB3};
    const auto second =
        std::search(bytes.begin() + 1, bytes.end(), std::begin(sequenceHeader), std::end(sequenceHeader));
    ASSERT_NE(second, bytes.end());
    const fs::path file = storeStream("open.m2v", {second, bytes.end()});
    const std::string types = pictureTypes(file);
    EXPECT_TRUE(types.starts_with('I')) << types;
    expectDecodesAsReference(file, types, bounds);
}

// A kind of random streams, and how many of them.
struct RandomKind {
    std::string name;
    RandomStreamOptions options;
    int count = 4;
};

void PrintTo(const RandomKind& kind, std::ostream* out)
{
    *out << kind.name;
}

class RandomMpegVideo : public testing::TestWithParam<RandomKind>
{
protected:
    // Makes the streams of the kind, decodes each with both decoders and has the pictures compared.
    template <class Compare>
    void forEachStream(Compare compare)
    {
        RandomStreamOptions options = GetParam().options;
        for (int i = 0; i < GetParam().count; i++, options.seed++) {
            SCOPED_TRACE("seed " + std::to_string(options.seed));
            const RandomStream stream = makeRandomStream(options);
            const std::string name = GetParam().name + std::to_string(i) + ".m2v";
            const fs::path file = storeStream((options.exact ? "exact/" : "close/") + name, stream.bytes);
            const DecodedStream ours = decodeInProcess(file);
            EXPECT_EQ(ours.damage, std::vector<std::string>());
            const auto theirs = decodeWithFfmpeg(file, referenceArguments + "-f mpegvideo");
            ASSERT_EQ(ours.frames.size(), stream.types.size());
            ASSERT_EQ(theirs.size(), stream.types.size());
            compare(ours.frames, theirs, stream.types);
        }
    }
};

// Every sample is the same: the blocks leave no choice to the inverse DCT, and the rest of the standards is
// exact.
using ExactRandomMpegVideo = RandomMpegVideo;

TEST_P(ExactRandomMpegVideo, DecodesToTheSameSamples)
{
    forEachStream([](const auto& ours, const auto& theirs, const std::string& types) {
        for (std::size_t i = 0; i < ours.size(); i++)
            ASSERT_EQ(differences(ours[i], theirs[i]), "") << types[i] << " picture " << i;
    });
}

// Any coefficients, all codes.
using CloseRandomMpegVideo = RandomMpegVideo;

TEST_P(CloseRandomMpegVideo, DecodesAsTheReferenceDoes)
{
    forEachStream([](const auto& ours, const auto& theirs, const std::string& types) {
        expectClose(ours, theirs, types, {52, 46});
    });
}

namespace {

using Chroma = app::ChromaFormat;

std::string kindName(const testing::TestParamInfo<RandomKind>& info)
{
    return info.param.name;
}

const std::string allTypes = "IBBPBBIBBPPPIBPBBP"; // in every order that the standards allow

const RandomKind exactKinds[] = {
    {"Mpeg1", {.mpeg1 = true, .types = allTypes}},
    {"Mpeg1OddSize", {.mpeg1 = true, .width = 99, .height = 81}},
    {"Mpeg1Wide", {.mpeg1 = true, .width = 640, .height = 48, .types = "IPB"}, 8},
    {"Mpeg1OneMacroblock", {.mpeg1 = true, .width = 16, .height = 16}},
    {"Progressive", {.progressive = true, .types = allTypes}},
    {"Progressive422", {.width = 103, .height = 71, .chroma = Chroma::yuv422, .progressive = true}},
    {"FramesTopFirst", {.types = allTypes, .closedGroups = true}},
    {"FramesBottomFirst", {.width = 98, .height = 90, .topFieldFirst = false, .types = "IPPPPP"}},
    {"Frames422", {.chroma = Chroma::yuv422, .types = allTypes}},
    {"FramesWide", {.width = 640, .height = 32, .types = "IPBPP"}, 8},
    {"FieldsTopFirst", {.structures = PictureStructures::fields, .types = allTypes, .closedGroups = true}},
    {"FieldsBottomFirst",
     {.structures = PictureStructures::fields, .topFieldFirst = false, .types = allTypes}},
    {"FieldsOddSize", {.width = 17, .height = 33, .structures = PictureStructures::fields}},
    {"FieldsLowDelay", {.lowDelay = true, .structures = PictureStructures::fields, .types = "IPPPPP"}},
    {"Fields422", {.chroma = Chroma::yuv422, .structures = PictureStructures::fields, .types = allTypes}},
    {"MixedTopFirst", {.structures = PictureStructures::mixed, .types = allTypes}},
    {"MixedBottomFirst422",
     {.chroma = Chroma::yuv422,
      .structures = PictureStructures::mixed,
      .topFieldFirst = false,
      .types = allTypes}},
    {"MixedLowDelay", {.lowDelay = true, .structures = PictureStructures::mixed, .types = "IPPPPPPP"}},
    {"Tall", {.width = 32, .height = 2848, .progressive = true, .types = "IPB"}, 1},
    {"TallMixed", {.width = 32, .height = 2848, .structures = PictureStructures::mixed, .types = "IPB"}, 1},
};

const RandomKind closeKinds[] = {
    {"Mpeg1", {.mpeg1 = true, .exact = false}},
    {"Progressive", {.progressive = true, .exact = false}},
    {"Mixed", {.structures = PictureStructures::mixed, .exact = false}},
    {"Mixed422", {.chroma = Chroma::yuv422, .structures = PictureStructures::mixed, .exact = false}},
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Streams, ExactRandomMpegVideo, testing::ValuesIn(exactKinds), kindName);
INSTANTIATE_TEST_SUITE_P(Streams, CloseRandomMpegVideo, testing::ValuesIn(closeKinds), kindName);

// Streams of different standards, sizes and formats, with and without a sequence end code in between, are as
// good as each for itself.
TEST(RandomMpegVideo, FollowOneAnother)
{
    std::vector<uint8_t> all;
    std::vector<Frame> expected;
    bool keepEndCode = true;
    const RandomKind* const kinds[] = {&exactKinds[0],  &exactKinds[5],  &exactKinds[11], &exactKinds[12],
                                       &exactKinds[10], &exactKinds[16], &exactKinds[1]};
    for (const RandomKind* const kind : kinds) {
        const std::vector<uint8_t> bytes = makeRandomStream(kind->options).bytes;
        for (Frame& frame : decodeInProcess(storeStream("alone.m2v", bytes)).frames)
            expected.push_back(std::move(frame));
        constexpr int endCode = 4;
        all.insert(all.end(), bytes.begin(), bytes.end() - (keepEndCode ? 0 : endCode));
        keepEndCode = !keepEndCode;
    }
    const DecodedStream together = decodeInProcess(storeStream("together.m2v", all));
    EXPECT_EQ(together.damage, std::vector<std::string>());
    expectSamePictures(together.frames, expected);
}

// What the tests above are worth: the streams use all that the standards have, every code of every table
// included.
TEST(RandomMpegVideo, UsesEverything)
{
    std::map<std::string, int> tools;
    std::set<const void*> codes;
    const auto collect = [&](const RandomKind& kind) {
        RandomStreamOptions options = kind.options;
        for (int i = 0; i < kind.count; i++, options.seed++) {
            RandomStream stream = makeRandomStream(options);
            for (const auto& [tool, count] : stream.tools)
                tools[tool] += count;
            codes.merge(stream.codes);
        }
    };
    std::for_each(std::begin(exactKinds), std::end(exactKinds), collect);
    std::for_each(std::begin(closeKinds), std::end(closeKinds), collect);

    const char* const expected[] = {"forward frame prediction in frame picture",
                                    "backward frame prediction in frame picture",
                                    "bidirectional frame prediction in frame picture",
                                    "forward field prediction in frame picture",
                                    "backward field prediction in frame picture",
                                    "bidirectional field prediction in frame picture",
                                    "forward dual prime prediction in frame picture",
                                    "no vector in frame picture",
                                    "concealment vectors in frame picture",
                                    "skipped in P frame picture",
                                    "skipped in B frame picture",
                                    "forward field prediction in field picture",
                                    "backward field prediction in field picture",
                                    "bidirectional field prediction in field picture",
                                    "forward 16x8 prediction in field picture",
                                    "backward 16x8 prediction in field picture",
                                    "bidirectional 16x8 prediction in field picture",
                                    "forward dual prime prediction in field picture",
                                    "no vector in field picture",
                                    "concealment vectors in field picture",
                                    "skipped in P field picture",
                                    "skipped in B field picture",
                                    "P second field of I frame",
                                    "vector that wraps around",
                                    "full-sample vectors",
                                    "half-sample vectors",
                                    "field DCT",
                                    "escape code",
                                    "MPEG-1 escape code, 8 bits",
                                    "MPEG-1 escape code, 16 bits",
                                    "macroblock stuffing",
                                    "macroblock address escape",
                                    "slice that starts inside a row",
                                    "slice of several rows",
                                    "slice_vertical_position_extension",
                                    "intra slice",
                                    "slice not called intra",
                                    "extra information in a slice",
                                    "extra information in a picture",
                                    "matrix for all blocks",
                                    "matrix for chroma",
                                    "linear scale",
                                    "non-linear scale",
                                    "zigzag scan",
                                    "alternate scan",
                                    "intra table zero",
                                    "intra table one",
                                    "intra_dc_precision 0",
                                    "intra_dc_precision 1",
                                    "intra_dc_precision 2",
                                    "zero bytes before a start code",
                                    "intra_dc_precision 3"};
    for (const char* const tool : expected)
        EXPECT_GE(tools[tool], 3) << tool;

    const auto expectAll = [&](const auto& rows) {
        for (const auto& row : rows)
            EXPECT_TRUE(codes.contains(&row)) << "code " << row.bits;
    };
    const app::mpeg2::CodeRows& all = app::mpeg2::codeRows;
    expectAll(all.addressIncrement);
    std::for_each(all.macroblockType.begin(), all.macroblockType.end(), expectAll);
    expectAll(all.codedBlockPattern);
    expectAll(all.motionCode);
    expectAll(all.dmvector);
    std::for_each(all.dcSize.begin(), all.dcSize.end(), expectAll);
    std::for_each(all.coefficients.begin(), all.coefficients.end(), expectAll);
}

} // namespace kelvcpx::test
