#include "apps/support/encode.h"

#include "apps/support/clip.h"
#include "apps/support/close_pictures.h"

#include "codecs.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace kelvcpx::test {

EncodedVideo encodeInProcess(const std::string& codec, std::span<const Frame> frames,
                             const app::EncoderSettings& settings)
{
    EncodedVideo video;
    const app::EncoderOutput output{
        [&](std::span<const uint8_t> bytes) {
            video.bytes.insert(video.bytes.end(), bytes.begin(), bytes.end());
        },
        [&](const app::PictureView& picture) { video.reconstruction.push_back(copyOf(picture)); }};
    const auto encoder = app::makeEncoder(codec, frames.front().format, settings);
    for (const Frame& frame : frames)
        encoder->encode(viewOf(frame), output);
    encoder->flush(output);
    return video;
}

std::vector<Frame> makePictures(const std::string& source, const std::string& size, int count,
                                const std::string& filters)
{
    return decodeWithFfmpeg(makeClip("source.y4m", "-f lavfi -i " + source + "=size=" + size +
                                                       ":rate=25 -vf " + filters + " -frames:v " +
                                                       std::to_string(count) + " -pix_fmt yuv420p"));
}

void expectReconstruction(const EncodedVideo& video, const std::string& codec,
                          const std::filesystem::path& file, const Nearness& nearness)
{
    const std::vector<Frame>& expected = video.reconstruction;
    const DecodedStream ours = decodeInProcess(codec, video.bytes);
    EXPECT_EQ(ours.damage, std::vector<std::string>());
    expectSamePictures(ours.frames, expected);

    const std::vector<Frame> theirs = decodeWithFfmpeg(file, "-threads 1 -idct faani");
    ASSERT_EQ(theirs.size(), expected.size());
    std::array<double, 3> sums{};
    for (std::size_t i = 0; i < expected.size(); i++) {
        const auto ratios = psnr(theirs[i], expected[i]);
        for (std::size_t plane = 0; plane < 3; plane++) {
            EXPECT_GE(ratios[plane], nearness.picture) << "picture " << i << ", plane " << plane;
            sums[plane] += std::min(ratios[plane], 99.0);
        }
    }
    for (const double sum : sums)
        EXPECT_GE(sum / static_cast<double>(expected.size()), nearness.mean);
}

} // namespace kelvcpx::test
