// Inverse quantisation of one level by the first method (ISO/IEC 14496-2 7.4.4), for coefficients that are
// about to be clipped.
#pragma once

#include <cstdint>

namespace kelvcpx::mpeg4 {

// Product is the type in which level, scale and weight are multiplied.

// Intra AC: W QP c / 8, the quotient truncated.
template <class Product>
constexpr Product weighIntra(int32_t level, Product scaledWeight)
{
    const Product product = scaledWeight * level;
    return (product + (level < 0 ? 7 : 0)) >> 3;
}

// Inter: W QP (2 c + sign(c)) / 16, the quotient truncated.
template <class Product>
constexpr Product weighInter(int32_t level, Product scaledWeight)
{
    const Product product = 2 * scaledWeight * level;
    return (product + (level > 0 ? scaledWeight : level < 0 ? 15 - scaledWeight : 0)) >> 4;
}

} // namespace kelvcpx::mpeg4
