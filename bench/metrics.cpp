// Differences and metrics of blocks.

#include <kelvcpx/metrics.h>

#include <benchmark/benchmark.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr int32_t step = 1920;

// A current block and two references, which are anywhere, and all results that there may be.
struct Blocks {
    std::vector<uint8_t> samples = std::vector<uint8_t>(std::size_t{64} * step);
    std::array<int16_t, 256> diff{};
    std::array<int16_t, 256> predictor{};
    std::array<int32_t, 4> srcSums{};
    std::array<int32_t, 4> results{};
    std::array<int32_t, 4> more{};
    std::array<uint16_t, 16> sads{};
    std::array<int16_t, 16> sums{};
    uint8_t flag = 0;

    Blocks()
    {
        std::mt19937 random(1);
        for (uint8_t& sample : samples)
            sample = static_cast<uint8_t>(random());
    }

    const uint8_t* current() const { return &samples[std::size_t{32} * step]; }
    const uint8_t* forward() const { return &samples[3]; }
    const uint8_t* backward() const { return &samples[205]; }
};

// Runs `operation(blocks)` as the benchmark `name`.
template <class Operation>
void add(const std::string& name, Operation operation)
{
    benchmark::RegisterBenchmark(name.c_str(), [operation](benchmark::State& state) {
        Blocks blocks;
        for ([[maybe_unused]] auto _ : state) {
            benchmark::DoNotOptimize(operation(blocks));
            benchmark::ClobberMemory();
        }
    });
}

template <class Operation>
struct Named {
    std::string name;
    Operation* operation;
};

using GetDiff = Status(const uint8_t*, int32_t, const uint8_t*, int32_t, int16_t*, int32_t, int16_t*, int32_t,
                       int32_t, int32_t) noexcept;
using GetDiffB = Status(const uint8_t*, int32_t, const uint8_t*, int32_t, int32_t, const uint8_t*, int32_t,
                        int32_t, int16_t*, int32_t, int32_t) noexcept;
using Metric = Status(const uint8_t*, int32_t, const uint8_t*, int32_t, int32_t*, int32_t) noexcept;

const std::array<std::string, 4> positions = {"full", "down", "right", "both"}; // by mcType / 4

void addDifferences()
{
    for (const auto& [name, operation] : {Named<GetDiff>{"GetDiff16x16", keliGetDiff16x16_8u16s_C1},
                                          {"GetDiff16x8", keliGetDiff16x8_8u16s_C1},
                                          {"GetDiff8x16", keliGetDiff8x16_8u16s_C1},
                                          {"GetDiff8x8", keliGetDiff8x8_8u16s_C1},
                                          {"GetDiff8x4", keliGetDiff8x4_8u16s_C1}})
        for (int32_t i = 0; i < 4; i++)
            for (const bool predictor : {false, true})
                add(name + '/' + positions[static_cast<std::size_t>(i)] + (predictor ? "+predictor" : ""),
                    [=, operation = operation](Blocks& b) {
                        return operation(b.current(), step, b.forward(), step, b.diff.data(), 32,
                                         predictor ? b.predictor.data() : nullptr, 32, 4 * i, 0);
                    });
    for (const auto& [name, operation] : {Named<GetDiffB>{"GetDiff16x16B", keliGetDiff16x16B_8u16s_C1},
                                          {"GetDiff16x8B", keliGetDiff16x8B_8u16s_C1},
                                          {"GetDiff8x16B", keliGetDiff8x16B_8u16s_C1},
                                          {"GetDiff8x8B", keliGetDiff8x8B_8u16s_C1},
                                          {"GetDiff8x4B", keliGetDiff8x4B_8u16s_C1}})
        add(name + "/both-both", [operation = operation](Blocks& b) {
            return operation(b.current(), step, b.forward(), step, 12, b.backward(), step, 12, b.diff.data(),
                             32, 0);
        });
    add("GetDiff4x4", [](Blocks& b) {
        return keliGetDiff4x4_8u16s_C1(b.current(), step, b.forward(), step, b.diff.data(), 8);
    });
    add("Sub8x8", [](Blocks& b) {
        return keliSub8x8_8u16s_C1R(b.current(), step, b.forward(), step, b.diff.data(), 16);
    });
    add("Sub16x16", [](Blocks& b) {
        return keliSub16x16_8u16s_C1R(b.current(), step, b.forward(), step, b.diff.data(), 32);
    });
    add("SubSAD8x8", [](Blocks& b) {
        return keliSubSAD8x8_8u16s_C1R(b.current(), step, b.forward(), step, b.diff.data(), 16,
                                       b.results.data());
    });
}

