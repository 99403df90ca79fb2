#include "h264/cavlc_reader.h"

#include "h264/coded_block_patterns.h"
#include "h264/syntax.h"

#include <kelvcpx/h264_residual.h>

#include <algorithm>
#include <array>
#include <numeric>

namespace kelvcpx::app::h264 {
namespace {

void check(Status status)
{
    if (status != StatusOk)
        throw DamagedUnit("a residual block has an invalid code");
}

// The operations of the library by type of coefficient.
template <class... Arguments>
Status decodeBlock(int16_t** coefficients, uint16_t* total, BitReader& reader, Arguments... arguments)
{
    return keliDecodeCAVLCCoeffs_H264_1u16s(reader.word(), reader.offset(), total, coefficients,
                                            arguments...);
}

template <class... Arguments>
Status decodeBlock(int32_t** coefficients, uint16_t* total, BitReader& reader, Arguments... arguments)
{
    return keliDecodeCAVLCCoeffs_H264_1u32s(reader.word(), reader.offset(), total, coefficients,
                                            arguments...);
}

Status decodeChromaDc(int16_t** coefficients, uint16_t* total, BitReader& reader, const CavlcTables& tables,
                      bool is422)
{
    return is422 ? keliDecodeCAVLCChroma422DcCoeffs_H264_1u16s(reader.word(), reader.offset(), total,
                                                               coefficients, tables.coeffTokenChromaDc422,
                                                               tables.totalZerosChromaDc422, tables.runBefore)
                 : keliDecodeCAVLCChromaDcCoeffs_H264_1u16s(reader.word(), reader.offset(), total,
                                                            coefficients, tables.coeffTokenChromaDc,
                                                            tables.totalZerosChromaDc, tables.runBefore);
}

Status decodeChromaDc(int32_t** coefficients, uint16_t* total, BitReader& reader, const CavlcTables& tables,
                      bool is422)
{
    return is422 ? keliDecodeCAVLCChroma422DcCoeffs_H264_1u32s(reader.word(), reader.offset(), total,
                                                               coefficients, tables.coeffTokenChromaDc422,
                                                               tables.totalZerosChromaDc422, tables.runBefore)
                 : keliDecodeCAVLCChromaDcCoeffs_H264_1u32s(reader.word(), reader.offset(), total,
                                                            coefficients, tables.coeffTokenChromaDc,
                                                            tables.totalZerosChromaDc, tables.runBefore);
}

} // namespace

int CavlcReader::remainingIntraMode()
{
    return reader_.readFlag() ? -1 : reader_.readInt(3);
}

int CavlcReader::intraChromaMode()
{
    return readUeUpTo(reader_, 3);
}

int CavlcReader::refIdx(std::size_t, std::size_t, int most)
{
    return readTe(reader_, most);
}

Vector CavlcReader::mvd(std::size_t, const BlockArea&)
{
    const auto x = static_cast<int16_t>(readSe());
    const auto y = static_cast<int16_t>(readSe());
    return {x, y};
}

int CavlcReader::codedBlockPattern()
{
    const std::size_t column = current_->macroblock.kind == MbKind::inter ? 1 : 0;
    if (slice_.picture.target.planeCount > 1)
        return patternsWithChroma[column][readUeUpTo(reader_, 47)];
    return patternsWithoutChroma[column][readUeUpTo(reader_, 15)];
}

int CavlcReader::qpDelta()
{
    return readSe();
}

template <class Coefficient>
int CavlcReader::block(const ResidualBlock& block, Coefficient** coefficients)
{
    uint16_t total = 0;
    if (block.kind == BlockKind::chromaDc) {
        check(decodeChromaDc(coefficients, &total, reader_, tables_, slice_.picture.is422()));
        return total;
    }
    const int16_t maxNumCoeff = block.isWithoutDc() ? 15 : 16;
    check(decodeBlock(coefficients, &total, reader_, totalCoeffContext(block), maxNumCoeff,
                      tables_.coeffToken, tables_.totalZeros, tables_.runBefore, block.scan));
    return total;
}

// The coefficients of an 8x8 block are dealt to four 4x4 blocks in turn (7.3.5.3.2).
template <class Coefficient>
int CavlcReader::block8x8(const ResidualBlock& block, Coefficient** coefficients)
{
    static constexpr auto inOrder = [] {
        std::array<int32_t, 16> order{};
        std::iota(order.begin(), order.end(), 0);
        return order;
    }();
    Coefficient* const target = *coefficients;
    std::fill_n(target, 64, Coefficient{0});
    int sum = 0;
    for (int part = 0; part < 4; part++) {
        const ResidualBlock quarter{BlockKind::luma4x4, 0, block.x + part % 2, block.y + part / 2,
                                    inOrder.data()};
        std::array<Coefficient, 16> levels;
        Coefficient* next = levels.data();
        const int total = this->block(quarter, &next);
        current_->info.totalCoeff[quarter.indexOf(quarter.x, quarter.y)] = static_cast<uint8_t>(total);
        sum += total;
        for (std::size_t i = 0; total > 0 && i < 16; i++)
            target[block.scan[4 * i + static_cast<std::size_t>(part)]] = levels[i];
    }
    if (sum > 0)
        *coefficients += 64;
    return sum;
}

template int CavlcReader::block(const ResidualBlock&, int16_t**);
template int CavlcReader::block(const ResidualBlock&, int32_t**);
template int CavlcReader::block8x8(const ResidualBlock&, int16_t**);
template int CavlcReader::block8x8(const ResidualBlock&, int32_t**);

// 9.2.1: from the numbers of coefficients of the blocks to the left and above.
int CavlcReader::totalCoeffContext(const ResidualBlock& block) const
{
    const Neighbourhood& around = current_->around;
    const auto& own = current_->info.totalCoeff;
    const auto countIn = [&](const Neighbour& neighbour, int column, int row) {
        return int{slice_.picture.at(neighbour.address).totalCoeff[block.indexOf(column, row)]};
    };
    int left = -1;
    if (block.x > 0) {
        left = own[block.indexOf(block.x - 1, block.y)];
    } else {
        const int rowHeight = slice_.picture.blockRowHeight(block.component);
        if (const Neighbour neighbour = around.left(block.y * rowHeight); neighbour.isAvailable())
            left = countIn(neighbour, block.columns() - 1, neighbour.row / rowHeight);
    }
    int top = -1;
    if (block.y > 0)
        top = own[block.indexOf(block.x, block.y - 1)];
    else if (around.top().isAvailable())
        top = countIn(around.top(), block.x, slice_.picture.blockRows(block.component) - 1);
    if (left >= 0 && top >= 0)
        return (left + top + 1) >> 1;
    return std::max({left, top, 0});
}

BitReader& CavlcReader::startPcm()
{
    reader_.alignToByte();
    return reader_;
}

int CavlcReader::readUe()
{
    int16_t value = 0;
    if (keliDecodeExpGolombOne_H264_1u16s(reader_.word(), reader_.offset(), &value, 0) != StatusOk ||
        value < 0)
        throw DamagedUnit("an Exp-Golomb code is invalid");
    return value;
}

int CavlcReader::readSe()
{
    int16_t value = 0;
    if (keliDecodeExpGolombOne_H264_1u16s(reader_.word(), reader_.offset(), &value, 1) != StatusOk)
        throw DamagedUnit("an Exp-Golomb code is invalid");
    return value;
}

} // namespace kelvcpx::app::h264
