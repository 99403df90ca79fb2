#include "h264/inter_prediction.h"

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
template <class Sample>
class Patch
{
public:
    Patch(const Surface::Plane& plane, Position position, RoiSize size)
    {
        for (int y = 0; y < size.height + taps; y++) {
            const int row = std::clamp(position.y + y - before, 0, plane.height - 1);
            std::copy_n(plane.at<Sample>(position.x - before, row), size.width + taps,
                        samples_.begin() + y * step);
        }
    }

    static constexpr int32_t step = 32;
    const Sample* origin() const { return samples_.data() + before * step + before; }

private:
    static constexpr int before = 2;
    static constexpr int taps = 5;
    std::array<Sample, static_cast<std::size_t>(step*(16 + taps))> samples_{};
};

// Predicts a block at a position of a reference plane, by the operation for the edge of the picture that the
// block and its taps, so many rows above and below, reach over.
template <class Sample>
void predictAt(Component component, const Surface::Plane& plane, Position position, Vector fraction,
               int rowsAbove, int rowsBelow, Sample* dst, int32_t step, RoiSize size, int bitDepth)
{
    ReferenceBlock<Sample> block{plane.at<Sample>(position.x, position.y),
                                 plane.stepOf<Sample>(),
                                 fraction.x,
                                 fraction.y,
                                 PictureEdge::none,
                                 0};
    const bool crossesTop = position.y - rowsAbove < 0;
    const bool crossesBottom = position.y + size.height + rowsBelow > plane.height;
    if (crossesTop && crossesBottom) {
        const Patch<Sample> patch(plane, position, size);
        block.samples = patch.origin();
        block.step = Patch<Sample>::step;
        interpolate(component, block, dst, step, size, bitDepth);
        return;
    }
    if (crossesTop) {
        block.edge = PictureEdge::top;
        block.outside = -position.y;
    } else if (crossesBottom) {
        block.edge = PictureEdge::bottom;
        block.outside = position.y + size.height - plane.height;
    }
    interpolate(component, block, dst, step, size, bitDepth);
}

} // namespace

template <class Sample>
InterPredictor<Sample>::InterPredictor(const SliceContext& slice)
    : slice_(slice),
      explicitWeights_(slice.header.isB() ? slice.set.weightedBipredIdc == 1 : slice.set.weightedPrediction),
      implicitWeights_(slice.header.isB() && slice.set.weightedBipredIdc == 2),
      planeCount_(static_cast<std::size_t>(slice.picture.target.planeCount)), is422_(slice.picture.is422()),
      bitDepth_(slice.picture.sequence.bitDepthLuma)
{}

