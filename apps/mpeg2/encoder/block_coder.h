// One block: transform, quantisation, reconstruction, and its place in the stream (ISO/IEC 13818-2 7.2 to
// 7.5).
#pragma once

#include "common/bit_writer.h"
#include "mpeg2/headers.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace kelvcpx::app::mpeg2 {

// Quantised levels in the library's transposed layout.
struct CodedBlock {
    alignas(32) std::array<int16_t, 64> levels;
    int32_t count; // of those that are not zero, an intra DC left aside
};

class BlockCoder
{
public:
    BlockCoder(const Sequence& sequence, const Picture& picture);

    void setScale(int32_t scale); // quantiser_scale

    void transformIntra(const uint8_t* samples, int32_t step, CodedBlock& block) const;
    void transformNonIntra(const int16_t* residual, int32_t step, CodedBlock& block) const;

    // As the decoder does it: samples, or the residual. Steps are in bytes.
    void reconstructIntra(const CodedBlock& block, uint8_t* samples, int32_t step) const;
    void reconstructNonIntra(const CodedBlock& block, int16_t* residual, int32_t step) const;

    // Component 0 is luma; the DC predictor of the component becomes the DC of the block.
    void putIntra(BitWriter& bits, const CodedBlock& block, std::size_t component,
                  int32_t& dcPredictor) const;
    void putNonIntra(BitWriter& bits, const CodedBlock& block) const;

private:
    int32_t lastPosition(const CodedBlock& block) const;

    const Matrix& weights_; // of intra blocks
    const Matrix& nonIntraWeights_;
    const int32_t* scan_;
    int dcShift_; // 3 - intra_dc_precision
    bool intraTableOne_;
    int32_t scale_ = 0;
    std::array<float, 64> reciprocals_; // of the intra weights
    std::array<int16_t, 64> roundings_; // what is added to an intra coefficient's magnitude
};

} // namespace kelvcpx::app::mpeg2
