// Codes of ITU-T H.263 transform coefficients, and the lookup tables made of them.
#pragma once

#include "tables/code_text.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kelvcpx::h263 {

// A coefficient: the zeros before it in scan order, and its magnitude.
struct RunLevel {
    uint8_t run;
    uint8_t level;
};

// A code without its sign bit, as the standard prints it, and what it stands for in TCOEF (table 16) and in
// INTRA TCOEF of advanced intra coding (table I.2), which are the same codes with different events.
struct CoefficientCode {
    std::string_view bits;
    uint8_t last;
    RunLevel baseline;
    RunLevel advancedIntra;
};

inline constexpr CoefficientCode coefficientCodes[] = {
    {"10", 0, {0, 1}, {0, 1}},
    {"1111", 0, {0, 2}, {1, 1}},
    {"010101", 0, {0, 3}, {3, 1}},
    {"0010111", 0, {0, 4}, {5, 1}},
    {"00011111", 0, {0, 5}, {7, 1}},
    {"000100101", 0, {0, 6}, {8, 1}},
    {"000100100", 0, {0, 7}, {9, 1}},
    {"0000100001", 0, {0, 8}, {10, 1}},
    {"0000100000", 0, {0, 9}, {11, 1}},
    {"00000000111", 0, {0, 10}, {4, 3}},
    {"00000000110", 0, {0, 11}, {9, 2}},
    {"00000100000", 0, {0, 12}, {13, 1}},
    {"110", 0, {1, 1}, {0, 2}},
    {"010100", 0, {1, 2}, {1, 2}},
    {"00011110", 0, {1, 3}, {1, 4}},
    {"0000001111", 0, {1, 4}, {1, 5}},
    {"00000100001", 0, {1, 5}, {1, 6}},
    {"000001010000", 0, {1, 6}, {1, 7}},
    {"1110", 0, {2, 1}, {0, 3}},
    {"00011101", 0, {2, 2}, {3, 2}},
    {"0000001110", 0, {2, 3}, {2, 3}},
    {"000001010001", 0, {2, 4}, {3, 4}},
    {"01101", 0, {3, 1}, {0, 5}},
    {"000100011", 0, {3, 2}, {4, 2}},
    {"0000001101", 0, {3, 3}, {3, 3}},
    {"01100", 0, {4, 1}, {0, 4}},
    {"000100010", 0, {4, 2}, {5, 2}},
    {"000001010010", 0, {4, 3}, {5, 3}},
    {"01011", 0, {5, 1}, {2, 1}},
    {"0000001100", 0, {5, 2}, {6, 2}},
    {"000001010011", 0, {5, 3}, {0, 25}},
    {"010011", 0, {6, 1}, {4, 1}},
    {"0000001011", 0, {6, 2}, {7, 2}},
    {"000001010100", 0, {6, 3}, {0, 24}},
    {"010010", 0, {7, 1}, {0, 8}},
    {"0000001010", 0, {7, 2}, {8, 2}},
    {"010001", 0, {8, 1}, {0, 7}},
    {"0000001001", 0, {8, 2}, {2, 4}},
    {"010000", 0, {9, 1}, {0, 6}},
    {"0000001000", 0, {9, 2}, {12, 1}},
    {"0010110", 0, {10, 1}, {0, 9}},
    {"000001010101", 0, {10, 2}, {0, 23}},
    {"0010101", 0, {11, 1}, {2, 2}},
    {"0010100", 0, {12, 1}, {1, 3}},
    {"00011100", 0, {13, 1}, {6, 1}},
    {"00011011", 0, {14, 1}, {0, 10}},
    {"000100001", 0, {15, 1}, {0, 12}},
    {"000100000", 0, {16, 1}, {0, 11}},
    {"000011111", 0, {17, 1}, {0, 18}},
    {"000011110", 0, {18, 1}, {0, 17}},
    {"000011101", 0, {19, 1}, {0, 16}},
    {"000011100", 0, {20, 1}, {0, 15}},
    {"000011011", 0, {21, 1}, {0, 14}},
    {"000011010", 0, {22, 1}, {0, 13}},
    {"00000100010", 0, {23, 1}, {0, 20}},
    {"00000100011", 0, {24, 1}, {0, 19}},
    {"000001010110", 0, {25, 1}, {0, 22}},
    {"000001010111", 0, {26, 1}, {0, 21}},
    {"0111", 1, {0, 1}, {0, 1}},
    {"000011001", 1, {0, 2}, {14, 1}},
    {"00000000101", 1, {0, 3}, {20, 1}},
    {"001111", 1, {1, 1}, {1, 1}},
    {"00000000100", 1, {1, 2}, {19, 1}},
    {"001110", 1, {2, 1}, {2, 1}},
    {"001101", 1, {3, 1}, {3, 1}},
    {"001100", 1, {4, 1}, {0, 2}},
    {"0010011", 1, {5, 1}, {5, 1}},
    {"0010010", 1, {6, 1}, {6, 1}},
    {"0010001", 1, {7, 1}, {4, 1}},
    {"0010000", 1, {8, 1}, {0, 3}},
    {"00011010", 1, {9, 1}, {9, 1}},
    {"00011001", 1, {10, 1}, {10, 1}},
    {"00011000", 1, {11, 1}, {11, 1}},
    {"00010111", 1, {12, 1}, {12, 1}},
    {"00010110", 1, {13, 1}, {13, 1}},
    {"00010101", 1, {14, 1}, {8, 1}},
    {"00010100", 1, {15, 1}, {7, 1}},
    {"00010011", 1, {16, 1}, {0, 4}},
    {"000011000", 1, {17, 1}, {17, 1}},
    {"000010111", 1, {18, 1}, {18, 1}},
    {"000010110", 1, {19, 1}, {16, 1}},
    {"000010101", 1, {20, 1}, {15, 1}},
    {"000010100", 1, {21, 1}, {2, 2}},
    {"000010011", 1, {22, 1}, {1, 2}},
    {"000010010", 1, {23, 1}, {0, 6}},
    {"000010001", 1, {24, 1}, {0, 5}},
    {"0000000111", 1, {25, 1}, {4, 2}},
    {"0000000110", 1, {26, 1}, {3, 2}},
    {"0000000101", 1, {27, 1}, {1, 3}},
    {"0000000100", 1, {28, 1}, {0, 7}},
    {"00000100100", 1, {29, 1}, {2, 3}},
    {"00000100101", 1, {30, 1}, {1, 4}},
    {"00000100110", 1, {31, 1}, {0, 9}},
    {"00000100111", 1, {32, 1}, {0, 8}},
    {"000001011000", 1, {33, 1}, {21, 1}},
    {"000001011001", 1, {34, 1}, {22, 1}},
    {"000001011010", 1, {35, 1}, {23, 1}},
    {"000001011011", 1, {36, 1}, {7, 2}},
    {"000001011100", 1, {37, 1}, {6, 2}},
    {"000001011101", 1, {38, 1}, {5, 2}},
    {"000001011110", 1, {39, 1}, {3, 3}},
    {"000001011111", 1, {40, 1}, {0, 10}},
};

