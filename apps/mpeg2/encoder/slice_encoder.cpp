#include "mpeg2/encoder/slice_encoder.h"

#include "mpeg2/encoder/difference.h"
#include "mpeg2/encoder/encoding_tables.h"

#include <kelvcpx/metrics.h>

#include <cstddef>

namespace kelvcpx::app::mpeg2 {
namespace {

constexpr int longestIncrement = 33; // without the escape

} // namespace

SliceEncoder::SliceEncoder(const PictureCoding& coding, BitWriter& bits)
    : coding_(coding), bits_(bits), blockCoder_(coding.sequence, coding.picture),
      motionWriter_(coding.picture)
{}

void SliceEncoder::encode(int row, int scaleCode)
{
    bits_.startCode(firstSliceStart + row);
    bits_.put(scaleCode, 5);
    bits_.put(0, 1); // extra_bit_slice
    blockCoder_.setScale(2 * scaleCode);
    motionWriter_.reset();
    resetDcPredictors();
    addressIncrement_ = 1;
    for (int column = 0; column < coding_.macroblocksWide(); column++)
        encodeMacroblock(column, row);
}

// 7.2.1.
void SliceEncoder::resetDcPredictors()
{
    dcPredictors_.fill(128 << coding_.picture.intraDcPrecision);
}

SliceEncoder::BlockPlace SliceEncoder::placeOf(std::size_t block, bool fieldDct)
{
    if (block >= 4)
        return {block - 3, 0, 0, 1};
    const int half = static_cast<int>(block >> 1); // upper or lower, or top or bottom field
    return {0, 8 * static_cast<int>(block & 1), fieldDct ? half : 8 * half, fieldDct ? 2 : 1};
}

void SliceEncoder::encodeMacroblock(int column, int row)
{
    Macroblock macroblock;
    macroblock.plan = coding_.plans[static_cast<std::size_t>(row * coding_.macroblocksWide() + column)];
    if (macroblock.plan.has(typeIntra)) {
        transformIntra(macroblock, column, row);
        write(macroblock);
        reconstructIntra(macroblock, column, row);
    } else {
        transformInter(macroblock, column, row);
        resetDcPredictors();
        if (canSkip(macroblock, column)) {
            addressIncrement_++;
            if (coding_.picture.type == PictureType::predicted)
                motionWriter_.reset();
        } else {
            write(macroblock);
        }
        reconstructInter(macroblock, column, row);
    }
    previous_ = macroblock.plan;
}

void SliceEncoder::transformIntra(Macroblock& macroblock, int column, int row) const
{
    const Surface::Plane& luma = coding_.source.planes[0];
    if (!coding_.picture.framePredFrameDct) {
        int32_t frame = 0;
        int32_t field = 0;
        keliFrameFieldSAD16x16_8u32s_C1R(luma.samples + std::ptrdiff_t{luma.step} * 16 * row + 16 * column,
                                         luma.step, &frame, &field);
        macroblock.fieldDct = frame > field;
    }
    for (std::size_t i = 0; i < 6; i++) {
        const BlockPlace place = placeOf(i, macroblock.fieldDct);
        const Surface::Plane& plane = coding_.source.planes[place.plane];
        const int size = place.plane == 0 ? 16 : 8;
        const uint8_t* const samples =
            plane.samples + std::ptrdiff_t{plane.step} * (size * row + place.y) + size * column + place.x;
        blockCoder_.transformIntra(samples, plane.step * place.stepFactor, macroblock.blocks[i]);
    }
}

void SliceEncoder::transformInter(Macroblock& macroblock, int column, int row)
{
    const MacroblockPlan& plan = macroblock.plan;
    const ResidualTarget target(residual_);
    if (plan.motionType == MotionType::frame)
        difference(coding_.source, {16 * column, 16 * row, 16}, coding_.sourcesOf(plan, 0), Components::all,
                   target);
    else
        for (int parity = 0; parity < 2; parity++)
            difference(coding_.source.field(parity), {16 * column, 8 * row, 8},
                       coding_.sourcesOf(plan, static_cast<std::size_t>(parity)), Components::all,
                       target.field(parity));

    if (!coding_.picture.framePredFrameDct) {
        int32_t frame = 0;
        int32_t field = 0;
        keliFrameFieldSAD16x16_16s32s_C1R(target.planes[0], target.steps[0], &frame, &field);
        macroblock.fieldDct = frame > field;
    }
    for (std::size_t i = 0; i < 6; i++) {
        const BlockPlace place = placeOf(i, macroblock.fieldDct);
        const int32_t step = target.steps[place.plane];
        const int16_t* const first =
            target.planes[place.plane] + place.y * step / static_cast<int32_t>(sizeof(int16_t)) + place.x;
        blockCoder_.transformNonIntra(first, step * place.stepFactor, macroblock.blocks[i]);
        macroblock.pattern = macroblock.pattern << 1 | (macroblock.blocks[i].count > 0 ? 1 : 0);
    }
}

// 7.6.6. The first and the last macroblock of a slice are never skipped.
bool SliceEncoder::canSkip(const Macroblock& macroblock, int column) const
{
    const MacroblockPlan& plan = macroblock.plan;
    if (macroblock.pattern != 0 || plan.motionType != MotionType::frame || column == 0 ||
        column == coding_.macroblocksWide() - 1)
        return false;
    if (coding_.picture.type == PictureType::predicted)
        return plan.motion[0].vectors[0] == Vector{};
    if (previous_.type != plan.type)
        return false;
    for (int direction = 0; direction < 2; direction++)
        if (plan.has(direction == 0 ? typeForward : typeBackward) &&
            plan.motion[static_cast<std::size_t>(direction)].vectors[0] != motionWriter_.predicted(direction))
            return false;
    return true;
}

// The flags that the macroblock type says. In a P picture the zero vector is not written if there are blocks.
int32_t SliceEncoder::writtenType(const Macroblock& macroblock) const
{
    const MacroblockPlan& plan = macroblock.plan;
    if (plan.has(typeIntra))
        return typeIntra;
    if (macroblock.pattern == 0)
        return plan.type;
    const bool still = coding_.picture.type == PictureType::predicted &&
                       plan.motionType == MotionType::frame && plan.motion[0].vectors[0] == Vector{};
    return (still ? 0 : plan.type) | typePattern;
}

// 6.2.5.
void SliceEncoder::write(const Macroblock& macroblock)
{
    const EncodingTables& tables = encodingTables();
    for (; addressIncrement_ > longestIncrement; addressIncrement_ -= longestIncrement)
        tables.addressIncrement.put(bits_, addressEscape);
    tables.addressIncrement.put(bits_, addressIncrement_);
    addressIncrement_ = 1;

    const int32_t type = writtenType(macroblock);
    tables.macroblockType[static_cast<std::size_t>(coding_.picture.type) - 1].put(bits_, type);
    if (!coding_.picture.framePredFrameDct) {
        constexpr int fieldMotion = 1; // table 6-17
        constexpr int frameMotion = 2;
        if ((type & (typeForward | typeBackward)) != 0)
            bits_.put(macroblock.plan.motionType == MotionType::field ? fieldMotion : frameMotion, 2);
        if ((type & (typeIntra | typePattern)) != 0)
            bits_.put(macroblock.fieldDct, 1);
    }
    writeMotion(macroblock, type);
    writeBlocks(macroblock);
}

void SliceEncoder::writeMotion(const Macroblock& macroblock, int32_t type)
{
    if ((type & (typeForward | typeBackward)) == 0) // intra, or the zero vector of a P picture
        motionWriter_.reset();
    for (int direction = 0; direction < 2; direction++)
        if ((type & (direction == 0 ? typeForward : typeBackward)) != 0)
            motionWriter_.write(bits_, macroblock.plan.motion[static_cast<std::size_t>(direction)],
                                macroblock.plan.motionType, direction);
}

void SliceEncoder::writeBlocks(const Macroblock& macroblock)
{
    const bool intra = macroblock.plan.has(typeIntra);
    if (!intra && macroblock.pattern != 0)
        encodingTables().codedBlockPattern.put(bits_, static_cast<int>(macroblock.pattern));
    for (std::size_t i = 0; i < 6; i++) {
        const std::size_t component = i < 4 ? 0 : i - 3;
        if (intra)
            blockCoder_.putIntra(bits_, macroblock.blocks[i], component, dcPredictors_[component]);
        else if (macroblock.blocks[i].count > 0)
            blockCoder_.putNonIntra(bits_, macroblock.blocks[i]);
    }
}

void SliceEncoder::reconstructIntra(const Macroblock& macroblock, int column, int row) const
{
    for (std::size_t i = 0; i < 6; i++) {
        const BlockPlace place = placeOf(i, macroblock.fieldDct);
        const Surface::Plane& plane = coding_.target.planes[place.plane];
        const int size = place.plane == 0 ? 16 : 8;
        uint8_t* const samples =
            plane.samples + std::ptrdiff_t{plane.step} * (size * row + place.y) + size * column + place.x;
        blockCoder_.reconstructIntra(macroblock.blocks[i], samples, plane.step * place.stepFactor);
    }
}

void SliceEncoder::reconstructInter(const Macroblock& macroblock, int column, int row)
{
    const MacroblockPlan& plan = macroblock.plan;
    const bool coded = macroblock.pattern != 0;
    const ResidualTarget target(residual_);
    for (std::size_t i = 0; coded && i < 6; i++) {
        const BlockPlace place = placeOf(i, macroblock.fieldDct);
        const int32_t step = target.steps[place.plane];
        int16_t* const first =
            target.planes[place.plane] + place.y * step / static_cast<int32_t>(sizeof(int16_t)) + place.x;
        blockCoder_.reconstructNonIntra(macroblock.blocks[i], first, step * place.stepFactor);
    }
    const ResidualView residual(residual_, coded);
    if (plan.motionType == MotionType::frame) {
        predict(coding_.target, coding_.sequence.chroma, {16 * column, 16 * row, 16},
                coding_.sourcesOf(plan, 0), residual);
        return;
    }
    for (int parity = 0; parity < 2; parity++)
        predict(coding_.target.field(parity), coding_.sequence.chroma, {16 * column, 8 * row, 8},
                coding_.sourcesOf(plan, static_cast<std::size_t>(parity)), residual.field(parity));
}

} // namespace kelvcpx::app::mpeg2
