// Warping by the formulas of ISO/IEC 14496-2 7.8.4 to 7.8.6, sample by sample and in integers.
#pragma once

#include <kelvcpx/mpeg4_motion.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace kelvcpx::test {

// What keliWarpInit_MPEG4() takes.
struct Warping {
    std::array<int32_t, 4> du{};
    std::array<int32_t, 4> dv{};
    int32_t points = 0;
    int32_t spriteType = 2;
    int32_t accuracy = 0;
    int32_t rounding = 0;
    int32_t quarterSample = 0;
    int32_t fcode = 1;
    RoiRect sprite{0, 0, 1, 1};
    RoiRect vop{0, 0, 1, 1};
};

class PlainWarp
{
public:
    struct Position { // in units of 1 / s
        int64_t x, y;
    };

    explicit PlainWarp(const Warping& warping) : w_(warping), s_(2 << w_.accuracy), r_(16 / s_)
    {
        const auto [i0, j0, width, height] = w_.vop;
        const auto& du = w_.du;
        const auto& dv = w_.dv;
        p_[0] = {s_ / 2 * (2 * i0 + du[0]), s_ / 2 * (2 * j0 + dv[0])};
        p_[1] = {s_ / 2 * (2 * (i0 + width) + du[1] + du[0]), s_ / 2 * (2 * j0 + dv[1] + dv[0])};
        p_[2] = {s_ / 2 * (2 * i0 + du[2] + du[0]), s_ / 2 * (2 * (j0 + height) + dv[2] + dv[0])};
        p_[3] = {s_ / 2 * (2 * (i0 + width) + du[3] + du[2] + du[1] + du[0]),
                 s_ / 2 * (2 * (j0 + height) + dv[3] + dv[2] + dv[1] + dv[0])};
        for (; w2_ < width; w2_ *= 2) {
        }
        for (; h2_ < height; h2_ *= 2) {
        }
        const auto extrapolate = [&](int64_t side, int64_t power, int64_t v0, int64_t at0, int64_t v1,
                                     int64_t at1) {
            return nearest((side - power) * (r_ * v0 - 16 * at0) + power * (r_ * v1 - 16 * at1), side);
        };
        const auto& [p0, p1, p2, p3] = p_;
        v1_ = {16 * (i0 + w2_) + extrapolate(width, w2_, p0.x, i0, p1.x, i0 + width),
               16 * j0 + extrapolate(width, w2_, p0.y, j0, p1.y, j0)};
        v2_ = {16 * i0 + extrapolate(height, h2_, p0.x, i0, p2.x, i0),
               16 * (j0 + h2_) + extrapolate(height, h2_, p0.y, j0, p2.y, j0 + height)};
    }

    Position luma(int64_t i, int64_t j) const
    {
        const int64_t I = i - w_.vop.x;
        const int64_t J = j - w_.vop.y;
        const Position& p0 = p_[0];
        if (w_.points == 0)
            return {s_ * i, s_ * j};
        if (w_.points == 1)
            return {p0.x + s_ * I, p0.y + s_ * J};
        if (w_.points == 4)
            return perspective(I, J, 1);
        const Affine m = affine();
        return {p0.x + nearestUp(m.xI * I + m.xJ * J, m.divisor),
                p0.y + nearestUp(m.yI * I + m.yJ * J, m.divisor)};
    }

    Position chroma(int64_t ic, int64_t jc) const
    {
        const int64_t I = 4 * ic - 2 * w_.vop.x + 1;
        const int64_t J = 4 * jc - 2 * w_.vop.y + 1;
        const Position& p0 = p_[0];
        const auto halve = [&](int64_t v) {
            return w_.spriteType == 1 ? nearestUp(v, 2) : (v >> 1) | (v & 1);
        };
        if (w_.points == 0)
            return {s_ * ic, s_ * jc};
        if (w_.points == 1)
            return {halve(p0.x) + s_ * (ic - w_.vop.x / 2), halve(p0.y) + s_ * (jc - w_.vop.y / 2)};
        if (w_.points == 4)
            return perspective(I, J, 2);
        const Affine m = affine();
        return {nearestUp(m.xI * I + m.xJ * J + 2 * m.divisor * p0.x - m.divisor * s_, 4 * m.divisor),
                nearestUp(m.yI * I + m.yJ * J + 2 * m.divisor * p0.y - m.divisor * s_, 4 * m.divisor)};
    }

