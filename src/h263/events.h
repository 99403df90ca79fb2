// Decoding the coefficients of a block (ITU-T H.263 5.4.2).
#pragma once

#include "core/byte_cursor.h"
#include "tables/h263_tables.h"

#include <kelvcpx/types.h>

#include <cstdint>

namespace kelvcpx::h263 {

struct CoefficientTables {
    const uint32_t* table0;
    const uint32_t* table1;
    const uint32_t* table2;
};

inline constexpr CoefficientTables baselineTables = {h263_coefTab0.data(), h263_coefTab1.data(),
                                                     h263_coefTab2.data()};
inline constexpr CoefficientTables advancedIntraTables = {h263_advCoefTab0.data(), h263_advCoefTab1.data(),
                                                          h263_advCoefTab2.data()};

struct Event {
    int32_t advance; // RUN + 1; 0 if there was no valid code
    int32_t level;
    bool last;
};

constexpr Event noEvent = {0, 0, false};

// What follows the seven bits of the escape code, which are still to be consumed.
template <Escape escape>
Event readEscape(ByteReader& stream)
{
    constexpr int32_t codeLength = 7;
    stream.fill(codeLength + 15);
    stream.skip(codeLength);
    const bool last = stream.read(1) != 0;
    const auto run = static_cast<int32_t>(stream.read(6));
    int32_t level = static_cast<int8_t>(stream.read(8));
    if (level == 0)
        return noEvent;
    if (level == -128) {
        if constexpr (escape == Escape::baseline)
            return noEvent;
        const uint32_t low = stream.read(5);
        level = static_cast<int32_t>((stream.read(6) << 5 | low) ^ 0x400) - 0x400;
    }
    return {run + 1, level, last};
}

template <Escape escape>
Event readEvent(ByteReader& stream, const CoefficientTables& tables)
{
    stream.fill(lookAhead);
    const uint32_t bits = stream.peek(lookAhead);
    uint32_t entry;
    if (bits >= 1024)
        entry = tables.table0[(bits >> 6) - 16];
    else if (bits >= 256)
        entry = tables.table1[(bits >> 3) - 32];
    else if (bits >= 192)
        return readEscape<escape>(stream);
    else if (bits >= 16)
        entry = tables.table2[(bits >> 1) - 8];
    else
        return noEvent;

    const auto length = static_cast<int32_t>(entry >> 24);
    const auto magnitude = static_cast<int32_t>(entry >> 16 & 0xFF);
    const auto negative = static_cast<int32_t>(bits >> (lookAhead - length) & 1);
    stream.skip(length);
    return {static_cast<int32_t>(entry >> 8 & 0xFF), (magnitude ^ -negative) + negative, (entry & 0xFF) != 0};
}

// Calls store(position, level) for each coefficient of a block whose first one can stand at `firstPosition`.
// The cursor moves only if the block is sound; `*pLast` becomes the last position stored, or
// firstPosition - 1.
template <Escape escape, class Store>
Status decodeEvents(const CoefficientTables& tables, int32_t firstPosition, const uint8_t** ppBitStream,
                    int32_t* pBitOffset, int32_t* pLast, Store store)
{
    ByteReader stream(*ppBitStream, *pBitOffset);
    int32_t position = firstPosition - 1;
    Event event;
    do {
        event = readEvent<escape>(stream, tables);
        if (event.advance == 0 || position + event.advance > 63) {
            *pLast = position;
            return StatusBadVlcCode;
        }
        position += event.advance;
        store(position, event.level);
    } while (!event.last);
    *pLast = position;
    stream.store(ppBitStream, pBitOffset);
    return StatusOk;
}

} // namespace kelvcpx::h263
