// Writing MPEG-2 blocks with run-level codes (ISO/IEC 13818-2 7.2).

#include "block/run_levels.h"
#include "core/arguments.h"
#include "core/arithmetic.h"
#include "core/word_cursor.h"
#include "mpeg2/code_list.h"

#include <kelvcpx/core.h>
#include <kelvcpx/mpeg2_encode.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>

namespace kelvcpx {
namespace {

using huffman::Code;
using huffman::forEachEntry;

constexpr int32_t escapeRun = 255;
constexpr int32_t endOfBlockRun = 254;
constexpr std::size_t runCount = 254;
constexpr int32_t largestEntryCount = std::numeric_limits<int32_t>::max() / 8;

// What a list holds, before its table is laid out.
struct ListContents {
    int64_t entries = 0; // of run and level
    int32_t largestRun = 0;
    std::array<int32_t, runCount> countOfRun{};
    uint32_t escape = 0; // code * 16 + length, 10 bits
    uint32_t endOfBlock = 0;
};

template <class Visit>
void forEachTriple(const int32_t* list, Visit visit)
{
    const int32_t levels = std::max(list[1], 0);
    forEachEntry(list + 2 + levels, 3, [&](const Code& code) {
        visit(code, code.values[0], code.values[1]);
        return true;
    });
}

ListContents contentsOf(const int32_t* list)
{
    ListContents contents;
    forEachTriple(list, [&](const Code& code, int32_t run, int32_t) {
        const uint32_t packed = (code.bits * 16 + static_cast<uint32_t>(code.length)) & 0x3FF;
        if (run == escapeRun) {
            contents.escape = packed;
        } else if (run == endOfBlockRun) {
            contents.endOfBlock = packed;
        } else if (run >= 0 && run < endOfBlockRun) {
            contents.entries++;
            contents.countOfRun[static_cast<std::size_t>(run)]++;
            contents.largestRun = std::max(contents.largestRun, run);
        }
    });
    return contents;
}

// An encoding table. Runs have levels of both signs round a centre.
class RunLevelTable
{
public:
    explicit RunLevelTable(const int32_t* words) : words_(words) {}

    int32_t largestRun() const { return static_cast<int32_t>(static_cast<uint32_t>(words_[0]) >> 20); }
    const int32_t* centreOf(int32_t run) const { return words_ + words_[1 + run] / 4; }

    // The code << 16 or its length; 0 if the table has none.
    uint32_t entry(int32_t run, int32_t level) const
    {
        if (run > largestRun())
            return 0;
        const int32_t* const centre = centreOf(run);
        return std::abs(level) > *centre ? 0 : static_cast<uint32_t>(centre[level]);
    }

private:
    const int32_t* words_;
};

void layOut(const ListContents& contents, int32_t* table)
{
    table[0] = static_cast<int32_t>(contents.escape | contents.endOfBlock << 10 |
                                    static_cast<uint32_t>(contents.largestRun) << 20);
    int32_t next = contents.largestRun + 2; // the first word behind the offsets
    for (int32_t run = 0; run <= contents.largestRun; run++) {
        const int32_t count = contents.countOfRun[static_cast<std::size_t>(run)];
        const int32_t centre = next + count / 2;
        table[1 + run] = 4 * centre;
        table[centre] = count == 0 ? -1 : count / 2;
        next += count + 1;
    }
}

void enterCodes(const int32_t* list, int32_t* table)
{
    forEachTriple(list, [&](const Code& code, int32_t run, int32_t level) {
        if (run < 0 || run >= endOfBlockRun)
            return;
        int32_t* const centre = table + table[1 + run] / 4;
        if (level != 0 && level >= -*centre && level <= *centre)
            centre[level] = static_cast<int32_t>(code.bits << 16 | static_cast<uint32_t>(code.length));
    });
}

// One run-level pair, by its code or the escape.
void putAC(WordWriter& writer, int32_t run, int32_t level, const RunLevelTable& table)
{
    if (const uint32_t entry = table.entry(run, level); entry != 0) {
        writer.write(entry >> 16, static_cast<int32_t>(entry & 0xFFFF));
        return;
    }
    constexpr uint32_t escape = 1; // 6 bits
    const auto run6 = static_cast<uint32_t>(run) & 0x3F;
    const auto level12 = static_cast<uint32_t>(level) & 0xFFF;
    writer.write(escape << 18 | run6 << 12 | level12, 24);
}

// The `count` levels that are not zero from scan position 1 on, behind `run` zeros.
void putLevels(WordWriter& writer, const int16_t* block, int32_t run, int32_t count, const int32_t* scan,
               const RunLevelTable& table)
{
    forEachLevel(block, scan, 1, run, count,
                 [&](int32_t zeros, int32_t level, bool) { putAC(writer, zeros, level, table); });
}

// dct_dc_size and dct_dc_differential.
void putDC(WordWriter& writer, int32_t difference, const int32_t* sizeTable)
{
    const auto bits = static_cast<uint32_t>(difference);
    const auto size = static_cast<int32_t>(std::bit_width(difference < 0 ? 0 - bits : bits));
    const int32_t* const entry = sizeTable + 2 * size;
    writer.write(static_cast<uint32_t>(entry[0]), entry[1]);
    if (size > 0)
        writer.write(difference > 0 ? bits : bits - 1, size); // the low bits of difference + 2^size - 1
}

} // namespace
} // namespace kelvcpx

