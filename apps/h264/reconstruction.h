// From coefficients to samples: intra prediction and the residual (ITU-T H.264 8.3, 8.5).
#pragma once

#include "h264/current_macroblock.h"
#include "h264/reconstruction_operations.h"

namespace kelvcpx::app::h264 {

template <class Sample>
class Reconstructor
{
public:
    explicit Reconstructor(const SliceContext& slice);

    // An intra macroblock: prediction and residual. Throws DamagedUnit for a mode that its neighbours do not
    // allow.
    void reconstructIntra(const CurrentMacroblock& current) const;

    // The residual of an inter macroblock, onto its prediction in the picture.
    void addResidual(const CurrentMacroblock& current) const;

private:
    using Coefficient = CoefficientOf<Sample>;
    using Record = ComponentRecord<Sample>;

    // Neighbours that intra prediction must not look at, as flags of the library's operations. In a field
    // macroblock beside frame macroblocks those of the lower half may differ.
    struct Edges {
        uint8_t upper;
        uint8_t lower;

        bool differ() const { return upper != lower; }
        uint8_t whole() const { return upper | lower; }
    };
    Edges edgesOf(const Neighbourhood& around) const;

    void placePcm(const Place& place, Macroblock& macroblock) const;
    Status reconstructIntraLuma(const Macroblock& macroblock, Record& record, const Edges& edges) const;
    Status reconstructIntraHalves(const Macroblock& macroblock, Record& record, const Edges& edges) const;
    Status reconstructIntraChroma(const Macroblock& macroblock, const Record& cb, const Record& cr,
                                  const Edges& edges) const;

    Record lumaRecord(const Place& place, const Macroblock& macroblock, Coefficient** coefficients) const;
    Record chromaRecord(const Place& place, const Macroblock& macroblock, std::size_t component,
                        Coefficient** coefficients) const;

    const SliceContext& slice_;
    bool hasChroma_;
    bool is422_;
    int bitDepth_;
    int qpRange_; // QpBdOffset
};

// Turns the differences of a losslessly coded macroblock that is predicted horizontally or vertically into
// the residual (8.5.15). A chroma component has `chromaBlocks` 4x4 blocks.
template <class Coefficient>
void accumulateLosslessResidual(Macroblock& macroblock, std::size_t chromaBlocks);

extern template class Reconstructor<uint8_t>;
extern template class Reconstructor<uint16_t>;

} // namespace kelvcpx::app::h264
