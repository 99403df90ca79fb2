// MPEG-4 Part 2 post-filters.

#include <kelvcpx/mpeg4_postfilter.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace {

constexpr int32_t step = 720;
constexpr int32_t blocks = 64;

// Blocks side by side, each with a mean of its own and noise: the argument is its strength, on which the
// modes depend.
std::vector<uint8_t> picture(int64_t noise)
{
    std::mt19937 random(1);
    std::uniform_int_distribution<int> noises(0, static_cast<int>(noise));
    std::vector<uint8_t> samples(std::size_t{step} * 32);
    std::array<int, step / 8> means;
    std::generate(means.begin(), means.end(), [&] { return 120 + static_cast<int>(random() % 16); });
    for (std::size_t i = 0; i < samples.size(); i++)
        samples[i] = static_cast<uint8_t>(means[i % step / 8] + noises(random));
    return samples;
}

using Deblock = Status(uint8_t*, int32_t, int32_t, int32_t, int32_t) noexcept;

template <Deblock operation>
void FilterDeblocking(benchmark::State& state)
{
    const std::vector<uint8_t> original = picture(state.range(0));
    std::vector<uint8_t> samples = original;
    int32_t block = 0;
    for ([[maybe_unused]] auto _ : state) {
        // Filtered samples are smooth: filter each edge once.
        if (++block == blocks) {
            samples = original;
            block = 1;
        }
        benchmark::DoNotOptimize(
            operation(&samples[8 * step + static_cast<std::size_t>(8 * block)], step, 8, 2, 6));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(FilterDeblocking<keliFilterDeblocking8x8HorEdge_MPEG4_8u_C1IR>)->Arg(1)->Arg(4)->Arg(20);
BENCHMARK(FilterDeblocking<keliFilterDeblocking8x8VerEdge_MPEG4_8u_C1IR>)->Arg(1)->Arg(4)->Arg(20);

void FilterDeringingThreshold(benchmark::State& state)
{
    const std::vector<uint8_t> samples = picture(20);
    std::array<int32_t, 6> thresholds;
    for ([[maybe_unused]] auto _ : state) {
        keliFilterDeringingThreshold_MPEG4_8u_P3R(samples.data(), step, &samples[64], step, &samples[128],
                                                  step, thresholds.data());
        benchmark::DoNotOptimize(thresholds);
    }
}
BENCHMARK(FilterDeringingThreshold);

void FilterDeringingSmooth8x8(benchmark::State& state)
{
    const std::vector<uint8_t> samples = picture(20);
    std::array<uint8_t, 64> result;
    for ([[maybe_unused]] auto _ : state) {
        keliFilterDeringingSmooth8x8_MPEG4_8u_C1R(&samples[8 * step + 8], step, result.data(), 8, 8, 128);
        benchmark::DoNotOptimize(result);
    }
}
BENCHMARK(FilterDeringingSmooth8x8);

} // namespace
