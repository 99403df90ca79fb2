// The samples of a macroblock, in the picture to be coded and in its reconstruction.
#pragma once

#include "h264/frame.h"

#include <kelvcpx/block.h>

#include <array>
#include <cstddef>
#include <cstdint>

namespace kelvcpx::app::h264::encoder {

// The first sample of a block and the distance between its rows.
template <class Sample>
struct Place {
    Sample* samples = nullptr;
    int32_t step = 0;

    Place at(int x, int y) const { return {samples + static_cast<std::ptrdiff_t>(y) * step + x, step}; }
};

using SourcePlace = Place<const uint8_t>;
using PicturePlace = Place<uint8_t>;

struct MacroblockSamples {
    std::array<SourcePlace, 3> source;
    std::array<PicturePlace, 3> picture;

    MacroblockSamples(const Surface& sourceSurface, const Surface& pictureSurface, int mbX, int mbY)
    {
        for (std::size_t i = 0; i < 3; i++) {
            const int size = i == 0 ? 16 : 8;
            const Surface::Plane& from = sourceSurface.planes[i];
            const Surface::Plane& to = pictureSurface.planes[i];
            source[i] = {from.at(size * mbX, size * mbY), from.step};
            picture[i] = {to.at(size * mbX, size * mbY), to.step};
        }
    }
};

// A copy of what a macroblock was reconstructed as.
class SampleStore
{
public:
    void save(const std::array<PicturePlace, 3>& from)
    {
        keliCopy16x16_8u_C1R(from[0].samples, from[0].step, luma_.data(), 16);
        for (std::size_t i = 1; i < 3; i++)
            keliCopy8x8_8u_C1R(from[i].samples, from[i].step, chroma_[i - 1].data(), 8);
    }

    void restore(const std::array<PicturePlace, 3>& to) const
    {
        keliCopy16x16_8u_C1R(luma_.data(), 16, to[0].samples, to[0].step);
        for (std::size_t i = 1; i < 3; i++)
            keliCopy8x8_8u_C1R(chroma_[i - 1].data(), 8, to[i].samples, to[i].step);
    }

private:
    alignas(32) std::array<uint8_t, 256> luma_;
    alignas(32) std::array<std::array<uint8_t, 64>, 2> chroma_;
};

} // namespace kelvcpx::app::h264::encoder
