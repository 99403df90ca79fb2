// Writes motion vectors (ISO/IEC 13818-2 6.2.5.2, 7.6.3) of frame pictures.
#pragma once

#include "common/bit_writer.h"
#include "mpeg2/motion.h"

#include <array>

namespace kelvcpx::app::mpeg2 {

class MotionWriter
{
public:
    explicit MotionWriter(const Picture& picture) : picture_(picture) {}

    void reset() { predictors_ = {}; }

    // The vector that a skipped macroblock of a B picture has.
    Vector predicted(int direction) const { return predictors_[0][static_cast<std::size_t>(direction)]; }

    // The vectors of a macroblock with frame or field motion; direction 0 is forward, 1 backward.
    void write(BitWriter& bits, const Motion& motion, MotionType type, int direction);

    // The least f_code whose range has the component.
    static int fCodeFor(int component);

private:
    void writeComponent(BitWriter& bits, int value, int prediction, int fCode) const;

    const Picture& picture_;
    std::array<std::array<Vector, 2>, 2> predictors_{}; // PMV[r][s]
};

} // namespace kelvcpx::app::mpeg2
