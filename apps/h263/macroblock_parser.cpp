#include "h263/macroblock_parser.h"

#include "common/median.h"
#include "h263/code_tables.h"

#include <kelvcpx/h263.h>

#include <algorithm>

namespace kelvcpx::app::h263 {
namespace {

// Macroblock types (table 9).
constexpr int32_t typeInterQuant = 1;
constexpr int32_t typeInterFour = 2;
constexpr int32_t typeIntra = 3;
constexpr int32_t typeIntraQuant = 4;
constexpr int32_t typeInterFourQuant = 5;

// The reversible code of vector differences (table D.3).
int readReversible(CodeReader& reader)
{
    if (reader.readFlag())
        return 0;
    constexpr int longest = 1 << 13;
    int code = 2 + reader.readInt(1);
    while (reader.readFlag()) {
        code = 2 * code + reader.readInt(1);
        if (code >= longest)
            throw DamagedUnit("a vector difference is too large");
    }
    const int magnitude = code >> 1;
    return (code & 1) != 0 ? -magnitude : magnitude;
}

} // namespace

MacroblockParser::MacroblockParser(PictureContext& context) : context_(context), quant_(context.header.quant)
{
    if (context_.header.advancedIntra)
        intraPredictor_.start(context_.wide(), context_.high());
    startSegment(quant_);
}

void MacroblockParser::startSegment(int quant)
{
    segment_++;
    quant_ = quant;
}

void MacroblockParser::parse(CodeReader& reader, std::size_t address)
{
    const int column = static_cast<int>(address) % context_.wide();
    const int row = static_cast<int>(address) / context_.wide();
    Macroblock& macroblock = context_.macroblocks[address];
    macroblock = {};
    macroblock.segment = segment_;
    macroblock.quant = quant_;
    macroblock.firstBlock = context_.blocks.size();

    const bool intraPicture = context_.header.type == PictureType::intra;
    const PrefixTable& table = intraPicture ? codeTables().mcbpcIntra : codeTables().mcbpcInter;
    int32_t mcbpc;
    do {
        if (!intraPicture && reader.readFlag()) { // COD
            macroblock.present = true;
            return;
        }
        mcbpc = reader.decode(table);
    } while (mcbpc == macroblockStuffing);
    readCoded(reader, macroblock, mcbpc, column, row);
    if (reader.pastEnd())
        throw DamagedUnit("a macroblock is cut off");
    macroblock.present = true;
}

void MacroblockParser::readCoded(CodeReader& reader, Macroblock& macroblock, int32_t mcbpc, int column,
                                 int row)
{
    const PictureHeader& header = context_.header;
    const int32_t type = mcbpc >> 2;
    macroblock.coded = true;
    macroblock.intra = type == typeIntra || type == typeIntraQuant;
    macroblock.fourVectors = type == typeInterFour || type == typeInterFourQuant;
    IntraMode mode = IntraMode::dcOnly;
    if (header.advancedIntra && macroblock.intra && reader.readFlag())
        mode = reader.readFlag() ? IntraMode::horizontal : IntraMode::vertical;
    const int32_t modb = header.pbFrames ? reader.decode(codeTables().modb) : 0;
    if ((modb & 2) != 0)
        macroblock.bPattern = reader.read(6);
    const auto luma = static_cast<uint32_t>(reader.decode(codeTables().cbpy)) ^ (macroblock.intra ? 0u : 15u);
    macroblock.pattern = luma << 2 | static_cast<uint32_t>(mcbpc & 3);
    if (type == typeInterQuant || type == typeIntraQuant || type == typeInterFourQuant)
        readQuantChange(reader);
    macroblock.quant = quant_;
    if (!macroblock.intra || header.pbFrames)
        readVectors(reader, macroblock, column, row);
    if ((modb & 1) != 0) {
        macroblock.bDelta.x = reader.decode(codeTables().mvd);
        macroblock.bDelta.y = reader.decode(codeTables().mvd);
    }
    readBlocks(reader, macroblock, mode, column, row);
}

// DQUANT (5.3.6, T.2).
void MacroblockParser::readQuantChange(CodeReader& reader)
{
    if (!context_.header.modifiedQuantisation) {
        constexpr std::array<int, 4> changes = {-1, -2, 1, 2};
        quant_ = std::clamp(quant_ + changes[reader.read(2)], 1, 31);
    } else if (reader.readFlag()) {
        quant_ = changedQuant[static_cast<std::size_t>(quant_) - 1][reader.read(1)];
    } else {
        quant_ = reader.readInt(5);
        if (quant_ == 0) {
            quant_ = 1;
            throw DamagedUnit("a quantiser is 0");
        }
    }
}

void MacroblockParser::readVectors(CodeReader& reader, Macroblock& macroblock, int column, int row) const
{
    if (!macroblock.fourVectors) {
        macroblock.vectors.fill(readVector(reader, predictVector(macroblock, 0, column, row)));
        return;
    }
    for (int block = 0; block < 4; block++)
        macroblock.vectors[static_cast<std::size_t>(block)] =
            readVector(reader, predictVector(macroblock, block, column, row));
}

Vector MacroblockParser::readVector(CodeReader& reader, Vector predictor) const
{
    Vector vector;
    vector.x = readComponent(reader, predictor.x);
    vector.y = readComponent(reader, predictor.y);
    // Two codes 000 in a row would look like a start code (D.2).
    const bool reversible = context_.header.plusType && context_.header.unrestrictedVectors;
    if (reversible && vector == Vector{predictor.x + 1, predictor.y + 1})
        reader.skip(1);
    return vector;
}

// 6.1.1, D.2.
int MacroblockParser::readComponent(CodeReader& reader, int predictor) const
{
    const PictureHeader& header = context_.header;
    if (header.plusType && header.unrestrictedVectors) {
        constexpr int furthest = 1 << 14; // beyond any picture
        return std::clamp(predictor + readReversible(reader), -furthest, furthest);
    }
    const int vector = predictor + reader.decode(codeTables().mvd);
    if (!header.unrestrictedVectors)
        return ((vector + 32) & 63) - 32;
    // The longer range reaches to 31.5 samples; from a predictor beyond 16 in the direction of the predictor
    // only.
    if (predictor < -31 && vector < -63)
        return vector + 64;
    if (predictor > 32 && vector > 63)
        return vector - 64;
    return vector;
}

// 6.1.1, F.2: the median of the vectors on the left, above, and above on the right.
Vector MacroblockParser::predictVector(const Macroblock& macroblock, int block, int column, int row) const
{
    const auto& own = macroblock.vectors;
    Vector left, above, aboveRight;
    if (block >= 2) {
        left = block == 2 ? neighbour(column - 1, row, 3, {}) : own[2];
        above = own[0];
        aboveRight = own[1];
    } else {
        left = block == 0 ? neighbour(column - 1, row, 1, {}) : own[0];
        above = neighbour(column, row - 1, block == 0 ? 2 : 3, left);
        const bool atRightEdge = column + 1 == context_.wide();
        aboveRight = !atRightEdge                         ? neighbour(column + 1, row - 1, 2, left)
                     : usable(column, row - 1) == nullptr ? left
                                                          : Vector{};
    }
    return {median(left.x, above.x, aboveRight.x), median(left.y, above.y, aboveRight.y)};
}

// A macroblock of the same segment, or null.
const Macroblock* MacroblockParser::usable(int column, int row) const
{
    const Macroblock* const other = context_.at(column, row);
    return other != nullptr && other->segment == segment_ ? other : nullptr;
}

Vector MacroblockParser::neighbour(int column, int row, std::size_t block, Vector otherwise) const
{
    const Macroblock* const other = usable(column, row);
    return other != nullptr ? other->vectors[block] : otherwise;
}

// Chrominance has a quantiser of its own in modified quantisation (T.3).
int MacroblockParser::quantOf(const Macroblock& macroblock, int block) const
{
    const bool chroma = block >= 4 && context_.header.modifiedQuantisation;
    return chroma ? chromaQuant[static_cast<std::size_t>(macroblock.quant)] : macroblock.quant;
}

void MacroblockParser::readBlocks(CodeReader& reader, Macroblock& macroblock, IntraMode mode, int column,
                                  int row)
{
    for (int i = 0; i < 6; i++) {
        if (macroblock.intra)
            readIntraBlock(reader, macroblock, i, mode, column, row);
        else if (macroblock.hasBlock(i))
            readInterBlock(reader, quantOf(macroblock, i));
    }
    if (macroblock.intra)
        macroblock.pattern = 63; // all of them have a DC
    const int bQuant = std::clamp((5 + context_.header.bQuant) * macroblock.quant / 4, 1, 31); // 5.1.23
    for (int i = 0; i < 6; i++)
        if (macroblock.hasBBlock(i))
            readInterBlock(reader, bQuant);
}

void MacroblockParser::readIntraBlock(CodeReader& reader, const Macroblock& macroblock, int number,
                                      IntraMode mode, int column, int row)
{
    const PictureHeader& header = context_.header;
    CodedBlock& block = context_.blocks.emplace_back();
    const bool hasCodes = macroblock.hasBlock(number);
    block.last = -1;
    if (hasCodes || !header.advancedIntra)
        checkBlock(keliReconstructCoeffsIntra_H263_1u16s(
            reader.byte(), reader.offset(), block.coefficients.data(), &block.last, hasCodes,
            quantOf(macroblock, number), header.advancedIntra, scanOf(mode), header.modifiedQuantisation));
    if (!header.advancedIntra)
        return;
    if (!hasCodes)
        block.coefficients.fill(0);
    intraPredictor_.predict(block, number, column, row, segment_, mode);
}

void MacroblockParser::readInterBlock(CodeReader& reader, int quant)
{
    CodedBlock& block = context_.blocks.emplace_back();
    checkBlock(keliReconstructCoeffsInter_H263_1u16s(reader.byte(), reader.offset(),
                                                     block.coefficients.data(), &block.last, quant,
                                                     context_.header.modifiedQuantisation));
}

} // namespace kelvcpx::app::h263
