// Decoding with post-filters.
#include "apps/support/clip.h"
#include "apps/support/frames.h"

#include "common/padded_frame.h"
#include "common/postfilter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <vector>

namespace kelvcpx::test {

namespace {

namespace fs = std::filesystem;

constexpr int quant = 12; // of all macroblocks
const std::string source = "-f lavfi -i mandelbrot=size=352x288:rate=25 -frames:v 12 -pix_fmt yuv420p ";

// What the filters make of a picture as a whole.
Frame filtered(const Frame& frame)
{
    app::PaddedFrame picture(frame.format);
    for (std::size_t i = 0; i < 3; i++) {
        const auto& plane = picture.plane(i);
        for (int y = 0; y < plane.height; y++)
            std::copy_n(&frame.planes[i][static_cast<std::size_t>(y * plane.width)], plane.width,
                        plane.at(0, y));
    }
    app::PostFilter filter;
    const std::vector<uint8_t> quants(22 * 18, quant);
    return copyOf(filter.apply(picture, quants));
}

} // namespace

class PostFilteredVideo : public testing::TestWithParam<const char*>
{
};

// Every picture is the filtered one of ordinary decoding: those that others refer to stay as they are.
TEST_P(PostFilteredVideo, IsFilteredAfterDecodingAndCloserToTheSource)
{
    const std::string codec = GetParam();
    const fs::path clip =
        makeClip("coarse.avi", source + "-threads 1 -q:v " + std::to_string(quant) + " -c:v " + codec);
    const auto plain = decodeInProcess(clip).frames;
    const auto shown = decodeInProcess(clip, {.postprocess = true}).frames;
    const auto original = decodeWithFfmpeg(makeClip("source.y4m", source));
    ASSERT_EQ(plain.size(), 12U);
    ASSERT_EQ(shown.size(), plain.size());
    ASSERT_EQ(original.size(), plain.size());
    for (std::size_t i = 0; i < plain.size(); i++) {
        EXPECT_EQ(differences(shown[i], filtered(plain[i])), "") << "picture " << i;
        EXPECT_GT(psnr(shown[i], original[i])[0], psnr(plain[i], original[i])[0] + 0.1) << "picture " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Codecs, PostFilteredVideo,
                         testing::Values("mpeg4", "mpeg4 -bf 2 -b_qfactor 1", "h263"));

} // namespace kelvcpx::test
