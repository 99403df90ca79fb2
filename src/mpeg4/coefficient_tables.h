// Lookup tables of the coefficient codes (ISO/IEC 14496-2 tables B-16, B-17, B-19 to B-22), computed from the
// lists of codes.
#pragma once

#include "tables/code_text.h"
#include "tables/mpeg4_tables.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace kelvcpx::mpeg4 {

inline constexpr int32_t largestDcSize = 12;

// What the bits at the cursor stand for.
struct CodeEntry {
    uint8_t last;
    uint8_t run;
    uint8_t level;  // magnitude
    uint8_t length; // of the code without its sign
};

inline constexpr uint8_t escapeLevel = 255;

// Ordinary codes are looked up by the next 12 bits, in one of three tables for their number of leading zeros.
inline constexpr int32_t lookAhead = 12;
inline constexpr uint32_t leastCode = 8; // no code has nine leading zeros

// Entry i is for the bits `first` + (i << shift), and what follows up to the next entry.
template <std::size_t size>
constexpr std::array<CodeEntry, size> rangeTable(std::span<const EventCode> codes, uint32_t first,
                                                 int32_t shift)
{
    std::array<CodeEntry, size> table{};
    const auto place = [&](std::string_view bits, CodeEntry entry) {
        const int32_t unused = lookAhead - lengthOf(bits);
        for (uint32_t v = bitsOf(bits) << unused; v < (bitsOf(bits) + 1) << unused; v++)
            if (v >= first && (v - first) >> shift < size)
                table[(v - first) >> shift] = entry;
    };
    place(escapeCode, {0, 0, escapeLevel, static_cast<uint8_t>(escapeCode.size())});
    for (const EventCode& code : codes)
        place(code.bits, {code.last, code.run, code.level, static_cast<uint8_t>(code.bits.size())});
    return table;
}

inline constexpr auto tableB16_512_5 = rangeTable<112>(intraCodes, 512, 5);
inline constexpr auto tableB16_128_2 = rangeTable<96>(intraCodes, 128, 2);
inline constexpr auto tableB16_8 = rangeTable<120>(intraCodes, leastCode, 0);
inline constexpr auto tableB17_512_5 = rangeTable<112>(interCodes, 512, 5);
inline constexpr auto tableB17_128_2 = rangeTable<96>(interCodes, 128, 2);
inline constexpr auto tableB17_8 = rangeTable<120>(interCodes, leastCode, 0);

// The largest level that has a code, by run; 0 behind the largest run.
template <std::size_t size>
constexpr std::array<uint8_t, size> largestLevels(std::span<const EventCode> codes, uint8_t last)
{
    std::array<uint8_t, size> table{};
    for (const EventCode& code : codes)
        if (code.last == last)
            table[code.run] = std::max(table[code.run], code.level);
    return table;
}

// One more than the largest run that has a code, by level; 0 for level 0.
template <std::size_t size>
constexpr std::array<uint8_t, size> runsBeyond(std::span<const EventCode> codes, uint8_t last)
{
    std::array<uint8_t, size> table{};
    for (const EventCode& code : codes)
        if (code.last == last)
            table[code.level] = std::max(table[code.level], static_cast<uint8_t>(code.run + 1));
    return table;
}

inline constexpr auto LMAX_Intra_0 = largestLevels<16>(intraCodes, 0);
inline constexpr auto LMAX_Intra_1 = largestLevels<24>(intraCodes, 1);
inline constexpr auto LMAX_Inter_0 = largestLevels<28>(interCodes, 0);
inline constexpr auto LMAX_Inter_1 = largestLevels<44>(interCodes, 1);
inline constexpr auto RMAX_Intra_0 = runsBeyond<28>(intraCodes, 0);
inline constexpr auto RMAX_Intra_1 = runsBeyond<12>(intraCodes, 1);
inline constexpr auto RMAX_Inter_0 = runsBeyond<16>(interCodes, 0);
inline constexpr auto RMAX_Inter_1 = runsBeyond<4>(interCodes, 1);

// By last.
using LimitPointers = std::array<const uint8_t*, 2>;
inline constexpr LimitPointers LMAX_Intra = {LMAX_Intra_0.data(), LMAX_Intra_1.data()};
inline constexpr LimitPointers LMAX_Inter = {LMAX_Inter_0.data(), LMAX_Inter_1.data()};
inline constexpr LimitPointers RMAX_Intra = {RMAX_Intra_0.data(), RMAX_Intra_1.data()};
inline constexpr LimitPointers RMAX_Inter = {RMAX_Inter_0.data(), RMAX_Inter_1.data()};

// The codes of one kind of blocks.
struct CodeSet {
    const CodeEntry* from512;
    const CodeEntry* from128;
    const CodeEntry* from8;
    LimitPointers lmax;
    LimitPointers rmax;
    bool hasLevelZero; // whether an escape of fixed length may carry it

    const CodeEntry& at(uint32_t v) const // leastCode and more
    {
        return v >= 512 ? from512[(v - 512) >> 5] : v >= 128 ? from128[(v - 128) >> 2] : from8[v - leastCode];
    }
};

inline constexpr CodeSet intraCodeSet = {
    tableB16_512_5.data(), tableB16_128_2.data(), tableB16_8.data(), LMAX_Intra, RMAX_Intra, false};
inline constexpr CodeSet interCodeSet = {
    tableB17_512_5.data(), tableB17_128_2.data(), tableB17_8.data(), LMAX_Inter, RMAX_Inter, true};

} // namespace kelvcpx::mpeg4
