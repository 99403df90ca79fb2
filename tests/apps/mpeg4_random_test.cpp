// The MPEG-4 decoder against an independent one on random streams with what no encoder writes.
#include "apps/mpeg4_random_stream.h"
#include "apps/support/clip.h"
#include "apps/support/close_pictures.h"
#include "apps/support/frames.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <ostream>
#include <string>
#include <vector>

namespace kelvcpx::test {
namespace {

namespace fs = std::filesystem;

// The reference decoder with an inverse DCT in floating point, and without the instructions for this machine
// that its warping makes mistakes with.
const std::string referenceArguments = "-cpuflags 0 -threads 1 -idct faani -f m4v";

} // namespace

struct RandomMpeg4Kind {
    std::string name;
    RandomMpeg4Options options;
    int count = 4;
};

void PrintTo(const RandomMpeg4Kind& kind, std::ostream* out)
{
    *out << kind.name;
}

class RandomMpeg4Video : public testing::TestWithParam<RandomMpeg4Kind>
{
protected:
    // Makes the streams of the kind, decodes each with both decoders and has the pictures compared.
    template <class Compare>
    void forEachStream(Compare compare)
    {
        RandomMpeg4Options options = GetParam().options;
        for (int i = 0; i < GetParam().count; i++, options.seed++) {
            SCOPED_TRACE("seed " + std::to_string(options.seed));
            const RandomMpeg4Stream stream = makeRandomMpeg4Stream(options);
            const std::string name = GetParam().name + std::to_string(i) + ".m4v";
            const fs::path file = storeStream((options.exact ? "exact/" : "close/") + name, stream.bytes);
            const DecodedStream ours = decodeInProcess(file);
            EXPECT_EQ(ours.damage, std::vector<std::string>());
            const auto theirs = decodeWithFfmpeg(file, referenceArguments);
            ASSERT_EQ(ours.frames.size(), stream.types.size());
            ASSERT_EQ(theirs.size(), stream.types.size());
            compare(ours.frames, theirs, stream.types);
        }
    }
};

// Every sample is the same: the blocks leave no choice to the inverse DCT, and the rest of the standard is
// exact.
using ExactRandomMpeg4Video = RandomMpeg4Video;

TEST_P(ExactRandomMpeg4Video, DecodesToTheSameSamples)
{
    forEachStream([](const auto& ours, const auto& theirs, const std::string& types) {
        for (std::size_t i = 0; i < ours.size(); i++)
            ASSERT_EQ(differences(ours[i], theirs[i]), "") << types[i] << " picture " << i;
    });
}

// Any coefficients, all codes.
using CloseRandomMpeg4Video = RandomMpeg4Video;

TEST_P(CloseRandomMpeg4Video, DecodesAsTheReferenceDoes)
{
    forEachStream([](const auto& ours, const auto& theirs, const std::string& types) {
        expectClose(ours, theirs, types, {51, 42});
    });
}

namespace {

std::string kindName(const testing::TestParamInfo<RandomMpeg4Kind>& info)
{
    return info.param.name;
}

// Of what the reference decoder does not do as the standard says, the streams have nothing:
// - it reads the DC of partitions even where intra_dc_vlc_thr says that it is coded like other coefficients;
// - it adds up the numbers of complexity estimation whenever a header tells them;
// - it forgets which macroblocks of partitions are warped;
// - in B-VOPs it keeps the prediction of the second field's vector from one video packet to the next;
// - it takes blocks with vectors of their own that lie outside to begin at the border of the picture, even
//   where that is within a macroblock.
// With quarter samples it predicts fields in blocks of 8x8 instead of 16x8, which is not exact.
const std::string allTypes = "IPBBPPIBBPB";
const std::string onlyP = "IPPPIPP";
const std::string withSprites = "ISSPBBSBSI";

const RandomMpeg4Kind exactKinds[] = {
    {"Plain", {.types = allTypes}},
    {"OneMacroblock", {.width = 16, .height = 16, .types = allTypes}},
    {"OddSize", {.width = 99, .height = 81, .types = allTypes, .fourVectors = false}},
    {"OddSizeWarping",
     {.width = 99, .height = 81, .types = withSprites, .fourVectors = false, .warpingPoints = 3}},
    {"Wide", {.width = 512, .height = 32, .types = "IPPBB"}},
    {"Weighted", {.types = allTypes, .weighted = true}},
    {"QuarterSample", {.types = allTypes, .quarterSample = true}},
    {"Packets", {.types = allTypes, .packets = true}},
    {"Partitions", {.types = allTypes, .packets = true, .partitioned = true, .dcAsAc = false}},
    {"OnePacketInPartitions", {.types = allTypes, .partitioned = true, .dcAsAc = false}},
    {"PartitionsQuarterSample",
     {.types = allTypes,
      .quarterSample = true,
      .weighted = true,
      .packets = true,
      .partitioned = true,
      .dcAsAc = false}},
    {"StationarySprite", {.types = withSprites}},
    {"OneWarpingPoint", {.types = withSprites, .warpingPoints = 1}},
    {"TwoWarpingPoints", {.types = withSprites, .warpingPoints = 2}},
    {"ThreeWarpingPoints", {.types = withSprites, .warpingPoints = 3}},
    {"OneWarpingPointQuarterSample", {.types = withSprites, .quarterSample = true, .warpingPoints = 1}},
    {"TwoWarpingPointsQuarterSample", {.types = withSprites, .quarterSample = true, .warpingPoints = 2}},
    {"WarpingPackets",
     {.types = withSprites, .quarterSample = true, .warpingPoints = 3, .weighted = true, .packets = true}},
    {"Interlaced", {.types = onlyP, .interlaced = true}},
    {"InterlacedPackets", {.types = onlyP, .interlaced = true, .packets = true}},
    {"InterlacedWarping", {.types = "ISSPPSS", .interlaced = true, .warpingPoints = 2, .weighted = true}},
    {"InterlacedWithB", {.types = allTypes, .interlaced = true}},
};

const RandomMpeg4Kind closeKinds[] = {
    {"Plain", {.types = allTypes, .exact = false}},
    {"Weighted", {.types = allTypes, .weighted = true, .exact = false}},
    {"Packets", {.types = allTypes, .quarterSample = true, .packets = true, .exact = false}},
    {"Partitions",
     {.types = allTypes, .packets = true, .partitioned = true, .dcAsAc = false, .exact = false}},
    {"Reversible",
     {.types = allTypes,
      .packets = true,
      .partitioned = true,
      .reversible = true,
      .dcAsAc = false,
      .exact = false}},
    {"ReversibleWeighted",
     {.types = allTypes,
      .weighted = true,
      .packets = true,
      .partitioned = true,
      .reversible = true,
      .dcAsAc = false,
      .exact = false}},
    {"Warping", {.types = withSprites, .warpingPoints = 3, .packets = true, .exact = false}},
    {"Interlaced", {.types = onlyP, .interlaced = true, .packets = true, .exact = false}},
    {"InterlacedQuarterSample", {.types = onlyP, .interlaced = true, .quarterSample = true, .exact = false}},
    {"InterlacedWarping",
     {.types = "ISSPPSS", .interlaced = true, .warpingPoints = 2, .weighted = true, .exact = false}},
    {"InterlacedQuarterSampleWithB",
     {.types = allTypes, .interlaced = true, .quarterSample = true, .exact = false}},
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Streams, ExactRandomMpeg4Video, testing::ValuesIn(exactKinds), kindName);
INSTANTIATE_TEST_SUITE_P(Streams, CloseRandomMpeg4Video, testing::ValuesIn(closeKinds), kindName);

// The same macroblocks, written in another way: this covers what the reference decoder leaves out.
TEST(RandomMpeg4Video, LooksTheSameInAnySyntax)
{
    RandomMpeg4Options options{
        .types = withSprites, .warpingPoints = 3, .weighted = true, .packets = true, .exact = false};
    for (; options.seed <= 6; options.seed++) {
        SCOPED_TRACE("seed " + std::to_string(options.seed));
        RandomMpeg4Options withComplexity = options;
        withComplexity.complexity = true;
        RandomMpeg4Options partitioned = options;
        partitioned.partitioned = true;
        RandomMpeg4Options reversible = partitioned;
        reversible.reversible = true;
        const DecodedStream expected = decodeInProcess("mpeg4", makeRandomMpeg4Stream(options).bytes);
        ASSERT_EQ(expected.frames.size(), withSprites.size());
        for (const auto& other : {withComplexity, partitioned, reversible}) {
            const DecodedStream decoded = decodeInProcess("mpeg4", makeRandomMpeg4Stream(other).bytes);
            EXPECT_EQ(decoded.damage, std::vector<std::string>());
            ASSERT_EQ(decoded.frames.size(), withSprites.size());
            for (std::size_t i = 0; i < withSprites.size(); i++)
                ASSERT_EQ(differences(decoded.frames[i], expected.frames[i]), "") << "picture " << i;
        }
    }
}

// The streams are worth their while only as long as they hold everything.
TEST(RandomMpeg4Video, UsesEverything)
{
    std::map<std::string, int> tools;
    for (const RandomMpeg4Kind& kind : exactKinds) {
        RandomMpeg4Options options = kind.options;
        for (int i = 0; i < kind.count; i++, options.seed++)
            for (const auto& [tool, count] : makeRandomMpeg4Stream(options).tools)
                tools[tool] += count;
    }
    for (const char* const tool : {"not coded",
                                   "not coded in an S-VOP",
                                   "skipped with its reference",
                                   "warping",
                                   "one vector",
                                   "four vectors",
                                   "field vectors in a P-VOP",
                                   "intra",
                                   "DC with a code of its own",
                                   "DC coded as AC",
                                   "direct without a difference",
                                   "direct",
                                   "interpolated",
                                   "backward",
                                   "forward",
                                   "interpolated with field vectors",
                                   "backward with field vectors",
                                   "forward with field vectors",
                                   "dquant",
                                   "dbquant",
                                   "matrix of its own",
                                   "video packet",
                                   "header extension"})
        EXPECT_GE(tools[tool], 3) << tool;
}

} // namespace kelvcpx::test
