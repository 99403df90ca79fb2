#include "apps/h264_random_macroblock.h"

#include "apps/h264_random_syntax.h"

#include "h264/macroblock.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace kelvcpx::test {

using namespace app::h264;

namespace {

constexpr unsigned list0 = 1;
constexpr unsigned list1 = 2;
constexpr unsigned both = list0 | list1;

// Lists of the two partitions of types 4, 5 to 20, 21 of B macroblocks (table 7-14).
constexpr unsigned listsOfB[9][2] = {{list0, list0}, {list1, list1}, {list0, list1},
                                     {list1, list0}, {list0, both},  {list1, both},
                                     {both, list0},  {both, list1},  {both, both}};

// Vectors and lists of sub-macroblock types 1 to 12 of B macroblocks (table 7-18).
constexpr struct {
    int vectors;
    unsigned lists;
} subTypesOfB[] = {{1, list0}, {1, list1}, {1, both}, {2, list0}, {2, list0}, {2, list1},
                   {2, list1}, {2, both},  {2, both}, {4, list0}, {4, list1}, {4, both}};

constexpr int subVectorsOfP[] = {1, 2, 2, 4}; // table 7-17

} // namespace

MacroblockWriter::MacroblockWriter(const RandomSlice& slice, Random& random, BitWriter& bits,
                                   std::map<std::string, int>& tools, UsedCodes& codes)
    : slice_(slice), random_(random), bits_(bits), tools_(tools), codes_(codes), qp_(slice.header.qp)
{}

void MacroblockWriter::write()
{
    const int skipRate = random_.oneIn(3) ? 2 : 5;
    const bool canSkip = !slice_.header.isIntra();
    for (const int address : slice_.addresses) {
        if (slice_.hasPairs) {
            writePair(address);
            continue;
        }
        address_ = address;
        current() = {};
        if (canSkip && random_.oneIn(skipRate)) {
            skipMacroblock();
        } else {
            if (canSkip)
                putUe(bits_, std::exchange(skipped_, 0));
            writeMacroblock();
        }
        current().slice = slice_.number;
    }
    if (skipped_ > 0)
        putUe(bits_, skipped_);
}

void MacroblockWriter::skipMacroblock()
{
    skipped_++;
    tools_["skipped macroblock"]++;
    current().inter = true;
    current().intraModes.fill(intraDcMode);
}

// mb_field_decoding_flag comes with the first macroblock of the pair that is not skipped.
void MacroblockWriter::writePair(int pair)
{
    const int width = slice_.widthInMbs;
    const int top = pair / width * 2 * width + pair % width;
    const bool canSkip = !slice_.header.isIntra();
    const std::array<bool, 2> skips{canSkip && random_.oneIn(3), canSkip && random_.oneIn(3)};
    address_ = top;
    const bool field = skips[0] && skips[1] ? inferredMode() : random_.oneIn(2);
    tools_[field ? "field pair" : "frame pair"]++;
    bool flagIsWritten = false;
    for (const int row : {0, 1}) {
        at(top + row * width) = {};
        at(top + row * width).field = field;
    }
    for (const std::size_t row : {0U, 1U}) {
        address_ = top + static_cast<int>(row) * width;
        if (skips[row]) {
            skipMacroblock();
        } else {
            if (canSkip)
                putUe(bits_, std::exchange(skipped_, 0));
            if (!std::exchange(flagIsWritten, true))
                bits_.put(field, 1);
            writeMacroblock();
        }
        current().slice = slice_.number;
    }
}

// 7.4.4
bool MacroblockWriter::inferredMode() const
{
    for (const int pair : {neighbour(-1, 0), neighbour(0, -1)})
        if (pair >= 0)
            return at(pair).field;
    return false;
}

void MacroblockWriter::writeMacroblock()
{
    const int firstIntra = slice_.header.isIntra() ? 0 : slice_.header.isB() ? 23 : 5;
    if (firstIntra > 0 && !random_.oneIn(4)) {
        current().inter = true;
        current().intraModes.fill(intraDcMode);
        if (slice_.header.isB())
            writeInterB();
        else
            writeInterP();
    } else if (random_.oneIn(30)) {
        writePcm(firstIntra);
    } else if (random_.oneIn(3)) {
        writeIntra16x16(firstIntra);
    } else {
        writeIntraNxN(firstIntra);
    }
}

