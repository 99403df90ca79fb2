// Writes a bit stream, first bit highest, as the syntax tables of the standards list its elements.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace kelvcpx::app {

class BitWriter
{
public:
    // The low n bits, 0..32, of the value.
    void put(int64_t value, int n)
    {
        if (n == 0)
            return;
        makeRoom(1);
        const uint64_t bits = static_cast<uint64_t>(value) << (64 - n) >> bitCount_ % 32;
        uint32_t* const word = &words_[bitCount_ / 32];
        word[0] |= static_cast<uint32_t>(bits >> 32);
        word[1] |= static_cast<uint32_t>(bits);
        bitCount_ += static_cast<std::size_t>(n);
    }

    // A code as the standard prints it.
    void put(std::string_view bits)
    {
        for (const char bit : bits)
            put(bit == '1', 1);
    }

    // Fills the current byte with zero bits.
    void align() { bitCount_ = (bitCount_ + 7) / 8 * 8; }

    // 00 00 01 and the value, from the next byte on.
    void startCode(int value)
    {
        align();
        put(0x100 | value, 32);
    }

    // Lets an operation of the library write: calls write(ppBitStream, pBitOffset) with a word cursor that
    // has room for so many words.
    template <class Write>
    void putWords(std::size_t mostWords, Write write)
    {
        makeRoom(mostWords);
        uint32_t* word = &words_[bitCount_ / 32];
        auto freeBits = static_cast<int32_t>(32 - bitCount_ % 32);
        write(&word, &freeBits);
        bitCount_ =
            static_cast<std::size_t>(word - words_.data()) * 32 + static_cast<std::size_t>(32 - freeBits);
    }

    std::size_t bitCount() const { return bitCount_; }

    // What is written so far, the last byte filled with zero bits.
    std::vector<uint8_t> bytes() const
    {
        std::vector<uint8_t> result((bitCount_ + 7) / 8);
        for (std::size_t i = 0; i < result.size(); i++)
            result[i] = static_cast<uint8_t>(words_[i / 4] >> (24 - 8 * (i % 4)));
        return result;
    }

private:
    // So many words behind the current one, zero like all bits that are not written yet.
    void makeRoom(std::size_t words)
    {
        const std::size_t needed = bitCount_ / 32 + words + 1;
        if (words_.size() < needed)
            words_.resize(2 * needed);
    }

    std::vector<uint32_t> words_;
    std::size_t bitCount_ = 0;
};

} // namespace kelvcpx::app
