// The 2-4-8 DCT (IEC 61834-2): columns are transformed as the sums and the differences of pairs of lines, one
// line of each field.

#include "core/arguments.h"
#include "core/arithmetic.h"
#include "core/transpose.h"
#include "core/vec.h"
#include "tables/dv_tables.h"

#include <kelvcpx/dv.h>

#include <algorithm>
#include <array>
#include <cstddef>

namespace kelvcpx::dv {
namespace {

// Forward

constexpr int16_t low16(int32_t v)
{
    return static_cast<int16_t>(v);
}

// x * tan(pi / 8), rounded.
constexpr int32_t R(int32_t x)
{
    return wrapAdd(wrapMul(x, 27146), 32768) >> 16;
}

// The 4-point DCT of four values, its odd frequencies divided by cos(pi / 8).
constexpr std::array<int16_t, 4> transformColumn(const std::array<int32_t, 4>& y)
{
    const int32_t a = y[0] + y[3];
    const int32_t b = y[1] + y[2];
    const int32_t c = y[0] - y[3];
    const int32_t e = y[1] - y[2];
    return {low16(a + b), low16(c + R(e)), low16(a - b), low16(R(c) - e)};
}

void transformRow(int16_t* z, const FrequencyWeights& weights)
{
    std::array<int32_t, 4> sums, differences;
    for (std::size_t n = 0; n < 4; n++) {
        sums[n] = z[n] + z[7 - n];
        differences[n] = z[n] - z[7 - n];
    }
    for (std::size_t m = 0; m < 8; m++) {
        const std::array<int32_t, 4>& x = m % 2 == 0 ? sums : differences;
        int32_t total = 32768;
        for (std::size_t n = 0; n < 4; n++)
            total = wrapAdd(total, wrapMul(weights[m][n], x[n]));
        z[m] = low16(total >> 16);
    }
}

void transformForward(int16_t* block)
{
    for (std::size_t column = 0; column < 8; column++) {
        std::array<int32_t, 4> sums, differences;
        for (std::size_t i = 0; i < 4; i++) {
            const int16_t* const pair = block + 16 * i + column;
            sums[i] = pair[0] + pair[8];
            differences[i] = pair[0] - pair[8];
        }
        const auto upper = transformColumn(sums);
        const auto lower = transformColumn(differences);
        for (std::size_t i = 0; i < 4; i++) {
            block[8 * i + column] = upper[i];
            block[8 * (i + 4) + column] = lower[i];
        }
    }
    for (std::size_t row = 0; row < 8; row++)
        transformRow(block + 8 * row, row % 2 == 0 ? w_4 : w_2);
}

// Inverse. Eight numbers side by side, modulo 2^32.
struct Lanes {
    U32x4 low;
    U32x4 high;

    friend Lanes operator+(const Lanes& a, const Lanes& b) { return {a.low + b.low, a.high + b.high}; }
    friend Lanes operator-(const Lanes& a, const Lanes& b) { return {a.low - b.low, a.high - b.high}; }
    friend Lanes operator*(const Lanes& a, uint32_t b) { return {a.low * b, a.high * b}; }
    friend Lanes operator+(const Lanes& a, uint32_t b) { return {a.low + b, a.high + b}; }

