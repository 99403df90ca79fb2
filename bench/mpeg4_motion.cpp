// MPEG-4 Part 2 prediction: quarter samples, overlapped blocks.

#include <kelvcpx/mpeg4_motion.h>

#include <benchmark/benchmark.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace {

constexpr int32_t step = 1920;

struct Picture {
    std::vector<uint8_t> samples = std::vector<uint8_t>(std::size_t{64} * step);

    Picture()
    {
        std::mt19937 random(1);
        for (uint8_t& sample : samples)
            sample = static_cast<uint8_t>(random());
    }

    const uint8_t* reference() const { return &samples[std::size_t{8} * step + 67]; }
    uint8_t* destination() { return &samples[std::size_t{40} * step]; }
};

// Runs `operation(picture)`.
template <class Operation>
void predict(benchmark::State& state, Operation operation)
{
    Picture picture;
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(operation(picture));
        benchmark::ClobberMemory();
    }
}

using QuarterSample = Status(const uint8_t*, int32_t, uint8_t*, int32_t, int32_t, int32_t) noexcept;

// The argument is the position.
template <QuarterSample operation>
void CopyQP(benchmark::State& state)
{
    predict(state, [&](Picture& p) {
        return operation(p.reference(), step, p.destination(), step, static_cast<int32_t>(state.range(0)), 0);
    });
}
BENCHMARK(CopyQP<keliCopy8x8QP_MPEG4_8u_C1R>)->DenseRange(0, 15);
BENCHMARK(CopyQP<keliCopy16x8QP_MPEG4_8u_C1R>)->DenseRange(0, 15, 5);
BENCHMARK(CopyQP<keliCopy16x16QP_MPEG4_8u_C1R>)->DenseRange(0, 15);

using Overlapped = Status(const uint8_t*, int32_t, uint8_t*, int32_t, const MotionVector*,
                          const MotionVector*, const MotionVector*, const MotionVector*, const MotionVector*,
                          int32_t) noexcept;

// The argument is how many neighbours have vectors of their own.
template <Overlapped operation>
void Obmc(benchmark::State& state)
{
    const MotionVector own = {3, 5};
    const std::array<MotionVector, 4> others = {{{-3, 1}, {7, 0}, {2, 11}, {1, 1}}};
    const auto neighbour = [&](std::size_t i) {
        return i < static_cast<std::size_t>(state.range(0)) ? &others[i] : &own;
    };
    predict(state, [&](Picture& p) {
        return operation(p.reference(), step, p.destination(), step, &own, neighbour(0), neighbour(1),
                         neighbour(2), neighbour(3), 0);
    });
}
BENCHMARK(Obmc<keliOBMC8x8HP_MPEG4_8u_C1R>)->Arg(0)->Arg(4);
BENCHMARK(Obmc<keliOBMC16x16HP_MPEG4_8u_C1R>)->Arg(0)->Arg(4);
BENCHMARK(Obmc<keliOBMC8x8QP_MPEG4_8u_C1R>)->Arg(0)->Arg(4);

} // namespace
