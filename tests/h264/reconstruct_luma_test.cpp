// Luma of intra and inter macroblocks, of 8 and of more bits.

#include "h264/plain_intra.h"
#include "h264/plain_macroblock.h"
#include "h264/plain_residual.h"
#include "support/faults.h"
#include "support/plane.h"
#include "support/random.h"

#include <kelvcpx/h264_high.h>
#include <kelvcpx/h264_residual.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <ostream>
#include <vector>

namespace kelvcpx::test {
namespace {

// What any of the operations takes.
template <class T>
struct Request {
    CoefficientOf<T>** next;
    T* dst;
    int32_t step;
    const uint32_t* modes; // of the blocks, or that of Intra_16x16
    uint32_t cbp;
    int32_t qp;
    uint8_t edgeFlags;
    const int16_t* scales;
    bool bypass;
    int32_t bitDepth;
};
using R8 = Request<uint8_t>;
using R16 = Request<uint16_t>;

enum class StepCheck { none, zero, belowOne };

// One operation, in terms of requests.
template <class T>
struct Form {
    const char* name;
    int n; // of blocks of n x n samples
    bool half;
    bool levelScales;
    StepCheck stepCheck;
    Status (*call)(const Request<T>&);

    int blocks() const { return (n == 4 ? 16 : 4) / (half ? 2 : 1); }
    int firstBit() const { return n == 4 && !half ? 1 : 0; }

