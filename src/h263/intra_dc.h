// The intra DC of ITU-T H.261 (4.2.4) and H.263 (5.4.1): eight bits, of which 0 and 128 are forbidden and 255
// stands for 128.
#pragma once

#include "core/byte_cursor.h"

#include <cstdint>

namespace kelvcpx {

constexpr int32_t intraDcLength = 8;

// The level at the cursor, or 0 where the code is forbidden. Does not consume its bits, and loads no byte
// that has none of them.
inline int32_t peekIntraDc(const uint8_t* byte, int32_t bitOffset)
{
    const uint32_t behind = bitOffset > 0 ? byte[1] : 0;
    const auto code = static_cast<uint8_t>((uint32_t{byte[0]} << 8 | behind) >> (intraDcLength - bitOffset));
    return code == 128 ? 0 : code == 255 ? 128 : code;
}

constexpr uint32_t intraDcCode(int32_t level)
{
    return level == 128 ? 255 : static_cast<uint8_t>(level);
}

} // namespace kelvcpx
