#include "h264/inter_prediction.h"

#include <kelvcpx/h264_inter.h>

#include <algorithm>

namespace kelvcpx::app::h264 {
namespace {

constexpr int32_t lumaStep = 16; // of a prediction that is not in the picture
constexpr int32_t chromaStep = 8;

// A block of a reference plane at whole-sample position, held near the picture: further out, where the margin
// ends, the samples are the same.
struct Position {
    int x;
    int y;
};

Position hold(const Surface::Plane& plane, int x, int y)
{
    constexpr int reach = 24; // a block of 16 and its taps stay in the margin
    constexpr int beyond = 8;
    return {std::clamp(x, -reach, plane.width + beyond), std::clamp(y, -reach, plane.height + beyond)};
}

// A copy of a block with its taps, with the rows beyond both edges of the picture replaced: for pictures so
// low that a block crosses the two at once.
class Patch
{
public:
    Patch(const Surface::Plane& plane, Position position, int width, int height)
    {
        for (int y = 0; y < height + taps; y++) {
            const int row = std::clamp(position.y + y - before, 0, plane.height - 1);
            std::copy_n(plane.at(position.x - before, row), width + taps, samples_.begin() + y * step);
        }
    }

    static constexpr int32_t step = 32;
    const uint8_t* origin() const { return samples_.data() + before * step + before; }

private:
    static constexpr int before = 2;
    static constexpr int taps = 5;
    std::array<uint8_t, static_cast<std::size_t>(step*(16 + taps))> samples_{};
};

} // namespace

InterPredictor::InterPredictor(const SliceContext& slice)
    : slice_(slice),
      explicitWeights_(slice.header.isB() ? slice.set.weightedBipredIdc == 1 : slice.set.weightedPrediction),
      implicitWeights_(slice.header.isB() && slice.set.weightedBipredIdc == 2),
      planeCount_(static_cast<std::size_t>(slice.picture.target.planeCount))
{}

void InterPredictor::predict(int address, const Macroblock& macroblock)
{
    address_ = address;
    place_ = slice_.picture.placeOf(address);
    references_ = &slice_.referencesOf(place_);
    isFieldOfPair_ = place_.isField() && slice_.picture.hasPairs;
    const auto block8x8 = [&](std::size_t i) {
        const int x8 = 8 * static_cast<int>(i % 2);
        const int y8 = 8 * static_cast<int>(i / 2);
        const Partitioning sub = macroblock.subPartitioning[i];
        const int width = sub == Partitioning::whole || sub == Partitioning::twoRows ? 8 : 4;
        const int height = sub == Partitioning::whole || sub == Partitioning::twoColumns ? 8 : 4;
        for (int dy = 0; dy < 8; dy += height)
            for (int dx = 0; dx < 8; dx += width)
                predictBlock({x8 + dx, y8 + dy, width, height});
    };
    switch (macroblock.partitioning) {
    case Partitioning::whole:
        predictBlock({0, 0, 16, 16});
        break;
    case Partitioning::twoRows:
        predictBlock({0, 0, 16, 8});
        predictBlock({0, 8, 16, 8});
        break;
    case Partitioning::twoColumns:
        predictBlock({0, 0, 8, 16});
        predictBlock({8, 0, 8, 16});
        break;
    case Partitioning::four:
        for (std::size_t i = 0; i < 4; i++)
            block8x8(i);
        break;
    }
}

InterPredictor::Target InterPredictor::targetOf(const Block& block) const
{
    const auto& planes = place_.surface->planes;
    Target target{};
    for (std::size_t i = 0; i < planeCount_; i++) {
        const int shift = i == 0 ? 0 : 1;
        target.samples[i] = planes[i].at((place_.x + block.x) >> shift, (place_.y + block.y) >> shift);
        target.steps[i] = planes[i].step;
    }
    return target;
}

InterPredictor::Target InterPredictor::targetOf(Prediction& prediction)
{
    return {{prediction.luma.data(), prediction.chroma[0].data(), prediction.chroma[1].data()},
            {lumaStep, chromaStep, chromaStep}};
}

void InterPredictor::predictBlock(const Block& block)
{
    const MotionField& field = *slice_.picture.motion;
    const int mbX = address_ % field.widthInMbs;
    const int mbY = address_ / field.widthInMbs;
    const std::size_t at8x8 = field.block8x8(2 * mbX + block.x / 8, 2 * mbY + block.y / 8);
    const std::size_t at4x4 = field.block4x4(4 * mbX + block.x / 4, 4 * mbY + block.y / 4);
    const std::array<int, 2> refIdx{field.refIdx[0][at8x8], field.refIdx[1][at8x8]};
    if (refIdx[0] >= 0 && refIdx[1] >= 0) {
        predictFromTwo(block, static_cast<std::size_t>(refIdx[0]), field.vectors[0][at4x4],
                       static_cast<std::size_t>(refIdx[1]), field.vectors[1][at4x4]);
        return;
    }
    const std::size_t list = refIdx[0] >= 0 ? 0 : 1;
    const auto index = static_cast<std::size_t>(refIdx[list]);
    fetch(references_->lists[list][index], field.vectors[list][at4x4], block, targetOf(block));
    if (explicitWeights_)
        weighOne(block, list, index);
}

// The two fields of a frame share its weights (8.4.2.3).
const PredictionWeight& InterPredictor::weightsOf(std::size_t list, std::size_t refIdx) const
{
    return slice_.header.weights[list][isFieldOfPair_ ? refIdx / 2 : refIdx];
}

void InterPredictor::weighOne(const Block& block, std::size_t list, std::size_t refIdx) const
{
    const PredictionWeight& weights = weightsOf(list, refIdx);
    const Target target = targetOf(block);
    for (std::size_t i = 0; i < planeCount_; i++) {
        const int shift = i == 0 ? 0 : 1;
        const int log2Wd = slice_.header.log2WeightDenominator[i == 0 ? 0 : 1];
        if (weights.weight[i] == 1 << log2Wd && weights.offset[i] == 0)
            continue;
        keliUniDirWeightBlock_H264_8u_C1IR(target.samples[i], static_cast<uint32_t>(target.steps[i]),
                                           static_cast<uint32_t>(log2Wd), weights.weight[i],
                                           weights.offset[i], {block.width >> shift, block.height >> shift});
    }
}

void InterPredictor::predictFromTwo(const Block& block, std::size_t refIdx0, Vector vector0,
                                    std::size_t refIdx1, Vector vector1)
{
    const Target first = targetOf(predictions_[0]);
    const Target second = targetOf(predictions_[1]);
    fetch(references_->lists[0][refIdx0], vector0, block, first);
    fetch(references_->lists[1][refIdx1], vector1, block, second);
    const Target target = targetOf(block);
    for (std::size_t i = 0; i < planeCount_; i++) {
        const int shift = i == 0 ? 0 : 1;
        const RoiSize size{block.width >> shift, block.height >> shift};
        const auto step = static_cast<uint32_t>(first.steps[i]);
        const auto targetStep = static_cast<uint32_t>(target.steps[i]);
        if (explicitWeights_) {
            const PredictionWeight& w0 = weightsOf(0, refIdx0);
            const PredictionWeight& w1 = weightsOf(1, refIdx1);
            const int log2Wd = slice_.header.log2WeightDenominator[i == 0 ? 0 : 1];
            keliBiDirWeightBlock_H264_8u_P2P1R(first.samples[i], second.samples[i], target.samples[i], step,
                                               targetStep, log2Wd, w0.weight[i], w0.offset[i], w1.weight[i],
                                               w1.offset[i], size);
        } else if (const auto& weights = references_->implicitWeights[refIdx0][refIdx1];
                   implicitWeights_ && weights[0] != weights[1]) {
            keliBiDirWeightBlockImplicit_H264_8u_P2P1R(first.samples[i], second.samples[i], target.samples[i],
                                                       first.steps[i], target.steps[i], weights[0],
                                                       weights[1], size);
        } else {
            keliInterpolateBlock_H264_8u_P3P1R(
                first.samples[i], second.samples[i], target.samples[i], static_cast<uint32_t>(size.width),
                static_cast<uint32_t>(size.height), first.steps[i], second.steps[i], target.steps[i]);
        }
    }
}

void InterPredictor::fetch(const ReferencePicture& reference, Vector vector, const Block& block,
                           const Target& target) const
{
    const Surface surface = reference.frame->surface().of(reference.structure);
    fetchLuma(surface.planes[0], vector, block, target);
    if (planeCount_ == 1)
        return;
    Vector chroma = vector;
    // 8.4.1.4: chroma of fields of opposite parity is a quarter of its sample distance apart.
    if (place_.isField() && reference.structure != place_.structure)
        chroma.y = static_cast<int16_t>(chroma.y + (reference.structure == Structure::bottom ? -2 : 2));
    for (std::size_t i = 1; i < 3; i++)
        fetchChroma(surface.planes[i], chroma, block, target.samples[i], target.steps[i]);
}

void InterPredictor::fetchLuma(const Surface::Plane& plane, Vector vector, const Block& block,
                               const Target& target) const
{
    const Position position =
        hold(plane, place_.x + block.x + (vector.x >> 2), place_.y + block.y + (vector.y >> 2));
    const int dx = vector.x & 3;
    const int dy = vector.y & 3;
    const RoiSize size{block.width, block.height};
    const uint8_t* const src = plane.at(position.x, position.y);
    uint8_t* const dst = target.samples[0];
    const int32_t step = target.steps[0];
    const bool crossesTop = position.y - (dy != 0 ? 2 : 0) < 0;
    const bool crossesBottom = position.y + block.height + (dy != 0 ? 3 : 0) > plane.height;
    if (crossesTop && crossesBottom) {
        const Patch patch(plane, position, block.width, block.height);
        keliInterpolateLuma_H264_8u_C1R(patch.origin(), Patch::step, dst, step, dx, dy, size);
    } else if (crossesTop) {
        keliInterpolateLumaTop_H264_8u_C1R(src, plane.step, dst, step, dx, dy, -position.y, size);
    } else if (crossesBottom) {
        const int outside = position.y + block.height - plane.height;
        keliInterpolateLumaBottom_H264_8u_C1R(src, plane.step, dst, step, dx, dy, outside, size);
    } else {
        keliInterpolateLuma_H264_8u_C1R(src, plane.step, dst, step, dx, dy, size);
    }
}

void InterPredictor::fetchChroma(const Surface::Plane& plane, Vector vector, const Block& block, uint8_t* dst,
                                 int32_t step) const
{
    const Position position =
        hold(plane, (place_.x + block.x) / 2 + (vector.x >> 3), (place_.y + block.y) / 2 + (vector.y >> 3));
    const int dx = vector.x & 7;
    const int dy = vector.y & 7;
    const RoiSize size{block.width / 2, block.height / 2};
    const uint8_t* const src = plane.at(position.x, position.y);
    const bool crossesTop = position.y < 0;
    const bool crossesBottom = position.y + size.height + (dy != 0 ? 1 : 0) > plane.height;
    if (crossesTop && crossesBottom) {
        const Patch patch(plane, position, size.width, size.height);
        keliInterpolateChroma_H264_8u_C1R(patch.origin(), Patch::step, dst, step, dx, dy, size);
    } else if (crossesTop) {
        keliInterpolateChromaTop_H264_8u_C1R(src, plane.step, dst, step, dx, dy, -position.y, size);
    } else if (crossesBottom) {
        const int outside = position.y + size.height - plane.height;
        keliInterpolateChromaBottom_H264_8u_C1R(src, plane.step, dst, step, dx, dy, outside, size);
    } else {
        keliInterpolateChroma_H264_8u_C1R(src, plane.step, dst, step, dx, dy, size);
    }
}

} // namespace kelvcpx::app::h264
