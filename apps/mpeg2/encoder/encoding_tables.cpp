#include "mpeg2/encoder/encoding_tables.h"

#include <kelvcpx/core.h>
#include <kelvcpx/mpeg2_encode.h>

#include <algorithm>
#include <new>

namespace kelvcpx::app::mpeg2 {
namespace {

int32_t* buildRunLevelTable(std::size_t table)
{
    constexpr int32_t anyWidth[] = {1}; // of a lookup, which an encoder does not do
    int32_t* result = nullptr;
    const CoefficientRows rows(table);
    if (keliCreateRLEncodeTable(makeCodeList(rows.rows(), anyWidth).data(), &result) != StatusOk)
        throw std::bad_alloc();
    return result;
}

std::array<int32_t, 24> codesBySize(std::span<const ValueCode> rows)
{
    std::array<int32_t, 24> pairs{};
    for (const ValueCode& row : rows) {
        const auto size = static_cast<std::size_t>(row.value);
        pairs[2 * size] = static_cast<int32_t>(codeBits(row.bits));
        pairs[2 * size + 1] = static_cast<int32_t>(row.bits.size());
    }
    return pairs;
}

} // namespace

CodeBook::CodeBook(std::span<const ValueCode> rows)
{
    const auto [least, greatest] = std::minmax_element(
        rows.begin(), rows.end(), [](const ValueCode& a, const ValueCode& b) { return a.value < b.value; });
    lowest_ = least->value;
    codes_.resize(static_cast<std::size_t>(greatest->value - lowest_ + 1));
    for (const ValueCode& row : rows)
        codes_[static_cast<std::size_t>(row.value - lowest_)] = {codeBits(row.bits),
                                                                 static_cast<int>(row.bits.size())};
}

RunLevelBook::RunLevelBook(std::size_t index)
    : table(buildRunLevelTable(index)),
      endOfBlockCode(static_cast<int32_t>(codeBits(codeRows.endOfBlock[index]))),
      endOfBlockLength(static_cast<int32_t>(codeRows.endOfBlock[index].size()))
{}

void RunLevelBook::Release::operator()(int32_t* table) const
{
    kelsFree(table);
}

EncodingTables::EncodingTables()
    : addressIncrement(codeRows.addressIncrement), macroblockType{CodeBook(codeRows.macroblockType[0]),
                                                                  CodeBook(codeRows.macroblockType[1]),
                                                                  CodeBook(codeRows.macroblockType[2])},
      codedBlockPattern(codeRows.codedBlockPattern),
      motionCode(codeRows.motionCode), dcSize{codesBySize(codeRows.dcSize[0]),
                                              codesBySize(codeRows.dcSize[1])},
      coefficients{RunLevelBook(0), RunLevelBook(1)}
{}

const EncodingTables& encodingTables()
{
    static const EncodingTables tables;
    return tables;
}

} // namespace kelvcpx::app::mpeg2
