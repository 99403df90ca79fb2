// The word cursor: bits of an array of 32-bit words, most significant bit first.
#pragma once

#include <cstdint>

namespace kelvcpx {

// Keep it in registers: functions that take a reference to it must be inlined. Loads no word beyond the one
// that follows the cursor.
class WordReader
{
public:
    // `offset` is the index of the next unread bit, 31 the most significant one.
    WordReader(const uint32_t* word, int32_t offset)
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

// The offset counts the free bits of the current word, 1..32. The free bits, and all words that the writer
// reaches by filling one exactly, must be zero beforehand.
class WordWriter
{
public:
    WordWriter(uint32_t* word, int32_t freeBits) : word_(word), freeBits_(freeBits) {}

    // Appends the low n bits, 1..32, of the code.
    void write(uint32_t code, int32_t n)
    {
        const uint32_t bits = code & lowBits(n);
        if (n < freeBits_) {
            freeBits_ -= n;
            *word_ |= bits << freeBits_;
        } else {
            const int32_t surplus = n - freeBits_;
            *word_++ |= bits >> surplus;
            freeBits_ = 32 - surplus;
            if (surplus > 0)
                *word_ = bits << freeBits_;
        }
    }

    void store(uint32_t** ppBitStream, int32_t* pBitOffset) const
    {
        *ppBitStream = word_;
        *pBitOffset = freeBits_;
    }

private:
    static constexpr uint32_t lowBits(int32_t n) { return static_cast<uint32_t>((uint64_t{1} << n) - 1); }

    uint32_t* word_;
    int32_t freeBits_;
};

} // namespace kelvcpx
