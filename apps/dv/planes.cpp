#include "dv/planes.h"

#include <kelvcpx/convert.h>

#include <algorithm>
#include <cstddef>

namespace kelvcpx::app::dv {
namespace {

constexpr uint8_t grey = 128;

constexpr int superblockLines = 48; // of standard definition; in any picture no slice is too small

} // namespace

Planes::Planes(const System& system, int zoom)
    : zoom_(zoom), width_(system.width / zoom), height_(system.height / zoom),
      packed_(2 * static_cast<std::size_t>(width_) * static_cast<std::size_t>(height_), grey),
      chromaRow_(static_cast<std::size_t>(width_))
{
    for (std::size_t p = 0; p < planes_.size(); p++) {
        planes_[p].width = p == 0 ? width_ : width_ / 2;
        planes_[p].samples.resize(static_cast<std::size_t>(planes_[p].width) *
                                  static_cast<std::size_t>(height_));
    }
}

void Planes::update(std::optional<uint32_t> deinterlaceWeight)
{
    isFiltered_ = deinterlaceWeight.has_value();
    const int sliceRows = superblockLines / zoom_;
    for (int row = 0; row < height_; row += sliceRows) {
        const int rows = std::min(sliceRows, height_ - row);
        unpack(row, rows);
        if (isFiltered_)
            filterSlice(row, rows, *deinterlaceWeight);
    }
}

// Filters while the slice is still in the cache.
void Planes::filterSlice(int firstRow, int rows, uint32_t weight)
{
    constexpr int32_t firstSlice = 1;
    constexpr int32_t middleSlice = 4;
    constexpr int32_t lastSlice = 16;
    const int32_t layout = firstRow == 0 ? firstSlice : firstRow + rows == height_ ? lastSlice : middleSlice;
    for (Plane& plane : planes_) {
        plane.filtered.resize(plane.samples.size());
        const std::ptrdiff_t at = std::ptrdiff_t{plane.width} * firstRow;
        keliDeinterlaceFilterTriangle_8u_C1R(plane.samples.data() + at, plane.width,
                                             plane.filtered.data() + at, plane.width, {plane.width, rows},
                                             weight, layout);
    }
}

void Planes::unpack(int firstRow, int rows)
{
    for (int row = firstRow; row < firstRow + rows; row++) {
        const uint8_t* const pixels = packed_.data() + std::ptrdiff_t{2} * width_ * row;
        uint8_t* const y = planes_[0].samples.data() + std::ptrdiff_t{width_} * row;
        uint8_t* const cb = planes_[1].samples.data() + std::ptrdiff_t{width_ / 2} * row;
        uint8_t* const cr = planes_[2].samples.data() + std::ptrdiff_t{width_ / 2} * row;
        // One step after the other is what compilers can do for many samples at once.
        for (int x = 0; x < width_; x++)
            y[x] = pixels[2 * x];
        uint8_t* const chroma = chromaRow_.data();
        for (int x = 0; x < width_; x++)
            chroma[x] = pixels[2 * x + 1];
        for (int x = 0; x < width_ / 2; x++)
            cb[x] = chroma[2 * x];
        for (int x = 0; x < width_ / 2; x++)
            cr[x] = chroma[2 * x + 1];
    }
}

PictureView Planes::view(const VideoFormat& format) const
{
    PictureView view{format, {}};
    for (std::size_t p = 0; p < planes_.size(); p++) {
        const Plane& plane = planes_[p];
        view.planes[p] = {isFiltered_ ? plane.filtered.data() : plane.samples.data(), plane.width,
                          plane.width, height_};
    }
    return view;
}

} // namespace kelvcpx::app::dv
