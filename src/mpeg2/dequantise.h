// Inverse quantisation of MPEG-1 (ISO/IEC 11172-2 2.4.4) and MPEG-2 (ISO/IEC 13818-2 7.4).
#pragma once

#include "core/arithmetic.h"

#include <cstdint>

namespace kelvcpx {

enum class Standard { mpeg1, mpeg2 };
enum class BlockKind { intra, nonIntra };

// The product of level, scale and weight that both standards divide: by 16 in MPEG-1, by 32 in MPEG-2.
template <BlockKind kind>
constexpr int32_t scaledLevel(int32_t level, int32_t scale, int32_t weight)
{
    const int32_t doubled = 2 * level + (kind == BlockKind::nonIntra ? signOf(level) : 0);
    return wrapMul(wrapMul(doubled, scale), weight);
}

// An even coefficient, if it is not 0, moves by one towards zero (11172-2 2.4.4.1, 2.4.4.2).
constexpr int32_t towardsZeroIfEven(int32_t v)
{
    return (v & 1) == 0 ? v - signOf(v) : v;
}

template <Standard standard, BlockKind kind>
constexpr int32_t dequantise(int32_t level, int32_t scale, int32_t weight)
{
    const int32_t product = scaledLevel<kind>(level, scale, weight);
    if constexpr (standard == Standard::mpeg1)
        return saturateCoefficient(towardsZeroIfEven(product / 16));
    else
        return product / 32;
}

} // namespace kelvcpx
