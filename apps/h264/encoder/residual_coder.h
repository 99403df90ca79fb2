// Transform, quantisation and reconstruction of what remains after prediction (ITU-T H.264 8.5).
#pragma once

#include "h264/encoder/coded_macroblock.h"
#include "h264/encoder/samples.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace kelvcpx::app::h264::encoder {

// Of macroblocks with one quantiser. The functions find the prediction in the picture, put what is coded of
// the difference to the source into the macroblock, and add what a decoder will add to the picture. They
// return false, and the macroblock cannot be coded like that, if a level is too large.
class ResidualCoder
{
public:
    explicit ResidualCoder(int qp);

    // Luma of an inter macroblock with the transform of 4x4 or of 8x8 blocks.
    bool codeInter4x4(const MacroblockSamples& samples, CodedMacroblock& macroblock) const;
    bool codeInter8x8(const MacroblockSamples& samples, CodedMacroblock& macroblock) const;

    // Luma of an Intra_16x16 macroblock. The flags are those of the library's reconstruction.
    bool codeIntra16x16(const MacroblockSamples& samples, uint8_t edgeFlags,
                        CodedMacroblock& macroblock) const;

    // A block of an Intra_4x4 macroblock, by its number in decoding order.
    bool codeIntra4x4(const MacroblockSamples& samples, std::size_t block, CodedMacroblock& macroblock) const;

    // A block of 8x8, intra or inter. Its levels are handed out in raster order.
    bool code8x8(const MacroblockSamples& samples, std::size_t block, CodedMacroblock& macroblock,
                 std::span<int16_t, 64> levels) const;

    bool codeChroma(const MacroblockSamples& samples, CodedMacroblock& macroblock) const;

    int qp() const { return qp_; }

    // LevelScale8x8 for the library's operations.
    const int16_t* dequantScale8x8() const { return dequantScale8x8_.data(); }

private:
    int qp_;
    int chromaQp_;
    std::array<int16_t, 64> dequantScale8x8_;
    std::array<int16_t, 64> quantScale8x8_;
};

} // namespace kelvcpx::app::h264::encoder
