#include "h264/reference_samples.h"
#include "support/faults.h"
#include "support/plane.h"
#include "support/random.h"

#include <kelvcpx/h264_inter.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <ostream>
#include <vector>

namespace kelvcpx::test {
namespace {

constexpr int32_t lowest = std::numeric_limits<int32_t>::min();
constexpr int32_t highest = std::numeric_limits<int32_t>::max();

struct Weights {
    int32_t log2Wd;
    int32_t w1;
    int32_t o1;
    int32_t w2;
    int32_t o2;

    friend void PrintTo(const Weights& w, std::ostream* out)
    {
        *out << "log2Wd " << w.log2Wd << ", weights " << w.w1 << ' ' << w.w2 << ", offsets " << w.o1 << ' '
             << w.o2;
    }
};

// Two predictions and a destination, which may be one of them.
template <class T>
struct Blocks {
    const T* src1;
    int32_t src1Step;
    const T* src2;
    int32_t src2Step;
    T* dst;
    int32_t dstStep;
    RoiSize size;
    int32_t bitDepth;
    Weights weights;

    BidirParams16u record() const requires(sizeof(T) == 2)
    {
        return {src1, src1Step, src2, src2Step, dst, dstStep, size, bitDepth};
    }
};

// v * 2^-shift, rounded to the nearest whole number. Shifts are as long as it pleases.
int64_t roundedShift(int64_t v, int64_t shift)
{
    if (shift <= 0)
        return v;
    return shift > 60 ? 0 : (v + (int64_t{1} << (shift - 1))) >> shift;
}

// The formulas of ITU-T H.264 8.4.2.3 before clipping.
int64_t ofOne(int64_t s, int64_t, const Weights& w)
{
    return roundedShift(s * w.w1, w.log2Wd) + w.o1;
}

int64_t explicitly(int64_t s1, int64_t s2, const Weights& w)
{
    return roundedShift(s1 * w.w1 + s2 * w.w2, std::max<int64_t>(w.log2Wd, 0) + 1) +
           ((int64_t{w.o1} + w.o2 + 1) >> 1);
}

int64_t implicitly(int64_t s1, int64_t s2, const Weights& w)
{
    return (s1 * w.w1 + s2 * w.w2 + 32) >> 6;
}

int64_t equally(int64_t s1, int64_t s2, const Weights&)
{
    return (s1 + s2 + 1) >> 1;
}

int64_t generally(int64_t s1, int64_t s2, const Weights& w)
{
    return roundedShift(s1 * w.w1 + s2 * w.w2, w.log2Wd) + w.o1;
}

// Which blocks have a step of their own.
enum class Steps { all, sourcesTogether, allTogether };
enum class Destination { apart, first, second };
enum class Sizes { powersOfTwo, upTo16, any };

template <class T>
struct Form {
    const char* name;
    Status (*operation)(const Blocks<T>&);
    int64_t (*formula)(int64_t, int64_t, const Weights&);
    Steps steps = Steps::all;
    Destination destination = Destination::apart;
    Sizes sizes = Sizes::powersOfTwo;

    friend void PrintTo(const Form& form, std::ostream* out) { *out << form.name; }
};

template <class T>
class WeightedPrediction : public testing::TestWithParam<Form<T>>
{
protected:
    std::vector<RoiSize> sizes() const
    {
        std::vector<int32_t> lengths = {2, 4, 8, 16};
        if (form_.sizes == Sizes::upTo16)
            lengths = {2, 3, 4, 5, 6, 7, 8, 9, 11, 12, 13, 15, 16};
        if (form_.sizes == Sizes::any)
            lengths = {1, 2, 3, 4, 6, 8, 12, 16, 24, 33};
        std::vector<RoiSize> all;
        for (const int32_t width : lengths)
            for (const int32_t height : lengths)
                all.push_back({width, height});
        return all;
    }

