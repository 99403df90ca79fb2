#include "dv/code_tables.h"

#include <array>
#include <new>
#include <string>
#include <utility>

namespace kelvcpx::app::dv {
namespace {

constexpr RunLevelCode codes[] = {
    {"00", 0, 1},
    {"010", 0, 2},
    {"0111", 1, 1},
    {"1000", 0, 3},
    {"1001", 0, 4},
    {"10100", 2, 1},
    {"10101", 1, 2},
    {"10110", 0, 5},
    {"10111", 0, 6},
    {"110000", 3, 1},
    {"110001", 4, 1},
    {"110010", 0, 7},
    {"110011", 0, 8},
    {"1101000", 5, 1},
    {"1101001", 6, 1},
    {"1101010", 2, 2},
    {"1101011", 1, 3},
    {"1101100", 1, 4},
    {"1101101", 0, 9},
    {"1101110", 0, 10},
    {"1101111", 0, 11},
    {"11100000", 7, 1},
    {"11100001", 8, 1},
    {"11100010", 9, 1},
    {"11100011", 10, 1},
    {"11100100", 3, 2},
    {"11100101", 4, 2},
    {"11100110", 2, 3},
    {"11100111", 1, 5},
    {"11101000", 1, 6},
    {"11101001", 1, 7},
    {"11101010", 0, 12},
    {"11101011", 0, 13},
    {"11101100", 0, 14},
    {"11101101", 0, 15},
    {"11101110", 0, 16},
    {"11101111", 0, 17},
    {"111100000", 11, 1},
    {"111100001", 12, 1},
    {"111100010", 13, 1},
    {"111100011", 14, 1},
    {"111100100", 5, 2},
    {"111100101", 6, 2},
    {"111100110", 3, 3},
    {"111100111", 4, 3},
    {"111101000", 2, 4},
    {"111101001", 2, 5},
    {"111101010", 1, 8},
    {"111101011", 0, 18},
    {"111101100", 0, 19},
    {"111101101", 0, 20},
    {"111101110", 0, 21},
    {"111101111", 0, 22},
    {"1111100000", 5, 3},
    {"1111100001", 3, 4},
    {"1111100010", 3, 5},
    {"1111100011", 2, 6},
    {"1111100100", 1, 9},
    {"1111100101", 1, 10},
    {"1111100110", 1, 11},
    {"11111001110", 0, 0},
    {"11111001111", 1, 0},
    {"11111010000", 6, 3},
    {"11111010001", 4, 4},
    {"11111010010", 3, 6},
    {"11111010011", 1, 12},
    {"11111010100", 1, 13},
    {"11111010101", 1, 14},
    {"111110101100", 2, 0},
    {"111110101101", 3, 0},
    {"111110101110", 4, 0},
    {"111110101111", 5, 0},
    {"111110110000", 7, 2},
    {"111110110001", 8, 2},
    {"111110110010", 9, 2},
    {"111110110011", 10, 2},
    {"111110110100", 7, 3},
    {"111110110101", 8, 3},
    {"111110110110", 4, 5},
    {"111110110111", 3, 7},
    {"111110111000", 2, 7},
    {"111110111001", 2, 8},
    {"111110111010", 2, 9},
    {"111110111011", 2, 10},
    {"111110111100", 2, 11},
    {"111110111101", 1, 15},
    {"111110111110", 1, 16},
    {"111110111111", 1, 17},
};

constexpr int32_t indexBits = 9;
constexpr int32_t prefixBits = 4; // all ones, in front of every code that is longer

struct Code {
    int32_t bits;
    int32_t run;
    int32_t level;
};

// Codes with their sign, by length.
using CodesByLength = std::array<std::vector<Code>, prefixBits + indexBits + 1>;

CodesByLength completeCodes()
{
    CodesByLength all;
    const auto add = [&](std::size_t length, uint32_t bits, int32_t run, int32_t level) {
        all[length].push_back({static_cast<int32_t>(bits), run, level});
    };
    for (const RunLevelCode& code : codes) {
        const uint32_t bits = codeBits(code.bits);
        if (code.level == 0) {
            add(code.bits.size(), bits, code.run, 0);
            continue;
        }
        add(code.bits.size() + 1, 2 * bits, code.run, code.level);
        add(code.bits.size() + 1, 2 * bits + 1, code.run, -code.level);
    }
    for (int32_t run = firstLongZeroRun; run <= lastLongZeroRun; run++)
        add(13, 0b1111110000000 + static_cast<uint32_t>(run), run, 0);
    return all;
}

// The list of codes whose length exceeds `prefix` by 1 to indexBits.
std::vector<int32_t> listOf(const CodesByLength& all, std::size_t shortest, int32_t prefix)
{
    std::vector<int32_t> list{indexBits, 0, 0};
    for (std::size_t i = 1; i <= indexBits; i++) {
        const std::size_t length = i + static_cast<std::size_t>(prefix);
        const auto& group = all[length];
        const bool wanted = length >= shortest;
        list.push_back(wanted ? static_cast<int32_t>(group.size()) : 0);
        for (const Code& code : wanted ? group : std::vector<Code>())
            list.insert(list.end(), {code.bits & ((1 << i) - 1), code.run, code.level});
    }
    return list;
}

uint32_t* buildTable()
{
    const CodeLists lists = makeCodeLists();
    uint32_t* table = nullptr;
    if (keliInitAllocHuffmanTable_DV_32u(lists.first.data(), lists.second.data(), &table) != StatusOk)
        throw std::bad_alloc();
    return table;
}

} // namespace

std::span<const RunLevelCode> shortCodes()
{
    return codes;
}

CodeLists makeCodeLists()
{
    const CodesByLength all = completeCodes();
    return {listOf(all, 1, 0), listOf(all, indexBits + 1, prefixBits)};
}

AcTable::AcTable() : table_(buildTable()) {}

} // namespace kelvcpx::app::dv
