// Derives a mapping from the displacements of the warping points (ISO/IEC 14496-2 7.8.4, 7.8.5).

#include "core/arguments.h"
#include "mpeg4/warp.h"

#include <algorithm>
#include <bit>
#include <cstddef>

namespace kelvcpx::mpeg4 {
namespace {

// Displacements of the corners of the VOP in half samples, each but the first relative to those before it.
struct Displacements {
    const int32_t* du;
    const int32_t* dv;

    WarpPoint operator[](std::size_t i) const { return {du[i], dv[i]}; }
};

constexpr WarpPoint operator+(WarpPoint a, WarpPoint b)
{
    return {a.x + b.x, a.y + b.y};
}

constexpr WarpPoint operator-(WarpPoint a, WarpPoint b)
{
    return {a.x - b.x, a.y - b.y};
}

constexpr WarpPoint operator*(int64_t factor, WarpPoint p)
{
    return {factor * p.x, factor * p.y};
}

constexpr WarpPoint originOf(const RoiRect& rect)
{
    return {rect.x, rect.y};
}

// n / d to the nearest integer, halves away from zero; d is positive.
constexpr int64_t divideRounded(int64_t n, int64_t d)
{
    return (n >= 0 ? n + d / 2 : n - d / 2) / d;
}

constexpr RoiRect chromaRectangle(const RoiRect& luma)
{
    return {luma.x / 2, luma.y / 2, (luma.width + 1) >> 1, (luma.height + 1) >> 1};
}

// A side of the VOP, and the smallest power of two that is not shorter.
struct Side {
    explicit constexpr Side(int32_t n)
        : length(n), log2(static_cast<int32_t>(std::bit_width(static_cast<uint32_t>(n) - 1)))
    {}

    constexpr int64_t power() const { return int64_t{1} << log2; }

    int32_t length;
    int32_t log2;
};

// Where the mapping takes a point as far from the origin as the power of two, if it takes the corner at the
// end of the side to `corner`. Both are relative to their unwarped places, like the warped origin.
constexpr WarpPoint virtualPoint(const Side& side, WarpPoint origin, WarpPoint corner)
{
    const auto extrapolate = [&](int64_t from, int64_t to) {
        return divideRounded(from * (side.length - side.power()) + to * side.power(), side.length);
    };
    return {extrapolate(origin.x, corner.x), extrapolate(origin.y, corner.y)};
}

AffineMapping translation(WarpPoint origin)
{
    return {origin, {16, 0}, {0, 16}, 0};
}

void initTranslation(WarpSpec& spec, int32_t spriteType)
{
    const WarpPoint vop{spec.x0, spec.y0};
    spec.lumaMapping = translation(spec.first - 16 * vop - 16 * originOf(spec.luma));

    const int32_t insignificant = 3 - spec.accuracy;
    const auto halve = [&](int64_t v) {
        const int64_t c = v >> insignificant;
        return (spriteType == staticSprite ? (c + 1) >> 1 : (c >> 1) | (c & 1)) * (1 << insignificant);
    };
    const WarpPoint halved{halve(spec.first.x), halve(spec.first.y)};
    const WarpPoint chromaVop{spec.x0 / 2, spec.y0 / 2};
    spec.chromaMapping = translation(halved - 16 * chromaVop - 16 * originOf(spec.chroma));
}

// Two or three points.
void initAffine(WarpSpec& spec, const RoiRect& vopRect, const Displacements& displacements)
{
    const Side width(vopRect.width);
    const Side height(vopRect.height);
    const WarpPoint vop = originOf(vopRect);
    const WarpPoint origin = spec.first - 16 * vop;
    const auto columns = [&] {
        const WarpPoint corner = origin + 8 * displacements[1];
        return virtualPoint(width, origin, corner) + WarpPoint{16 * width.power(), 0} - origin;
    }();

    AffineMapping& luma = spec.lumaMapping;
    luma.column = columns;
    if (spec.points == 2) {
        luma.row = {-columns.y, columns.x};
        luma.shift = width.log2;
    } else {
        const WarpPoint corner = origin + 8 * displacements[2];
        const WarpPoint rows =
            virtualPoint(height, origin, corner) + WarpPoint{0, 16 * height.power()} - origin;
        luma.shift = std::max(width.log2, height.log2);
        luma.column = (int64_t{1} << (luma.shift - width.log2)) * columns;
        luma.row = (int64_t{1} << (luma.shift - height.log2)) * rows;
    }

    const auto power = [](int32_t n) { return int64_t{1} << n; };
    // Half a step of the accuracy, (1 << (3 - accuracy)) / 2, at the scale of the mapping.
    const auto halfStep = [&](int32_t shift) { return power(shift + 3 - spec.accuracy) >> 1; };
    const auto rounding = [&](int32_t shift) { return WarpPoint{halfStep(shift), halfStep(shift)}; };
    luma.origin = power(luma.shift) * (spec.first - 16 * originOf(spec.luma)) + rounding(luma.shift) -
                  vop.x * luma.column - vop.y * luma.row;

    // A chroma sample lies at 2 * x + 1/2, 2 * y + 1/2 of luma.
    AffineMapping& chroma = spec.chromaMapping;
    chroma.shift = luma.shift + 2;
    chroma.column = 4 * luma.column;
    chroma.row = 4 * luma.row;
    chroma.origin = power(luma.shift + 1) * (spec.first - WarpPoint{8, 8}) -
                    power(chroma.shift + 4) * originOf(spec.chroma) + rounding(chroma.shift) +
                    (1 - 2 * vop.x) * luma.column + (1 - 2 * vop.y) * luma.row;
}

void initPerspective(WarpSpec& spec, const RoiRect& vopRect, const Displacements& displacements)
{
    const int64_t width = vopRect.width;
    const int64_t height = vopRect.height;
    const WarpPoint origin = 2 * originOf(vopRect) + displacements[0];
    const WarpPoint right = displacements[1] + WarpPoint{2 * width, 0};
    const WarpPoint below = displacements[2] + WarpPoint{0, 2 * height};
    const int64_t unit = 1 << spec.accuracy;
    const WarpPoint p0 = unit * origin;
    const WarpPoint p1 = unit * (origin + right);
    const WarpPoint p2 = unit * (origin + below);
    const WarpPoint p3 = unit * (origin + right + below + displacements[3]);

    const WarpPoint delta = p0 - p1 - p2 + p3;
    const WarpPoint edge1 = p1 - p3;
    const WarpPoint edge2 = p2 - p3;
    const auto g = static_cast<double>((delta.x * edge2.y - edge2.x * delta.y) * height);
    const auto h = static_cast<double>((delta.y * edge1.x - delta.x * edge1.y) * width);
    const auto determinant = static_cast<double>(edge2.y * edge1.x - edge2.x * edge1.y);
    const double perColumn = determinant * static_cast<double>(height);
    const double perRow = determinant * static_cast<double>(width);
    const double k = perColumn * static_cast<double>(width);
    const auto numerator = [&](int64_t v0, int64_t v1, int64_t v2) {
        return LinearForm{static_cast<double>(v1) * g + static_cast<double>(v1 - v0) * perColumn,
                          static_cast<double>(v2) * h + static_cast<double>(v2 - v0) * perRow,
                          static_cast<double>(v0) * k};
    };
    spec.perspective = {numerator(p0.x, p1.x, p2.x), numerator(p0.y, p1.y, p2.y), {g, h, k}};
}

void initMapping(WarpSpec& spec, const RoiRect& vopRect, const Displacements& displacements,
                 int32_t spriteType)
{
    if (spec.points == 0) {
        spec.lumaMapping = translation(-16 * originOf(spec.luma));
        spec.chromaMapping = translation(-16 * originOf(spec.chroma));
        return;
    }
    spec.first = 16 * originOf(vopRect) + 8 * displacements[0];
    if (spec.points == 1)
        initTranslation(spec, spriteType);
    else if (spec.points < 4)
        initAffine(spec, vopRect, displacements);
    else
        initPerspective(spec, vopRect, displacements);
}

constexpr bool isEmpty(const RoiRect& rect)
{
    return rect.width < 1 || rect.height < 1;
}

} // namespace
} // namespace kelvcpx::mpeg4

