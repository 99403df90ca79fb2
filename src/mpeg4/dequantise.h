// Inverse quantisation of one level (ISO/IEC 14496-2 7.4.4), for coefficients that are about to be clipped.
#pragma once

#include "core/arithmetic.h"

#include <algorithm>
#include <cstdint>

namespace kelvcpx::mpeg4 {

// Product is the type in which level, scale and weight are multiplied.

// First method, intra AC: W QP c / 8, the quotient truncated.
template <class Product>
constexpr Product weighIntra(int32_t level, Product scaledWeight)
{
    const Product product = scaledWeight * level;
    return (product + (level < 0 ? 7 : 0)) >> 3;
}

// First method, inter: W QP (2 c + sign(c)) / 16, the quotient truncated.
template <class Product>
constexpr Product weighInter(int32_t level, Product scaledWeight)
{
    const Product product = 2 * scaledWeight * level;
    return (product + (level > 0 ? scaledWeight : level < 0 ? 15 - scaledWeight : 0)) >> 4;
}

// What the second method adds to the magnitude 2 QP |c|.
constexpr int32_t secondMethodOffset(int32_t QP)
{
    return QP - (~QP & 1);
}

// Second method: 2 QP |c| and the offset, with the sign of c.
constexpr int32_t scale(int32_t level, int32_t doubledQP, int32_t offset)
{
    return doubledQP * level + signOf(level) * offset;
}

// Makes the sum of all coefficients odd by a change of the last one (7.4.4.5).
inline void controlMismatch(int16_t* block, int32_t sum)
{
    if ((sum & 1) == 0)
        block[63] = static_cast<int16_t>(block[63] ^ 1);
}

} // namespace kelvcpx::mpeg4
