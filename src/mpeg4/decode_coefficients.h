// What the readers of coefficients share.
#pragma once

#include "core/byte_cursor.h"
#include "core/byte_cursor_check.h"
#include "tables/scan_tables.h"

#include <kelvcpx/types.h>

#include <algorithm>
#include <cstdint>

namespace kelvcpx::mpeg4 {

// A coefficient as the stream has it.
struct Event {
    int32_t last;
    int32_t run;
    int32_t level;
};

constexpr int32_t signedLevel(uint32_t magnitude, uint32_t negative)
{
    return negative != 0 ? -static_cast<int32_t>(magnitude) : static_cast<int32_t>(magnitude);
}

// Reads events with read(reader, event), which returns false where the code is invalid, and hands level and
// scan position to store(). `*pIndex` is the position before the first one, then that of the last one.
template <class Read, class Store>
[[gnu::always_inline]] inline Status decodeBlock(ByteReader& reader, int32_t* pIndex, Read read, Store store)
{
    int32_t position = *pIndex;
    Status status = StatusBadVlcCode;
    Event event;
    while (read(reader, event)) {
        position += event.run + 1;
        if (position > 63)
            break;
        store(position, event.level);
        if (event.last != 0) {
            status = StatusOk;
            break;
        }
    }
    *pIndex = position;
    return status;
}

// Clears a block, but keeps the DC if it has been decoded before. Returns the position before the first
// coefficient to come.
inline int32_t clearBlock(int16_t* pCoef, bool hasDc)
{
    const int16_t dc = pCoef[0];
    std::fill_n(pCoef, 64, int16_t{0});
    if (!hasDc)
        return -1;
    pCoef[0] = dc;
    return 0;
}

enum class BlockKind { intra, inter };

// Forward decoding of reversible codes.
Status ownpmp4_DecodeRVLCF_MPEG4_1u16s(ByteReader& reader, int16_t* pCoef, int32_t* pIndxLastNonZero,
                                       BlockKind kind, const ScanTable& scan);

} // namespace kelvcpx::mpeg4