    void expectFormula(RoiSize size, int32_t bitDepth, const Weights& weights)
    {
        const int64_t largest = (int64_t{1} << bitDepth) - 1;
        const auto [width, height] = size;
        Plane<T> dst(width, height);
        dst.randomise(random_);
        const int gap = dst.stride() - width;
        const int gap1 = form_.steps == Steps::all ? random_.uniform<int>(0, 9) : gap;
        const int gap2 = form_.steps == Steps::all ? random_.uniform<int>(0, 9) : gap;
        const int together = random_.uniform<int>(0, 9);
        ReferenceSamples<T> src1(width, height, {}, form_.steps == Steps::sourcesTogether ? together : gap1);
        ReferenceSamples<T> src2(width, height, {}, form_.steps == Steps::sourcesTogether ? together : gap2);
        src1.randomise(random_, largest);
        src2.randomise(random_, largest);
        const bool first = form_.destination == Destination::first;
        const bool second = form_.destination == Destination::second;
        for (int y = 0; y < height; y++)
            for (int x = 0; x < width; x++)
                if (first || second)
                    dst.at(x, y) = (first ? src1 : src2).at(x, y);
        Plane<T> expected = dst;
        for (int y = 0; y < height; y++)
            for (int x = 0; x < width; x++)
                expected.at(x, y) = static_cast<T>(
                    std::clamp<int64_t>(form_.formula(src1.at(x, y), src2.at(x, y), weights), 0, largest));
        EXPECT_EQ(form_.operation({src1.data(), src1.step(), src2.data(), src2.step(), dst.data(),
                                   dst.stride(), size, bitDepth, weights}),
                  StatusOk);
        ASSERT_EQ(dst, expected) << width << 'x' << height << ", depth " << bitDepth << ", "
                                 << testing::PrintToString(weights);
    }

    // Weights of the standard's range, or weights of any.
    Weights randomWeights(bool any)
    {
        if (!any)
            return {random_.extreme<int32_t>(0, 7), random_.extreme<int32_t>(-128, 128),
                    random_.extreme<int32_t>(-128, 127), random_.extreme<int32_t>(-128, 128),
                    random_.extreme<int32_t>(-128, 127)};
        constexpr std::array<int32_t, 10> shifts = {lowest, -1, 0, 1, 8, 15, 16, 31, 40, highest};
        const auto number = [&] {
            return random_.oneIn(2) ? random_.extreme<int32_t>() : random_.uniform<int32_t>(-70000, 70000);
        };
        return {shifts[random_.uniform<std::size_t>(0, shifts.size() - 1)], number(), number(), number(),
                number()};
    }

    void expectFormula(int32_t bitDepth)
    {
        for (const RoiSize size : sizes())
            for (int i = 0; i < 20; i++)
                ASSERT_NO_FATAL_FAILURE(expectFormula(size, bitDepth, randomWeights(i % 4 == 0)));
    }

