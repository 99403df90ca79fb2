// Prediction of motion vectors (ITU-T H.264 8.4.1.1, 8.4.1.3), for one reference picture and partitions of
// 8x8 blocks and larger.
#pragma once

#include "h264/frame.h"
#include "h264/macroblock.h"

#include <array>
#include <cstddef>

namespace kelvcpx::app::h264::encoder {

class MotionPredictor
{
public:
    // `field` holds the motion of the macroblocks before this one.
    MotionPredictor(const MotionField& field, int mbX, int mbY) : field_(field), mbX_(mbX), mbY_(mbY) {}

    // What the vector of a partition is coded as a difference to. `vectors` are those of the 8x8 blocks of
    // the macroblock, of which the partitions before it are used.
    Vector predict(Partitioning partitioning, std::size_t partition,
                   const std::array<Vector, 4>& vectors) const;

    // The vector of P_Skip.
    Vector skipVector() const;

private:
    // What a neighbouring block contributes.
    struct Neighbour {
        bool available = false;
        bool inter = false;
        Vector vector;
    };

    Neighbour at(int x8, int y8, std::size_t firstBlock, const std::array<Vector, 4>& vectors) const;
    Neighbour outside(int x8, int y8) const;

    const MotionField& field_;
    int mbX_;
    int mbY_;
};

} // namespace kelvcpx::app::h264::encoder
