// The macroblock layer (ITU-T H.264 7.3.5), by the reader of either entropy code.
#pragma once

#include "h264/cabac_reader.h"
#include "h264/cavlc_reader.h"

namespace kelvcpx::app::h264 {

template <class Reader>
class MacroblockParser
{
public:
    MacroblockParser(const SliceContext& slice, BitReader& reader);

    Reader& reader() { return reader_; }

    // Reads one macroblock, without what says whether it is skipped or of which mode its pair is, and notes
    // what later ones need of it in its MbInfo. Throws DamagedUnit for what the standard
    // forbids.
    void parse(const CurrentMacroblock& current);

    // Notes that a macroblock is skipped.
    void skip(const CurrentMacroblock& current);

private:
    void startMacroblock();
    void parseType(Macroblock& macroblock);
    void parseIntraType(int type, Macroblock& macroblock);
    void parsePcm(Macroblock& macroblock);
    void parseIntra(Macroblock& macroblock);
    void parseInter(Macroblock& macroblock);
    void parseIntraModes(Macroblock& macroblock);
    int predictedIntraMode(std::size_t x, std::size_t y) const;
    void parseSubTypes(Macroblock& macroblock);
    void parseReferences(Macroblock& macroblock);
    void parseVectors(Macroblock& macroblock);
    bool allowsTransform8x8(const Macroblock& macroblock) const;
    void parsePatternAndQp(Macroblock& macroblock);
    template <class Coefficient>
    void parseResidual(Macroblock& macroblock);
    template <class Coefficient>
    void parseLuma(Macroblock& macroblock, Coefficient** coefficients);
    template <class Coefficient>
    void parseChroma(Macroblock& macroblock, Coefficient** coefficients);

    const SliceContext& slice_;
    Reader reader_;
    const CurrentMacroblock* current_ = nullptr;
    MbInfo* info_ = nullptr;
    int qp_;      // QPY of the macroblock before
    int qpRange_; // QpBdOffsetY
};

extern template class MacroblockParser<CavlcReader>;
extern template class MacroblockParser<CabacReader>;

} // namespace kelvcpx::app::h264
