// Exp-Golomb codes and residual blocks of CAVLC (ITU-T H.264 9.1, 9.2).

#include "core/arguments.h"
#include "core/huffman_lookup.h"
#include "core/word_cursor.h"
#include "tables/h264_tables.h"

#include <kelvcpx/h264_residual.h>

#include <array>
#include <bit>
#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace kelvcpx::h264 {
namespace {

constexpr int32_t shortBits = 8;

// A level whose prefix and suffix have at most `shortBits` bits together.
struct alignas(4) ShortLevel {
    int8_t level;             // of a first level without its bonus
    uint8_t length;           // 0 if the code is longer
    uint8_t nextSuffixLength; // after a level that is not the first
};

constexpr int32_t nextSuffixLength(int32_t suffixLength, int32_t magnitude)
{
    const int32_t threshold = vlc_inc[static_cast<std::size_t>(suffixLength)];
    return suffixLength + static_cast<int32_t>(suffixLength < 6 && magnitude > threshold);
}

// A prefix up to 15 and its suffix, or the prefix again if there is none, make a level (9.2.2.1).
constexpr int32_t levelOf(std::size_t suffixLength, std::size_t prefix, int32_t suffix, int32_t bonus)
{
    const int32_t magnitude = bonus + addOffsetTbl16s[suffixLength][prefix] + (suffix >> 1);
    return (suffix & 1) != 0 ? -magnitude : magnitude;
}

constexpr ShortLevel makeShortLevel(std::size_t suffixLength, uint32_t bits)
{
    const int prefix = std::countl_zero(bits << (32 - shortBits) | 1);
    if (prefix >= shortBits)
        return {};
    const int32_t n = bitsToGetTbl16s[suffixLength][static_cast<std::size_t>(prefix)];
    const int32_t length = prefix + 1 + n;
    if (length > shortBits)
        return {};
    const auto read = static_cast<int32_t>(bits >> (shortBits - length) & ((1u << n) - 1));
    const int32_t level = levelOf(suffixLength, static_cast<std::size_t>(prefix), n == 0 ? prefix : read, 0);
    return {static_cast<int8_t>(level), static_cast<uint8_t>(length),
            static_cast<uint8_t>(
                nextSuffixLength(static_cast<int32_t>(suffixLength), level < 0 ? -level : level))};
}

// By suffixLength and the next bits.
constexpr auto shortLevels = [] {
    Table<ShortLevel, suffixLengths, 1 << shortBits> table{};
    for (std::size_t suffixLength = 0; suffixLength < suffixLengths; suffixLength++)
        for (uint32_t bits = 0; bits < 1 << shortBits; bits++)
            table[suffixLength][bits] = makeShortLevel(suffixLength, bits);
    return table;
}();

// Any level, with the bonus of a first one. A prefix of more than 31 zeros gives 0, which is no level.
[[gnu::noinline]] int32_t readLongLevel(WordReader& stream, int32_t suffixLength, int32_t bonus)
{
    stream.fill(32);
    const uint32_t bits = stream.peek(32);
    if (bits == 0) {
        stream.skip(32);
        return 0;
    }
    const auto s = static_cast<std::size_t>(suffixLength);
    const int32_t prefix = std::countl_zero(bits);
    stream.skip(prefix + 1);
    if (prefix < 16) {
        const auto p = static_cast<std::size_t>(prefix);
        const int32_t n = bitsToGetTbl16s[s][p];
        return levelOf(s, p, n == 0 ? prefix : static_cast<int32_t>(stream.read(n)), bonus);
    }
    const uint32_t suffix = stream.read(prefix - 3);
    const uint32_t wide = static_cast<uint32_t>(sadd[s] + 2 * bonus + (15 << suffixLength)) +
                          (1u << (prefix - 3)) - 4096 + suffix;
    const auto levelCode = static_cast<int32_t>(wide & 0xFFFF);
    return (levelCode & 1) == 0 ? (levelCode + 2) >> 1 : (-levelCode - 1) >> 1;
}

// The same with a copy of the window, so that the original stays in registers.
[[gnu::always_inline]] inline int32_t readLongLevelApart(WordReader& stream, int32_t suffixLength,
                                                         int32_t bonus)
{
    WordReader copy = stream;
    const int32_t level = readLongLevel(copy, suffixLength, bonus);
    stream = copy;
    return level;
}

// Reads the levels after the trailing ones, highest frequency first. False if one is invalid.
[[gnu::always_inline]] inline bool GetBlockCoeffs_CAVLC(WordReader& stream, int32_t totalCoeff,
                                                        int32_t trailingOnes, int32_t* levels)
{
    int32_t suffixLength = totalCoeff > 10 && trailingOnes < 3 ? 1 : 0;
    const int32_t bonus = trailingOnes < 3 ? 1 : 0;

    stream.fill(shortBits);
    const ShortLevel first = shortLevels[static_cast<std::size_t>(suffixLength)][stream.peek(shortBits)];
    if (first.length != 0) [[likely]] {
        stream.skip(first.length);
        levels[0] = first.level + (first.level < 0 ? -bonus : bonus);
    } else {
        levels[0] = readLongLevelApart(stream, suffixLength, bonus);
        if (levels[0] == 0)
            return false;
    }
    suffixLength = std::abs(levels[0]) > 3 ? 2 : 1;

    for (int32_t i = 1; i < totalCoeff - trailingOnes; i++) {
        stream.fill(shortBits);
        const ShortLevel next = shortLevels[static_cast<std::size_t>(suffixLength)][stream.peek(shortBits)];
        if (next.length != 0) [[likely]] {
            stream.skip(next.length);
            levels[i] = next.level;
            suffixLength = next.nextSuffixLength;
        } else {
            levels[i] = readLongLevelApart(stream, suffixLength, 0);
            if (levels[i] == 0)
                return false;
            suffixLength = nextSuffixLength(suffixLength, std::abs(levels[i]));
        }
    }
    return true;
}

// Number and signs of the trailing ones. Room for three levels is written whatever their number.
void readTrailingOnes(WordReader& stream, int32_t trailingOnes, int32_t* levels)
{
    stream.fill(3);
    const auto signs = static_cast<int32_t>(stream.peek(3));
    levels[0] = 1 - (signs >> 1 & 2);
    levels[1] = 1 - (signs & 2);
    levels[2] = 1 - (signs << 1 & 2);
    stream.skip(trailingOnes);
}

struct CoeffToken {
    int32_t totalCoeff;
    int32_t trailingOnes;
};

// The token of a table. An invalid code gives numbers that no block has.
CoeffToken readToken(WordReader& stream, const int32_t* table)
{
    const int32_t leaf = huffman::lookUp(stream, table);
    return {leaf >> 16 & 0xFF, leaf >> 8 & 0xFF};
}

// Six bits, the last column of table 9-5.
CoeffToken readFixedLengthToken(WordReader& stream)
{
    const auto bits = static_cast<int32_t>(stream.read(6));
    if (bits == 3)
        return {0, 0};
    return {(bits >> 2) + 1, bits & 3};
}

struct Tables {
    const int32_t* const* totalZeros;
    const int32_t* const* runBefore;
};

// A block in the caller's terms: its coefficients, how many the syntax codes, and where each is stored.
template <class Coefficient>
struct Block {
    Coefficient* coefficients;
    int32_t maxNumCoeff;
    const int32_t* positions;
};

// Stores the levels, highest frequency first, with the zeros that run_before puts between them.
template <class Coefficient>
[[gnu::always_inline]] inline Status placeLevels(WordReader& stream, const Block<Coefficient>& block,
                                                 const int32_t* const* runBeforeTables, const int32_t* levels,
                                                 int32_t totalCoeff, int32_t zerosLeft)
{
    const auto place = [&](int32_t position, int32_t level) {
        block.coefficients[block.positions[position]] = static_cast<Coefficient>(level);
    };
    int32_t left = totalCoeff;
    for (; left > 1 && zerosLeft > 0; left--) {
        const int32_t* const table = runBeforeTables[zerosLeft];
        if (anyNull(table))
            return StatusNullPointer;
        const int32_t run = huffman::value(huffman::lookUp(stream, table));
        if (static_cast<uint32_t>(run) > static_cast<uint32_t>(zerosLeft))
            return StatusBadHuffmanCode; // the value of an invalid code too is too large
        place(zerosLeft + left - 1, *levels++);
        zerosLeft -= run;
    }
    for (; left > 0; left--)
        place(zerosLeft + left - 1, *levels++);
    return StatusOk;
}

// What follows the signs of the trailing ones in a block that has coefficients.
template <class Coefficient>
[[gnu::always_inline]] inline Status decodeCoefficients(WordReader& stream, const Block<Coefficient>& block,
                                                        CoeffToken token, const Tables& tables,
                                                        int32_t* levels)
{
    if (token.totalCoeff > token.trailingOnes &&
        !GetBlockCoeffs_CAVLC(stream, token.totalCoeff, token.trailingOnes, levels + token.trailingOnes))
        return StatusBadHuffmanCode;

    int32_t totalZeros = 0;
    if (token.totalCoeff < block.maxNumCoeff) {
        const int32_t* const table = tables.totalZeros[token.totalCoeff];
        if (anyNull(table))
            return StatusNullPointer;
        totalZeros = huffman::value(huffman::lookUp(stream, table));
        if (static_cast<uint32_t>(totalZeros) > static_cast<uint32_t>(block.maxNumCoeff - token.totalCoeff))
            return StatusBadHuffmanCode; // the value of an invalid code too is too large
    }
    return placeLevels(stream, block, tables.runBefore, levels, token.totalCoeff, totalZeros);
}

struct Cursor {
    const uint32_t** ppBitStream;
    int32_t* pBitOffset;
};

// One residual block (7.3.5.3.2) of `size` coefficients in the buffer.
template <int32_t size, class Coefficient, class ReadToken>
Status decodeBlock(Cursor cursor, uint16_t* pTotalCoeff, Coefficient** ppCoeffs, int32_t maxNumCoeff,
                   const int32_t* positions, const Tables& tables, ReadToken readBlockToken)
{
    WordReader stream(*cursor.ppBitStream, *cursor.pBitOffset);
    const CoeffToken token = readBlockToken(stream);
    if (token.totalCoeff > maxNumCoeff || token.trailingOnes > 3)
        return StatusBadHuffmanCode;
    *pTotalCoeff = static_cast<uint16_t>(token.totalCoeff);

    std::array<int32_t, 16 + 3> levels;
    readTrailingOnes(stream, token.trailingOnes, levels.data());
    Status status = StatusOk;
    if (token.totalCoeff > 0) {
        std::memset(*ppCoeffs, 0, size * sizeof(Coefficient));
        status = decodeCoefficients(stream, Block<Coefficient>{*ppCoeffs, maxNumCoeff, positions}, token,
                                    tables, levels.data());
        if (status == StatusOk)
            *ppCoeffs += size;
    }
    stream.store(cursor.ppBitStream, cursor.pBitOffset);
    return status;
}

// The column of table 9-5 for nC below 8.
constexpr std::size_t tokenTable(int32_t nC)
{
    return static_cast<std::size_t>(nC < 4 ? nC / 2 : 2);
}

template <class Coefficient>
Status decode4x4(const uint32_t** ppBitStream, int32_t* pBitOffset, uint16_t* pTotalCoeff,
                 Coefficient** ppCoeffs, int32_t nC, int16_t maxNumCoeff,
                 const int32_t* const* coeffTokenTables, const int32_t* const* totalZerosTables,
                 const int32_t* const* runBeforeTables, const int32_t* scanOrder)
{
    if (anyNull(ppBitStream, ppCoeffs, pBitOffset, pTotalCoeff, coeffTokenTables, totalZerosTables,
                runBeforeTables, scanOrder) ||
        anyNull(*ppBitStream, *ppCoeffs))
        return StatusNullPointer;
    if ((maxNumCoeff != 15 && maxNumCoeff != 16) || nC < 0)
        return StatusOutOfRange;
    const int32_t* const table = nC < 8 ? coeffTokenTables[tokenTable(nC)] : nullptr;
    if (nC < 8 && anyNull(table))
        return StatusNullPointer;
    // The scan of a block without its DC begins at the second position.
    return decodeBlock<16>(
        {ppBitStream, pBitOffset}, pTotalCoeff, ppCoeffs, maxNumCoeff, scanOrder + (16 - maxNumCoeff),
        {totalZerosTables, runBeforeTables}, [=](WordReader& stream) {
            return table != nullptr ? readToken(stream, table) : readFixedLengthToken(stream);
        });
}

constexpr std::array<int32_t, 4> chromaDcRasterScan = {0, 1, 2, 3};

template <int32_t size, class Coefficient>
Status decodeChromaDc(const uint32_t** ppBitStream, int32_t* pBitOffset, uint16_t* pTotalCoeff,
                      Coefficient** ppCoeffs, const int32_t* coeffTokenTable,
                      const int32_t* const* totalZerosTables, const int32_t* const* runBeforeTables)
{
    if (anyNull(ppBitStream, ppCoeffs, pBitOffset, pTotalCoeff, coeffTokenTable, totalZerosTables,
                runBeforeTables) ||
        anyNull(*ppBitStream, *ppCoeffs))
        return StatusNullPointer;
    const int32_t* const positions = size == 4 ? chromaDcRasterScan.data() : ChromaDC422RasterScan.data();
    return decodeBlock<size>({ppBitStream, pBitOffset}, pTotalCoeff, ppCoeffs, size, positions,
                             {totalZerosTables, runBeforeTables},
                             [=](WordReader& stream) { return readToken(stream, coeffTokenTable); });
}

} // namespace
} // namespace kelvcpx::h264

