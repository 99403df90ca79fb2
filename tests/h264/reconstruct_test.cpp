#include "h264/plain_intra.h"
#include "h264/plain_residual.h"
#include "support/arguments.h"
#include "support/plane.h"
#include "support/random.h"

#include <kelvcpx/h264_residual.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <numeric>
#include <vector>

namespace kelvcpx::test {
namespace {

constexpr uint8_t noLeft = 0x01;
constexpr uint8_t noTop = 0x04;
constexpr uint8_t noTopLeft = 0x10;
constexpr uint8_t noTopRight = 0x20;

// Coefficients for one block, of any magnitude from none at all to more than an encoder would send.
std::vector<int16_t> randomBlock(Random& random, std::size_t size)
{
    std::vector<int16_t> block(size, 0);
    const int64_t most = (1 << random.uniform<int>(1, 15)) - 1;
    const auto coefficient = [&] { return random.extreme<int16_t>(-most - 1, most); };
    switch (random.uniform<int>(0, 3)) {
    case 0:
        break;
    case 1:
        block[0] = coefficient();
        break;
    case 2:
        for (int i = random.uniform<int>(1, 5); i > 0; i--)
            block[random.uniform<std::size_t>(0, static_cast<int64_t>(size) - 1)] = coefficient();
        break;
    default:
        std::generate(block.begin(), block.end(), coefficient);
    }
    return block;
}

// Level-scale factors: flat ones, those of a scaling matrix, or any.
std::vector<int16_t> randomScales(Random& random, int n, int qp)
{
    std::vector<int16_t> scales = plainFlatScales(n, qp);
    const int kind = random.uniform<int>(0, 2);
    for (int16_t& scale : scales)
        if (kind == 1)
            scale = static_cast<int16_t>(scale / 16 * random.uniform<int>(1, 255));
        else if (kind == 2)
            scale = random.extreme<int16_t>();
    return scales;
}

// The packed coefficients of a macroblock, and what is expected to be left of them.
class Packed
{
public:
    std::vector<int16_t> add(Random& random, std::size_t size)
    {
        const std::vector<int16_t> block = randomBlock(random, size);
        all_.insert(all_.end(), block.begin(), block.end());
        return block;
    }

