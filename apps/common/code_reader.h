// Headers and macroblock syntax, read through a byte cursor like that of the library.
#pragma once

#include "common/damaged_unit.h"
#include "common/huffman_table.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

namespace kelvcpx::app {

// Bytes of a packet with zeros behind them, so that nothing is read beyond the end.
class PaddedBytes
{
public:
    static constexpr std::size_t padding = 64;

    void assign(std::span<const uint8_t> bytes)
    {
        bytes_.assign(bytes.begin(), bytes.end());
        bytes_.resize(bytes.size() + padding);
    }

    const uint8_t* data() const { return bytes_.data(); }
    std::size_t size() const { return bytes_.size() - padding; }

private:
    std::vector<uint8_t> bytes_ = std::vector<uint8_t>(padding);
};

// Codes of up to 13 bits and the like, found by one look-up.
class PrefixTable
{
public:
    explicit PrefixTable(std::span<const ValueCode> codes)
    {
        for (const ValueCode& code : codes)
            width_ = std::max(width_, static_cast<int32_t>(code.bits.size()));
        entries_.resize(std::size_t{1} << width_);
        for (const ValueCode& code : codes) {
            const auto length = static_cast<int32_t>(code.bits.size());
            const std::size_t first = std::size_t{codeBits(code.bits)} << (width_ - length);
            std::fill_n(entries_.begin() + static_cast<std::ptrdiff_t>(first),
                        std::size_t{1} << (width_ - length), Entry{code.value, length});
        }
    }

    struct Entry {
        int32_t value = 0;
        int32_t length = 0; // 0: no code
    };

    int32_t width() const { return width_; }
    const Entry& at(uint32_t bits) const { return entries_[bits]; }

private:
    int32_t width_ = 0;
    std::vector<Entry> entries_;
};

class CodeReader
{
public:
    // From the bit `first` up to the bit `end` of the bytes.
    CodeReader(const PaddedBytes& bytes, std::size_t first, std::size_t end)
        : begin_(bytes.data()), byte_(begin_ + first / 8), offset_(static_cast<int32_t>(first % 8)), end_(end)
    {}

    uint32_t peek(int32_t n) const // 1..25 bits
    {
        const uint32_t bytes = static_cast<uint32_t>(byte_[0]) << 24 | static_cast<uint32_t>(byte_[1]) << 16 |
                               static_cast<uint32_t>(byte_[2]) << 8 | byte_[3];
        return bytes << offset_ >> (32 - n);
    }

    void skip(int32_t n)
    {
        offset_ += n;
        byte_ += offset_ >> 3;
        offset_ &= 7;
    }

    uint32_t read(int32_t n)
    {
        const uint32_t value = peek(n);
        skip(n);
        return value;
    }

    int32_t readInt(int32_t n) { return static_cast<int32_t>(read(n)); }
    bool readFlag() { return read(1) != 0; }

    void expectMarker()
    {
        if (!readFlag())
            throw DamagedUnit("a marker bit is missing");
    }

    int32_t decode(const PrefixTable& table)
    {
        const PrefixTable::Entry& entry = table.at(peek(table.width()));
        if (entry.length == 0)
            throw DamagedUnit("a code is invalid");
        skip(entry.length);
        return entry.value;
    }

    // Bits from the start of the bytes.
    std::size_t position() const
    {
        return static_cast<std::size_t>(byte_ - begin_) * 8 + static_cast<std::size_t>(offset_);
    }

    void moveTo(std::size_t position)
    {
        byte_ = begin_ + position / 8;
        offset_ = static_cast<int32_t>(position % 8);
    }

    std::size_t end() const { return end_; }
    bool pastEnd() const { return position() > end_; }

    // The cursor itself, for the operations of the library.
    const uint8_t** byte() { return &byte_; }
    int32_t* offset() { return &offset_; }

private:
    const uint8_t* begin_;
    const uint8_t* byte_;
    int32_t offset_;
    std::size_t end_;
};

// Position of the first bit of the next `zeros` zero bits in a row, 15 or more, that a one follows, at or
// after `from`; the one stands before the end. `end` if there are none.
inline std::size_t findZeros(const PaddedBytes& bytes, std::size_t from, std::size_t end, std::size_t zeros)
{
    const uint8_t* const data = bytes.data();
    for (std::size_t at = from / 8; 8 * at < end;) { // so many zeros fill a whole byte at least
        const void* const zero = std::memchr(data + at, 0, (end + 7) / 8 - at);
        if (zero == nullptr)
            return end;
        const auto first = static_cast<std::size_t>(static_cast<const uint8_t*>(zero) - data);
        std::size_t last = first;
        while (8 * last < end && data[last] == 0)
            last++;
        const std::size_t before =
            first > 0 ? static_cast<std::size_t>(std::countr_zero(data[first - 1])) : 0;
        const std::size_t begin = std::max(from, 8 * first - before);
        const std::size_t one = 8 * last + static_cast<std::size_t>(std::countl_zero(data[last]));
        if (one >= end)
            return end;
        if (one >= begin + zeros)
            return one - zeros;
        at = last;
    }
    return end;
}

} // namespace kelvcpx::app