using namespace kelvcpx;

Status keliDecodeExpGolombOne_H264_1u16s(const uint32_t** ppBitStream, int32_t* pBitOffset, int16_t* pValue,
                                         uint8_t isSigned) noexcept
{
    if (anyNull(ppBitStream, pBitOffset, pValue) || anyNull(*ppBitStream))
        return StatusNullPointer;
    if (*pBitOffset < 0 || *pBitOffset > 31)
        return StatusBadArgument;

    WordReader reader(*ppBitStream, *pBitOffset);
    const uint32_t bits = reader.peek(32);
    if (bits == 0)
        return StatusBadHuffmanCode;
    const int32_t zeros = std::countl_zero(bits);
    reader.skip(zeros);
    const uint32_t k = reader.read(zeros + 1); // codeNum + 1
    const uint32_t value = isSigned == 0 ? k - 1 : (k & 1) != 0 ? 0 - (k >> 1) : k >> 1;
    *pValue = static_cast<int16_t>(value);
    reader.store(ppBitStream, pBitOffset);
    return StatusOk;
}

Status keliDecodeCAVLCCoeffs_H264_1u16s(const uint32_t** ppBitStream, int32_t* pBitOffset,
                                        uint16_t* pTotalCoeff, int16_t** ppCoeffs, int32_t nC,
                                        int16_t maxNumCoeff, const int32_t* const* coeffTokenTables,
                                        const int32_t* const* totalZerosTables,
                                        const int32_t* const* runBeforeTables,
                                        const int32_t* scanOrder) noexcept
{
    return h264::decode4x4(ppBitStream, pBitOffset, pTotalCoeff, ppCoeffs, nC, maxNumCoeff, coeffTokenTables,
                           totalZerosTables, runBeforeTables, scanOrder);
}

