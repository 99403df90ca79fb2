// The byte cursor: bits of an array of bytes, most significant bit first.
#pragma once

#include <cstdint>

namespace kelvcpx {

// The four bytes from here on, the first one highest.
inline uint32_t bigEndian32(const uint8_t* byte)
{
    return static_cast<uint32_t>(byte[0]) << 24 | static_cast<uint32_t>(byte[1]) << 16 |
           static_cast<uint32_t>(byte[2]) << 8 | byte[3];
}

// Keep it in registers: functions that take a reference to it must be inlined. Loads no byte beyond the third
// one that follows the byte of the next unread bit.
class ByteReader
{
public:
    // `consumed` is the number of bits, 0..7, of the first byte that are already read.
    ByteReader(const uint8_t* byte, int32_t consumed)
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

// Keeps the bits before the cursor, stores every byte that a code reaches, and leaves the bits behind it
// zero.
class ByteWriter
{
public:
    ByteWriter(uint8_t* byte, int32_t written) : byte_(byte), written_(written) {}

    // Appends the low n bits, 1..32, of the code.
    void write(uint32_t code, int32_t n)
    {
        const uint64_t kept = *byte_ & (0xFF00u >> written_);
        const uint64_t aligned = static_cast<uint64_t>(code) << (64 - n) >> written_ | kept << 56;
        written_ += n;
        for (int32_t i = 0; 8 * i < written_; i++)
            byte_[i] = static_cast<uint8_t>(aligned >> (56 - 8 * i));
        byte_ += written_ >> 3;
        written_ &= 7;
    }

    void store(uint8_t** ppBitStream, int32_t* pBitOffset) const
    {
        *ppBitStream = byte_;
        *pBitOffset = written_;
    }

private:
    uint8_t* byte_;
    int32_t written_;
};

} // namespace kelvcpx
