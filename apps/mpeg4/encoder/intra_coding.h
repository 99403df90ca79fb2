// What of an intra macroblock is written: its levels less their prediction (ISO/IEC 14496-2 7.4.3).
#pragma once

#include "common/predictive_encoder.h"
#include "mpeg4/intra_prediction.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace kelvcpx::app::mpeg4 {

struct IntraDifferences {
    bool predictsAc = false;
    alignas(32) std::array<std::array<int16_t, 64>, 6> blocks;
    std::array<int32_t, 6> acCounts; // of differences that are not zero, the DC left aside
    std::array<int32_t, 6> scans;    // as the library names them
};

class IntraCoding
{
public:
    IntraCoding(const VopContext& context) : context_(context), predictor_(context) {}

    // Predicts the AC coefficients too if that makes them smaller. The motion record of the macroblock says
    // already that it is intra.
    void code(Macroblock& macroblock, const MacroblockLevels& levels, IntraDifferences& differences);

private:
    using Block = std::array<int16_t, 64>;

    void keep(const Macroblock& macroblock, std::size_t i, const Block& levels);

    const VopContext& context_;
    IntraPredictor predictor_;
};

} // namespace kelvcpx::app::mpeg4
