// The H.261 and H.263 encoders: their streams decode to their own reconstruction, here exactly and in an
// independent decoder up to the inverse DCT, and they are worth their bits.
#include "apps/support/clip.h"
#include "apps/support/close_pictures.h"
#include "apps/support/encode.h"
#include "apps/support/frames.h"

#include "common/decoder.h"
#include "common/errors.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

namespace kelvcpx::test {

using app::EncoderSettings;

struct VideophoneCase {
    std::string name;
    std::string codec;
    std::string graph;
    std::string size;
    int qp;
    double quality; // of luma, in dB, that the reconstruction must have
};

void PrintTo(const VideophoneCase& encoded, std::ostream* out)
{
    *out << encoded.codec << ' ' << encoded.graph << ' ' << encoded.size << " QP " << encoded.qp;
}

namespace {

constexpr int pictureCount = 24;
constexpr int groupSize = 12;

} // namespace

class VideophoneEncoder : public testing::TestWithParam<VideophoneCase>
{
};

TEST_P(VideophoneEncoder, WritesWhatDecodersTakeForItsReconstruction)
{
    const VideophoneCase& encoded = GetParam();
    const auto pictures = makePictures(encoded.graph, encoded.size, pictureCount);
    const EncodedVideo video =
        encodeInProcess(encoded.codec, pictures, {.qp = encoded.qp, .groupSize = groupSize});
    ASSERT_EQ(video.reconstruction.size(), pictures.size());

    const DecodedStream ours = decodeInProcess(encoded.codec, video.bytes);
    EXPECT_EQ(ours.damage, std::vector<std::string>());
    expectSamePictures(ours.frames, video.reconstruction);
    const auto theirs = decodeWithFfmpeg(storeStream(encoded.name + "." + encoded.codec, video.bytes),
                                         "-threads 1 -idct faani ");
    ASSERT_EQ(theirs.size(), pictures.size());
    for (std::size_t i = 0; i < pictures.size(); i++) {
        EXPECT_GE(psnr(video.reconstruction[i], pictures[i])[0], encoded.quality) << "picture " << i;
        const auto ratios = psnr(theirs[i], video.reconstruction[i]);
        EXPECT_GE(ratios[0], i % groupSize == 0 ? 50 : 42) << "picture " << i;
        for (const double ratio : ratios)
            EXPECT_GE(ratio, 38) << "picture " << i;
    }
}

// Prediction saves bits, at no loss of quality to speak of.
TEST_P(VideophoneEncoder, PredictsPictures)
{
    const VideophoneCase& encoded = GetParam();
    const auto pictures = makePictures(encoded.graph, encoded.size, pictureCount);
    const auto size = [&](int group) {
        return encodeInProcess(encoded.codec, pictures, {.qp = encoded.qp, .groupSize = group}).bytes.size();
    };
    EXPECT_LT(4 * size(groupSize), 3 * size(1));
}

namespace {

const VideophoneCase cases[] = {
    {"H261", "h261", "testsrc2", "352x288", 5, 32},
    {"H261Fine", "h261", "mandelbrot", "176x144", 1, 40},
    {"H261Coarse", "h261", "testsrc2", "176x144", 31, 20},
    {"H263", "h263", "testsrc2", "352x288", 5, 32},
    {"H263Fine", "h263", "mandelbrot", "176x144", 1, 40},
    {"H263Coarse", "h263", "testsrc2", "128x96", 31, 20},
    {"H263Custom", "h263", "mandelbrot", "324x244", 8, 30},
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Cases, VideophoneEncoder, testing::ValuesIn(cases),
                         [](const auto& info) { return info.param.name; });

TEST(VideophoneEncoderSettings, AreChecked)
{
    const std::vector<Frame> odd = makePictures("testsrc2", "178x146", pictureCount);
    const std::vector<Frame> qcif = makePictures("testsrc2", "176x144", pictureCount);
    for (const char* const codec : {"h261", "h263"}) {
        EXPECT_THROW(encodeInProcess(codec, odd, {}), app::UnsupportedStream);
        EXPECT_THROW(encodeInProcess(codec, qcif, {.qp = 0}), app::UsageError);
        EXPECT_THROW(encodeInProcess(codec, qcif, {.qp = 32}), app::UsageError);
        EXPECT_THROW(encodeInProcess(codec, qcif, {.bitRate = 100000}), app::UsageError);
        EXPECT_THROW(encodeInProcess(codec, qcif, {.groupSize = 133}), app::UsageError);
        EXPECT_THROW(encodeInProcess(codec, qcif, {.bFrames = 1}), app::UsageError);
    }
}

} // namespace kelvcpx::test
