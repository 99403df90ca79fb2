// Argument checks of the operations on blocks of coefficients of H.261 and H.263.
#pragma once

#include "core/byte_cursor_check.h"

#include <kelvcpx/types.h>

#include <cstdint>

namespace kelvcpx {

constexpr bool isQuantiser(int32_t QP)
{
    return QP >= 1 && QP <= 31;
}

inline Status checkReconstruction(const uint8_t* const* ppBitStream, const int32_t* pBitOffset,
                                  const int16_t* pCoef, const int32_t* pIndxLastNonZero, int32_t QP)
{
    const Status status = checkByteCursor(ppBitStream, pBitOffset, pCoef, pIndxLastNonZero);
    if (status != StatusOk)
        return status;
    return isQuantiser(QP) ? StatusOk : StatusBadQuantizer;
}

inline Status checkEncoding(const int16_t* pQCoef, uint8_t* const* ppBitStream, const int32_t* pBitOffset,
                            int32_t countNonZero)
{
    if (const Status status = checkByteCursor(ppBitStream, pBitOffset, pQCoef); status != StatusOk)
        return status;
    return countNonZero < 1 || countNonZero > 64 ? StatusOutOfRange : StatusOk;
}

} // namespace kelvcpx
