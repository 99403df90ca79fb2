// Layout of built Huffman tables, and the lookup that every reader of them shares: MPEG-1/2 and H.264 CAVLC.
#pragma once

#include "core/word_cursor.h"

#include <cstdint>

namespace kelvcpx::huffman {

enum class Kind { value, runLevel };

constexpr int32_t linkMarker = 0x80;    // low byte of an entry that leads to a sub-table
constexpr int32_t invalidCode = 0xF0F1; // upper 24 bits of an entry that no code reaches
constexpr int32_t emptyEntry = invalidCode << 8 | 1;

constexpr bool isLink(int32_t entry)
{
    return (entry & linkMarker) != 0;
}

// Index of the width word of the sub-table that a link leads to.
constexpr int32_t subTable(int32_t link)
{
    return static_cast<int32_t>(static_cast<uint32_t>(link) >> 8);
}

constexpr int32_t value(int32_t leaf)
{
    return leaf >> 8;
}

constexpr bool isInvalid(int32_t leaf)
{
    return value(leaf) == invalidCode;
}

constexpr int32_t giveBack(int32_t leaf)
{
    return leaf & 0xFF;
}

constexpr int32_t first(int32_t leaf)
{
    return leaf >> 8 & 0xFF;
}

constexpr int32_t second(int32_t leaf)
{
    return leaf >> 16;
}

// Finds the leaf for the bits at the cursor. All bits looked at stay consumed: the caller gives back what
// lies behind the code.
inline int32_t lookUp(WordReader& reader, const int32_t* table)
{
    int32_t entry = table[1 + static_cast<int32_t>(reader.read(table[0]))];
    while (isLink(entry)) {
        const int32_t* const sub = table + subTable(entry);
        entry = sub[1 + static_cast<int32_t>(reader.read(sub[0]))];
    }
    return entry;
}

} // namespace kelvcpx::huffman
