#include "h264/cabac_reader.h"

#include <algorithm>
#include <array>
#include <cstdlib>

namespace kelvcpx::app::h264 {
namespace {

// ctxIdxOffset of syntax elements (table 9-34).
constexpr std::size_t mbTypeOfI = 3;
constexpr std::size_t mbSkipFlagOfP = 11;
constexpr std::size_t mbTypePrefixOfP = 14;
constexpr std::size_t mbTypeSuffixOfP = 17;
constexpr std::size_t subMbTypeOfP = 21;
constexpr std::size_t mbSkipFlagOfB = 24;
constexpr std::size_t mbTypePrefixOfB = 27;
constexpr std::size_t mbTypeSuffixOfB = 32;
constexpr std::size_t subMbTypeOfB = 36;
constexpr std::array<std::size_t, 2> mvdOffset = {40, 47};
constexpr std::size_t refIdxOffset = 54;
constexpr std::size_t mbQpDelta = 60;
constexpr std::size_t intraChromaPredMode = 64;
constexpr std::size_t prevIntraPredModeFlag = 68;
constexpr std::size_t remIntraPredMode = 69;
constexpr std::size_t mbFieldDecodingFlag = 70;
constexpr std::size_t codedBlockPatternLuma = 73;
constexpr std::size_t codedBlockPatternChroma = 77;
constexpr std::size_t codedBlockFlag = 85;
constexpr std::size_t transformSize8x8Flag = 399;

// First contexts by BlockKind (ctxIdxOffset + ctxBlockCatOffset, table 9-40), for frame and field coding.
constexpr std::array<std::array<std::size_t, 6>, 2> significantCoeffFlag = {
    {{105, 120, 134, 149, 152, 402}, {277, 292, 306, 321, 324, 436}}};
constexpr std::array<std::array<std::size_t, 6>, 2> lastSignificantCoeffFlag = {
    {{166, 181, 195, 210, 213, 417}, {338, 353, 367, 382, 385, 451}}};
constexpr std::array<std::size_t, 6> coeffAbsLevelMinus1 = {227, 237, 247, 257, 266, 426};

// ctxIdxInc of 8x8 blocks by position in the scan (table 9-43).
constexpr uint8_t significantOf8x8[2][63] = {
    {0,  1,  2, 3, 4, 5,  5,  4,  4,  3, 3, 4,  4,  4,  5,  5,  4,  4,  4,  4,  3,
     3,  6,  7, 7, 7, 8,  9,  10, 9,  8, 7, 7,  6,  11, 12, 13, 11, 6,  7,  8,  9,
     14, 10, 9, 8, 6, 11, 12, 13, 11, 6, 9, 14, 10, 9,  11, 12, 13, 11, 14, 10, 12},
    {0,  1,  1,  2,  2,  3,  3,  4,  5,  6,  7,  7,  7, 8,  4,  5,  6,  9,  10, 10, 8,
     11, 12, 11, 9,  9,  10, 10, 8,  11, 12, 11, 9,  9, 10, 10, 8,  11, 12, 11, 9,  9,
     10, 10, 8,  13, 13, 9,  9,  10, 10, 8,  13, 13, 9, 9,  10, 10, 14, 14, 14, 14, 14}};
constexpr uint8_t lastOf8x8[63] = {0, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 2, 2, 2, 2, 2,
                                   2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 3, 3, 3, 3, 3, 3, 3, 3, 4, 4,
                                   4, 4, 4, 4, 4, 4, 5, 5, 5, 5, 6, 6, 6, 6, 7, 7, 7, 7, 8, 8, 8};

constexpr int maxExpGolombPrefix = 24; // more than any legal value has

// Behind cabac_alignment_one_bit.
BitReader aligned(BitReader reader)
{
    reader.alignToByte();
    return reader;
}

// The suffix of UEGk.
int expGolomb(CabacInterval& interval, int k)
{
    int value = 0;
    while (interval.bypass() != 0) {
        value += 1 << k;
        if (++k > maxExpGolombPrefix)
            throw DamagedUnit("an Exp-Golomb code is too long");
    }
    while (k-- > 0)
        value += interval.bypass() << k;
    return value;
}

// coeff_abs_level_minus1 + 1, after so many of 1 and of more than 1 (9.3.3.1.3): UEG0 with uCoff 14. Inlined,
// as the interval of its caller is in registers only then: 5 % of the time that a stream of 19 Mbit/s takes.
[[gnu::always_inline]] inline int coefficientMagnitude(CabacInterval& interval, uint8_t* contexts, int ones,
                                                       int greater, int mostGreater)
{
    const int increment = greater > 0 ? 0 : std::min(4, 1 + ones);
    if (interval.decision(contexts[increment]) == 0)
        return 1;
    uint8_t& context = contexts[5 + std::min(mostGreater, greater)];
    int magnitude = 2;
    while (magnitude < 15 && interval.decision(context) != 0)
        magnitude++;
    return magnitude == 15 ? magnitude + expGolomb(interval, 0) : magnitude;
}

} // namespace

CabacReader::CabacReader(const SliceContext& slice, BitReader& reader)
    : slice_(slice), reader_(aligned(reader)), engine_(reader_)
{
    engine_.initialiseContexts(slice.header.cabacInitIdc, slice.header.qp);
}

// How many of the macroblocks to the left and above (weighing 1 and 1) are available and fulfil a condition.
template <class Condition>
int CabacReader::countOfNeighbours(const Neighbourhood& around, Condition condition) const
{
    const MbInfo* const left = infoOf(around.left(0));
    const MbInfo* const top = infoOf(around.top());
    return (left != nullptr && condition(*left) ? 1 : 0) + (top != nullptr && condition(*top) ? 1 : 0);
}

bool CabacReader::skipFlag(const Neighbourhood& around)
{
    const int increment = countOfNeighbours(around, [](const MbInfo& info) { return !info.skipped; });
    const std::size_t offset = slice_.header.isB() ? mbSkipFlagOfB : mbSkipFlagOfP;
    return engine_.decision(offset + static_cast<std::size_t>(increment)) != 0;
}

bool CabacReader::fieldFlag(const std::array<int, 2>& pairsRound)
{
    const auto increment = std::count_if(pairsRound.begin(), pairsRound.end(), [this](int pair) {
        return pair >= 0 && slice_.picture.at(pair).field;
    });
    return engine_.decision(mbFieldDecodingFlag + static_cast<std::size_t>(increment)) != 0;
}

int CabacReader::mbType()
{
    switch (slice_.header.type) {
    case SliceType::p:
        if (engine_.decision(mbTypePrefixOfP) != 0)
            return firstIntraTypeOfP + intraMbType(mbTypeSuffixOfP, false);
        if (engine_.decision(mbTypePrefixOfP + 1) == 0) // P_L0_16x16, P_8x8
            return 3 * engine_.decision(mbTypePrefixOfP + 2);
        return 2 - engine_.decision(mbTypePrefixOfP + 3);
    case SliceType::b:
        return mbTypeOfB();
    default:
        return intraMbType(mbTypeOfI, true);
    }
}

int CabacReader::mbTypeOfB()
{
    const int increment =
        countOfNeighbours(current_->around, [](const MbInfo& info) { return !info.isDirect; });
    if (engine_.decision(mbTypePrefixOfB + static_cast<std::size_t>(increment)) == 0)
        return 0;
    if (engine_.decision(mbTypePrefixOfB + 3) == 0)
        return 1 + engine_.decision(mbTypePrefixOfB + 5);
    int bits = engine_.decision(mbTypePrefixOfB + 4);
    for (int i = 0; i < 3; i++)
        bits = 2 * bits + engine_.decision(mbTypePrefixOfB + 5);
    if (bits < 8)
        return bits + 3;
    if (bits == 13)
        return firstIntraTypeOfB + intraMbType(mbTypeSuffixOfB, false);
    if (bits == 14)
        return 11; // B_L1_L0_8x16
    if (bits == 15)
        return 22; // B_8x8
    return 2 * bits + engine_.decision(mbTypePrefixOfB + 5) - 4;
}

// Table 9-36. The contexts of the last bins lie closer together in P and B slices.
int CabacReader::intraMbType(std::size_t firstContext, bool inIntraSlice)
{
    std::size_t context = firstContext;
    if (inIntraSlice) {
        context += static_cast<std::size_t>(
            countOfNeighbours(current_->around, [](const MbInfo& info) { return !info.isIntraNxN(); }));
    }
    if (engine_.decision(context) == 0)
        return 0;
    if (engine_.terminate())
        return pcmType;
    context = firstContext + (inIntraSlice ? 3 : 1);
    const std::size_t step = inIntraSlice ? 1 : 0;
    int type = 1 + 12 * engine_.decision(context);
    if (engine_.decision(context + 1) != 0)
        type += 4 + 4 * engine_.decision(context + 1 + step);
    type += 2 * engine_.decision(context + 2 + step);
    return type + engine_.decision(context + 2 + 2 * step);
}

int CabacReader::subMbType()
{
    if (!slice_.header.isB()) {
        if (engine_.decision(subMbTypeOfP) != 0)
            return 0;
        if (engine_.decision(subMbTypeOfP + 1) == 0)
            return 1;
        return 3 - engine_.decision(subMbTypeOfP + 2);
    }
    if (engine_.decision(subMbTypeOfB) == 0)
        return 0;
    if (engine_.decision(subMbTypeOfB + 1) == 0)
        return 1 + engine_.decision(subMbTypeOfB + 3);
    int type = 3;
    if (engine_.decision(subMbTypeOfB + 2) != 0) {
        if (engine_.decision(subMbTypeOfB + 3) != 0)
            return 11 + engine_.decision(subMbTypeOfB + 3);
        type += 4;
    }
    type += 2 * engine_.decision(subMbTypeOfB + 3);
    return type + engine_.decision(subMbTypeOfB + 3);
}

bool CabacReader::transform8x8Flag()
{
    const int increment =
        countOfNeighbours(current_->around, [](const MbInfo& info) { return info.transform8x8; });
    return engine_.decision(transformSize8x8Flag + static_cast<std::size_t>(increment)) != 0;
}

int CabacReader::remainingIntraMode()
{
    if (engine_.decision(prevIntraPredModeFlag) != 0)
        return -1;
    int mode = engine_.decision(remIntraPredMode);
    mode += 2 * engine_.decision(remIntraPredMode);
    return mode + 4 * engine_.decision(remIntraPredMode);
}

int CabacReader::intraChromaMode()
{
    const int increment =
        countOfNeighbours(current_->around, [](const MbInfo& info) { return info.chromaMode != 0; });
    if (engine_.decision(intraChromaPredMode + static_cast<std::size_t>(increment)) == 0)
        return 0;
    if (engine_.decision(intraChromaPredMode + 3) == 0)
        return 1;
    return 2 + engine_.decision(intraChromaPredMode + 3);
}

// 9.3.3.1.1.6: whether the 8x8 block beside or above refers to another picture than the first of the list.
bool CabacReader::refersBeyondFirst(std::size_t list, std::size_t block, bool fromLeft) const
{
    const Macroblock& macroblock = current_->macroblock;
    const std::size_t distance = fromLeft ? 1 : 2;
    if ((block & distance) != 0)
        return macroblock.refIdx[list][block - distance] > 0;
    const Neighbour neighbour =
        fromLeft ? current_->around.left(static_cast<int>(block / 2) * 8) : current_->around.top();
    const MbInfo* const info = infoOf(neighbour);
    if (info == nullptr)
        return false;
    const std::size_t column = fromLeft ? 1 : block % 2;
    const auto row = static_cast<std::size_t>(neighbour.row / 8);
    if ((info->directBlocks >> (2 * row + column) & 1) != 0)
        return false;
    const MotionField& motion = *slice_.picture.motion;
    const int mbX = neighbour.address % motion.widthInMbs;
    const int mbY = neighbour.address / motion.widthInMbs;
    const int refIdx = motion.refIdx[list][motion.block8x8(2 * mbX + static_cast<int>(column),
                                                           2 * mbY + static_cast<int>(row))];
    return refIdx > (info->field && !current_->info.field ? 1 : 0);
}

int CabacReader::refIdx(std::size_t list, std::size_t block, int most)
{
    const int increment =
        (refersBeyondFirst(list, block, true) ? 1 : 0) + (refersBeyondFirst(list, block, false) ? 2 : 0);
    if (engine_.decision(refIdxOffset + static_cast<std::size_t>(increment)) == 0)
        return 0;
    int value = 1;
    for (std::size_t context = refIdxOffset + 4; engine_.decision(context) != 0; context = refIdxOffset + 5)
        if (++value > most)
            throw DamagedUnit("a value is out of range");
    return value > most ? throw DamagedUnit("a value is out of range") : value;
}

// 9.3.3.1.1.7: absMvdComp of the blocks to the left and above.
int CabacReader::mvdContextSum(std::size_t list, const BlockArea& area, std::size_t component) const
{
    const auto& mvds = slice_.picture.mvds;
    const auto own = [&](int x, int y) {
        return int{mvds[static_cast<std::size_t>(current_->address)].at(list, x, y)[component]};
    };
    const auto inNeighbour = [&](const Neighbour& neighbour, int x) {
        if (!neighbour.isAvailable())
            return 0;
        const int value =
            mvds[static_cast<std::size_t>(neighbour.address)].at(list, x, neighbour.row / 4)[component];
        const bool isField = slice_.picture.at(neighbour.address).field;
        if (component == 0 || isField == current_->info.field)
            return value;
        return isField ? 2 * value : value / 2;
    };
    const int left = area.x > 0 ? own(area.x - 1, area.y) : inNeighbour(current_->around.left(4 * area.y), 3);
    const int top = area.y > 0 ? own(area.x, area.y - 1) : inNeighbour(current_->around.top(), area.x);
    return left + top;
}

// UEG3 with uCoff 9.
int CabacReader::mvdComponent(std::size_t firstContext, int contextSum)
{
    const std::size_t increment = contextSum < 3 ? 0 : contextSum > 32 ? 2 : 1;
    if (engine_.decision(firstContext + increment) == 0)
        return 0;
    int magnitude = 1;
    std::size_t context = firstContext + 3;
    while (magnitude < 9 && engine_.decision(context) != 0) {
        magnitude++;
        context = std::min(context + 1, firstContext + 6);
    }
    if (magnitude == 9)
        magnitude += expGolomb(engine_.interval(), 3);
    return engine_.bypass() != 0 ? -magnitude : magnitude;
}

Vector CabacReader::mvd(std::size_t list, const BlockArea& area)
{
    const int sumX = mvdContextSum(list, area, 0);
    const int sumY = mvdContextSum(list, area, 1);
    const int x = mvdComponent(mvdOffset[0], sumX);
    const int y = mvdComponent(mvdOffset[1], sumY);
    const auto kept = [](int value) { return static_cast<uint8_t>(std::min(std::abs(value), 255)); };
    MbMvds& mvds = slice_.picture.mvds[static_cast<std::size_t>(current_->address)];
    for (int row = area.y; row < area.y + area.height; row++)
        for (int column = area.x; column < area.x + area.width; column++)
            mvds.at(list, column, row) = {kept(x), kept(y)};
    return {static_cast<int16_t>(x), static_cast<int16_t>(y)};
}

// 9.3.3.1.1.4: a neighbour that is not there, or is I_PCM, counts as coded.
bool CabacReader::patternBitIsClear(int pattern, std::size_t block, bool fromLeft) const
{
    const std::size_t distance = fromLeft ? 1 : 2;
    if ((block & distance) != 0)
        return (pattern >> (block - distance) & 1) == 0;
    const Neighbour neighbour =
        fromLeft ? current_->around.left(static_cast<int>(block / 2) * 8) : current_->around.top();
    const MbInfo* const info = infoOf(neighbour);
    if (info == nullptr)
        return false;
    const std::size_t other = 2 * static_cast<std::size_t>(neighbour.row / 8) + (fromLeft ? 1 : block % 2);
    return (info->codedBlockPattern >> other & 1) == 0;
}

int CabacReader::codedBlockPattern()
{
    int pattern = 0;
    for (std::size_t block = 0; block < 4; block++) {
        const int increment = (patternBitIsClear(pattern, block, true) ? 1 : 0) +
                              (patternBitIsClear(pattern, block, false) ? 2 : 0);
        pattern |= engine_.decision(codedBlockPatternLuma + static_cast<std::size_t>(increment)) << block;
    }
    if (slice_.picture.target.planeCount == 1)
        return pattern;
    const auto chromaContext = [this](int least) {
        const MbInfo* const left = infoOf(current_->around.left(0));
        const MbInfo* const top = infoOf(current_->around.top());
        return codedBlockPatternChroma +
               (left != nullptr && left->codedBlockPattern >> 4 >= least ? 1u : 0u) +
               (top != nullptr && top->codedBlockPattern >> 4 >= least ? 2u : 0u);
    };
    if (engine_.decision(chromaContext(1)) != 0)
        pattern += 16 << engine_.decision(4 + chromaContext(2));
    return pattern;
}

int CabacReader::qpDelta()
{
    int code = 0;
    std::size_t context = mbQpDelta + (previousQpDelta_ ? 1 : 0);
    while (engine_.decision(context) != 0) {
        context = code == 0 ? mbQpDelta + 2 : mbQpDelta + 3;
        if (++code > 2 * 88) // of 14-bit samples
            throw DamagedUnit("a value is out of range");
    }
    previousQpDelta_ = code != 0;
    return code % 2 != 0 ? (code + 1) / 2 : -code / 2;
}

// 9.3.3.1.1.9: coded_block_flag of the block beside or above. Beyond the slice it counts as that of the
// macroblock's kind.
bool CabacReader::isCoded(const ResidualBlock& block, bool fromLeft) const
{
    const bool isDc = block.kind == BlockKind::lumaDc || block.kind == BlockKind::chromaDc;
    const int rowHeight = slice_.picture.blockRowHeight(block.component);
    const int x = fromLeft ? block.x - 1 : block.x;
    const int y = fromLeft ? block.y : block.y - 1;
    if (x >= 0 && y >= 0 && !isDc)
        return current_->info.totalCoeff[block.indexOf(x, y)] != 0;
    const Neighbour neighbour =
        fromLeft ? current_->around.left(block.y * rowHeight) : current_->around.top();
    const MbInfo* const info = infoOf(neighbour);
    if (info == nullptr)
        return isIntra(current_->macroblock.kind);
    if (isDc)
        return (info->codedDcs >> block.component & 1) != 0;
    return info->totalCoeff[block.indexOf(fromLeft ? block.columns() - 1 : x, neighbour.row / rowHeight)] !=
           0;
}

template <class Coefficient>
int CabacReader::block(const ResidualBlock& block, Coefficient** coefficients)
{
    const int increment = (isCoded(block, true) ? 1 : 0) + (isCoded(block, false) ? 2 : 0);
    if (engine_.decision(codedBlockFlag + 4 * static_cast<std::size_t>(block.kind) +
                         static_cast<std::size_t>(increment)) == 0)
        return 0;
    const bool isChromaDc = block.kind == BlockKind::chromaDc;
    const int size = isChromaDc ? slice_.picture.chromaBlocks() : 16;
    std::fill_n(*coefficients, size, Coefficient{0});
    const int first = block.isWithoutDc() ? 1 : 0;
    const int total = this->coefficients(block.kind, size - first, block.scan + first, *coefficients);
    *coefficients += size;
    return total;
}

template <class Coefficient>
int CabacReader::block8x8(const ResidualBlock& block, Coefficient** coefficients)
{
    std::fill_n(*coefficients, 64, Coefficient{0});
    const int total = this->coefficients(BlockKind::luma8x8, 64, block.scan, *coefficients);
    *coefficients += 64;
    for (int part = 0; part < 4; part++)
        current_->info.totalCoeff[block.indexOf(block.x + part % 2, block.y + part / 2)] = 1;
    return total;
}

template int CabacReader::block(const ResidualBlock&, int16_t**);
template int CabacReader::block(const ResidualBlock&, int32_t**);
template int CabacReader::block8x8(const ResidualBlock&, int16_t**);
template int CabacReader::block8x8(const ResidualBlock&, int32_t**);

// residual_block_cabac behind coded_block_flag.
template <class Coefficient>
int CabacReader::coefficients(BlockKind kind, int maxNumCoeff, const int32_t* scan, Coefficient* target)
{
    const std::size_t category = static_cast<std::size_t>(kind);
    const std::size_t field = current_->macroblock.field ? 1 : 0;
    CabacInterval interval = engine_.interval();
    uint8_t* const significant = engine_.contextsFrom(significantCoeffFlag[field][category]);
    uint8_t* const last = engine_.contextsFrom(lastSignificantCoeffFlag[field][category]);
    uint8_t* const magnitudes = engine_.contextsFrom(coeffAbsLevelMinus1[category]);
    const int chromaDcShift = slice_.picture.is422() ? 1 : 0; // of NumC8x8
    std::array<uint8_t, 64> positions;
    std::size_t count = 0;
    int position = 0;
    for (; position < maxNumCoeff - 1; position++) {
        std::size_t ofSignificant = static_cast<std::size_t>(position);
        std::size_t ofLast = ofSignificant;
        if (kind == BlockKind::luma8x8) {
            ofLast = lastOf8x8[ofSignificant];
            ofSignificant = significantOf8x8[field][ofSignificant];
        } else if (kind == BlockKind::chromaDc) {
            ofSignificant = ofLast = static_cast<std::size_t>(std::min(position >> chromaDcShift, 2));
        }
        if (interval.decision(significant[ofSignificant]) == 0)
            continue;
        positions[count++] = static_cast<uint8_t>(position);
        if (interval.decision(last[ofLast]) != 0)
            break;
    }
    if (position == maxNumCoeff - 1)
        positions[count++] = static_cast<uint8_t>(position);

    const int mostGreater = kind == BlockKind::chromaDc ? 3 : 4;
    int ones = 0;
    int greater = 0;
    for (std::size_t i = count; i-- > 0;) {
        const int magnitude = coefficientMagnitude(interval, magnitudes, ones, greater, mostGreater);
        (magnitude == 1 ? ones : greater)++;
        target[scan[positions[i]]] =
            static_cast<Coefficient>(interval.bypass() != 0 ? -magnitude : magnitude);
    }
    engine_.interval() = interval;
    return static_cast<int>(count);
}

BitReader& CabacReader::startPcm()
{
    reader_ = engine_.interval().position();
    reader_.alignToByte();
    return reader_;
}

void CabacReader::endPcm()
{
    engine_.interval() = CabacInterval(reader_);
}

} // namespace kelvcpx::app::h264
