// H.264: intra prediction and the single steps of residual decoding.

#include "coefficients.h"
#include "h264_macroblock.h"

#include <kelvcpx/h264_residual.h>
#include <kelvcpx/h264_transform.h>

namespace {

using namespace kelvcpx::bench;

constexpr int32_t qp = 28;

// Where a block is predicted, and coefficients for it.
template <std::size_t size>
struct Residual : FreshBlocks<size>, Macroblock<uint8_t, int16_t> {
    Residual() : FreshBlocks<size>(size == 64 ? 30 : 4), Macroblock(size, 0) {}

    std::array<int16_t, size> prediction{};
};

void addPrediction()
{
    constexpr int32_t allThere = 0x63;
    for (uint32_t mode = 0; mode < 9; mode++) {
        const std::string variant = "mode=" + std::to_string(mode);
        const auto predictBlock = [=](auto predict, Residual<16>& r) {
            return predict(r.luma(), mbStep, mode, allThere);
        };
        add<Residual<16>, keliPredictIntra_4x4_H264_8u_C1IR>(variant, predictBlock);
        if (mode < 4)
            add<Residual<16>, keliPredictIntra_16x16_H264_8u_C1IR, keliPredictIntraChroma8x8_H264_8u_C1IR>(
                variant, predictBlock);
    }
}

void addSteps4x4()
{
    add<Residual<16>, keliTransformDequantLumaDC_H264_16s_C1I, keliTransformDequantChromaDC_H264_16s_C1I>(
        "", [](auto transform, Residual<16>& r) { return transform(r.FreshBlocks::next(), qp); });
    add<Residual<16>, keliDequantTransformResidual_H264_16s_C1I>("", [](auto transform, Residual<16>& r) {
        return transform(r.FreshBlocks::next(), 8, nullptr, 1, qp);
    });
    add<Residual<16>, keliDequantTransformResidualAndAdd_H264_16s_C1I>(
        "", [](auto transform, Residual<16>& r) {
            return transform(r.luma(), r.FreshBlocks::next(), nullptr, r.luma(), mbStep, mbStep, qp, 1);
        });
    add<Residual<16>, keliTransformPrediction_H264_8u16s_C1>(
        "", [](auto transform, Residual<16>& r) { return transform(r.luma(), mbStep, r.prediction.data()); });
    add<Residual<16>, keliDequantTransformResidual_SISP_H264_16s_C1I>(
        "", [](auto transform, Residual<16>& r) {
            return transform(r.FreshBlocks::next(), r.prediction.data(), nullptr, 1, qp, qp, 0);
        });
    add<Residual<16>, keliTransformDequantChromaDC_SISP_H264_16s_C1I>(
        "", [](auto transform, Residual<16>& r) {
            return transform(r.FreshBlocks::next(), r.prediction.data(), qp, qp, 0);
        });
}

void addSteps8x8()
{
    add<Residual<64>, keliQuantLuma8x8Inv_H264_16s_C1I>("", [](auto dequantise, Residual<64>& r) {
        return dequantise(r.FreshBlocks::next(), qp / 6, r.scales.data());
    });
    add<Residual<64>, keliTransformLuma8x8InvAddPred_H264_16s8u_C1R>("", [](auto transform, Residual<64>& r) {
        return transform(r.luma(), mbStep, r.FreshBlocks::next(), r.luma(), mbStep);
    });
    add<Residual<64>, keliGenScaleLevel8x8_H264_8u16s_D2>("", [](auto generate, Residual<64>& r) {
        return generate(r.luma(), mbStep, r.scales.data(), r.prediction.data(), 3);
    });
}

[[maybe_unused]] const bool registered = (addPrediction(), addSteps4x4(), addSteps8x8(), true);

} // namespace
