#include "block/strip.h"
#include "core/arguments.h"
#include "core/lanes32.h"

#include <kelvcpx/block.h>

#include <array>
#include <bit>
#include <cstddef>

namespace kelvcpx {
namespace {

// 2^16 cos(k pi / 16), rounded down.
constexpr std::array<int32_t, 8> g = {65536, 64276, 60547, 54491, 46340, 36409, 25079, 12785};

// x * g[k]. A cosine above 32767 exceeds 16 bits, but not if 65536 is taken off; the product then lacks x in
// its upper half.
template <std::size_t k>
Lanes32 timesCosine(S16x8 x)
{
    constexpr bool fits = g[k] <= 32767;
    const S16x8 factor = splat16(static_cast<int16_t>(fits ? g[k] : g[k] - 65536));
    const S16x8 upper = multiplyHigh(x, factor);
    return joinHalves(wrapMul(x, factor), fits ? upper : wrapAdd(upper, x));
}

// g[k] * x[n], nothing where there are fewer inputs.
template <std::size_t k, std::size_t n, std::size_t Inputs>
[[gnu::always_inline]] inline Lanes32 term(const std::array<S16x8, Inputs>& x)
{
    if constexpr (n < Inputs)
        return timesCosine<k>(x[n]);
    else
        return Lanes32{};
}

// The one-dimensional inverse DCT of eight columns side by side, times 2 * 65536: even and odd frequencies
// apart, joined by a butterfly. Missing inputs are zero. `rounding` is added to each result.
template <std::size_t Inputs>
[[gnu::always_inline]] inline std::array<Lanes32, 8> transform(const std::array<S16x8, Inputs>& x,
                                                               int32_t rounding)
{
    const Lanes32 constant = term<4, 0>(x) + rounding;
    const Lanes32 p = constant + term<4, 4>(x);
    const Lanes32 q = constant - term<4, 4>(x);
    const Lanes32 a = term<2, 2>(x) + term<6, 6>(x);
    const Lanes32 b = term<6, 2>(x) - term<2, 6>(x);
    const Lanes32 e0 = p + a;
    const Lanes32 e1 = q + b;
    const Lanes32 e2 = q - b;
    const Lanes32 e3 = p - a;

    const Lanes32 o0 = term<1, 1>(x) + term<3, 3>(x) + term<5, 5>(x) + term<7, 7>(x);
    const Lanes32 o1 = term<3, 1>(x) - term<7, 3>(x) - term<1, 5>(x) - term<5, 7>(x);
    const Lanes32 o2 = term<5, 1>(x) - term<1, 3>(x) + term<7, 5>(x) + term<3, 7>(x);
    const Lanes32 o3 = term<7, 1>(x) - term<5, 3>(x) + term<3, 5>(x) - term<1, 7>(x);

    return {e0 + o0, e1 + o1, e2 + o2, e3 + o3, e3 - o3, e2 - o2, e1 - o1, e0 - o0};
}

// The upper halves of the lanes of a and b by turns.
U32x4 upperHalves(S32x4 a, S32x4 b)
{
    const auto first = std::bit_cast<U32x4>(littleEndian ? a : b);
    const auto second = std::bit_cast<U32x4>(littleEndian ? b : a);
    return (first >> 16) | (second & 0xffff0000);
}

// Turns the upper halves of the results of four columns into four rows. The even results come first.
void transposeUpperHalves(const std::array<S32x4, 8>& y, S16x8* rows)
{
    const U32x4 y02 = upperHalves(y[0], y[2]);
    const U32x4 y46 = upperHalves(y[4], y[6]);
    const U32x4 y13 = upperHalves(y[1], y[3]);
    const U32x4 y57 = upperHalves(y[5], y[7]);
    const U32x4 even01 = interleaveLow(y02, y46);
    const U32x4 even23 = interleaveHigh(y02, y46);
    const U32x4 odd01 = interleaveLow(y13, y57);
    const U32x4 odd23 = interleaveHigh(y13, y57);
    rows[0] = std::bit_cast<S16x8>(joinLow(even01, odd01));
    rows[1] = std::bit_cast<S16x8>(joinHigh(even01, odd01));
    rows[2] = std::bit_cast<S16x8>(joinLow(even23, odd23));
    rows[3] = std::bit_cast<S16x8>(joinHigh(even23, odd23));
}

using Rows = std::array<S16x8, 8>;

// Residuals have nine bits (ISO/IEC 13818-2 7.5), samples eight.
constexpr int16_t leastResidual = -256;
constexpr int16_t leastSample = 0;

S16x8 clip(S16x8 v, int16_t least)
{
    return clamped(v, splat16(least), splat16(255));
}

// The second pass, over rows of columns 0, 2, 4, 6, 1, 3, 5, 7: joining the halves puts them in order. It
// takes off the scale of both passes, 4 * 65536.
template <std::size_t Inputs>
Rows transformRows(const std::array<S16x8, Inputs>& x, int16_t least)
{
    const std::array<Lanes32, 8> y = transform(x, 0x28000);
    Rows result;
    for (std::size_t i = 0; i < 8; i++)
        result[i] = clip(std::bit_cast<S16x8>(upperHalves(y[i].low, y[i].high)) >> 2, least);
    return result;
}

// Both passes. The coefficients are stored transposed: a column holds the horizontal frequencies.
Rows transformBlock(const int16_t* coefficients, int16_t least)
{
    std::array<S16x8, 8> x;
    for (std::size_t k = 0; k < 8; k++)
        x[k] = loadUnaligned<S16x8>(coefficients + 8 * k);
    const std::array<Lanes32, 8> y = transform(x, 0x8000);
    std::array<S32x4, 8> low;
    std::array<S32x4, 8> high;
    for (std::size_t k = 0; k < 8; k++) {
        low[k] = y[k].low;
        high[k] = y[k].high;
    }
    transposeUpperHalves(low, &x[0]);
    transposeUpperHalves(high, &x[4]);
    return transformRows(x, least);
}

// The same for coefficients of the frequencies 0..3 in both directions; no other is read.
Rows transformLowFrequencies(const int16_t* coefficients, int16_t least)
{
    std::array<S16x8, 4> x;
    for (std::size_t k = 0; k < 4; k++)
        x[k] = std::bit_cast<S16x8>(Vec16<uint64_t>{loadUnaligned<uint64_t>(coefficients + 8 * k), 0});
    const std::array<Lanes32, 8> y = transform(x, 0x8000);
    std::array<S32x4, 8> low;
    for (std::size_t k = 0; k < 8; k++)
        low[k] = y[k].low;
    transposeUpperHalves(low, x.data());
    return transformRows(x, least);
}

Rows idct8x8_block(const int16_t* coefficients)
{
    return transformBlock(coefficients, leastResidual);
}

Rows idct8x8_block_8u(const int16_t* coefficients)
{
    return transformBlock(coefficients, leastSample);
}

Rows idct4x4_block(const int16_t* coefficients)
{
    return transformLowFrequencies(coefficients, leastResidual);
}

Rows idct4x4_block_8u(const int16_t* coefficients)
{
    return transformLowFrequencies(coefficients, leastSample);
}

constexpr int32_t lastLowFrequency = 9; // scan positions up to here lie within the frequencies 0..3

// The residual, clipped to nine bits.
Rows inverseTransform16s(const int16_t* coefficients, int32_t count)
{
    if (count > lastLowFrequency)
        return idct8x8_block(coefficients);
    if (count > 0)
        return idct4x4_block(coefficients);
    Rows rows;
    rows.fill(count < 0 ? S16x8{} : clip(splat16(static_cast<int16_t>(coefficients[0] / 8)), leastResidual));
    return rows;
}

// The samples.
Rows inverseTransform8u(const int16_t* coefficients, int32_t count)
{
    if (count > lastLowFrequency)
        return idct8x8_block_8u(coefficients);
    if (count > 0)
        return idct4x4_block_8u(coefficients);
    Rows rows;
    rows.fill(clip(splat16(static_cast<int16_t>(coefficients[0] / 8)), leastSample));
    return rows;
}

} // namespace
} // namespace kelvcpx

