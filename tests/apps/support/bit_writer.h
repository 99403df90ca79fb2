// Writes a bit stream, first bit highest, as the syntax tables of the standards list its elements.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace kelvcpx::test {

class BitWriter
{
public:
    // The low n bits, 0..32, of the value.
    void put(int64_t value, int n)
    {
        while (n-- > 0) {
            if (bitCount_ % 8 == 0)
                bytes_.push_back(0);
            bytes_.back() = static_cast<uint8_t>(bytes_.back() | (value >> n & 1) << (7 - bitCount_ % 8));
            bitCount_++;
        }
    }

    void put(std::string_view bits)
    {
        for (const char bit : bits)
            put(bit == '1', 1);
    }

    // Fills the current byte with zero bits.
    void align() { bitCount_ = 8 * bytes_.size(); }

    // 00 00 01 and the value, from the next byte on.
    void startCode(int value)
    {
        align();
        put(0x100 | value, 32);
    }

    const std::vector<uint8_t>& bytes() const { return bytes_; }

private:
    std::vector<uint8_t> bytes_;
    std::size_t bitCount_ = 0;
};

} // namespace kelvcpx::test
