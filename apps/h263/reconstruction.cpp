#include "h263/reconstruction.h"

#include "common/block_place.h"
#include "common/residual_block.h"
#include "h263/chroma_vector.h"

#include <kelvcpx/block.h>
#include <kelvcpx/mpeg4_motion.h>

#include <algorithm>
#include <array>

namespace kelvcpx::app::h263 {
namespace {

// Keeps a vector from leaving the margin, where all samples of a row, or of a column, are the same.
::MotionVector withinMargin(Vector vector, const PaddedFrame::Plane& plane, int x, int y)
{
    constexpr int reach = 2 * 16;
    const int horizontal = std::clamp(vector.x, -reach - 2 * x, 2 * (plane.width - x) + reach / 2);
    const int vertical = std::clamp(vector.y, -reach - 2 * y, 2 * (plane.height - y) + reach / 2);
    return {static_cast<int16_t>(horizontal), static_cast<int16_t>(vertical)};
}

} // namespace

Reconstruction::Reconstruction(PictureContext& context, const PaddedFrame& reference, PaddedFrame& target,
                               PaddedFrame* bTarget, int bInterval, int interval)
    : context_(context), reference_(reference), target_(target), bTarget_(bTarget), bInterval_(bInterval),
      interval_(interval)
{}

void Reconstruction::reconstruct(std::size_t address)
{
    const Macroblock& macroblock = context_.macroblocks[address];
    const int column = static_cast<int>(address) % context_.wide();
    const int row = static_cast<int>(address) / context_.wide();
    if (macroblock.intra) {
        for (std::size_t i = 0; i < 6; i++) {
            CodedBlock& block = context_.blocks[macroblock.firstBlock + i];
            const BlockPlace place = blockPlace(i, column, row);
            const PaddedFrame::Plane& plane = target_.plane(place.plane);
            reconstructBlock(block.coefficients.data(), block.last, plane.at(place.x, place.y), plane.step);
        }
    } else {
        if (context_.header.advancedPrediction)
            predictOverlapped(macroblock, column, row);
        else
            predictInter(macroblock, column, row);
        predictChroma(target_, chromaVector(macroblock.vectors), column, row);
        addBlocks(target_, macroblock.pattern, macroblock.firstBlock, column, row);
    }
    if (bTarget_ != nullptr)
        reconstructB(macroblock, column, row);
}

void Reconstruction::conceal(std::size_t address)
{
    const int column = static_cast<int>(address) % context_.wide();
    const int row = static_cast<int>(address) / context_.wide();
    for (PaddedFrame* const frame : {&target_, bTarget_}) {
        if (frame == nullptr)
            continue;
        for (std::size_t i = 0; i < 3; i++) {
            const PaddedFrame::Plane& from = reference_.plane(i);
            const PaddedFrame::Plane& to = frame->plane(i);
            const int size = i == 0 ? 16 : 8;
            (i == 0 ? keliCopy16x16_8u_C1R : keliCopy8x8_8u_C1R)(
                from.at(size * column, size * row), from.step, to.at(size * column, size * row), to.step);
        }
    }
}

void Reconstruction::predictInter(const Macroblock& macroblock, int column, int row)
{
    const PaddedFrame::Plane& from = reference_.plane(0);
    const PaddedFrame::Plane& to = target_.plane(0);
    const int32_t rounding = context_.header.rounding;
    if (!macroblock.fourVectors) {
        const Vector vector = macroblock.vectors[0];
        const ReferenceBlock block = referenceBlock(from, 16, 32 * column + vector.x, 32 * row + vector.y);
        keliCopy16x16HP_8u_C1R(block.samples, block.step, to.at(16 * column, 16 * row), to.step, block.acc,
                               rounding);
        return;
    }
    for (std::size_t i = 0; i < 4; i++) {
        const BlockPlace place = blockPlace(i, column, row);
        const Vector vector = macroblock.vectors[i];
        const ReferenceBlock block = referenceBlock(from, 8, 2 * place.x + vector.x, 2 * place.y + vector.y);
        keliCopy8x8HP_8u_C1R(block.samples, block.step, to.at(place.x, place.y), to.step, block.acc,
                             rounding);
    }
}

// The vector that a block of a neighbouring macroblock contributes (F.3).
const Vector& Reconstruction::remoteVector(const Macroblock& macroblock, std::size_t block, int column,
                                           int row, std::size_t remoteBlock) const
{
    const Macroblock* const remote = context_.at(column, row);
    const bool usable = remote != nullptr && (!remote->intra || context_.header.pbFrames);
    return usable ? remote->vectors[remoteBlock] : macroblock.vectors[block];
}

void Reconstruction::predictOverlapped(const Macroblock& macroblock, int column, int row)
{
    const PaddedFrame::Plane& from = reference_.plane(0);
    const PaddedFrame::Plane& to = target_.plane(0);
    const auto& own = macroblock.vectors;
    for (std::size_t i = 0; i < 4; i++) {
        const BlockPlace place = blockPlace(i, column, row);
        const std::size_t beside = i ^ 1;
        const std::size_t across = i ^ 2;
        const bool isRight = (i & 1) != 0;
        const bool isLower = (i & 2) != 0;
        const Vector& left = isRight ? own[beside] : remoteVector(macroblock, i, column - 1, row, beside);
        const Vector& right = isRight ? remoteVector(macroblock, i, column + 1, row, beside) : own[beside];
        const Vector& above = isLower ? own[across] : remoteVector(macroblock, i, column, row - 1, across);
        const Vector& below = isLower ? own[i] : own[across]; // never that of the macroblock below
        const auto limited = [&](const Vector& vector) {
            return withinMargin(vector, from, place.x, place.y);
        };
        const std::array<::MotionVector, 5> vectors = {limited(own[i]), limited(left), limited(right),
                                                       limited(above), limited(below)};
        keliOBMC8x8HP_MPEG4_8u_C1R(from.at(place.x, place.y), from.step, to.at(place.x, place.y), to.step,
                                   &vectors[0], &vectors[1], &vectors[2], &vectors[3], &vectors[4],
                                   context_.header.rounding);
    }
}

void Reconstruction::predictChroma(PaddedFrame& target, Vector vector, int column, int row) const
{
    for (std::size_t i = 1; i < 3; i++) {
        const ReferenceBlock block =
            referenceBlock(reference_.plane(i), 8, 16 * column + vector.x, 16 * row + vector.y);
        const PaddedFrame::Plane& to = target.plane(i);
        keliCopy8x8HP_8u_C1R(block.samples, block.step, to.at(8 * column, 8 * row), to.step, block.acc,
                             context_.header.rounding);
    }
}

void Reconstruction::addBlocks(PaddedFrame& target, uint32_t pattern, std::size_t block, int column, int row)
{
    for (std::size_t i = 0; i < 6; i++) {
        if ((pattern >> (5 - i) & 1) == 0)
            continue;
        CodedBlock& coded = context_.blocks[block++];
        const BlockPlace place = blockPlace(i, column, row);
        const PaddedFrame::Plane& plane = target.plane(place.plane);
        addBlock(coded.coefficients.data(), coded.last, plane.at(place.x, place.y), plane.step);
    }
}

} // namespace kelvcpx::app::h263
