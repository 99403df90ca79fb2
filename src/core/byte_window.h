// The byte cursor for readers of many short codes: the bits to come wait in a register.
#pragma once

#include "core/byte_cursor.h"

#include <cstdint>

namespace kelvcpx {

// Keep it in registers: functions that take a reference to it must be inlined. Loads no byte beyond the third
// one that follows the byte of the next unread bit.
class ByteWindow
{
public:
    // `consumed` is the number of bits, 0..7, of the first byte that are already read.
    ByteWindow(const uint8_t* byte, int32_t consumed)
        : byte_(byte), consumed_(consumed), bits_(bigEndian32(byte))
    {}

    // Makes n bits, up to 25, available to peek() and skip().
    void fill(int32_t n)
    {
        if (consumed_ + n > 32) [[unlikely]] {
            byte_ += consumed_ >> 3;
            consumed_ &= 7;
            bits_ = bigEndian32(byte_);
        }
    }

    // The next n available bits, at least one, without consuming them.
    uint32_t peek(int32_t n) const { return bits_ << consumed_ >> (32 - n); }

    // Consumes n available bits.
    void skip(int32_t n) { consumed_ += n; }

    uint32_t read(int32_t n)
    {
        fill(n);
        const uint32_t value = peek(n);
        skip(n);
        return value;
    }

    void store(const uint8_t** ppBitStream, int32_t* pBitOffset) const
    {
        *ppBitStream = byte_ + (consumed_ >> 3);
        *pBitOffset = consumed_ & 7;
    }

private:
    const uint8_t* byte_;
    int32_t consumed_; // bits of bits_, 0..32
    uint32_t bits_;    // the four bytes from byte_ on
};

} // namespace kelvcpx
