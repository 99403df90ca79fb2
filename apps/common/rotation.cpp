#include "common/rotation.h"

#include "common/decoder.h"

#include <kelvcpx/convert.h>

#include <utility>

namespace kelvcpx::app {

namespace {

// The library's numbers.
int32_t rotationOf(int degrees)
{
    constexpr int32_t clockwise = 2;
    constexpr int32_t counterClockwise = 1;
    constexpr int32_t halfTurn = 3;
    return degrees == 90 ? clockwise : degrees == 270 ? counterClockwise : degrees == 180 ? halfTurn : 0;
}

VideoFormat turned(VideoFormat format, bool quarter)
{
    format.width &= ~1; // an odd column or row has no chroma of its own in 4:2:0
    format.height &= ~1;
    format.chroma = ChromaFormat::yuv420;
    if (quarter) {
        std::swap(format.width, format.height);
        if (format.sampleAspect.numerator != 0)
            std::swap(format.sampleAspect.numerator, format.sampleAspect.denominator);
        format.fieldOrder = FieldOrder::progressive; // its lines are columns now
    }
    return format;
}

} // namespace

PictureView Rotation::apply(const PictureView& picture)
{
    if (picture.format.chroma != ChromaFormat::yuv422 || picture.format.bitDepth != 8)
        throw UnsupportedStream("only pictures of 4:2:2 with 8 bits can be turned");
    PictureView result{turned(picture.format, degrees_ % 180 != 0), {}};
    std::array<uint8_t*, 3> planes;
    std::array<int32_t, 3> steps;
    for (std::size_t p = 0; p < planes_.size(); p++) {
        const int shift = p == 0 ? 0 : 1;
        const int width = result.format.width >> shift;
        const int height = result.format.height >> shift;
        planes_[p].resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
        planes[p] = planes_[p].data();
        steps[p] = width;
        result.planes[p] = {planes[p], width, width, height};
    }
    // Cb, Y, Cr
    const auto& [y, cb, cr] = picture.planes;
    const std::array<const uint8_t*, 3> sources = {cb.samples, y.samples, cr.samples};
    const std::array<int32_t, 3> sourceSteps = {static_cast<int32_t>(cb.step), static_cast<int32_t>(y.step),
                                                static_cast<int32_t>(cr.step)};
    const Status status = keliCbYCr422ToYCbCr420_Rotate_8u_P3R(
        sources.data(), sourceSteps.data(), {picture.format.width, picture.format.height}, planes.data(),
        steps.data(), rotationOf(degrees_));
    if (status < StatusOk)
        throw UnsupportedStream("the picture is too small to be turned");
    return result;
}

} // namespace kelvcpx::app
