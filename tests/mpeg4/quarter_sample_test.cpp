#include "block/operand.h"
#include "mpeg4/plain_quarter_sample.h"
#include "support/arguments.h"
#include "support/plane.h"
#include "support/random.h"

#include <kelvcpx/mpeg4_motion.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>

namespace kelvcpx::test {
namespace {

struct Member {
    int width;
    int height;
    Status (*predict)(const uint8_t*, int32_t, uint8_t*, int32_t, int32_t, int32_t) noexcept;

    friend void PrintTo(const Member& member, std::ostream* out)
    {
        *out << member.width << 'x' << member.height;
    }
};

class QuarterSample : public testing::TestWithParam<Member>
{
};

TEST_P(QuarterSample, FollowsTheFormula)
{
    const auto& [width, height, predict] = GetParam();
    Random random(1);
    // Beyond 15 with bits that do not count.
    for (int32_t acc = 0; acc < 20; acc++)
        for (const int32_t rounding : {0, 1, -1, 2})
            for (int i = 0; i < 30; i++) {
                const Operand<uint8_t> ref(random, width + ((acc & 3) != 0), height + ((acc & 12) != 0));
                const PlainQuarterSample plain([&](int x, int y) { return int{ref.at(x, y)}; }, width, height,
                                               acc, rounding);
                Plane<uint8_t> dst(width, height);
                dst.randomise(random);
                Plane<uint8_t> expected = dst;
                for (int y = 0; y < height; y++)
                    for (int x = 0; x < width; x++)
                        expected.at(x, y) = static_cast<uint8_t>(plain(x, y));
                EXPECT_EQ(predict(ref.data(), ref.step(), dst.data(), dst.step(), acc, rounding), StatusOk);
                ASSERT_EQ(dst, expected) << "acc " << acc << ", rounding " << rounding;
            }
}

TEST_P(QuarterSample, RefusesNullPointers)
{
    Plane<uint8_t> src(17, 17);
    Plane<uint8_t> dst(16, 16);
    expectNullPointersRefused(GetParam().predict, {}, src.data(), src.step(), dst.data(), dst.step(), 5, 0);
}

INSTANTIATE_TEST_SUITE_P(Copy, QuarterSample,
                         testing::Values(Member{8, 8, keliCopy8x8QP_MPEG4_8u_C1R},
                                         Member{16, 8, keliCopy16x8QP_MPEG4_8u_C1R},
                                         Member{16, 16, keliCopy16x16QP_MPEG4_8u_C1R}));

} // namespace
} // namespace kelvcpx::test