template <class Sample>
void InterPredictor<Sample>::predict(const CurrentMacroblock& current)
{
    const Macroblock& macroblock = current.macroblock;
    current_ = &current;
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

template <class Sample>
typename InterPredictor<Sample>::Target InterPredictor<Sample>::targetOf(const Block& block) const
{
    const auto& planes = current_->place.surface->planes;
    Target target{};
    for (std::size_t i = 0; i < planeCount_; i++) {
        target.samples[i] = planes[i].at<Sample>((current_->place.x + block.x) >> shiftX(i),
                                                 (current_->place.y + block.y) >> shiftY(i));
        target.steps[i] = planes[i].stepOf<Sample>();
    }
    return target;
}

template <class Sample>
typename InterPredictor<Sample>::Target InterPredictor<Sample>::targetOf(Prediction& prediction)
{
    return {{prediction.luma.data(), prediction.chroma[0].data(), prediction.chroma[1].data()},
            {lumaStep, chromaStep, chromaStep}};
}

template <class Sample>
void InterPredictor<Sample>::predictBlock(const Block& block)
{
    const MotionField& field = *slice_.picture.motion;
    const int mbX = current_->x;
    const int mbY = current_->y;
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
    fetch(current_->references.lists[list][index], field.vectors[list][at4x4], block, targetOf(block));
    if (explicitWeights_)
        weighOne(block, list, index);
}

// The two fields of a frame share its weights (8.4.2.3).
template <class Sample>
Weight InterPredictor<Sample>::weightOf(std::size_t list, std::size_t refIdx, std::size_t component) const
{
    const PredictionWeight& weights =
        slice_.header.weights[list][current_->isFieldOfPair ? refIdx / 2 : refIdx];
    return {weights.weight[component], weights.offset[component] * (1 << (bitDepth_ - 8))};
}

template <class Sample>
void InterPredictor<Sample>::weighOne(const Block& block, std::size_t list, std::size_t refIdx) const
{
    const Target target = targetOf(block);
    for (std::size_t i = 0; i < planeCount_; i++) {
        const Weight weight = weightOf(list, refIdx, i);
        const int log2Wd = slice_.header.log2WeightDenominator[i == 0 ? 0 : 1];
        if (weight.weight != 1 << log2Wd || weight.offset != 0)
            weigh(target.samples[i], target.steps[i], log2Wd, weight, sizeOf(block, i), bitDepth_);
    }
}

template <class Sample>
void InterPredictor<Sample>::predictFromTwo(const Block& block, std::size_t refIdx0, Vector vector0,
                                            std::size_t refIdx1, Vector vector1)
{
    const Target first = targetOf(predictions_[0]);
    const Target second = targetOf(predictions_[1]);
    fetch(current_->references.lists[0][refIdx0], vector0, block, first);
    fetch(current_->references.lists[1][refIdx1], vector1, block, second);
    const Target target = targetOf(block);
    const auto& implicit = current_->references.implicitWeights[refIdx0][refIdx1];
    for (std::size_t i = 0; i < planeCount_; i++) {
        const TwoPredictions<Sample> predictions{first.samples[i],  second.samples[i], first.steps[i],
                                                 target.samples[i], target.steps[i],   sizeOf(block, i),
                                                 bitDepth_};
        if (explicitWeights_)
            weighExplicitly(predictions, slice_.header.log2WeightDenominator[i == 0 ? 0 : 1],
                            weightOf(0, refIdx0, i), weightOf(1, refIdx1, i));
        else if (implicitWeights_ && implicit[0] != implicit[1])
            weighImplicitly(predictions, implicit[0], implicit[1]);
        else
            average(predictions);
    }
}

template <class Sample>
void InterPredictor<Sample>::fetch(const ReferencePicture& reference, Vector vector, const Block& block,
                                   const Target& target) const
{
    slice_.picture.usesSubstitutes |= reference.isSubstitute;
    const Surface surface = reference.frame->surface().of(reference.structure);
    fetchLuma(surface.planes[0], vector, block, target);
    if (planeCount_ == 1)
        return;
    Vector chroma = vector;
    // 8.4.1.4: 4:2:0 chroma of fields of opposite parity is a quarter of its sample distance apart.
    if (!is422_ && current_->place.isField() && reference.structure != current_->place.structure)
        chroma.y = static_cast<int16_t>(chroma.y + (reference.structure == Structure::bottom ? -2 : 2));
    for (std::size_t i = 1; i < 3; i++)
        fetchChroma(surface.planes[i], chroma, block, target.samples[i], target.steps[i]);
}

template <class Sample>
void InterPredictor<Sample>::fetchLuma(const Surface::Plane& plane, Vector vector, const Block& block,
                                       const Target& target) const
{
    const Position position = hold(plane, current_->place.x + block.x + (vector.x >> 2),
                                   current_->place.y + block.y + (vector.y >> 2));
    const Vector fraction{static_cast<int16_t>(vector.x & 3), static_cast<int16_t>(vector.y & 3)};
    predictAt<Sample>(Component::luma, plane, position, fraction, fraction.y != 0 ? 2 : 0,
                      fraction.y != 0 ? 3 : 0, target.samples[0], target.steps[0], sizeOf(block, 0),
                      bitDepth_);
}

// Vertically the chroma of 4:2:2 has quarter samples, like luma.
template <class Sample>
void InterPredictor<Sample>::fetchChroma(const Surface::Plane& plane, Vector vector, const Block& block,
                                         Sample* dst, int32_t step) const
{
    const int fractionBits = is422_ ? 2 : 3;
    const Position position = hold(plane, ((current_->place.x + block.x) >> 1) + (vector.x >> 3),
                                   ((current_->place.y + block.y) >> shiftY(1)) + (vector.y >> fractionBits));
    const int eighths = is422_ ? (vector.y & 3) * 2 : vector.y & 7;
    const Vector fraction{static_cast<int16_t>(vector.x & 7), static_cast<int16_t>(eighths)};
    predictAt<Sample>(Component::chroma, plane, position, fraction, 0, eighths != 0 ? 1 : 0, dst, step,
                      sizeOf(block, 1), bitDepth_);
}

template class InterPredictor<uint8_t>;
template class InterPredictor<uint16_t>;

} // namespace kelvcpx::app::h264
