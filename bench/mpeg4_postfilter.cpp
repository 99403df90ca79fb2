// MPEG-4 Part 2 post-filters.

#include "operation.h"

#include <kelvcpx/mpeg4_postfilter.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace {

using namespace kelvcpx::bench;

constexpr int32_t step = 720;
constexpr std::size_t blocks = 64;

// Blocks side by side, each with a mean of its own and noise, on whose strength the modes depend.
struct NoisyBlocks {
    std::vector<uint8_t> original = std::vector<uint8_t>(std::size_t{step} * 32);
    std::vector<uint8_t> samples;
    std::size_t block = 0;
    std::array<int32_t, 6> thresholds{};
    std::array<uint8_t, 64> result{};

    explicit NoisyBlocks(int noise = 20)
    {
        std::array<uint8_t, step / 8> means;
        fillWithNoise(means, 120, 135);
        fillWithNoise(original, 0, noise);
        for (std::size_t i = 0; i < original.size(); i++)
            original[i] = static_cast<uint8_t>(original[i] + means[i % step / 8]);
        samples = original;
    }

    // Filtered samples are smooth: each edge is filtered once.
    uint8_t* nextEdge()
    {
        if (++block == blocks) {
            samples = original;
            block = 1;
        }
        return &samples[std::size_t{8} * step + 8 * block];
    }
};

void addFilters()
{
    for (const int noise : {1, 4, 20})
        add<keliFilterDeblocking8x8HorEdge_MPEG4_8u_C1IR, keliFilterDeblocking8x8VerEdge_MPEG4_8u_C1IR>(
            "noise=" + std::to_string(noise), [noise] { return NoisyBlocks(noise); },
            [](auto filter, NoisyBlocks& b) { return filter(b.nextEdge(), step, 8, 2, 6); });
    add<NoisyBlocks, keliFilterDeringingThreshold_MPEG4_8u_P3R>("", [](auto find, NoisyBlocks& b) {
        return find(b.samples.data(), step, &b.samples[64], step, &b.samples[128], step, b.thresholds.data());
    });
    add<NoisyBlocks, keliFilterDeringingSmooth8x8_MPEG4_8u_C1R>("", [](auto smooth, NoisyBlocks& b) {
        return smooth(&b.samples[8 * step + 8], step, b.result.data(), 8, 8, 128);
    });
}

[[maybe_unused]] const bool registered = (addFilters(), true);

} // namespace
