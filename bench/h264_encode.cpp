// H.264 for encoders: transforms, quantisation and the analysis for CAVLC.

#include <kelvcpx/h264_encode.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <random>
#include <vector>

namespace {

constexpr std::array<uint32_t, 16> zigzag = {0, 1, 4, 8, 5, 2, 3, 6, 9, 12, 13, 10, 7, 11, 14, 15};

// So many blocks that the processor cannot learn them by heart.
constexpr std::size_t blocks = 4096;

std::vector<int16_t> residuals(std::size_t size)
{
    std::mt19937 random(1);
    std::normal_distribution<float> samples(0, 12);
    std::vector<int16_t> result(blocks * size);
    std::generate(result.begin(), result.end(), [&] { return static_cast<int16_t>(samples(random)); });
    return result;
}

// Runs `operation(block, source)` over all blocks by turns, where `block` has a copy of the residuals.
template <std::size_t size, class Operation>
void overBlocks(benchmark::State& state, Operation operation)
{
    const std::vector<int16_t> source = residuals(size);
    std::array<int16_t, size> block;
    for (std::size_t i = 0; auto _ : state) {
        std::copy_n(source.data() + i * size, size, block.data());
        operation(block.data());
        benchmark::DoNotOptimize(block);
        i = (i + 1) % blocks;
    }
    state.SetItemsProcessed(state.iterations());
}

template <std::size_t size>
constexpr auto scanPositions = [] {
    std::array<int16_t, size> positions;
    std::iota(positions.begin(), positions.end(), int16_t{0});
    return positions;
}();

uint8_t numLevels;
uint8_t lastPos;

void TransformQuantResidual(benchmark::State& state)
{
    overBlocks<16>(state, [](int16_t* block) {
        keliTransformQuantResidual_H264_16s_C1I(block, 28, &numLevels, 0, scanPositions<16>.data(), &lastPos);
    });
}
BENCHMARK(TransformQuantResidual);

void TransformQuantLumaDc(benchmark::State& state)
{
    std::array<int16_t, 16> transformed;
    overBlocks<16>(state, [&](int16_t* block) {
        keliTransformQuantLumaDC_H264_16s_C1I(block, transformed.data(), 28, &numLevels, 1,
                                              scanPositions<16>.data(), &lastPos);
    });
}
BENCHMARK(TransformQuantLumaDc);

void TransformQuantChromaDc(benchmark::State& state)
{
    std::array<int16_t, 4> transformed;
    overBlocks<4>(state, [&](int16_t* block) {
        keliTransformQuantChromaDC_H264_16s_C1I(block, transformed.data(), 28, &numLevels, 0, 1);
    });
}
BENCHMARK(TransformQuantChromaDc);

void TransformLuma8x8Fwd(benchmark::State& state)
{
    overBlocks<64>(state, [](int16_t* block) { keliTransformLuma8x8Fwd_H264_16s_C1I(block); });
}
BENCHMARK(TransformLuma8x8Fwd);

void QuantLuma8x8(benchmark::State& state)
{
    std::array<int16_t, 64> scale;
    scale.fill(600);
    int32_t levels = 0;
    int32_t last = 0;
    overBlocks<64>(state, [&](int16_t* block) {
        keliQuantLuma8x8_H264_16s_C1(block, block, 4, 0, scanPositions<64>.data(), scale.data(), &levels,
                                     &last);
    });
}
BENCHMARK(QuantLuma8x8);

// The argument is the QP; the smaller it is, the more levels there are.
void EncodeCoeffsCavlc(benchmark::State& state)
{
    struct Levels {
        std::array<int16_t, 16> block;
        uint8_t last;
    };
    const std::vector<int16_t> source = residuals(16);
    std::vector<Levels> quantised(blocks);
    constexpr auto positions = [] {
        std::array<int16_t, 16> p{};
        for (std::size_t i = 0; i < 16; i++)
            p[zigzag[i]] = static_cast<int16_t>(i);
        return p;
    }();
    for (std::size_t i = 0; i < blocks; i++) {
        std::copy_n(source.data() + i * 16, 16, quantised[i].block.data());
        keliTransformQuantResidual_H264_16s_C1I(quantised[i].block.data(),
                                                static_cast<int32_t>(state.range(0)), &numLevels, 0,
                                                positions.data(), &quantised[i].last);
    }
    std::array<uint8_t, 4> numbers;
    std::array<int16_t, 16> levels;
    std::array<uint8_t, 16> runs;
    int64_t coefficients = 0;
    for (std::size_t i = 0; auto _ : state) {
        keliEncodeCoeffsCAVLC_H264_16s(quantised[i].block.data(), 0, zigzag.data(), quantised[i].last,
                                       &numbers[0], &numbers[1], &numbers[2], &numbers[3], levels.data(),
                                       runs.data());
        benchmark::DoNotOptimize(levels);
        benchmark::DoNotOptimize(runs);
        coefficients += numbers[2];
        i = (i + 1) % blocks;
    }
    state.SetItemsProcessed(state.iterations());
    state.counters["coefficients/block"] =
        static_cast<double>(coefficients) / static_cast<double>(state.iterations());
}
BENCHMARK(EncodeCoeffsCavlc)->Arg(16)->Arg(28)->Arg(36);

} // namespace
