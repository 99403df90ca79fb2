// Intra prediction: the choice of modes, and coding with them (ITU-T H.264 8.3).
#pragma once

#include "h264/encoder/coded_macroblock.h"
#include "h264/encoder/rate.h"
#include "h264/encoder/residual_coder.h"
#include "h264/encoder/samples.h"
#include "h264/slice_context.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace kelvcpx::app::h264::encoder {

// Of one macroblock. Predictions and reconstructions are made in its place in the picture.
class IntraCoder
{
public:
    IntraCoder(const PictureContext& picture, const ResidualCoder& residual, const Lambda& lambda,
               int address, const MacroblockSamples& samples);

    // Chooses the mode of Intra_16x16 and predicts with it. Returns the sum of absolute differences.
    int predict16x16(CodedMacroblock& macroblock) const;

    // Predicts both chroma components with the best mode.
    void predictChroma(CodedMacroblock& macroblock) const;

    // Code luma, the first after predict16x16(), the others with modes of their choice. False: a level is too
    // large.
    bool code16x16(CodedMacroblock& macroblock) const;
    bool code4x4(CodedMacroblock& macroblock) const;
    bool code8x8(CodedMacroblock& macroblock) const;

private:
    // Two 8x8 blocks side by side: the library predicts and reconstructs them together. When it is the turn
    // of the second, the first one comes out as before.
    struct Half {
        PicturePlace picture;
        uint8_t missing; // neighbours
        uint32_t firstMode = 0;
        bool firstIsCoded = false;
        alignas(32) std::array<int16_t, 64> firstLevels{};
    };

    int availability() const;
    int availabilityOf4x4(std::size_t block) const;
    int availabilityOf8x8(std::size_t block) const;
    uint8_t predictedMode(const CodedMacroblock& macroblock, int x, int y) const;
    uint8_t choose4x4(std::size_t block, uint8_t predictedMode) const;
    uint8_t choose8x8(std::size_t block, const Half& half, uint8_t predictedMode) const;
    void predict8x8(std::size_t block, const Half& half, uint32_t mode) const;
    uint8_t missingNeighbours() const;

    const PictureContext& picture_;
    const ResidualCoder& residual_;
    const Lambda& lambda_;
    int address_;
    const MacroblockSamples& samples_;
    bool hasLeft_;
    bool hasTop_;
    bool hasTopRight_;
};

} // namespace kelvcpx::app::h264::encoder
