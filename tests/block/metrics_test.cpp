#include "block/operand.h"
#include "support/arguments.h"
#include "support/plane.h"
#include "support/random.h"

#include <kelvcpx/metrics.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <ostream>
#include <vector>

namespace kelvcpx::test {
namespace {

// What a metric measures. `second` is a reference for the metrics that have two.
struct Inputs {
    Operand<uint8_t> src;
    Reference ref;
    int32_t mcType;
    Reference second;
    int32_t secondMcType;
};

using Results = std::vector<int64_t>;
using Samples = std::function<int(int x, int y)>;

// Calls operation(output) with room for `count` results, and expects it to write so many.
template <class T, class Operation>
Results resultsOf(std::size_t count, Operation operation)
{
    constexpr T untouched = 12345;
    std::vector<T> output(count + 1, untouched);
    EXPECT_EQ(operation(output.data()), StatusOk);
    EXPECT_EQ(output.back(), untouched);
    return {output.begin(), output.end() - 1};
}

struct Metric {
    const char* name;
    int width;
    int height;
    std::function<Results(const Inputs&)> run;
    std::function<Results(const Samples& src, const Samples& prediction)> plain;
    bool halfSample = true;
    int references = 1;

    friend void PrintTo(const Metric& metric, std::ostream* out) { *out << metric.name; }
};

// The sum of f(x, y) over a block.
template <class Function>
int64_t sum(int x0, int y0, int width, int height, Function f)
{
    int64_t result = 0;
    for (int y = y0; y < y0 + height; y++)
        for (int x = x0; x < x0 + width; x++)
            result += f(x, y);
    return result;
}

int64_t square(int64_t v)
{
    return v * v;
}

// The differences of a block, absolute or squared, summed up over parts of it.
auto sumsOfDifferences(int width, int height, int partWidth, int partHeight, bool squared)
{
    return [=](const Samples& src, const Samples& prediction) {
        Results sums;
        for (int y = 0; y < height; y += partHeight)
            for (int x = 0; x < width; x += partWidth)
                sums.push_back(sum(x, y, partWidth, partHeight, [&](int px, int py) {
                    const int d = src(px, py) - prediction(px, py);
                    return squared ? d * d : std::abs(d);
                }));
        return sums;
    };
}

using HalfSampleMetric = Status (*)(const uint8_t*, int32_t, const uint8_t*, int32_t, int32_t*,
                                    int32_t) noexcept;

Metric differenceMetric(const char* name, int width, int height, HalfSampleMetric operation, bool squared)
{
    return {name, width, height,
            [=](const Inputs& in) {
                return resultsOf<int32_t>(1, [&](int32_t* out) {
                    return operation(in.src.data(), in.src.step(), in.ref.data(), in.ref.step(), out,
                                     in.mcType);
                });
            },
            sumsOfDifferences(width, height, width, height, squared)};
}

using PartsMetric = Status (*)(const uint8_t*, int32_t, const uint8_t*, int32_t, uint16_t*) noexcept;

Metric partsMetric(const char* name, int part, PartsMetric operation)
{
    return {name,
            16,
            16,
            [=](const Inputs& in) {
                return resultsOf<uint16_t>(
                    static_cast<std::size_t>(16 / part * 16 / part), [&](uint16_t* out) {
                        return operation(in.src.data(), in.src.step(), in.ref.data(), in.ref.step(), out);
                    });
            },
            sumsOfDifferences(16, 16, part, part, false),
            false};
}

using DifferenceVariance = Status (*)(const uint8_t*, int32_t, const uint8_t*, int32_t, const int32_t*,
                                      int32_t*, int32_t*, int32_t) noexcept;

Metric differenceVariance(const char* name, int height, DifferenceVariance operation)
{
    const auto parts = static_cast<std::size_t>(height / 8 * 2);
    const auto run = [=](const Inputs& in) {
        std::vector<int32_t> srcSums;
        for (int y = 0; y < height; y += 8)
            for (int x = 0; x < 16; x += 8)
                srcSums.push_back(
                    static_cast<int32_t>(sum(x, y, 8, 8, [&](int px, int py) { return in.src.at(px, py); })));
        Results means;
        Results results = resultsOf<int32_t>(parts, [&](int32_t* variances) {
            Status status = StatusOk;
            means = resultsOf<int32_t>(parts, [&](int32_t* out) {
                return status = operation(in.src.data(), in.src.step(), in.ref.data(), in.ref.step(),
                                          srcSums.data(), variances, out, in.mcType);
            });
            return status;
        });
        results.insert(results.end(), means.begin(), means.end());
        return results;
    };
    const auto plain = [=](const Samples& src, const Samples& prediction) {
        Results variances;
        Results means;
        for (int y = 0; y < height; y += 8)
            for (int x = 0; x < 16; x += 8) {
                const auto difference = [&](int px, int py) { return src(px, py) - prediction(px, py); };
                const int64_t m = sum(x, y, 8, 8, difference) / 8;
                const int64_t squares =
                    sum(x, y, 8, 8, [&](int px, int py) { return square(difference(px, py)); });
                variances.push_back(squares > m * m ? (squares - m * m) / 64 : 0);
                means.push_back(m);
            }
        variances.insert(variances.end(), means.begin(), means.end());
        return variances;
    };
    return {name, 16, height, run, plain};
}

using BlockMetric = Status (*)(const uint8_t*, int32_t, int32_t*) noexcept;

template <class Plain>
Metric blockMetric(const char* name, BlockMetric operation, Plain plain)
{
    return {name,
            16,
            16,
            [=](const Inputs& in) {
                return resultsOf<int32_t>(
                    1, [&](int32_t* out) { return operation(in.src.data(), in.src.step(), out); });
            },
            [=](const Samples& src, const Samples&) { return Results{plain(src)}; },
            false};
}

int64_t plainVariance(const Samples& src)
{
    return sum(0, 0, 16, 16, [&](int x, int y) { return square(src(x, y)); }) -
           square(sum(0, 0, 16, 16, src)) / 256;
}

int64_t plainDeviation(const Samples& src)
{
    const int64_t mean = (sum(0, 0, 16, 16, src) + 128) / 256;
    return sum(0, 0, 16, 16, [&](int x, int y) { return std::abs(src(x, y) - mean); });
}

// The variance, cut off, and the sum of 8x8 samples.
Results plainVarMean(const Samples& src, const Samples&)
{
    const int64_t s = sum(0, 0, 8, 8, src);
    const int64_t q = sum(0, 0, 8, 8, [&](int x, int y) { return square(src(x, y)); });
    return {(64 * q - s * s) / 4096, s};
}

// The sums of a frame's and of its fields' differences between rows.
Results plainFrameField(const Samples& src, const Samples&)
{
    const auto rows = [&](int y, int distance) {
        return sum(0, y, 16, 1, [&](int x, int) { return std::abs(src(x, y) - src(x, y + distance)); });
    };
    Results result(2);
    for (int y = 0; y < 15; y++)
        if (y != 7)
            result[0] += rows(y, 1);
    for (int y = 0; y < 14; y++)
        result[1] += rows(y, 2);
    return result;
}

// The two outputs of an operation one after the other.
template <class Operation>
Results twoResults(Operation operation)
{
    Results second;
    Results first = resultsOf<int32_t>(1, [&](int32_t* out1) {
        Status status = StatusOk;
        second = resultsOf<int32_t>(1, [&](int32_t* out2) { return status = operation(out1, out2); });
        return status;
    });
    return {first[0], second[0]};
}

using SumsMetric = Status (*)(const uint8_t*, int32_t, const uint8_t*, int32_t, int16_t*, int16_t*) noexcept;

// The sums of the 4x4 blocks' differences, then the differences block by block.
Metric sumsOfSmallBlocks(const char* name, int size, SumsMetric operation)
{
    const auto elements = static_cast<std::size_t>(size * size);
    const auto run = [=](const Inputs& in) {
        const auto call = [&](int16_t* sums, int16_t* diff) {
            return operation(in.src.data(), in.src.step(), in.ref.data(), in.ref.step(), sums, diff);
        };
        Results diff;
        Results sums = resultsOf<int16_t>(elements / 16, [&](int16_t* out) {
            Status status = StatusOk;
            diff = resultsOf<int16_t>(elements, [&](int16_t* d) { return status = call(out, d); });
            return status;
        });
        EXPECT_EQ(resultsOf<int16_t>(elements / 16, [&](int16_t* out) { return call(out, nullptr); }), sums);
        sums.insert(sums.end(), diff.begin(), diff.end());
        return sums;
    };
    const auto plain = [=](const Samples& src, const Samples& prediction) {
        Results sums;
        Results diff;
        for (int y = 0; y < size; y += 4)
            for (int x = 0; x < size; x += 4)
                sums.push_back(sum(x, y, 4, 4, [&](int px, int py) {
                    diff.push_back(src(px, py) - prediction(px, py));
                    return diff.back();
                }));
        sums.insert(sums.end(), diff.begin(), diff.end());
        return sums;
    };
    return {name, size, size, run, plain, false};
}

const Metric metrics[] = {
    differenceMetric("SAD8x8", 8, 8, keliSAD8x8_8u32s_C1R, false),
    differenceMetric("SAD16x8", 16, 8, keliSAD16x8_8u32s_C1R, false),
    differenceMetric("SAD16x16", 16, 16, keliSAD16x16_8u32s, false),
    differenceMetric("SSD8x8", 8, 8, keliSSD8x8_8u32s_C1R, true),
    differenceMetric("SSD4x4", 4, 4, keliSSD4x4_8u32s_C1R, true),
    {"SAD4x4", 4, 4,
     [](const Inputs& in) {
         return resultsOf<int32_t>(1, [&](int32_t* out) {
             return keliSAD4x4_8u32s(in.src.data(), in.src.step(), in.ref.data(), in.ref.step(), out);
         });
     },
     sumsOfDifferences(4, 4, 4, 4, false), false},
    partsMetric("SADBlocks8x8", 8, keliSAD16x16Blocks8x8_8u16u),
    partsMetric("SADBlocks4x4", 4, keliSAD16x16Blocks4x4_8u16u),
    {"SqrDiff16x16", 16, 16,
     [](const Inputs& in) {
         return resultsOf<int32_t>(1, [&](int32_t* out) {
             return keliSqrDiff16x16_8u32s(in.src.data(), in.src.step(), in.ref.data(), in.ref.step(),
                                           in.mcType, out);
         });
     },
     sumsOfDifferences(16, 16, 16, 16, true)},
    {"SqrDiff16x16B", 16, 16,
     [](const Inputs& in) {
         return resultsOf<int32_t>(1, [&](int32_t* out) {
             return keliSqrDiff16x16B_8u32s(in.src.data(), in.src.step(), in.ref.data(), in.ref.step(),
                                            in.mcType, in.second.data(), in.second.step(), in.secondMcType,
                                            out);
         });
     },
     sumsOfDifferences(16, 16, 16, 16, true), true, 2},
    blockMetric("Variance16x16", keliVariance16x16_8u32s, plainVariance),
    blockMetric("MeanAbsDev16x16", keliMeanAbsDev16x16_8u32s_C1R, plainDeviation),
    {"VarMean8x8", 8, 8,
     [](const Inputs& in) {
         return twoResults([&](int32_t* variance, int32_t* mean) {
             return keliVarMean8x8_8u32s_C1R(in.src.data(), in.src.step(), variance, mean);
         });
     },
     plainVarMean, false},
    differenceVariance("VarMeanDiff16x16", 16, keliVarMeanDiff16x16_8u32s_C1R),
    differenceVariance("VarMeanDiff16x8", 8, keliVarMeanDiff16x8_8u32s_C1R),
    sumsOfSmallBlocks("SumsDiff16x16", 16, keliSumsDiff16x16Blocks4x4_8u16s_C1),
    sumsOfSmallBlocks("SumsDiff8x8", 8, keliSumsDiff8x8Blocks4x4_8u16s_C1),
    {"FrameFieldSAD16x16", 16, 16,
     [](const Inputs& in) {
         return twoResults([&](int32_t* frame, int32_t* field) {
             return keliFrameFieldSAD16x16_8u32s_C1R(in.src.data(), in.src.step(), frame, field);
         });
     },
     plainFrameField, false},
};

class BlockMetrics : public testing::TestWithParam<Metric>
{
protected:
    Reference randomReference(const Metric& metric, int32_t mcType)
    {
        const int32_t position = metric.halfSample ? mcType : 0;
        return {random_, metric.width, metric.height, (position & 8) != 0, (position & 4) != 0};
    }