using EventSet = RunLevel CoefficientCode::*;

// What LEVEL -128 of an escape is: forbidden, or the mark of an extended level (T.4).
enum class Escape { baseline, extended };

// Decoding tables for the three ranges of the next 13 bits, V. The fields of an entry, the first one lowest:
// LAST, RUN + 1, magnitude of LEVEL, code length with the sign bit, 8 bits each.
//
// | Table | V         | Index          |
// |-------|-----------|----------------|
// | 0     | from 1024 | (V >> 6) - 16  |
// | 1     | from 256  | (V >> 3) - 32  |
// | 2     | 16 to 191 | (V >> 1) - 8   |
//
// V from 192 to 255 is the escape code; below 16 it is no code.
template <std::size_t Size>
using CoefficientTable = std::array<uint32_t, Size>;

constexpr int32_t lookAhead = 13;

template <std::size_t Size>
constexpr CoefficientTable<Size> makeCoefficientTable(EventSet set, int32_t shift, uint32_t first)
{
    CoefficientTable<Size> table{};
    for (const CoefficientCode& code : coefficientCodes) {
        const auto length = static_cast<uint32_t>(code.bits.size()) + 1;
        const int32_t free = lookAhead - lengthOf(code.bits);
        const uint32_t begin = bitsOf(code.bits) << free;
        const uint32_t end = (bitsOf(code.bits) + 1) << free;
        if (begin >> shift < first || begin >> shift >= first + Size)
            continue;
        const RunLevel event = code.*set;
        for (uint32_t index = begin >> shift; index < end >> shift; index++)
            table[index - first] =
                code.last | (event.run + 1u) << 8 | uint32_t{event.level} << 16 | length << 24;
    }
    return table;
}

