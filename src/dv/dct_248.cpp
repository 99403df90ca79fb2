// The 2-4-8 DCT (IEC 61834-2): columns are transformed as the sums and the differences of pairs of lines, one
// line of each field.

#include "core/arguments.h"
#include "core/lanes32.h"
#include "core/transpose.h"
#include "tables/dv_tables.h"

#include <kelvcpx/dv.h>

#include <algorithm>
#include <array>
#include <cstddef>

namespace kelvcpx::dv {
namespace {

using Rows = std::array<S16x8, 8>;

// Forward

// v * tan(pi / 8), rounded.
Lanes32 R(const Lanes32& v)
{
    return (v * 27146 + 32768) >> 16;
}

// The 4-point DCT of eight columns, its odd frequencies divided by cos(pi / 8). Of the results 16 bits are
// kept.
std::array<S16x8, 4> forwardColumns(const std::array<Lanes32, 4>& y)
{
    const Lanes32 a = y[0] + y[3];
    const Lanes32 b = y[1] + y[2];
    const Lanes32 c = y[0] - y[3];
    const Lanes32 e = y[1] - y[2];
    return {narrow(a + b), narrow(c + R(e)), narrow(a - b), narrow(R(c) - e)};
}

// The factors of eight rows, by output frequency and pair of inputs.
constexpr auto rowWeights = [] {
    std::array<std::array<std::array<int16_t, 8>, 4>, 8> weights{};
    for (std::size_t m = 0; m < 8; m++)
        for (std::size_t n = 0; n < 4; n++)
            for (std::size_t row = 0; row < 8; row++)
                weights[m][n][row] = (row % 2 == 0 ? w_4 : w_2)[m][n];
    return weights;
}();

// The 8-point DCT; z[n] has sample n of eight rows.
Rows forwardRows(const Rows& z)
{
    Rows coefficients;
    for (std::size_t m = 0; m < 8; m++) {
        Lanes32 total = Lanes32{} + 32768;
        for (std::size_t n = 0; n < 4; n++) {
            const auto weights = loadUnaligned<S16x8>(rowWeights[m][n].data());
            const Lanes32 mirrored = multiply(z[7 - n], weights);
            total = total + multiply(z[n], weights);
            total = m % 2 == 0 ? total + mirrored : total - mirrored;
        }
        coefficients[m] = narrow(total >> 16);
    }
    return coefficients;
}

void transformForward(int16_t* block)
{
    std::array<Lanes32, 4> sums, differences;
    for (std::size_t i = 0; i < 4; i++) {
        const Lanes32 upper = widen(loadUnaligned<S16x8>(block + 16 * i));
        const Lanes32 lower = widen(loadUnaligned<S16x8>(block + 16 * i + 8));
        sums[i] = upper + lower;
        differences[i] = upper - lower;
    }
    const auto s = forwardColumns(sums);
    const auto d = forwardColumns(differences);
    const Rows rows = {s[0], s[1], s[2], s[3], d[0], d[1], d[2], d[3]};
    storeUnaligned(block, transpose(forwardRows(transpose(rows))));
}

// Inverse

// 2^14 * (x0 + x1), 2^14 * (x0 - x1)
Lanes32 scaledSum(S16x8 x0, S16x8 x1)
{
    return (widen(x0) + widen(x1)) * (1 << 14);
}

Lanes32 scaledDifference(S16x8 x0, S16x8 x1)
{
    return (widen(x0) - widen(x1)) * (1 << 14);
}

// The 8-point inverse DCT with 14 fractional bits; x[k] has frequency k of eight rows.
Rows inverseRows(const Rows& x)
{
    const Lanes32 a1 = multiply(x[1], 22725) + multiply(x[7], 4520);
    const Lanes32 a2 = multiply(x[1], 4520) - multiply(x[7], 22725);
    const Lanes32 b1 = multiply(x[3], 19265) + multiply(x[5], 12872);
    const Lanes32 b2 = multiply(x[5], 19265) - multiply(x[3], 12872);
    constexpr int32_t cosine = 11585; // 2^14 cos(pi / 4)
    const Lanes32 o0 = a1 + b1;
    const Lanes32 o1 = (((a1 + a2 - b1 - b2 + 1024) >> 11) * cosine) >> 3;
    const Lanes32 o2 = (((a1 - a2 - b1 + b2 + 1024) >> 11) * cosine) >> 3;
    const Lanes32 o3 = a2 + b2;

    const Lanes32 e0 = scaledSum(x[0], x[4]) + 8192;
    const Lanes32 e1 = scaledDifference(x[0], x[4]) + 8192;
    const Lanes32 c1 = multiply(x[2], 21406) + multiply(x[6], 8866);
    const Lanes32 c2 = multiply(x[2], 8866) - multiply(x[6], 21406);
    const std::array<Lanes32, 4> even = {e0 + c1, e1 + c2, e1 - c2, e0 - c1};
    const std::array<Lanes32, 4> odd = {o0, o1, o2, o3};

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
    const Lanes32 p = scaledSum(u[0], u[2]) + 65536;
    const Lanes32 m = scaledDifference(u[0], u[2]) + 65536;
    const Lanes32 c1 = multiply(u[1], 21406) + multiply(u[3], 8866);
    const Lanes32 c2 = multiply(u[1], 8866) - multiply(u[3], 21406);
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
        storeUnaligned(block + 16 * i, wrapAdd(sums[i], differences[i]));
        storeUnaligned(block + 16 * i + 8, wrapSub(sums[i], differences[i]));
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
