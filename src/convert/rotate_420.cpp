// 4:2:2 pictures into turned 4:2:0 ones: each chroma sample is the mean of two source rows.

#include "block/strip.h"
#include "convert/packed_422.h"
#include "convert/rotation.h"
#include "core/arguments.h"
#include "core/transpose.h"

#include <kelvcpx/convert.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>

namespace kelvcpx::convert {
namespace {

constexpr int32_t tileSize = 16;

// A square of samples, 16 or 8 in a row.
template <int size>
using Tile = std::array<U8x16, size * size / 16>;

struct SourceTile {
    Tile<16> luma;
    Tile<8> cb;
    Tile<8> cr;
};

// A group of 2x2 pixels.
struct SourceGroup {
    std::array<uint8_t, 4> luma; // row by row
    uint8_t cb;
    uint8_t cr;
};

constexpr uint8_t mean(int a, int b)
{
    return static_cast<uint8_t>((a + b + 1) >> 1);
}

class PackedSource
{
public:
    PackedSource(const uint8_t* samples, std::ptrdiff_t step) : samples_(samples), step_(step) {}

    SourceGroup group(std::ptrdiff_t x, std::ptrdiff_t y) const
    {
        const uint8_t* const upper = samples_ + y * step_ + 2 * x;
        const uint8_t* const lower = upper + step_;
        return {{upper[1], upper[3], lower[1], lower[3]}, mean(upper[0], lower[0]), mean(upper[2], lower[2])};
    }

    // From row y on, downwards or, if `direction` is -1, upwards.
    SourceTile tile(std::ptrdiff_t x, std::ptrdiff_t y, std::ptrdiff_t direction) const
    {
        const std::ptrdiff_t step = direction * step_;
        const uint8_t* const p = samples_ + y * step_ + 2 * x;
        SourceTile tile;
        const auto meanOfChroma = [&](std::size_t i) {
            const PackedPixels first(p + static_cast<std::ptrdiff_t>(i) * step);
            const PackedPixels second(p + static_cast<std::ptrdiff_t>(i + 1) * step);
            tile.luma[i] = first.luma();
            tile.luma[i + 1] = second.luma();
            return average(first.chroma(), second.chroma());
        };
        for (std::size_t i = 0; i < tile.cb.size(); i++) {
            const U8x16 first = meanOfChroma(4 * i);
            const U8x16 second = meanOfChroma(4 * i + 2);
            tile.cb[i] = evenBytes(first, second);
            tile.cr[i] = oddBytes(first, second);
        }
        return tile;
    }

private:
    const uint8_t* samples_;
    std::ptrdiff_t step_;
};

// Planes in the order Cb, Y, Cr.
class PlanarSource
{
public:
    PlanarSource(const uint8_t* const* planes, const int32_t* steps)
        : cb_{planes[0], steps[0]}, luma_{planes[1], steps[1]}, cr_{planes[2], steps[2]}
    {}

    SourceGroup group(std::ptrdiff_t x, std::ptrdiff_t y) const
    {
        const uint8_t* const luma = luma_.at(x, y);
        const auto chroma = [&](const Plane& plane) {
            const uint8_t* const p = plane.at(x / 2, y);
            return mean(p[0], p[plane.step]);
        };
        return {{luma[0], luma[1], luma[luma_.step], luma[luma_.step + 1]}, chroma(cb_), chroma(cr_)};
    }

    SourceTile tile(std::ptrdiff_t x, std::ptrdiff_t y, std::ptrdiff_t direction) const
    {
        SourceTile tile;
        for (std::size_t i = 0; i < tile.luma.size(); i++)
            tile.luma[i] = loadUnaligned<U8x16>(luma_.at(x, y + direction * static_cast<std::ptrdiff_t>(i)));
        for (std::size_t i = 0; i < tile.cb.size(); i++) {
            const std::ptrdiff_t row = y + direction * 4 * static_cast<std::ptrdiff_t>(i);
            const auto chroma = [&](const Plane& plane) {
                // Every second row, and the ones between them.
                const std::ptrdiff_t step = direction * plane.step;
                const uint8_t* const p = plane.at(x / 2, row);
                return average(gatherRows<8, 2>(p, 2 * step), gatherRows<8, 2>(p + step, 2 * step));
            };
            tile.cb[i] = chroma(cb_);
            tile.cr[i] = chroma(cr_);
        }
        return tile;
    }

private:
    struct Plane {
        const uint8_t* samples;
        std::ptrdiff_t step;

        const uint8_t* at(std::ptrdiff_t x, std::ptrdiff_t y) const { return samples + y * step + x; }
    };

