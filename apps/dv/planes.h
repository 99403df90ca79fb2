// A 4:2:2 picture in packed form, as DV macroblocks are written into it, and its planes, as outputs want
// them.
#pragma once

#include "common/picture.h"
#include "dv/segment_decoder.h"
#include "dv/system.h"

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace kelvcpx::app::dv {

class Planes
{
public:
    Planes(const System& system, int zoom);

    int width() const { return width_; }
    int height() const { return height_; }

    // Its pixels stay from one picture to the next.
    PackedPicture packed() { return {packed_.data(), 2 * width_, zoom_}; }

    // Makes the planes of the packed picture. With a weight, 0..256, for the line itself, its neighbours get
    // the rest: that softens the combs of motion between two fields.
    void update(std::optional<uint32_t> deinterlaceWeight);

    PictureView view(const VideoFormat& format) const;

private:
    struct Plane {
        int width = 0;
        std::vector<uint8_t> samples;
        std::vector<uint8_t> filtered;
    };

    void unpack(int firstRow, int rows);
    void filterSlice(int firstRow, int rows, uint32_t weight);

    int zoom_;
    int width_;
    int height_;
    bool isFiltered_ = false;
    std::vector<uint8_t> packed_;
    std::vector<uint8_t> chromaRow_; // Cb and Cr by turns
    std::array<Plane, 3> planes_;
};

} // namespace kelvcpx::app::dv
