// A macroblock of an H.264 picture with its neighbours, and the coefficients to reconstruct it from.
#pragma once

#include "operation.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <random>

namespace kelvcpx::bench {

constexpr int32_t mbStep = 64;

// How many coefficients the blocks have: none, the DC, and typically with a residual.
constexpr std::array<std::size_t, 3> coefficientCounts(std::size_t blockSize)
{
    return {0, 1, blockSize == 64 ? std::size_t{12} : std::size_t{6}};
}

template <class T, class Coefficient>
struct Macroblock {
    // All blocks have so many coefficients, at the first zigzag positions; the modes are any.
    Macroblock(std::size_t blockSize, std::size_t coefficientsOfBlock)
    {
        fillWithNoise(samples, 100, 149);
        scales.fill(20 * 16);
        constexpr std::array<std::size_t, 12> zigzag4x4 = {0, 1, 4, 8, 5, 2, 3, 6, 9, 12, 13, 10};
        std::mt19937 random(5);
        for (std::size_t i = 0; i < coefficients.size(); i += blockSize)
            for (std::size_t k = 0; k < coefficientsOfBlock; k++)
                coefficients[i + zigzag4x4[k]] = static_cast<Coefficient>(random() % 5 - 2 + 2 * (k == 0));
        for (uint32_t& mode : modes)
            mode = static_cast<uint32_t>(random() % 9);
    }

    T* luma() { return samples.data() + mbStep + 16; }
    T* cb() { return samples.data() + mbStep + 16; }
    T* cr() { return samples.data() + mbStep + 32; }

    // The coefficients, from the first one on.
    Coefficient** stream()
    {
        next = coefficients.data();
        return &next;
    }

    alignas(64) std::array<T, mbStep * 32> samples;
    alignas(64) std::array<Coefficient, 384> coefficients{};
    alignas(64) std::array<int16_t, 64> scales;
    std::array<uint32_t, 16> modes;
    Coefficient* next = nullptr;
};

} // namespace kelvcpx::bench
