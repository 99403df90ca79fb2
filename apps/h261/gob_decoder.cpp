#include "h261/gob_decoder.h"

#include "common/block_place.h"
#include "common/residual_block.h"
#include "h261/code_tables.h"

#include <kelvcpx/block.h>
#include <kelvcpx/h261.h>
#include <kelvcpx/h261_filter.h>

#include <array>

namespace kelvcpx::app::h261 {
namespace {

constexpr int macroblocksInRow = 11;

struct Block {
    alignas(32) std::array<int16_t, 64> coefficients;
    int32_t last;
};

// The difference that brings the component into -15..15, of the two that a code stands for (4.2.3.4).
int wrapped(int component)
{
    return component < -15 ? component + 32 : component > 15 ? component - 32 : component;
}

int readQuant(CodeReader& reader)
{
    const int quant = reader.readInt(5);
    if (quant == 0)
        throw DamagedUnit("a quantiser is 0");
    return quant;
}

} // namespace

Place placeOf(int gob, int macroblock)
{
    return {((gob - 1) % 2) * macroblocksInRow + macroblock % macroblocksInRow,
            ((gob - 1) / 2) * 3 + macroblock / macroblocksInRow};
}

void GobDecoder::copy(int gob, int first, int end)
{
    for (int number = first; number < end; number++) {
        vector_ = {};
        predict(placeOf(gob, number), false);
    }
}

void GobDecoder::decode(CodeReader& reader, int gob)
{
    int done = 0;
    try {
        quant_ = readQuant(reader);
        while (reader.readFlag()) // GEI, GSPARE
            reader.skip(8);
        for (;;) {
            // 15 zeros begin a start code, or lie behind the end.
            while (reader.peek(15) != 0 && reader.peek(11) == 0b00000001111)
                reader.skip(11);
            if (reader.peek(15) == 0 || reader.position() >= reader.end())
                break;
            const int address = done + reader.decode(codeTables().address) - 1;
            if (address >= macroblocksInGob)
                throw DamagedUnit("a macroblock lies outside of its GOB");
            const bool followsPrevious = address == done && address % macroblocksInRow != 0;
            copy(gob, done, address);
            done = address;
            decodeMacroblock(reader, placeOf(gob, address), followsPrevious);
            if (reader.pastEnd())
                throw DamagedUnit("a GOB is cut off");
            done++;
        }
    } catch (const DamagedUnit&) {
        copy(gob, done, macroblocksInGob);
        throw;
    }
    copy(gob, done, macroblocksInGob);
}

void GobDecoder::decodeMacroblock(CodeReader& reader, Place place, bool followsPrevious)
{
    const int32_t type = reader.decode(codeTables().type);
    if ((type & typeQuant) != 0)
        quant_ = readQuant(reader);
    if ((type & typeMotion) != 0)
        readVector(reader, followsPrevious);
    else
        vector_ = {};
    if ((type & typeIntra) != 0) {
        decodeIntra(reader, place);
        return;
    }
    const auto pattern =
        (type & typePattern) != 0 ? static_cast<uint32_t>(reader.decode(codeTables().pattern)) : 0;
    predict(place, (type & typeFilter) != 0);
    addResidual(reader, place, pattern);
}

void GobDecoder::readVector(CodeReader& reader, bool followsPrevious)
{
    if (!followsPrevious)
        vector_ = {};
    vector_.x = wrapped(vector_.x + reader.decode(codeTables().mvd));
    vector_.y = wrapped(vector_.y + reader.decode(codeTables().mvd));
}

void GobDecoder::decodeIntra(CodeReader& reader, Place place)
{
    Block block;
    for (std::size_t i = 0; i < 6; i++) {
        checkBlock(keliReconstructCoeffsIntra_H261_1u16s(reader.byte(), reader.offset(),
                                                         block.coefficients.data(), &block.last, quant_));
        const BlockPlace to = blockPlace(i, place.column, place.row);
        const PaddedFrame::Plane& plane = target_.plane(to.plane);
        reconstructBlock(block.coefficients.data(), block.last, plane.at(to.x, to.y), plane.step);
    }
}

// 3.2.2, 3.2.3: chroma vectors are the halved luma ones without their fraction; the filter takes each block
// for itself.
void GobDecoder::predict(Place place, bool filtered) const
{
    for (std::size_t i = 0; i < 3; i++) {
        const int size = i == 0 ? 16 : 8;
        const int scale = i == 0 ? 1 : 2;
        const int x = size * place.column;
        const int y = size * place.row;
        const PaddedFrame::Plane& to = target_.plane(i);
        const ReferenceBlock from = referenceBlock(reference_.plane(i), size, 2 * (x + vector_.x / scale),
                                                   2 * (y + vector_.y / scale));
        if (!filtered) {
            (i == 0 ? keliCopy16x16_8u_C1R : keliCopy8x8_8u_C1R)(from.samples, from.step, to.at(x, y),
                                                                 to.step);
            continue;
        }
        for (int down = 0; down < size; down += 8)
            for (int right = 0; right < size; right += 8)
                keliFilter8x8_H261_8u_C1R(from.samples + std::ptrdiff_t{from.step} * down + right, from.step,
                                          to.at(x + right, y + down), to.step);
    }
}

void GobDecoder::addResidual(CodeReader& reader, Place place, uint32_t pattern)
{
    Block block;
    for (std::size_t i = 0; i < 6; i++) {
        if ((pattern >> (5 - i) & 1) == 0)
            continue;
        checkBlock(keliReconstructCoeffsInter_H261_1u16s(reader.byte(), reader.offset(),
                                                         block.coefficients.data(), &block.last, quant_));
        const BlockPlace to = blockPlace(i, place.column, place.row);
        const PaddedFrame::Plane& plane = target_.plane(to.plane);
        addBlock(block.coefficients.data(), block.last, plane.at(to.x, to.y), plane.step);
    }
}

} // namespace kelvcpx::app::h261