using namespace kelvcpx;

Status keliDCT8x8Inv_AANTransposed_16s_C1R(const int16_t* pSrc, int16_t* pDst, int32_t dstStep,
                                           int32_t count) noexcept
{
    if (anyNull(pSrc, pDst))
        return StatusNullPointer;
    if (dstStep < 1)
        return StatusBadStep;
    const Rows rows = inverseTransform16s(pSrc, count);
    auto* const dst = reinterpret_cast<uint8_t*>(pDst);
    for (std::size_t y = 0; y < 8; y++)
        storeUnaligned(dst + static_cast<std::ptrdiff_t>(y) * dstStep, rows[y]);
    return StatusOk;
}

Status keliDCT8x8Inv_AANTransposed_16s8u_C1R(const int16_t* pSrc, uint8_t* pDst, int32_t dstStep,
                                             int32_t count) noexcept
{
    if (anyNull(pSrc, pDst))
        return StatusNullPointer;
    if (dstStep < 1)
        return StatusBadStep;
    const Rows rows = inverseTransform8u(pSrc, count);
    for (std::size_t y = 0; y < 8; y += 2)
        scatterRows<8, 2>(pDst + static_cast<std::ptrdiff_t>(y) * dstStep, dstStep,
                          narrow(rows[y], rows[y + 1]));
    return StatusOk;
}

Status keliDCT8x8Inv_AANTransposed_16s_P2C2R(const int16_t* pSrcU, const int16_t* pSrcV, int16_t* pDst,
                                             int32_t dstStep, int32_t countU, int32_t countV) noexcept
{
    if (anyNull(pSrcU, pSrcV, pDst))
        return StatusNullPointer;
    if (dstStep < 1)
        return StatusBadStep;
    const Rows u = inverseTransform16s(pSrcU, countU);
    const Rows v = inverseTransform16s(pSrcV, countV);
    auto* dst = reinterpret_cast<uint8_t*>(pDst);
    for (std::size_t y = 0; y < 8; y++, dst += dstStep) {
        storeUnaligned(dst, interleaveLow(u[y], v[y]));
        storeUnaligned(dst + 16, interleaveHigh(u[y], v[y]));
    }
    return StatusOk;
}

Status keliDCT8x8Inv_AANTransposed_16s8u_P2C2R(const int16_t* pSrcU, const int16_t* pSrcV, uint8_t* pDst,
                                               int32_t dstStep, int32_t countU, int32_t countV) noexcept
{
    if (anyNull(pSrcU, pSrcV, pDst))
        return StatusNullPointer;
    if (dstStep < 1)
        return StatusBadStep;
    const Rows u = inverseTransform8u(pSrcU, countU);
    const Rows v = inverseTransform8u(pSrcV, countV);
    for (std::size_t y = 0; y < 8; y++)
        storeUnaligned(pDst + static_cast<std::ptrdiff_t>(y) * dstStep,
                       narrow(interleaveLow(u[y], v[y]), interleaveHigh(u[y], v[y])));
    return StatusOk;
}