void addSums()
{
    for (const auto& [name, operation] : {Named<Metric>{"SAD8x8", keliSAD8x8_8u32s_C1R},
                                          {"SAD16x8", keliSAD16x8_8u32s_C1R},
                                          {"SAD16x16", keliSAD16x16_8u32s},
                                          {"SSD8x8", keliSSD8x8_8u32s_C1R},
                                          {"SSD4x4", keliSSD4x4_8u32s_C1R}})
        for (int32_t i = 0; i < 4; i++)
            add(name + '/' + positions[static_cast<std::size_t>(i)], [=, operation = operation](Blocks& b) {
                return operation(b.current(), step, b.forward(), step, b.results.data(), 4 * i);
            });
    add("SAD4x4",
        [](Blocks& b) { return keliSAD4x4_8u32s(b.current(), step, b.forward(), step, b.results.data()); });
    add("SAD16x16Blocks8x8", [](Blocks& b) {
        return keliSAD16x16Blocks8x8_8u16u(b.current(), step, b.forward(), step, b.sads.data());
    });
    add("SAD16x16Blocks4x4", [](Blocks& b) {
        return keliSAD16x16Blocks4x4_8u16u(b.current(), step, b.forward(), step, b.sads.data());
    });
    for (int32_t i = 0; i < 4; i++)
        add("SqrDiff16x16/" + positions[static_cast<std::size_t>(i)], [=](Blocks& b) {
            return keliSqrDiff16x16_8u32s(b.current(), step, b.forward(), step, 4 * i, b.results.data());
        });
    add("SqrDiff16x16B/both-both", [](Blocks& b) {
        return keliSqrDiff16x16B_8u32s(b.current(), step, b.forward(), step, 12, b.backward(), step, 12,
                                       b.results.data());
    });
}

void addStatistics()
{
    add("Variance16x16",
        [](Blocks& b) { return keliVariance16x16_8u32s(b.current(), step, b.results.data()); });
    add("VarMean8x8_8u", [](Blocks& b) {
        return keliVarMean8x8_8u32s_C1R(b.current(), step, b.results.data(), b.more.data());
    });
    add("VarMean8x8_16s", [](Blocks& b) {
        return keliVarMean8x8_16s32s_C1R(b.diff.data(), 16, b.results.data(), b.more.data());
    });
    for (int32_t i = 0; i < 4; i++)
        add("VarMeanDiff16x16/" + positions[static_cast<std::size_t>(i)], [=](Blocks& b) {
            return keliVarMeanDiff16x16_8u32s_C1R(b.current(), step, b.forward(), step, b.srcSums.data(),
                                                  b.results.data(), b.more.data(), 4 * i);
        });
    add("VarMeanDiff16x8/both", [](Blocks& b) {
        return keliVarMeanDiff16x8_8u32s_C1R(b.current(), step, b.forward(), step, b.srcSums.data(),
                                             b.results.data(), b.more.data(), 12);
    });
    add("MeanAbsDev16x16",
        [](Blocks& b) { return keliMeanAbsDev16x16_8u32s_C1R(b.current(), step, b.results.data()); });
    add("EdgesDetect16x16",
        [](Blocks& b) { return keliEdgesDetect16x16_8u_C1R(b.current(), step, 200, 150, &b.flag); });
    add("FrameFieldSAD16x16_8u", [](Blocks& b) {
        return keliFrameFieldSAD16x16_8u32s_C1R(b.current(), step, b.results.data(), b.more.data());
    });
    add("FrameFieldSAD16x16_16s", [](Blocks& b) {
        return keliFrameFieldSAD16x16_16s32s_C1R(b.diff.data(), 32, b.results.data(), b.more.data());
    });
    for (const bool differences : {false, true}) {
        const std::string suffix = differences ? "+differences" : "";
        add("SumsDiff16x16Blocks4x4" + suffix, [=](Blocks& b) {
            return keliSumsDiff16x16Blocks4x4_8u16s_C1(b.current(), step, b.forward(), step, b.sums.data(),
                                                       differences ? b.diff.data() : nullptr);
        });
        add("SumsDiff8x8Blocks4x4" + suffix, [=](Blocks& b) {
            return keliSumsDiff8x8Blocks4x4_8u16s_C1(b.current(), step, b.forward(), step, b.sums.data(),
                                                     differences ? b.diff.data() : nullptr);
        });
    }
}

[[maybe_unused]] const bool registered = (addDifferences(), addSums(), addStatistics(), true);

} // namespace
