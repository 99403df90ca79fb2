// From the bytes of a video segment to its pixels in a packed 4:2:2 picture.
#pragma once

#include "dv/code_tables.h"
#include "dv/layout.h"
#include "dv/quantisation.h"
#include "dv/system.h"

#include <array>
#include <cstdint>

namespace kelvcpx::app::dv {

// Pixels in pairs: Y, Cb, Y, Cr. Its size is that of the system's picture, divided by the zoom.
struct PackedPicture {
    uint8_t* pixels;
    int32_t step;
    int zoom; // 1, 2, 4 or 8

    uint8_t* at(int x, int y) const // in blocks of the picture at full size
    {
        return pixels + 2 * (8 * x / zoom) + std::ptrdiff_t{8 * y / zoom} * step;
    }
};

class SegmentDecoder
{
public:
    SegmentDecoder(const System& system, const AcTable& table);

    // False if a code was damaged. What could be decoded is in the picture; if that is nothing, the picture
    // keeps what it had.
    bool decode(const uint8_t* segment, const SegmentPlaces& places, const PackedPicture& picture);

private:
    static constexpr std::size_t mostBlocks = 8 * macroblocksPerSegment;
    using Block = std::array<int16_t, 64>;
    // Blocks as the conversion takes them: four of luma, Cr, Cb.
    using Macroblock = std::array<Block, 6>;

    bool decodeCodes(const uint8_t* segment);
    void reconstruct(std::size_t block, int zoom, int16_t* samples);
    bool isChroma(std::size_t block) const;

    void showSd(const SegmentPlaces& places, const PackedPicture& picture);
    void showHd(const SegmentPlaces& places, const PackedPicture& picture);

    const System& system_;
    const AcTable& table_;
    Dequantiser dequantiser_;
    alignas(32) std::array<Block, mostBlocks> coefficients_;
    std::array<uint32_t, mostBlocks> info_;
    alignas(32) std::array<Macroblock, 2 * macroblocksPerSegment> macroblocks_;
};

} // namespace kelvcpx::app::dv
