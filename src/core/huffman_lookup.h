// Layout of built Huffman tables, and the lookup that every reader of them shares: MPEG-1/2 and H.264 CAVLC.
#pragma once

#include "core/word_cursor.h"

#include <cstddef>
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

// Finds the leaf for the bits at the cursor, gives back what lies behind its code and returns it. Of the bits
// of an invalid code, too, those stay consumed that the entry does not give back.
inline int32_t lookUp(WordReader& stream, const int32_t* table)
{
    int32_t width = table[0];
    stream.fill(width);
    int32_t entry = table[1 + std::size_t{stream.peek(width)}];
    while (isLink(entry)) {
        stream.skip(width);
        const int32_t* const sub = table + subTable(entry);
        width = sub[0];
        stream.fill(width);
        entry = sub[1 + std::size_t{stream.peek(width)}];
    }
    stream.skip(width - giveBack(entry));
    return entry;
}

// Where an invalid code is to leave all bits consumed that were looked at, takes back what lookUp() gave
// back.
inline void consumeInvalid(WordReader& stream, int32_t leaf)
{
    if (isInvalid(leaf))
        stream.skip(giveBack(leaf));
}

} // namespace kelvcpx::huffman
