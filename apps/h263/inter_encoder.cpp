#include "h263/inter_encoder.h"

#include "h263/code_tables.h"

namespace kelvcpx::app::h263 {

InterEncoder::InterEncoder(const VideoFormat& format, const EncoderSettings& settings,
                           MakeDecoder makeDecoder, int reach)
    : PredictiveEncoder(format, settings, makeDecoder), wide_((format.width + 15) / 16),
      high_((format.height + 15) / 16), reach_(reach), vectors_(wide_, high_)
{}

void InterEncoder::startPicture(int32_t rounding)
{
    rounding_ = rounding;
    vectors_.clear();
}

bool InterEncoder::encodeInter(int column, int row)
{
    const MotionVector predicted = vectors_.predicted(column, row);
    int sad;
    const MotionVector vector =
        searchVector(column, row, reach_, vectors_.candidates(column, row), predicted, sad);
    if (intraIsBetter(column, row, sad))
        return false;
    predictMacroblock(reference(), column, row, vector, rounding_, predicted_);
    quantiseInter(column, row, predicted_, levels_);
    const uint32_t pattern = codedBlockPattern(levels_.counts);
    vectors_.set(column, row, vector);
    const bool skipped = pattern == 0 && vector == MotionVector{};
    writer_.put(skipped ? 1 : 0, 1); // COD, not_coded
    if (skipped)
        return true;
    writer_.put(codeRows.mcbpcInter, 4 * typeInter + static_cast<int32_t>(pattern & 3));
    writer_.put(codeRows.cbpy, static_cast<int32_t>(pattern >> 2 ^ 15));
    writeDifference(vector.x - predicted.x);
    writeDifference(vector.y - predicted.y);
    for (std::size_t i = 0; i < 6; i++)
        if (levels_.counts[i] > 0)
            writer_.putBlock([&](uint8_t** at, int32_t* offset) {
                return encodeLevels(levels_.blocks[i].data(), at, offset, levels_.counts[i]);
            });
    return true;
}

void InterEncoder::writeIntraType(bool intraPicture, uint32_t pattern)
{
    if (!intraPicture)
        writer_.put(0, 1); // COD, not_coded
    writer_.put(intraPicture ? codeRows.mcbpcIntra : codeRows.mcbpcInter,
                4 * typeIntra + static_cast<int32_t>(pattern & 3));
}

} // namespace kelvcpx::app::h263
