// Motion-compensated prediction of inter macroblocks (ITU-T H.264 8.4.2).
#pragma once

#include "h264/current_macroblock.h"
#include "h264/prediction_operations.h"

#include <array>
#include <cstdint>

namespace kelvcpx::app::h264 {

template <class Sample>
class InterPredictor
{
public:
    explicit InterPredictor(const SliceContext& slice);

    // Writes the prediction of a macroblock, whose motion is in the picture's motion field, into the picture.
    void predict(const CurrentMacroblock& current);

private:
    // A partition, in luma samples from the first of the macroblock.
    struct Block {
        int x;
        int y;
        int width;
        int height;
    };

    // Where the samples of a prediction go, by plane.
    struct Target {
        std::array<Sample*, 3> samples;
        std::array<int32_t, 3> steps; // samples
    };

    struct Prediction {
        alignas(32) std::array<Sample, 256> luma;
        alignas(32) std::array<std::array<Sample, 128>, 2> chroma;
    };

    void predictBlock(const Block& block);
    void predictFromTwo(const Block& block, std::size_t refIdx0, Vector vector0, std::size_t refIdx1,
                        Vector vector1);
    void weighOne(const Block& block, std::size_t list, std::size_t refIdx) const;
    Weight weightOf(std::size_t list, std::size_t refIdx, std::size_t component) const;
    void fetch(const ReferencePicture& reference, Vector vector, const Block& block,
               const Target& target) const;
    void fetchLuma(const Surface::Plane& plane, Vector vector, const Block& block,
                   const Target& target) const;
    void fetchChroma(const Surface::Plane& plane, Vector vector, const Block& block, Sample* dst,
                     int32_t step) const;

    int shiftX(std::size_t component) const { return component == 0 ? 0 : 1; }
    int shiftY(std::size_t component) const { return component == 0 || is422_ ? 0 : 1; }
    RoiSize sizeOf(const Block& block, std::size_t component) const
    {
        return {block.width >> shiftX(component), block.height >> shiftY(component)};
    }
    Target targetOf(const Block& block) const;
    static Target targetOf(Prediction& prediction);

    const SliceContext& slice_;
    bool explicitWeights_;
    bool implicitWeights_;
    std::size_t planeCount_;
    bool is422_;
    int bitDepth_;

    const CurrentMacroblock* current_ = nullptr;
    std::array<Prediction, 2> predictions_;
};

extern template class InterPredictor<uint8_t>;
extern template class InterPredictor<uint16_t>;

} // namespace kelvcpx::app::h264
