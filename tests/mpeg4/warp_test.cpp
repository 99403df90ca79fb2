#include "block/operand.h"
#include "mpeg4/plain_warp.h"
#include "support/arguments.h"
#include "support/faults.h"
#include "support/plane.h"
#include "support/random.h"

#include <kelvcpx/mpeg4_motion.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

namespace kelvcpx::test {
namespace {

Status init(WarpSpec* spec, const Warping& w)
{
    return keliWarpInit_MPEG4(spec, w.du.data(), w.dv.data(), w.points, w.spriteType, w.accuracy, w.rounding,
                              w.quarterSample, w.fcode, &w.sprite, &w.vop);
}

// A warping in a buffer of the size that the library asks for, at any address.
class Spec
{
public:
    explicit Spec(const Warping& warping, std::size_t address = 0)
    {
        int32_t size = 0;
        EXPECT_EQ(keliWarpGetSize_MPEG4(&size), StatusOk);
        EXPECT_EQ(size, 276);
        buffer_.resize(address + static_cast<std::size_t>(size));
        spec_ = reinterpret_cast<WarpSpec*>(buffer_.data() + address);
        EXPECT_EQ(init(spec_, warping), StatusOk);
    }

    const WarpSpec* get() const { return spec_; }

private:
    std::vector<char> buffer_;
    WarpSpec* spec_;
};

class Warp : public testing::TestWithParam<int> // number of points
{
protected:
    Warping randomWarping()
    {
        const int points = GetParam();
        Warping w;
        w.points = points;
        w.spriteType = points == 4 || random_.oneIn(2) ? 1 : 2;
        w.accuracy = random_.uniform<int>(0, 3);
        w.rounding = random_.uniform<int>(0, 1);
        w.quarterSample = random_.uniform<int>(0, 1);
        w.fcode = random_.uniform<int>(1, 7);
        w.vop = {random_.uniform<int>(-3, 40), random_.uniform<int>(-3, 40), random_.uniform<int>(1, 90),
                 random_.uniform<int>(1, 90)};
        w.sprite = {random_.uniform<int>(-9, 9), random_.uniform<int>(-9, 9), random_.uniform<int>(1, 120),
                    random_.uniform<int>(1, 120)};
        // A quadrangle that is still convex has a perspective.
        const int reach = points == 4 ? std::min(w.vop.width, w.vop.height) / 4 : random_.oneIn(8) ? 300 : 20;
        for (std::size_t i = 0; i < 4; i++) {
            w.du[i] = random_.uniform<int>(-reach, reach);
            w.dv[i] = random_.uniform<int>(-reach, reach);
        }
        return w;
    }

    // Blocks that have kernels of their own, and others.
    RoiRect randomRect()
    {
        const int size = random_.uniform<int>(0, 3);
        const int width = size < 2 ? 8 << size : random_.uniform<int>(0, 37);
        const int height = size < 2 ? 8 << size : random_.uniform<int>(1, 20);
        return {random_.uniform<int>(-10, 70), random_.uniform<int>(-10, 70), width, height};
    }