    friend void PrintTo(const Form& form, std::ostream* out) { *out << form.name; }
};

template <auto operation>
Status flatBlocks(const R8& r)
{
    return operation(r.next, r.dst, r.step, r.modes, r.cbp, r.qp, r.edgeFlags);
}

template <auto operation>
Status highBlocks(const R8& r)
{
    return operation(r.next, r.dst, r.step, r.modes, r.cbp, r.qp, r.edgeFlags, r.scales, r.bypass ? 0x80 : 0);
}

BlockReconParams recordOf(const R16& r)
{
    return {r.next, r.dst, r.step, r.cbp, r.qp, r.scales, r.bypass ? 0x100u : 0, r.bitDepth};
}

template <auto operation>
Status recordBlocks(const R16& r)
{
    const BlockReconParams params = recordOf(r);
    return operation(&params, r.modes, r.edgeFlags);
}

template <auto operation>
Status recordInter(const R16& r)
{
    const BlockReconParams params = recordOf(r);
    return operation(&params);
}

Status flat16x16(const R8& r)
{
    return keliReconstructLumaIntra16x16MB_H264_16s8u_C1R(r.next, r.dst, r.step, *r.modes, r.cbp, r.qp,
                                                          r.edgeFlags);
}

Status high16x16(const R8& r)
{
    return keliReconstructLumaIntra_16x16MB_H264_16s8u_C1R(r.next, r.dst, r.step, *r.modes, r.cbp, r.qp,
                                                           r.edgeFlags, r.scales, r.bypass ? 1 : 0);
}

Status record16x16(const R16& r)
{
    const BlockReconParams params = recordOf(r);
    return keliReconstructLumaIntra16x16_H264High_32s16u_IP1R(&params, *r.modes, r.edgeFlags);
}

Status flatInter(const R8& r)
{
    return keliReconstructLumaInterMB_H264_16s8u_C1R(r.next, r.dst, r.step, r.cbp, r.qp);
}

template <auto operation>
Status highInter(const R8& r)
{
    return operation(r.next, r.dst, r.step, r.cbp, r.qp, r.scales, r.bypass ? 1 : 0);
}

// Whole macroblocks and the halves of the same kind in turn.
constexpr std::array blockForms8 = {
    Form<uint8_t>{"Flat4x4", 4, false, false, StepCheck::belowOne,
                  flatBlocks<keliReconstructLumaIntraMB_H264_16s8u_C1R>},
    Form<uint8_t>{"FlatHalf4x4", 4, true, false, StepCheck::belowOne,
                  flatBlocks<keliReconstructLumaIntraHalfMB_H264_16s8u_C1R>},
    Form<uint8_t>{"High4x4", 4, false, true, StepCheck::belowOne,
                  highBlocks<keliReconstructLumaIntra4x4MB_H264_16s8u_C1R>},
    Form<uint8_t>{"HighHalf4x4", 4, true, true, StepCheck::belowOne,
                  highBlocks<keliReconstructLumaIntraHalf4x4MB_H264_16s8u_C1R>},
    Form<uint8_t>{"High8x8", 8, false, true, StepCheck::belowOne,
                  highBlocks<keliReconstructLumaIntra8x8MB_H264_16s8u_C1R>},
    Form<uint8_t>{"HighHalf8x8", 8, true, true, StepCheck::belowOne,
                  highBlocks<keliReconstructLumaIntraHalf8x8MB_H264_16s8u_C1R>},
};
constexpr std::array blockForms16 = {
    Form<uint16_t>{"Record4x4", 4, false, true, StepCheck::belowOne,
                   recordBlocks<keliReconstructLumaIntra4x4_H264High_32s16u_IP1R>},
    Form<uint16_t>{"RecordHalf4x4", 4, true, true, StepCheck::belowOne,
                   recordBlocks<keliReconstructLumaIntraHalf4x4_H264High_32s16u_IP1R>},
    Form<uint16_t>{"Record8x8", 8, false, true, StepCheck::belowOne,
                   recordBlocks<keliReconstructLumaIntra8x8_H264High_32s16u_IP1R>},
    Form<uint16_t>{"RecordHalf8x8", 8, true, true, StepCheck::belowOne,
                   recordBlocks<keliReconstructLumaIntraHalf8x8_H264High_32s16u_IP1R>},
};
constexpr std::array forms16x16 = {
    Form<uint8_t>{"Flat", 4, false, false, StepCheck::none, flat16x16},
    Form<uint8_t>{"High", 4, false, true, StepCheck::belowOne, high16x16},
};
constexpr Form<uint16_t> record16x16Form{"Record", 4, false, true, StepCheck::belowOne, record16x16};
constexpr std::array interForms8 = {
    Form<uint8_t>{"Flat4x4", 4, false, false, StepCheck::none, flatInter},
    Form<uint8_t>{"High4x4", 4, false, true, StepCheck::zero,
                  highInter<keliReconstructLumaInter4x4MB_H264_16s8u_C1R>},
    Form<uint8_t>{"High8x8", 8, false, true, StepCheck::zero,
                  highInter<keliReconstructLumaInter8x8MB_H264_16s8u_C1R>},
};
constexpr std::array interForms16 = {
    Form<uint16_t>{"Record4x4", 4, false, true, StepCheck::belowOne,
                   recordInter<keliReconstructLumaInter4x4_H264High_32s16u_IP1R>},
    Form<uint16_t>{"Record8x8", 8, false, true, StepCheck::belowOne,
                   recordInter<keliReconstructLumaInter8x8_H264High_32s16u_IP1R>},
};

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

// A random macroblock: what an operation gets, and what it is expected to make of it.
template <class T>
class Trial
{
public:
    Trial(const Form<T>& form, Random& random)
        : form_(form), random_(random), bitDepth(randomBitDepth<T>(random)),
          plane(randomPlane<T>(random, 16, 16, bitDepth)), expected(plane), bypass(random.oneIn(3)),
          rule(randomRule(random, form.n, form.levelScales, 51 + 6 * (bitDepth - 8), bypass)),
          edgeFlags(random.oneIn(3) ? uint8_t{0} : random.uniform<uint8_t>(0, 255)),
          cbp(random.oneIn(8) ? 0 : random.extreme<uint32_t>(0, UINT32_MAX))
    {}

    bool isCoded(int i) const { return (cbp >> (form_.firstBit() + i) & 1) != 0; }

    std::vector<CoefficientOf<T>> packedBlock()
    {
        return packed.add(random_, static_cast<std::size_t>(form_.n * form_.n));
    }