using namespace kelvcpx;

Status keliCreateRLEncodeTable(const int32_t* pCodeList, int32_t** ppTable) noexcept
{
    if (anyNull(pCodeList, ppTable))
        return StatusNullPointer;
    const ListContents contents = contentsOf(pCodeList);
    const int64_t words = contents.entries + 2 * int64_t{contents.largestRun} + 3;
    if (words > largestEntryCount)
        return StatusOutOfMemory;
    const auto bytes = static_cast<int32_t>(4 * words);
    auto* const table = reinterpret_cast<int32_t*>(kelsMalloc_8u(bytes));
    if (table == nullptr)
        return StatusOutOfMemory;
    std::fill_n(table, words, 0);
    layOut(contents, table);
    enterCodes(pCodeList, table);
    *ppTable = table;
    return StatusOk;
}

Status keliPutIntraBlock(uint32_t** ppBitStream, int32_t* pBitOffset, const int16_t* pSrcBlock,
                         int32_t* pDCPred, const int32_t* pDCSizeTable, const int32_t* pACTable,
                         const int32_t* pScan, int32_t eobLength, int32_t eobCode, int32_t count) noexcept
{
    if (anyNull(ppBitStream, pBitOffset, pDCPred, pDCSizeTable, pACTable, pScan, pSrcBlock) ||
        anyNull(*ppBitStream))
        return StatusNullPointer;
    WordWriter writer(*ppBitStream, *pBitOffset);
    const int32_t difference = wrapSub(pSrcBlock[0], *pDCPred);
    *pDCPred = pSrcBlock[0];
    putDC(writer, difference, pDCSizeTable);
    putLevels(writer, pSrcBlock, 0, count, pScan, RunLevelTable(pACTable));
    writer.write(static_cast<uint32_t>(eobCode), eobLength);
    writer.store(ppBitStream, pBitOffset);
    return StatusOk;
}

Status keliPutNonIntraBlock(uint32_t** ppBitStream, int32_t* pBitOffset, const int16_t* pSrcBlock,
                            const int32_t* pACTable, const int32_t* pScan, int32_t eobLength, int32_t eobCode,
                            int32_t count) noexcept
{
    if (anyNull(ppBitStream, pBitOffset, pACTable, pScan, pSrcBlock) || anyNull(*ppBitStream))
        return StatusNullPointer;
    WordWriter writer(*ppBitStream, *pBitOffset);
    const RunLevelTable table(pACTable);
    const int32_t first = pSrcBlock[0];
    if (first == 1 || first == -1)
        writer.write(first == 1 ? 2 : 3, 2);
    else if (first != 0)
        putAC(writer, 0, first, table);
    putLevels(writer, pSrcBlock, first == 0 ? 1 : 0, first == 0 ? count : count - 1, pScan, table);
    writer.write(static_cast<uint32_t>(eobCode), eobLength);
    writer.store(ppBitStream, pBitOffset);
    return StatusOk;
}
