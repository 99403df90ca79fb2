// Motion search at half-sample precision, for the encoders of every standard that predicts blocks so.
#pragma once

#include "common/motion_vector.h"

#include <cstdint>
#include <span>

namespace kelvcpx::app {

// Vectors that may be used, all four limits included. The reference must have all samples that they reach.
struct VectorLimits {
    int left;
    int right;
    int top;
    int bottom;

    bool contain(MotionVector v) const { return v.x >= left && v.x <= right && v.y >= top && v.y <= bottom; }
};

// A block of 16 columns and 16 or 8 rows, and where it is looked for.
struct SearchBlock {
    const uint8_t* current;
    int32_t currentStep;
    const uint8_t* reference; // the sample that the zero vector points to
    int32_t referenceStep;
    int height;
    VectorLimits limits; // the zero vector is inside
};

// What a vector costs: the sum of absolute differences, and its bits at some worth each.
struct VectorCost {
    MotionVector predicted; // vectors next to it take few bits
    int bitWorth;

    int operator()(MotionVector vector) const;
};

struct FoundVector {
    MotionVector vector;
    int sad;
    int cost; // the SAD and the bits of the vector
};

// Bits of a vector component that differs so much from its prediction, about.
int vectorBits(int difference);

// The sum of absolute differences at a vector.
int sadAt(const SearchBlock& block, MotionVector vector);

// Tries the candidates, goes from the best one where the cost falls, and refines the result to half samples.
FoundVector searchMotion(const SearchBlock& block, std::span<const MotionVector> candidates,
                         const VectorCost& cost);

} // namespace kelvcpx::app