int MacroblockWriter::neighbour(int dx, int dy) const
{
    const int width = slice_.widthInMbs;
    const int rows = slice_.hasPairs ? 2 : 1;
    const int column = address_ % width + dx;
    const int row = address_ / width / rows + dy;
    if (column < 0 || column >= width || row < 0)
        return -1;
    const int other = row * rows * width + column;
    return at(other).slice == slice_.number ? other : -1;
}

MacroblockWriter::Location MacroblockWriter::locate(int x, int y) const
{
    if (slice_.hasPairs)
        return locateInPairs(x, y);
    return {neighbour(x < 0 ? -1 : x > 15 ? 1 : 0, y < 0 ? -1 : 0), y & 15};
}

// Table 6-4, row by row. Macroblocks of a pair are A, and A + 1 below it.
MacroblockWriter::Location MacroblockWriter::locateInPairs(int x, int y) const
{
    const int width = slice_.widthInMbs;
    const bool isTop = address_ / width % 2 == 0;
    const bool isFrame = !at(address_).field;
    const auto in = [&](int pair, int second, int row) {
        return Location{pair < 0 ? -1 : pair + second * width, row & 15};
    };
    const auto isFramePair = [&](int pair) { return pair >= 0 && !at(pair).field; };
    if (y < 0 && isFrame && !isTop) {
        if (x > 15)
            return {-1, 0};
        if (x >= 0)
            return {address_ - width, 15};
        const int a = neighbour(-1, 0);
        return isFramePair(a) ? in(a, 0, y) : in(a, 1, 7);
    }
    if (y < 0) {
        const int other = neighbour(x < 0 ? -1 : x > 15 ? 1 : 0, -1);
        if (isFrame || !isTop)
            return in(other, 1, y);
        return isFramePair(other) ? in(other, 1, 2 * y) : in(other, 0, y);
    }
    const int a = neighbour(-1, 0);
    if (isFrame == isFramePair(a))
        return in(a, isTop ? 0 : 1, y);
    if (isFrame) {
        const int row = isTop ? y >> 1 : (y + 16) >> 1;
        return in(a, y % 2, row);
    }
    const int row = 2 * y + (isTop ? 0 : 1);
    return y < 8 ? in(a, 0, row) : in(a, 1, row - 16);
}

// Macroblocks that intra prediction may take samples from.
MacroblockWriter::Available MacroblockWriter::availableSamples() const
{
    const auto usable = [this](int x, int y) {
        const int other = locate(x, y).address;
        return other >= 0 && !(slice_.set.constrainedIntraPrediction && at(other).inter);
    };
    const std::array<bool, 2> left{usable(-1, 0) && usable(-1, 1), usable(-1, 8) && usable(-1, 9)};
    return {left[0] && left[1], usable(0, -1), usable(16, -1), usable(-1, -1) && !avoidsCorner(), left};
}

// 8.3.1.1, 8.3.2.1
int MacroblockWriter::predictedMode(std::size_t x, std::size_t y) const
{
    const auto modeOf = [&](int address, std::size_t block) {
        if (address < 0 || (slice_.set.constrainedIntraPrediction && at(address).inter))
            return -1;
        return static_cast<int>(at(address).intraModes[block]);
    };
    const Location leftOf = locate(-1, static_cast<int>(4 * y));
    const int left = x > 0 ? modeOf(address_, 4 * y + x - 1)
                           : modeOf(leftOf.address, static_cast<std::size_t>(leftOf.row) / 4 * 4 + 3);
    const int top = y > 0 ? modeOf(address_, 4 * (y - 1) + x) : modeOf(locate(0, -1).address, 12 + x);
    return left < 0 || top < 0 ? intraDcMode : std::min(left, top);
}

bool MacroblockWriter::allowsMode(int mode, std::size_t x, std::size_t y) const
{
    const Available samples = availableSamples();
    const bool left = x > 0 || samples.leftOfHalf[y / 2];
    const bool top = y > 0 || samples.top;
    const bool corner = x > 0 && y > 0 ? true
                        : x > 0        ? samples.top
                        : y > 0        ? samples.leftOfHalf[(y - 1) / 2]
                                       : samples.topLeft;
    switch (mode) {
    case 0: // vertical
    case 3: // diagonal down-left
    case 7: // vertical-left
        return top;
    case 1: // horizontal
    case 8: // horizontal-up
        return left;
    case 2: // DC
        return true;
    default:
        return left && top && corner;
    }
}

