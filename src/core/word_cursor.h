// The word cursor: bits of an array of 32-bit words, most significant bit first.
#pragma once

#include <cstdint>

namespace kelvcpx {

// Loaded from the caller's pointer and offset, kept in registers while a block is read, stored back at the
// end.
class WordReader
{
public:
    // `offset` is the index of the next unread bit, 31 the most significant one.
    WordReader(const uint32_t* word, int32_t offset) : word_(word), offset_(offset) {}

    // The next n bits, 1..32, without consuming them. The word after the current one is loaded too.
    uint32_t peek(int32_t n) const
    {
        const uint64_t two = static_cast<uint64_t>(word_[0]) << 32 | word_[1];
        return static_cast<uint32_t>(two << (31 - offset_) >> (64 - n));
    }

    // Consumes n bits, 0..32.
    void skip(int32_t n)
    {
        offset_ -= n;
        word_ += static_cast<uint32_t>(offset_) >> 31;
        offset_ &= 31;
    }

    uint32_t read(int32_t n)
    {
        const uint32_t value = peek(n);
        skip(n);
        return value;
    }

    // Moves back by n bits, 0..31.
    void giveBack(int32_t n)
    {
        offset_ += n;
        word_ -= offset_ >> 5;
        offset_ &= 31;
    }

    void store(const uint32_t** ppBitStream, int32_t* pBitOffset) const
    {
        *ppBitStream = word_;
        *pBitOffset = offset_;
    }

private:
    const uint32_t* word_;
    int32_t offset_;
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
