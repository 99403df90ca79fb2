#include "h264/macroblock_parser.h"

#include "h264/scan.h"

#include <algorithm>
#include <array>

namespace kelvcpx::app::h264 {
namespace {

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

// 8x8 blocks of each partition.
constexpr std::array<std::array<int, 4>, 3> partitionOfBlock = {{{0, 0, 0, 0}, {0, 0, 1, 1}, {0, 1, 0, 1}}};

constexpr int partitionOf(Partitioning partitioning, std::size_t block)
{
    return partitioning == Partitioning::four
               ? static_cast<int>(block)
               : partitionOfBlock[static_cast<std::size_t>(partitioning)][block];
}

// Calls visit(8x8 block, area) for every partition and sub-macroblock partition that has vectors.
template <class Visitor>
void forEachPartition(const Macroblock& macroblock, Visitor visit)
{
    const bool isFour = macroblock.partitioning == Partitioning::four;
    for (std::size_t block = 0; block < 4; block++) {
        const int x = static_cast<int>(block % 2) * 2;
        const int y = static_cast<int>(block / 2) * 2;
        const bool rows = macroblock.partitioning == Partitioning::twoRows;
        const bool columns = macroblock.partitioning == Partitioning::twoColumns;
        if (macroblock.direct[block] || (!isFour && ((x > 0 && !columns) || (y > 0 && !rows))))
            continue;
        if (!isFour) {
            visit(block, BlockArea{x, y, columns ? 2 : 4, rows ? 2 : 4});
            continue;
        }
        const Partitioning sub = macroblock.subPartitioning[block];
        const int width = sub == Partitioning::twoColumns || sub == Partitioning::four ? 1 : 2;
        const int height = sub == Partitioning::twoRows || sub == Partitioning::four ? 1 : 2;
        for (int dy = 0; dy < 2; dy += height)
            for (int dx = 0; dx < 2; dx += width)
                visit(block, BlockArea{x + dx, y + dy, width, height});
    }
}

// Raster index by position in the scan of the chroma DCs: 2x2 in 4:2:0, 2 wide and 4 high in 4:2:2
// (8.5.11.1).
constexpr std::array<int32_t, 4> chromaDcScan420 = {0, 1, 2, 3};
constexpr std::array<int32_t, 8> chromaDcScan422 = {0, 2, 1, 4, 6, 3, 5, 7};

} // namespace

template <class Reader>
MacroblockParser<Reader>::MacroblockParser(const SliceContext& slice, BitReader& reader)
    : slice_(slice), reader_(slice, reader), qp_(slice.header.qp),
      qpRange_(6 * (slice.picture.sequence.bitDepthLuma - 8))
{}

template <class Reader>
void MacroblockParser<Reader>::startMacroblock()
{
    current_->macroblock.field = current_->place.isField();
    info_->skipped = false;
    info_->isDirect = false;
    info_->directBlocks = 0;
    info_->chromaMode = 0;
    info_->codedDcs = 0;
    info_->codedLuma = 0;
    info_->totalCoeff.fill(0);
    info_->intraModes.fill(intraDcMode);
    if (!slice_.picture.mvds.empty())
        slice_.picture.mvds[static_cast<std::size_t>(current_->address)] = {};
}

template <class Reader>
void MacroblockParser<Reader>::parse(const CurrentMacroblock& current)
{
    Macroblock& macroblock = current.macroblock;
    current_ = &current;
    info_ = &current.info;
    reader_.startMacroblock(current);
    startMacroblock();
    parseType(macroblock);
    info_->kind = macroblock.kind;
    if (macroblock.kind == MbKind::pcm) {
        parsePcm(macroblock);
        return;
    }
    if (macroblock.kind == MbKind::inter)
        parseInter(macroblock);
    else
        parseIntra(macroblock);
    parsePatternAndQp(macroblock);
    info_->transform8x8 = macroblock.transform8x8;
    info_->codedBlockPattern = static_cast<uint8_t>(macroblock.codedBlockPattern);
    info_->qp = static_cast<int8_t>(qp_);
    if (slice_.picture.sequence.bitDepthLuma > 8)
        parseResidual<int32_t>(macroblock);
    else
        parseResidual<int16_t>(macroblock);
    if (reader_.isPastEnd())
        throw DamagedUnit("a slice is cut off");
}

template <class Reader>
void MacroblockParser<Reader>::skip(const CurrentMacroblock& current)
{
    const bool isB = slice_.header.isB();
    MbInfo& info = current.info;
    info.kind = MbKind::inter;
    info.skipped = true;
    info.isDirect = isB;
    info.directBlocks = isB ? 15 : 0;
    info.transform8x8 = false;
    info.chromaMode = 0;
    info.codedBlockPattern = 0;
    info.codedDcs = 0;
    info.qp = static_cast<int8_t>(qp_);
    info.codedLuma = 0;
    info.intraModes.fill(intraDcMode);
    info.totalCoeff.fill(0);
    if (!slice_.picture.mvds.empty())
        slice_.picture.mvds[static_cast<std::size_t>(current.address)] = {};
    reader_.noteNoQpDelta();
}

template <class Reader>
void MacroblockParser<Reader>::parseType(Macroblock& macroblock)
{
    const int type = reader_.mbType();
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
        info_->isDirect = type == 0;
        info_->directBlocks = type == 0 ? 15 : 0;
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
template <class Reader>
void MacroblockParser<Reader>::parseIntraType(int type, Macroblock& macroblock)
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

template <class Reader>
void MacroblockParser<Reader>::parsePcm(Macroblock& macroblock)
{
    const SequenceParameterSet& sequence = slice_.picture.sequence;
    const std::size_t chroma = slice_.picture.target.planeCount == 1
                                   ? 0
                                   : 2 * 16 * static_cast<std::size_t>(slice_.picture.chromaBlocks());
    const auto depthOf = [&](std::size_t i) {
        return i < 256 ? sequence.bitDepthLuma : sequence.bitDepthChroma;
    };
    BitReader& samples = reader_.startPcm();
    if (samples.bitsLeft() <
        256 * static_cast<std::size_t>(depthOf(0)) + chroma * static_cast<std::size_t>(depthOf(256)))
        throw DamagedUnit("a slice is cut off");
    for (std::size_t i = 0; i < 256 + chroma; i++) {
        if (sequence.bitDepthLuma > 8)
            macroblock.wideCoefficients[i] = samples.readInt(depthOf(i));
        else
            macroblock.coefficients[i] = static_cast<int16_t>(samples.read(8));
    }
    reader_.endPcm();
    reader_.noteNoQpDelta();
    info_->totalCoeff.fill(16);
    info_->codedLuma = 0xFFFF;
    info_->codedDcs = 7;
    info_->codedBlockPattern = 47;
    info_->transform8x8 = false;
    info_->qp = 0; // to the deblocking filter
    macroblock.qp = 0;
}

template <class Reader>
void MacroblockParser<Reader>::parseIntra(Macroblock& macroblock)
{
    if (macroblock.kind == MbKind::intra4x4 && slice_.set.transform8x8 && reader_.transform8x8Flag())
        macroblock.kind = MbKind::intra8x8;
    macroblock.transform8x8 = macroblock.kind == MbKind::intra8x8;
    info_->kind = macroblock.kind;
    parseIntraModes(macroblock);
}

template <class Reader>
void MacroblockParser<Reader>::parseInter(Macroblock& macroblock)
{
    if (macroblock.partitioning == Partitioning::four && !macroblock.isDirect())
        parseSubTypes(macroblock);
    parseReferences(macroblock);
    parseVectors(macroblock);
}

// 8.3.1.1, 8.3.2.1
template <class Reader>
void MacroblockParser<Reader>::parseIntraModes(Macroblock& macroblock)
{
    if (macroblock.kind != MbKind::intra16x16) {
        const std::size_t size = macroblock.transform8x8 ? 2 : 1; // of a block, in 4x4 blocks
        for (std::size_t i = 0; i < 16 / (size * size); i++) {
            const std::size_t raster = rasterOfBlock[size * size * i];
            const std::size_t x = raster % 4;
            const std::size_t y = raster / 4;
            int mode = predictedIntraMode(x, y);
            if (const int remaining = reader_.remainingIntraMode(); remaining >= 0)
                mode = remaining + (remaining >= mode ? 1 : 0);
            macroblock.intraModes[i] = static_cast<uint32_t>(mode);
            for (std::size_t dy = 0; dy < size; dy++)
                for (std::size_t dx = 0; dx < size; dx++)
                    info_->intraModes[4 * (y + dy) + x + dx] = static_cast<uint8_t>(mode);
        }
    }
    if (slice_.picture.target.planeCount > 1)
        macroblock.chromaMode = static_cast<uint32_t>(reader_.intraChromaMode());
    info_->chromaMode = static_cast<uint8_t>(macroblock.chromaMode);
}

template <class Reader>
int MacroblockParser<Reader>::predictedIntraMode(std::size_t x, std::size_t y) const
{
    // The mode of a block in a neighbouring macroblock; -1 if the prediction is DC because of it.
    const auto modeIn = [&](const Neighbour& neighbour, std::size_t column) {
        if (!neighbour.isAvailable())
            return -1;
        const MbInfo& info = slice_.picture.at(neighbour.address);
        if (info.kind == MbKind::inter)
            return slice_.set.constrainedIntraPrediction ? -1 : static_cast<int>(intraDcMode);
        return static_cast<int>(info.intraModes[static_cast<std::size_t>(neighbour.row) / 4 * 4 + column]);
    };
    const int left =
        x > 0 ? info_->intraModes[4 * y + x - 1] : modeIn(current_->around.left(static_cast<int>(4 * y)), 3);
    const int top = y > 0 ? info_->intraModes[4 * (y - 1) + x] : modeIn(current_->around.top(), x);
    return left < 0 || top < 0 ? intraDcMode : std::min(left, top);
}

template <class Reader>
void MacroblockParser<Reader>::parseSubTypes(Macroblock& macroblock)
{
    const bool isB = slice_.header.isB();
    for (std::size_t block = 0; block < 4; block++) {
        int type = reader_.subMbType();
        if (isB && type == 0) {
            macroblock.direct[block] = true;
            info_->directBlocks = static_cast<uint8_t>(info_->directBlocks | 1 << block);
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

template <class Reader>
void MacroblockParser<Reader>::parseReferences(Macroblock& macroblock)
{
    for (std::size_t list = 0; list < 2; list++) {
        const int most = slice_.header.refCount[list] * (info_->field ? 2 : 1) - 1;
        std::array<int8_t, 4>& indices = macroblock.refIdx[list];
        indices.fill(-1);
        // Partitions come in the order of their first 8x8 blocks, each of them once.
        for (std::size_t block = 0; block < 4; block++) {
            if (indices[block] >= 0 || macroblock.direct[block] || (macroblock.lists[block] >> list & 1) == 0)
                continue;
            const int refIdx = macroblock.referenceZero || most == 0 ? 0 : reader_.refIdx(list, block, most);
            for (std::size_t other = block; other < 4; other++)
                if (partitionOf(macroblock.partitioning, other) ==
                    partitionOf(macroblock.partitioning, block))
                    indices[other] = static_cast<int8_t>(refIdx);
        }
    }
}

template <class Reader>
void MacroblockParser<Reader>::parseVectors(Macroblock& macroblock)
{
    for (std::size_t list = 0; list < 2; list++) {
        forEachPartition(macroblock, [&](std::size_t block, const BlockArea& area) {
            if ((macroblock.lists[block] >> list & 1) == 0)
                return;
            const std::size_t first = rasterOfBlock[static_cast<std::size_t>(4 * area.y + area.x)];
            macroblock.mvd[list][first] = reader_.mvd(list, area);
        });
    }
}

// Whether transform_size_8x8_flag follows the pattern of an inter macroblock.
template <class Reader>
bool MacroblockParser<Reader>::allowsTransform8x8(const Macroblock& macroblock) const
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

template <class Reader>
void MacroblockParser<Reader>::parsePatternAndQp(Macroblock& macroblock)
{
    if (macroblock.kind != MbKind::intra16x16) {
        macroblock.codedBlockPattern = reader_.codedBlockPattern();
        if (allowsTransform8x8(macroblock))
            macroblock.transform8x8 = reader_.transform8x8Flag();
    }
    if (macroblock.codedBlockPattern != 0 || macroblock.kind == MbKind::intra16x16) {
        const int delta = reader_.qpDelta();
        if (delta < -26 - qpRange_ / 2 || delta > 25 + qpRange_ / 2)
            throw DamagedUnit("a quantiser changes too much");
        const int count = 52 + qpRange_;
        qp_ = (qp_ + delta + count + qpRange_) % count - qpRange_;
    } else {
        reader_.noteNoQpDelta();
    }
    macroblock.qp = qp_ + qpRange_;
    macroblock.lossless = slice_.picture.sequence.losslessAtZero && macroblock.qp == 0;
}

template <class Reader>
template <class Coefficient>
void MacroblockParser<Reader>::parseResidual(Macroblock& macroblock)
{
    macroblock.codedBlocks = 0;
    Coefficient* next = macroblock.packed<Coefficient>();
    const int32_t* const scan = scan4x4(macroblock.field ? Scan::field : Scan::frame).data();
    if (macroblock.kind == MbKind::intra16x16 &&
        reader_.block(ResidualBlock{BlockKind::lumaDc, 0, 0, 0, scan}, &next) > 0) {
        macroblock.codedBlocks |= 1;
        info_->codedDcs = 1;
    }
    parseLuma(macroblock, &next);
    if (slice_.picture.target.planeCount > 1)
        parseChroma(macroblock, &next);
}

template <class Reader>
template <class Coefficient>
void MacroblockParser<Reader>::parseLuma(Macroblock& macroblock, Coefficient** coefficients)
{
    const Scan mode = macroblock.field ? Scan::field : Scan::frame;
    const int32_t* const scan = scan4x4(mode).data();
    const BlockKind kind = macroblock.kind == MbKind::intra16x16 ? BlockKind::lumaAc : BlockKind::luma4x4;
    for (std::size_t block8x8 = 0; block8x8 < 4; block8x8++) {
        if ((macroblock.codedBlockPattern >> block8x8 & 1) == 0)
            continue;
        const int x = static_cast<int>(block8x8 % 2) * 2;
        const int y = static_cast<int>(block8x8 / 2) * 2;
        if (macroblock.transform8x8) {
            const ResidualBlock block{BlockKind::luma8x8, 0, x, y, scan8x8(mode).data()};
            if (reader_.block8x8(block, coefficients) > 0) {
                macroblock.codedBlocks |= uint64_t{1} << block8x8;
                info_->codedLuma = static_cast<uint16_t>(info_->codedLuma | 0x33 << (4 * y + x));
            }
            continue;
        }
        for (int i = 0; i < 4; i++) {
            const ResidualBlock block{kind, 0, x + i % 2, y + i / 2, scan};
            const int total = reader_.block(block, coefficients);
            const std::size_t raster = block.indexOf(block.x, block.y);
            info_->totalCoeff[raster] = static_cast<uint8_t>(total);
            if (total > 0) {
                macroblock.codedBlocks |= uint64_t{2} << (4 * block8x8 + static_cast<std::size_t>(i));
                info_->codedLuma = static_cast<uint16_t>(info_->codedLuma | 1u << raster);
            }
        }
    }
}

template <class Reader>
template <class Coefficient>
void MacroblockParser<Reader>::parseChroma(Macroblock& macroblock, Coefficient** coefficients)
{
    const int pattern = macroblock.codedBlockPattern >> 4;
    const auto blocks = static_cast<std::size_t>(slice_.picture.chromaBlocks());
    const int32_t* const dcScan = slice_.picture.is422() ? chromaDcScan422.data() : chromaDcScan420.data();
    for (std::size_t component = 0; pattern != 0 && component < 2; component++) {
        if (reader_.block(ResidualBlock{BlockKind::chromaDc, component + 1, 0, 0, dcScan}, coefficients) >
            0) {
            macroblock.codedBlocks |= uint64_t{1} << (17 + component);
            info_->codedDcs = static_cast<uint8_t>(info_->codedDcs | 2 << component);
        }
    }
    if (pattern != 2)
        return;
    const int32_t* const scan = scan4x4(macroblock.field ? Scan::field : Scan::frame).data();
    for (std::size_t component = 0; component < 2; component++) {
        for (std::size_t i = 0; i < blocks; i++) {
            const ResidualBlock block{BlockKind::chromaAc, component + 1, static_cast<int>(i % 2),
                                      static_cast<int>(i / 2), scan};
            const int total = reader_.block(block, coefficients);
            info_->totalCoeff[block.indexOf(block.x, block.y)] = static_cast<uint8_t>(total);
            if (total > 0)
                macroblock.codedBlocks |= uint64_t{1} << (19 + blocks * component + i);
        }
    }
}

template class MacroblockParser<CavlcReader>;
template class MacroblockParser<CabacReader>;

} // namespace kelvcpx::app::h264
