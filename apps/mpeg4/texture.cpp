#include "mpeg4/texture.h"

#include "common/residual_block.h"
#include "mpeg4/code_tables.h"

#include <kelvcpx/mpeg4.h>

namespace kelvcpx::app::mpeg4 {
namespace {

// As the operations of the library number them.
constexpr int32_t zigzag = 0;
constexpr int32_t alternateVertical = 1;
constexpr int32_t alternateHorizontal = 2;

bool isChroma(std::size_t block)
{
    return block >= 4;
}

// The inverse DCT looks at as much as this says; the last frequency may come from mismatch control.
int32_t transformed(const std::array<int16_t, 64>& coefficients, int32_t last)
{
    return coefficients[63] != 0 ? 63 : last;
}

// From scan order to raster order.
void unscan(const std::array<int16_t, 64>& levels, int32_t scan, std::array<int16_t, 64>& block)
{
    const Scan8x8& positions = scan == zigzag              ? zigzagScan
                               : scan == alternateVertical ? alternateVerticalScan
                                                           : alternateHorizontalScan;
    for (std::size_t i = 0; i < block.size(); i++)
        block[positions[i]] = levels[i];
}

} // namespace

void TextureDecoder::decode(CodeReader& reader, const Macroblock& macroblock)
{
    for (std::size_t i = 0; i < 6; i++)
        if (macroblock.intra)
            decodeIntra(reader, macroblock, i);
        else if (macroblock.hasBlock(i))
            decodeInter(reader, macroblock, i);
}

void TextureDecoder::decodeIntra(CodeReader& reader, const Macroblock& macroblock, std::size_t i)
{
    alignas(32) Block levels;
    if (context_.layer.dataPartitioned && !context_.isBidirectional())
        levels[0] = macroblock.dcDifferences[i];
    else if (macroblock.separateDc)
        checkBlock(keliDecodeDCIntra_MPEG4_1u16s(reader.byte(), reader.offset(), levels.data(), isChroma(i)));
    else
        levels[0] = 0;
    const IntraPredictor::Source source = intra_.sourceOf(macroblock, i);
    int32_t last = 0;
    if (macroblock.hasBlock(i))
        checkBlock(keliDecodeCoeffsIntra_MPEG4_1u16s(reader.byte(), reader.offset(), levels.data(), &last,
                                                     context_.layer.reversibleCodes, macroblock.separateDc,
                                                     intraScan(macroblock, source)));
    else
        std::fill(levels.begin() + 1, levels.end(), int16_t{0});
    reconstructIntra(macroblock, i, source, levels, last);
}

void TextureDecoder::decodeInter(CodeReader& reader, const Macroblock& macroblock, std::size_t i) const
{
    alignas(32) Block coefficients;
    int32_t last = 0;
    checkBlock(keliReconstructCoeffsInter_MPEG4_1u16s(
        reader.byte(), reader.offset(), coefficients.data(), &last,
        context_.layer.reversibleCodes && !context_.isBidirectional(),
        context_.vop.alternateVerticalScan ? alternateVertical : zigzag, context_.interQuantiser,
        macroblock.quant));
    addInter(macroblock, i, coefficients, last);
}

// 7.4.2: the prediction of AC coefficients has scans that suit it.
int32_t TextureDecoder::intraScan(const Macroblock& macroblock, const IntraPredictor::Source& source) const
{
    if (context_.vop.alternateVerticalScan)
        return alternateVertical;
    if (!macroblock.predictsAc)
        return zigzag;
    return source.fromAbove ? alternateHorizontal : alternateVertical;
}

void TextureDecoder::reconstructIntra(const Macroblock& macroblock, std::size_t i,
                                      const IntraPredictor::Source& source, Block& levels, int32_t last)
{
    intra_.predict(macroblock, i, source, levels.data());
    intra_.keepLevels(macroblock, i, levels.data());
    if (macroblock.predictsAc)
        last = 63;
    keliQuantInvIntra_MPEG4_16s_C1I(levels.data(), last > 0 ? 63 : 0, context_.intraQuantiser,
                                    macroblock.quant, isChroma(i));
    intra_.keepDc(macroblock, i, levels[0]);
    const BlockPlace place = placeOf(macroblock, i);
    reconstructBlock(levels.data(), transformed(levels, last), place.samples, place.step);
}

void TextureDecoder::addInter(const Macroblock& macroblock, std::size_t i, Block& coefficients,
                              int32_t last) const
{
    const BlockPlace place = placeOf(macroblock, i);
    addBlock(coefficients.data(), transformed(coefficients, last), place.samples, place.step);
}

TextureDecoder::BlockPlace TextureDecoder::placeOf(const Macroblock& macroblock, std::size_t i) const
{
    const int column = macroblock.column;
    const int row = macroblock.row;
    if (isChroma(i)) {
        const PaddedFrame::Plane& plane = context_.target->picture.plane(i - 3);
        return {plane.at(8 * column, 8 * row), plane.step};
    }
    const PaddedFrame::Plane& plane = context_.target->picture.plane(0);
    const int x = 16 * column + 8 * static_cast<int>(i & 1);
    const int half = static_cast<int>(i >> 1); // upper or lower, or top or bottom field
    if (macroblock.fieldDct)
        return {plane.at(x, 16 * row + half), 2 * plane.step};
    return {plane.at(x, 16 * row + 8 * half), plane.step};
}

void TextureDecoder::readBackward(CodeReader& reader, const Macroblock& macroblock, Levels& levels) const
{
    for (std::size_t i = 6; i-- > 0;) {
        Block& block = levels.blocks[i];
        levels.last[i] = 0;
        if (!macroblock.hasBlock(i))
            block.fill(0);
        else if (macroblock.intra)
            checkBlock(keliDecodeCoeffsIntraRVLCBack_MPEG4_1u16s(reader.byte(), reader.offset(), block.data(),
                                                                 &levels.last[i], macroblock.separateDc));
        else
            checkBlock(keliDecodeCoeffsInterRVLCBack_MPEG4_1u16s(reader.byte(), reader.offset(), block.data(),
                                                                 &levels.last[i]));
        if (macroblock.separateDc)
            block[0] = macroblock.dcDifferences[i];
    }
}

void TextureDecoder::reconstruct(const Macroblock& macroblock, const Levels& levels)
{
    for (std::size_t i = 0; i < 6; i++) {
        alignas(32) Block block;
        if (macroblock.intra) {
            const IntraPredictor::Source source = intra_.sourceOf(macroblock, i);
            unscan(levels.blocks[i], intraScan(macroblock, source), block);
            reconstructIntra(macroblock, i, source, block, levels.last[i]);
        } else if (macroblock.hasBlock(i)) {
            unscan(levels.blocks[i], context_.vop.alternateVerticalScan ? alternateVertical : zigzag, block);
            keliQuantInvInter_MPEG4_16s_C1I(block.data(), 63, context_.interQuantiser, macroblock.quant);
            addInter(macroblock, i, block, levels.last[i]);
        }
    }
}

void TextureDecoder::reconstructDc(const Macroblock& macroblock)
{
    Macroblock dcAlone = macroblock;
    dcAlone.predictsAc = false;
    for (std::size_t i = 0; i < 6; i++) {
        alignas(32) Block levels{};
        levels[0] = macroblock.dcDifferences[i];
        reconstructIntra(dcAlone, i, intra_.sourceOf(dcAlone, i), levels, 0);
    }
}

} // namespace kelvcpx::app::mpeg4
