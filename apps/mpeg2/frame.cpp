#include "mpeg2/frame.h"

namespace kelvcpx::app::mpeg2 {
namespace {

constexpr std::size_t rowAlignment = 64;

} // namespace

Frame::Frame(const Sequence& sequence) : macroblocksHigh_(sequence.macroblocksHigh())
{
    format_.width = sequence.width;
    format_.height = sequence.height;
    format_.chroma = sequence.chroma;
    std::array<std::size_t, 3> offsets;
    std::size_t size = rowAlignment;
    for (std::size_t i = 0; i < 3; i++) {
        Surface::Plane& plane = surface_.planes[i];
        plane.width = 16 * sequence.macroblocksWide() >> (i == 0 ? 0 : chromaShiftX(sequence.chroma));
        plane.height = 16 * macroblocksHigh_ >> (i == 0 ? 0 : chromaShiftY(sequence.chroma));
        const auto rowBytes = static_cast<std::size_t>(plane.width);
        const std::size_t step = (rowBytes + rowAlignment - 1) / rowAlignment * rowAlignment;
        plane.step = static_cast<int32_t>(step);
        offsets[i] = size - rowAlignment;
        size += step * static_cast<std::size_t>(plane.height);
    }
    samples_.resize(size);
    uint8_t* const base = samples_.data();
    const std::size_t lead = (rowAlignment - reinterpret_cast<uintptr_t>(base) % rowAlignment) % rowAlignment;
    for (std::size_t i = 0; i < 3; i++)
        surface_.planes[i].samples = base + lead + offsets[i];
}

bool Frame::fits(const Sequence& sequence) const
{
    return format_.width == sequence.width && format_.height == sequence.height &&
           format_.chroma == sequence.chroma && macroblocksHigh_ == sequence.macroblocksHigh();
}

PictureView Frame::view() const
{
    PictureView view{format_, {}};
    for (std::size_t i = 0; i < 3; i++) {
        const Surface::Plane& plane = surface_.planes[i];
        const int shiftX = i == 0 ? 0 : chromaShiftX(format_.chroma);
        const int shiftY = i == 0 ? 0 : chromaShiftY(format_.chroma);
        view.planes[i] = {plane.samples, plane.step, (format_.width + (1 << shiftX) - 1) >> shiftX,
                          (format_.height + (1 << shiftY) - 1) >> shiftY};
    }
    return view;
}

} // namespace kelvcpx::app::mpeg2
