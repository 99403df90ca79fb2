// Constants of DV (IEC 61834-2, SMPTE 314M) and DV100 (SMPTE 370M).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace kelvcpx::dv {

// Bytes of the areas of a compressed macroblock, in block order.
inline constexpr std::array<uint8_t, 6> nDVSD_BitSequenceLengths = {14, 14, 14, 14, 10, 10};
inline constexpr std::array<uint8_t, 8> nDV100_BitSequenceLengths = {10, 10, 10, 10, 10, 10, 8, 8};

// Factors of the 8-point DCT along rows: by output frequency m and pair n of inputs,
// 2^13 * c(m) * cos((2n + 1) m pi / 16) with c(0) = 1 and c(m) = sqrt(2), rounded.
using FrequencyWeights = std::array<std::array<int16_t, 4>, 8>;

constexpr FrequencyWeights frequencyWeights(double scale)
{
    constexpr double root2 = 1.4142135623730951;
    // cos(k pi / 16)
    constexpr std::array<double, 9> cosine = {
        1,         0.9807852804032304, 0.9238795325112867, 0.8314696123025452,
        root2 / 2, 0.5555702330196022, 0.3826834323650898, 0.19509032201612828,
        0};
    FrequencyWeights weights{};
    for (std::size_t m = 0; m < 8; m++) {
        for (std::size_t n = 0; n < 4; n++) {
            const std::size_t turn = (2 * n + 1) * m % 32;         // 32 are a whole circle
            const std::size_t half = turn > 16 ? 32 - turn : turn; // cos(-x) = cos(x)
            const double value = half > 8 ? -cosine[16 - half] : cosine[half];
            const double weight = scale * (m == 0 ? 1 : root2) * value;
            weights[m][n] = static_cast<int16_t>(weight + (weight < 0 ? -0.5 : 0.5));
        }
    }
    return weights;
}

// For rows of even vertical frequencies, and for rows of odd ones, which lack a factor of
// sqrt(2) * cos(pi / 8).
inline constexpr FrequencyWeights w_4 = frequencyWeights(8192);
inline constexpr FrequencyWeights w_2 = frequencyWeights(8192 * 1.3065629648763766);

} // namespace kelvcpx::dv
