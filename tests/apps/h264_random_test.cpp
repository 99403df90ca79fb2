// The H.264 decoder against an independent one on random streams with what no encoder writes.
#include "apps/h264_random_stream.h"
#include "apps/support/clip.h"
#include "apps/support/frames.h"

#include "h264/cavlc_tables.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <map>
#include <ostream>
#include <string>
#include <vector>

namespace kelvcpx::test {

struct RandomH264Kind {
    std::string name;
    RandomH264Options options;
    int count = 4;
};

void PrintTo(const RandomH264Kind& kind, std::ostream* out)
{
    *out << kind.name;
}

class RandomH264Video : public testing::TestWithParam<RandomH264Kind>
{
};

TEST_P(RandomH264Video, DecodesToTheSameSamples)
{
    RandomH264Options options = GetParam().options;
    for (int i = 0; i < GetParam().count; i++, options.seed++) {
        SCOPED_TRACE("seed " + std::to_string(options.seed));
        const RandomH264Stream stream = makeRandomH264Stream(options);
        const auto file = storeStream("random/" + GetParam().name + std::to_string(i) + ".264", stream.bytes);
        const DecodedStream ours = decodeInProcess(file);
        EXPECT_EQ(ours.damage, std::vector<std::string>());
        std::vector<Frame> theirs = decodeWithFfmpeg(file, "-threads 1 -flags unaligned -f h264");
        ASSERT_EQ(ours.frames.size(), stream.frameCount);
        ASSERT_EQ(theirs.size(), stream.frameCount);
        for (std::size_t k = 0; k < theirs.size(); k++) {
            if (options.monochrome) { // ffmpeg adds grey chroma
                theirs[k].format.chroma = app::ChromaFormat::monochrome;
                theirs[k].planes[1].clear();
                theirs[k].planes[2].clear();
            }
            ASSERT_EQ(differences(ours.frames[k], theirs[k]), "") << "picture " << k;
        }
    }
}

namespace {

constexpr PictureStructures fields = PictureStructures::fields;
constexpr PictureStructures mixed = PictureStructures::mixed;
const std::string onlyP = "IPPPPiPPPPPP";
const std::string withB = "IPBBPBPBBBiBBPPIPBB";

const RandomH264Kind kinds[] = {
    {"IntraFrames", {.frameMbsOnly = true, .types = "IiI"}},
    {"Frames", {.frameMbsOnly = true, .types = onlyP}},
    {"FramesWithB", {.frameMbsOnly = true, .types = withB}},
    {"FramesThatCouldBeFields", {.types = withB}},
    {"FramesTemporal", {.frameMbsOnly = true, .types = withB, .temporalDirect = true}},
    {"FramesExplicitWeights",
     {.frameMbsOnly = true, .types = withB, .weightedBipredIdc = 1, .weightedPrediction = true}},
    {"FramesImplicitWeights", {.frameMbsOnly = true, .types = withB, .weightedBipredIdc = 2}},
    {"FramesTransform8x8", {.frameMbsOnly = true, .types = withB, .transform8x8 = true}},
    {"FramesConstrainedIntra", {.frameMbsOnly = true, .types = withB, .constrainedIntra = true}},
    {"FramesModifiedLists", {.frameMbsOnly = true, .types = withB, .modifyLists = true}},
    {"FramesLongLists", {.frameMbsOnly = true, .types = withB, .longLists = true}},
    {"FramesMemoryManagement",
     {.frameMbsOnly = true,
      .types = onlyP + withB,
      .modifyLists = true,
      .memoryManagement = true,
      .longTermReferences = true}},
    {"FramesOrderType1", {.frameMbsOnly = true, .types = withB, .pocType = 1}},
    {"FramesOrderType2", {.frameMbsOnly = true, .types = onlyP, .pocType = 2}},
    {"FramesGaps", {.frameMbsOnly = true, .types = onlyP + withB, .gapsInFrameNum = true}},
    {"FramesGapsOrderType1", {.frameMbsOnly = true, .types = withB, .pocType = 1, .gapsInFrameNum = true}},
    {"FramesMonochrome", {.frameMbsOnly = true, .monochrome = true, .types = withB, .transform8x8 = true}},
    {"FramesCropped", {.cropped = true, .types = withB}},
    {"IntraFields", {.structures = fields, .types = "IiI"}},
    {"Fields", {.structures = fields, .types = onlyP}},
    {"FieldsWithB", {.structures = fields, .types = withB}},
    {"FieldsTemporal", {.structures = fields, .types = withB, .temporalDirect = true}},
    {"FieldsExplicitWeights",
     {.structures = fields, .types = withB, .weightedBipredIdc = 1, .weightedPrediction = true}},
    {"FieldsImplicitWeights", {.structures = fields, .types = withB, .weightedBipredIdc = 2}},
    {"FieldsTransform8x8", {.structures = fields, .types = withB, .transform8x8 = true}},
    {"FieldsModifiedLists", {.structures = fields, .types = withB, .modifyLists = true}},
    {"FieldsMemoryManagement",
     {.structures = fields,
      .types = onlyP + withB,
      .modifyLists = true,
      .memoryManagement = true,
      .longTermReferences = true}},
    {"FieldsOrderType1", {.structures = fields, .types = withB, .pocType = 1}},
    {"FieldsOrderType2", {.structures = fields, .types = onlyP, .pocType = 2}},
    {"Mixed", {.structures = mixed, .types = onlyP}},
    {"MixedWithB", {.structures = mixed, .types = withB}},
    {"MixedTemporal", {.structures = mixed, .types = withB, .temporalDirect = true}},
    {"MixedTemporalImplicit",
     {.structures = mixed, .types = withB, .temporalDirect = true, .weightedBipredIdc = 2}},
    {"MixedExplicitWeights",
     {.structures = mixed, .types = withB, .weightedBipredIdc = 1, .weightedPrediction = true}},
    {"MixedTransform8x8", {.structures = mixed, .types = withB, .transform8x8 = true}},
    {"MixedLongLists", {.structures = mixed, .types = withB, .modifyLists = true, .longLists = true}},
    {"MixedConstrainedIntra", {.structures = mixed, .types = withB, .constrainedIntra = true}},
    {"MixedMemoryManagement",
     {.structures = mixed,
      .types = onlyP + withB,
      .modifyLists = true,
      .memoryManagement = true,
      .longTermReferences = true}},
    {"MixedOrderType1", {.structures = mixed, .types = withB, .pocType = 1}},
    {"MixedGaps", {.structures = mixed, .types = onlyP + withB, .gapsInFrameNum = true}},
    {"MixedGapsTemporalImplicit",
     {.structures = mixed,
      .types = withB,
      .temporalDirect = true,
      .weightedBipredIdc = 2,
      .gapsInFrameNum = true}},
    {"PairsIntra", {.macroblockPairs = true, .types = "IiI"}},
    {"Pairs", {.macroblockPairs = true, .types = onlyP}},
    {"PairsWithB", {.macroblockPairs = true, .types = withB}},
    {"PairsTemporal", {.macroblockPairs = true, .types = withB, .temporalDirect = true}},
    {"PairsExplicitWeights",
     {.macroblockPairs = true, .types = withB, .weightedBipredIdc = 1, .weightedPrediction = true}},
    {"PairsImplicitWeights", {.macroblockPairs = true, .types = withB, .weightedBipredIdc = 2}},
    {"PairsTransform8x8", {.macroblockPairs = true, .types = withB, .transform8x8 = true}},
    {"PairsConstrainedIntra", {.macroblockPairs = true, .types = withB, .constrainedIntra = true}},
    {"PairsMonochrome", {.macroblockPairs = true, .monochrome = true, .types = withB}},
    {"PairsAndFields", {.structures = mixed, .macroblockPairs = true, .types = withB}},
    {"PairsAndFieldsTemporal",
     {.structures = mixed, .macroblockPairs = true, .types = withB, .temporalDirect = true}},
    {"PairsAndFieldsTemporalImplicit",
     {.structures = mixed,
      .macroblockPairs = true,
      .types = withB,
      .temporalDirect = true,
      .weightedBipredIdc = 2}},
    {"PairsAndFieldsMemoryManagement",
     {.structures = mixed,
      .macroblockPairs = true,
      .types = onlyP + withB,
      .modifyLists = true,
      .memoryManagement = true}},
    {"MixedMonochromeCropped", {.structures = mixed, .monochrome = true, .cropped = true, .types = withB}},
};

std::string kindName(const testing::TestParamInfo<RandomH264Kind>& info)
{
    return info.param.name;
}

} // namespace

INSTANTIATE_TEST_SUITE_P(Streams, RandomH264Video, testing::ValuesIn(kinds), kindName);

// The streams are worth their while only as long as they hold everything.
TEST(RandomH264Video, UsesEverything)
{
    std::map<std::string, int> tools;
    UsedCodes codes;
    for (const RandomH264Kind& kind : kinds) {
        RandomH264Options options = kind.options;
        for (int i = 0; i < kind.count; i++, options.seed++) {
            RandomH264Stream stream = makeRandomH264Stream(options);
            for (const auto& [tool, count] : stream.tools)
                tools[tool] += count;
            codes.rows.merge(stream.codes.rows);
            codes.levelPrefixes.merge(stream.codes.levelPrefixes);
        }
    }
    struct Tools {
        std::string name;
        int first;
        int last;
    };
    const Tools numbered[] = {{"Intra_4x4 mode ", 0, 8},
                              {"Intra_8x8 mode ", 0, 8},
                              {"Intra_16x16 mode ", 0, 3},
                              {"chroma mode ", 0, 3},
                              {"P macroblock type ", 0, 4},
                              {"P sub-macroblock type ", 0, 3},
                              {"B macroblock type ", 0, 22},
                              {"B sub-macroblock type ", 0, 12},
                              {"disable_deblocking_filter_idc ", 0, 2},
                              {"memory management operation ", 1, 6},
                              {"scaling list ", 0, 2}};
    for (const Tools& group : numbered)
        for (int i = group.first; i <= group.last; i++)
            EXPECT_GE(tools[group.name + std::to_string(i)], 3) << group.name << i;
    for (const char* const tool :
         {"I_PCM", "skipped macroblock", "inter 4x4 transform", "inter 8x8 transform", "frame picture",
          "field picture", "spatial direct", "temporal direct", "gap in frame_num", "list modification up",
          "list modification down", "list modification by long-term picture",
          "place in a list without a picture", "second field that may refer to the first", "frame pair",
          "field pair", "explicit weight"})
        EXPECT_GE(tools[tool], 3) << tool;

    const auto expectAll = [&](const auto& rows) {
        for (const auto& row : rows)
            EXPECT_TRUE(codes.rows.contains(&row)) << "code " << row.bits;
    };
    const app::h264::CavlcRows& all = app::h264::cavlcRows;
    std::for_each(all.coeffToken.begin(), all.coeffToken.end(), expectAll);
    expectAll(all.coeffTokenChromaDc);
    std::for_each(all.totalZeros.begin(), all.totalZeros.end(), expectAll);
    std::for_each(all.totalZerosChromaDc.begin(), all.totalZerosChromaDc.end(), expectAll);
    std::for_each(all.runBefore.begin(), all.runBefore.end(), expectAll);
    EXPECT_EQ(codes.levelPrefixes.size(), 16U);
}

} // namespace kelvcpx::test
