// Pictures of 8-bit samples, and the positions of half-sample prediction.
#pragma once

#include "operation.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace kelvcpx::bench {

constexpr int32_t step = 1920;

// References, a current block and a residual, at addresses as decoding meets them: the references anywhere,
// the rest aligned.
struct Picture {
    alignas(64) std::array<uint8_t, std::size_t{64} * step> samples;
    alignas(64) std::array<int16_t, 256> residual;

    Picture()
    {
        fillWithNoise(samples);
        fillWithNoise(residual, -32, 31);
    }

    const uint8_t* forward() const { return &samples[std::size_t{8} * step + 67]; }
    const uint8_t* backward() const { return &samples[std::size_t{8} * step + 269]; }
    uint8_t* current() { return &samples[std::size_t{40} * step]; }
};

struct Position {
    std::string name;
    int32_t acc;
    int32_t mcType;
};

inline const std::array<Position, 4> positions = {
    {{"full", 0, 0}, {"right", 1, 8}, {"down", 2, 4}, {"both", 3, 12}}};

} // namespace kelvcpx::bench
