// DV macroblocks into packed 4:2:2 pictures.

#include <kelvcpx/convert.h>

#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <vector>

namespace {

constexpr int macroblocks = 5;
constexpr int32_t step = 1440;

struct Segment {
    Segment()
    {
        for (std::size_t i = 0; i < macroblocks; i++) {
            sources[i] = samples.data() + 384 * i;
            destinations[i] = picture.data() + 64 * i;
        }
    }

    std::vector<int16_t> samples = std::vector<int16_t>(macroblocks * 384, 20);
    std::vector<uint8_t> picture = std::vector<uint8_t>(16 * step);
    std::array<const int16_t*, macroblocks> sources;
    std::array<uint8_t*, macroblocks> destinations;
};

using Stepped = Status (*)(const int16_t**, uint8_t**, int32_t) noexcept;

void ConvertDvSegment(benchmark::State& state, Stepped convert)
{
    Segment segment;
    for (auto _ : state) {
        convert(segment.sources.data(), segment.destinations.data(), step);
        benchmark::DoNotOptimize(segment.picture.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * macroblocks);
}
BENCHMARK_CAPTURE(ConvertDvSegment, 411, keliYCrCb411ToYCbCr422_5MBDV_16s8u_P3C2R);
BENCHMARK_CAPTURE(ConvertDvSegment, 411ZoomOut2, keliYCrCb411ToYCbCr422_ZoomOut2_5MBDV_16s8u_P3C2R);
BENCHMARK_CAPTURE(ConvertDvSegment, 411ZoomOut4, keliYCrCb411ToYCbCr422_ZoomOut4_5MBDV_16s8u_P3C2R);
BENCHMARK_CAPTURE(ConvertDvSegment, 420, keliYCrCb420ToYCbCr422_5MBDV_16s8u_P3C2R);
BENCHMARK_CAPTURE(ConvertDvSegment, 420ZoomOut2, keliYCrCb420ToYCbCr422_ZoomOut2_5MBDV_16s8u_P3C2R);
BENCHMARK_CAPTURE(ConvertDvSegment, 420ZoomOut4, keliYCrCb420ToYCbCr422_ZoomOut4_5MBDV_16s8u_P3C2R);
BENCHMARK_CAPTURE(ConvertDvSegment, 420ZoomOut8, keliYCrCb420ToYCbCr422_ZoomOut8_5MBDV_16s8u_P3C2R);
BENCHMARK_CAPTURE(ConvertDvSegment, 422, keliYCrCb422ToYCbCr422_5MBDV_16s8u_P3C2R);
BENCHMARK_CAPTURE(ConvertDvSegment, 422ZoomOut2, keliYCrCb422ToYCbCr422_ZoomOut2_5MBDV_16s8u_P3C2R);
BENCHMARK_CAPTURE(ConvertDvSegment, 422ZoomOut4, keliYCrCb422ToYCbCr422_ZoomOut4_5MBDV_16s8u_P3C2R);

} // namespace
