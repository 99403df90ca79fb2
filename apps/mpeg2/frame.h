// Picture memory: a frame of whole macroblocks, seen as a frame or as either of its fields.
#pragma once

#include "common/picture.h"
#include "mpeg2/headers.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace kelvcpx::app::mpeg2 {

// The planes of a frame or of one field of it. Positions count its own rows.
struct Surface {
    struct Plane {
        uint8_t* samples = nullptr;
        int32_t step = 0;
        int width = 0;
        int height = 0;
    };
    std::array<Plane, 3> planes;

    // The rows of one parity, 0 for the top field.
    Surface field(int parity) const
    {
        Surface result = *this;
        for (Plane& plane : result.planes) {
            plane.samples += parity * plane.step;
            plane.step *= 2;
            plane.height /= 2;
        }
        return result;
    }
};

class Frame
{
public:
    explicit Frame(const Sequence& sequence);

    // True if the frame has the shape that pictures of the sequence need.
    bool fits(const Sequence& sequence) const;

    const Surface& surface() const { return surface_; }
    void fill(uint8_t sample) { std::fill(samples_.begin(), samples_.end(), sample); }

    void setFormat(const VideoFormat& format) { format_ = format; }
    PictureView view() const; // the part that is displayed

private:
    int macroblocksHigh_;
    VideoFormat format_;
    std::vector<uint8_t> samples_;
    Surface surface_; // of samples_
};

} // namespace kelvcpx::app::mpeg2