    // Anything, or bright, or nearly the same samples everywhere, or black and white.
    Inputs randomInputs(const Metric& metric, int32_t mcType, int32_t secondMcType)
    {
        constexpr std::array<std::array<int, 2>, 4> ranges = {{{0, 255}, {200, 255}, {100, 102}, {254, 255}}};
        const auto [low, high] = ranges[random_.uniform<std::size_t>(0, 3)];
        return {Operand<uint8_t>(random_, metric.width, metric.height, low, high),
                randomReference(metric, mcType), mcType, randomReference(metric, secondMcType), secondMcType};
    }

    Random random_{1};
};

TEST_P(BlockMetrics, FollowTheFormula)
{
    const Metric& metric = GetParam();
    constexpr std::array mcTypes = {0, 4, 8, 12, 3, 13, -8}; // with bits that do not count
    for (const int32_t mcType : mcTypes)
        for (const int32_t secondMcType : mcTypes)
            for (int i = 0; i < 20; i++) {
                const Inputs inputs = randomInputs(metric, mcType, secondMcType);
                const auto src = [&](int x, int y) { return inputs.src.at(x, y); };
                const auto prediction = [&](int x, int y) {
                    const int first = inputs.ref.predict(x, y, 0);
                    return metric.references == 1 ? first : (first + inputs.second.predict(x, y, 0) + 1) >> 1;
                };
                ASSERT_EQ(metric.run(inputs), metric.plain(src, prediction))
                    << "mcType " << mcType << " and " << secondMcType;
            }
}

INSTANTIATE_TEST_SUITE_P(All, BlockMetrics, testing::ValuesIn(metrics), testing::PrintToStringParamName());

TEST(BlockMetricsOf16Bits, FollowTheFormula)
{
    Random random(2);
    for (int i = 0; i < 500; i++) {
        const int limit = random.oneIn(2) ? 255 : 32768;
        const Operand<int16_t> block(random, 16, 16, -limit, std::min(limit, 32767));
        const auto at = [&](int x, int y) { return int{block.at(x, y)}; };
        ASSERT_EQ(twoResults([&](int32_t* frame, int32_t* field) {
                      return keliFrameFieldSAD16x16_16s32s_C1R(block.data(), block.step(), frame, field);
                  }),
                  plainFrameField(at, at));

        const Results actual = twoResults([&](int32_t* variance, int32_t* mean) {
            return keliVarMean8x8_16s32s_C1R(block.data(), block.step(), variance, mean);
        });
        const Results exact = plainVarMean(at, at);
        ASSERT_EQ(actual[1], exact[1]);
        // The sum of squares has the precision of 24 bits.
        const double error = static_cast<double>(exact[0] + square(exact[1] / 64)) * 0x1p-24 + 1;
        ASSERT_NEAR(static_cast<double>(actual[0]), static_cast<double>(exact[0]), limit == 255 ? 0 : error);
    }
}

TEST(EdgesDetect, CountsEdgeSamples)
{
    Random random(3);
    for (int i = 0; i < 3000; i++) {
        const Operand<uint8_t> block(random, 16, 16, 0, random.uniform<int>(0, 255));
        const auto threshold = random.extreme<uint8_t>();
        int count = 0;
        for (int y = 0; y < 15; y++)
            for (int x = 0; x < 15; x++)
                if (std::abs(block.at(x, y) - block.at(x + 1, y)) > threshold ||
                    std::abs(block.at(x, y) - block.at(x, y + 1)) > threshold)
                    count++;
        for (const int limit : {count - 1, count, random.uniform<int>(0, 255)}) {
            uint8_t edge = 77;
            ASSERT_EQ(keliEdgesDetect16x16_8u_C1R(block.data(), block.step(), threshold,
                                                  static_cast<uint8_t>(std::max(limit, 0)), &edge),
                      StatusOk);
            ASSERT_EQ(edge, count > std::max(limit, 0) ? 1 : 0) << count << " samples, limit " << limit;
        }
    }
}

TEST(BlockMetricArguments, MustNotBeNull)
{
    const Plane<uint8_t> samples(18, 18);
    const std::array<int16_t, 256> elements{};
    const uint8_t* const p = samples.data();
    const int32_t step = samples.step();
    std::array<int32_t, 4> a{};
    std::array<int32_t, 4> b{};
    std::array<uint16_t, 16> sads{};
    std::array<int16_t, 16> sums{};
    uint8_t edge = 0;
    for (const auto operation : {keliSAD8x8_8u32s_C1R, keliSAD16x8_8u32s_C1R, keliSAD16x16_8u32s,
                                 keliSSD8x8_8u32s_C1R, keliSSD4x4_8u32s_C1R})
        expectNullPointersRefused(operation, {}, p, step, p, step, a.data(), 0);
    expectNullPointersRefused(keliSAD4x4_8u32s, {}, p, step, p, step, a.data());
    for (const auto operation : {keliSAD16x16Blocks8x8_8u16u, keliSAD16x16Blocks4x4_8u16u})
        expectNullPointersRefused(operation, {}, p, step, p, step, sads.data());
    expectNullPointersRefused(keliSqrDiff16x16_8u32s, {}, p, step, p, step, 0, a.data());
    expectNullPointersRefused(keliSqrDiff16x16B_8u32s, {}, p, step, p, step, 0, p, step, 0, a.data());
    for (const auto operation : {keliVariance16x16_8u32s, keliMeanAbsDev16x16_8u32s_C1R})
        expectNullPointersRefused(operation, {}, p, step, a.data());
    for (const auto operation : {keliVarMean8x8_8u32s_C1R, keliFrameFieldSAD16x16_8u32s_C1R})
        expectNullPointersRefused(operation, {}, p, step, a.data(), b.data());
    for (const auto operation : {keliVarMean8x8_16s32s_C1R, keliFrameFieldSAD16x16_16s32s_C1R})
        expectNullPointersRefused(operation, {}, elements.data(), 32, a.data(), b.data());
    for (const auto operation : {keliVarMeanDiff16x16_8u32s_C1R, keliVarMeanDiff16x8_8u32s_C1R})
        expectNullPointersRefused(operation, {}, p, step, p, step, a.data(), a.data(), b.data(), 0);
    expectNullPointersRefused(keliEdgesDetect16x16_8u_C1R, {}, p, step, 1, 1, &edge);
    for (const auto operation : {keliSumsDiff16x16Blocks4x4_8u16s_C1, keliSumsDiff8x8Blocks4x4_8u16s_C1})
        expectNullPointersRefused(operation, {5}, p, step, p, step, sums.data(), nullptr);
}

} // namespace
} // namespace kelvcpx::test
