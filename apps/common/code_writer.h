// Writes a bit stream through a byte cursor like that of the library: the counterpart of CodeReader.
#pragma once

#include "common/huffman_table.h"

#include <kelvcpx/types.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace kelvcpx::app {

class CodeWriter
{
public:
    // The low n bits, 0..25, of the value.
    void put(uint32_t value, int n)
    {
        makeRoom(8);
        for (; n > 0; n--)
            putBit(value >> (n - 1) & 1);
    }

    // A code as the standard prints it.
    void put(std::string_view bits)
    {
        makeRoom(8);
        for (const char bit : bits)
            putBit(bit == '1' ? 1 : 0);
    }

    // The code of a value that the table has.
    void put(std::span<const ValueCode> codes, int32_t value)
    {
        for (const ValueCode& code : codes)
            if (code.value == value) {
                put(code.bits);
                return;
            }
        throw std::logic_error("a value has no code");
    }

    // Lets an operation of the library write a block: calls write(ppBitStream, pBitOffset).
    template <class Write>
    void putBlock(Write write)
    {
        constexpr std::size_t longestBlock = 64 * 33 / 8 + 8;
        makeRoom(longestBlock);
        uint8_t* at = bytes_.data() + bitCount_ / 8;
        auto offset = static_cast<int32_t>(bitCount_ % 8);
        if (write(&at, &offset) != StatusOk)
            throw std::logic_error("a block cannot be written");
        bitCount_ = static_cast<std::size_t>(at - bytes_.data()) * 8 + static_cast<std::size_t>(offset);
    }

    std::size_t bitCount() const { return bitCount_; }

    bool isAligned() const { return bitCount_ % 8 == 0; }

    // What is written so far, the last byte filled with zero bits; starts anew.
    std::vector<uint8_t> take()
    {
        std::vector<uint8_t> result(bytes_.begin(),
                                    bytes_.begin() + static_cast<std::ptrdiff_t>((bitCount_ + 7) / 8));
        bytes_.clear();
        bitCount_ = 0;
        return result;
    }

private:
    void putBit(uint32_t bit)
    {
        uint8_t& byte = bytes_[bitCount_ / 8];
        const int free = 7 - static_cast<int>(bitCount_ % 8);
        byte = static_cast<uint8_t>((byte & (0xFF00 >> (7 - free))) | bit << free);
        bitCount_++;
    }

    void makeRoom(std::size_t bytes)
    {
        const std::size_t needed = bitCount_ / 8 + bytes;
        if (bytes_.size() < needed)
            bytes_.resize(2 * needed);
    }

    std::vector<uint8_t> bytes_;
    std::size_t bitCount_ = 0;
};

} // namespace kelvcpx::app
