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

// Loaded from the caller's pointer and offset, kept in registers while a block is read, stored back at the
// end.
class ByteReader
{
public:
    // `consumed` is the number of bits, 0..7, of the current byte that are already read.
    ByteReader(const uint8_t* byte, int32_t consumed) : byte_(byte), consumed_(consumed) {}

    // The 32 bits from the first byte of the cursor on: of them 25 at least are unread. Loads four bytes.
    uint32_t window() const { return bigEndian32(byte_) << consumed_; }

    // The next n bits, 1..25, without consuming them.
    uint32_t peek(int32_t n) const { return window() >> (32 - n); }

    // Consumes n bits.
    void skip(int32_t n)
    {
        consumed_ += n;
        byte_ += consumed_ >> 3;
        consumed_ &= 7;
    }

    uint32_t read(int32_t n)
    {
        const uint32_t value = peek(n);
        skip(n);
        return value;
    }

    void store(const uint8_t** ppBitStream, int32_t* pBitOffset) const
    {
        *ppBitStream = byte_;
        *pBitOffset = consumed_;
    }

private:
    const uint8_t* byte_;
    int32_t consumed_;
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
