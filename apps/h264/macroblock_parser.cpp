#include "h264/macroblock_parser.h"

#include "h264/cavlc_tables.h"
#include "h264/scan.h"
#include "h264/syntax.h"

#include <kelvcpx/h264_residual.h>

#include <algorithm>
#include <numeric>

namespace kelvcpx::app::h264 {
namespace {

void check(Status status)
{
    if (status != StatusOk)
        throw DamagedUnit("a residual block has an invalid code");
}

// Shapes and lists of macroblock types 1 to 21 of B slices (table 7-14), by type: the lists of both
// partitions.
constexpr uint8_t both = fromList0 | fromList1;
constexpr uint8_t listsOfB[9][2] = {{fromList0, fromList0}, {fromList1, fromList1}, {fromList0, fromList1},
                                    {fromList1, fromList0}, {fromList0, both},      {fromList1, both},
                                    {both, fromList0},      {both, fromList1},      {both, both}};

struct SubType {
    Partitioning partitioning;
    uint8_t lists;
};

// Table 7-17.
constexpr SubType subTypesOfP[] = {{Partitioning::whole, fromList0},
                                   {Partitioning::twoRows, fromList0},
                                   {Partitioning::twoColumns, fromList0},
                                   {Partitioning::four, fromList0}};

// Table 7-18, behind B_Direct_8x8.
constexpr SubType subTypesOfB[] = {{Partitioning::whole, fromList0},      {Partitioning::whole, fromList1},
                                   {Partitioning::whole, both},           {Partitioning::twoRows, fromList0},
                                   {Partitioning::twoColumns, fromList0}, {Partitioning::twoRows, fromList1},
                                   {Partitioning::twoColumns, fromList1}, {Partitioning::twoRows, both},
                                   {Partitioning::twoColumns, both},      {Partitioning::four, fromList0},
                                   {Partitioning::four, fromList1},       {Partitioning::four, both}};

// coded_block_pattern by codeNum (table 9-4): intra, inter; with chroma and without.
constexpr uint8_t patternsWithChroma[2][48] = {
    {47, 31, 15, 0,  23, 27, 29, 30, 7, 11, 13, 14, 39, 43, 45, 46, 16, 3,  5,  10, 12, 19, 21, 26,
     28, 35, 37, 42, 44, 1,  2,  4,  8, 17, 18, 20, 24, 6,  9,  22, 25, 32, 33, 34, 36, 40, 38, 41},
    {0,  16, 1,  2,  4,  8,  32, 3,  5,  10, 12, 15, 47, 7,  11, 13, 14, 6,  9,  31, 35, 37, 42, 44,
     33, 34, 36, 40, 39, 43, 45, 46, 17, 18, 20, 24, 19, 21, 26, 28, 23, 27, 29, 30, 22, 25, 38, 41}};
constexpr uint8_t patternsWithoutChroma[2][16] = {{15, 0, 7, 11, 13, 14, 3, 5, 10, 12, 1, 2, 4, 8, 6, 9},
                                                  {0, 1, 2, 4, 8, 3, 5, 10, 12, 15, 7, 11, 13, 14, 6, 9}};

constexpr int firstIntraTypeOfP = 5;
constexpr int firstIntraTypeOfB = 23;
constexpr int pcmType = 25;

// 8x8 blocks of each partition.
constexpr std::array<std::array<int, 4>, 3> partitionOfBlock = {{{0, 0, 0, 0}, {0, 0, 1, 1}, {0, 1, 0, 1}}};

constexpr int partitionOf(Partitioning partitioning, std::size_t block)
{
    return partitioning == Partitioning::four
               ? static_cast<int>(block)
               : partitionOfBlock[static_cast<std::size_t>(partitioning)][block];
}

} // namespace

MacroblockParser::MacroblockParser(const SliceContext& slice, BitReader& reader)
    : slice_(slice), reader_(reader), qp_(slice.header.qp)
{}

void MacroblockParser::parse(int address, Macroblock& macroblock)
{
    neighbours_ = neighboursOf(slice_.picture, slice_.number, address);
    info_ = &slice_.picture.at(address);
    parseType(macroblock);
    info_->kind = macroblock.kind;
    if (macroblock.kind == MbKind::pcm) {
        parsePcm(macroblock);
        return;
    }
    if (macroblock.kind == MbKind::inter) {
        if (macroblock.partitioning == Partitioning::four && !macroblock.isDirect())
            parseSubTypes(macroblock);
        parseReferences(macroblock);
        parseVectors(macroblock);
    } else {
        if (macroblock.kind == MbKind::intra4x4 && slice_.set.transform8x8 && reader_.readFlag())
            macroblock.kind = MbKind::intra8x8;
        macroblock.transform8x8 = macroblock.kind == MbKind::intra8x8;
        info_->kind = macroblock.kind;
        parseIntraModes(macroblock);
    }
    parsePatternAndQp(macroblock);
    info_->transform8x8 = macroblock.transform8x8;
    info_->qp = static_cast<uint8_t>(macroblock.qp);
    parseResidual(macroblock);
    if (reader_.pastEnd())
        throw DamagedUnit("a slice is cut off");
}

void MacroblockParser::parseType(Macroblock& macroblock)
{
    const int type = readUe();
    const SliceType sliceType = slice_.header.type;
    const int firstIntra = sliceType == SliceType::i   ? 0
                           : sliceType == SliceType::p ? firstIntraTypeOfP
                                                       : firstIntraTypeOfB;
    if (type >= firstIntra) {
        parseIntraType(type - firstIntra, macroblock);
        return;
    }
    macroblock.kind = MbKind::inter;
    macroblock.lists.fill(fromList0);
    if (sliceType == SliceType::p) { // table 7-13: 16x16, 16x8, 8x16, 8x8, 8x8 with reference 0
        macroblock.partitioning = static_cast<Partitioning>(std::min(type, 3));
        macroblock.referenceZero = type == 4;
        return;
    }
    if (type == 0 || type == 22) {
        macroblock.partitioning = Partitioning::four;
        macroblock.direct.fill(type == 0);
        return;
    }
    if (type <= 3) {
        macroblock.partitioning = Partitioning::whole;
        macroblock.lists.fill(static_cast<uint8_t>(type));
        return;
    }
    macroblock.partitioning = type % 2 == 0 ? Partitioning::twoRows : Partitioning::twoColumns;
    for (std::size_t block = 0; block < 4; block++)
        macroblock.lists[block] = listsOfB[(type - 4) / 2][partitionOf(macroblock.partitioning, block)];
}

// Table 7-11.
void MacroblockParser::parseIntraType(int type, Macroblock& macroblock)
{
    if (type > pcmType)
        throw DamagedUnit("a macroblock type is out of range");
    if (type == pcmType) {
        macroblock.kind = MbKind::pcm;
    } else if (type == 0) {
        macroblock.kind = MbKind::intra4x4;
    } else {
        macroblock.kind = MbKind::intra16x16;
        macroblock.intra16x16Mode = static_cast<uint32_t>(type - 1) % 4;
        macroblock.codedBlockPattern = (type - 1) / 4 % 3 * 16 + (type > 12 ? 15 : 0);
    }
}

void MacroblockParser::parsePcm(Macroblock& macroblock)
{
    reader_.alignToByte();
    const std::size_t samples = slice_.picture.target.planeCount == 1 ? 256 : 384;
    if (reader_.bitsLeft() < 8 * samples)
        throw DamagedUnit("a slice is cut off");
    for (std::size_t i = 0; i < samples; i++)
        macroblock.coefficients[i] = static_cast<int16_t>(reader_.read(8));
    info_->intraModes.fill(intraDcMode);
    info_->totalCoeff.fill(16);
    info_->codedLuma = 0xFFFF;
    info_->transform8x8 = false;
    info_->qp = 0;
    macroblock.qp = qp_;
}

// 8.3.1.1, 8.3.2.1
void MacroblockParser::parseIntraModes(Macroblock& macroblock)
{
    info_->intraModes.fill(intraDcMode);
    if (macroblock.kind != MbKind::intra16x16) {
        const std::size_t size = macroblock.transform8x8 ? 2 : 1; // of a block, in 4x4 blocks
        for (std::size_t i = 0; i < 16 / (size * size); i++) {
            const std::size_t raster = rasterOfBlock[size * size * i];
            const std::size_t x = raster % 4;
            const std::size_t y = raster / 4;
            int mode = predictedIntraMode(x, y);
            if (!reader_.readFlag()) {
                const int remaining = reader_.readInt(3);
                mode = remaining + (remaining >= mode ? 1 : 0);
            }
            macroblock.intraModes[i] = static_cast<uint32_t>(mode);
            for (std::size_t dy = 0; dy < size; dy++)
                for (std::size_t dx = 0; dx < size; dx++)
                    info_->intraModes[4 * (y + dy) + x + dx] = static_cast<uint8_t>(mode);
        }
    }
    if (slice_.picture.target.planeCount > 1)
        macroblock.chromaMode = static_cast<uint32_t>(readUeUpTo(reader_, 3));
}

int MacroblockParser::predictedIntraMode(std::size_t x, std::size_t y) const
{
    // The mode of a block in a neighbouring macroblock; -1 if the prediction is DC because of it.
    const auto modeIn = [&](int address, std::size_t block) {
        if (address < 0)
            return -1;
        const MbInfo& neighbour = slice_.picture.at(address);
        if (neighbour.kind == MbKind::inter)
            return slice_.set.constrainedIntraPrediction ? -1 : static_cast<int>(intraDcMode);
        return static_cast<int>(neighbour.intraModes[block]);
    };
    const int left = x > 0 ? info_->intraModes[4 * y + x - 1] : modeIn(neighbours_.left, 4 * y + 3);
    const int top = y > 0 ? info_->intraModes[4 * (y - 1) + x] : modeIn(neighbours_.top, 12 + x);
    return left < 0 || top < 0 ? intraDcMode : std::min(left, top);
}

void MacroblockParser::parseSubTypes(Macroblock& macroblock)
{
    const bool isB = slice_.header.isB();
    for (std::size_t block = 0; block < 4; block++) {
        int type = readUe();
        if (isB && type == 0) {
            macroblock.direct[block] = true;
            continue;
        }
        if (isB)
            type--;
        if (type >= static_cast<int>(isB ? std::size(subTypesOfB) : std::size(subTypesOfP)))
            throw DamagedUnit("a sub-macroblock type is out of range");
        const SubType& subType = isB ? subTypesOfB[type] : subTypesOfP[type];
        macroblock.subPartitioning[block] = subType.partitioning;
        macroblock.lists[block] = subType.lists;
    }
}

void MacroblockParser::parseReferences(Macroblock& macroblock)
{
    for (std::size_t list = 0; list < 2; list++) {
        const int most = slice_.header.refCount[list] - 1;
        std::array<int8_t, 4>& indices = macroblock.refIdx[list];
        indices.fill(-1);
        // Partitions come in the order of their first 8x8 blocks, each of them once.
        std::array<int8_t, 4> ofPartition;
        ofPartition.fill(-2);
        for (std::size_t block = 0; block < 4; block++) {
            if (macroblock.direct[block] || (macroblock.lists[block] >> list & 1) == 0)
                continue;
            const auto partition = static_cast<std::size_t>(partitionOf(macroblock.partitioning, block));
            if (ofPartition[partition] == -2)
                ofPartition[partition] =
                    static_cast<int8_t>(macroblock.referenceZero || most == 0 ? 0 : readTe(reader_, most));
            indices[block] = ofPartition[partition];
        }
    }
}

void MacroblockParser::parseVectors(Macroblock& macroblock)
{
    for (std::size_t list = 0; list < 2; list++) {
        const auto read = [&](std::size_t block4x4) {
            const int x = readSe();
            const int y = readSe();
            macroblock.mvd[list][block4x4] = {static_cast<int16_t>(x), static_cast<int16_t>(y)};
        };
        for (std::size_t block = 0; block < 4; block++) {
            const bool first = block == 0 || partitionOf(macroblock.partitioning, block) >
                                                 partitionOf(macroblock.partitioning, block - 1);
            const bool startsPartition =
                macroblock.partitioning == Partitioning::twoColumns ? block < 2 : first;
            if (!startsPartition || macroblock.direct[block] || (macroblock.lists[block] >> list & 1) == 0)
                continue;
            const Partitioning sub = macroblock.subPartitioning[block];
            read(4 * block);
            if (sub == Partitioning::twoColumns || sub == Partitioning::four)
                read(4 * block + 1);
            if (sub == Partitioning::twoRows || sub == Partitioning::four)
                read(4 * block + 2);
            if (sub == Partitioning::four)
                read(4 * block + 3);
        }
    }
}

// Whether transform_size_8x8_flag follows the pattern of an inter macroblock.
bool MacroblockParser::allowsTransform8x8(const Macroblock& macroblock) const
{
    if (!slice_.set.transform8x8 || macroblock.kind != MbKind::inter ||
        (macroblock.codedBlockPattern & 15) == 0)
        return false;
    for (std::size_t block = 0; block < 4; block++) {
        if (macroblock.direct[block] ? !slice_.picture.sequence.direct8x8Inference
                                     : macroblock.subPartitioning[block] != Partitioning::whole)
            return false;
    }
    return true;
}

void MacroblockParser::parsePatternAndQp(Macroblock& macroblock)
{
    if (macroblock.kind != MbKind::intra16x16) {
        const std::size_t column = macroblock.kind == MbKind::inter ? 1 : 0;
        if (slice_.picture.target.planeCount > 1)
            macroblock.codedBlockPattern = patternsWithChroma[column][readUeUpTo(reader_, 47)];
        else
            macroblock.codedBlockPattern = patternsWithoutChroma[column][readUeUpTo(reader_, 15)];
        if (allowsTransform8x8(macroblock))
            macroblock.transform8x8 = reader_.readFlag();
    }
    if (macroblock.codedBlockPattern != 0 || macroblock.kind == MbKind::intra16x16)
        qp_ = (qp_ + readSeWithin(reader_, -26, 25) + 52) % 52;
    macroblock.qp = qp_;
    macroblock.lossless = slice_.picture.sequence.losslessAtZero && qp_ == 0;
}

int MacroblockParser::parseBlock(int16_t** coefficients, int nC, int16_t maxNumCoeff, const int32_t* scan)
{
    const CavlcTables& tables = cavlcTables();
    uint16_t total = 0;
    check(keliDecodeCAVLCCoeffs_H264_1u16s(reader_.word(), reader_.offset(), &total, coefficients, nC,
                                           maxNumCoeff, tables.coeffToken, tables.totalZeros,
                                           tables.runBefore, scan));
    return total;
}

// 9.2.1: from the numbers of coefficients of the blocks to the left and above.
int MacroblockParser::totalCoeffContext(std::size_t component, int width, int x, int y) const
{
    const std::size_t first = component == 0 ? 0 : 12 + 4 * component;
    const auto count = [&](int address, int column, int row) {
        return address < 0 ? -1
                           : static_cast<int>(
                                 slice_.picture.at(address)
                                     .totalCoeff[first + static_cast<std::size_t>(row * width + column)]);
    };
    const auto own = [&](int column, int row) {
        return static_cast<int>(info_->totalCoeff[first + static_cast<std::size_t>(row * width + column)]);
    };
    const int left = x > 0 ? own(x - 1, y) : count(neighbours_.left, width - 1, y);
    const int top = y > 0 ? own(x, y - 1) : count(neighbours_.top, x, width - 1);
    if (left >= 0 && top >= 0)
        return (left + top + 1) >> 1;
    return std::max({left, top, 0});
}

void MacroblockParser::parseResidual(Macroblock& macroblock)
{
    info_->totalCoeff.fill(0);
    info_->codedLuma = 0;
    macroblock.codedBlocks = 0;
    int16_t* next = macroblock.coefficients.data();
    if (macroblock.kind == MbKind::intra16x16) {
        const Scan scan = slice_.picture.isField() ? Scan::field : Scan::frame;
        if (parseBlock(&next, totalCoeffContext(0, 4, 0, 0), 16, scan4x4(scan).data()) > 0)
            macroblock.codedBlocks |= 1;
    }
    if (macroblock.transform8x8)
        parseLuma8x8(macroblock, &next, macroblock.codedBlocks);
    else
        parseLuma4x4(macroblock, &next, macroblock.codedBlocks);
    if (slice_.picture.target.planeCount > 1)
        parseChroma(macroblock, &next, macroblock.codedBlocks);
}

void MacroblockParser::parseLuma4x4(const Macroblock& macroblock, int16_t** coefficients,
                                    uint32_t& codedBlocks)
{
    const int32_t* const scan = scan4x4(slice_.picture.isField() ? Scan::field : Scan::frame).data();
    const int16_t maxNumCoeff = macroblock.kind == MbKind::intra16x16 ? 15 : 16;
    for (std::size_t block = 0; block < 16; block++) {
        if ((macroblock.codedBlockPattern >> (block / 4) & 1) == 0)
            continue;
        const std::size_t raster = rasterOfBlock[block];
        const int nC = totalCoeffContext(0, 4, static_cast<int>(raster % 4), static_cast<int>(raster / 4));
        const int total = parseBlock(coefficients, nC, maxNumCoeff, scan);
        info_->totalCoeff[raster] = static_cast<uint8_t>(total);
        if (total > 0) {
            codedBlocks |= 2u << block;
            info_->codedLuma = static_cast<uint16_t>(info_->codedLuma | 1u << raster);
        }
    }
}

// The coefficients of an 8x8 block are dealt to four 4x4 blocks in turn (7.3.5.3.2).
void MacroblockParser::parseLuma8x8(const Macroblock& macroblock, int16_t** coefficients,
                                    uint32_t& codedBlocks)
{
    static constexpr auto inOrder = [] {
        std::array<int32_t, 16> order{};
        std::iota(order.begin(), order.end(), 0);
        return order;
    }();
    const auto& scan = scan8x8(slice_.picture.isField() ? Scan::field : Scan::frame);
    for (std::size_t block = 0; block < 4; block++) {
        if ((macroblock.codedBlockPattern >> block & 1) == 0)
            continue;
        int16_t* const target = *coefficients;
        std::fill_n(target, 64, int16_t{0});
        bool coded = false;
        uint32_t covered = 0;
        for (std::size_t part = 0; part < 4; part++) {
            const std::size_t raster = rasterOfBlock[4 * block + part];
            const int nC =
                totalCoeffContext(0, 4, static_cast<int>(raster % 4), static_cast<int>(raster / 4));
            std::array<int16_t, 16> levels;
            int16_t* next = levels.data();
            const int total = parseBlock(&next, nC, 16, inOrder.data());
            info_->totalCoeff[raster] = static_cast<uint8_t>(total);
            covered |= 1u << raster;
            coded = coded || total > 0;
            for (std::size_t i = 0; total > 0 && i < 16; i++)
                target[scan[4 * i + part]] = levels[i];
        }
        if (coded) {
            *coefficients += 64;
            codedBlocks |= 1u << block;
            info_->codedLuma = static_cast<uint16_t>(info_->codedLuma | covered);
        }
    }
}

void MacroblockParser::parseChroma(const Macroblock& macroblock, int16_t** coefficients,
                                   uint32_t& codedBlocks)
{
    const int pattern = macroblock.codedBlockPattern >> 4;
    const CavlcTables& tables = cavlcTables();
    for (std::size_t component = 0; pattern != 0 && component < 2; component++) {
        uint16_t total = 0;
        check(keliDecodeCAVLCChromaDcCoeffs_H264_1u16s(reader_.word(), reader_.offset(), &total, coefficients,
                                                       tables.coeffTokenChromaDc, tables.totalZerosChromaDc,
                                                       tables.runBefore));
        if (total > 0)
            codedBlocks |= 1u << (17 + component);
    }
    if (pattern != 2)
        return;
    const int32_t* const scan = scan4x4(slice_.picture.isField() ? Scan::field : Scan::frame).data();
    for (std::size_t component = 0; component < 2; component++) {
        for (std::size_t block = 0; block < 4; block++) {
            const int nC =
                totalCoeffContext(component + 1, 2, static_cast<int>(block % 2), static_cast<int>(block / 2));
            const int total = parseBlock(coefficients, nC, 15, scan);
            info_->totalCoeff[16 + 4 * component + block] = static_cast<uint8_t>(total);
            if (total > 0)
                codedBlocks |= 1u << (19 + 4 * component + block);
        }
    }
}

int MacroblockParser::readUe()
{
    int16_t value = 0;
    if (keliDecodeExpGolombOne_H264_1u16s(reader_.word(), reader_.offset(), &value, 0) != StatusOk ||
        value < 0)
        throw DamagedUnit("an Exp-Golomb code is invalid");
    return value;
}

int MacroblockParser::readSe()
{
    int16_t value = 0;
    if (keliDecodeExpGolombOne_H264_1u16s(reader_.word(), reader_.offset(), &value, 1) != StatusOk)
        throw DamagedUnit("an Exp-Golomb code is invalid");
    return value;
}

} // namespace kelvcpx::app::h264
