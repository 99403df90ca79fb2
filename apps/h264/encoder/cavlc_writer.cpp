#include "h264/encoder/cavlc_writer.h"

#include "h264/cavlc_tables.h"
#include "h264/scan.h"

#include <kelvcpx/h264_encode.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <numeric>
#include <span>

namespace kelvcpx::app::h264::encoder {
namespace {

struct Code {
    uint16_t bits;
    uint8_t length;
};

Code codeOf(std::string_view bits)
{
    return {static_cast<uint16_t>(codeBits(bits)), static_cast<uint8_t>(bits.size())};
}

// The codes of the tables by what they stand for.
struct CodeTables {
    using Tokens = std::array<std::array<Code, 17>, 4>; // by TrailingOnes and TotalCoeff

    std::array<Tokens, 4> tokens{}; // nC 0..1, 2..3, 4..7, 8 and more
    Tokens chromaDcTokens{};
    std::array<std::array<Code, 16>, 16> totalZeros{}; // by TotalCoeff
    std::array<std::array<Code, 4>, 4> chromaDcTotalZeros{};
    std::array<std::array<Code, 15>, 8> runBefore{}; // by zerosLeft

    CodeTables()
    {
        for (std::size_t i = 0; i < 3; i++)
            fillTokens(tokens[i], cavlcRows.coeffToken[i]);
        fillFixedTokens(tokens[3]);
        fillTokens(chromaDcTokens, cavlcRows.coeffTokenChromaDc);
        fillValues(totalZeros, cavlcRows.totalZeros);
        fillValues(chromaDcTotalZeros, cavlcRows.totalZerosChromaDc);
        fillValues(runBefore, cavlcRows.runBefore);
    }

private:
    static void fillTokens(Tokens& table, std::span<const RunLevelCode> rows)
    {
        for (const RunLevelCode& row : rows)
            table[row.run][static_cast<std::size_t>(row.level)] = codeOf(row.bits);
    }

    static void fillFixedTokens(Tokens& table)
    {
        table[0][0] = {3, 6};
        for (std::size_t total = 1; total <= 16; total++)
            for (std::size_t ones = 0; ones <= std::min<std::size_t>(total, 3); ones++)
                table[ones][total] = {static_cast<uint16_t>((total - 1) << 2 | ones), 6};
    }

    template <class Table, class Rows>
    static void fillValues(Table& table, const Rows& rows)
    {
        for (std::size_t i = 1; i < rows.size(); i++)
            for (const ValueCode& row : rows[i])
                table[i][static_cast<std::size_t>(row.value)] = codeOf(row.bits);
    }
};

const CodeTables codes;

constexpr auto scan = [] {
    std::array<uint32_t, 16> raster{};
    std::copy(scan4x4(Scan::frame).begin(), scan4x4(Scan::frame).end(), raster.begin());
    return raster;
}();

constexpr auto inOrder = [] {
    std::array<uint32_t, 16> order{};
    std::iota(order.begin(), order.end(), 0u);
    return order;
}();

CavlcBlock analyse(const int16_t* levels, uint8_t first, const uint32_t* order, uint8_t last)
{
    CavlcBlock block;
    keliEncodeCoeffsCAVLC_H264_16s(levels, first, order, last, &block.trailingOnes, &block.trailingOneSigns,
                                   &block.totalCoeff, &block.totalZeros, block.levels.data(),
                                   block.runs.data());
    return block;
}

template <class Sink>
void putCode(Sink& sink, const Code& code)
{
    sink.put(code.bits, code.length);
}

const CodeTables::Tokens& tokensFor(int nC)
{
    if (nC == chromaDcContext)
        return codes.chromaDcTokens;
    return codes.tokens[nC < 2 ? 0 : nC < 4 ? 1 : nC < 8 ? 2 : 3];
}

// level_prefix and level_suffix (9.2.2.1).
template <class Sink>
void putLevelCode(Sink& sink, int levelCode, int suffixLength)
{
    const auto putPrefix = [&](int prefix) { sink.put(1, prefix + 1); };
    const int escape = suffixLength == 0 ? 30 : 15 << suffixLength;
    if (levelCode >= escape) {
        putPrefix(15);
        sink.put(levelCode - escape, 12);
    } else if (suffixLength > 0) {
        putPrefix(levelCode >> suffixLength);
        sink.put(levelCode, suffixLength);
    } else if (levelCode < 14) {
        putPrefix(levelCode);
    } else {
        putPrefix(14);
        sink.put(levelCode - 14, 4);
    }
}

template <class Sink>
void putLevels(Sink& sink, const CavlcBlock& block)
{
    int suffixLength = block.totalCoeff > 10 && block.trailingOnes < 3 ? 1 : 0;
    const int count = block.totalCoeff - block.trailingOnes;
    for (int i = 0; i < count; i++) {
        const int level = block.levels[static_cast<std::size_t>(i)];
        int levelCode = level > 0 ? 2 * level - 2 : -2 * level - 1;
        if (i == 0 && block.trailingOnes < 3)
            levelCode -= 2; // it is no trailing one
        putLevelCode(sink, levelCode, suffixLength);
        suffixLength = std::max(suffixLength, 1);
        if (std::abs(level) > 3 << (suffixLength - 1) && suffixLength < 6)
            suffixLength++;
    }
}

} // namespace

CavlcBlock analysed(const int16_t* levels, uint8_t first, uint8_t last)
{
    return analyse(levels, first, scan.data(), last);
}

CavlcBlock analysedInScanOrder(const int16_t* levels)
{
    return analyse(levels, 0, inOrder.data(), 15);
}

CavlcBlock analysedChromaDc(const int16_t* levels)
{
    CavlcBlock block;
    keliEncodeChromaDcCoeffsCAVLC_H264_16s(levels, &block.trailingOnes, &block.trailingOneSigns,
                                           &block.totalCoeff, &block.totalZeros, block.levels.data(),
                                           block.runs.data());
    return block;
}

template <class Sink>
void putBlock(Sink& sink, const CavlcBlock& block, int nC, int maxNumCoeff)
{
    const std::size_t total = block.totalCoeff;
    putCode(sink, tokensFor(nC)[block.trailingOnes][total]);
    if (total == 0)
        return;
    sink.put(block.trailingOneSigns, block.trailingOnes);
    putLevels(sink, block);
    if (block.totalCoeff == maxNumCoeff)
        return;
    putCode(sink, nC == chromaDcContext ? codes.chromaDcTotalZeros[total][block.totalZeros]
                                        : codes.totalZeros[total][block.totalZeros]);
    std::size_t zerosLeft = block.totalZeros;
    for (std::size_t i = 0; i + 1 < total && zerosLeft > 0; i++) {
        putCode(sink, codes.runBefore[std::min<std::size_t>(zerosLeft, 7)][block.runs[i]]);
        zerosLeft -= block.runs[i];
    }
}

template void putBlock(BitWriter&, const CavlcBlock&, int, int);
template void putBlock(BitCounter&, const CavlcBlock&, int, int);

} // namespace kelvcpx::app::h264::encoder
