// Resampling by two: reduced-resolution updates (ITU-T H.263 Annex Q) and the layers of spatial scalability
// (Annex O). A sample of the larger picture lies at a quarter of the way from its nearest sample in the
// smaller one to the next: the weights are 3 and 1, in each direction.

#include "core/arguments.h"
#include "core/rows.h"
#include "core/vec.h"

#include <kelvcpx/h263_resample.h>

#include <algorithm>
#include <array>
#include <cstddef>

namespace kelvcpx::h263 {
namespace {

struct Source {
    const uint8_t* samples;
    std::ptrdiff_t step;
    RoiSize size;

    const uint8_t* row(int32_t y) const { return rowAt(samples, step, y); }
};

struct Destination {
    uint8_t* samples;
    std::ptrdiff_t step;

    uint8_t* row(int32_t y) const { return rowAt(samples, step, y); }
};

// The row that is next to an output row's nearest one; may be outside the source.
constexpr int32_t nextRow(int32_t y)
{
    return y % 2 == 0 ? y / 2 - 1 : y / 2 + 1;
}

// Makes a row of twice the width from the sums of near and far rows; `before` and `after` are the sums
// outside of the width. farAt(x) is a sample of the far row.
template <class FarAt>
void upsampleRow(const uint8_t* near, FarAt farAt, int32_t width, int32_t before, int32_t after,
                 uint8_t* __restrict dst, int32_t round)
{
    const auto column = [&](int32_t x) { return 3 * near[x] + farAt(x); };
    const auto store = [&](int32_t x, int32_t left, int32_t right) {
        dst[2 * x] = static_cast<uint8_t>((3 * column(x) + left + round) >> 4);
        dst[2 * x + 1] = static_cast<uint8_t>((3 * column(x) + right + round) >> 4);
    };
    const int32_t last = width - 1;
    store(0, before, column(1));
    for (int32_t x = 1; x < last; x++)
        store(x, column(x - 1), column(x + 1));
    store(last, column(last - 1), after);
}

// What is outside the source is as the nearest sample.
void upsampleRowRepeating(const uint8_t* near, const uint8_t* far, int32_t width, uint8_t* dst, int32_t round)
{
    const int32_t last = width - 1;
    upsampleRow(
        near, [far](int32_t x) { return far[x]; }, width, 3 * near[0] + far[0], 3 * near[last] + far[last],
        dst, round);
}

void ownUpsampleFour_H263_8u_C1R(const Source& src, const Destination& dst, int32_t rounding)
{
    for (int32_t y = 0; y < 2 * src.size.height; y++) {
        const int32_t far = std::clamp(nextRow(y), 0, src.size.height - 1);
        upsampleRowRepeating(src.row(y / 2), src.row(far), src.size.width, dst.row(y), 7 + rounding);
    }
}

// What is outside the source has the value `fill`.
void upsampleFilled(const Source& src, const Destination& dst, int32_t rounding, int32_t fill)
{
    for (int32_t y = 0; y < 2 * src.size.height; y++) {
        const auto upsample = [&](auto farAt) {
            upsampleRow(src.row(y / 2), farAt, src.size.width, 4 * fill, 4 * fill, dst.row(y), 7 + rounding);
        };
        const int32_t next = nextRow(y);
        if (next < 0 || next == src.size.height)
            upsample([fill](int32_t) { return fill; });
        else
            upsample([far = src.row(next)](int32_t x) { return far[x]; });
    }
}

void ownSpatialInterpolationHor_H263_8u_C1R(const Source& src, const Destination& dst)
{
    for (int32_t y = 0; y < src.size.height; y++)
        upsampleRowRepeating(src.row(y), src.row(y), src.size.width, dst.row(y), 8);
}

void ownSpatialInterpolationVer_H263_8u_C1R(const Source& src, const Destination& dst)
{
    for (int32_t y = 0; y < 2 * src.size.height; y++) {
        const uint8_t* const near = src.row(y / 2);
        const uint8_t* const far = src.row(std::clamp(nextRow(y), 0, src.size.height - 1));
        uint8_t* __restrict const row = dst.row(y);
        for (int32_t x = 0; x < src.size.width; x++)
            row[x] = static_cast<uint8_t>((3 * near[x] + far[x] + 2) >> 2);
    }
}

// A row of a block; it may begin at any address.
template <std::size_t length>
using ResidualRow = std::array<int16_t, length>;

template <std::size_t length>
ResidualRow<length> loadRow(const int16_t* block, std::ptrdiff_t step, std::ptrdiff_t y)
{
    return loadUnaligned<ResidualRow<length>>(rowAt(block, step, y));
}

void ownUpsampleFour8x8_H263_16s_C1R(const int16_t* src, std::ptrdiff_t srcStep, int16_t* dst,
                                     std::ptrdiff_t dstStep)
{
    for (int32_t y = 0; y < 16; y++) {
        const auto near = loadRow<8>(src, srcStep, y / 2);
        const auto far = loadRow<8>(src, srcStep, std::clamp(nextRow(y), 0, 7));
        ResidualRow<16> row;
        int32_t before = 3 * near[0] + far[0];
        int32_t column = before;
        for (std::size_t x = 0; x < near.size(); x++) {
            const std::size_t next = std::min<std::size_t>(x + 1, 7);
            const int32_t after = 3 * near[next] + far[next];
            row[2 * x] = static_cast<int16_t>((3 * column + before + 8) / 16);
            row[2 * x + 1] = static_cast<int16_t>((3 * column + after + 8) / 16);
            before = column;
            column = after;
        }
        // A corner is copied: the division would round it towards zero.
        if (y == 0 || y == 15) {
            row.front() = near.front();
            row.back() = near.back();
        }
        storeUnaligned(rowAt(dst, dstStep, y), row);
    }
}

void ownDownsampleFour_H263_8u_C1R(const Source& src, const Destination& dst, int32_t rounding)
{
    for (int32_t y = 0; y < src.size.height / 2; y++) {
        const uint8_t* const upper = src.row(2 * y);
        const uint8_t* const lower = src.row(2 * y + 1);
        uint8_t* __restrict const row = dst.row(y);
        for (int32_t x = 0; x < src.size.width / 2; x++) {
            const int sum = upper[2 * x] + upper[2 * x + 1] + lower[2 * x] + lower[2 * x + 1];
            row[x] = static_cast<uint8_t>((sum + 1 + rounding) >> 2);
        }
    }
}

void ownDownampleFour16x16_H263_16s_C1R(const int16_t* src, std::ptrdiff_t srcStep, int16_t* dst,
                                        std::ptrdiff_t dstStep)
{
    for (std::ptrdiff_t y = 0; y < 8; y++) {
        const auto upper = loadRow<16>(src, srcStep, 2 * y);
        const auto lower = loadRow<16>(src, srcStep, 2 * y + 1);
        ResidualRow<8> row;
        for (std::size_t x = 0; x < row.size(); x++) {
            const int sum = upper[2 * x] + upper[2 * x + 1] + lower[2 * x] + lower[2 * x + 1];
            row[x] = static_cast<int16_t>((sum + 2) >> 2);
        }
        storeUnaligned(rowAt(dst, dstStep, y), row);
    }
}

constexpr bool isUpsampled(RoiSize size)
{
    return size.width >= 4 && size.height >= 4 && size.width % 2 == 0 && size.height % 2 == 0;
}

} // namespace
} // namespace kelvcpx::h263

