// Headers and macroblock syntax, read through the library's word cursor.
#pragma once

#include "common/damaged_unit.h"
#include "common/huffman_table.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace kelvcpx::app {

// Bytes of a packet as the words that the library reads, with zero words behind them.
class WordStream
{
public:
    void assign(std::span<const uint8_t> bytes)
    {
        words_.assign(bytes.size() / 4 + 1 + padding, 0);
        for (std::size_t i = 0; i < bytes.size() / 4; i++) {
            const uint8_t* const b = bytes.data() + 4 * i;
            words_[i] = static_cast<uint32_t>(b[0]) << 24 | static_cast<uint32_t>(b[1]) << 16 |
                        static_cast<uint32_t>(b[2]) << 8 | b[3];
        }
        for (std::size_t i = bytes.size() / 4 * 4; i < bytes.size(); i++)
            words_[i / 4] |= static_cast<uint32_t>(bytes[i]) << (24 - 8 * (i % 4));
    }

    const uint32_t* data() const { return words_.data(); }

private:
    static constexpr std::size_t padding = 64; // no code is all zeros, so reading on past the end soon stops

    std::vector<uint32_t> words_;
};

class BitReader
{
public:
    // Reads the bytes first..end of the stream.
    BitReader(const WordStream& stream, std::size_t first, std::size_t end)
        : begin_(stream.data()), word_(begin_ + first / 4), offset_(31 - 8 * static_cast<int32_t>(first % 4)),
          end_(8 * end)
    {}

    uint32_t peek(int32_t n) const // 1..32 bits
    {
        const uint64_t two = static_cast<uint64_t>(word_[0]) << 32 | word_[1];
        return static_cast<uint32_t>(two << (31 - offset_) >> (64 - n));
    }

    void skip(int32_t n)
    {
        offset_ -= n;
        word_ += offset_ < 0 ? 1 : 0;
        offset_ &= 31;
    }

    void goBack(int32_t n)
    {
        offset_ += n;
        word_ -= offset_ >> 5;
        offset_ &= 31;
    }

    uint32_t read(int32_t n)
    {
        const uint32_t value = peek(n);
        skip(n);
        return value;
    }

    void alignToByte() { skip(static_cast<int32_t>((8 - position() % 8) % 8)); }

    int32_t readInt(int32_t n) { return static_cast<int32_t>(read(n)); }
    bool readFlag() { return read(1) != 0; }

    void expectMarker()
    {
        if (!readFlag())
            throw DamagedUnit("a marker bit is missing");
    }

    int32_t decode(const HuffmanTable& table)
    {
        int32_t value;
        if (keliDecodeHuffmanOne_1u32s(&word_, &offset_, &value, table.get()) != StatusOk)
            throw DamagedUnit("a code is invalid");
        return value;
    }

    // True while there are bits of the unit left, other than its zero stuffing.
    bool hasMore() const { return peek(23) != 0 && position() < end_; }
    bool pastEnd() const { return position() > end_; }
    std::size_t bitsLeft() const { return pastEnd() ? 0 : end_ - position(); }

    // Bits from the start of the stream.
    std::size_t position() const
    {
        return static_cast<std::size_t>(word_ - begin_) * 32 + 31 - static_cast<std::size_t>(offset_);
    }

    // The cursor itself, for the operations of the library.
    const uint32_t** word() { return &word_; }
    int32_t* offset() { return &offset_; }

private:
    const uint32_t* begin_;
    const uint32_t* word_;
    int32_t offset_;
    std::size_t end_;
};

} // namespace kelvcpx::app
