// Residual blocks as CAVLC writes them (ITU-T H.264 7.3.5.3.2, 9.2), put down bit by bit.
#pragma once

#include "h264/cavlc_tables.h"
#include "mpeg2/prefix_code.h"
#include "support/bits.h"

#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

namespace kelvcpx::test {

// The kinds of residual blocks, as far as their codes differ.
enum class BlockKind { luma, chromaDc, chromaDc422 };

inline std::string coeffTokenBits(BlockKind kind, int nC, int totalCoeff, int trailingOnes)
{
    if (kind == BlockKind::luma && nC >= 8)
        return binary(totalCoeff == 0 ? 3 : 4 * (totalCoeff - 1) + trailingOnes, 6);
    const auto& rows = app::h264::cavlcRows;
    const auto codes = kind == BlockKind::chromaDc      ? rows.coeffTokenChromaDc
                       : kind == BlockKind::chromaDc422 ? rows.coeffTokenChromaDc422
                       : nC < 2                         ? rows.coeffToken[0]
                       : nC < 4                         ? rows.coeffToken[1]
                                                        : rows.coeffToken[2];
    for (const app::RunLevelCode& code : codes)
        if (code.run == trailingOnes && code.level == totalCoeff)
            return std::string(code.bits);
    throw std::logic_error("no such coeff_token");
}

inline std::string codeOf(std::span<const app::ValueCode> codes, int value)
{
    for (const app::ValueCode& code : codes)
        if (code.value == value)
            return std::string(code.bits);
    throw std::logic_error("no such code");
}

inline std::string totalZerosBits(BlockKind kind, int totalCoeff, int totalZeros)
{
    const auto& rows = app::h264::cavlcRows;
    const auto i = static_cast<std::size_t>(totalCoeff);
    return codeOf(kind == BlockKind::luma       ? rows.totalZeros[i]
                  : kind == BlockKind::chromaDc ? rows.totalZerosChromaDc[i]
                                                : rows.totalZerosChromaDc422[i],
                  totalZeros);
}

inline std::string runBeforeBits(int zerosLeft, int runBefore)
{
    return codeOf(app::h264::cavlcRows.runBefore[static_cast<std::size_t>(std::min(zerosLeft, 7))],
                  runBefore);
}

// level_prefix and level_suffix for the levelCode of 9.2.2.1.
inline void putLevelCode(BitText& text, int64_t levelCode, int suffixLength)
{
    const int64_t escape = suffixLength == 0 ? 30 : int64_t{15} << suffixLength;
    int prefix = 0;
    int size = suffixLength;
    int64_t suffix = 0;
    if (levelCode < escape) {
        if (suffixLength > 0) {
            prefix = static_cast<int>(levelCode >> suffixLength);
            suffix = levelCode - (int64_t{prefix} << suffixLength);
        } else if (levelCode < 14) {
            prefix = static_cast<int>(levelCode);
        } else {
            prefix = 14;
            size = 4;
            suffix = levelCode - 14;
        }
    } else {
        prefix = 15;
        while (levelCode - escape >= (int64_t{1} << (prefix - 2)) - 4096)
            prefix++;
        size = prefix - 3;
        suffix = levelCode - escape - ((int64_t{1} << (prefix - 3)) - 4096);
    }
    text.put(std::string(static_cast<std::size_t>(prefix), '0') + "1");
    text.put(static_cast<uint32_t>(suffix), size);
}

// The levels of a block, highest frequency first, after the trailing ones.
inline void putLevels(BitText& text, const std::vector<int32_t>& levels, int trailingOnes)
{
    int suffixLength = levels.size() > 10 && trailingOnes < 3 ? 1 : 0;
    for (std::size_t i = static_cast<std::size_t>(trailingOnes); i < levels.size(); i++) {
        const int64_t level = levels[i];
        int64_t levelCode = level > 0 ? 2 * level - 2 : -2 * level - 1;
        if (static_cast<int>(i) == trailingOnes && trailingOnes < 3)
            levelCode -= 2;
        putLevelCode(text, levelCode, suffixLength);
        if (suffixLength == 0)
            suffixLength = 1;
        if (std::abs(level) > (int64_t{3} << (suffixLength - 1)) && suffixLength < 6)
            suffixLength++;
    }
}

// Coefficients in scan order. Returns TotalCoeff.
inline int putBlock(BitText& text, BlockKind kind, int nC, const std::vector<int32_t>& scanned)
{
    std::vector<int32_t> levels; // highest frequency first
    std::vector<int> runs;       // zeros before each
    int run = 0;
    for (const int32_t level : scanned) {
        run = level == 0 ? run + 1 : run;
        if (level != 0) {
            levels.insert(levels.begin(), level);
            runs.insert(runs.begin(), run);
            run = 0;
        }
    }
    const auto totalCoeff = static_cast<int>(levels.size());
    int trailingOnes = 0;
    while (trailingOnes < std::min(totalCoeff, 3) &&
           std::abs(levels[static_cast<std::size_t>(trailingOnes)]) == 1)
        trailingOnes++;

    text.put(coeffTokenBits(kind, nC, totalCoeff, trailingOnes));
    for (int i = 0; i < trailingOnes; i++)
        text.put(levels[static_cast<std::size_t>(i)] < 0 ? 1 : 0, 1);
    putLevels(text, levels, trailingOnes);
    if (totalCoeff == 0)
        return 0;
    int zerosLeft = 0;
    for (const int zeros : runs)
        zerosLeft += zeros;
    if (totalCoeff < static_cast<int>(scanned.size()))
        text.put(totalZerosBits(kind, totalCoeff, zerosLeft));
    for (std::size_t i = 0; i + 1 < levels.size() && zerosLeft > 0; i++) {
        text.put(runBeforeBits(zerosLeft, runs[i]));
        zerosLeft -= runs[i];
    }
    return totalCoeff;
}

} // namespace kelvcpx::test
