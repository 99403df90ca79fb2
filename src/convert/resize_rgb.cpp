// Small turned RGB pictures of packed 4:2:2 ones.

#include "convert/packed_422.h"
#include "convert/rotation.h"
#include "core/arguments.h"
#include "core/lanes32.h"
#include "core/rows.h"

#include <kelvcpx/convert.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>

namespace kelvcpx::convert {
namespace {

// The picture is converted in groups of so many reduced pixels side by side.
constexpr int32_t groupSize = 16;

// Vectors of samples side by side.
template <std::size_t n>
using Samples = std::array<U8x16, n>;

using Pairs = U16x8; // two bytes are moved as one

[[gnu::always_inline]] inline U8x16 evenPairs(U8x16 a, U8x16 b)
{
    const auto pairs =
        __builtin_shufflevector(std::bit_cast<Pairs>(a), std::bit_cast<Pairs>(b), 0, 2, 4, 6, 8, 10, 12, 14);
    return std::bit_cast<U8x16>(pairs);
}

[[gnu::always_inline]] inline U8x16 oddPairs(U8x16 a, U8x16 b)
{
    const auto pairs =
        __builtin_shufflevector(std::bit_cast<Pairs>(a), std::bit_cast<Pairs>(b), 1, 3, 5, 7, 9, 11, 13, 15);
    return std::bit_cast<U8x16>(pairs);
}

// What two samples become: the first of them, or their mean.
enum class Interpolation : int32_t { first = 1, mean = 2 };

template <Interpolation interpolation>
[[gnu::always_inline]] inline U8x16 merge(U8x16 a, U8x16 b)
{
    return interpolation == Interpolation::first ? a : average(a, b);
}

// Merges neighbours.
template <Interpolation interpolation, std::size_t n>
[[gnu::always_inline]] inline Samples<n / 2> halve(const Samples<n>& v)
{
    Samples<n / 2> half;
    for (std::size_t i = 0; i < n / 2; i++)
        half[i] = merge<interpolation>(evenBytes(v[2 * i], v[2 * i + 1]), oddBytes(v[2 * i], v[2 * i + 1]));
    return half;
}

// Merges samples two apart: those of each component, where two alternate.
template <Interpolation interpolation, std::size_t n>
[[gnu::always_inline]] inline Samples<n / 2> halvePairs(const Samples<n>& v)
{
    Samples<n / 2> half;
    for (std::size_t i = 0; i < n / 2; i++)
        half[i] = merge<interpolation>(evenPairs(v[2 * i], v[2 * i + 1]), oddPairs(v[2 * i], v[2 * i + 1]));
    return half;
}

using kelvcpx::average;

template <std::size_t n>
[[gnu::always_inline]] inline Samples<n> average(const Samples<n>& a, const Samples<n>& b)
{
    Samples<n> means;
    for (std::size_t i = 0; i < n; i++)
        means[i] = average(a[i], b[i]);
    return means;
}

// The reduced pixels of a group, or what they are in one row: luma, and a Cb and a Cr by turns for each pair
// of pixels.
using Reduced = Samples<2>;

// The mean of so many rows, of neighbours first; rowAt(y) gives row y.
template <int rows, class RowAt>
[[gnu::always_inline]] inline auto meanOfRows(RowAt rowAt, int first = 0)
{
    if constexpr (rows == 1)
        return rowAt(first);
    else
        return average(meanOfRows<rows / 2>(rowAt, first), meanOfRows<rows / 2>(rowAt, first + rows / 2));
}

// Of a row of packed 4:2:2 for a group.
template <int factor>
using PackedRow = Samples<2 * factor>;

template <int factor, Interpolation interpolation>
[[gnu::always_inline]] inline Reduced reduceColumns(const PackedRow<factor>& row)
{
    Samples<factor> luma;
    Samples<factor> chroma;
    for (std::size_t i = 0; i < luma.size(); i++) {
        luma[i] = oddBytes(row[2 * i], row[2 * i + 1]);
        chroma[i] = evenBytes(row[2 * i], row[2 * i + 1]);
    }
    const auto samples = [](const auto& v) { return halve<interpolation>(v); };
    const auto pairs = [](const auto& v) { return halvePairs<interpolation>(v); };
    if constexpr (factor == 2)
        return {samples(luma)[0], pairs(chroma)[0]};
    else if constexpr (factor == 4)
        return {samples(pairs(luma))[0], pairs(pairs(chroma))[0]};
    else
        return {samples(samples(samples(luma)))[0], pairs(pairs(pairs(chroma)))[0]};
}

struct Source {
    const uint8_t* samples;
    std::ptrdiff_t step;

