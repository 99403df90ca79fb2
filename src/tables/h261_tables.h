// Codes of ITU-T H.261 transform coefficients (table 5), and the lookup tables made of them.
#pragma once

#include "tables/code_text.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kelvcpx::h261 {

// A code without its sign bit, as the standard prints it: the zeros before a coefficient, and its magnitude.
struct CoefficientCode {
    std::string_view bits;
    uint8_t run;
    uint8_t level;
};

inline constexpr CoefficientCode coefficientCodes[] = {
    {"11", 0, 1},
    {"0100", 0, 2},
    {"00101", 0, 3},
    {"0000110", 0, 4},
    {"00100110", 0, 5},
    {"00100001", 0, 6},
    {"0000001010", 0, 7},
    {"000000011101", 0, 8},
    {"000000011000", 0, 9},
    {"000000010011", 0, 10},
    {"000000010000", 0, 11},
    {"0000000011010", 0, 12},
    {"0000000011001", 0, 13},
    {"0000000011000", 0, 14},
    {"0000000010111", 0, 15},
    {"011", 1, 1},
    {"000110", 1, 2},
    {"00100101", 1, 3},
    {"0000001100", 1, 4},
    {"000000011011", 1, 5},
    {"0000000010110", 1, 6},
    {"0000000010101", 1, 7},
    {"0101", 2, 1},
    {"0000100", 2, 2},
    {"0000001011", 2, 3},
    {"000000010100", 2, 4},
    {"0000000010100", 2, 5},
    {"00111", 3, 1},
    {"00100100", 3, 2},
    {"000000011100", 3, 3},
    {"0000000010011", 3, 4},
    {"00110", 4, 1},
    {"0000001111", 4, 2},
    {"000000010010", 4, 3},
    {"000111", 5, 1},
    {"0000001001", 5, 2},
    {"0000000010010", 5, 3},
    {"000101", 6, 1},
    {"000000011110", 6, 2},
    {"000100", 7, 1},
    {"000000010101", 7, 2},
    {"0000111", 8, 1},
    {"000000010001", 8, 2},
    {"0000101", 9, 1},
    {"0000000010001", 9, 2},
    {"00100111", 10, 1},
    {"0000000010000", 10, 2},
    {"00100011", 11, 1},
    {"00100010", 12, 1},
    {"00100000", 13, 1},
    {"0000001110", 14, 1},
    {"0000001101", 15, 1},
    {"0000001000", 16, 1},
    {"000000011111", 17, 1},
    {"000000011010", 18, 1},
    {"000000011001", 19, 1},
    {"000000010111", 20, 1},
    {"000000010110", 21, 1},
    {"0000000011111", 22, 1},
    {"0000000011110", 23, 1},
    {"0000000011101", 24, 1},
    {"0000000011100", 25, 1},
    {"0000000011011", 26, 1},
};

// Decoding tables for the three ranges of the next 14 bits, V.
//
// | Table | V         | Index          |
// |-------|-----------|----------------|
// | 0     | from 2560 | (V >> 9) - 5   |
// | 1     | from 512  | (V >> 6) - 8   |
// | 2     | 32 to 255 | (V >> 1) - 16  |
//
// V from 256 to 511 is the escape code; below 32 it is no code.
struct DecodedCode {
    uint8_t advance; // RUN + 1, or endOfBlock
    uint8_t level;   // magnitude
    uint8_t length;  // with the sign bit
};

constexpr int32_t lookAhead = 14;
constexpr uint8_t endOfBlock = 127; // an advance that leaves every block

template <std::size_t Size>
constexpr std::array<DecodedCode, Size> makeCoefficientTable(int32_t shift, uint32_t first)
{
    std::array<DecodedCode, Size> table{};
    const auto enter = [&](std::string_view bits, DecodedCode entry) {
        const std::size_t free = lookAhead - bits.size();
        const uint32_t begin = bitsOf(bits) << free >> shift;
        const uint32_t end = (bitsOf(bits) + 1) << free >> shift;
        if (begin >= first && begin < first + Size)
            for (uint32_t index = begin; index < end; index++)
                table[index - first] = entry;
    };
    enter("10", {endOfBlock, 0, 2});
    for (const CoefficientCode& code : coefficientCodes)
        enter(code.bits,
              {static_cast<uint8_t>(code.run + 1), code.level, static_cast<uint8_t>(code.bits.size() + 1)});
    return table;
}

inline constexpr auto h261_coefTab0 = makeCoefficientTable<27>(9, 5);
inline constexpr auto h261_coefTab1 = makeCoefficientTable<32>(6, 8);
inline constexpr auto h261_coefTab2 = makeCoefficientTable<112>(1, 16);

// Encoding tables, for the runs and levels that have a code. The sign bit is 0.
template <std::size_t Size, class IndexOf>
constexpr std::array<Code, Size> makeVlcTable(IndexOf indexOf)
{
    std::array<Code, Size> table{};
    for (const CoefficientCode& code : coefficientCodes)
        if (const int32_t index = indexOf(code.run, code.level); index >= 0)
            table[static_cast<std::size_t>(index)] = signedCodeOf(code.bits);
    return table;
}

// Levels 1 and 2: by (level - 1) * 32 + run.
inline constexpr auto codeTab_lev12 =
    makeVlcTable<43>([](int32_t run, int32_t level) { return level <= 2 ? (level - 1) * 32 + run : -1; });

// Levels 3 to 5: by run + 20 - 4 * level.
inline constexpr auto codeTab_lev345 = makeVlcTable<14>(
    [](int32_t run, int32_t level) { return level >= 3 && level <= 5 ? run + 20 - 4 * level : -1; });

// Run 0: by level - 2.
inline constexpr auto codeTab_run0 =
    makeVlcTable<14>([](int32_t run, int32_t level) { return run == 0 ? level - 2 : -1; });

} // namespace kelvcpx::h261