using namespace kelvcpx;
using namespace kelvcpx::h263;

Status keliUpsampleFour_H263_8u_C1R(const uint8_t* pSrc, int32_t srcStep, RoiSize roiSize, uint8_t* pDst,
                                    int32_t dstStep, int32_t rounding, int32_t fillValue) noexcept
{
    if (anyNull(pSrc, pDst))
        return StatusNullPointer;
    if (!isUpsampled(roiSize))
        return StatusBadSize;
    if (fillValue < 0)
        ownUpsampleFour_H263_8u_C1R({pSrc, srcStep, roiSize}, {pDst, dstStep}, rounding & 1);
    else
        upsampleFilled({pSrc, srcStep, roiSize}, {pDst, dstStep}, rounding & 1, fillValue & 0xFF);
    return StatusOk;
}

Status keliUpsampleFour8x8_H263_16s_C1R(const int16_t* pSrc, int32_t srcStep, int16_t* pDst,
                                        int32_t dstStep) noexcept
{
    if (anyNull(pSrc, pDst))
        return StatusNullPointer;
    ownUpsampleFour8x8_H263_16s_C1R(pSrc, srcStep, pDst, dstStep);
    return StatusOk;
}

Status keliSpatialInterpolation_H263_8u_C1R(const uint8_t* pSrc, int32_t srcStep, RoiSize roiSize,
                                            uint8_t* pDst, int32_t dstStep, int32_t interpType) noexcept
{
    if (anyNull(pSrc, pDst))
        return StatusNullPointer;
    if (!isUpsampled(roiSize))
        return StatusBadSize;
    constexpr int32_t both = 3;
    constexpr int32_t vertical = 2;
    const Source src{pSrc, srcStep, roiSize};
    const Destination dst{pDst, dstStep};
    if (interpType == both)
        ownUpsampleFour_H263_8u_C1R(src, dst, 1);
    else if (interpType == vertical)
        ownSpatialInterpolationVer_H263_8u_C1R(src, dst);
    else
        ownSpatialInterpolationHor_H263_8u_C1R(src, dst);
    return StatusOk;
}

Status keliDownsampleFour_H263_8u_C1R(const uint8_t* pSrc, int32_t srcStep, RoiSize roiSize, uint8_t* pDst,
                                      int32_t dstStep, int32_t rounding) noexcept
{
    if (anyNull(pSrc, pDst))
        return StatusNullPointer;
    if (roiSize.width < 1 || roiSize.height < 1)
        return StatusBadSize;
    ownDownsampleFour_H263_8u_C1R({pSrc, srcStep, roiSize}, {pDst, dstStep}, rounding & 1);
    return StatusOk;
}

Status keliDownsampleFour16x16_H263_16s_C1R(const int16_t* pSrc, int32_t srcStep, int16_t* pDst,
                                            int32_t dstStep) noexcept
{
    if (anyNull(pSrc, pDst))
        return StatusNullPointer;
    ownDownampleFour16x16_H263_16s_C1R(pSrc, srcStep, pDst, dstStep);
    return StatusOk;
}
