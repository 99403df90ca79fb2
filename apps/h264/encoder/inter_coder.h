// Inter prediction: the choice of motion, and the prediction with it (ITU-T H.264 8.4).
#pragma once

#include "h264/encoder/coded_macroblock.h"
#include "h264/encoder/compensation.h"
#include "h264/encoder/motion_predictor.h"
#include "h264/encoder/motion_search.h"
#include "h264/encoder/rate.h"
#include "h264/encoder/samples.h"
#include "h264/slice_context.h"

#include <array>
#include <optional>
#include <vector>

namespace kelvcpx::app::h264::encoder {

// What there is to predict from.
struct InterReference {
    const Surface& surface;
    const std::vector<Vector>& vectors; // of its macroblocks; empty if it has none
};

// Of one macroblock. Predictions are made in its place in the picture.
class InterCoder
{
public:
    InterCoder(const PictureContext& picture, const InterReference& reference, const Lambda& lambda,
               int address, const MacroblockSamples& samples);

    struct Choice {
        CodedMacroblock macroblock;
        int cost = 0; // absolute differences and bits
    };

    // The motion of P_Skip, as that of P_L0_16x16; nothing if it leads too far out of the picture.
    std::optional<CodedMacroblock> skipMotion() const;

    // The best motion of the whole, and of parts, with vectors near that of the whole.
    Choice chooseWhole() const;
    Choice chooseParts(Vector whole) const;

    void predictLuma(const CodedMacroblock& macroblock) const;
    void predictChroma(const CodedMacroblock& macroblock) const;

private:
    // Vectors to begin a search at. The last place is for the predicted one.
    using Starts = std::array<Vector, 6>;

    Choice choose(Partitioning partitioning, const Starts& starts) const;
    Starts neighbouringVectors() const;

    const PictureContext& picture_;
    InterReference reference_;
    const Lambda& lambda_;
    int address_;
    int mbX_;
    int mbY_;
    const MacroblockSamples& samples_;
    MotionPredictor predictor_;
    VectorRange range_;
};

} // namespace kelvcpx::app::h264::encoder
