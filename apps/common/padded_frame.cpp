#include "common/padded_frame.h"

#include <kelvcpx/h264_inter.h>

#include <algorithm>

namespace kelvcpx::app {

PaddedFrame::PaddedFrame(const VideoFormat& format) : format_(format)
{
    constexpr std::size_t alignment = 32; // at least the margin
    std::array<std::size_t, 3> origins{};
    std::size_t size = alignment;
    for (std::size_t i = 0; i < 3; i++) {
        const int shift = i == 0 ? 0 : 1;
        Plane& plane = planes_[i];
        plane.width = (format.width + 15) / 16 * 16 >> shift;
        plane.height = (format.height + 15) / 16 * 16 >> shift;
        const auto step =
            (static_cast<std::size_t>(plane.width + 2 * margin) + alignment - 1) / alignment * alignment;
        plane.step = static_cast<int32_t>(step);
        origins[i] = size + step * margin;
        size += step * static_cast<std::size_t>(plane.height + 2 * margin);
    }
    samples_.resize(size);
    const std::size_t lead =
        (alignment - reinterpret_cast<uintptr_t>(samples_.data()) % alignment) % alignment;
    for (std::size_t i = 0; i < 3; i++)
        planes_[i].samples = samples_.data() + lead + origins[i];
}

void PaddedFrame::fill(uint8_t sample)
{
    std::fill(samples_.begin(), samples_.end(), sample);
}

void PaddedFrame::expand()
{
    for (const Plane& plane : planes_)
        keliExpandPlane_H264_8u_C1R(plane.samples, plane.width, plane.height, plane.step, margin, 0);
}

PictureView PaddedFrame::view() const
{
    PictureView view{format_, {}};
    for (std::size_t i = 0; i < 3; i++) {
        const int shift = i == 0 ? 0 : 1;
        view.planes[i] = {planes_[i].samples, planes_[i].step, (format_.width + shift) >> shift,
                          (format_.height + shift) >> shift};
    }
    return view;
}

ReferenceBlock referenceBlock(const PaddedFrame::Plane& plane, int size, int halfX, int halfY)
{
    // A block that lies outside as a whole may as well lie next to the picture.
    const int x = std::clamp(halfX >> 1, -size - 1, plane.width);
    const int y = std::clamp(halfY >> 1, -size - 1, plane.height);
    return {plane.at(x, y), plane.step, (halfX & 1) | (halfY & 1) << 1};
}

} // namespace kelvcpx::app
