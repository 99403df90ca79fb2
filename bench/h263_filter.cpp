// H.263 and H.261: filters of block edges, PB-frame prediction, resampling.

#include <kelvcpx/h261_filter.h>
#include <kelvcpx/h263_filter.h>
#include <kelvcpx/h263_resample.h>

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

constexpr RoiSize cif = {352, 288};

// Between pictures of 352x288 and of twice that.
template <class Operation>
void resample(benchmark::State& state, Operation operation)
{
    std::vector<uint8_t> small = noise(std::size_t{352} * 288);
    std::vector<uint8_t> large = noise(std::size_t{704} * 576);
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(operation(small.data(), large.data()));
        benchmark::ClobberMemory();
    }
}

// The argument is the fill value.
void UpsampleFour(benchmark::State& state)
{
    resample(state, [&](uint8_t* small, uint8_t* large) {
        return keliUpsampleFour_H263_8u_C1R(small, 352, cif, large, 704, 0,
                                            static_cast<int32_t>(state.range(0)));
    });
}
BENCHMARK(UpsampleFour)->Arg(-1)->Arg(128);

// The argument is the type.
void SpatialInterpolation(benchmark::State& state)
{
    resample(state, [&](uint8_t* small, uint8_t* large) {
        return keliSpatialInterpolation_H263_8u_C1R(small, 352, cif, large, 704,
                                                    static_cast<int32_t>(state.range(0)));
    });
}
BENCHMARK(SpatialInterpolation)->DenseRange(1, 3);

void DownsampleFour(benchmark::State& state)
{
    resample(state, [](uint8_t* small, uint8_t* large) {
        return keliDownsampleFour_H263_8u_C1R(large, 704, {704, 576}, small, 352, 0);
    });
}
BENCHMARK(DownsampleFour);

template <Status operation(const int16_t*, int32_t, int16_t*, int32_t) noexcept>
void ResampleResidual(benchmark::State& state)
{
    std::array<int16_t, 256> src{};
    std::array<int16_t, 256> dst{};
    for (std::size_t i = 0; i < src.size(); i++)
        src[i] = static_cast<int16_t>(i * 37 % 101) - 50;
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(operation(src.data(), 32, dst.data(), 32));
        benchmark::DoNotOptimize(dst);
    }
}
BENCHMARK(ResampleResidual<keliUpsampleFour8x8_H263_16s_C1R>);
BENCHMARK(ResampleResidual<keliDownsampleFour16x16_H263_16s_C1R>);

} // namespace