    Form<T> form_ = this->GetParam();
    Random random_{1};
};

using WeightedPrediction8 = WeightedPrediction<uint8_t>;
using WeightedPrediction16 = WeightedPrediction<uint16_t>;

TEST_P(WeightedPrediction8, FollowsTheFormula)
{
    expectFormula(8);
}

TEST_P(WeightedPrediction16, FollowsTheFormulaForEveryBitDepth)
{
    for (const int32_t bitDepth : {8, 9, 10, 12, 14, 16})
        expectFormula(bitDepth);
}

using B8 = Blocks<uint8_t>;
using B16 = Blocks<uint16_t>;

uint32_t u(int32_t v)
{
    return static_cast<uint32_t>(v);
}

Status uniDir(const B8& b)
{
    return keliUniDirWeightBlock_H264_8u_C1IR(b.dst, u(b.dstStep), u(std::max(b.weights.log2Wd, 0)),
                                              b.weights.w1, b.weights.o1, b.size);
}

Status uniDirC1R(const B8& b)
{
    return keliUniDirWeightBlock_H264_8u_C1R(b.dst, u(b.dstStep), u(std::max(b.weights.log2Wd, 0)),
                                             b.weights.w1, b.weights.o1, b.size);
}

Status uniDir16(const B16& b)
{
    return keliUnidirWeight_H264_16u_IP2P1R(b.dst, u(b.dstStep), b.weights.log2Wd, b.weights.w1, b.weights.o1,
                                            b.size, b.bitDepth);
}

Status biDirP2(const B8& b)
{
    return keliBiDirWeightBlock_H264_8u_P2P1R(b.src1, b.src2, b.dst, u(b.src1Step), u(b.dstStep),
                                              b.weights.log2Wd, b.weights.w1, b.weights.o1, b.weights.w2,
                                              b.weights.o2, b.size);
}

Status biDirP3(const B8& b)
{
    return keliBiDirWeightBlock_H264_8u_P3P1R(b.src1, b.src2, b.dst, u(b.src1Step), u(b.src2Step),
                                              u(b.dstStep), b.weights.log2Wd, b.weights.w1, b.weights.o1,
                                              b.weights.w2, b.weights.o2, b.size);
}

Status biDirOverFirst(const B8& b)
{
    return keliBiDirWeightBlock_H264_8u_P3P1R(b.dst, b.src2, b.dst, u(b.dstStep), u(b.src2Step), u(b.dstStep),
                                              b.weights.log2Wd, b.weights.w1, b.weights.o1, b.weights.w2,
                                              b.weights.o2, b.size);
}

Status biDir16(const B16& b)
{
    const BidirParams16u params = b.record();
    return keliBidirWeight_H264_16u_P2P1R(&params, b.weights.log2Wd, b.weights.w1, b.weights.o1, b.weights.w2,
                                          b.weights.o2);
}

Status implicitP2(const B8& b)
{
    return keliBiDirWeightBlockImplicit_H264_8u_P2P1R(b.src1, b.src2, b.dst, b.src1Step, b.dstStep,
                                                      b.weights.w1, b.weights.w2, b.size);
}

Status implicitP3(const B8& b)
{
    return keliBiDirWeightBlockImplicit_H264_8u_P3P1R(b.src1, b.src2, b.dst, b.src1Step, b.src2Step,
                                                      b.dstStep, b.weights.w1, b.weights.w2, b.size);
}

Status implicit16(const B16& b)
{
    const BidirParams16u params = b.record();
    return keliBidirWeightImplicit_H264_16u_P2P1R(&params, b.weights.w1, b.weights.w2);
}

Status averageP2(const B8& b)
{
    return keliInterpolateBlock_H264_8u_P2P1R(b.src1, b.src2, b.dst, u(b.size.width), u(b.size.height),
                                              u(b.dstStep));
}

Status averageP3(const B8& b)
{
    return keliInterpolateBlock_H264_8u_P3P1R(b.src1, b.src2, b.dst, u(b.size.width), u(b.size.height),
                                              b.src1Step, b.src2Step, b.dstStep);
}

Status averageOverSecond(const B8& b)
{
    return keliInterpolateBlock_H264_8u_P3P1R(b.src1, b.dst, b.dst, u(b.size.width), u(b.size.height),
                                              b.src1Step, b.dstStep, b.dstStep);
}

// The bit depth is one that must not be read.
Status average16(const B16& b)
{
    BidirParams16u params = b.record();
    params.bitDepth = 1;
    return keliBidir_H264_16u_P2P1R(&params);
}

Status weightedAverage(const B8& b)
{
    return keliWeightedAverage_H264_8u_C1IR(b.src1, b.dst, b.dstStep, b.weights.w1, b.weights.w2,
                                            b.weights.log2Wd, b.weights.o1, b.size);
}

const auto nameOf = [](const auto& info) { return info.param.name; };

INSTANTIATE_TEST_SUITE_P(
    Forms, WeightedPrediction8,
    testing::Values(
        Form<uint8_t>{"UniDirWeightBlockC1IR", uniDir, ofOne, Steps::all, Destination::first},
        Form<uint8_t>{"UniDirWeightBlockC1R", uniDirC1R, ofOne, Steps::all, Destination::first},
        Form<uint8_t>{"BiDirWeightBlockP2P1R", biDirP2, explicitly, Steps::sourcesTogether},
        Form<uint8_t>{"BiDirWeightBlockP3P1R", biDirP3, explicitly},
        Form<uint8_t>{"BiDirWeightBlockInPlace", biDirOverFirst, explicitly, Steps::all, Destination::first},
        Form<uint8_t>{"ImplicitP2P1R", implicitP2, implicitly, Steps::sourcesTogether},
        Form<uint8_t>{"ImplicitP3P1R", implicitP3, implicitly, Steps::all, Destination::apart, Sizes::any},
        Form<uint8_t>{"InterpolateBlockP2P1R", averageP2, equally, Steps::allTogether, Destination::apart,
                      Sizes::upTo16},
        Form<uint8_t>{"InterpolateBlockP3P1R", averageP3, equally, Steps::all, Destination::apart,
                      Sizes::upTo16},
        Form<uint8_t>{"InterpolateBlockInPlace", averageOverSecond, equally, Steps::all, Destination::second,
                      Sizes::upTo16},
        Form<uint8_t>{"WeightedAverage", weightedAverage, generally, Steps::allTogether,
                      Destination::second}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(Forms, WeightedPrediction16,
                         testing::Values(Form<uint16_t>{"UnidirWeight", uniDir16, ofOne, Steps::all,
                                                        Destination::first},
                                         Form<uint16_t>{"BidirWeight", biDir16, explicitly},
                                         Form<uint16_t>{"BidirWeightImplicit", implicit16, implicitly},
                                         Form<uint16_t>{"Bidir", average16, equally, Steps::all,
                                                        Destination::apart, Sizes::upTo16}),
                         nameOf);

// Faults in the arguments of operations on 8-bit blocks, the good size being 8x8.
using Faults8 = std::vector<Fault<B8>>;

Faults8 nulls(bool src1, bool src2, bool dst)
{
    Faults8 faults;
    if (src1)
        faults.push_back(fault(StatusNullPointer, &B8::src1, nullptr));
    if (src2)
        faults.push_back(fault(StatusNullPointer, &B8::src2, nullptr));
    if (dst)
        faults.push_back(fault(StatusNullPointer, &B8::dst, nullptr));
    return faults;
}

Faults8 steps(bool src1, bool src2, bool dst)
{
    Faults8 faults;
    if (src1)
        faults.push_back(fault(StatusBadStep, &B8::src1Step, 1));
    if (src2)
        faults.push_back(fault(StatusBadStep, &B8::src2Step, 1));
    if (dst)
        faults.push_back(fault(StatusBadStep, &B8::dstStep, 1));
    return faults;
}

template <class Request>
std::vector<Fault<Request>> badSizes(RoiSize Request::*size, std::initializer_list<RoiSize> sizes)
{
    std::vector<Fault<Request>> faults;
    for (const RoiSize bad : sizes)
        faults.push_back(fault(StatusBadSize, size, bad));
    return faults;
}

template <class Request>
std::vector<Fault<Request>> joined(std::initializer_list<std::vector<Fault<Request>>> lists)
{
    std::vector<Fault<Request>> all;
    for (const auto& list : lists)
        all.insert(all.end(), list.begin(), list.end());
    return all;
}

// Wider than the step 1 of a fault.
constexpr std::initializer_list<RoiSize> notPowers = {{8, 1},  {8, 3}, {8, 32}, {8, 0},
                                                      {8, -8}, {3, 8}, {6, 2}};
constexpr std::initializer_list<RoiSize> notUpTo16 = {{1, 8}, {17, 8}, {0, 8}, {-8, 8}, {8, 1}, {8, 17}};

class Refusals : public testing::Test
{
protected:
    void expectRefused(const Faults8& faults, Status (*operation)(const B8&))
    {
        expectFaultsRefused<B8>({src_.data(),
                                 src_.step(),
                                 src_.data(),
                                 src_.step(),
                                 dst_.data(),
                                 dst_.step(),
                                 {8, 8},
                                 8,
                                 {5, 32, 0, 32, 0}},
                                faults, operation);
        EXPECT_EQ(dst_, Plane<uint8_t>(16, 16));
    }

    const Plane<uint8_t> src_{16, 16};
    Plane<uint8_t> dst_{16, 16};
};

TEST_F(Refusals, OfWeightedBlocksComeInOrder)
{
    const auto sizes = badSizes(&B8::size, notPowers);
    const auto inPlace = joined({nulls(false, false, true), steps(false, false, true), sizes});
    expectRefused(inPlace, uniDir);
    expectRefused(inPlace, uniDirC1R);
    expectRefused(joined({nulls(true, true, true), steps(true, false, true), sizes}), biDirP2);
    expectRefused(joined({nulls(true, true, true), steps(true, true, true), sizes}), biDirP3);
    expectRefused(joined({nulls(true, true, true), steps(true, false, true), sizes}), implicitP2);
    expectRefused(joined({nulls(true, false, true), steps(false, false, true), sizes}), weightedAverage);
    expectRefused(nulls(true, true, true), implicitP3);
}

TEST_F(Refusals, OfAveragesComeInOrder)
{
    const auto faults = joined({nulls(true, true, true), badSizes(&B8::size, notUpTo16)});
    expectRefused(faults, averageP2);
    expectRefused(faults, averageP3);
}

// A negative width is a large unsigned one.
TEST_F(Refusals, ComparesStepsAsTheyAreTyped)
{
    const auto block = [&](int32_t width) {
        return B8{src_.data(), src_.step(), src_.data(), src_.step(), dst_.data(),
                  dst_.step(), {width, 8},  8,           {}};
    };
    EXPECT_EQ(uniDir(block(-8)), StatusBadStep);
    EXPECT_EQ(biDirP3(block(-8)), StatusBadStep);
    EXPECT_EQ(implicitP2(block(-8)), StatusBadSize);
    EXPECT_EQ(weightedAverage(block(-8)), StatusBadSize);
    EXPECT_EQ(implicitP3(block(-8)), StatusOk);
    EXPECT_EQ(implicitP3(block(0)), StatusOk);
    EXPECT_EQ(dst_, Plane<uint8_t>(16, 16));
}

TEST(Refusals16, ComeInOrder)
{
    const Plane<uint16_t> src(16, 16);
    Plane<uint16_t> dst(16, 16);
    using R = BidirParams16u;
    const R good{src.data(), src.stride(), src.data(), src.stride(), dst.data(), dst.stride(), {8, 8}, 10};
    const std::vector<Fault<R>> nullFaults = {fault(StatusNullPointer, &R::pSrc1, nullptr),
                                              fault(StatusNullPointer, &R::pSrc2, nullptr),
                                              fault(StatusNullPointer, &R::pDst, nullptr)};
    const std::vector<Fault<R>> stepFaults = {fault(StatusBadStep, &R::src1Step, 1),
                                              fault(StatusBadStep, &R::src2Step, -32),
                                              fault(StatusBadStep, &R::dstStep, 1)};
    const auto weighted = joined({nullFaults, stepFaults, badSizes(&R::roiSize, notPowers)});
    expectFaultsRefused(good, weighted,
                        [](const R& r) { return keliBidirWeight_H264_16u_P2P1R(&r, 5, 32, 0, 32, 0); });
    expectFaultsRefused(good, weighted,
                        [](const R& r) { return keliBidirWeightImplicit_H264_16u_P2P1R(&r, 32, 32); });
    expectFaultsRefused(good, joined({nullFaults, badSizes(&R::roiSize, notUpTo16)}),
                        [](const R& r) { return keliBidir_H264_16u_P2P1R(&r); });
    EXPECT_EQ(keliBidir_H264_16u_P2P1R(nullptr), StatusNullPointer);
    EXPECT_EQ(keliBidirWeight_H264_16u_P2P1R(nullptr, 5, 32, 0, 32, 0), StatusNullPointer);
    EXPECT_EQ(keliBidirWeightImplicit_H264_16u_P2P1R(nullptr, 32, 32), StatusNullPointer);

    const auto unidir = [&](uint16_t* samples, uint32_t step, RoiSize size) {
        return keliUnidirWeight_H264_16u_IP2P1R(samples, step, 5, 32, 0, size, 10);
    };
    EXPECT_EQ(unidir(nullptr, 1, {6, 6}), StatusNullPointer);
    EXPECT_EQ(unidir(dst.data(), 7, {8, 6}), StatusBadStep);
    EXPECT_EQ(unidir(dst.data(), 16, {-8, 6}), StatusBadStep);
    EXPECT_EQ(unidir(dst.data(), 16, {8, 6}), StatusBadSize);
    EXPECT_EQ(unidir(dst.data(), 16, {6, 8}), StatusBadSize);
    EXPECT_EQ(dst, Plane<uint16_t>(16, 16));
}

} // namespace
} // namespace kelvcpx::test
