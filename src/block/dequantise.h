// Inverse quantisation that standards have in common.
#pragma once

#include "core/arithmetic.h"

#include <cstdint>

namespace kelvcpx {

// Without a matrix, as in ITU-T H.261 (4.2.4), ITU-T H.263 (6.2.1) and the second method of ISO/IEC 14496-2
// (7.4.4.3): the magnitude of a level other than 0 stands for 2 * QP * magnitude and this on top.
constexpr int32_t reconstructionOffset(int32_t QP)
{
    return (QP & 1) != 0 ? QP : QP - 1;
}

constexpr int32_t dequantiseUniformly(int32_t level, int32_t doubledQP, int32_t offset)
{
    return doubledQP * level + offset * signOf(level);
}

// Makes the sum of all coefficients odd by a change of the last one (ISO/IEC 13818-2 7.4.4, ISO/IEC 14496-2
// 7.4.4.5).
inline void controlMismatch(int16_t* block, int32_t sum)
{
    if ((sum & 1) == 0)
        block[63] = static_cast<int16_t>(block[63] ^ 1);
}

} // namespace kelvcpx
