// Motion vectors: their coding and prediction (ISO/IEC 13818-2 7.6.3).
#pragma once

#include "common/bit_reader.h"
#include "common/motion_vector.h"
#include "mpeg2/headers.h"

#include <array>

namespace kelvcpx::app::mpeg2 {

using Vector = MotionVector;

enum class MotionType { none, frame, field, sixteenByEight, dualPrime };

// The motion of one macroblock in one direction.
struct Motion {
    std::array<Vector, 2> vectors;
    std::array<int, 2> fieldSelect{}; // parity of the field that each of them refers to
    Vector differential;              // dmvector, of dual prime
};

// The vector predictors PMV[r][s][t] of a slice.
class MotionPredictor
{
public:
    explicit MotionPredictor(const Picture& picture) : picture_(picture) {}

    void reset() { predictors_ = {}; }

    // The vector of a skipped macroblock of a B picture, and of those that repeat it.
    Vector predicted(int direction) const;

    // Reads the vectors of a macroblock, direction 0 forward, 1 backward: motion_vectors(s) of 6.2.5.2.
    Motion read(BitReader& reader, MotionType type, int direction);

private:
    // One vector; `vertical` counts the lines of a field in a frame picture.
    Vector readVector(BitReader& reader, std::size_t r, int direction, bool fieldInFrame,
                      Vector* differential);
    int readComponent(BitReader& reader, int prediction, int fCode) const;

    const Picture& picture_;
    std::array<std::array<Vector, 2>, 2> predictors_{}; // [r][s]
};

// The two vectors of dual prime prediction that point to the field of opposite parity (7.6.3.6): of a frame
// picture for the top and the bottom field, of a field picture just the first.
std::array<Vector, 2> oppositeParityVectors(const Motion& motion, const Picture& picture);

} // namespace kelvcpx::app::mpeg2