void MacroblockWriter::writeIntraModes(bool transform8x8)
{
    const std::size_t size = transform8x8 ? 2 : 1;
    for (std::size_t i = 0; i < 16 / (size * size); i++) {
        const std::size_t raster = rasterOfBlock[size * size * i];
        const std::size_t x = raster % 4;
        const std::size_t y = raster / 4;
        int mode = random_.uniform(0, 8);
        while (!allowsMode(mode, x, y))
            mode = random_.uniform(0, 8);
        tools_[(transform8x8 ? "Intra_8x8 mode " : "Intra_4x4 mode ") + std::to_string(mode)]++;
        const int predicted = predictedMode(x, y);
        bits_.put(mode == predicted, 1);
        if (mode != predicted)
            bits_.put(mode < predicted ? mode : mode - 1, 3);
        for (std::size_t dy = 0; dy < size; dy++)
            for (std::size_t dx = 0; dx < size; dx++)
                current().intraModes[4 * (y + dy) + x + dx] = static_cast<uint8_t>(mode);
    }
}

void MacroblockWriter::writeChromaMode()
{
    if (isMonochrome())
        return;
    const Available samples = availableSamples();
    // Where half of the left edge is missing ffmpeg takes vertical prediction for DC.
    const bool vertical = samples.top && samples.leftOfHalf[0] == samples.leftOfHalf[1];
    const bool allowed[] = {true, samples.left, vertical, samples.left && samples.top && samples.topLeft};
    int mode = random_.uniform(0, 3);
    while (!allowed[mode])
        mode = random_.uniform(0, 3);
    tools_["chroma mode " + std::to_string(mode)]++;
    putUe(bits_, static_cast<uint32_t>(mode));
}

void MacroblockWriter::writeIntraNxN(int firstType)
{
    putUe(bits_, static_cast<uint32_t>(firstType));
    const bool transform8x8 = slice_.set.transform8x8 && !avoidsCorner() && random_.oneIn(2);
    if (slice_.set.transform8x8)
        bits_.put(transform8x8, 1);
    writeIntraModes(transform8x8);
    writeChromaMode();
    writePatternAndQp(false, false, transform8x8);
}

int MacroblockWriter::randomModeOf16x16()
{
    const Available samples = availableSamples();
    const bool allowed[] = {samples.top, samples.left, true, samples.left && samples.top && samples.topLeft};
    int mode = random_.uniform(0, 3);
    while (!allowed[mode])
        mode = random_.uniform(0, 3);
    return mode;
}

// Table 7-11: the type says the mode and the pattern.
void MacroblockWriter::writeIntra16x16(int firstType)
{
    const int mode = randomModeOf16x16();
    const int chroma = isMonochrome() ? 0 : random_.uniform(0, 2);
    const int luma = random_.oneIn(2) ? 15 : 0;
    tools_["Intra_16x16 mode " + std::to_string(mode)]++;
    putUe(bits_, static_cast<uint32_t>(firstType + 1 + mode + 4 * chroma + (luma != 0 ? 12 : 0)));
    current().intraModes.fill(intraDcMode);
    writeChromaMode();
    writeQpDelta();
    writeResidual(luma + 16 * chroma, true, false);
}

void MacroblockWriter::writePcm(int firstType)
{
    tools_["I_PCM"]++;
    putUe(bits_, static_cast<uint32_t>(firstType + 25));
    bits_.align();
    const int base = random_.uniform(0, 200);
    for (int i = 0; i < (isMonochrome() ? 256 : 384); i++)
        bits_.put(base + random_.uniform(0, 55), 8);
    current().intraModes.fill(intraDcMode);
    current().totalCoeff.fill(16);
}

// mb_type 0 to 4 of P macroblocks (table 7-13).
void MacroblockWriter::writeInterP()
{
    const int type = random_.uniform(0, 4);
    tools_["P macroblock type " + std::to_string(type)]++;
    putUe(bits_, static_cast<uint32_t>(type));
    bool allows8x8 = true;
    std::vector<Partition> partitions(type == 0 ? 1 : 2, {1, list0});
    if (type >= 3)
        partitions = writeSubTypes(allows8x8);
    writePartitions(partitions, type != 4);
    writePatternAndQp(true, allows8x8, false);
}

void MacroblockWriter::writeInterB()
{
    const int type = random_.oneIn(3) ? 22 : random_.uniform(0, 21);
    tools_["B macroblock type " + std::to_string(type)]++;
    putUe(bits_, static_cast<uint32_t>(type));
    bool allows8x8 = true;
    std::vector<Partition> partitions;
    if (type == 0)
        allows8x8 = slice_.sequence.direct8x8Inference;
    else if (type == 22)
        partitions = writeSubTypes(allows8x8);
    else if (type <= 3)
        partitions = {{1, static_cast<unsigned>(type)}};
    else
        partitions = {{1, listsOfB[(type - 4) / 2][0]}, {1, listsOfB[(type - 4) / 2][1]}};
    writePartitions(partitions, true);
    writePatternAndQp(true, allows8x8, false);
}

