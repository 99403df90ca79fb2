// What a bit is worth in terms of distortion.
#pragma once

#include <cmath>
#include <cstdint>

namespace kelvcpx::app::h264::encoder {

// Of a quantiser. A bit is worth as much squared error as goes with the square of the quantiser step, which
// doubles every six QP, and as much absolute error as its root; the factors were found by trial.
class Lambda
{
public:
    explicit Lambda(int qp)
        : squared_(0.85 * std::exp2((qp - 12) / 3.0)), absolute_(static_cast<int>(10 * std::sqrt(squared_)))
    {}

    // Distortion and rate together.
    double cost(int64_t squaredError, int bits) const
    {
        return static_cast<double>(squaredError) + squared_ * bits;
    }

    // The sum of absolute differences that so many bits are worth.
    int absolute(int bits) const { return (absolute_ * bits + 8) >> 4; }

private:
    double squared_;
    int absolute_; // sixteenths
};

} // namespace kelvcpx::app::h264::encoder
