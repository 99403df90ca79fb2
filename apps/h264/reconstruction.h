// From coefficients to samples: intra prediction and the residual (ITU-T H.264 8.3, 8.5).
#pragma once

#include "h264/slice_context.h"

namespace kelvcpx::app::h264 {

class Reconstructor
{
public:
    explicit Reconstructor(const SliceContext& slice) : slice_(slice) {}

    // An intra macroblock: prediction and residual. Throws DamagedUnit for a mode that its neighbours do not
    // allow.
    void reconstructIntra(int address, Macroblock& macroblock) const;

    // The residual of an inter macroblock, onto its prediction in the picture.
    void addResidual(int address, Macroblock& macroblock) const;

private:
    uint8_t edgeFlags(int address) const;
    void placePcm(int address, const Macroblock& macroblock) const;
    void reconstructIntraLuma(const Macroblock& macroblock, int16_t** coefficients, uint8_t* dst,
                              int32_t step, uint8_t edges) const;
    void reconstructIntraChroma(const Macroblock& macroblock, int16_t** coefficients, int address,
                                uint8_t edges) const;
    int chromaQpOf(const Macroblock& macroblock, std::size_t component) const;

    const SliceContext& slice_;
};

// Turns the differences of a losslessly coded macroblock that is predicted horizontally or vertically into
// the residual (8.5.15).
void accumulateLosslessResidual(Macroblock& macroblock);

} // namespace kelvcpx::app::h264