    // The sample at a position in a plane whose top left is at left, top of the picture.
    template <class Plane>
    uint8_t sample(const Plane& plane, int left, int top, int width, int height, Position position) const
    {
        const int64_t x = position.x - s_ * left;
        const int64_t y = position.y - s_ * top;
        const int64_t rx = x & (s_ - 1);
        const int64_t ry = y & (s_ - 1);
        const auto at = [&](int64_t column, int64_t row) -> int64_t {
            return plane.at(
                static_cast<int>(std::clamp<int64_t>(x / s_ - (x % s_ < 0) + column, 0, width - 1)),
                static_cast<int>(std::clamp<int64_t>(y / s_ - (y % s_ < 0) + row, 0, height - 1)));
        };
        const int64_t sum =
            (s_ - ry) * ((s_ - rx) * at(0, 0) + rx * at(1, 0)) + ry * ((s_ - rx) * at(0, 1) + rx * at(1, 1));
        return static_cast<uint8_t>((sum + s_ * s_ / 2 - (w_.spriteType == 1 ? 0 : w_.rounding)) / (s_ * s_));
    }

    // The vector of the macroblock at x, y.
    MotionVector globalVector(int x, int y) const
    {
        const int32_t unit = w_.quarterSample != 0 ? 4 : 2;
        if (w_.points == 0)
            return {0, 0};
        if (w_.points == 1)
            return clip(p_[0].x * unit / s_, p_[0].y * unit / s_);
        Position sum{0, 0};
        for (int j = y; j < y + 16; j++)
            for (int i = x; i < x + 16; i++) {
                const Position p = luma(i, j);
                sum = {sum.x + p.x - s_ * i, sum.y + p.y - s_ * j};
            }
        return clip(nearest(sum.x * unit, 256 * s_), nearest(sum.y * unit, 256 * s_));
    }

private:
    struct Affine {
        int64_t xI, xJ, yI, yJ, divisor;
    };

    Affine affine() const
    {
        const Position from{r_ * p_[0].x, r_ * p_[0].y};
        if (w_.points == 2)
            return {v1_.x - from.x, from.y - v1_.y, v1_.y - from.y, v1_.x - from.x, w2_ * r_};
        return {(v1_.x - from.x) * h2_, (v2_.x - from.x) * w2_, (v1_.y - from.y) * h2_,
                (v2_.y - from.y) * w2_, w2_ * h2_ * r_};
    }

    // `part` is 1 for luma, 2 for chroma.
    Position perspective(int64_t I, int64_t J, int64_t part) const
    {
        const auto& [p0, p1, p2, p3] = p_;
        const int64_t W = w_.vop.width;
        const int64_t H = w_.vop.height;
        const int64_t di = p0.x - p1.x - p2.x + p3.x;
        const int64_t dj = p0.y - p1.y - p2.y + p3.y;
        const int64_t g = (di * (p2.y - p3.y) - (p2.x - p3.x) * dj) * H;
        const int64_t h = ((p1.x - p3.x) * dj - di * (p1.y - p3.y)) * W;
        const int64_t D = (p1.x - p3.x) * (p2.y - p3.y) - (p2.x - p3.x) * (p1.y - p3.y);
        const auto map = [&](int64_t c0, int64_t c1, int64_t c2) {
            const int64_t a = D * (c1 - c0) * H + g * c1;
            const int64_t b = D * (c2 - c0) * W + h * c2;
            const int64_t c = D * c0 * W * H;
            if (part == 1)
                return nearest(a * I + b * J + c, g * I + h * J + D * W * H);
            return nearest(2 * a * I + 2 * b * J + 4 * c - (g * I + h * J + 2 * D * W * H) * s_,
                           4 * g * I + 4 * h * J + 8 * D * W * H);
        };
        return {map(p0.x, p1.x, p2.x), map(p0.y, p1.y, p2.y)};
    }

    MotionVector clip(int64_t x, int64_t y) const
    {
        const int64_t limit = 16 << w_.fcode;
        return {static_cast<int16_t>(std::clamp(x, -limit, limit - 1)),
                static_cast<int16_t>(std::clamp(y, -limit, limit - 1))};
    }

    // n / d with halves away from zero (//) or upwards (///)
    static int64_t nearest(int64_t n, int64_t d) { return (2 * n + ((n < 0) == (d < 0) ? d : -d)) / (2 * d); }
    static int64_t nearestUp(int64_t n, int64_t d)
    {
        const int64_t twice = 2 * n + d;
        return twice / (2 * d) - (twice % (2 * d) < 0);
    }

    Warping w_;
    int64_t s_;
    int64_t r_;
    int64_t w2_ = 1;
    int64_t h2_ = 1;
    std::array<Position, 4> p_{};
    Position v1_{};
    Position v2_{};
};

} // namespace kelvcpx::test
