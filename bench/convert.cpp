// DV macroblocks into packed 4:2:2 pictures; items are macroblocks.

#include "operation.h"

#include <kelvcpx/convert.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace {

using namespace kelvcpx::bench;

constexpr int macroblocks = 5;
constexpr int32_t step = 1440;

struct Segment {
    static constexpr int items = macroblocks;

    Segment()
    {
        fillWithNoise(samples, -140, 140);
        for (std::size_t i = 0; i < macroblocks; i++) {
            sources[i] = samples.data() + 384 * i;
            destinations[i] = picture.data() + 64 * i;
        }
    }

    alignas(64) std::array<int16_t, macroblocks * 384> samples;
    std::vector<uint8_t> picture = std::vector<uint8_t>(16 * step);
    std::array<const int16_t*, macroblocks> sources;
    std::array<uint8_t*, macroblocks> destinations;
};

struct EdgeMacroblock : Segment {
    static constexpr int items = 1;
};

void addConversions()
{
    add<Segment, keliYCrCb411ToYCbCr422_5MBDV_16s8u_P3C2R, keliYCrCb411ToYCbCr422_ZoomOut2_5MBDV_16s8u_P3C2R,
        keliYCrCb411ToYCbCr422_ZoomOut4_5MBDV_16s8u_P3C2R, keliYCrCb420ToYCbCr422_5MBDV_16s8u_P3C2R,
        keliYCrCb420ToYCbCr422_ZoomOut2_5MBDV_16s8u_P3C2R, keliYCrCb420ToYCbCr422_ZoomOut4_5MBDV_16s8u_P3C2R,
        keliYCrCb420ToYCbCr422_ZoomOut8_5MBDV_16s8u_P3C2R, keliYCrCb422ToYCbCr422_5MBDV_16s8u_P3C2R,
        keliYCrCb422ToYCbCr422_ZoomOut2_5MBDV_16s8u_P3C2R, keliYCrCb422ToYCbCr422_ZoomOut4_5MBDV_16s8u_P3C2R>(
        "", [](auto convert, Segment& s) { return convert(s.sources.data(), s.destinations.data(), step); });
    add<Segment, keliYCrCb411ToYCbCr422_ZoomOut8_5MBDV_16s8u_P3C2R,
        keliYCrCb422ToYCbCr422_ZoomOut8_5MBDV_16s8u_P3C2R>(
        "", [](auto convert, Segment& s) { return convert(s.sources.data(), s.destinations.data()); });
    add<EdgeMacroblock, keliYCrCb411ToYCbCr422_EdgeDV_16s8u_P3C2R,
        keliYCrCb411ToYCbCr422_ZoomOut2_EdgeDV_16s8u_P3C2R,
        keliYCrCb411ToYCbCr422_ZoomOut4_EdgeDV_16s8u_P3C2R,
        keliYCrCb411ToYCbCr422_ZoomOut8_EdgeDV_16s8u_P3C2R>("", [](auto convert, EdgeMacroblock& m) {
        return convert(m.samples.data(), m.picture.data(), step);
    });
}

[[maybe_unused]] const bool registered = (addConversions(), true);

} // namespace