Status keliDecodeCAVLCCoeffs_H264_1u32s(const uint32_t** ppBitStream, int32_t* pBitOffset,
                                        uint16_t* pTotalCoeff, int32_t** ppCoeffs, int32_t nC,
                                        int16_t maxNumCoeff, const int32_t* const* coeffTokenTables,
                                        const int32_t* const* totalZerosTables,
                                        const int32_t* const* runBeforeTables,
                                        const int32_t* scanOrder) noexcept
{
    return h264::decode4x4(ppBitStream, pBitOffset, pTotalCoeff, ppCoeffs, nC, maxNumCoeff, coeffTokenTables,
                           totalZerosTables, runBeforeTables, scanOrder);
}

Status keliDecodeCAVLCChromaDcCoeffs_H264_1u16s(const uint32_t** ppBitStream, int32_t* pBitOffset,
                                                uint16_t* pTotalCoeff, int16_t** ppCoeffs,
                                                const int32_t* coeffTokenTable,
                                                const int32_t* const* totalZerosTables,
                                                const int32_t* const* runBeforeTables) noexcept
{
    return h264::decodeChromaDc<4>(ppBitStream, pBitOffset, pTotalCoeff, ppCoeffs, coeffTokenTable,
                                   totalZerosTables, runBeforeTables);
}