inline constexpr auto h263_coefTab0 = makeCoefficientTable<112>(&CoefficientCode::baseline, 6, 16);
inline constexpr auto h263_coefTab1 = makeCoefficientTable<96>(&CoefficientCode::baseline, 3, 32);
inline constexpr auto h263_coefTab2 = makeCoefficientTable<88>(&CoefficientCode::baseline, 1, 8);
inline constexpr auto h263_advCoefTab0 = makeCoefficientTable<112>(&CoefficientCode::advancedIntra, 6, 16);
inline constexpr auto h263_advCoefTab1 = makeCoefficientTable<96>(&CoefficientCode::advancedIntra, 3, 32);
inline constexpr auto h263_advCoefTab2 = makeCoefficientTable<88>(&CoefficientCode::advancedIntra, 1, 8);

// Encoding tables: codes ordered by LAST, RUN and LEVEL, and where those of each LAST and RUN begin.

using VlcTable = std::array<Code, std::size(coefficientCodes)>; // with a sign bit of 0

constexpr int32_t largestRun(EventSet set, int32_t last)
{
    int32_t largest = 0;
    for (const CoefficientCode& code : coefficientCodes)
        if (code.last == last && (code.*set).run > largest)
            largest = (code.*set).run;
    return largest;
}

// How many codes come before those of a LAST and a RUN.
constexpr int32_t codesBefore(EventSet set, int32_t last, int32_t run)
{
    int32_t count = 0;
    for (const CoefficientCode& code : coefficientCodes)
        count += code.last < last || (code.last == last && (code.*set).run < run) ? 1 : 0;
    return count;
}

// An entry for each RUN up to the largest one, and a closing entry.
template <std::size_t Size>
constexpr std::array<int32_t, Size> makeOffsets(EventSet set, int32_t last)
{
    std::array<int32_t, Size> offsets{};
    for (std::size_t run = 0; run < Size; run++)
        offsets[run] = codesBefore(set, last, static_cast<int32_t>(run));
    return offsets;
}

constexpr VlcTable makeVlcTable(EventSet set)
{
    VlcTable table{};
    for (const CoefficientCode& code : coefficientCodes) {
        const RunLevel event = code.*set;
        const auto place = static_cast<std::size_t>(codesBefore(set, code.last, event.run) + event.level - 1);
        table[place] = signedCodeOf(code.bits);
    }
    return table;
}

inline constexpr auto h263_Offs = makeOffsets<28>(&CoefficientCode::baseline, 0);
inline constexpr auto h263_Offs_l = makeOffsets<42>(&CoefficientCode::baseline, 1);
inline constexpr auto h263_VLCTab = makeVlcTable(&CoefficientCode::baseline);
inline constexpr auto h263_advOffs = makeOffsets<15>(&CoefficientCode::advancedIntra, 0);
inline constexpr auto h263_advOffs_l = makeOffsets<25>(&CoefficientCode::advancedIntra, 1);
inline constexpr auto h263_advVLCTab = makeVlcTable(&CoefficientCode::advancedIntra);

struct VlcParameters {
    int32_t largestRun;     // with a code where LAST is 0
    int32_t largestRunLast; // and where it is 1
    const int32_t* offsets; // of codes[], by RUN, where LAST is 0
    const int32_t* offsetsLast;
    const Code* codes;
};

inline constexpr VlcParameters h263_VLCParams = {largestRun(&CoefficientCode::baseline, 0),
                                                 largestRun(&CoefficientCode::baseline, 1), h263_Offs.data(),
                                                 h263_Offs_l.data(), h263_VLCTab.data()};
inline constexpr VlcParameters h263_advVLCParams = {
    largestRun(&CoefficientCode::advancedIntra, 0), largestRun(&CoefficientCode::advancedIntra, 1),
    h263_advOffs.data(), h263_advOffs_l.data(), h263_advVLCTab.data()};

static_assert(h263_VLCParams.largestRun + 2 == h263_Offs.size());
static_assert(h263_VLCParams.largestRunLast + 2 == h263_Offs_l.size());
static_assert(h263_advVLCParams.largestRun + 2 == h263_advOffs.size());
static_assert(h263_advVLCParams.largestRunLast + 2 == h263_advOffs_l.size());

} // namespace kelvcpx::h263
