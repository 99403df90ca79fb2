// Luma of intra and inter macroblocks.

#include "h264/plain_intra.h"
#include "h264/plain_macroblock.h"
#include "h264/plain_residual.h"
#include "support/arguments.h"
#include "support/plane.h"
#include "support/random.h"

#include <kelvcpx/h264_residual.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <ostream>
#include <vector>

namespace kelvcpx::test {
namespace {

// Places of the blocks, by the figures of 6.4.3.
int blockX(int n, int i)
{
    return n == 8 ? i % 2 * 8 : i / 4 % 2 * 8 + i % 2 * 4;
}

int blockY(int n, int i)
{
    return n == 8 ? i / 2 * 8 : i / 8 * 8 + i / 2 % 2 * 4;
}

// 6.4.11: a neighbour inside the macroblock is available if its block comes first, others by the edge flags.
Around aroundBlock(int n, int i, uint8_t edgeFlags)
{
    const auto available = [&](int x, int y) {
        if (x < 0)
            return (edgeFlags & (y < 0 ? noTopLeft : noLeft)) == 0;
        if (y < 0)
            return (edgeFlags & (x > 15 ? noTopRight : noTop)) == 0;
        if (x > 15)
            return false;
        for (int before = 0; before < i; before++)
            if (blockX(n, before) == x / n * n && blockY(n, before) == y / n * n)
                return true;
        return false;
    };
    const int x = blockX(n, i);
    const int y = blockY(n, i);
    return {available(x - 1, y), available(x, y - 1), available(x - 1, y - 1), available(x + n, y - 1)};
}

bool isReplaced(uint32_t mode, Around around)
{
    switch (mode) {
    case 0:
    case 3:
    case 7:
        return !around.top;
    case 1:
    case 8:
        return !around.left;
    case 2:
        return false;
    default:
        return !around.left || !around.top || !around.topLeft;
    }
}

// Intra_4x4 or Intra_8x8, whole or the upper half, with the default scaling or factors of the caller.
struct IntraForm {
    const char* name;
    int n;
    bool half;
    Status (*flat)(int16_t**, uint8_t*, int32_t, const uint32_t*, uint32_t, int32_t, uint8_t) noexcept;
    Status (*high)(int16_t**, uint8_t*, int32_t, const uint32_t*, uint32_t, int32_t, uint8_t, const int16_t*,
                   uint8_t) noexcept;

    int blocks() const { return (n == 4 ? 16 : 4) / (half ? 2 : 1); }
    int firstBit() const { return n == 4 && !half ? 1 : 0; }

    Status call(int16_t** next, Plane<uint8_t>& plane, const std::vector<uint32_t>& modes, uint32_t cbp,
                const Rule& rule, uint8_t edgeFlags, bool bypass) const
    {
        if (flat != nullptr)
            return flat(next, plane.data(), plane.step(), modes.data(), cbp, rule.qp, edgeFlags);
        return high(next, plane.data(), plane.step(), modes.data(), cbp, rule.qp, edgeFlags,
                    rule.scales.data(), static_cast<uint8_t>(bypass ? 0x80 : 0));
    }

