// Pictures of 4:2:2, 720x576: turned, de-interlaced, made small.

#include <kelvcpx/convert.h>

#include <benchmark/benchmark.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace {

constexpr RoiSize size = {720, 576};
constexpr int32_t packedStep = 2 * size.width;

std::vector<uint8_t> noise(std::size_t length)
{
    std::mt19937 random(1);
    std::vector<uint8_t> samples(length);
    for (uint8_t& sample : samples)
        sample = static_cast<uint8_t>(random());
    return samples;
}

const std::vector<uint8_t> source = noise(std::size_t{packedStep} * size.height);

struct Planes {
    std::vector<uint8_t> samples = noise(std::size_t{720} * 720 * 3);
    std::array<uint8_t*, 3> planes = {samples.data(), samples.data() + 720 * 720,
                                      samples.data() + 720 * 720 * 2};
    std::array<int32_t, 3> steps = {720, 360, 360};
};

// The argument is the rotation.
void RotatePacked(benchmark::State& state)
{
    Planes dst;
    for ([[maybe_unused]] auto _ : state) {
        keliCbYCr422ToYCbCr420_Rotate_8u_C2P3R(source.data(), packedStep, size, dst.planes.data(),
                                               dst.steps.data(), static_cast<int32_t>(state.range(0)));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(RotatePacked)->DenseRange(0, 3)->Unit(benchmark::kMicrosecond);

void RotatePlanes(benchmark::State& state)
{
    Planes dst;
    const std::array<const uint8_t*, 3> planes = {&source[0], &source[360 * 576], &source[360 * 576 + 360]};
    const std::array<int32_t, 3> steps = {360, 720, 360};
    for ([[maybe_unused]] auto _ : state) {
        keliCbYCr422ToYCbCr420_Rotate_8u_P3R(planes.data(), steps.data(), {720, 288}, dst.planes.data(),
                                             dst.steps.data(), static_cast<int32_t>(state.range(0)));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(RotatePlanes)->DenseRange(0, 3)->Unit(benchmark::kMicrosecond);

void DeinterlaceFilterTriangle(benchmark::State& state)
{
    Planes dst;
    for ([[maybe_unused]] auto _ : state) {
        keliDeinterlaceFilterTriangle_8u_C1R(source.data(), size.width, dst.planes[0], size.width, size, 128,
                                             0);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(DeinterlaceFilterTriangle)->Unit(benchmark::kMicrosecond);

// The arguments are factor, interpolation and rotation.
void ResizeCCRotate(benchmark::State& state)
{
    std::vector<uint16_t> dst(std::size_t{360} * 360);
    for ([[maybe_unused]] auto _ : state) {
        keliResizeCCRotate_8u_C2R(source.data(), packedStep, size, dst.data(), 720,
                                  static_cast<int32_t>(state.range(0)), static_cast<int32_t>(state.range(1)),
                                  0, static_cast<int32_t>(state.range(2)));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(ResizeCCRotate)->ArgsProduct({{2, 4, 8}, {1, 2}, {0, 1}})->Unit(benchmark::kMicrosecond);

} // namespace
