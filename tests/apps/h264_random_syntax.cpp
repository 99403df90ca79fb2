#include "apps/h264_random_syntax.h"

#include "h264/cavlc_tables.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <iterator>
#include <stdexcept>

namespace kelvcpx::test {

using namespace app;

namespace {

// codeNum of a coded_block_pattern (table 9-4): intra, inter.
constexpr uint8_t patternCodesWithChroma[2][48] = {
    {3,  29, 30, 17, 31, 18, 37, 8, 32, 38, 19, 9,  20, 10, 11, 2,  16, 33, 34, 21, 35, 22, 39, 4,
     36, 40, 23, 5,  24, 6,  7,  1, 41, 42, 43, 25, 44, 26, 46, 12, 45, 47, 27, 13, 28, 14, 15, 0},
    {0,  2,  3,  7,  4,  8,  17, 13, 5, 18, 9,  14, 10, 15, 16, 11, 1,  32, 33, 36, 34, 37, 44, 40,
     35, 45, 38, 41, 39, 42, 43, 19, 6, 24, 25, 20, 26, 21, 46, 28, 27, 47, 22, 29, 23, 30, 31, 12}};
constexpr uint8_t patternCodesWithoutChroma[2][16] = {{1, 10, 11, 6, 12, 7, 14, 2, 13, 15, 8, 3, 9, 4, 5, 0},
                                                      {0, 1, 2, 5, 3, 6, 14, 10, 4, 15, 7, 11, 8, 12, 13, 9}};

template <class Code, class Matches>
void putRow(BitWriter& bits, UsedCodes& used, std::span<const Code> rows, Matches matches)
{
    const auto row = std::find_if(rows.begin(), rows.end(), matches);
    if (row == rows.end())
        throw std::logic_error("a code table lacks a value");
    bits.put(row->bits);
    used.rows.insert(&*row);
}

void putValue(BitWriter& bits, UsedCodes& used, std::span<const ValueCode> rows, int value)
{
    putRow(bits, used, rows, [=](const ValueCode& row) { return row.value == value; });
}

void putCoeffToken(BitWriter& bits, UsedCodes& used, int nC, int trailingOnes, int total)
{
    if (nC >= 8) { // six bits
        bits.put(total == 0 ? 3 : (total - 1) << 2 | trailingOnes, 6);
        return;
    }
    const auto& rows = h264::cavlcRows;
    putRow(bits, used,
           nC < 0   ? rows.coeffTokenChromaDc
           : nC < 2 ? rows.coeffToken[0]
           : nC < 4 ? rows.coeffToken[1]
                    : rows.coeffToken[2],
           [=](const RunLevelCode& row) { return row.run == trailingOnes && row.level == total; });
}

// level_prefix and level_suffix (9.2.2.1).
void putLevelCode(BitWriter& bits, UsedCodes& used, int levelCode, int suffixLength)
{
    const auto putPrefix = [&](int prefix) {
        used.levelPrefixes.insert(prefix);
        bits.put(0, prefix);
        bits.put(1, 1);
    };
    if (suffixLength == 0 && levelCode < 14) {
        putPrefix(levelCode);
    } else if (suffixLength == 0 && levelCode < 30) {
        putPrefix(14);
        bits.put(levelCode - 14, 4);
    } else if (suffixLength > 0 && levelCode < 15 << suffixLength) {
        putPrefix(levelCode >> suffixLength);
        bits.put(levelCode, suffixLength);
    } else {
        putPrefix(15);
        bits.put(levelCode - (suffixLength == 0 ? 30 : 15 << suffixLength), 12);
    }
}

// The levels behind the trailing ones, highest frequency first.
void putLevels(BitWriter& bits, UsedCodes& used, std::span<const int> levels, int trailingOnes)
{
    const auto total = static_cast<int>(levels.size());
    int suffixLength = total > 10 && trailingOnes < 3 ? 1 : 0;
    for (int i = trailingOnes; i < total; i++) {
        const int level = levels[static_cast<std::size_t>(i)];
        int levelCode = level > 0 ? 2 * level - 2 : -2 * level - 1;
        if (i == trailingOnes && trailingOnes < 3)
            levelCode -= 2;
        putLevelCode(bits, used, levelCode, suffixLength);
        suffixLength = std::max(suffixLength, 1);
        if (std::abs(level) > 3 << (suffixLength - 1) && suffixLength < 6)
            suffixLength++;
    }
}

} // namespace

void putUe(BitWriter& bits, uint32_t value)
{
    const auto length = static_cast<int>(std::bit_width(value + 1));
    bits.put(0, length - 1);
    bits.put(value + 1, length);
}

void putSe(BitWriter& bits, int32_t value)
{
    putUe(bits, static_cast<uint32_t>(value > 0 ? 2 * value - 1 : -2 * value));
}

void putTe(BitWriter& bits, int most, int value)
{
    if (most == 1)
        bits.put(1 - value, 1);
    else
        putUe(bits, static_cast<uint32_t>(value));
}

void putCodedBlockPattern(BitWriter& bits, int pattern, bool inter, bool monochrome)
{
    const auto at = static_cast<std::size_t>(pattern);
    putUe(bits, monochrome ? patternCodesWithoutChroma[inter ? 1 : 0][at]
                           : patternCodesWithChroma[inter ? 1 : 0][at]);
}

// residual_block_cavlc(), 7.3.5.3.2.
int putResidualBlock(BitWriter& bits, UsedCodes& used, int nC, std::span<const int> scanned)
{
    std::vector<int> levels; // highest frequency first
    std::vector<int> runs;   // zeros before each of them
    int zeros = 0;
    for (const int level : scanned) {
        zeros++;
        if (level == 0)
            continue;
        levels.insert(levels.begin(), level);
        runs.insert(runs.begin(), zeros - 1);
        zeros = 0;
    }
    const auto total = static_cast<int>(levels.size());
    int trailingOnes = 0;
    while (trailingOnes < std::min(3, total) && std::abs(levels[static_cast<std::size_t>(trailingOnes)]) == 1)
        trailingOnes++;
    putCoeffToken(bits, used, nC, trailingOnes, total);
    if (total == 0)
        return 0;
    for (int i = 0; i < trailingOnes; i++)
        bits.put(levels[static_cast<std::size_t>(i)] < 0, 1);
    putLevels(bits, used, levels, trailingOnes);

    const auto& rows = h264::cavlcRows;
    int left = static_cast<int>(scanned.size()) - total - zeros; // total_zeros
    if (total < static_cast<int>(scanned.size())) {
        const auto at = static_cast<std::size_t>(total);
        putValue(bits, used, nC < 0 ? rows.totalZerosChromaDc[at] : rows.totalZeros[at], left);
    }
    for (std::size_t i = 0; i + 1 < levels.size() && left > 0; i++) {
        putValue(bits, used, rows.runBefore[static_cast<std::size_t>(std::min(left, 7))], runs[i]);
        left -= runs[i];
    }
    return total;
}

std::vector<uint8_t> nalUnit(int refIdc, int type, BitWriter payload)
{
    payload.put(1, 1); // rbsp_stop_one_bit
    std::vector<uint8_t> unit{0, 0, 0, 1, static_cast<uint8_t>(refIdc << 5 | type)};
    int zeros = 0;
    for (const uint8_t byte : payload.bytes()) {
        if (zeros == 2 && byte <= 3) {
            unit.push_back(3); // emulation_prevention_three_byte
            zeros = 0;
        }
        unit.push_back(byte);
        zeros = byte == 0 ? zeros + 1 : 0;
    }
    return unit;
}

} // namespace kelvcpx::test
