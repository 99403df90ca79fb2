// H.263 and H.261: filters of block edges, PB-frame prediction, resampling.

#include <kelvcpx/h261_filter.h>
#include <kelvcpx/h263_filter.h>

#include <benchmark/benchmark.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace {

constexpr int32_t step = 704;

std::vector<uint8_t> noise(std::size_t size)
{
    std::mt19937 random(1);
    std::vector<uint8_t> samples(size);
    for (uint8_t& sample : samples)
        sample = static_cast<uint8_t>(random());
    return samples;
}

// Runs `operation(p)` with a place inside a picture.
template <class Operation>
void filter(benchmark::State& state, Operation operation)
{
    std::vector<uint8_t> samples = noise(std::size_t{step} * 64);
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(operation(&samples[16 * step + 16]));
        benchmark::ClobberMemory();
    }
}

template <Status operation(uint8_t*, int32_t, int32_t) noexcept>
void Deblocking8x8(benchmark::State& state)
{
    filter(state, [](uint8_t* p) { return operation(p, step, 10); });
}
BENCHMARK(Deblocking8x8<keliFilterDeblocking8x8HorEdge_H263_8u_C1IR>);
BENCHMARK(Deblocking8x8<keliFilterDeblocking8x8VerEdge_H263_8u_C1IR>);

template <Status operation(uint8_t*, int32_t) noexcept>
void Edge16x16(benchmark::State& state)
{
    filter(state, [](uint8_t* p) { return operation(p, step); });
}
BENCHMARK(Edge16x16<keliFilterDeblocking16x16HorEdge_H263_8u_C1IR>);
BENCHMARK(Edge16x16<keliFilterDeblocking16x16VerEdge_H263_8u_C1IR>);
BENCHMARK(Edge16x16<keliFilterBlockBoundaryHorEdge_H263_8u_C1IR>);
BENCHMARK(Edge16x16<keliFilterBlockBoundaryVerEdge_H263_8u_C1IR>);

// A block of 8x8; the argument is the position.
void AddBackPredPB(benchmark::State& state)
{
    filter(state, [&](uint8_t* p) {
        return keliAddBackPredPB_H263_8u_C1R(p, step, {8, 8}, p + 32, step,
                                             static_cast<int32_t>(state.range(0)));
    });
}
BENCHMARK(AddBackPredPB)->DenseRange(0, 3);

void LoopFilterH261(benchmark::State& state)
{
    filter(state, [](uint8_t* p) { return keliFilter8x8_H261_8u_C1R(p, step, p + 32, step); });
}
BENCHMARK(LoopFilterH261);

} // namespace
