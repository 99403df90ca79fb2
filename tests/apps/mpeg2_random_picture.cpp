#include "apps/mpeg2_random_picture.h"

#include "mpeg2/code_tables.h"

#include <algorithm>
#include <vector>

namespace kelvcpx::test {

using namespace app::mpeg2;

namespace {

// Table 7-6.
constexpr int nonLinearScales[32] = {0,  1,  2,  3,  4,  5,  6,  7,  8,  10, 12, 14, 16, 18, 20,  22,
                                     24, 28, 32, 36, 40, 44, 48, 52, 56, 64, 72, 80, 88, 96, 104, 112};

} // namespace

// MPEG-2 slices begin and end in one row of macroblocks; those of MPEG-1 go from anywhere to anywhere.
void PictureWriter::writeSlices()
{
    const int wide = plan_.macroblocksWide();
    const int count = wide * plan_.macroblocksHigh();
    for (int first = 0; first < count;) {
        int last = first / wide * wide + wide - 1;
        if (!plan_.sequence.mpeg2)
            last = std::min(count, first + draft_.random.uniform(1, 3 * wide)) - 1;
        else if (draft_.random.oneIn(3))
            last = draft_.random.uniform(first, last);
        writeSlice(first, last);
        first = last + 1;
    }
}

void PictureWriter::writeSlice(int first, int last)
{
    const int wide = plan_.macroblocksWide();
    if (first % wide != 0)
        draft_.tools["slice that starts inside a row"]++;
    if (first / wide != last / wide)
        draft_.tools["slice of several rows"]++;
    writeSliceHeader(first / wide);
    vectors_.reset();
    resetDc();
    int increment = first % wide + 1;
    for (int address = first; address <= last; address++) {
        writeIncrement(increment);
        writeMacroblock(address);
        const int skipped = skipFrom(address + 1, last);
        address += skipped;
        increment = skipped + 1;
    }
}

void PictureWriter::writeSliceHeader(int row)
{
    BitWriter& bits = draft_.bits;
    const bool extended = plan_.sequence.height > 2800;
    draft_.startCode(firstSliceStart + (extended ? row % 128 : row));
    if (extended) {
        draft_.tools["slice_vertical_position_extension"]++;
        bits.put(row / 128, 3);
    }
    drawScale();
    bits.put(scaleCode_, 5);
    intraSlice_ = false;
    if (plan_.sequence.mpeg2 && draft_.random.oneIn(3)) {
        intraSlice_ = draft_.random.oneIn(2);
        draft_.tools[intraSlice_ ? "intra slice" : "slice not called intra"]++;
        bits.put(1, 1);
        bits.put(intraSlice_ ? 1 : 0, 1);
        bits.put(0, 7); // reserved_bits
    }
    writeExtraInformation();
}

// extra_bit_slice and extra_information_slice.
void PictureWriter::writeExtraInformation()
{
    while (draft_.random.oneIn(8)) {
        draft_.tools["extra information in a slice"]++;
        draft_.bits.put(1, 1);
        draft_.bits.put(draft_.random.uniform(0, 255), 8);
    }
    draft_.bits.put(0, 1);
}

void PictureWriter::drawScale()
{
    scaleCode_ = draft_.random.uniform(1, draft_.random.oneIn(3) ? 31 : 8);
}

int PictureWriter::scale() const
{
    if (!plan_.sequence.mpeg2)
        return scaleCode_;
    return plan_.header.nonLinearScale ? nonLinearScales[scaleCode_] : 2 * scaleCode_;
}

// 7.2.1: in the coded precision.
void PictureWriter::resetDc()
{
    dcPredictors_.fill(128 << plan_.header.intraDcPrecision);
}

// 7.6.6, and for second fields that refer to the first alone, 7.6.3.5: a skipped macroblock is a copy of the
// field of its own parity.
bool PictureWriter::canSkip(int address) const
{
    if (plan_.header.type == PictureType::intra || plan_.onlyField || intraSlice_)
        return false;
    if (plan_.header.type == PictureType::predicted)
        return true;
    if ((previousType_ & typeIntra) != 0)
        return false;
    const auto repeats = [&](int32_t flag, int direction) {
        return (previousType_ & flag) == 0 || vectors_.canRepeat(direction, xOf(address), yOf(address));
    };
    return repeats(typeForward, 0) && repeats(typeBackward, 1);
}

int PictureWriter::skipFrom(int address, int last)
{
    if (!draft_.random.oneIn(3))
        return 0;
    const int wanted = draft_.random.uniform(1, draft_.random.oneIn(4) ? 80 : 3);
    int skipped = 0;
    while (skipped < wanted && address + skipped < last && canSkip(address + skipped))
        skipped++;
    if (skipped == 0)
        return 0;
    const std::string where = plan_.isFrame() ? "frame picture" : "field picture";
    draft_.tools[(plan_.header.type == PictureType::predicted ? "skipped in P " : "skipped in B ") + where]++;
    if (plan_.header.type == PictureType::predicted)
        vectors_.reset();
    resetDc();
    return skipped;
}

void PictureWriter::writeIncrement(int increment)
{
    const auto rows = codeRows.addressIncrement;
    while (!plan_.sequence.mpeg2 && draft_.random.oneIn(10)) {
        draft_.tools["macroblock stuffing"]++;
        draft_.putCode(rows, addressStuffing);
    }
    for (; increment > 33; increment -= 33) {
        draft_.tools["macroblock address escape"]++;
        draft_.putCode(rows, addressEscape);
    }
    draft_.putCode(rows, increment);
}

void PictureWriter::writeMacroblock(int address)
{
    Macroblock macroblock;
    drawType(macroblock);
    drawMotion(macroblock, address);
    macroblock.fieldDct = draft_.random.oneIn(2);
    note(macroblock);

    writeModes(macroblock);
    if (macroblock.has(typeQuant)) {
        drawScale();
        draft_.bits.put(scaleCode_, 5);
    }
    writeMotion(macroblock);
    unsigned pattern = macroblock.has(typeIntra) ? 0xFF : 0;
    if (macroblock.has(typePattern))
        pattern = writePattern();
    writeBlocks(macroblock, pattern);
    if (!macroblock.has(typeIntra))
        resetDc();
    previousType_ = macroblock.type;
}

bool PictureWriter::typeIsAllowed(int32_t type) const
{
    const bool intra = (type & typeIntra) != 0;
    if (intraSlice_)
        return intra;
    const bool refersToOwnParity = !intra && (type & (typeForward | typeBackward)) == 0;
    return (plan_.forward || (type & typeForward) == 0) && !(plan_.onlyField && refersToOwnParity);
}

void PictureWriter::drawType(Macroblock& macroblock)
{
    const auto rows = codeRows.macroblockType[static_cast<std::size_t>(plan_.header.type) - 1];
    const bool rarelyIntra = plan_.header.type != PictureType::intra && !intraSlice_;
    do {
        macroblock.type =
            rows[draft_.random.uniform<std::size_t>(0, static_cast<int64_t>(rows.size()) - 1)].value;
    } while (!typeIsAllowed(macroblock.type) ||
             (rarelyIntra && macroblock.has(typeIntra) && !draft_.random.oneIn(3)));
}

MotionType PictureWriter::motionTypeOfPicture() const
{
    return plan_.isFrame() ? MotionType::frame : MotionType::field;
}

// Tables 6-17 and 6-18.
MotionType PictureWriter::drawMotionType(const Macroblock& macroblock)
{
    if (plan_.isFrame() && plan_.header.framePredFrameDct)
        return MotionType::frame;
    const bool dualPrime = plan_.dualPrime && !macroblock.has(typeBackward);
    switch (draft_.random.uniform(0, dualPrime ? 2 : 1)) {
    case 0:
        return MotionType::field;
    case 1:
        return plan_.isFrame() ? MotionType::frame : MotionType::sixteenByEight;
    default:
        return MotionType::dualPrime;
    }
}

void PictureWriter::drawMotion(Macroblock& macroblock, int address)
{
    const int x = xOf(address);
    const int y = yOf(address);
    if (macroblock.has(typeIntra)) {
        macroblock.motionType = motionTypeOfPicture();
        if (plan_.header.concealmentVectors)
            macroblock.motion[0] = *vectors_.draw(macroblock.motionType, 0, x, y);
        return;
    }
    for (int direction = 0; direction < 2; direction++) {
        if (!macroblock.has(direction == 0 ? typeForward : typeBackward))
            continue;
        std::optional<Motion> motion;
        while (!motion) {
            if (direction == 0 || !macroblock.has(typeForward))
                macroblock.motionType = drawMotionType(macroblock);
            motion = vectors_.draw(macroblock.motionType, direction, x, y);
        }
        macroblock.motion[static_cast<std::size_t>(direction)] = *motion;
    }
}

// macroblock_modes(), 6.2.5.1.
void PictureWriter::writeModes(const Macroblock& macroblock)
{
    BitWriter& bits = draft_.bits;
    const auto rows = codeRows.macroblockType[static_cast<std::size_t>(plan_.header.type) - 1];
    draft_.putCode(rows, macroblock.type);
    if (plan_.isFrame() && plan_.header.framePredFrameDct)
        return;
    if (macroblock.has(typeForward | typeBackward))
        bits.put(macroblock.motionType == MotionType::dualPrime ? 3
                 : macroblock.motionType == MotionType::field   ? 1
                                                                : 2,
                 2);
    if (plan_.isFrame() && macroblock.has(typeIntra | typePattern))
        bits.put(macroblock.fieldDct ? 1 : 0, 1);
}

// The order of the elements, and where the predictors are reset (7.6.3.4).
void PictureWriter::writeMotion(const Macroblock& macroblock)
{
    if (macroblock.has(typeIntra)) {
        if (plan_.header.concealmentVectors) {
            vectors_.write(macroblock.motion[0], macroblock.motionType, 0);
            draft_.bits.put(1, 1);
        } else {
            vectors_.reset();
        }
        return;
    }
    if (macroblock.has(typeForward))
        vectors_.write(macroblock.motion[0], macroblock.motionType, 0);
    else if (plan_.header.type == PictureType::predicted)
        vectors_.reset();
    if (macroblock.has(typeBackward))
        vectors_.write(macroblock.motion[1], macroblock.motionType, 1);
}

// coded_block_pattern(), 6.2.5.3: the bits of the blocks, the first one highest.
unsigned PictureWriter::writePattern()
{
    const int extra = blockCount() - 6;
    const auto pattern = draft_.random.uniform<unsigned>(1, (1 << blockCount()) - 1);
    draft_.putCode(codeRows.codedBlockPattern, static_cast<int>(pattern >> extra));
    draft_.bits.put(pattern, extra);
    return pattern;
}

void PictureWriter::writeBlocks(const Macroblock& macroblock, unsigned pattern)
{
    const bool intra = macroblock.has(typeIntra);
    const QuantMatrices& matrices = plan_.sequence.matrices;
    for (int i = 0; i < blockCount(); i++) {
        if ((pattern >> (blockCount() - 1 - i) & 1) == 0)
            continue;
        const std::size_t component = i < 4 ? 0 : 1 + static_cast<std::size_t>(i % 2);
        const std::size_t chroma = component == 0 ? 0 : 1;
        const BlockCoding coding{.mpeg1 = !plan_.sequence.mpeg2,
                                 .intra = intra,
                                 .chroma = chroma != 0,
                                 .scale = scale(),
                                 .dcPrecision = plan_.header.intraDcPrecision,
                                 .tableOne = intra && plan_.header.intraVlcFormat,
                                 .scan = plan_.header.alternateScan ? Scan::alternate : Scan::zigzag,
                                 .weights = (intra ? matrices.intra : matrices.nonIntra)[chroma]};
        writeBlock(draft_, coding, (plan_.exact ? exactLevels : anyLevels)(draft_.random, coding),
                   dcPredictors_[component]);
    }
}

// Counts what tests want to have seen.
void PictureWriter::note(const Macroblock& macroblock)
{
    const std::string where = plan_.isFrame() ? " in frame picture" : " in field picture";
    if (macroblock.has(typeIntra)) {
        if (plan_.header.concealmentVectors)
            draft_.tools["concealment vectors" + where]++;
        return;
    }
    if (macroblock.fieldDct && plan_.isFrame() && !plan_.header.framePredFrameDct &&
        macroblock.has(typePattern))
        draft_.tools["field DCT"]++;
    if (!macroblock.has(typeForward | typeBackward)) {
        draft_.tools["no vector" + where]++;
        return;
    }
    const std::string direction = !macroblock.has(typeBackward)  ? "forward "
                                  : !macroblock.has(typeForward) ? "backward "
                                                                 : "bidirectional ";
    const char* const kind = macroblock.motionType == MotionType::frame            ? "frame"
                             : macroblock.motionType == MotionType::field          ? "field"
                             : macroblock.motionType == MotionType::sixteenByEight ? "16x8"
                                                                                   : "dual prime";
    draft_.tools[direction + kind + " prediction" + where]++;
}

} // namespace kelvcpx::test
