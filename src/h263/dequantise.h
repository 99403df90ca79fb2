// Inverse quantisation of ITU-T H.261 (4.2.4) and H.263 (6.2.1), which is the same.
#pragma once

#include "core/arithmetic.h"

#include <cstdint>

namespace kelvcpx {

// The magnitude of a level other than 0 stands for 2 * QP * magnitude and this on top.
constexpr int32_t reconstructionOffset(int32_t QP)
{
    return (QP & 1) != 0 ? QP : QP - 1;
}

// `offset` is the reconstruction offset of QP.
constexpr int32_t dequantise(int32_t level, int32_t QP, int32_t offset)
{
    return 2 * QP * level + offset * signOf(level);
}

} // namespace kelvcpx
