// The macroblocks of a slice (ITU-T H.264 7.3.4).
#pragma once

#include "h264/inter_prediction.h"
#include "h264/macroblock_parser.h"
#include "h264/motion_vectors.h"
#include "h264/reconstruction.h"

#include <cstddef>

namespace kelvcpx::app::h264 {

class SliceDecoder
{
public:
    SliceDecoder(const SliceContext& slice, BitReader& reader, std::size_t stopBit);

    // Decodes all macroblocks. Throws DamagedUnit where the slice breaks off; what came before is in the
    // picture.
    void decode();

private:
    void decodeMacroblock(int address);
    void skipMacroblock(int address);
    void reconstructInter(int address);
    int nextAddress(int address) const; // of the slice group
    bool hasMoreData() const { return reader_.position() < stopBit_; }

    const SliceContext& slice_;
    BitReader& reader_;
    std::size_t stopBit_;
    MacroblockParser parser_;
    MotionDeriver motion_;
    InterPredictor predictor_;
    Reconstructor reconstructor_;
    Macroblock macroblock_;
    int qp_;
};

} // namespace kelvcpx::app::h264