    Plane cb_;
    Plane luma_;
    Plane cr_;
};

// Width and height are those before the rotation.
struct Destination {
    uint8_t* samples;
    std::ptrdiff_t step;
    std::ptrdiff_t width;
    std::ptrdiff_t height;
};

// Reverses each row.
template <int size>
Tile<size> reversed(Tile<size> tile)
{
    for (U8x16& rows : tile) {
        const auto halves = std::bit_cast<Vec16<uint64_t>>(rows);
        const uint64_t first = __builtin_bswap64(halves[0]);
        const uint64_t second = __builtin_bswap64(halves[1]);
        rows = std::bit_cast<U8x16>(size == 16 ? Vec16<uint64_t>{second, first}
                                               : Vec16<uint64_t>{first, second});
    }
    return tile;
}

// Whether the rotation wants the rows of a tile from the last one upwards.
constexpr bool turnsRows(Rotation rotation)
{
    return rotation == Rotation::clockwise || rotation == Rotation::half;
}

// `tile` has the samples of the source from column x and row y on, in the order of rows that the rotation
// wants.
template <int size>
void storeTile(const Tile<size>& tile, const Destination& dst, std::ptrdiff_t x, std::ptrdiff_t y,
               Rotation rotation)
{
    constexpr int rows = 16 / size; // in a vector
    const auto store = [&](const Tile<size>& t, std::ptrdiff_t column, std::ptrdiff_t row,
                           std::ptrdiff_t step) {
        uint8_t* const p = dst.samples + row * dst.step + column;
        for (std::size_t i = 0; i < t.size(); i++)
            scatterRows<size, rows>(p + static_cast<std::ptrdiff_t>(i) * rows * step, step, t[i]);
    };
    const std::ptrdiff_t below = dst.height - size - y; // rows of the source behind the tile
    const std::ptrdiff_t behind = dst.width - size - x;
    switch (rotation) {
    case Rotation::none:
        return store(tile, x, y, dst.step);
    case Rotation::counterClockwise:
        return store(transposed<size>(tile), y, dst.width - 1 - x, -dst.step);
    case Rotation::clockwise:
        return store(transposed<size>(tile), below, x, dst.step);
    case Rotation::half:
        return store(reversed<size>(tile), behind, below, dst.step);
    }
}

struct Destinations {
    Destination luma;
    Destination cb;
    Destination cr;
};

// Tiles at the right and lower border overlap the ones before them.
template <class Source>
void convertTiles(const Source& src, const Destinations& dst, Rotation rotation)
{
    const std::ptrdiff_t lastX = dst.luma.width - tileSize;
    const std::ptrdiff_t lastY = dst.luma.height - tileSize;
    for (std::ptrdiff_t row = 0; row < dst.luma.height; row += tileSize) {
        const std::ptrdiff_t y = std::min(row, lastY);
        for (std::ptrdiff_t column = 0; column < dst.luma.width; column += tileSize) {
            const std::ptrdiff_t x = std::min(column, lastX);
            const SourceTile tile =
                turnsRows(rotation) ? src.tile(x, y + tileSize - 1, -1) : src.tile(x, y, 1);
            storeTile<16>(tile.luma, dst.luma, x, y, rotation);
            storeTile<8>(tile.cb, dst.cb, x / 2, y / 2, rotation);
            storeTile<8>(tile.cr, dst.cr, x / 2, y / 2, rotation);
        }
    }
}

template <class Source>
void convertGroups(const Source& src, const Destinations& dst, Rotation rotation)
{
    const auto rotated = [&](const Destination& d) {
        return RotatedPlane<uint8_t>(d.samples, d.step, d.width, d.height, rotation);
    };
    const auto luma = rotated(dst.luma);
    const auto cb = rotated(dst.cb);
    const auto cr = rotated(dst.cr);
    for (std::ptrdiff_t y = 0; y < dst.luma.height; y += 2)
        for (std::ptrdiff_t x = 0; x < dst.luma.width; x += 2) {
            const SourceGroup group = src.group(x, y);
            for (std::ptrdiff_t i = 0; i < 4; i++)
                *luma.at(x + i % 2, y + i / 2) = group.luma[static_cast<std::size_t>(i)];
            *cb.at(x / 2, y / 2) = group.cb;
            *cr.at(x / 2, y / 2) = group.cr;
        }
}

template <class Source>
Status convertPicture(const Source& src, RoiSize size, uint8_t* const* dst, const int32_t* dstStep,
                      int32_t rotation)
{
    const std::ptrdiff_t width = size.width & ~1;
    const std::ptrdiff_t height = size.height & ~1;
    const Destinations planes{{dst[0], dstStep[0], width, height},
                              {dst[1], dstStep[1], width / 2, height / 2},
                              {dst[2], dstStep[2], width / 2, height / 2}};
    if (isRotation(rotation)) {
        if (width >= tileSize && height >= tileSize)
            convertTiles(src, planes, static_cast<Rotation>(rotation));
        else
            convertGroups(src, planes, static_cast<Rotation>(rotation));
    }
    return size.width % 2 != 0 || size.height % 2 != 0 ? StatusWarnOddSize : StatusOk;
}

constexpr bool isTooSmall(RoiSize size)
{
    return size.width < 2 || size.height < 2;
}

} // namespace
} // namespace kelvcpx::convert

using namespace kelvcpx;
using namespace kelvcpx::convert;

Status keliCbYCr422ToYCbCr420_Rotate_8u_C2P3R(const uint8_t* pSrc, int32_t srcStep, RoiSize roiSize,
                                              uint8_t* const* pDst, const int32_t* dstStep,
                                              int32_t rotation) noexcept
{
    if (anyNull(pSrc, pDst) || anyNull(pDst[0], pDst[1], pDst[2]))
        return StatusNullPointer;
    if (isTooSmall(roiSize))
        return StatusBadSize;
    return convertPicture(PackedSource(pSrc, srcStep), roiSize, pDst, dstStep, rotation);
}

Status keliCbYCr422ToYCbCr420_Rotate_8u_P3R(const uint8_t* const* pSrc, const int32_t* srcStep,
                                            RoiSize roiSize, uint8_t* const* pDst, const int32_t* dstStep,
                                            int32_t rotation) noexcept
{
    if (anyNull(pSrc, pDst) || anyNull(pDst[0], pDst[1], pDst[2]) || anyNull(pSrc[0], pSrc[1], pSrc[2]))
        return StatusNullPointer;
    if (isTooSmall(roiSize))
        return StatusBadSize;
    return convertPicture(PlanarSource(pSrc, srcStep), roiSize, pDst, dstStep, rotation);
}
