#include "mpeg2/encoder/block_coder.h"

#include "common/forward_dct.h"
#include "common/residual_block.h"
#include "mpeg2/encoder/encoding_tables.h"
#include "mpeg2/scan.h"

#include <kelvcpx/block.h>
#include <kelvcpx/mpeg2.h>
#include <kelvcpx/mpeg2_encode.h>

#include <algorithm>

namespace kelvcpx::app::mpeg2 {
namespace {

constexpr int32_t blockRow = 8 * sizeof(int16_t);

// Every level is an escape code of 24 bits, and the DC has 20.
constexpr std::size_t mostWordsOfBlock = 64;

// Decoders saturate coefficients at different stages, so none is to reach this magnitude.
constexpr int32_t greatestCoefficient = 2047;

} // namespace

BlockCoder::BlockCoder(const Sequence& sequence, const Picture& picture)
    : weights_(sequence.matrices.intra[0]), nonIntraWeights_(sequence.matrices.nonIntra[0]),
      scan_(transposedScan(picture.alternateScan ? Scan::alternate : Scan::zigzag).data()),
      dcShift_(3 - picture.intraDcPrecision), intraTableOne_(picture.intraVlcFormat)
{
    for (std::size_t i = 0; i < 64; i++)
        reciprocals_[i] = 1.0F / static_cast<float>(weights_[i]);
}

// The library truncates levels. Coefficients of a picture itself are spread so evenly that rounding up from
// 5/8 of a step serves them better; residuals gather at zero, and truncation is right for them.
void BlockCoder::setScale(int32_t scale)
{
    scale_ = scale;
    for (std::size_t i = 0; i < 64; i++) {
        const int32_t stepTimes16 = scale * weights_[i];
        roundings_[i] = static_cast<int16_t>((3 * stepTimes16 + 64) / 128);
    }
}

void BlockCoder::transformIntra(const uint8_t* samples, int32_t step, CodedBlock& block) const
{
    std::array<int16_t, 64> elements;
    for (std::size_t y = 0; y < 8; y++)
        for (std::size_t x = 0; x < 8; x++)
            elements[8 * y + x] =
                samples[static_cast<std::ptrdiff_t>(y) * step + static_cast<std::ptrdiff_t>(x)];
    forwardDctTransposed(elements.data(), blockRow, block.levels);
    const int dc = (block.levels[0] + (1 << dcShift_ >> 1)) >> dcShift_;
    for (std::size_t i = 0; i < 64; i++)
        block.levels[i] =
            static_cast<int16_t>(block.levels[i] + (block.levels[i] < 0 ? -roundings_[i] : roundings_[i]));
    keliQuantIntra_MPEG2_16s_C1I(block.levels.data(), scale_, reciprocals_.data(), &block.count);
    block.levels[0] = static_cast<int16_t>(dc);
}

void BlockCoder::transformNonIntra(const int16_t* residual, int32_t step, CodedBlock& block) const
{
    forwardDctTransposed(residual, step, block.levels);
    keliQuant_MPEG2_16s_C1I(block.levels.data(), scale_, nullptr, &block.count);
    const auto greatest = static_cast<int16_t>((2 * greatestCoefficient / scale_ - 1) / 2);
    for (int16_t& level : block.levels)
        level = std::clamp<int16_t>(level, static_cast<int16_t>(-greatest), greatest);
}

// The scan position of the last level that is not zero, 0 if there is none.
int32_t BlockCoder::lastPosition(const CodedBlock& block) const
{
    int32_t position = 63;
    while (position > 0 && block.levels[static_cast<std::size_t>(scan_[position])] == 0)
        position--;
    return position;
}

void BlockCoder::reconstructIntra(const CodedBlock& block, uint8_t* samples, int32_t step) const
{
    alignas(32) std::array<int16_t, 64> coefficients = block.levels;
    coefficients[0] = static_cast<int16_t>(coefficients[0] * (1 << dcShift_));
    keliQuantInvIntra_MPEG2_16s_C1I(coefficients.data(), scale_, weights_.data());
    const int32_t last = lastPosition(block);
    compensateRounding(coefficients.data(), last);
    keliDCT8x8Inv_AANTransposed_16s8u_C1R(coefficients.data(), samples, step, last);
}

void BlockCoder::reconstructNonIntra(const CodedBlock& block, int16_t* residual, int32_t step) const
{
    alignas(32) std::array<int16_t, 64> coefficients = block.levels;
    int32_t last = -1; // the inverse DCT clears the residual
    if (block.count > 0) {
        keliQuantInv_MPEG2_16s_C1I(coefficients.data(), scale_, nonIntraWeights_.data());
        last = std::max(lastPosition(block), 1); // mismatch control has its say in a block of one coefficient
        compensateRounding(coefficients.data(), last);
    }
    keliDCT8x8Inv_AANTransposed_16s_C1R(coefficients.data(), residual, step, last);
}

void BlockCoder::putIntra(BitWriter& bits, const CodedBlock& block, std::size_t component,
                          int32_t& dcPredictor) const
{
    const EncodingTables& tables = encodingTables();
    const RunLevelBook& book = tables.coefficients[intraTableOne_ ? 1 : 0];
    bits.putWords(mostWordsOfBlock, [&](uint32_t** word, int32_t* freeBits) {
        keliPutIntraBlock(word, freeBits, block.levels.data(), &dcPredictor,
                          tables.dcSize[component > 0 ? 1 : 0].data(), book.table.get(), scan_,
                          book.endOfBlockLength, book.endOfBlockCode, block.count);
    });
}

void BlockCoder::putNonIntra(BitWriter& bits, const CodedBlock& block) const
{
    const RunLevelBook& book = encodingTables().coefficients[0];
    bits.putWords(mostWordsOfBlock, [&](uint32_t** word, int32_t* freeBits) {
        keliPutNonIntraBlock(word, freeBits, block.levels.data(), book.table.get(), scan_,
                             book.endOfBlockLength, book.endOfBlockCode, block.count);
    });
}

} // namespace kelvcpx::app::mpeg2
