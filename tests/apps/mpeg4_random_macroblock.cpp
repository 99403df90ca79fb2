#include "apps/mpeg4_random_macroblock.h"

#include "h263/code_tables.h"
#include "mpeg4/code_tables.h"

#include <kelvcpx/mpeg4.h>

#include <algorithm>
#include <cstdlib>

namespace kelvcpx::test {

using namespace app::mpeg4;
namespace h263 = app::h263;

namespace {

constexpr int quantChanges[] = {-1, -2, 1, 2};

// The range that quantisers keep to: with up to 4 the DC has steps of 8.
constexpr int exactLow = 1;
constexpr int exactHigh = 4;
constexpr int closeLow = 11;
constexpr int closeHigh = 20;

bool isChroma(std::size_t block)
{
    return block >= 4;
}

} // namespace

std::vector<MacroblockPlan> Mpeg4MacroblockWriter::draw(int first, int count, int quant)
{
    first_ = first;
    quant_ = quant;
    codedQuant_.reset();
    std::vector<MacroblockPlan> macroblocks;
    for (macroblocks_ = 0; macroblocks_ < count; macroblocks_++)
        macroblocks.push_back(isBidirectional() ? drawBidirectional(first + macroblocks_) : drawForward());
    return macroblocks;
}

MacroblockPlan Mpeg4MacroblockWriter::drawForward()
{
    MacroblockPlan macroblock;
    macroblock.stuffing = random_.oneIn(20) ? random_.uniform(1, 3) : 0;
    if (!isIntraVop() && random_.oneIn(7)) {
        macroblock.coded = false;
        used(plan_.vop.type == VopType::sprite ? "not coded in an S-VOP" : "not coded");
        return macroblock;
    }
    constexpr MacroblockType intraTypes[] = {MacroblockType::intra, MacroblockType::intraQuant};
    constexpr MacroblockType allTypes[] = {MacroblockType::inter,       MacroblockType::interQuant,
                                           MacroblockType::fourVectors, MacroblockType::inter,
                                           MacroblockType::intra,       MacroblockType::intraQuant};
    macroblock.type = isIntraVop() ? intraTypes[random_.uniform(0, 1)] : allTypes[random_.uniform(0, 5)];
    // In the first macroblock the reference decoder changes vectors of the packet before.
    if (macroblock.type == MacroblockType::fourVectors && (macroblocks_ == 0 || !plan_.options.fourVectors))
        macroblock.type = MacroblockType::inter;
    macroblock.intra = isIntra(macroblock.type);
    if (macroblock.intra && !codedQuant_) // the reference decoder takes the quantiser before the change
        macroblock.type = MacroblockType::intra;
    macroblock.predictsAc = macroblock.intra && random_.oneIn(2) && plan_.options.predictsAc;
    const bool whole = !macroblock.intra && macroblock.type != MacroblockType::fourVectors;
    macroblock.warped = plan_.vop.type == VopType::sprite && whole && random_.oneIn(2);
    if (changesQuant(macroblock.type))
        drawQuant(macroblock);
    macroblock.separateDc = macroblock.intra && codedQuant_.value_or(quant_) < plan_.vop.intraDcThreshold;
    codedQuant_ = quant_;
    drawPattern(macroblock);
    drawBlocks(macroblock);
    if (plan_.layer.interlaced)
        drawFields(macroblock, whole && !macroblock.warped);
    const int fcode = plan_.vop.fcode[0];
    if (macroblock.type == MacroblockType::fourVectors)
        macroblock.forward = drawVectors(4, fcode);
    else if (whole && !macroblock.warped)
        macroblock.forward = drawVectors(macroblock.fieldVectors ? 2 : 1, fcode);
    used(macroblock.warped                                ? "warping"
         : macroblock.type == MacroblockType::fourVectors ? "four vectors"
         : macroblock.fieldVectors                        ? "field vectors in a P-VOP"
         : macroblock.intra                               ? "intra"
                                                          : "one vector");
    return macroblock;
}

MacroblockPlan Mpeg4MacroblockWriter::drawBidirectional(int address)
{
    MacroblockPlan macroblock;
    if (plan_.referenceIsPredicted && !plan_.codedInReference[static_cast<std::size_t>(address)]) {
        macroblock.hasBits = false;
        used("skipped with its reference");
        return macroblock;
    }
    macroblock.hasType = !random_.oneIn(6);
    if (!macroblock.hasType) {
        used("direct without a difference");
        return macroblock;
    }
    constexpr int32_t types[] = {typeDirect, typeInterpolate, typeBackward, typeForward};
    const auto type = random_.uniform<std::size_t>(0, 3);
    macroblock.bidirectionalType = types[type];
    drawPattern(macroblock);
    const int quant = quant_;
    if (macroblock.bidirectionalType != typeDirect && macroblock.pattern != 0)
        drawQuant(macroblock);
    drawBlocks(macroblock);
    if (macroblock.pattern == 0) // no block could be drawn, so there is no change
        quant_ = quant;
    if (plan_.layer.interlaced)
        drawFields(macroblock, macroblock.bidirectionalType != typeDirect);
    const std::size_t count = macroblock.fieldVectors ? 2 : 1;
    if (macroblock.bidirectionalType == typeDirect)
        macroblock.forward = drawVectors(1, 1);
    if ((macroblock.bidirectionalType & typeForward) != 0)
        macroblock.forward = drawVectors(count, plan_.vop.fcode[0]);
    if ((macroblock.bidirectionalType & typeBackward) != 0)
        macroblock.backward = drawVectors(count, plan_.vop.fcode[1]);
    constexpr const char* names[] = {"direct", "interpolated", "backward", "forward"};
    used(names[type] + std::string(macroblock.fieldVectors ? " with field vectors" : ""));
    return macroblock;
}

// A change that keeps to the range; that of a B-VOP is by two, or none.
void Mpeg4MacroblockWriter::drawQuant(MacroblockPlan& macroblock)
{
    const int low = plan_.options.exact ? exactLow : closeLow;
    const int high = plan_.options.exact ? exactHigh : closeHigh;
    if (isBidirectional() && random_.oneIn(2))
        return;
    for (;;) {
        const auto code = random_.uniform<uint32_t>(0, 3);
        const int change = isBidirectional() ? (code < 2 ? -2 : 2) : quantChanges[code];
        if (quant_ + change < low || quant_ + change > high)
            continue;
        macroblock.quantCode = isBidirectional() ? 2 | code >> 1 : code;
        quant_ += change;
        used(isBidirectional() ? "dbquant" : "dquant");
        return;
    }
}

// Where the blocks have to be exact, the DC is all that those of an intra macroblock have.
void Mpeg4MacroblockWriter::drawPattern(MacroblockPlan& macroblock)
{
    if (!random_.oneIn(4) && !(plan_.options.exact && macroblock.separateDc))
        macroblock.pattern = random_.uniform<uint32_t>(0, 63);
}

void Mpeg4MacroblockWriter::drawBlocks(MacroblockPlan& macroblock)
{
    if (macroblock.intra)
        used(macroblock.separateDc ? "DC with a code of its own" : "DC coded as AC");
    for (std::size_t i = 0; i < 6; i++) {
        std::array<int16_t, 64>& levels = macroblock.levels[i];
        if (macroblock.separateDc)
            macroblock.dc[i] = drawDc();
        const uint32_t bit = 1u << (5 - i);
        if ((macroblock.pattern & bit) == 0)
            continue;
        if (!plan_.options.exact)
            drawLevels(levels, macroblock.separateDc ? 1 : 0);
        if (macroblock.intra && !macroblock.separateDc && (plan_.options.exact || levels[0] != 0))
            do
                levels[0] = drawDc();
            while (levels[0] == 0);
        if (!macroblock.intra && plan_.options.exact && (levels[0] = exactLevel()) == 0)
            macroblock.pattern &= ~bit;
    }
}

// Differences add up from block to block: the sum has to stay within the range of samples.
int16_t Mpeg4MacroblockWriter::drawDc()
{
    if (!plan_.options.exact)
        return random_.uniform<int16_t>(-1, 1);
    return random_.uniform<int16_t>(random_.oneIn(20) ? -12 : -3, 3);
}

// The level of a DC that does not lie near the middle between two samples, not even if mismatch control adds
// a high frequency to it. 0 if there is none.
int16_t Mpeg4MacroblockWriter::exactLevel()
{
    for (int tries = 0; tries < 50; tries++) {
        const int level = random_.uniform(1, 40);
        const int coefficient = plan_.layer.weightedQuantisation
                                    ? (2 * level + 1) * plan_.layer.interMatrix[0] * quant_ / 16
                                    : 2 * quant_ * level + (quant_ % 2 != 0 ? quant_ : quant_ - 1);
        const int rest = coefficient % 8;
        if (rest == 1 || rest == 3)
            return static_cast<int16_t>(random_.oneIn(2) ? level : -level);
    }
    return 0;
}

void Mpeg4MacroblockWriter::drawLevels(std::array<int16_t, 64>& levels, std::size_t first)
{
    const int gap = random_.uniform(1, 25);
    for (std::size_t position = first; position < levels.size(); position++)
        if (random_.oneIn(gap))
            levels[position] = static_cast<int16_t>(random_.uniform(1, random_.oneIn(10) ? 12 : 2) *
                                                    (random_.oneIn(2) ? 1 : -1));
    const auto isZero = [](int16_t level) { return level == 0; };
    if (std::all_of(levels.begin() + static_cast<std::ptrdiff_t>(first), levels.end(), isZero))
        levels[random_.uniform<std::size_t>(static_cast<int64_t>(first), 63)] = 1;
}

void Mpeg4MacroblockWriter::drawFields(MacroblockPlan& macroblock, bool mayPredict)
{
    macroblock.fieldDct = (macroblock.intra || macroblock.pattern != 0) && random_.oneIn(2);
    macroblock.fieldVectors = mayPredict && random_.oneIn(2);
    if (macroblock.fieldVectors)
        for (auto& direction : macroblock.fields)
            for (uint32_t& field : direction)
                field = random_.uniform<uint32_t>(0, 1);
}

// A prediction from fields may be out of range. The reference decoder brings only sums back into it.
VectorCode Mpeg4MacroblockWriter::drawVector(int fcode)
{
    VectorCode vector;
    for (std::size_t i = 0; i < 2; i++) {
        do
            vector.codes[i] = random_.oneIn(4) ? random_.uniform(-32, 32) : random_.uniform(-6, 6);
        while (i == 1 && vector.codes[i] == 0 && plan_.layer.interlaced);
        vector.residuals[i] = random_.uniform<uint32_t>(0, (1 << (fcode - 1)) - 1);
    }
    return vector;
}

std::vector<VectorCode> Mpeg4MacroblockWriter::drawVectors(std::size_t count, int fcode)
{
    std::vector<VectorCode> vectors(count);
    std::generate(vectors.begin(), vectors.end(), [&] { return drawVector(fcode); });
    return vectors;
}

void Mpeg4MacroblockWriter::write(app::CodeWriter& out, const std::vector<MacroblockPlan>& macroblocks)
{
    stream_.packets.push_back(
        {plan_.number, first_, static_cast<int>(macroblocks.size()), out.bitCount(), 0, {}});
    if (plan_.layer.dataPartitioned && !isBidirectional())
        writePartitions(out, macroblocks);
    else
        for (const MacroblockPlan& macroblock : macroblocks)
            isBidirectional() ? writeBidirectional(out, macroblock) : writeCombined(out, macroblock);
    stream_.packets.back().end = out.bitCount();
}

void Mpeg4MacroblockWriter::writeCombined(app::CodeWriter& out, const MacroblockPlan& macroblock)
{
    writeStart(out, macroblock);
    if (!macroblock.coded)
        return;
    if (macroblock.intra)
        out.put(macroblock.predictsAc, 1);
    writePattern(out, macroblock);
    writeQuant(out, macroblock);
    if (plan_.layer.interlaced) {
        const bool mayPredict =
            !macroblock.intra && !macroblock.warped && macroblock.type != MacroblockType::fourVectors;
        writeFields(out, macroblock, mayPredict ? typeForward : 0);
    }
    writeVectors(out, macroblock.forward, plan_.vop.fcode[0]);
    for (std::size_t i = 0; i < 6; i++) {
        writeDc(out, macroblock, i);
        writeLevels(out, macroblock, i);
    }
}

void Mpeg4MacroblockWriter::writeBidirectional(app::CodeWriter& out, const MacroblockPlan& macroblock)
{
    if (!macroblock.hasBits)
        return;
    if (!macroblock.hasType) {
        out.put(codeRows.modb, 0);
        return;
    }
    out.put(codeRows.modb, macroblock.pattern != 0 ? modbHasType | modbHasPattern : modbHasType);
    out.put(codeRows.bidirectionalType, macroblock.bidirectionalType);
    if (macroblock.pattern != 0)
        out.put(macroblock.pattern, 6);
    const bool direct = macroblock.bidirectionalType == typeDirect;
    if (!direct && macroblock.pattern != 0) {
        if (macroblock.quantCode == 0)
            out.put(0, 1);
        else
            out.put(macroblock.quantCode, 2);
    }
    if (plan_.layer.interlaced)
        writeFields(out, macroblock, macroblock.bidirectionalType);
    writeVectors(out, macroblock.forward, direct ? 1 : plan_.vop.fcode[0]);
    writeVectors(out, macroblock.backward, plan_.vop.fcode[1]);
    for (std::size_t i = 0; i < 6; i++)
        writeLevels(out, macroblock, i);
}

void Mpeg4MacroblockWriter::writePartitions(app::CodeWriter& out,
                                            const std::vector<MacroblockPlan>& macroblocks)
{
    for (const MacroblockPlan& macroblock : macroblocks) {
        writeStart(out, macroblock);
        if (isIntraVop()) {
            writeQuant(out, macroblock);
            for (std::size_t i = 0; i < 6; i++)
                writeDc(out, macroblock, i);
        } else {
            writeVectors(out, macroblock.forward, plan_.vop.fcode[0]);
        }
    }
    out.put(isIntraVop() ? "1101011000000000001" : "11111000000000001");
    for (const MacroblockPlan& macroblock : macroblocks) {
        if (!macroblock.coded)
            continue;
        if (macroblock.intra)
            out.put(macroblock.predictsAc, 1);
        writePattern(out, macroblock);
        if (isIntraVop())
            continue;
        writeQuant(out, macroblock);
        for (std::size_t i = 0; i < 6; i++)
            writeDc(out, macroblock, i);
    }
    for (const MacroblockPlan& macroblock : macroblocks) {
        stream_.packets.back().textures.push_back(out.bitCount());
        for (std::size_t i = 0; i < 6; i++)
            writeLevels(out, macroblock, i);
    }
}

// not_coded, mcbpc and mcsel.
void Mpeg4MacroblockWriter::writeStart(app::CodeWriter& out, const MacroblockPlan& macroblock)
{
    const auto& codes = isIntraVop() ? h263::codeRows.mcbpcIntra : h263::codeRows.mcbpcInter;
    for (int i = 0; i < macroblock.stuffing; i++) {
        if (!isIntraVop())
            out.put(0, 1);
        out.put(codes, h263::macroblockStuffing);
    }
    if (!isIntraVop())
        out.put(macroblock.coded ? 0 : 1, 1);
    if (!macroblock.coded)
        return;
    out.put(codes, 4 * static_cast<int32_t>(macroblock.type) + static_cast<int32_t>(macroblock.pattern & 3));
    const bool whole =
        macroblock.type == MacroblockType::inter || macroblock.type == MacroblockType::interQuant;
    if (plan_.vop.type == VopType::sprite && whole)
        out.put(macroblock.warped, 1);
}

void Mpeg4MacroblockWriter::writePattern(app::CodeWriter& out, const MacroblockPlan& macroblock)
{
    const uint32_t luma = macroblock.pattern >> 2;
    out.put(h263::codeRows.cbpy, static_cast<int32_t>(macroblock.intra ? luma : 15 - luma));
}

void Mpeg4MacroblockWriter::writeQuant(app::CodeWriter& out, const MacroblockPlan& macroblock)
{
    if (changesQuant(macroblock.type))
        out.put(macroblock.quantCode, 2);
}

void Mpeg4MacroblockWriter::writeFields(app::CodeWriter& out, const MacroblockPlan& macroblock,
                                        int32_t directions)
{
    if (macroblock.intra || macroblock.pattern != 0)
        out.put(macroblock.fieldDct, 1);
    if (directions == 0)
        return;
    out.put(macroblock.fieldVectors, 1);
    for (std::size_t i = 0; i < 2; i++)
        if (macroblock.fieldVectors && (directions >> i & 1) != 0)
            for (const uint32_t field : macroblock.fields[i])
                out.put(field, 1);
}

void Mpeg4MacroblockWriter::writeVectors(app::CodeWriter& out, const std::vector<VectorCode>& vectors,
                                         int fcode)
{
    for (const VectorCode& vector : vectors)
        for (std::size_t i = 0; i < 2; i++) {
            if (vector.codes[i] == largestMvd.value)
                out.put(largestMvd.bits);
            else
                out.put(h263::codeRows.mvd, vector.codes[i]);
            if (fcode > 1 && vector.codes[i] != 0)
                out.put(vector.residuals[i], fcode - 1);
        }
}

void Mpeg4MacroblockWriter::writeDc(app::CodeWriter& out, const MacroblockPlan& macroblock, std::size_t i)
{
    if (macroblock.separateDc)
        out.putBlock([&](uint8_t** byte, int32_t* offset) {
            return keliEncodeDCIntra_MPEG4_16s1u(macroblock.dc[i], byte, offset, isChroma(i) ? 1 : 0);
        });
}

void Mpeg4MacroblockWriter::writeLevels(app::CodeWriter& out, const MacroblockPlan& macroblock, std::size_t i)
{
    if ((macroblock.pattern >> (5 - i) & 1) == 0)
        return;
    const auto& levels = macroblock.levels[i];
    const auto count = static_cast<int32_t>(64 - std::count(levels.begin(), levels.end(), int16_t{0}));
    const bool reversible = plan_.layer.reversibleCodes && !isBidirectional();
    if (macroblock.intra) {
        out.putBlock([&](uint8_t** byte, int32_t* offset) {
            return keliEncodeCoeffsIntra_MPEG4_16s1u(levels.data(), byte, offset, count, reversible,
                                                     macroblock.separateDc, -1);
        });
        return;
    }
    std::array<int16_t, 64> block{};
    for (std::size_t p = 0; p < block.size(); p++)
        block[app::zigzagScan[p]] = levels[p];
    out.putBlock([&](uint8_t** byte, int32_t* offset) {
        return keliEncodeCoeffsInter_MPEG4_16s1u(block.data(), byte, offset, count, reversible, 0);
    });
}

} // namespace kelvcpx::test
