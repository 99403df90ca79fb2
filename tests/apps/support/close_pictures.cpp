#include "apps/support/close_pictures.h"

#include <gtest/gtest.h>

#include <cstddef>

namespace kelvcpx::test {

void expectClose(const std::vector<Frame>& ours, const std::vector<Frame>& theirs, const std::string& types,
                 Bounds bounds)
{
    ASSERT_EQ(ours.size(), theirs.size());
    ASSERT_EQ(ours.size(), types.size());
    ASSERT_FALSE(ours.empty());
    EXPECT_EQ(ours[0].format.width, theirs[0].format.width);
    EXPECT_EQ(ours[0].format.height, theirs[0].format.height);
    EXPECT_EQ(ours[0].format.chroma, theirs[0].format.chroma);
    for (std::size_t i = 0; i < ours.size(); i++) {
        const auto ratios = psnr(ours[i], theirs[i]);
        const double least = types[i] == 'I' ? bounds.intra : bounds.inter;
        for (std::size_t plane = 0; plane < 3; plane++)
            EXPECT_GE(ratios[plane], least) << types[i] << " picture " << i << ", plane " << plane;
    }
}

void expectSamePictures(const std::vector<Frame>& ours, const std::vector<Frame>& theirs)
{
    ASSERT_EQ(ours.size(), theirs.size());
    for (std::size_t i = 0; i < ours.size(); i++)
        ASSERT_EQ(differences(ours[i], theirs[i]), "") << "picture " << i;
}

} // namespace kelvcpx::test