    // Arithmetic, as of signed numbers.
    friend Lanes operator>>(const Lanes& a, int shift)
    {
        return {std::bit_cast<U32x4>(std::bit_cast<S32x4>(a.low) >> shift),
                std::bit_cast<U32x4>(std::bit_cast<S32x4>(a.high) >> shift)};
    }
};

// x * factor, from two products of 16 bits, for which processors have more lanes.
template <int16_t factor>
Lanes multiply(S16x8 x)
{
    const S16x8 lower = multiplyLow(x, splat16(factor));
    const S16x8 upper = multiplyHigh(x, splat16(factor));
    const S16x8 first = littleEndian ? lower : upper;
    const S16x8 second = littleEndian ? upper : lower;
    return {std::bit_cast<U32x4>(interleaveLow(first, second)),
            std::bit_cast<U32x4>(interleaveHigh(first, second))};
}

Lanes widen(S16x8 x)
{
    return {std::bit_cast<U32x4>(widenLow(x)), std::bit_cast<U32x4>(widenHigh(x))};
}

S16x8 narrow(const Lanes& x)
{
    return kelvcpx::narrow(std::bit_cast<S32x4>(x.low), std::bit_cast<S32x4>(x.high));
}

using Rows = std::array<S16x8, 8>;

S16x8 subtractWrapping(S16x8 a, S16x8 b)
{
    return std::bit_cast<S16x8>(std::bit_cast<U16x8>(a) - std::bit_cast<U16x8>(b));
}

// 2^14 * (x0 + x1), 2^14 * (x0 - x1)
Lanes scaledSum(S16x8 x0, S16x8 x1)
{
    return (widen(x0) + widen(x1)) * (1 << 14);
}

Lanes scaledDifference(S16x8 x0, S16x8 x1)
{
    return (widen(x0) - widen(x1)) * (1 << 14);
}

// The 8-point inverse DCT with 14 fractional bits; x[k] has frequency k of eight rows.
Rows inverseRows(const Rows& x)
{
    const Lanes a1 = multiply<22725>(x[1]) + multiply<4520>(x[7]);
    const Lanes a2 = multiply<4520>(x[1]) - multiply<22725>(x[7]);
    const Lanes b1 = multiply<19265>(x[3]) + multiply<12872>(x[5]);
    const Lanes b2 = multiply<19265>(x[5]) - multiply<12872>(x[3]);
    constexpr uint32_t cosine = 11585; // 2^14 cos(pi / 4)
    const Lanes o0 = a1 + b1;
    const Lanes o1 = (((a1 + a2 - b1 - b2 + 1024) >> 11) * cosine) >> 3;
    const Lanes o2 = (((a1 - a2 - b1 + b2 + 1024) >> 11) * cosine) >> 3;
    const Lanes o3 = a2 + b2;

    const Lanes e0 = scaledSum(x[0], x[4]) + 8192;
    const Lanes e1 = scaledDifference(x[0], x[4]) + 8192;
    const Lanes c1 = multiply<21406>(x[2]) + multiply<8866>(x[6]);
    const Lanes c2 = multiply<8866>(x[2]) - multiply<21406>(x[6]);
    const std::array<Lanes, 4> even = {e0 + c1, e1 + c2, e1 - c2, e0 - c1};
    const std::array<Lanes, 4> odd = {o0, o1, o2, o3};

    Rows y;
    for (std::size_t i = 0; i < 4; i++) {
        y[i] = narrow((even[i] + odd[i]) >> 14);
        y[7 - i] = narrow((even[i] - odd[i]) >> 14);
    }
    return y;
}

// The 4-point inverse DCT of eight columns.
std::array<S16x8, 4> inverseColumns(const S16x8* u)
{
    const Lanes p = scaledSum(u[0], u[2]) + 65536;
    const Lanes m = scaledDifference(u[0], u[2]) + 65536;
    const Lanes c1 = multiply<21406>(u[1]) + multiply<8866>(u[3]);
    const Lanes c2 = multiply<8866>(u[1]) - multiply<21406>(u[3]);
    return {narrow((p + c1) >> 17), narrow((m + c2) >> 17), narrow((m - c2) >> 17), narrow((p - c1) >> 17)};
}

void transformInverse(int16_t* block)
{
    Rows rows;
    for (std::size_t i = 0; i < 8; i++)
        rows[i] = loadUnaligned<S16x8>(block + 8 * i);
    rows = transpose(inverseRows(transpose(rows)));
    const auto sums = inverseColumns(&rows[0]);
    const auto differences = inverseColumns(&rows[4]);
    for (std::size_t i = 0; i < 4; i++) {
        storeUnaligned(block + 16 * i, addWrapping(sums[i], differences[i]));
        storeUnaligned(block + 16 * i + 8, subtractWrapping(sums[i], differences[i]));
    }
}

} // namespace
} // namespace kelvcpx::dv

using namespace kelvcpx;

Status keliDCT2x4x8Frw_16s_C1I(int16_t* pSrcDst) noexcept
{
    if (anyNull(pSrcDst))
        return StatusNullPointer;
    dv::transformForward(pSrcDst);
    return StatusOk;
}

Status keliDCT2x4x8Inv_16s_C1I(int16_t* pSrcDst) noexcept
{
    if (anyNull(pSrcDst))
        return StatusNullPointer;
    dv::transformInverse(pSrcDst);
    return StatusOk;
}

Status keliCountZeros8x8_16s_C1(const int16_t* pSrc, uint32_t* pCount) noexcept
{
    if (anyNull(pSrc, pCount))
        return StatusNullPointer;
    *pCount = static_cast<uint32_t>(std::count(pSrc, pSrc + 64, 0));
    return StatusOk;
}
