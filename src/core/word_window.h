// The word cursor for readers of many short codes: the bits to come wait in a register.
#pragma once

#include "core/huffman_lookup.h"

#include <cstddef>
#include <cstdint>

namespace kelvcpx {

// Keep it in registers: functions that take a reference to it must be inlined. Loads no word beyond the one
// that follows the cursor.
class WordWindow
{
public:
    // `offset` is the index of the next unread bit, 31 the most significant one.
    WordWindow(const uint32_t* word, int32_t offset)
        : bits_((static_cast<uint64_t>(word[0]) << 32 | word[1]) << (31 - offset)), count_(33 + offset),
          next_(word + 2)
    {}

    // Makes n bits, up to 32, available to peek() and skip(). Asking for few of them spares most loads.
    void fill(int32_t n)
    {
        if (count_ < n) [[unlikely]] {
            bits_ |= static_cast<uint64_t>(*next_++) << (32 - count_);
            count_ += 32;
        }
    }

    // The next n bits, 1..32, without consuming them; zeros where they are not available.
    uint32_t peek(int32_t n) const { return static_cast<uint32_t>(bits_ >> (64 - n)); }

    // Consumes n available bits.
    void skip(int32_t n)
    {
        bits_ <<= n;
        count_ -= n;
    }

    uint32_t read(int32_t n)
    {
        fill(n);
        const uint32_t value = peek(n);
        skip(n);
        return value;
    }

    void store(const uint32_t** ppBitStream, int32_t* pBitOffset) const
    {
        *ppBitStream = next_ - ((count_ + 31) >> 5);
        *pBitOffset = (count_ - 1) & 31;
    }

private:
    uint64_t bits_; // the next unread bit is the most significant one; zeros behind the available bits
    int32_t count_; // available bits, 0..64
    const uint32_t* next_;
};

namespace huffman {

// Finds the leaf for the bits at the cursor, gives back what lies behind its code and returns it. The bits of
// an invalid code stay consumed but for those that the entry gives back.
inline int32_t decode(WordWindow& stream, const int32_t* table)
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

} // namespace huffman
} // namespace kelvcpx
