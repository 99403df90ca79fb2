// From the coefficients of a block to reconstructed samples: inverse transform and addition to the prediction
// (ITU-T H.264 8.5.12 to 8.5.14). Strides are in samples.
#pragma once

#include "block/strip.h"
#include "core/arithmetic.h"
#include "core/vec.h"
#include "h264/depth.h"
#include "h264/scaling.h"
#include "h264/transform.h"
#include "tables/h264_tables.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace kelvcpx::h264 {

// The upper four lanes in place of the lower ones.
inline S16x8 upperHalf(S16x8 v)
{
    return std::bit_cast<S16x8>(joinHigh(std::bit_cast<U32x4>(v), std::bit_cast<U32x4>(v)));
}

inline Coefficients<16, int16_t> transpose(const Coefficients<16, int16_t>& x)
{
    const S16x8 a = interleaveLow(x[0], x[1]);
    const S16x8 b = interleaveHigh(x[0], x[1]);
    return {interleaveLow(a, b), interleaveHigh(a, b)};
}

inline Coefficients<64, int16_t> transpose(const Coefficients<64, int16_t>& x)
{
    // Interleaving the first half of the rows with the second is one third of the way.
    const auto third = [](const Coefficients<64, int16_t>& v) {
        Coefficients<64, int16_t> result;
        for (std::size_t i = 0; i < 4; i++) {
            result[2 * i] = interleaveLow(v[i], v[i + 4]);
            result[2 * i + 1] = interleaveHigh(v[i], v[i + 4]);
        }
        return result;
    };
    return third(third(third(x)));
}

// The residual of a 4x4 block. The results of the rows have 16 bits; those of the columns need more before
// they are shifted.
inline Coefficients<16, int16_t> transformed(const Coefficients<16, int16_t>& coefficients)
{
    const auto columns = transpose(coefficients);
    const auto y = inverse4<S16x8>({columns[0], upperHalf(columns[0]), columns[1], upperHalf(columns[1])});
    const auto y01 = std::bit_cast<U32x4>(interleaveLow(y[0], y[1]));
    const auto y23 = std::bit_cast<U32x4>(interleaveLow(y[2], y[3]));
    const auto rows01 = std::bit_cast<S16x8>(interleaveLow(y01, y23));
    const auto rows23 = std::bit_cast<S16x8>(interleaveHigh(y01, y23));

    const auto r =
        inverse4<S32x4>({widenLow(rows01) + 32, widenHigh(rows01), widenLow(rows23), widenHigh(rows23)});
    return {narrow(r[0] >> 6, r[1] >> 6), narrow(r[2] >> 6, r[3] >> 6)};
}

// One direction of the 8x8 transform, of eight rows or columns at once, whatever bits the sums need.
template <int32_t rounding, int32_t shift>
[[gnu::noinline]] Coefficients<64, int16_t> widePass(const Coefficients<64, int16_t>& x)
{
    std::array<S32x4, 8> low;
    std::array<S32x4, 8> high;
    for (std::size_t i = 0; i < 8; i++) {
        low[i] = widenLow(x[i]);
        high[i] = widenHigh(x[i]);
    }
    low[0] += rounding;
    high[0] += rounding;
    low = inverse8(low);
    high = inverse8(high);
    Coefficients<64, int16_t> y;
    for (std::size_t i = 0; i < 8; i++)
        y[i] = narrow(low[i] >> shift, high[i] >> shift);
    return y;
}

// True if all lanes are within -limit - 1..limit.
template <std::size_t n>
bool areWithin(const std::array<S16x8, n>& lanes, int16_t limit)
{
    S16x8 least = lanes[0];
    S16x8 most = lanes[0];
    for (std::size_t i = 1; i < n; i++) {
        least = minimum(least, lanes[i]);
        most = maximum(most, lanes[i]);
    }
    const auto beyond = std::bit_cast<Vec16<uint64_t>>(maximum(most, ~least) > splat16(limit));
    return (beyond[0] | beyond[1]) == 0;
}

// Of the results of rows 16 bits count. Those of any sum do, unless it is shifted: sums of odd inputs with
// weights that add up to 3.5 are.
inline Coefficients<64, int16_t> passOverRows(const Coefficients<64, int16_t>& x)
{
    if (areWithin<4>({x[1], x[3], x[5], x[7]}, 32760 * 2 / 7)) [[likely]]
        return inverse8(x);
    return widePass<0, 0>(x);
}

// The results of columns count whole. The weights of no sum add up to more than 7.4.
inline Coefficients<64, int16_t> passOverColumns(Coefficients<64, int16_t> x)
{
    if (!areWithin(x, 32700 * 10 / 74)) [[unlikely]]
        return widePass<32, 6>(x);
    x[0] += 32;
    x = inverse8(x);
    for (S16x8& row : x)
        row >>= 6;
    return x;
}

