// Scans, quantiser steps and weights (IEC 61834-2, SMPTE 314M, SMPTE 370M) as the library's operations take
// them.
#pragma once

#include "dv/system.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace kelvcpx::app::dv {

// The word that segment decoding gives for a block.
struct BlockInfo {
    uint32_t word;

    std::size_t quantisation() const { return word >> 16 & 15; }
    std::size_t classNumber() const { return word >> 4 & 3; }
    std::size_t mode() const { return word >> 6 & 1; }
};

class Dequantiser
{
public:
    explicit Dequantiser(const System& system);

    // For the segment decoder: 8x8 blocks come out transposed, 2-4-8 blocks in raster order.
    const uint32_t* scans() const { return scans_.data(); }

    // The DC of the result is eight times the mean.
    void dequantise(int16_t* block, BlockInfo info, bool isChroma) const;

    // The same to within a few units, which a reduced picture does not show.
    void dequantiseRoughly(int16_t* block, BlockInfo info, bool isChroma) const;

private:
    void prepareSd();
    void prepareHd(bool is720);

    using Block = std::array<int16_t, 64>;
    template <class T>
    using ByClassAndNumber = std::array<std::array<T, 16>, 4>;

    bool isHd_;
    std::array<uint32_t, 128> scans_{};
    // By DCT mode; in DV100 for luma and chroma.
    std::array<ByClassAndNumber<Block>, 2> steps_{};
    std::array<Block, 2> weights_{};
    std::array<ByClassAndNumber<Block>, 2> factors_{}; // steps and weights in one, for dequantiseRoughly()
};

} // namespace kelvcpx::app::dv