// A partition without lists is in direct mode.
std::vector<MacroblockWriter::Partition> MacroblockWriter::writeSubTypes(bool& allows8x8)
{
    std::vector<Partition> partitions;
    for (int i = 0; i < 4; i++) {
        if (!slice_.header.isB()) {
            const int type = random_.uniform(0, 3);
            tools_["P sub-macroblock type " + std::to_string(type)]++;
            putUe(bits_, static_cast<uint32_t>(type));
            partitions.push_back({subVectorsOfP[type], list0});
            allows8x8 = allows8x8 && type == 0;
            continue;
        }
        const int type = random_.oneIn(3) ? 0 : random_.uniform(1, 12);
        tools_["B sub-macroblock type " + std::to_string(type)]++;
        putUe(bits_, static_cast<uint32_t>(type));
        if (type == 0) {
            partitions.push_back({0, 0});
            allows8x8 = allows8x8 && slice_.sequence.direct8x8Inference;
        } else {
            partitions.push_back({subTypesOfB[type - 1].vectors, subTypesOfB[type - 1].lists});
            allows8x8 = allows8x8 && type <= 3;
        }
    }
    return partitions;
}

void MacroblockWriter::writePartitions(std::span<const Partition> partitions, bool withReferences)
{
    for (std::size_t list = 0; list < 2; list++) {
        const int most = slice_.header.refCount[list] * (current().field ? 2 : 1) - 1;
        if (most <= 0 || !withReferences)
            continue;
        for (const Partition& partition : partitions)
            if ((partition.lists >> list & 1) != 0)
                putTe(bits_, most, drawReference(list));
    }
    for (std::size_t list = 0; list < 2; list++)
        for (const Partition& partition : partitions)
            for (int i = 0; (partition.lists >> list & 1) != 0 && i < partition.vectors; i++)
                writeVector();
}

int MacroblockWriter::drawReference(std::size_t list)
{
    const std::vector<int>& indices = slice_.references[list];
    const int index = indices[random_.uniform<std::size_t>(0, std::ssize(indices) - 1)];
    return current().field ? 2 * index + random_.uniform(0, 1) : index; // a field of the frame
}

// A difference that keeps even a chain of predictions within the limits of the level.
void MacroblockWriter::writeVector()
{
    const int most = random_.oneIn(20) ? 60 : random_.oneIn(3) ? 12 : 3;
    putSe(bits_, random_.uniform(-most, most));
    putSe(bits_, random_.uniform(-most, most));
}

int MacroblockWriter::randomPattern()
{
    const int luma = random_.oneIn(3) ? 0 : random_.uniform(0, 15);
    return luma + (isMonochrome() ? 0 : 16 * random_.uniform(0, 2));
}

void MacroblockWriter::writePatternAndQp(bool inter, bool allows8x8, bool transform8x8)
{
    const int pattern = randomPattern();
    putCodedBlockPattern(bits_, pattern, inter, isMonochrome());
    if (inter && allows8x8 && slice_.set.transform8x8 && (pattern & 15) != 0) {
        transform8x8 = random_.oneIn(2);
        bits_.put(transform8x8, 1);
        tools_[transform8x8 ? "inter 8x8 transform" : "inter 4x4 transform"]++;
    }
    if (pattern != 0)
        writeQpDelta();
    writeResidual(pattern, false, transform8x8);
}

void MacroblockWriter::writeQpDelta()
{
    const int delta = random_.oneIn(12)  ? random_.uniform(-26, 25)
                      : random_.oneIn(2) ? random_.uniform(-3, 3)
                                         : 0;
    putSe(bits_, delta);
    qp_ = (qp_ + delta + 52) % 52;
}

// The sum of levels that keeps all intermediate values of the inverse transform within 16 bits (8.5.12).
int MacroblockWriter::levelBudget(bool transform8x8, int qpOffset) const
{
    constexpr int largestWeight = 48; // of the scaling lists here
    const int qp = std::min(qp_ + qpOffset, 51);
    const int factor = ((transform8x8 ? 58 : 29) * largestWeight << (qp / 6)) >> 4;
    return 12000 / factor;
}

