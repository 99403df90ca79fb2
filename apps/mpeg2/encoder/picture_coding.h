// A picture while it is encoded: what is known about it, and what is decided for each macroblock.
#pragma once

#include "mpeg2/code_tables.h"
#include "mpeg2/headers.h"
#include "mpeg2/motion.h"
#include "mpeg2/prediction.h"

#include <array>
#include <cstdint>
#include <vector>

namespace kelvcpx::app::mpeg2 {

// How a macroblock is predicted. typePattern and typeQuant are not decided yet.
struct MacroblockPlan {
    int32_t type = typeIntra; // typeIntra, or typeForward, typeBackward or both
    MotionType motionType = MotionType::frame;
    MotionPair motion;

    bool has(int32_t flag) const { return (type & flag) != 0; }
};

// A frame picture. The references are reconstructions, as the decoder has them.
struct PictureCoding {
    const Sequence& sequence;
    Picture picture;
    Surface source;
    Surface target; // the reconstruction
    ReferencePair references;
    std::vector<MacroblockPlan> plans; // by macroblock address

    int macroblocksWide() const { return sequence.macroblocksWide(); }
    int macroblocksHigh() const { return sequence.macroblocksHigh(); }
    SourceList sourcesOf(const MacroblockPlan& plan, std::size_t r) const
    {
        return mpeg2::sourcesOf(references, plan.type, plan.motionType, plan.motion, r);
    }
};

} // namespace kelvcpx::app::mpeg2
