// Small RGB pictures side by side.
#pragma once

#include "common/picture.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kelvcpx::app {

class ContactSheet
{
public:
    // Pictures are reduced by the factor 2, 4 or 8.
    explicit ContactSheet(int factor) : factor_(factor) {}

    // Pictures that are too small to be reduced are passed over; those of another size than the first are cut
    // off or get a margin.
    void add(const PictureView& picture);

    std::size_t count() const { return tiles_.size(); }

    // Throws OutputError.
    void write(const std::string& path) const;

private:
    using Pixels = std::vector<uint8_t>; // R, G, B

    struct Tile {
        int width;
        int height;
        Pixels pixels;
    };

    int columns() const;
    void place(const Tile& tile, Pixels& sheet, int sheetWidth, int x, int y) const;

    int factor_;
    std::vector<Tile> tiles_;
    std::vector<uint8_t> packed_;
    std::vector<uint16_t> reduced_;
};

} // namespace kelvcpx::app