    // The operation on the first of these samples; the coefficients are expected to be consumed or not.
    Status reconstruct(Plane<T>& dst, const std::vector<uint32_t>& modes, bool moves = true)
    {
        return packed.consume(
            [&](CoefficientOf<T>** next) {
                return form_.call({next, dst.data(), dst.stride(), modes.data(), cbp, rule.qp, edgeFlags,
                                   rule.scales.data(), bypass, bitDepth});
            },
            moves);
    }

private:
    const Form<T>& form_;
    Random& random_;

public:
    int bitDepth;
    Plane<T> plane;
    Plane<T> expected;
    bool bypass;
    Rule rule;
    uint8_t edgeFlags;
    uint32_t cbp;
    Packed<CoefficientOf<T>> packed;
};

// Predicts and adds the first `count` blocks; the result tells if neighbours were replaced.
template <class T>
bool expectBlocks(const Form<T>& form, Trial<T>& t, const std::vector<uint32_t>& modes, int count)
{
    bool replaced = false;
    for (int i = 0; i < form.blocks(); i++) {
        const auto block = t.isCoded(i) ? t.packedBlock() : std::vector<CoefficientOf<T>>();
        if (i >= count)
            continue;
        const int x = blockX(form.n, i);
        const int y = blockY(form.n, i);
        const auto mode = modes[static_cast<std::size_t>(i)];
        const Around around = aroundBlock(form.n, i, t.edgeFlags);
        plainPredict(t.expected, x, y, form.n, static_cast<int>(mode), around, t.bitDepth);
        replaced |= isReplaced(mode, around);
        if (t.isCoded(i))
            addBlock(t.expected, x, y, block, t.rule, t.bitDepth);
    }
    return replaced;
}

std::vector<uint32_t> randomModes(Random& random)
{
    std::vector<uint32_t> modes(16);
    for (uint32_t& mode : modes)
        mode = random.uniform<uint32_t>(0, 8);
    return modes;
}

template <class T>
void expectPredictedAndAdded(const Form<T>& form)
{
    Random random(1);
    for (int round = 0; round < 2000; round++) {
        Trial<T> t(form, random);
        const std::vector<uint32_t> modes = randomModes(random);
        const bool replaced = expectBlocks(form, t, modes, form.blocks());
        EXPECT_EQ(t.reconstruct(t.plane, modes), form.n == 4 && replaced ? StatusWarnNoNeighbour : StatusOk);
        ASSERT_EQ(t.plane, t.expected)
            << t.bitDepth << " bits, QP " << t.rule.qp << ", edge flags " << int{t.edgeFlags};
    }
}

// The blocks before a mode that does not exist are there, those after it are not.
template <class T>
void expectStopsAtAWrongMode(const Form<T>& form)
{
    Random random(2);
    for (int wrong = 0; wrong < form.blocks(); wrong++) {
        Trial<T> t(form, random);
        std::vector<uint32_t> modes = randomModes(random);
        modes[static_cast<std::size_t>(wrong)] = wrong % 2 == 0 ? 9 : UINT32_MAX;
        expectBlocks(form, t, modes, wrong);
        EXPECT_EQ(t.reconstruct(t.plane, modes, false), StatusOutOfRange);
        ASSERT_EQ(t.plane, t.expected);
    }
}

// Faults in the order of their checks, and nothing written. `mode` is one that no operation has.
template <class T>
void expectArgumentsChecked(const Form<T>& form, bool hasModes)
{
    Plane<T> plane(16, 16);
    const Plane<T> before = plane;
    const std::vector<uint32_t> modes(16, 2);
    std::vector<CoefficientOf<T>> coefficients(256, 1);
    const std::vector<int16_t> scales(64, 16);
    CoefficientOf<T>* next = coefficients.data();
    CoefficientOf<T>* none = nullptr;
    const int bitDepth = std::is_same_v<T, uint8_t> ? 8 : 10;
    const int largestQp = 51 + 6 * (bitDepth - 8);
    using R = Request<T>;
    const R good{&next,     plane.data(), plane.stride(), modes.data(), 0,
                 largestQp, 0x35,         scales.data(),  false,        bitDepth};
    std::vector<Fault<R>> faults = {fault(StatusNullPointer, &R::next, nullptr),
                                    fault(StatusNullPointer, &R::dst, nullptr),
                                    fault(StatusNullPointer, &R::next, &none)};
    if (hasModes)
        faults.push_back(fault(StatusNullPointer, &R::modes, nullptr));
    if (form.levelScales)
        faults.push_back(fault(StatusNullPointer, &R::scales, nullptr));
    if (form.stepCheck != StepCheck::none)
        faults.push_back(fault(StatusBadStep, &R::step, 0));
    if (form.stepCheck == StepCheck::belowOne)
        faults.push_back(fault(StatusBadStep, &R::step, -64));
    for (const int32_t qp : {-1, largestQp + 1, INT32_MIN})
        faults.push_back(fault(StatusOutOfRange, &R::qp, qp));
    expectFaultsRefused(good, faults, form.call);
    EXPECT_EQ(plane, before);
    EXPECT_GE(form.call(good), StatusOk);
}

template <class T>
class IntraBlocks : public testing::TestWithParam<Form<T>>
{
};
using IntraBlocks8 = IntraBlocks<uint8_t>;
using IntraBlocks16 = IntraBlocks<uint16_t>;

TEST_P(IntraBlocks8, ArePredictedAndAdded)
{
    expectPredictedAndAdded(GetParam());
    expectStopsAtAWrongMode(GetParam());
    expectArgumentsChecked(GetParam(), true);
}

TEST_P(IntraBlocks16, ArePredictedAndAdded)
{
    expectPredictedAndAdded(GetParam());
    expectStopsAtAWrongMode(GetParam());
    expectArgumentsChecked(GetParam(), true);
}

const auto nameOf = [](const auto& info) { return info.param.name; };

INSTANTIATE_TEST_SUITE_P(H264, IntraBlocks8, testing::ValuesIn(blockForms8), nameOf);
INSTANTIATE_TEST_SUITE_P(H264, IntraBlocks16, testing::ValuesIn(blockForms16), nameOf);

// Two halves, the flags of the lower one set as described, make the whole.
template <class T>
void expectHalvesToMakeAWhole(const Form<T>& whole, const Form<T>& half)
{
    Random random(3);
    for (int round = 0; round < 300; round++) {
        Trial<T> t(whole, random);
        Plane<T> twice = t.plane;
        const auto lowerFlags = static_cast<uint8_t>((t.edgeFlags & noLeft) | noTopRight |
                                                     ((t.edgeFlags & noLeft) != 0 ? noTopLeft : 0));
        const std::vector<uint32_t> modes = randomModes(random);
        for (int i = 0; i < whole.blocks(); i++)
            if (t.isCoded(i))
                t.packedBlock();
        t.reconstruct(t.plane, modes);
        const uint32_t coded = t.cbp >> whole.firstBit();
        t.packed.consume([&](CoefficientOf<T>** next) {
            Request<T> r{next,      twice.data(), twice.stride(),       modes.data(), coded,
                         t.rule.qp, t.edgeFlags,  t.rule.scales.data(), t.bypass,     t.bitDepth};
            half.call(r);
            r.dst = &twice.at(0, 8);
            r.modes += half.blocks();
            r.cbp >>= half.blocks();
            r.edgeFlags = lowerFlags;
            return half.call(r);
        });
        ASSERT_EQ(twice, t.plane);
    }
}

TEST(IntraHalves, MakeAWhole)
{
    for (std::size_t i = 0; i < blockForms8.size(); i += 2)
        expectHalvesToMakeAWhole(blockForms8[i], blockForms8[i + 1]);
    for (std::size_t i = 0; i < blockForms16.size(); i += 2)
        expectHalvesToMakeAWhole(blockForms16[i], blockForms16[i + 1]);
}

template <class T>
void expectIntra16x16(const Form<T>& form)
{
    Random random(4);
    for (int round = 0; round < 3000; round++) {
        Trial<T> t(form, random);
        const std::vector<uint32_t> mode(1, random.uniform<uint32_t>(0, 5));
        const Status status = mode[0] > 3                       ? StatusOutOfRange
                              : isRefused(mode[0], t.edgeFlags) ? StatusBadIntraMode
                                                                : StatusOk;
        if (status == StatusOk) {
            plainPredictLarge(
                t.expected, 16, 16, static_cast<int>(mode[0]), (t.edgeFlags & noTop) == 0,
                [&](int) { return (t.edgeFlags & noLeft) == 0; }, t.bitDepth);
            Block dc(16, 0);
            if ((t.cbp & 1) != 0) {
                const auto c = t.packedBlock();
                dc.assign(c.begin(), c.end());
                if (!t.rule.lossless) {
                    dc = plainHadamard(dc);
                    for (int64_t& v : dc)
                        v = plainScale(v, t.rule.scales[0], t.rule.qp, 6, coefficientBits<T>);
                }
            }
            for (int i = 0; i < 16; i++) {
                const int x = blockX(4, i);
                const int y = blockY(4, i);
                const auto ac = t.isCoded(i) ? t.packedBlock() : std::vector<CoefficientOf<T>>(16, 0);
                addBlock(t.expected, x, y, ac, t.rule, t.bitDepth, &dc[static_cast<std::size_t>(y + x / 4)]);
            }
        }
        EXPECT_EQ(t.reconstruct(t.plane, mode), status);
        ASSERT_EQ(t.plane, t.expected) << t.bitDepth << " bits, mode " << mode[0] << ", QP " << t.rule.qp;
    }
}

TEST(Intra16x16, IsPredictedAndAdded)
{
    for (const Form<uint8_t>& form : forms16x16)
        expectIntra16x16(form);
    expectIntra16x16(record16x16Form);
}

TEST(Intra16x16, RefusesArgumentsInOrder)
{
    for (const Form<uint8_t>& form : forms16x16)
        expectArgumentsChecked(form, false);
    expectArgumentsChecked(record16x16Form, false);
}

template <class T>
void expectInter(const Form<T>& form)
{
    Random random(5);
    for (int round = 0; round < 2000; round++) {
        Trial<T> t(form, random);
        for (int i = 0; i < form.blocks(); i++)
            if (t.isCoded(i))
                addBlock(t.expected, blockX(form.n, i), blockY(form.n, i), t.packedBlock(), t.rule,
                         t.bitDepth);
        EXPECT_EQ(t.reconstruct(t.plane, {}), StatusOk);
        ASSERT_EQ(t.plane, t.expected) << t.bitDepth << " bits, QP " << t.rule.qp;
    }
    expectArgumentsChecked(form, false);
}

TEST(InterLuma, IsAdded)
{
    for (const Form<uint8_t>& form : interForms8)
        expectInter(form);
    for (const Form<uint16_t>& form : interForms16)
        expectInter(form);
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
        addBlock(expected, 0, 0, c, asTheyAre, 8);
        int16_t* next = c.data();
        keliReconstructLumaInter8x8MB_H264_16s8u_C1R(&next, plane.data(), plane.step(), 1, asTheyAre.qp,
                                                     asTheyAre.scales.data(), 0);
        EXPECT_EQ(plane, expected) << m << ' ' << signs;
    };
    for (int signs = 0; signs < 256; signs++) {
        for (int m = 9330; m < 9400; m++)
            expectExact(1, m, signs);
        for (int m = 4000; m < 5000; m += 7)
            expectExact(8, m, signs);
    }
}

// A sample outside its bit depth shows that a residual is limited before it is added.
TEST(InterLuma, LimitsResidualsToTheBitDepth)
{
    for (const auto& form : interForms16)
        for (const int32_t residual : {-2000, 2000, INT32_MIN, INT32_MAX}) {
            std::vector<int32_t> c(64, residual);
            const std::vector<int16_t> scales(64, 16);
            Plane<uint16_t> plane(16, 16);
            plane.fill(1500);
            int32_t* next = c.data();
            form.call({&next, plane.data(), plane.stride(), nullptr, form.n == 4 ? 2u : 1u, 0, 0,
                       scales.data(), true, 10});
            EXPECT_EQ(plane.at(0, 0), residual < 0 ? 1500 - 1023 : 1023);
        }
}

TEST(InterLuma, WorksUpwards)
{
    Random random(6);
    std::vector<int16_t> coefficients;
    for (int i = 0; i < 16; i++)
        for (const int16_t c : randomBlock<int16_t>(random, 16))
            coefficients.push_back(c);
    Plane<uint8_t> down(16, 16);
    down.randomise(random, 100, 150);
    Plane<uint8_t> up(16, 16);
    for (int y = 0; y < 16; y++)
        for (int x = 0; x < 16; x++)
            up.at(x, 15 - y) = down.at(x, y);
    const std::vector<int16_t> scales = plainFlatScales(4, 28);
    for (std::size_t i = 0; i < 2; i++) {
        int16_t* next = coefficients.data();
        R8 r{&next, down.data(), down.stride(), nullptr, 0x1FFFE, 28, 0, scales.data(), false, 8};
        interForms8[i].call(r);
        next = coefficients.data();
        r.dst = &up.at(0, 15);
        r.step = -up.stride();
        interForms8[i].call(r);
        for (int y = 0; y < 16; y++)
            for (int x = 0; x < 16; x++)
                ASSERT_EQ(up.at(x, 15 - y), down.at(x, y));
    }
}

TEST(HighLuma, RefusesNoRecord)
{
    const std::array<uint32_t, 16> modes{};
    for (const auto operation :
         {keliReconstructLumaIntra4x4_H264High_32s16u_IP1R, keliReconstructLumaIntra8x8_H264High_32s16u_IP1R,
          keliReconstructLumaIntraHalf4x4_H264High_32s16u_IP1R,
          keliReconstructLumaIntraHalf8x8_H264High_32s16u_IP1R})
        EXPECT_EQ(operation(nullptr, modes.data(), 0), StatusNullPointer);
    EXPECT_EQ(keliReconstructLumaIntra16x16_H264High_32s16u_IP1R(nullptr, 2, 0), StatusNullPointer);
    EXPECT_EQ(keliReconstructLumaInter4x4_H264High_32s16u_IP1R(nullptr), StatusNullPointer);
    EXPECT_EQ(keliReconstructLumaInter8x8_H264High_32s16u_IP1R(nullptr), StatusNullPointer);
}

} // namespace
} // namespace kelvcpx::test
