// Motion vectors of a VOP (ISO/IEC 14496-2 7.6.3, 7.6.5, 7.6.9).
#pragma once

#include "mpeg4/vop.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace kelvcpx::app::mpeg4 {

// Reads the vectors of macroblocks and keeps what those of others are predicted from.
class MotionReader
{
public:
    explicit MotionReader(const VopContext& context) : context_(context) {}

    // The vectors of a macroblock of a P- or S-VOP whose kind of motion is set; the record of its address
    // says which packet it is in.
    void readForward(CodeReader& reader, Macroblock& macroblock);

    // The motion of a macroblock that is predicted by warping.
    void setGlobal(Macroblock& macroblock);

    // The vectors of a macroblock of a B-VOP; `type` tells which there are. Predictions are along the row.
    void readBidirectional(CodeReader& reader, Macroblock& macroblock, int32_t type);
    void resetRow() { rowPredictors_ = {}; }

private:
    Vector predicted(const Macroblock& macroblock, std::size_t block) const;
    Vector read(CodeReader& reader, Vector predictor, int fcode) const;
    void readDirection(CodeReader& reader, Macroblock& macroblock, std::size_t direction);
    MacroblockMotion& motionOf(const Macroblock& macroblock) const
    {
        return context_.target->motion[static_cast<std::size_t>(macroblock.address)];
    }

    const VopContext& context_;
    std::array<std::array<Vector, 2>, 2> rowPredictors_{}; // of B-VOPs, by direction and field
};

// The vectors of direct mode with a difference (7.6.9.5).
void setDirect(const VopContext& context, Macroblock& macroblock, Vector difference);

} // namespace kelvcpx::app::mpeg4
