#include "block/operand.h"
#include "mpeg4/plain_quarter_sample.h"
#include "support/arguments.h"
#include "support/plane.h"
#include "support/random.h"

#include <kelvcpx/mpeg4_motion.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <ostream>

namespace kelvcpx::test {
namespace {

struct Member {
    int size;
    bool quarterSample;
    Status (*compensate)(const uint8_t*, int32_t, uint8_t*, int32_t, const MotionVector*, const MotionVector*,
                         const MotionVector*, const MotionVector*, const MotionVector*, int32_t) noexcept;

    friend void PrintTo(const Member& member, std::ostream* out)
    {
        *out << member.size << (member.quarterSample ? " QP" : " HP");
    }
};

enum Vector { own, left, right, above, below, vectors };

using Vectors = std::array<MotionVector, vectors>;

// The weights of ISO/IEC 14496-2 for the upper left quarter of a block; the rest is symmetric. The three
// weights of a sample add up to 8.
constexpr int ownWeights[4][4] = {{4, 5, 5, 5}, {5, 5, 5, 5}, {5, 5, 6, 6}, {5, 5, 6, 6}};
constexpr int aboveWeights[4][4] = {{2, 2, 2, 2}, {1, 1, 2, 2}, {1, 1, 1, 1}, {1, 1, 1, 1}};

class Overlapped : public testing::TestWithParam<Member>
{
protected:
    static constexpr int reach = 20; // of the vectors, in samples

    // A sample of the prediction with a vector for the part of the block that begins at x0, y0.
    int predict(const MotionVector& v, int x0, int y0, int width, int height, int x, int y, int r) const
    {
        const int unit = GetParam().quarterSample ? 2 : 1;
        const int dx = v.x >> unit;
        const int dy = v.y >> unit;
        if (GetParam().quarterSample) {
            const auto sampleAt = [&](int i, int j) { return int{ref_.at(x0 + dx + i, y0 + dy + j)}; };
            const int acc = (v.x & 3) | (v.y & 3) << 2;
            return PlainQuarterSample(sampleAt, width, height, acc, r)(x - x0, y - y0);
        }
        const int a = ref_.at(x + dx, y + dy) + ref_.at(x + dx + (v.x & 1), y + dy);
        const int b = ref_.at(x + dx, y + dy + (v.y & 1)) + ref_.at(x + dx + (v.x & 1), y + dy + (v.y & 1));
        // With one fraction each sample is there twice, with none four times.
        return (v.x & v.y & 1) != 0 ? (a + b + 2 - r) >> 2 : ((a + b) / 2 + 1 - r) >> 1;
    }

    int compensate(const Vectors& v, int x, int y, int r) const
    {
        const int size = GetParam().size;
        const int half = size / 2;
        const auto predictPart = [&](Vector neighbour, int x0, int y0, int width, int height) {
            if (v[neighbour].x == v[own].x && v[neighbour].y == v[own].y)
                return predict(v[own], 0, 0, size, size, x, y, r);
            return predict(v[neighbour], x0, y0, width, height, x, y, r);
        };
        const int sides =
            x < half ? predictPart(left, 0, 0, half, size) : predictPart(right, half, 0, half, size);
        const int rows =
            y < half ? predictPart(above, 0, 0, size, half) : predictPart(below, 0, half, size, half);
        const int i = (x < half ? x : size - 1 - x) * 8 / size;
        const int j = (y < half ? y : size - 1 - y) * 8 / size;
        const int w0 = ownWeights[j][i];
        const int w2 = aboveWeights[j][i];
        return (w0 * predict(v[own], 0, 0, size, size, x, y, r) + (8 - w0 - w2) * sides + w2 * rows + 4) >> 3;
    }

    void expectFormulaFollowed(const Vectors& v, int32_t rounding)
    {
        const int size = GetParam().size;
        ref_.randomise(random_);
        Plane<uint8_t> dst(size, size);
        dst.randomise(random_);
        Plane<uint8_t> expected = dst;
        for (int y = 0; y < size; y++)
            for (int x = 0; x < size; x++)
                expected.at(x, y) = static_cast<uint8_t>(compensate(v, x, y, rounding & 1));
        EXPECT_EQ(GetParam().compensate(ref_.data(), ref_.step(), dst.data(), dst.step(), &v[own], &v[left],
                                        &v[right], &v[above], &v[below], rounding),
                  StatusOk);
        ASSERT_EQ(dst, expected);
    }

    MotionVector randomVector()
    {
        const auto component = [&] { return random_.uniform<int16_t>(-2 * reach, 2 * reach); };
        return {component(), component()};
    }

    Random random_{1};
    Plane<uint8_t> ref_{16, 16, 2 * reach + 2};
};

TEST_P(Overlapped, FollowsTheFormula)
{
    for (int i = 0; i < 400; i++) {
        Vectors v{};
        for (MotionVector& vector : v)
            vector = random_.oneIn(3) ? v[own] : randomVector();
        expectFormulaFollowed(v, random_.uniform<int>(-1, 2));
    }
}

TEST_P(Overlapped, RefusesNullPointers)
{
    Plane<uint8_t> dst(16, 16);
    const MotionVector v{0, 0};
    expectNullPointersRefused(GetParam().compensate, {4, 5, 6, 7, 8}, ref_.data(), ref_.step(), dst.data(),
                              dst.step(), &v, &v, &v, &v, &v, 0);
}

INSTANTIATE_TEST_SUITE_P(Blocks, Overlapped,
                         testing::Values(Member{8, false, keliOBMC8x8HP_MPEG4_8u_C1R},
                                         Member{16, false, keliOBMC16x16HP_MPEG4_8u_C1R},
                                         Member{8, true, keliOBMC8x8QP_MPEG4_8u_C1R}));

} // namespace
} // namespace kelvcpx::test
