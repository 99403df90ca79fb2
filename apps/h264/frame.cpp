#include "h264/frame.h"

#include <kelvcpx/core.h>
#include <kelvcpx/h264_inter.h>

#include <algorithm>

namespace kelvcpx::app::h264 {
namespace {

// Enough for a block and its filter taps beside the picture; vectors that point further out give the same
// samples.
constexpr int margin = 32;
constexpr std::size_t rowAlignment = 32;

// Replicates the first and the last sample of every row into the margin. Rows above and below the picture are
// not looked at: the interpolation at the edges does without them.
void expandSides(const Surface::Plane& plane)
{
    for (int y = 0; y < plane.height; y++) {
        uint16_t* const row = plane.at<uint16_t>(0, y);
        std::fill_n(row - margin, margin, row[0]);
        std::fill_n(row + plane.width, margin, row[plane.width - 1]);
    }
}

} // namespace

Surface Surface::of(Structure structure) const
{
    Surface result = *this;
    if (structure == Structure::frame)
        return result;
    for (Plane& plane : result.planes) {
        if (structure == Structure::bottom)
            plane.samples += plane.step;
        plane.step *= 2;
        plane.height /= 2;
    }
    return result;
}

void MotionField::resize(int width, int height)
{
    widthInMbs = width;
    fieldPairs.clear();
    const auto macroblocks = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    for (std::size_t list = 0; list < 2; list++) {
        vectors[list].assign(16 * macroblocks, Vector{});
        refIdx[list].assign(4 * macroblocks, int8_t{-1});
        references[list].assign(4 * macroblocks, noPicture);
    }
}

FrameShape::FrameShape(const SequenceParameterSet& set)
    : widthInMbs(set.widthInMbs), heightInMbs(set.heightInMbs()), chromaFormatIdc(set.chromaFormatIdc),
      bitDepth(set.bitDepthLuma), crop{set.cropLeft, set.cropRight, set.cropTop, set.cropBottom}
{}

Frame::Frame(const FrameShape& shape) : shape_(shape)
{
    surface_.planeCount = shape.chromaFormatIdc == 0 ? 1 : 3;
    const auto planeCount = static_cast<std::size_t>(surface_.planeCount);
    std::array<std::size_t, 3> origins{};
    std::size_t size = 0;
    for (std::size_t i = 0; i < planeCount; i++) {
        Surface::Plane& plane = surface_.planes[i];
        plane.width = 16 * shape.widthInMbs >> shiftX(i);
        plane.height = 16 * shape.heightInMbs >> shiftY(i);
        const auto sampleSize = static_cast<std::size_t>(sampleBytes());
        const auto rowBytes = sampleSize * static_cast<std::size_t>(plane.width + 2 * margin);
        const std::size_t step = (rowBytes + rowAlignment - 1) / rowAlignment * rowAlignment;
        plane.step = static_cast<int32_t>(step);
        origins[i] = size + margin * step + margin * sampleSize;
        size += step * static_cast<std::size_t>(plane.height + 2 * margin);
    }
    samples_.resize(size);
    for (std::size_t i = 0; i < planeCount; i++)
        surface_.planes[i].samples = samples_.data() + origins[i];
}

void Frame::restart(int32_t newNumber, const VideoFormat& newFormat)
{
    number = newNumber;
    format_ = newFormat;
    codedAsFields = false;
    decoded = Structure::none;
    shortTerm = Structure::none;
    longTerm = Structure::none;
    frameNum = 0;
    longTermFrameIdx = 0;
    nonExisting = false;
    fieldPoc = {};
    hasPoc = true;
    isComplete = false;
    awaitsOutput = false;
}

void Frame::expand(Structure structure)
{
    const int32_t mode = structure == Structure::frame ? 0 : structure == Structure::top ? 1 : 2;
    for (std::size_t i = 0; i < static_cast<std::size_t>(surface_.planeCount); i++) {
        const Surface::Plane& plane = surface_.planes[i];
        if (sampleBytes() == 1)
            keliExpandPlane_H264_8u_C1R(plane.samples, plane.width, plane.height, plane.step, margin, mode);
        else
            expandSides(surface_.of(structure).planes[i]);
    }
}

void Frame::fillGrey()
{
    if (sampleBytes() == 1) {
        std::fill(samples_.begin(), samples_.end(), uint8_t{128});
        return;
    }
    const auto grey = static_cast<uint16_t>(1 << (shape_.bitDepth - 1));
    for (std::size_t i = 0; i < static_cast<std::size_t>(surface_.planeCount); i++) {
        const Surface::Plane& plane = surface_.planes[i];
        for (int y = 0; y < plane.height; y++)
            std::fill_n(plane.at<uint16_t>(-margin, y), plane.width + 2 * margin, grey);
    }
}

void Frame::copySamples(const Frame& other)
{
    std::copy(other.samples_.begin(), other.samples_.end(), samples_.begin());
}

void Frame::repeatField(Structure present)
{
    for (std::size_t i = 0; i < static_cast<std::size_t>(surface_.planeCount); i++) {
        const Surface::Plane from = surface_.of(present).planes[i];
        const Surface::Plane to = surface_.of(opposite(present)).planes[i];
        keliCopy_8u_C1R(from.samples, from.step, to.samples, to.step,
                        {from.width * sampleBytes(), from.height});
    }
}

PictureView Frame::view() const
{
    PictureView view{format_, {}};
    for (std::size_t i = 0; i < static_cast<std::size_t>(surface_.planeCount); i++) {
        const Surface::Plane& plane = surface_.planes[i];
        const int x = shape_.crop[0] >> shiftX(i);
        const int y = shape_.crop[2] >> shiftY(i);
        view.planes[i] = {plane.at(x * sampleBytes(), y), plane.step,
                          (format_.width + shiftX(i)) >> shiftX(i),
                          (format_.height + shiftY(i)) >> shiftY(i)};
    }
    return view;
}

int Frame::poc(Structure structure) const
{
    switch (structure) {
    case Structure::top:
        return fieldPoc[0];
    case Structure::bottom:
        return fieldPoc[1];
    default:
        return std::min(fieldPoc[0], fieldPoc[1]);
    }
}

} // namespace kelvcpx::app::h264