inline Coefficients<64, int16_t> transformed(const Coefficients<64, int16_t>& coefficients)
{
    return passOverColumns(transpose(passOverRows(transpose(coefficients))));
}

// Adds a residual to the prediction and clips. This and what follows down to addSample() exists for each
// depth.
inline void addResidual(uint8_t* dst, std::ptrdiff_t stride, const Coefficients<16, int16_t>& residual,
                        Depth8)
{
    const U8x16 prediction = gatherRows<4, 4>(dst, stride);
    scatterRows<4, 4>(dst, stride, kelvcpx::addResidual(prediction, {residual[0], residual[1]}));
}

inline void addResidual(uint8_t* dst, std::ptrdiff_t stride, const Coefficients<64, int16_t>& residual,
                        Depth8)
{
    for (std::size_t i = 0; i < 8; i += 2) {
        const U8x16 prediction = gatherRows<8, 2>(dst, stride);
        scatterRows<8, 2>(dst, stride, kelvcpx::addResidual(prediction, {residual[i], residual[i + 1]}));
        dst += 2 * stride;
    }
}

// The same residual for all samples of a block of n x n.
template <int n>
void addConstant(uint8_t* dst, std::ptrdiff_t stride, int32_t residual, Depth8)
{
    const U8x16 up = splat8(static_cast<uint8_t>(std::clamp(residual, 0, 255)));
    const U8x16 down = splat8(static_cast<uint8_t>(std::clamp(-residual, 0, 255)));
    constexpr int rows = 16 / n;
    for (int y = 0; y < n; y += rows) {
        const U8x16 raised = minimum(gatherRows<n, rows>(dst, stride), ~up) + up;
        scatterRows<n, rows>(dst, stride, maximum(raised, down) - down);
        dst += rows * stride;
    }
}

inline void addSample(uint8_t* dst, int32_t residual, Depth8)
{
    *dst = ClampTbl[static_cast<std::size_t>(256 + *dst + std::clamp(residual, -256, 255))];
}

// True if a coefficient other than the first is not zero.
template <class Lanes, std::size_t vectors>
bool hasAc(const std::array<Lanes, vectors>& coefficients)
{
    auto all = std::bit_cast<Vec16<uint64_t>>(withFirst(coefficients[0], 0));
    for (std::size_t i = 1; i < vectors; i++)
        all |= std::bit_cast<Vec16<uint64_t>>(coefficients[i]);
    return (all[0] | all[1]) != 0;
}

// A block of n x n scaled coefficients. If there is only the DC, all results of the transform are the same.
template <int n, class Lanes, std::size_t vectors, class Depth>
[[gnu::always_inline]] inline void addTransformed(typename Depth::Sample* dst, std::ptrdiff_t stride,
                                                  const std::array<Lanes, vectors>& scaled,
                                                  const Depth& depth)
{
    if (hasAc(scaled))
        addResidual(dst, stride, transformed(scaled), depth);
    else
        addConstant<n>(dst, stride, (scaled[0][0] + 32) >> 6, depth);
}

// A coded block of n x n coefficients.
template <int n, class Depth>
void addBlock(typename Depth::Sample* dst, std::ptrdiff_t stride,
              const typename Depth::Coefficient* coefficients,
              const Dequantiser<n * n, typename Depth::Coefficient>& dequantiser, const Depth& depth)
{
    const auto c = loadCoefficients<n * n>(coefficients);
    if (dequantiser.lossless)
        addResidual(dst, stride, c, depth);
    else
        addTransformed<n>(dst, stride, dequantiser.scaling(c), depth);
}

// A coded 4x4 block whose DC comes from elsewhere: the coefficient in its place does not count.
template <class Depth>
void addBlock(typename Depth::Sample* dst, std::ptrdiff_t stride,
              const typename Depth::Coefficient* coefficients, typename Depth::Coefficient dc,
              const Dequantiser<16, typename Depth::Coefficient>& dequantiser, const Depth& depth)
{
    auto c = loadCoefficients<16>(coefficients);
    if (!dequantiser.lossless)
        c = dequantiser.scaling(c);
    c[0] = withFirst(c[0], dc);
    if (dequantiser.lossless)
        addResidual(dst, stride, c, depth);
    else
        addTransformed<4>(dst, stride, c, depth);
}

// A 4x4 block of which only the DC, from elsewhere, is coded.
template <class Depth>
void addDc(typename Depth::Sample* dst, std::ptrdiff_t stride, typename Depth::Coefficient dc,
           const Dequantiser<16, typename Depth::Coefficient>& dequantiser, const Depth& depth)
{
    if (dequantiser.lossless)
        addSample(dst, dc, depth);
    else
        addConstant<4>(dst, stride, (dc + 32) >> 6, depth);
}

} // namespace kelvcpx::h264
