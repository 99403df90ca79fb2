// From macroblocks to samples: prediction (ITU-T H.263 6.1, Annexes F and G) and residual.
#pragma once

#include "common/padded_frame.h"
#include "h263/macroblock.h"

#include <cstddef>

namespace kelvcpx::app::h263 {

class Reconstruction
{
public:
    // `bTarget` is the B-picture of a PB-frame, otherwise null. `bInterval` and `interval` are the times from
    // the reference to the B-picture and to the target.
    Reconstruction(PictureContext& context, const PaddedFrame& reference, PaddedFrame& target,
                   PaddedFrame* bTarget, int bInterval, int interval);

    // The macroblock at the address, whose neighbours must be parsed if the blocks overlap. Uses up its
    // coefficients.
    void reconstruct(std::size_t address);

    // The macroblock at the same place of the reference.
    void conceal(std::size_t address);

private:
    void predictInter(const Macroblock& macroblock, int column, int row);
    void predictOverlapped(const Macroblock& macroblock, int column, int row);
    const Vector& remoteVector(const Macroblock& macroblock, std::size_t block, int column, int row,
                               std::size_t remoteBlock) const;
    void predictChroma(PaddedFrame& target, Vector vector, int column, int row) const;
    void reconstructB(const Macroblock& macroblock, int column, int row);
    void addBlocks(PaddedFrame& target, uint32_t pattern, std::size_t block, int column, int row);

    PictureContext& context_;
    const PaddedFrame& reference_;
    PaddedFrame& target_;
    PaddedFrame* bTarget_;
    int bInterval_;
    int interval_;
};

} // namespace kelvcpx::app::h263
