// MPEG-4 Part 2 sprites and global motion compensation. The argument is the number of warping points.

#include <kelvcpx/mpeg4_motion.h>

#include <benchmark/benchmark.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace {

constexpr RoiRect picture = {0, 0, 720, 576};
constexpr RoiRect macroblock = {320, 240, 16, 16};
constexpr RoiRect chromaBlock = {160, 120, 8, 8};

struct Warping {
    std::vector<uint8_t> reference = std::vector<uint8_t>(std::size_t{720} * 576);
    std::array<uint8_t, 256> prediction{};
    std::vector<char> buffer;

    explicit Warping(int64_t points)
    {
        std::mt19937 random(1);
        for (uint8_t& sample : reference)
            sample = static_cast<uint8_t>(random());
        int32_t size = 0;
        keliWarpGetSize_MPEG4(&size);
        buffer.resize(static_cast<std::size_t>(size));
        init(points);
    }

    Status init(int64_t points)
    {
        const std::array<int32_t, 4> du = {5, -3, 6, 2};
        const std::array<int32_t, 4> dv = {1, 4, -2, -2};
        return keliWarpInit_MPEG4(reinterpret_cast<WarpSpec*>(buffer.data()), du.data(), dv.data(),
                                  static_cast<int32_t>(points), points == 4 ? 1 : 2, 3, 0, 0, 2, &picture,
                                  &picture);
    }

    const WarpSpec* spec() const { return reinterpret_cast<const WarpSpec*>(buffer.data()); }
};

template <class Operation>
void repeat(benchmark::State& state, Operation operation)
{
    Warping warping(state.range(0));
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(operation(warping));
        benchmark::ClobberMemory();
    }
}

void WarpInit(benchmark::State& state)
{
    repeat(state, [&](Warping& w) { return w.init(state.range(0)); });
}
BENCHMARK(WarpInit)->DenseRange(0, 4);

void WarpLuma16x16(benchmark::State& state)
{
    repeat(state, [](Warping& w) {
        return keliWarpLuma_MPEG4_8u_C1R(w.reference.data(), picture.width, w.prediction.data(), 16,
                                         &macroblock, w.spec());
    });
}
BENCHMARK(WarpLuma16x16)->DenseRange(0, 4);

void WarpChroma8x8(benchmark::State& state)
{
    repeat(state, [](Warping& w) {
        return keliWarpChroma_MPEG4_8u_P2R(w.reference.data(), 360, w.reference.data() + 360 * 288, 360,
                                           w.prediction.data(), 16, w.prediction.data() + 8, 16, &chromaBlock,
                                           w.spec());
    });
}
BENCHMARK(WarpChroma8x8)->DenseRange(0, 4);

void CalcGlobalMV(benchmark::State& state)
{
    MotionVector vector;
    repeat(state,
           [&](Warping& w) { return keliCalcGlobalMV_MPEG4(macroblock.x, macroblock.y, &vector, w.spec()); });
}
BENCHMARK(CalcGlobalMV)->DenseRange(0, 3);

// A picture; the argument is the change.
void ChangeSpriteBrightness(benchmark::State& state)
{
    Warping warping(0);
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(
            keliChangeSpriteBrightness_MPEG4_8u_C1IR(warping.reference.data(), picture.width, picture.width,
                                                     picture.height, static_cast<int32_t>(state.range(0))));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(ChangeSpriteBrightness)->Arg(-10)->Arg(10);

} // namespace