Status keliDecodeCAVLCChromaDcCoeffs_H264_1u32s(const uint32_t** ppBitStream, int32_t* pBitOffset,
                                                uint16_t* pTotalCoeff, int32_t** ppCoeffs,
                                                const int32_t* coeffTokenTable,
                                                const int32_t* const* totalZerosTables,
                                                const int32_t* const* runBeforeTables) noexcept
{
    return h264::decodeChromaDc<4>(ppBitStream, pBitOffset, pTotalCoeff, ppCoeffs, coeffTokenTable,
                                   totalZerosTables, runBeforeTables);
}

Status keliDecodeCAVLCChroma422DcCoeffs_H264_1u16s(const uint32_t** ppBitStream, int32_t* pBitOffset,
                                                   uint16_t* pTotalCoeff, int16_t** ppCoeffs,
                                                   const int32_t* coeffTokenTable,
                                                   const int32_t* const* totalZerosTables,
                                                   const int32_t* const* runBeforeTables) noexcept
{
    return h264::decodeChromaDc<8>(ppBitStream, pBitOffset, pTotalCoeff, ppCoeffs, coeffTokenTable,
                                   totalZerosTables, runBeforeTables);
}

Status keliDecodeCAVLCChroma422DcCoeffs_H264_1u32s(const uint32_t** ppBitStream, int32_t* pBitOffset,
                                                   uint16_t* pTotalCoeff, int32_t** ppCoeffs,
                                                   const int32_t* coeffTokenTable,
                                                   const int32_t* const* totalZerosTables,
                                                   const int32_t* const* runBeforeTables) noexcept
{
    return h264::decodeChromaDc<8>(ppBitStream, pBitOffset, pTotalCoeff, ppCoeffs, coeffTokenTable,
                                   totalZerosTables, runBeforeTables);
}
