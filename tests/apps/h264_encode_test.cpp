// The H.264 encoder against two decoders, ours and an independent one: both show exactly what the encoder
// reconstructed.
#include "apps/support/clip.h"
#include "apps/support/close_pictures.h"
#include "apps/support/encode.h"
#include "apps/support/frames.h"
#include "support/random.h"

#include "codecs.h"
#include "common/bit_reader.h"
#include "common/errors.h"
#include "h264/cavlc_tables.h"
#include "h264/encoder/cavlc_writer.h"
#include "h264/scan.h"

#include <kelvcpx/h264_residual.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <string>
#include <tuple>
#include <vector>

namespace kelvcpx::test {
namespace {

namespace fs = std::filesystem;

EncodedVideo encode(const std::vector<Frame>& pictures, const app::EncoderSettings& settings)
{
    return encodeInProcess("h264", pictures, settings);
}

void expectDecodesToReconstruction(const std::string& name, const EncodedVideo& stream)
{
    const DecodedStream ours = decodeInProcess("h264", stream.bytes);
    EXPECT_EQ(ours.damage, std::vector<std::string>());
    ASSERT_NO_FATAL_FAILURE(expectSamePictures(ours.frames, stream.reconstruction));
    expectSamePictures(decodeWithFfmpeg(storeStream(name + ".264", stream.bytes)), stream.reconstruction);
}

} // namespace

// What is encoded: graphics and gradients, still and moving, noise that needs PCM, fades, a change of scene.
struct EncoderSource {
    std::string name;
    std::string arguments; // of ffmpeg
};

void PrintTo(const EncoderSource& source, std::ostream* out)
{
    *out << source.arguments;
}

namespace {

const EncoderSource sources[] = {
    {"Chart", "-f lavfi -i testsrc2=size=176x144:rate=25 -frames:v 10"},
    {"Fractal", "-f lavfi -i mandelbrot=size=160x120:rate=25 -frames:v 10"},
    {"Cells", "-f lavfi -i cellauto=size=128x96:rate=25:rule=110 -frames:v 8"},
    {"Life", "-f lavfi -i life=size=64x48:rate=25:mold=10:ratio=0.2 -frames:v 10 -vf scale=192:144"},
    {"Noise", "-f lavfi -i color=gray:size=80x64:rate=25 -frames:v 6 -vf noise=alls=100:allf=t"},
    {"Bars", "-f lavfi -i smptebars=size=160x96:rate=25 -frames:v 6"},
    {"Gradients", "-f lavfi -i gradients=size=144x112:rate=25:speed=0.2 -frames:v 10"},
    {"Rotation", "-f lavfi -i mandelbrot=size=320x240:rate=25 -frames:v 10 -vf "
                 "rotate=a=0.1*n:ow=150:oh=106,noise=alls=5:allf=t"},
    {"Scrolling",
     "-f lavfi -i testsrc=size=320x240:rate=25 -frames:v 10 -vf scroll=h=0.06:v=0.13,crop=128:128"},
    {"Fading", "-f lavfi -i testsrc2=size=98x66:rate=25 -frames:v 10 -vf fade=out:0:10"},
    {"Scenes", "-f lavfi -i testsrc2=size=112x80:rate=25 -frames:v 10 -vf negate=enable='gte(n,5)'"},
    {"Small", "-f lavfi -i testsrc2=size=18x2:rate=25 -frames:v 6"},
};

std::vector<Frame> picturesOf(const EncoderSource& source)
{
    return parseY4m(contents(makeClip("source.y4m", source.arguments + " -pix_fmt yuv420p")));
}

} // namespace

class H264Encoder : public testing::TestWithParam<std::tuple<EncoderSource, bool>>
{
};

TEST_P(H264Encoder, MakesWhatDecodesToItsReconstruction)
{
    const auto& [source, high] = GetParam();
    const std::vector<Frame> pictures = picturesOf(source);
    std::size_t sizeBefore = SIZE_MAX;
    for (const int qp : {0, 14, 27, 39, 51}) {
        SCOPED_TRACE("QP " + std::to_string(qp));
        app::EncoderSettings settings;
        settings.qp = qp;
        settings.high = high;
        const EncodedVideo stream = encode(pictures, settings);
        const std::string name = source.name + (high ? "High" : "") + std::to_string(qp);
        ASSERT_NO_FATAL_FAILURE(expectDecodesToReconstruction(name, stream));

        // Coarser quantisers make smaller files; fine ones good pictures.
        EXPECT_LE(stream.bytes.size(), sizeBefore);
        sizeBefore = stream.bytes.size();
        for (std::size_t i = 0; i < pictures.size(); i++)
            EXPECT_GT(psnr(stream.reconstruction[i], pictures[i])[0], 55 - qp) << "picture " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Sources, H264Encoder, testing::Combine(testing::ValuesIn(sources), testing::Bool()),
                         [](const auto& info) {
                             return std::get<0>(info.param).name +
                                    (std::get<1>(info.param) ? "High" : "Baseline");
                         });

TEST(H264EncoderSettings, PlaceIntraPictures)
{
    const std::vector<Frame> pictures = picturesOf(sources[0]);
    for (const auto& [period, types] : {std::pair{1, "IIIIIIIIII"}, {4, "IPPPIPPPIP"}, {250, "IPPPPPPPPP"}}) {
        app::EncoderSettings settings;
        settings.groupSize = period;
        const EncodedVideo stream = encode(pictures, settings);
        const std::string name = "Period" + std::to_string(period);
        EXPECT_NO_FATAL_FAILURE(expectDecodesToReconstruction(name, stream));
        EXPECT_EQ(pictureTypes(storeStream(name + ".264", stream.bytes)), types);
    }
}

// frame_num wraps round.
TEST(H264EncoderSettings, AllowLongGroups)
{
    const EncoderSource longer{"Long", "-f lavfi -i testsrc2=size=32x32:rate=25 -frames:v 300"};
    app::EncoderSettings settings;
    settings.groupSize = 1000;
    settings.qp = 40;
    EXPECT_NO_FATAL_FAILURE(expectDecodesToReconstruction("Long", encode(picturesOf(longer), settings)));
}

// 4:2:0 pictures of the standard have even sizes.
TEST(H264EncoderSettings, RoundSizesUpToEvenOnes)
{
    std::vector<Frame> pictures = picturesOf(sources[0]);
    for (Frame& picture : pictures) { // without the last column and row
        picture.format.width--;
        picture.format.height--;
        std::vector<uint8_t> cut;
        for (int y = 0; y < picture.format.height; y++)
            cut.insert(cut.end(), picture.planes[0].begin() + y * 176,
                       picture.planes[0].begin() + y * 176 + 175);
        picture.planes[0] = cut;
    }
    const EncodedVideo stream = encode(pictures, {});
    EXPECT_EQ(stream.reconstruction[0].format.width, 176);
    EXPECT_EQ(stream.reconstruction[0].format.height, 144);
    EXPECT_NO_FATAL_FAILURE(expectDecodesToReconstruction("Odd", stream));
}

TEST(H264EncoderSettings, AreCheckedAgainstTheStandard)
{
    app::VideoFormat format;
    format.width = 64;
    format.height = 64;
    for (const int qp : {-1, 52}) {
        app::EncoderSettings settings;
        settings.qp = qp;
        EXPECT_THROW(app::makeEncoder("h264", format, settings), app::UsageError);
    }
    app::EncoderSettings rate;
    rate.bitRate = 1000000;
    EXPECT_THROW(app::makeEncoder("h264", format, rate), app::UsageError);
    app::EncoderSettings bFrames;
    bFrames.bFrames = 2;
    EXPECT_THROW(app::makeEncoder("h264", format, bFrames), app::UsageError);
    format.chroma = app::ChromaFormat::yuv422;
    EXPECT_THROW(app::makeEncoder("h264", format, {}), app::UnsupportedStream);
    EXPECT_THROW(app::makeEncoder("vhs", format, {}), app::UsageError);
}

namespace {

using app::h264::encoder::BitCounter;
using app::h264::encoder::CavlcBlock;

// Reads a block that was written, with the library's decoder.
std::vector<int16_t> decodeBlock(const app::BitWriter& bits, int nC, int16_t maxNumCoeff, std::size_t size)
{
    app::WordStream stream;
    stream.assign(bits.bytes());
    app::BitReader reader(stream, 0, bits.bytes().size());
    const auto& tables = app::h264::cavlcTables();
    std::vector<int16_t> block(size);
    int16_t* next = block.data();
    uint16_t total = 0;
    const Status status =
        nC == app::h264::encoder::chromaDcContext
            ? keliDecodeCAVLCChromaDcCoeffs_H264_1u16s(reader.word(), reader.offset(), &total, &next,
                                                       tables.coeffTokenChromaDc, tables.totalZerosChromaDc,
                                                       tables.runBefore)
            : keliDecodeCAVLCCoeffs_H264_1u16s(reader.word(), reader.offset(), &total, &next, nC, maxNumCoeff,
                                               tables.coeffToken, tables.totalZeros, tables.runBefore,
                                               app::h264::scan4x4(app::h264::Scan::frame).data());
    EXPECT_EQ(status, StatusOk);
    EXPECT_EQ(reader.position(), bits.bitCount());
    return block;
}

} // namespace

// Blocks of all sizes in all contexts, with levels up to the largest.
TEST(H264CavlcWriter, WritesWhatDecodesToTheBlock)
{
    Random random(1);
    for (int i = 0; i < 20000; i++) {
        const int nC = random.uniform<int>(-1, 10);
        const bool isChromaDc = nC < 0;
        const bool withoutDc = !isChromaDc && random.oneIn(3);
        std::vector<int16_t> block(isChromaDc ? 4 : 16);
        const int limit = random.oneIn(4) ? 2063 : random.uniform<int>(1, 40);
        const int zeros = random.uniform<int>(1, 6);
        for (std::size_t k = withoutDc ? 1 : 0; k < block.size(); k++)
            block[k] = random.oneIn(zeros) ? random.extreme<int16_t>(-limit, limit) : int16_t{0};

        const CavlcBlock analysis = isChromaDc
                                        ? app::h264::encoder::analysedChromaDc(block.data())
                                        : app::h264::encoder::analysed(block.data(), withoutDc ? 1 : 0, 15);
        const int maxNumCoeff = isChromaDc ? 4 : withoutDc ? 15 : 16;
        app::BitWriter bits;
        putBlock(bits, analysis, nC, maxNumCoeff);
        ASSERT_EQ(decodeBlock(bits, nC, static_cast<int16_t>(maxNumCoeff), block.size()), block);
        BitCounter counter;
        putBlock(counter, analysis, nC, maxNumCoeff);
        ASSERT_EQ(static_cast<std::size_t>(counter.bits()), bits.bitCount());
    }
}

} // namespace kelvcpx::test
