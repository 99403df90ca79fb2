#include "common/contact_sheet.h"

#include "common/png_output.h"

#include <kelvcpx/convert.h>

#include <algorithm>
#include <utility>

namespace kelvcpx::app {

namespace {

constexpr int gap = 6;
constexpr int widest = 1600; // of the sheet, unless a single picture is wider
constexpr uint8_t background = 32;

// The chroma sample for the pair of pixels x, x + 1 of row y.
uint8_t chromaAt(const PictureView& picture, std::size_t plane, int x, int y)
{
    const VideoFormat& format = picture.format;
    if (format.chroma == ChromaFormat::monochrome)
        return 128;
    return picture.sampleAs8Bits(plane, x >> chromaShiftX(format.chroma), y >> chromaShiftY(format.chroma));
}

// Any picture as 4:2:2, Cb, Y, Cr, Y; the width an even number.
std::vector<uint8_t> pack(const PictureView& picture, int width)
{
    std::vector<uint8_t> packed;
    packed.reserve(2 * static_cast<std::size_t>(width) * static_cast<std::size_t>(picture.format.height));
    for (int y = 0; y < picture.format.height; y++)
        for (int x = 0; x < width; x += 2)
            packed.insert(packed.end(), {chromaAt(picture, 1, x, y), picture.sampleAs8Bits(0, x, y),
                                         chromaAt(picture, 2, x, y), picture.sampleAs8Bits(0, x + 1, y)});
    return packed;
}

// 5 or 6 bits as 8.
constexpr uint8_t widened(int value, int bits)
{
    return static_cast<uint8_t>(value << (8 - bits) | value >> (2 * bits - 8));
}

} // namespace

void ContactSheet::add(const PictureView& picture)
{
    const RoiSize size{picture.format.width & ~1, picture.format.height};
    Tile tile{size.width / factor_, size.height / factor_, {}};
    packed_ = pack(picture, size.width);
    reduced_.resize(static_cast<std::size_t>(tile.width) * static_cast<std::size_t>(tile.height));
    constexpr int32_t means = 2;
    constexpr uint32_t rgb565 = 0;
    constexpr int32_t upright = 0;
    if (keliResizeCCRotate_8u_C2R(packed_.data(), 2 * size.width, size, reduced_.data(),
                                  tile.width * static_cast<int32_t>(sizeof(uint16_t)), factor_, means, rgb565,
                                  upright) < StatusOk)
        return;
    for (const uint16_t pixel : reduced_)
        tile.pixels.insert(tile.pixels.end(),
                           {widened(pixel >> 11, 5), widened(pixel >> 5 & 63, 6), widened(pixel & 31, 5)});
    tiles_.push_back(std::move(tile));
}

// As many as fit, but no more than make about a square.
int ContactSheet::columns() const
{
    const int fitting = std::max((widest - gap) / (tiles_[0].width + gap), 1);
    int square = 1;
    while (square * square < static_cast<int>(tiles_.size()))
        square++;
    return std::min(fitting, square);
}

void ContactSheet::place(const Tile& tile, Pixels& sheet, int sheetWidth, int x, int y) const
{
    const int width = std::min(tile.width, tiles_[0].width);
    const int height = std::min(tile.height, tiles_[0].height);
    for (int row = 0; row < height; row++)
        std::copy_n(tile.pixels.begin() + std::ptrdiff_t{3} * tile.width * row, 3 * width,
                    sheet.begin() + std::ptrdiff_t{3} * (sheetWidth * (y + row) + x));
}

void ContactSheet::write(const std::string& path) const
{
    const int across = columns();
    const int down = (static_cast<int>(tiles_.size()) + across - 1) / across;
    const int stepX = tiles_[0].width + gap;
    const int stepY = tiles_[0].height + gap;
    const int width = gap + across * stepX;
    const int height = gap + down * stepY;
    Pixels sheet(3 * static_cast<std::size_t>(width) * static_cast<std::size_t>(height), background);
    for (int i = 0; i < static_cast<int>(tiles_.size()); i++)
        place(tiles_[static_cast<std::size_t>(i)], sheet, width, gap + i % across * stepX,
              gap + i / across * stepY);
    writePng(path, width, height, sheet);
}

} // namespace kelvcpx::app