    // Calls the operation with a copy of the coefficients and expects it to consume all of them, or none.
    template <class Operation>
    Status consume(Operation operation, bool moves = true)
    {
        std::vector<int16_t> copy = all_;
        copy.push_back(1); // there is always a pointer
        int16_t* next = copy.data();
        const Status status = operation(&next);
        EXPECT_EQ(next - copy.data(), moves ? static_cast<std::ptrdiff_t>(all_.size()) : 0);
        return status;
    }

private:
    std::vector<int16_t> all_;
};

// How the blocks of one component are scaled.
struct Rule {
    int qp;
    std::vector<int16_t> scales; // of the caller, or the default
    bool lossless;
};

Rule randomRule(Random& random, int n, bool high, int largestQp, bool& bypass)
{
    const int qp = random.oneIn(4) ? 0 : random.extreme<int>(0, largestQp);
    bypass = random.oneIn(3);
    return {qp, high ? randomScales(random, n, qp) : plainFlatScales(n, qp), high && bypass && qp == 0};
}

void addToPlane(Plane<uint8_t>& plane, int x0, int y0, const Block& residual)
{
    const int n = residual.size() == 16 ? 4 : 8;
    for (int k = 0; k < n * n; k++) {
        uint8_t& sample = plane.at(x0 + k % n, y0 + k / n);
        sample =
            static_cast<uint8_t>(std::clamp<int64_t>(sample + residual[static_cast<std::size_t>(k)], 0, 255));
    }
}

// A block; its DC is scaled with the others, or comes from elsewhere.
void addBlock(Plane<uint8_t>& plane, int x0, int y0, const std::vector<int16_t>& coefficients,
              const Rule& rule, const int64_t* dc = nullptr)
{
    Block d(coefficients.begin(), coefficients.end());
    if (!rule.lossless)
        for (std::size_t k = 0; k < d.size(); k++)
            d[k] = plainScale(d[k], rule.scales[k], rule.qp, d.size() == 16 ? 4 : 6);
    if (dc != nullptr)
        d[0] = *dc;
    addToPlane(plane, x0, y0, rule.lossless ? d : plainTransform(d));
}

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

// Vertical, horizontal, DC, plane.
bool isRefused(uint32_t mode, uint8_t edgeFlags)
{
    return (mode == 0 && (edgeFlags & noTop) != 0) || (mode == 1 && (edgeFlags & noLeft) != 0) ||
           (mode == 3 && (edgeFlags & (noTop | noLeft | noTopLeft)) != 0);
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

// Inter luma.

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
        for (int m = 8100; m < 12000; m += 13)
            expectExact(1, m, signs);
        for (int m = 4000; m < 5500; m += 7)
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

// Chroma of 4:2:0.

enum class ChromaForm { intra, intraHigh, halfs, halves, inter, interHigh };

struct ChromaCall {
    ChromaForm form;
    uint32_t mode; // 0 DC, 1 horizontal, 2 vertical, 3 plane
    uint32_t cbp;
    uint8_t edgeFlags;
    uint8_t edgeFlagsLower;
    std::array<Rule, 2> rules;
    bool bypass;

    Status operator()(int16_t** next, uint8_t* cb, uint8_t* cr, int32_t step) const
    {
        const int qp = rules[0].qp;
        const int16_t* const scales0 = rules[0].scales.data();
        const int16_t* const scales1 = rules[1].scales.data();
        const uint8_t flag = bypass ? 1 : 0;
        switch (form) {
        case ChromaForm::intra:
            return keliReconstructChromaIntraMB_H264_16s8u_P2R(next, cb, cr, step, mode, cbp, qp, edgeFlags);
        case ChromaForm::intraHigh:
            return keliReconstructChromaIntra4x4MB_H264_16s8u_P2R(
                next, cb, cr, step, mode, cbp, qp, rules[1].qp, edgeFlags, scales0, scales1, flag);
        case ChromaForm::halfs:
            return keliReconstructChromaIntraHalfsMB_H264_16s8u_P2R(next, cb, cr, step, mode, cbp, qp,
                                                                    edgeFlags, edgeFlagsLower);
        case ChromaForm::halves:
            return keliReconstructChromaIntraHalvesMB_H264_16s8u_P2R(next, cb, cr, step, mode, cbp, qp,
                                                                     edgeFlags, edgeFlagsLower);
        case ChromaForm::inter:
            return keliReconstructChromaInterMB_H264_16s8u_P2R(next, cb, cr, step, cbp, qp);
        default:
            return keliReconstructChromaInter4x4MB_H264_16s8u_P2R(next, cb, cr, step, cbp, qp, rules[1].qp,
                                                                  scales0, scales1, flag);
        }
    }

    bool high() const { return form == ChromaForm::intraHigh || form == ChromaForm::interHigh; }
    bool halved() const { return form == ChromaForm::halfs || form == ChromaForm::halves; }
    bool inter() const { return form == ChromaForm::inter || form == ChromaForm::interHigh; }

    Status expected() const
    {
        if (halved())
            return mode == 0 ? StatusOk : StatusBadIntraMode;
        if (inter())
            return StatusOk;
        constexpr std::array<uint32_t, 4> luma = {2, 1, 0, 3};
        return mode > 3 ? StatusOutOfRange : isRefused(luma[mode], edgeFlags) ? StatusBadIntraMode : StatusOk;
    }

    void predict(Plane<uint8_t>& plane) const
    {
        constexpr std::array<int, 4> luma = {2, 1, 0, 3};
        plainPredictLarge(plane, 8, luma[mode], (edgeFlags & noTop) == 0, [&](int y) {
            return ((halved() && y >= 4 ? edgeFlagsLower : edgeFlags) & noLeft) == 0;
        });
    }
};

ChromaCall randomChromaCall(Random& random, ChromaForm form)
{
    ChromaCall call{};
    call.form = form;
    call.mode = random.uniform<uint32_t>(0, call.halved() ? 1 : 4);
    call.cbp = random.oneIn(8) ? ~0x7FE0000U : random.extreme<uint32_t>(0, UINT32_MAX);
    call.edgeFlags = random.oneIn(2) ? uint8_t{0} : random.uniform<uint8_t>(0, 255);
    call.edgeFlagsLower = random.uniform<uint8_t>(0, 255);
    call.rules[0] = randomRule(random, 4, call.high(), 39, call.bypass);
    call.rules[1] = call.rules[0];
    if (call.high()) {
        const bool bypass = call.bypass;
        call.rules[1] = randomRule(random, 4, true, 39, call.bypass);
        call.bypass = bypass;
        call.rules[1].lossless = bypass && call.rules[1].qp == 0;
    }
    return call;
}

// 8.5.11 of one component.
Block chromaDc(const std::vector<int16_t>& c, const Rule& rule)
{
    if (rule.lossless)
        return Block(c.begin(), c.end());
    Block dc = {c[0] + c[1] + c[2] + c[3], c[0] - c[1] + c[2] - c[3], c[0] + c[1] - c[2] - c[3],
                c[0] - c[1] - c[2] + c[3]};
    for (int64_t& v : dc)
        v = low16((low16(v) * rule.scales[0] * (1 << (rule.qp / 6))) >> 5);
    return dc;
}

void addChroma(Random& random, const ChromaCall& call, std::array<Plane<uint8_t>, 2>& planes, Packed& packed)
{
    std::array<Block, 2> dc{Block(4, 0), Block(4, 0)};
    for (std::size_t i = 0; i < 2; i++)
        if ((call.cbp >> (17 + i) & 1) != 0)
            dc[i] = chromaDc(packed.add(random, 4), call.rules[i]);
    for (std::size_t i = 0; i < 2; i++)
        for (std::size_t block = 0; block < 4; block++) {
            const bool coded = (call.cbp >> (19 + 4 * i + block) & 1) != 0;
            const std::vector<int16_t> ac = coded ? packed.add(random, 16) : std::vector<int16_t>(16, 0);
            addBlock(planes[i], static_cast<int>(block % 2 * 4), static_cast<int>(block / 2 * 4), ac,
                     call.rules[i], &dc[i][block]);
        }
}

class Chroma : public testing::TestWithParam<ChromaForm>
{
};

TEST_P(Chroma, IsPredictedAndAdded)
{
    Random random(7);
    for (int round = 0; round < 4000; round++) {
        const ChromaCall call = randomChromaCall(random, GetParam());
        std::array<Plane<uint8_t>, 2> planes{Plane<uint8_t>(8, 8), Plane<uint8_t>(8, 8)};
        for (auto& plane : planes)
            plane.randomise(random);
        auto expected = planes;
        Packed packed;
        if (call.expected() == StatusOk) {
            if (!call.inter())
                for (auto& plane : expected)
                    call.predict(plane);
            addChroma(random, call, expected, packed);
        }
        EXPECT_EQ(packed.consume([&](int16_t** next) {
            return call(next, planes[0].data(), planes[1].data(), planes[0].step());
        }),
                  call.expected());
        ASSERT_EQ(planes, expected) << "mode " << call.mode << ", QP " << call.rules[0].qp;
    }
}

TEST_P(Chroma, RefusesArgumentsInOrder)
{
    Random random(8);
    ChromaCall call = randomChromaCall(random, GetParam());
    std::array<Plane<uint8_t>, 2> planes{Plane<uint8_t>(8, 8), Plane<uint8_t>(8, 8)};
    const auto before = planes;
    std::vector<int16_t> coefficients(200, 1);
    int16_t* next = coefficients.data();
    const auto status = [&](int32_t step, int qpCb, int qpCr) {
        call.rules[0].qp = qpCb;
        call.rules[1].qp = qpCr;
        return call(&next, planes[0].data(), planes[1].data(), step);
    };
    call.mode = 9;
    call.cbp = UINT32_MAX;
    const int largest = call.halved() ? 51 : 39;
    EXPECT_EQ(status(0, -1, -1), StatusBadStep);
    EXPECT_EQ(status(8, -1, 0), StatusOutOfRange);
    EXPECT_EQ(status(8, largest + 1, 0), StatusOutOfRange);
    if (call.high()) {
        EXPECT_EQ(status(8, 0, -1), StatusOutOfRange);
        EXPECT_EQ(status(8, 0, 40), StatusOutOfRange);
    }
    if (!call.inter()) {
        EXPECT_EQ(status(8, 39, 39), call.halved() ? StatusBadIntraMode : StatusOutOfRange);
    }
    call.rules[0].qp = 99;
    EXPECT_EQ(call(nullptr, planes[0].data(), planes[1].data(), 0), StatusNullPointer);
    EXPECT_EQ(call(&next, nullptr, planes[1].data(), 0), StatusNullPointer);
    EXPECT_EQ(call(&next, planes[0].data(), nullptr, 0), StatusNullPointer);
    if (call.high())
        for (Rule& rule : call.rules) {
            std::vector<int16_t> none;
            rule.scales.swap(none);
            rule.scales.shrink_to_fit();
            EXPECT_EQ(call(&next, planes[0].data(), planes[1].data(), 0), StatusNullPointer);
            rule.scales.swap(none);
        }
    next = nullptr;
    EXPECT_EQ(call(&next, planes[0].data(), planes[1].data(), 0), StatusNullPointer);
    EXPECT_EQ(planes, before);
}

INSTANTIATE_TEST_SUITE_P(H264, Chroma,
                         testing::Values(ChromaForm::intra, ChromaForm::intraHigh, ChromaForm::halfs,
                                         ChromaForm::halves, ChromaForm::inter, ChromaForm::interHigh));

// The prediction is there, the residual is not.
TEST(ChromaHalves, RefusesLargeQuantisersLate)
{
    Random random(9);
    ChromaCall call = randomChromaCall(random, ChromaForm::halfs);
    call.mode = 0;
    call.cbp = UINT32_MAX;
    call.rules[0].qp = 40;
    std::array<Plane<uint8_t>, 2> planes{Plane<uint8_t>(8, 8), Plane<uint8_t>(8, 8)};
    for (auto& plane : planes)
        plane.randomise(random);
    auto expected = planes;
    for (auto& plane : expected)
        call.predict(plane);
    std::vector<int16_t> coefficients(200, 1000);
    int16_t* next = coefficients.data();
    EXPECT_EQ(call(&next, planes[0].data(), planes[1].data(), planes[0].step()), StatusOutOfRange);
    EXPECT_EQ(planes, expected);
    EXPECT_EQ(next, coefficients.data());
}

} // namespace
} // namespace kelvcpx::test
