// Picture memory of the codecs whose vectors may leave the picture: whole macroblocks in 4:2:0, with a margin
// round every plane that repeats its outermost samples.
#pragma once

#include "common/picture.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace kelvcpx::app {

class PaddedFrame
{
public:
    static constexpr int margin = 24;

    struct Plane {
        uint8_t* samples; // the top left one of the picture
        int32_t step;
        int width; // of whole macroblocks
        int height;

        uint8_t* at(int x, int y) const { return samples + std::ptrdiff_t{step} * y + x; }
    };

    explicit PaddedFrame(const VideoFormat& format);
    PaddedFrame(const PaddedFrame&) = delete;
    PaddedFrame& operator=(const PaddedFrame&) = delete;

    const Plane& plane(std::size_t i) const { return planes_[i]; }
    const VideoFormat& format() const { return format_; }

    void fill(uint8_t sample);
    void expand(); // writes the margin: the picture is complete
    PictureView view() const;

private:
    VideoFormat format_;
    std::vector<uint8_t> samples_;
    std::array<Plane, 3> planes_{};
};

// Where a block of a reference lies, and between which samples.
struct ReferenceBlock {
    const uint8_t* samples;
    int32_t step;
    int32_t acc; // bit 0 half a sample right, bit 1 half a sample down
};

// The block of `size` x `size` samples, at most 16 in luma and 8 in chroma, at x, y, in half samples. Beyond
// the margin the samples go on as they are in it.
ReferenceBlock referenceBlock(const PaddedFrame::Plane& plane, int size, int halfX, int halfY);

} // namespace kelvcpx::app
