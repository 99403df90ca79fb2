#include "h264/encoder/compensation.h"

#include <kelvcpx/h264_inter.h>

#include <algorithm>

namespace kelvcpx::app::h264::encoder {

namespace {

// How far a macroblock may lie outside the picture: 32 samples of margin hold it and its filter taps.
constexpr int before = 24;
constexpr int behind = 8;

constexpr int mostVertical = 63;    // of level 1 (table A-1)
constexpr int mostHorizontal = 511; // a quarter of what is allowed

int16_t quarters(int samples)
{
    return static_cast<int16_t>(4 * samples);
}

} // namespace

VectorRange::VectorRange(const Surface& reference, int x, int y)
    : least{quarters(std::max(-x - before, -mostHorizontal)), quarters(std::max(-y - before, -mostVertical))},
      most{quarters(std::min(reference.planes[0].width - x + behind, mostHorizontal)),
           quarters(std::min(reference.planes[0].height - y + behind, mostVertical))}
{}

Vector VectorRange::clamp(Vector v) const
{
    return {std::clamp(v.x, least.x, most.x), std::clamp(v.y, least.y, most.y)};
}

void compensateLuma(const Surface& reference, int x, int y, Vector vector, const PicturePlace& target,
                    RoiSize size)
{
    const Surface::Plane& plane = reference.planes[0];
    keliInterpolateLuma_H264_8u_C1R(plane.at(x + (vector.x >> 2), y + (vector.y >> 2)), plane.step,
                                    target.samples, target.step, vector.x & 3, vector.y & 3, size);
}

void compensateChroma(const Surface& reference, std::size_t component, int x, int y, Vector vector,
                      const PicturePlace& target, RoiSize size)
{
    const Surface::Plane& plane = reference.planes[component];
    keliInterpolateChroma_H264_8u_C1R(plane.at(x + (vector.x >> 3), y + (vector.y >> 3)), plane.step,
                                      target.samples, target.step, vector.x & 7, vector.y & 7, size);
}

} // namespace kelvcpx::app::h264::encoder
