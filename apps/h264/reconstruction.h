// From coefficients to samples: intra prediction and the residual (ITU-T H.264 8.3, 8.5).
#pragma once

#include "h264/neighbourhood.h"

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
    // Neighbours that intra prediction must not look at, as flags of the library's operations. In a field
    // macroblock beside frame macroblocks those of the lower half may differ.
    struct Edges {
        uint8_t upper;
        uint8_t lower;

        bool differ() const { return upper != lower; }
        uint8_t whole() const { return upper | lower; }
    };
    static uint8_t lowerHalf(const Edges& edges);
    Edges edgesOf(int address) const;

    void placePcm(const Place& place, const Macroblock& macroblock) const;
    void reconstructIntraLuma(const Macroblock& macroblock, int16_t** coefficients, uint8_t* dst,
                              int32_t step, const Edges& edges) const;
    void reconstructIntraChroma(const Macroblock& macroblock, int16_t** coefficients, const Place& place,
                                const Edges& edges) const;
    int chromaQpOf(const Macroblock& macroblock, std::size_t component) const;

    const SliceContext& slice_;
};

// Turns the differences of a losslessly coded macroblock that is predicted horizontally or vertically into
// the residual (8.5.15).
void accumulateLosslessResidual(Macroblock& macroblock);

} // namespace kelvcpx::app::h264
