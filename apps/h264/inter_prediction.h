// Motion-compensated prediction of inter macroblocks (ITU-T H.264 8.4.2).
#pragma once

#include "h264/slice_context.h"

#include <array>
#include <cstdint>

namespace kelvcpx::app::h264 {

class InterPredictor
{
public:
    explicit InterPredictor(const SliceContext& slice);

    // Writes the prediction of a macroblock, whose motion is in the picture's motion field, into the picture.
    void predict(int address, const Macroblock& macroblock);

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
        std::array<uint8_t*, 3> samples;
        std::array<int32_t, 3> steps;
    };

    struct Prediction {
        alignas(32) std::array<uint8_t, 256> luma;
        alignas(32) std::array<std::array<uint8_t, 64>, 2> chroma;
    };

    void predictBlock(const Block& block);
    void predictFromTwo(const Block& block, std::size_t refIdx0, Vector vector0, std::size_t refIdx1,
                        Vector vector1);
    const PredictionWeight& weightsOf(std::size_t list, std::size_t refIdx) const;
    void weighOne(const Block& block, std::size_t list, std::size_t refIdx) const;
    void fetch(const ReferencePicture& reference, Vector vector, const Block& block,
               const Target& target) const;
    void fetchLuma(const Surface::Plane& plane, Vector vector, const Block& block,
                   const Target& target) const;
    void fetchChroma(const Surface::Plane& plane, Vector vector, const Block& block, uint8_t* dst,
                     int32_t step) const;

    Target targetOf(const Block& block) const;
    static Target targetOf(Prediction& prediction);

    const SliceContext& slice_;
    bool explicitWeights_;
    bool implicitWeights_;
    std::size_t planeCount_;

    // Of the current macroblock
    Place place_{};
    int address_ = 0;
    const References* references_ = nullptr;
    bool isFieldOfPair_ = false;

    std::array<Prediction, 2> predictions_;
};

} // namespace kelvcpx::app::h264