    const uint8_t* row(int y) const { return rowAt(samples, step, y); }
};

template <int factor, Interpolation interpolation>
constexpr int rowsOfArea = interpolation == Interpolation::first ? 1 : factor;

// By a factor of 8 rows are averaged first, by others columns.
template <int factor, Interpolation interpolation>
Reduced reduceGroup(const Source& src)
{
    constexpr int rows = rowsOfArea<factor, interpolation>;
    if constexpr (factor == 8) {
        PackedRow<factor> row;
        for (std::size_t i = 0; i < row.size(); i++)
            row[i] = meanOfRows<rows>([&](int y) { return loadUnaligned<U8x16>(src.row(y) + 16 * i); });
        return reduceColumns<factor, interpolation>(row);
    } else {
        return meanOfRows<rows>([&](int y) {
            return reduceColumns<factor, interpolation>(loadUnaligned<PackedRow<factor>>(src.row(y)));
        });
    }
}

// The same of fewer pixels than a group has. The chroma of the last one, if it is half a pair, is that of its
// own units: they take the place of those that are missing.
template <int factor, Interpolation interpolation>
Reduced reducePartOfGroup(const Source& src, int32_t pixels)
{
    constexpr int rows = rowsOfArea<factor, interpolation>;
    constexpr std::ptrdiff_t bytesPerPixel = 2 * factor;
    constexpr std::ptrdiff_t step = groupSize * bytesPerPixel;
    std::array<uint8_t, rows * step> copy{};
    const std::ptrdiff_t bytes = pixels * bytesPerPixel;
    for (int y = 0; y < rows; y++) {
        uint8_t* const row = copy.data() + y * step;
        std::copy_n(src.row(y), bytes, row);
        if (pixels % 2 != 0)
            std::copy_n(row + bytes - bytesPerPixel, bytesPerPixel, row + bytes);
    }
    return reduceGroup<factor, interpolation>({copy.data(), step});
}

// A component of eight pixels: (luma + chroma) >> shift, clipped to `bits`. Each chroma serves two pixels.
[[gnu::always_inline]] inline U16x8 component(const Lanes32& luma, S32x4 chroma, int shift, int bits)
{
    const auto pairs = std::bit_cast<U32x4>(chroma);
    const auto first = std::bit_cast<S32x4>(interleaveLow(pairs, pairs));
    const auto second = std::bit_cast<S32x4>(interleaveHigh(pairs, pairs));
    const S16x8 v = narrow((luma.low + first) >> shift, (luma.high + second) >> shift);
    const S16x8 largest = splat16(static_cast<int16_t>((1 << bits) - 1));
    return std::bit_cast<U16x8>(clamped(v, S16x8{}, largest));
}

// `greenBits` is 5 or 6.
template <int greenBits>
std::array<uint16_t, groupSize> toRgb(const Reduced& pixels)
{
    const auto [luma, chroma] = pixels;
    const S16x8 cb = widenLow(evenBytes(chroma, chroma)) - 128;
    const S16x8 cr = widenLow(oddBytes(chroma, chroma)) - 128;
    const Lanes32 red = multiply(cr, 1634);
    const Lanes32 green = Lanes32{} - multiply(cb, 401) - multiply(cr, 833);
    const Lanes32 blue = multiply(cb, 2065);
    const auto half = [](S16x8 y, S32x4 r, S32x4 g, S32x4 b) {
        const Lanes32 l = multiply(y - 16, 1192);
        return component(l, b, 13, 5) | component(l, g, 18 - greenBits, greenBits) << 5 |
               component(l, r, 13, 5) << (5 + greenBits);
    };
    return std::bit_cast<std::array<uint16_t, groupSize>>(
        std::array{half(widenLow(luma), red.low, green.low, blue.low),
                   half(widenHigh(luma), red.high, green.high, blue.high)});
}

template <int factor, Interpolation interpolation>
void resize(const Source& src, RoiSize size, const RotatedPlane<uint16_t>& dst, bool rgb555)
{
    for (int32_t y = 0; y < size.height; y++)
        for (int32_t x = 0; x < size.width; x += groupSize) {
            const int32_t pixels = std::min(groupSize, size.width - x);
            const Source area{src.row(factor * y) + std::ptrdiff_t{2} * factor * x, src.step};
            const Reduced reduced = pixels == groupSize
                                        ? reduceGroup<factor, interpolation>(area)
                                        : reducePartOfGroup<factor, interpolation>(area, pixels);
            const auto rgb = rgb555 ? toRgb<5>(reduced) : toRgb<6>(reduced);
            dst.storeRow(x, y, rgb.data(), pixels);
        }
}

using Kernel = void (*)(const Source& src, RoiSize size, const RotatedPlane<uint16_t>& dst, bool rgb555);

template <Interpolation interpolation>
Kernel kernelFor(int32_t factor)
{
    return factor == 2   ? resize<2, interpolation>
           : factor == 4 ? resize<4, interpolation>
                         : resize<8, interpolation>;
}

} // namespace
} // namespace kelvcpx::convert

using namespace kelvcpx;
using namespace kelvcpx::convert;

Status keliResizeCCRotate_8u_C2R(const uint8_t* pSrc, int32_t srcStep, RoiSize roiSize, uint16_t* pDst,
                                 int32_t dstStep, int32_t factor, int32_t interpolation, uint32_t rgb555,
                                 int32_t rotation) noexcept
{
    if (anyNull(pSrc, pDst))
        return StatusNullPointer;
    if (factor > roiSize.width || factor > roiSize.height)
        return StatusBadSize;
    if (factor != 2 && factor != 4 && factor != 8)
        return StatusBadResizeFactor;
    if (interpolation != 1 && interpolation != 2)
        return StatusBadInterpolation;
    if (!isRotation(rotation))
        return StatusBadArgument;
    const RoiSize reduced{roiSize.width / factor, roiSize.height / factor};
    const RotatedPlane<uint16_t> dst(pDst, dstStep, reduced.width, reduced.height,
                                     static_cast<Rotation>(rotation));
    const Kernel kernel =
        interpolation == 1 ? kernelFor<Interpolation::first>(factor) : kernelFor<Interpolation::mean>(factor);
    kernel({pSrc, srcStep}, reduced, dst, rgb555 != 0);
    return roiSize.width % 2 != 0 || roiSize.height % 2 != 0 ? StatusWarnOddSize : StatusOk;
}