    friend void PrintTo(const IntraForm& form, std::ostream* out) { *out << form.name; }
};

constexpr std::array intraForms = {
    IntraForm{"4x4", 4, false, keliReconstructLumaIntraMB_H264_16s8u_C1R, nullptr},
    IntraForm{"Half", 4, true, keliReconstructLumaIntraHalfMB_H264_16s8u_C1R, nullptr},
    IntraForm{"High4x4", 4, false, nullptr, keliReconstructLumaIntra4x4MB_H264_16s8u_C1R},
    IntraForm{"HighHalf4x4", 4, true, nullptr, keliReconstructLumaIntraHalf4x4MB_H264_16s8u_C1R},
    IntraForm{"High8x8", 8, false, nullptr, keliReconstructLumaIntra8x8MB_H264_16s8u_C1R},
    IntraForm{"HighHalf8x8", 8, true, nullptr, keliReconstructLumaIntraHalf8x8MB_H264_16s8u_C1R},
};

class IntraBlocks : public testing::TestWithParam<IntraForm>
{
};

TEST_P(IntraBlocks, ArePredictedAndAdded)
{
    const IntraForm& form = GetParam();
    Random random(1);
    for (int round = 0; round < 3000; round++) {
        Plane<uint8_t> plane(16, 16);
        plane.randomise(random);
        Plane<uint8_t> expected = plane;
        bool bypass;
        const Rule rule = randomRule(random, form.n, form.flat == nullptr, 51, bypass);
        const auto edgeFlags = random.oneIn(3) ? uint8_t{0} : random.uniform<uint8_t>(0, 255);
        const uint32_t cbp = random.extreme<uint32_t>(0, UINT32_MAX);
        Packed packed;
        std::vector<uint32_t> modes;
        bool replaced = false;
        for (int i = 0; i < form.blocks(); i++) {
            const int x = blockX(form.n, i);
            const int y = blockY(form.n, i);
            const Around around = aroundBlock(form.n, i, edgeFlags);
            modes.push_back(random.uniform<uint32_t>(0, 8));
            plainPredict(expected, x, y, form.n, static_cast<int>(modes.back()), around);
            replaced |= isReplaced(modes.back(), around);
            if ((cbp >> (form.firstBit() + i) & 1) != 0)
                addBlock(expected, x, y, packed.add(random, static_cast<std::size_t>(form.n * form.n)), rule);
        }
        const Status status = packed.consume(
            [&](int16_t** next) { return form.call(next, plane, modes, cbp, rule, edgeFlags, bypass); });
        EXPECT_EQ(status, form.n == 4 && replaced ? StatusWarnNoNeighbour : StatusOk);
        ASSERT_EQ(plane, expected) << "QP " << rule.qp << ", edge flags " << int{edgeFlags};
    }
}

// The blocks before a mode that does not exist are there, those after it are not.
TEST_P(IntraBlocks, StopAtAWrongMode)
{
    const IntraForm& form = GetParam();
    Random random(2);
    const Rule rule{30, plainFlatScales(form.n, 30), false};
    for (int wrong = 0; wrong < form.blocks(); wrong++) {
        Plane<uint8_t> plane(16, 16);
        plane.randomise(random);
        Plane<uint8_t> expected = plane;
        std::vector<uint32_t> modes(static_cast<std::size_t>(form.blocks()), 2);
        modes[static_cast<std::size_t>(wrong)] = wrong % 2 == 0 ? 9 : UINT32_MAX;
        Packed packed;
        for (int i = 0; i < form.blocks(); i++) {
            const auto block = packed.add(random, static_cast<std::size_t>(form.n * form.n));
            if (i >= wrong)
                continue;
            const int x = blockX(form.n, i);
            const int y = blockY(form.n, i);
            plainPredict(expected, x, y, form.n, 2, aroundBlock(form.n, i, 0));
            addBlock(expected, x, y, block, rule);
        }
        const Status status = packed.consume(
            [&](int16_t** next) { return form.call(next, plane, modes, 0x1FFFF, rule, 0, false); }, false);
        EXPECT_EQ(status, StatusOutOfRange);
        ASSERT_EQ(plane, expected);
    }
}

// Two halves, the flags of the lower one set as described, make the whole.
void expectHalvesToMakeAWhole(const IntraForm& half, const IntraForm& whole)
{
    Random random(3);
    for (int round = 0; round < 300; round++) {
        Plane<uint8_t> plane(16, 16);
        plane.randomise(random);
        Plane<uint8_t> twice = plane;
        bool bypass;
        const Rule rule = randomRule(random, half.n, half.flat == nullptr, 51, bypass);
        const auto edgeFlags = random.uniform<uint8_t>(0, 255);
        const auto lowerFlags = static_cast<uint8_t>((edgeFlags & noLeft) | noTopRight |
                                                     ((edgeFlags & noLeft) != 0 ? noTopLeft : 0));
        const auto blocks = static_cast<std::size_t>(half.blocks());
        const uint32_t coded = random.uniform<uint32_t>(0, (uint32_t{1} << (2 * blocks)) - 1);
        std::vector<uint32_t> modes;
        Packed packed;
        for (std::size_t i = 0; i < 2 * blocks; i++) {
            modes.push_back(random.uniform<uint32_t>(0, 8));
            if ((coded >> i & 1) != 0)
                packed.add(random, static_cast<std::size_t>(half.n * half.n));
        }
        const std::vector<uint32_t> lowerModes(modes.begin() + static_cast<std::ptrdiff_t>(blocks),
                                               modes.end());
        packed.consume([&](int16_t** next) {
            return whole.call(next, plane, modes, coded << whole.firstBit(), rule, edgeFlags, bypass);
        });
        packed.consume([&](int16_t** next) {
            half.call(next, twice, modes, coded, rule, edgeFlags, bypass);
            if (half.flat != nullptr)
                return half.flat(next, &twice.at(0, 8), twice.step(), lowerModes.data(), coded >> blocks,
                                 rule.qp, lowerFlags);
            return half.high(next, &twice.at(0, 8), twice.step(), lowerModes.data(), coded >> blocks, rule.qp,
                             lowerFlags, rule.scales.data(), bypass ? 1 : 0);
        });
        ASSERT_EQ(twice, plane);
    }
}

TEST(IntraHalves, MakeAWhole)
{
    for (std::size_t i = 0; i < intraForms.size(); i += 2)
        expectHalvesToMakeAWhole(intraForms[i + 1], intraForms[i]);
}

TEST_P(IntraBlocks, RefuseArgumentsInOrder)
{
    const IntraForm& form = GetParam();
    Plane<uint8_t> plane(16, 16);
    const Plane<uint8_t> before = plane;
    const std::vector<uint32_t> modes(16, 99);
    std::vector<int16_t> coefficients(256, 1);
    const std::vector<int16_t> scales(64, 16);
    int16_t* next = coefficients.data();
    const auto call = [&](int32_t step, int32_t qp) {
        return form.flat != nullptr
                   ? form.flat(&next, plane.data(), step, modes.data(), 0, qp, 0)
                   : form.high(&next, plane.data(), step, modes.data(), 0, qp, 0, scales.data(), 0);
    };
    if (form.flat != nullptr)
        expectNullPointersRefused(form.flat, {}, &next, plane.data(), 0, modes.data(), 0U, 99, 0);
    else
        expectNullPointersRefused(form.high, {}, &next, plane.data(), 0, modes.data(), 0U, 99, 0,
                                  scales.data(), 0);
    for (const int32_t step : {0, -1, -64})
        EXPECT_EQ(call(step, 52), StatusBadStep);
    for (const int32_t qp : {-1, 52, INT32_MIN})
        EXPECT_EQ(call(plane.step(), qp), StatusOutOfRange);
    next = nullptr;
    EXPECT_EQ(call(0, 52), StatusNullPointer);
    EXPECT_EQ(plane, before);
}

INSTANTIATE_TEST_SUITE_P(H264, IntraBlocks, testing::ValuesIn(intraForms),
                         [](const auto& info) { return info.param.name; });

Status callIntra16x16(bool high, int16_t** next, Plane<uint8_t>& plane, uint32_t mode, uint32_t cbp,
                      const Rule& rule, uint8_t edgeFlags, bool bypass)
{
    if (high)
        return keliReconstructLumaIntra_16x16MB_H264_16s8u_C1R(next, plane.data(), plane.step(), mode, cbp,
                                                               rule.qp, edgeFlags, rule.scales.data(),
                                                               bypass ? 1 : 0);
    return keliReconstructLumaIntra16x16MB_H264_16s8u_C1R(next, plane.data(), plane.step(), mode, cbp,
                                                          rule.qp, edgeFlags);
}

void expectIntra16x16(bool high)
{
    Random random(4);
    for (int round = 0; round < 4000; round++) {
        Plane<uint8_t> plane(16, 16);
        plane.randomise(random);
        Plane<uint8_t> expected = plane;
        bool bypass;
        const Rule rule = randomRule(random, 4, high, 51, bypass);
        const auto edgeFlags = random.oneIn(2) ? uint8_t{0} : random.uniform<uint8_t>(0, 255);
        const uint32_t cbp = random.extreme<uint32_t>(0, UINT32_MAX);
        const auto mode = random.uniform<uint32_t>(0, 5);
        Packed packed;
        const Status status = mode > 3                     ? StatusOutOfRange
                              : isRefused(mode, edgeFlags) ? StatusBadIntraMode
                                                           : StatusOk;
        if (status == StatusOk) {
            plainPredictLarge(expected, 16, static_cast<int>(mode), (edgeFlags & noTop) == 0,
                              [=](int) { return (edgeFlags & noLeft) == 0; });
            Block dc(16, 0);
            if ((cbp & 1) != 0) {
                const auto c = packed.add(random, 16);
                dc.assign(c.begin(), c.end());
                if (!rule.lossless) {
                    dc = plainHadamard(dc);
                    for (int64_t& v : dc)
                        v = plainScale(v, rule.scales[0], rule.qp, 6);
                }
            }
            for (int i = 0; i < 16; i++) {
                const int x = blockX(4, i);
                const int y = blockY(4, i);
                const bool coded = (cbp >> (i + 1) & 1) != 0;
                const std::vector<int16_t> ac = coded ? packed.add(random, 16) : std::vector<int16_t>(16, 0);
                addBlock(expected, x, y, ac, rule, &dc[static_cast<std::size_t>(y + x / 4)]);
            }
        }
        EXPECT_EQ(packed.consume([&](int16_t** next) {
            return callIntra16x16(high, next, plane, mode, cbp, rule, edgeFlags, bypass);
        }),
                  status);
        ASSERT_EQ(plane, expected) << "mode " << mode << ", QP " << rule.qp;
    }
}

TEST(Intra16x16, IsPredictedAndAdded)
{
    expectIntra16x16(false);
    expectIntra16x16(true);
}

TEST(Intra16x16, RefusesArgumentsInOrder)
{
    Plane<uint8_t> plane(16, 16);
    const Plane<uint8_t> before = plane;
    std::vector<int16_t> coefficients(272, 1);
    const std::vector<int16_t> scales(16, 16);
    int16_t* next = coefficients.data();
    expectNullPointersRefused(keliReconstructLumaIntra16x16MB_H264_16s8u_C1R, {}, &next, plane.data(), 0, 99U,
                              0U, 99, 0);
    expectNullPointersRefused(keliReconstructLumaIntra_16x16MB_H264_16s8u_C1R, {}, &next, plane.data(), 0,
                              99U, 0U, 99, 0, scales.data(), 0);
    const auto flat = [&](int32_t step, int32_t qp) {
        return keliReconstructLumaIntra16x16MB_H264_16s8u_C1R(&next, plane.data(), step, 99, 0, qp, 0);
    };
    const auto high = [&](int32_t step, int32_t qp) {
        return keliReconstructLumaIntra_16x16MB_H264_16s8u_C1R(&next, plane.data(), step, 99, 0, qp, 0,
                                                               scales.data(), 0);
    };
    for (const int32_t step : {0, -64}) {
        EXPECT_EQ(flat(step, 20), StatusOutOfRange); // for the mode: this form does not check the step
        EXPECT_EQ(high(step, 20), StatusBadStep);
    }
    for (const int32_t qp : {-1, 52}) {
        EXPECT_EQ(flat(plane.step(), qp), StatusOutOfRange);
        EXPECT_EQ(high(plane.step(), qp), StatusOutOfRange);
    }
    next = nullptr;
    EXPECT_EQ(flat(0, 52), StatusNullPointer);
    EXPECT_EQ(high(0, 52), StatusNullPointer);
    EXPECT_EQ(plane, before);
}

Status callInter(int n, bool high, int16_t** next, uint8_t* dst, int32_t step, uint32_t cbp, const Rule& rule,
                 bool bypass)
{
    const uint8_t flag = bypass ? 1 : 0;
    if (!high)
        return keliReconstructLumaInterMB_H264_16s8u_C1R(next, dst, step, cbp, rule.qp);
    return n == 4 ? keliReconstructLumaInter4x4MB_H264_16s8u_C1R(next, dst, step, cbp, rule.qp,
                                                                 rule.scales.data(), flag)
                  : keliReconstructLumaInter8x8MB_H264_16s8u_C1R(next, dst, step, cbp, rule.qp,
                                                                 rule.scales.data(), flag);
}

void expectInter(int n, bool high)
{
    Random random(5);
    for (int round = 0; round < 3000; round++) {
        Plane<uint8_t> plane(16, 16);
        plane.randomise(random);
        Plane<uint8_t> expected = plane;
        bool bypass;
        const Rule rule = randomRule(random, n, high, 51, bypass);
        const uint32_t cbp = random.oneIn(8) ? 1 : random.extreme<uint32_t>(0, UINT32_MAX);
        Packed packed;
        for (int i = 0; i < 256 / (n * n); i++)
            if ((cbp >> (n == 4 ? i + 1 : i) & 1) != 0)
                addBlock(expected, blockX(n, i), blockY(n, i),
                         packed.add(random, static_cast<std::size_t>(n * n)), rule);
        EXPECT_EQ(packed.consume([&](int16_t** next) {
            return callInter(n, high, next, plane.data(), plane.step(), cbp, rule, bypass);
        }),
                  StatusOk);
        ASSERT_EQ(plane, expected) << "QP " << rule.qp;
    }
}

TEST(InterLuma, IsAdded)
{
    expectInter(4, false);
    expectInter(4, true);
    expectInter(8, true);
}

// Rows and columns of coefficients of one magnitude whose signs add them up, where sums begin to need more
// than 16 bits.
TEST(InterLuma, IsExactForLargeSums)
{
    const Rule asTheyAre{36, std::vector<int16_t>(64, 1), false};
    const auto expectExact = [&](std::size_t stride, int m, int signs) {
        std::vector<int16_t> c(64, 0);
        for (std::size_t i = 0; i < 8; i++)
            c[i * stride] = static_cast<int16_t>((signs >> i & 1) != 0 ? -m : m);
        Plane<uint8_t> plane(16, 16);
        plane.fill(100);
        Plane<uint8_t> expected = plane;
        addBlock(expected, 0, 0, c, asTheyAre);
        int16_t* next = c.data();
        callInter(8, true, &next, plane.data(), plane.step(), 1, asTheyAre, false);
        EXPECT_EQ(plane, expected) << m << ' ' << signs;
    };
    for (int signs = 0; signs < 256; signs++) {
        for (int m = 9330; m < 9400; m++)
            expectExact(1, m, signs);
        for (int m = 4000; m < 5000; m += 7)
            expectExact(8, m, signs);
    }
}

TEST(InterLuma, WorksUpwards)
{
    Random random(6);
    const Rule rule{28, plainFlatScales(4, 28), false};
    std::vector<int16_t> coefficients;
    for (int i = 0; i < 16; i++)
        for (const int16_t c : randomBlock(random, 16))
            coefficients.push_back(c);
    Plane<uint8_t> down(16, 16);
    down.randomise(random, 100, 150);
    Plane<uint8_t> up(16, 16);
    for (int y = 0; y < 16; y++)
        for (int x = 0; x < 16; x++)
            up.at(x, 15 - y) = down.at(x, y);
    for (const bool high : {false, true}) {
        int16_t* next = coefficients.data();
        callInter(4, high, &next, down.data(), down.step(), 0x1FFFE, rule, false);
        next = coefficients.data();
        callInter(4, high, &next, &up.at(0, 15), -up.step(), 0x1FFFE, rule, false);
        for (int y = 0; y < 16; y++)
            for (int x = 0; x < 16; x++)
                ASSERT_EQ(up.at(x, 15 - y), down.at(x, y));
    }
}

TEST(InterLuma, RefusesArgumentsInOrder)
{
    Plane<uint8_t> plane(16, 16);
    const Plane<uint8_t> before = plane;
    std::vector<int16_t> coefficients(256, 1);
    const std::vector<int16_t> scales(64, 16);
    int16_t* next = coefficients.data();
    const uint32_t none = 0;
    expectNullPointersRefused(keliReconstructLumaInterMB_H264_16s8u_C1R, {}, &next, plane.data(), 0, none,
                              99);
    for (const auto operation :
         {keliReconstructLumaInter4x4MB_H264_16s8u_C1R, keliReconstructLumaInter8x8MB_H264_16s8u_C1R}) {
        expectNullPointersRefused(operation, {}, &next, plane.data(), 0, none, 99, scales.data(), 0);
        EXPECT_EQ(operation(&next, plane.data(), 0, none, 99, scales.data(), 0), StatusBadStep);
        EXPECT_EQ(operation(&next, plane.data(), -1, none, -1, scales.data(), 0), StatusOutOfRange);
        EXPECT_EQ(operation(&next, plane.data(), 1, none, 52, scales.data(), 0), StatusOutOfRange);
    }
    EXPECT_EQ(keliReconstructLumaInterMB_H264_16s8u_C1R(&next, plane.data(), 0, none, 51), StatusOk);
    EXPECT_EQ(keliReconstructLumaInterMB_H264_16s8u_C1R(&next, plane.data(), 0, none, 52), StatusOutOfRange);
    EXPECT_EQ(keliReconstructLumaInterMB_H264_16s8u_C1R(&next, plane.data(), 0, none, -1), StatusOutOfRange);
    next = nullptr;
    EXPECT_EQ(keliReconstructLumaInterMB_H264_16s8u_C1R(&next, plane.data(), 0, none, 52), StatusNullPointer);
    EXPECT_EQ(
        keliReconstructLumaInter8x8MB_H264_16s8u_C1R(&next, plane.data(), 0, none, 52, scales.data(), 0),
        StatusNullPointer);
    EXPECT_EQ(plane, before);
}

} // namespace
} // namespace kelvcpx::test
