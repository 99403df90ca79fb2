// The macroblocks of a slice (ITU-T H.264 7.3.4).
#pragma once

#include "h264/inter_prediction.h"
#include "h264/macroblock_parser.h"
#include "h264/motion_vectors.h"
#include "h264/reconstruction.h"

#include <cstddef>

namespace kelvcpx::app::h264 {

// Decodes all macroblocks of a slice. Throws DamagedUnit where the slice breaks off; what came before is in
// the picture. Behind `stopBit` there is no more slice data.
void decodeSlice(const SliceContext& slice, BitReader& reader, std::size_t stopBit);

template <class Reader>
class SliceDecoder
{
public:
    SliceDecoder(const SliceContext& slice, BitReader& reader, std::size_t stopBit);

    void decode();

private:
    void decodeMacroblock();
    void skipMacroblock();
    void reconstructInter();

    // Macroblocks are visited in the order of their addresses in the standard.
    void start();
    void advance();
    void requireMacroblock() const;
    bool sharesGroup(int address) const;
    bool isTopOfPair() const;

    // Pairs of macroblocks (MBAFF)
    bool inferredPairMode() const; // 7.4.4
    void setPairMode(bool field);
    void skipCavlcRun();
    void readPairModeOfSkipped(bool& bottomIsSkipped);

    bool hasMoreData() const { return reader_.position() < stopBit_; }

    const SliceContext& slice_;
    BitReader& reader_;
    std::size_t stopBit_;
    int address_ = 0;
    bool previousIsSkipped_ = false; // prevMbSkipped
    MacroblockParser<Reader> parser_;
    MotionDeriver motion_;
    InterPredictor predictor_;
    Reconstructor reconstructor_;
    Macroblock macroblock_;
};

} // namespace kelvcpx::app::h264
