// Inverse quantisation and weighting, eight coefficients at a time in 16 bits.

#include "core/arguments.h"
#include "core/vec.h"

#include <kelvcpx/dv.h>

#include <bit>

namespace kelvcpx::dv {
namespace {

// ((c * f) >> 14) & ~3: the upper half of the product, times four.
S16x8 scaled(S16x8 c, S16x8 f)
{
    return std::bit_cast<S16x8>(std::bit_cast<U16x8>(multiplyHigh(c, f)) << 2);
}

// ((c >> 3) * q * w) >> 16. With (c >> 3) * q = 2^16 * high + low, low taken as a signed number and corrected
// if it is negative.
S16x8 scaled(S16x8 c, S16x8 q, S16x8 w)
{
    const S16x8 x = c >> 3;
    const S16x8 low = wrapMul(x, q);
    const S16x8 high = multiplyHigh(x, q);
    const S16x8 correction = w & (low >> 15);
    return wrapAdd(wrapAdd(wrapMul(high, w), multiplyHigh(low, w)), correction);
}

} // namespace
} // namespace kelvcpx::dv

using namespace kelvcpx;

Status keliQuantInv_DV_16s_C1I(int16_t* pSrcDst, const int16_t* pDequantTable) noexcept
{
    if (anyNull(pSrcDst, pDequantTable))
        return StatusNullPointer;
    for (int i = 0; i < 64; i += 8)
        storeUnaligned(pSrcDst + i, dv::scaled(loadUnaligned<S16x8>(pSrcDst + i),
                                               loadUnaligned<S16x8>(pDequantTable + i)));
    return StatusOk;
}

Status keliQuantWeightBlockInv_DV_16s_C1I(int16_t* pSrcDst, const int16_t* pQuantInvTable,
                                          const int16_t* pWeightInvTable) noexcept
{
    if (anyNull(pSrcDst, pQuantInvTable, pWeightInvTable))
        return StatusNullPointer;
    for (int i = 0; i < 64; i += 8)
        storeUnaligned(pSrcDst + i,
                       dv::scaled(loadUnaligned<S16x8>(pSrcDst + i), loadUnaligned<S16x8>(pQuantInvTable + i),
                                  loadUnaligned<S16x8>(pWeightInvTable + i)));
    return StatusOk;
}
