#include "mpeg4/encoder/encoder.h"

#include "h263/code_tables.h"
#include "h263/inter_encoder.h"
#include "mpeg4/code_tables.h"
#include "mpeg4/decoder.h"
#include "mpeg4/encoder/header_writer.h"
#include "mpeg4/encoder/intra_coding.h"
#include "mpeg4/records.h"

#include <kelvcpx/mpeg4.h>

#include <cstdlib>

namespace kelvcpx::app::mpeg4 {
namespace {

constexpr int fcode = 2;
constexpr int reach = 32 << (fcode - 1); // of vectors, in half samples

class Encoder : public h263::InterEncoder
{
public:
    Encoder(const VideoFormat& format, const EncoderSettings& settings);

private:
    std::vector<uint8_t> encodePicture(bool intra) override;
    void quantiseIntraBlock(std::size_t block, int16_t* coefficients, int32_t& count) const override;
    void quantiseInterBlock(int16_t* coefficients, int32_t& count) const override;

    void startVop(bool intra);
    void encodeMacroblock(IntraCoding& intraCoding, int column, int row);
    void encodeIntra(IntraCoding& intraCoding, int column, int row);
    Status encodeLevels(const int16_t* levels, uint8_t** at, int32_t* offset, int32_t count) const override;
    void writeDifference(int difference) override;

    VideoObjectLayer layer_;
    Quantisers inverse_;
    Record<QuantSpec> intraQuantiser_{keliQuantIntraGetSize_MPEG4};
    Record<QuantSpec> interQuantiser_{keliQuantInterGetSize_MPEG4};
    Frame frame_; // which macroblocks are intra
    VopContext context_;
    int64_t seconds_ = 0; // of the VOP before
    IntraDifferences differences_;
};

Encoder::Encoder(const VideoFormat& format, const EncoderSettings& settings)
    : InterEncoder(format, settings, makeDecoder, reach), layer_(describeLayer(format)), inverse_(layer_),
      frame_(format, static_cast<std::size_t>(layer_.macroblockCount()))
{
    constexpr int32_t bits = 8;
    keliQuantIntraInit_MPEG4(nullptr, intraQuantiser_.get(), bits);
    keliQuantInterInit_MPEG4(nullptr, interQuantiser_.get(), bits);
    context_.layer = layer_;
    context_.target = &frame_;
    context_.intraQuantiser = inverse_.intra();
    context_.interQuantiser = inverse_.inter();
}

void Encoder::quantiseIntraBlock(std::size_t block, int16_t* coefficients, int32_t& count) const
{
    uint32_t nonZero = 0;
    keliQuantIntra_MPEG4_16s_C1I(coefficients, intraQuantiser_.get(), qp(), &nonZero, block >= 4);
    count = static_cast<int32_t>(nonZero);
}

void Encoder::quantiseInterBlock(int16_t* coefficients, int32_t& count) const
{
    uint32_t nonZero = 0;
    keliQuantInter_MPEG4_16s_C1I(coefficients, interQuantiser_.get(), qp(), &nonZero);
    count = static_cast<int32_t>(nonZero);
}

std::vector<uint8_t> Encoder::encodePicture(bool intra)
{
    startVop(intra);
    startPicture(context_.vop.rounding);
    IntraCoding intraCoding(context_);
    for (int row = 0; row < high(); row++)
        for (int column = 0; column < wide(); column++)
            encodeMacroblock(intraCoding, column, row);
    stuff(writer_);
    return writer_.take();
}

void Encoder::startVop(bool intra)
{
    const int64_t time = timeOfPicture(layer_, format(), number());
    Vop& vop = context_.vop;
    vop.type = intra ? VopType::intra : VopType::predicted;
    vop.seconds = static_cast<int>(time / layer_.timeIncrementResolution - seconds_);
    vop.increment = static_cast<int>(time % layer_.timeIncrementResolution);
    seconds_ += vop.seconds;
    // Rounding half a sample up in one VOP and down in the next keeps errors from adding up.
    vop.rounding = intra ? 0 : 1 - vop.rounding;
    vop.quant = qp();
    vop.fcode[0] = fcode;
    if (intra)
        writeSequence(writer_, layer_);
    writeVop(writer_, layer_, vop);
}

void Encoder::encodeMacroblock(IntraCoding& intraCoding, int column, int row)
{
    MacroblockMotion& motion = frame_.motion[static_cast<std::size_t>(row * context_.wide() + column)];
    motion.packet = 1;
    motion.intra = context_.vop.type == VopType::intra || !encodeInter(column, row);
    if (motion.intra)
        encodeIntra(intraCoding, column, row);
}

void Encoder::encodeIntra(IntraCoding& intraCoding, int column, int row)
{
    Macroblock macroblock;
    macroblock.address = row * context_.wide() + column;
    macroblock.column = column;
    macroblock.row = row;
    macroblock.quant = qp();
    macroblock.intra = true;
    quantiseIntra(column, row, levels_);
    intraCoding.code(macroblock, levels_, differences_);
    const uint32_t pattern = codedBlockPattern(differences_.acCounts);
    writeIntraType(context_.vop.type == VopType::intra, pattern);
    writer_.put(differences_.predictsAc ? 1 : 0, 1);
    writer_.put(h263::codeRows.cbpy, static_cast<int32_t>(pattern >> 2));
    for (std::size_t i = 0; i < 6; i++) {
        const int16_t* const block = differences_.blocks[i].data();
        const int32_t chroma = i >= 4 ? 1 : 0;
        writer_.putBlock([&](uint8_t** at, int32_t* offset) {
            return keliEncodeDCIntra_MPEG4_16s1u(block[0], at, offset, chroma);
        });
        if (differences_.acCounts[i] > 0)
            writer_.putBlock([&](uint8_t** at, int32_t* offset) {
                return keliEncodeCoeffsIntra_MPEG4_16s1u(block, at, offset, differences_.acCounts[i], 0, 1,
                                                         differences_.scans[i]);
            });
    }
}

Status Encoder::encodeLevels(const int16_t* levels, uint8_t** at, int32_t* offset, int32_t count) const
{
    return keliEncodeCoeffsInter_MPEG4_16s1u(levels, at, offset, count, 0, 0);
}

// 7.6.3: a difference is taken modulo the range, and split into a code and a residual.
void Encoder::writeDifference(int difference)
{
    constexpr int residualBits = fcode - 1;
    const int delta = ((difference + reach) & (2 * reach - 1)) - reach;
    const int magnitude = delta == 0 ? 0 : ((std::abs(delta) - 1) >> residualBits) + 1;
    const int code = delta < 0 ? -magnitude : magnitude;
    if (code == largestMvd.value)
        writer_.put(largestMvd.bits);
    else
        writer_.put(h263::codeRows.mvd, code);
    if (code != 0)
        writer_.put(static_cast<uint32_t>(std::abs(delta) - 1) & ((1U << residualBits) - 1), residualBits);
}

} // namespace

std::unique_ptr<VideoEncoder> makeEncoder(const VideoFormat& format, const EncoderSettings& settings)
{
    return std::make_unique<Encoder>(format, settings);
}

} // namespace kelvcpx::app::mpeg4
