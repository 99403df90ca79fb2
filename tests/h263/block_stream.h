// Streams of coefficient codes as texts of zeros and ones.
#pragma once

#include "support/bits.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kelvcpx::test {

using Block = std::array<int16_t, 64>;

// A coefficient: the zeros before it, and its level.
struct RunLevel {
    int run;
    int level;
};

// The coefficients from a scan position on, by levels in scan order.
inline std::vector<RunLevel> coefficientsOf(const Block& levels, std::size_t first)
{
    std::vector<RunLevel> coefficients;
    int run = 0;
    for (std::size_t p = first; p < 64; p++) {
        if (levels[p] == 0) {
            run++;
            continue;
        }
        coefficients.push_back({run, levels[p]});
        run = 0;
    }
    return coefficients;
}

// Bits from a bit offset on, behind ones and before ones, in memory that ends with the three bytes that a
// reader may look at: a sanitizer sees if one looks further.
class BitStream
{
public:
    BitStream(const std::string& bits, int firstBit) : offset(firstBit)
    {
        const std::string text = std::string(static_cast<std::size_t>(firstBit), '1') + bits;
        bytes_.assign((text.size() + 7) / 8 + 3, 0xFF);
        for (std::size_t i = 0; i < text.size(); i++)
            if (text[i] == '0')
                bytes_[i / 8] = static_cast<uint8_t>(bytes_[i / 8] & ~(0x80 >> i % 8));
        at = bytes_.data();
    }

    // Bits between the start of the memory and the cursor.
    std::ptrdiff_t position() const { return 8 * (at - bytes_.data()) + offset; }

    const uint8_t* at;
    int32_t offset;

private:
    std::vector<uint8_t> bytes_;
};

// What encode(&byte, &offset) writes behind `offset` ones, which it has to keep; all bits behind must be 0 up
// to the end of the byte, and the next bytes untouched.
template <class Encode>
std::string encoded(int offset, Encode encode)
{
    std::vector<uint8_t> bytes(400, 0xFF);
    uint8_t* at = bytes.data();
    int32_t bitOffset = offset;
    EXPECT_EQ(encode(&at, &bitOffset), 0);
    const auto end = static_cast<std::size_t>(8 * (at - bytes.data()) + bitOffset);
    bytes.resize(end / 8 + 8);
    std::string text;
    for (const uint8_t byte : bytes)
        text += binary(byte, 8);
    const std::size_t byteEnd = (end + 7) / 8 * 8;
    EXPECT_EQ(text.substr(0, static_cast<std::size_t>(offset)),
              std::string(static_cast<std::size_t>(offset), '1'));
    EXPECT_EQ(text.substr(end, byteEnd - end), std::string(byteEnd - end, '0'));
    EXPECT_EQ(text.find('0', byteEnd), std::string::npos);
    return text.substr(static_cast<std::size_t>(offset), end - static_cast<std::size_t>(offset));
}

} // namespace kelvcpx::test