std::vector<int> MacroblockWriter::randomLevels(std::size_t size, int budget)
{
    std::vector<int> levels(size);
    const auto anywhere = [&] { return random_.uniform<std::size_t>(0, static_cast<int64_t>(size) - 1); };
    const bool large = random_.oneIn(20);
    const bool dense = random_.oneIn(10);
    const std::size_t wanted = dense ? size : random_.uniform<std::size_t>(0, size < 5 ? 3 : 5);
    for (std::size_t n = 0; n < wanted && budget > 0; n++) {
        const auto position = dense || random_.oneIn(2) ? std::min(n, size - 1) : anywhere();
        if (levels[position] != 0)
            continue;
        const int most = std::min(budget, large ? 1000 : random_.oneIn(5) ? 6 : 1);
        const int level = random_.uniform(1, most);
        budget -= level;
        levels[position] = random_.oneIn(2) ? level : -level;
    }
    if (dense)
        for (auto holes = random_.uniform<std::size_t>(0, static_cast<int64_t>(size)); holes > 0; holes--)
            levels[anywhere()] = 0;
    return levels;
}

// 9.2.1
int MacroblockWriter::context(std::size_t component, std::size_t x, std::size_t y) const
{
    const std::size_t width = component == 0 ? 4 : 2;
    const std::size_t first = component == 0 ? 0 : 12 + 4 * component;
    const auto count = [&](int address, std::size_t column, std::size_t row) {
        return address < 0 ? -1 : static_cast<int>(at(address).totalCoeff[first + row * width + column]);
    };
    const std::size_t height = 16 / width; // of a block, in luma rows
    const Location leftOf = locate(-1, static_cast<int>(height * y));
    const int left = x > 0 ? count(address_, x - 1, y)
                           : count(leftOf.address, width - 1, static_cast<std::size_t>(leftOf.row) / height);
    const int top = y > 0 ? count(address_, x, y - 1) : count(locate(0, -1).address, x, width - 1);
    if (left >= 0 && top >= 0)
        return (left + top + 1) >> 1;
    return std::max({left, top, 0});
}

void MacroblockWriter::writeResidual(int pattern, bool intra16x16, bool transform8x8)
{
    current().totalCoeff.fill(0);
    if (intra16x16)
        putResidualBlock(bits_, codes_, context(0, 0, 0), randomLevels(16, levelBudget(false)));
    for (std::size_t block = 0; block < 4; block++) {
        if ((pattern >> block & 1) == 0)
            continue;
        if (transform8x8)
            writeLuma8x8(block);
        else
            writeLuma4x4(block, intra16x16 ? 15 : 16);
    }
    writeChroma(pattern >> 4);
}

void MacroblockWriter::writeLuma4x4(std::size_t block, std::size_t size)
{
    for (std::size_t part = 0; part < 4; part++) {
        const std::size_t raster = rasterOfBlock[4 * block + part];
        const int total = putResidualBlock(bits_, codes_, context(0, raster % 4, raster / 4),
                                           randomLevels(size, levelBudget(false)));
        current().totalCoeff[raster] = static_cast<uint8_t>(total);
    }
}

// The 64 levels are dealt to four blocks in turn.
void MacroblockWriter::writeLuma8x8(std::size_t block)
{
    std::vector<int> levels = randomLevels(64, levelBudget(true));
    // ffmpeg takes coded_block_pattern for coefficients where 8.7.2.1 asks for such that are not zero.
    if (std::all_of(levels.begin(), levels.end(), [](int level) { return level == 0; }))
        levels[random_.uniform<std::size_t>(0, 63)] = 1;
    for (std::size_t part = 0; part < 4; part++) {
        const std::size_t raster = rasterOfBlock[4 * block + part];
        std::array<int, 16> own;
        for (std::size_t i = 0; i < 16; i++)
            own[i] = levels[4 * i + part];
        const int total = putResidualBlock(bits_, codes_, context(0, raster % 4, raster / 4), own);
        current().totalCoeff[raster] = static_cast<uint8_t>(total);
    }
}

void MacroblockWriter::writeChroma(int pattern)
{
    for (int component = 0; pattern != 0 && component < 2; component++)
        putResidualBlock(bits_, codes_, -1, randomLevels(4, levelBudget(false, 12)));
    for (std::size_t component = 1; pattern == 2 && component <= 2; component++)
        for (std::size_t block = 0; block < 4; block++) {
            const int total = putResidualBlock(bits_, codes_, context(component, block % 2, block / 2),
                                               randomLevels(15, levelBudget(false, 12)));
            current().totalCoeff[12 + 4 * component + block] = static_cast<uint8_t>(total);
        }
}

} // namespace kelvcpx::test
