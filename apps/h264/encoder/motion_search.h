// The search for the motion vector of a block: the one with the smallest sum of absolute differences and of
// the bits that its coding takes.
#pragma once

#include "h264/encoder/compensation.h"
#include "h264/encoder/rate.h"
#include "h264/encoder/samples.h"

#include <kelvcpx/types.h>

#include <array>
#include <cstdint>
#include <span>

namespace kelvcpx::app::h264::encoder {

struct Motion {
    Vector vector;
    int cost = 0; // absolute differences and bits
};

class MotionSearch
{
public:
    MotionSearch(const Surface& reference, const Lambda& lambda) : reference_(reference), lambda_(lambda) {}

    // A block of 16x16, 16x8, 8x16 or 8x8 samples.
    struct Block {
        SourcePlace source;
        int x; // in the picture
        int y;
        RoiSize size;
    };

    // Begins at the best of the candidates. `predicted` is what the vector is coded as a difference to.
    Motion search(const Block& block, const VectorRange& range, Vector predicted,
                  std::span<const Vector> candidates);

private:
    int vectorCost(Vector v) const;
    int difference(const SourcePlace& source, const uint8_t* samples, int32_t step) const;
    void tryWhole(Vector v);
    void tryPart(Vector v);
    void searchWhole(std::span<const Vector> candidates);
    void refine(int distance);

    const Surface& reference_;
    const Lambda& lambda_;

    const Block* block_ = nullptr;
    const VectorRange* range_ = nullptr;
    Vector predicted_;
    Motion best_;
    alignas(32) std::array<uint8_t, 256> prediction_;
};

} // namespace kelvcpx::app::h264::encoder