    Random random_{1};
};

TEST_P(Warp, FollowsTheStandard)
{
    for (int i = 0; i < 1500; i++) {
        const Warping w = randomWarping();
        const RoiRect chroma{w.sprite.x / 2, w.sprite.y / 2, (w.sprite.width + 1) / 2,
                             (w.sprite.height + 1) / 2};
        const Spec spec(w, random_.uniform<std::size_t>(0, 15));
        const PlainWarp plain(w);
        const RoiRect rect = randomRect();
        const Operand<uint8_t> y(random_, w.sprite.width, w.sprite.height);
        const Operand<uint8_t> cb(random_, chroma.width, chroma.height);
        const Operand<uint8_t> cr(random_, chroma.width, chroma.height);
        const auto expect = [&](const auto& ref, const RoiRect& place, bool isLuma) {
            Plane<uint8_t> result(rect.width, rect.height);
            for (int j = 0; j < rect.height; j++)
                for (int k = 0; k < rect.width; k++) {
                    const auto position =
                        isLuma ? plain.luma(rect.x + k, rect.y + j) : plain.chroma(rect.x + k, rect.y + j);
                    result.at(k, j) =
                        plain.sample(ref, place.x, place.y, place.width, place.height, position);
                }
            return result;
        };
        Plane<uint8_t> dst(rect.width, rect.height);
        Plane<uint8_t> dstCb = dst;
        Plane<uint8_t> dstCr = dst;
        EXPECT_EQ(keliWarpLuma_MPEG4_8u_C1R(y.data(), y.step(), dst.data(), dst.step(), &rect, spec.get()),
                  StatusOk);
        EXPECT_EQ(keliWarpChroma_MPEG4_8u_P2R(cb.data(), cb.step(), cr.data(), cr.step(), dstCb.data(),
                                              dstCb.step(), dstCr.data(), dstCr.step(), &rect, spec.get()),
                  StatusOk);
        ASSERT_EQ(dst, expect(y, w.sprite, true));
        ASSERT_EQ(dstCb, expect(cb, chroma, false));
        ASSERT_EQ(dstCr, expect(cr, chroma, false));
    }
}

TEST_P(Warp, GivesTheMeanVectorOfAMacroblock)
{
    for (int i = 0; i < 2000; i++) {
        const Warping w = randomWarping();
        const Spec spec(w);
        const int x = random_.uniform<int>(-16, 100);
        const int y = random_.uniform<int>(-16, 100);
        MotionVector vector{};
        EXPECT_EQ(keliCalcGlobalMV_MPEG4(x, y, &vector, spec.get()), StatusOk);
        const MotionVector expected = PlainWarp(w).globalVector(x, y);
        ASSERT_EQ(vector.x, expected.x);
        ASSERT_EQ(vector.y, expected.y);
    }
}

INSTANTIATE_TEST_SUITE_P(Points, Warp, testing::Range(0, 5));

TEST(WarpCorners, LieWhereTheDisplacementsPutThem)
{
    // Twice as large, and moved by 5 and 3 half samples.
    const Warping w{.du = {5, 32, 0, 0},
                    .dv = {3, 0, 16, 0},
                    .points = 4,
                    .spriteType = 1,
                    .accuracy = 0,
                    .sprite = {0, 0, 64, 64},
                    .vop = {0, 0, 16, 8}};
    const Spec spec(w);
    Plane<uint8_t> ref(64, 64);
    for (int y = 0; y < 64; y++)
        for (int x = 0; x < 64; x++)
            ref.at(x, y) = static_cast<uint8_t>(2 * x + y);
    Plane<uint8_t> dst(16, 8);
    EXPECT_EQ(keliWarpLuma_MPEG4_8u_C1R(ref.data(), ref.step(), dst.data(), dst.step(), &w.vop, spec.get()),
              StatusOk);
    for (int y = 0; y < 8; y++)
        for (int x = 0; x < 16; x++)
            ASSERT_EQ(dst.at(x, y), (4 * (4 * x + 5) + 2 * (4 * y + 3) + 2) / 4) << x << ' ' << y;
}

// The four corners in one point: the perspective divides by zero.
TEST(Warp, SurvivesAMappingWithoutAnInverse)
{
    const Warping w{.du = {0, -32, 0, 0},
                    .dv = {0, 0, -32, 0},
                    .points = 4,
                    .spriteType = 1,
                    .sprite = {0, 0, 16, 16},
                    .vop = {0, 0, 16, 16}};
    const Spec spec(w);
    Random random(1);
    const Operand<uint8_t> ref(random, 16, 16);
    Plane<uint8_t> dst(16, 16);
    EXPECT_EQ(keliWarpLuma_MPEG4_8u_C1R(ref.data(), ref.step(), dst.data(), dst.step(), &w.vop, spec.get()),
              StatusOk);
    MotionVector vector;
    EXPECT_EQ(keliCalcGlobalMV_MPEG4(0, 0, &vector, spec.get()), StatusOk);
}

TEST(WarpInit, ChecksItsArguments)
{
    std::array<char, 276> buffer{};
    auto* const spec = reinterpret_cast<WarpSpec*>(buffer.data());
    const std::array<int32_t, 4> d{};
    const RoiRect rect{0, 0, 16, 16};
    expectNullPointersRefused(keliWarpInit_MPEG4, {}, spec, d.data(), d.data(), 1, 2, 0, 0, 0, 1, &rect,
                              &rect);
    expectNullPointersRefused(keliWarpInit_MPEG4, {1, 2}, spec, d.data(), d.data(), 0, 2, 0, 0, 0, 1, &rect,
                              &rect);
    expectNullPointersRefused(keliWarpGetSize_MPEG4, {}, nullptr);

    std::vector<Fault<Warping>> faults;
    for (const int32_t points : {-1, 4, 5}) // 4 for static sprites only
        faults.push_back(fault(StatusOutOfRange, &Warping::points, points));
    for (const int32_t accuracy : {-1, 4})
        faults.push_back(fault(StatusOutOfRange, &Warping::accuracy, accuracy));
    for (const int32_t fcode : {0, 8})
        faults.push_back(fault(StatusOutOfRange, &Warping::fcode, fcode));
    for (const auto field : {&Warping::sprite, &Warping::vop})
        for (const RoiRect& empty : {RoiRect{0, 0, 0, 1}, RoiRect{0, 0, 1, -1}})
            faults.push_back(fault(StatusBadSize, field, empty));
    expectFaultsRefused(Warping{.points = 1}, faults, [&](const Warping& w) { return init(spec, w); });
    EXPECT_EQ(buffer, (std::array<char, 276>{})) << "written in spite of a fault";
}

TEST(WarpSpec, IsCheckedByItsReaders)
{
    Plane<uint8_t> p(16, 16);
    const RoiRect rect{0, 0, 16, 16};
    MotionVector vector;
    const Spec spec(Warping{});
    expectNullPointersRefused(keliWarpLuma_MPEG4_8u_C1R, {}, p.data(), 16, p.data(), 16, &rect, spec.get());
    expectNullPointersRefused(keliWarpChroma_MPEG4_8u_P2R, {}, p.data(), 16, p.data(), 16, p.data(), 16,
                              p.data(), 16, &rect, spec.get());
    expectNullPointersRefused(keliCalcGlobalMV_MPEG4, {}, 0, 0, &vector, spec.get());

    const std::array<char, 276> empty{};
    const auto* const none = reinterpret_cast<const WarpSpec*>(empty.data());
    EXPECT_EQ(keliWarpLuma_MPEG4_8u_C1R(p.data(), 16, p.data(), 16, &rect, none), StatusBadContext);
    EXPECT_EQ(
        keliWarpChroma_MPEG4_8u_P2R(p.data(), 16, p.data(), 16, p.data(), 16, p.data(), 16, &rect, none),
        StatusBadContext);
    EXPECT_EQ(keliCalcGlobalMV_MPEG4(0, 0, &vector, none), StatusBadContext);
}

TEST(SpriteBrightness, FollowsTheFormula)
{
    Plane<uint8_t> samples(256, 3);
    for (int change = -112; change <= 1648; change++) {
        for (int x = 0; x < 256; x++)
            samples.at(x, 1) = static_cast<uint8_t>(x);
        Plane<uint8_t> expected = samples;
        const int factor = (change * 1024 + (change < 0 ? -50 : 50)) / 100 + 1024;
        for (int x = 0; x < 256 && change != 0; x++)
            expected.at(x, 1) = static_cast<uint8_t>(std::clamp((x * factor + 520) >> 10, 0, 255));
        EXPECT_EQ(keliChangeSpriteBrightness_MPEG4_8u_C1IR(&samples.at(0, 1), samples.step(), 256, 1, change),
                  StatusOk);
        ASSERT_EQ(samples, expected) << change;
    }
    expectNullPointersRefused(keliChangeSpriteBrightness_MPEG4_8u_C1IR, {}, samples.data(), 1, 1, 1, 9999);
    for (const int32_t change : {-113, 1649})
        EXPECT_EQ(keliChangeSpriteBrightness_MPEG4_8u_C1IR(samples.data(), 1, 1, 1, change),
                  StatusOutOfRange);
}

} // namespace
} // namespace kelvcpx::test
