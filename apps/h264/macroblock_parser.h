// The macroblock layer of CAVLC slices (ITU-T H.264 7.3.5).
#pragma once

#include "h264/slice_context.h"

namespace kelvcpx::app::h264 {

class MacroblockParser
{
public:
    MacroblockParser(const SliceContext& slice, BitReader& reader);

    // Reads one macroblock, without what mb_skip_run says, into `macroblock`, and what later ones need of it
    // into its MbInfo. Throws DamagedUnit for what the standard forbids.
    void parse(int address, Macroblock& macroblock);

private:
    void parseType(Macroblock& macroblock);
    void parseIntraType(int type, Macroblock& macroblock);
    void parsePcm(Macroblock& macroblock);
    void parseIntraModes(Macroblock& macroblock);
    int predictedIntraMode(std::size_t x, std::size_t y) const;
    void parseSubTypes(Macroblock& macroblock);
    void parseReferences(Macroblock& macroblock);
    void parseVectors(Macroblock& macroblock);
    bool allowsTransform8x8(const Macroblock& macroblock) const;
    void parsePatternAndQp(Macroblock& macroblock);
    void parseResidual(Macroblock& macroblock);
    void parseLuma4x4(const Macroblock& macroblock, int16_t** coefficients, uint32_t& codedBlocks);
    void parseLuma8x8(const Macroblock& macroblock, int16_t** coefficients, uint32_t& codedBlocks);
    void parseChroma(const Macroblock& macroblock, int16_t** coefficients, uint32_t& codedBlocks);

    // One residual block at *coefficients; the number of its coefficients.
    int parseBlock(int16_t** coefficients, int nC, int16_t maxNumCoeff, const int32_t* scan);
    int totalCoeffContext(std::size_t component, int width, int x, int y) const; // nC

    int readUe();
    int readSe();

    const SliceContext& slice_;
    BitReader& reader_;
    Neighbours neighbours_{};
    MbInfo* info_ = nullptr;
    int qp_; // QPY of the macroblock before
};

} // namespace kelvcpx::app::h264
