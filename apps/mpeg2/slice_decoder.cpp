#include "mpeg2/slice_decoder.h"

#include "common/residual_block.h"
#include "mpeg2/code_tables.h"
#include "mpeg2/scan.h"

#include <kelvcpx/block.h>
#include <kelvcpx/mpeg2.h>

#include <cstddef>
#include <span>

namespace kelvcpx::app::mpeg2 {
namespace {

// quantiser_scale by quantiser_scale_code where q_scale_type is 1 (13818-2 table 7-6).
constexpr int32_t nonLinearScales[32] = {0,  1,  2,  3,  4,  5,  6,  7,  8,  10, 12, 14, 16, 18, 20,  22,
                                         24, 28, 32, 36, 40, 44, 48, 52, 56, 64, 72, 80, 88, 96, 104, 112};

} // namespace

SliceDecoder::SliceDecoder(PictureContext& context)
    : context_(context), predictor_(context.picture),
      scan_(transposedScan(context.picture.alternateScan ? Scan::alternate : Scan::zigzag).data())
{}

void SliceDecoder::decode(BitReader& reader, int startCode)
{
    int address = firstAddress(reader, startCode);
    readScale(reader);
    while (reader.readFlag()) // intra_slice_flag and what goes with it, or extra_bit_slice
        reader.skip(8);
    predictor_.reset();
    resetDcPredictors();
    previous_ = {};

    address += readAddressIncrement(reader) - 1;
    const int count = context_.macroblocksWide * context_.macroblocksHigh;
    for (;;) {
        if (address >= count)
            throw DamagedUnit("a macroblock lies outside of the picture");
        decodeMacroblock(reader, address);
        if (reader.pastEnd())
            throw DamagedUnit("a slice is cut off");
        context_.decoded[static_cast<std::size_t>(address)] = true;
        if (!reader.hasMore())
            return;
        const int next = address + readAddressIncrement(reader);
        while (++address < next && address < count)
            skipMacroblock(address);
    }
}

// 6.3.16: the address of the first macroblock of the slice's row.
int SliceDecoder::firstAddress(BitReader& reader, int startCode) const
{
    int row = startCode - firstSliceStart;
    if (context_.sequence.height > 2800)
        row += reader.readInt(3) << 7;
    if (row >= context_.macroblocksHigh)
        throw DamagedUnit("a slice lies outside of the picture");
    return row * context_.macroblocksWide;
}

int SliceDecoder::readAddressIncrement(BitReader& reader) const
{
    int increment = 0;
    for (;;) {
        const int32_t value = reader.decode(codeTables().addressIncrement);
        if (value == addressEscape)
            increment += 33;
        else if (value != addressStuffing)
            return increment + value;
        else if (context_.sequence.mpeg2)
            throw DamagedUnit("macroblock stuffing in an MPEG-2 stream");
        if (reader.pastEnd())
            throw DamagedUnit("a slice is cut off");
    }
}

void SliceDecoder::readScale(BitReader& reader)
{
    const int code = reader.readInt(5);
    if (code == 0)
        throw DamagedUnit("the quantiser scale is zero");
    if (!context_.sequence.mpeg2)
        scale_ = code;
    else
        scale_ = context_.picture.nonLinearScale ? nonLinearScales[code] : 2 * code;
}

// 7.2.1; the library's MPEG-1 predictor has the scale of the reconstructed DC.
void SliceDecoder::resetDcPredictors()
{
    const int middle = context_.sequence.mpeg2 ? 128 << context_.picture.intraDcPrecision : 1024;
    dcPredictors_.fill(static_cast<int16_t>(middle));
}

void SliceDecoder::decodeMacroblock(BitReader& reader, int address)
{
    Macroblock macroblock;
    const auto pictureType = static_cast<std::size_t>(context_.picture.type) - 1;
    macroblock.type = reader.decode(codeTables().macroblockType[pictureType]);
    readModes(reader, macroblock);
    if (macroblock.has(typeQuant))
        readScale(reader);
    readMotion(reader, macroblock);
    if (macroblock.has(typeIntra)) {
        decodeIntraBlocks(reader, macroblock, address);
    } else {
        resetDcPredictors();
        const bool coded = macroblock.has(typePattern);
        if (coded)
            decodeResidual(reader, macroblock, readPattern(reader));
        reconstruct(macroblock, address, coded);
    }
    previous_ = macroblock;
}

MotionType SliceDecoder::pictureMotionType() const
{
    return context_.picture.structure == PictureStructure::frame ? MotionType::frame : MotionType::field;
}

// 6.3.17.1, tables 6-17 and 6-18.
void SliceDecoder::readModes(BitReader& reader, Macroblock& macroblock) const
{
    const Picture& picture = context_.picture;
    const bool framePicture = picture.structure == PictureStructure::frame;
    const bool choice = !framePicture || !picture.framePredFrameDct;
    macroblock.motionType = pictureMotionType();
    if (choice && macroblock.has(typeForward | typeBackward)) {
        constexpr MotionType ofFrame[] = {MotionType::none, MotionType::field, MotionType::frame,
                                          MotionType::dualPrime};
        constexpr MotionType ofField[] = {MotionType::none, MotionType::field, MotionType::sixteenByEight,
                                          MotionType::dualPrime};
        macroblock.motionType = (framePicture ? ofFrame : ofField)[reader.read(2)];
        if (macroblock.motionType == MotionType::none)
            throw DamagedUnit("a motion type is reserved");
        if (macroblock.motionType == MotionType::dualPrime && macroblock.has(typeBackward))
            throw DamagedUnit("dual prime prediction in a B picture");
    }
    if (framePicture && choice && macroblock.has(typeIntra | typePattern))
        macroblock.fieldDct = reader.readFlag();
}

void SliceDecoder::readMotion(BitReader& reader, Macroblock& macroblock)
{
    if (macroblock.has(typeIntra)) {
        if (context_.picture.concealmentVectors) {
            predictor_.read(reader, pictureMotionType(), 0);
            reader.expectMarker();
        } else {
            predictor_.reset();
        }
        return;
    }
    if (macroblock.has(typeForward))
        macroblock.motion[0] = predictor_.read(reader, macroblock.motionType, 0);
    if (macroblock.has(typeBackward))
        macroblock.motion[1] = predictor_.read(reader, macroblock.motionType, 1);
    if (!macroblock.has(typeForward | typeBackward)) { // of a P picture: the zero vector (7.6.3.5)
        predictor_.reset();
        macroblock.type |= typeForward;
        macroblock.motion[0].fieldSelect[0] = context_.parity();
    }
}

// 7.6.6.
void SliceDecoder::skipMacroblock(int address)
{
    Macroblock macroblock;
    macroblock.motionType = pictureMotionType();
    macroblock.motion[0].fieldSelect[0] = context_.parity();
    macroblock.motion[1].fieldSelect[0] = context_.parity();
    resetDcPredictors();
    if (context_.picture.type == PictureType::predicted) {
        macroblock.type = typeForward;
        predictor_.reset();
    } else if (context_.picture.type == PictureType::bidirectional && !previous_.has(typeIntra)) {
        macroblock.type = previous_.type & (typeForward | typeBackward);
        macroblock.motion[0].vectors[0] = predictor_.predicted(0);
        macroblock.motion[1].vectors[0] = predictor_.predicted(1);
    } else {
        throw DamagedUnit("a macroblock is skipped that cannot be");
    }
    reconstruct(macroblock, address, false);
    context_.decoded[static_cast<std::size_t>(address)] = true;
}

// coded_block_pattern of 6.3.17.4: the first block in the highest of blockCount() bits.
uint32_t SliceDecoder::readPattern(BitReader& reader) const
{
    const auto pattern = static_cast<uint32_t>(reader.decode(codeTables().codedBlockPattern));
    if (context_.sequence.chroma == ChromaFormat::yuv420) {
        if (pattern == 0)
            throw DamagedUnit("a coded block pattern is zero");
        return pattern;
    }
    return pattern << 2 | reader.read(2);
}

SliceDecoder::BlockPlace SliceDecoder::placeOf(int block, bool fieldDct) const
{
    const bool luma = block < 4;
    const int half = luma ? block >> 1 : (block - 4) >> 1; // upper or lower, or top or bottom field
    const bool byField = fieldDct && (luma || context_.sequence.chroma == ChromaFormat::yuv422);
    return {static_cast<std::size_t>(luma ? 0 : 1 + (block & 1)), luma ? 8 * (block & 1) : 0,
            byField ? half : 8 * half, byField ? 2 : 1};
}

void SliceDecoder::decodeIntraBlocks(BitReader& reader, const Macroblock& macroblock, int address)
{
    const Sequence& sequence = context_.sequence;
    const Picture& picture = context_.picture;
    const int mbX = address % context_.macroblocksWide;
    const int mbY = address / context_.macroblocksWide;
    const int32_t* const coefficients = codeTables().coefficients[picture.intraVlcFormat ? 1 : 0].get();
    alignas(32) std::array<int16_t, 64> block;
    for (int i = 0; i < blockCount(); i++) {
        const BlockPlace place = placeOf(i, macroblock.fieldDct);
        const std::size_t isChroma = place.plane > 0 ? 1 : 0;
        const int32_t* const dcSizes = codeTables().dcSize[isChroma].get();
        const int16_t* const matrix = sequence.matrices.intra[isChroma].data();
        int16_t* const dcPredictor = &dcPredictors_[place.plane];
        int32_t last = 0;
        checkBlock(sequence.mpeg2
                       ? keliReconstructDCTBlockIntra_MPEG2_32s(
                             reader.word(), reader.offset(), dcSizes, coefficients, scan_, scale_, matrix,
                             dcPredictor, 3 - picture.intraDcPrecision, block.data(), &last)
                       : keliReconstructDCTBlockIntra_MPEG1_32s(reader.word(), reader.offset(), dcSizes,
                                                                coefficients, scan_, scale_, matrix,
                                                                dcPredictor, block.data(), &last));

        const Surface::Plane& plane = context_.target.planes[place.plane];
        const int x = mbX * (isChroma != 0 ? 16 >> chromaShiftX(sequence.chroma) : 16) + place.x;
        const int y = mbY * (isChroma != 0 ? 16 >> chromaShiftY(sequence.chroma) : 16) + place.y;
        compensateRounding(block.data(), last);
        keliDCT8x8Inv_AANTransposed_16s8u_C1R(block.data(),
                                              plane.samples + std::ptrdiff_t{plane.step} * y + x,
                                              plane.step * place.stepFactor, last);
    }
}

void SliceDecoder::decodeResidual(BitReader& reader, const Macroblock& macroblock, uint32_t pattern)
{
    const Sequence& sequence = context_.sequence;
    const int32_t* const coefficients = codeTables().coefficients[0].get();
    alignas(32) std::array<int16_t, 64> block;
    for (int i = 0; i < blockCount(); i++) {
        const BlockPlace place = placeOf(i, macroblock.fieldDct);
        const bool isChroma = place.plane > 0;
        int32_t last = -1; // an uncoded block: the inverse DCT clears its residual
        if ((pattern >> (blockCount() - 1 - i) & 1) != 0) {
            const int16_t* const matrix = sequence.matrices.nonIntra[isChroma ? 1 : 0].data();
            checkBlock(
                (sequence.mpeg2 ? keliReconstructDCTBlock_MPEG2_32s : keliReconstructDCTBlock_MPEG1_32s)(
                    reader.word(), reader.offset(), coefficients, coefficients, scan_, scale_, matrix,
                    block.data(), &last));
            compensateRounding(block.data(), last);
        }
        const int rowLength = isChroma ? 8 : 16;
        int16_t* const plane = isChroma ? residual_.chroma[place.plane - 1].data() : residual_.luma.data();
        keliDCT8x8Inv_AANTransposed_16s_C1R(
            block.data(), plane + place.y * rowLength + place.x,
            rowLength * place.stepFactor * static_cast<int32_t>(sizeof(int16_t)), last);
    }
}

void SliceDecoder::reconstruct(const Macroblock& macroblock, int address, bool coded)
{
    const int x = 16 * (address % context_.macroblocksWide);
    const int y = 16 * (address / context_.macroblocksWide);
    const ResidualView residual(residual_, coded);
    if (context_.picture.structure == PictureStructure::frame)
        reconstructInFrame(macroblock, x, y, residual);
    else
        reconstructInField(macroblock, x, y, residual);
}

void SliceDecoder::reconstructInFrame(const Macroblock& macroblock, int x, int y,
                                      const ResidualView& residual)
{
    const ChromaFormat chroma = context_.sequence.chroma;
    if (macroblock.motionType == MotionType::frame) {
        predict(context_.target, chroma, {x, y, 16}, sources(macroblock, 0), residual);
        return;
    }
    // Each field of the macroblock for itself.
    const bool dualPrime = macroblock.motionType == MotionType::dualPrime;
    const auto opposite = oppositeParityVectors(macroblock.motion[0], context_.picture);
    for (std::size_t parity = 0; parity < 2; parity++)
        predict(context_.target.field(static_cast<int>(parity)), chroma, {x, y / 2, 8},
                dualPrime ? dualPrimeSources(macroblock, parity, opposite[parity])
                          : sources(macroblock, parity),
                residual.field(static_cast<int>(parity)));
}

void SliceDecoder::reconstructInField(const Macroblock& macroblock, int x, int y,
                                      const ResidualView& residual)
{
    const ChromaFormat chroma = context_.sequence.chroma;
    if (macroblock.motionType == MotionType::sixteenByEight) {
        predict(context_.target, chroma, {x, y, 8}, sources(macroblock, 0), residual);
        const int chromaRows = 8 >> chromaShiftY(chroma);
        predict(context_.target, chroma, {x, y + 8, 8}, sources(macroblock, 1),
                residual.fromRows({8, chromaRows, chromaRows}));
        return;
    }
    const bool dualPrime = macroblock.motionType == MotionType::dualPrime;
    const auto parity = static_cast<std::size_t>(context_.parity());
    const Vector opposite = oppositeParityVectors(macroblock.motion[0], context_.picture)[0];
    predict(context_.target, chroma, {x, y, 16},
            dualPrime ? dualPrimeSources(macroblock, parity, opposite) : sources(macroblock, 0), residual);
}

SourceList SliceDecoder::sources(const Macroblock& macroblock, std::size_t r) const
{
    return sourcesOf(context_.references, macroblock.type, macroblock.motionType, macroblock.motion, r);
}

SourceList SliceDecoder::dualPrimeSources(const Macroblock& macroblock, std::size_t parity,
                                          Vector opposite) const
{
    const References& references = context_.references[0];
    SourceList list;
    list.add(references.fields[parity], macroblock.motion[0].vectors[0]);
    list.add(references.fields[1 - parity], opposite);
    return list;
}

} // namespace kelvcpx::app::mpeg2