using namespace kelvcpx;
using namespace kelvcpx::mpeg4;

Status keliWarpGetSize_MPEG4(int32_t* pSpecSize) noexcept
{
    if (anyNull(pSpecSize))
        return StatusNullPointer;
    *pSpecSize = warpSpecSize;
    return StatusOk;
}

Status keliWarpInit_MPEG4(WarpSpec* pSpec, const int32_t* pDU, const int32_t* pDV, int32_t numWarpingPoints,
                          int32_t spriteType, int32_t warpingAccuracy, int32_t roundingType,
                          int32_t quarterSample, int32_t fcode, const RoiRect* pSpriteRect,
                          const RoiRect* pVopRect) noexcept
{
    if (anyNull(pSpec, pSpriteRect, pVopRect))
        return StatusNullPointer;
    if (numWarpingPoints < 0 || numWarpingPoints > 4 || (numWarpingPoints == 4 && spriteType != staticSprite))
        return StatusOutOfRange;
    if (warpingAccuracy < 0 || warpingAccuracy > 3 || fcode < 1 || fcode > 7)
        return StatusOutOfRange;
    if (isEmpty(*pSpriteRect) || isEmpty(*pVopRect))
        return StatusBadSize;
    if (numWarpingPoints > 0 && anyNull(pDU, pDV))
        return StatusNullPointer;

    WarpSpec spec{.points = static_cast<uint8_t>(numWarpingPoints),
                  .accuracy = static_cast<uint8_t>(warpingAccuracy),
                  .rounding = static_cast<uint8_t>(spriteType == staticSprite ? 0 : roundingType & 1),
                  .quarterSample = quarterSample != 0,
                  .vectorLimit = 16 << fcode,
                  .x0 = pVopRect->x,
                  .y0 = pVopRect->y,
                  .luma = *pSpriteRect,
                  .chroma = chromaRectangle(*pSpriteRect),
                  .first = {},
                  .lumaMapping = {},
                  .chromaMapping = {},
                  .perspective = {},
                  .tag = warpTag};
    initMapping(spec, *pVopRect, {pDU, pDV}, spriteType);
    *recordIn(pSpec) = spec;
    return StatusOk;
}
