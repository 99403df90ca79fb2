// Argument checks of the operations with a byte cursor.
#pragma once

#include "core/arguments.h"

#include <kelvcpx/types.h>

#include <cstdint>

namespace kelvcpx {

// The cursor and the operation's other pointers, then the bit offset.
template <class Byte, class... Other>
constexpr Status checkByteCursor(Byte* const* ppBitStream, const int32_t* pBitOffset, const Other*... others)
{
    if (anyNull(ppBitStream, pBitOffset, others...) || anyNull(*ppBitStream))
        return StatusNullPointer;
    return *pBitOffset < 0 || *pBitOffset > 7 ? StatusBadBitOffset : StatusOk;
}

} // namespace kelvcpx
