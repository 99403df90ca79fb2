// Differences and metrics of blocks.

#include "picture.h"

#include <kelvcpx/metrics.h>

namespace {

using namespace kelvcpx::bench;

// All results that there may be.
struct Measured : Picture {
    alignas(64) std::array<int16_t, 256> diff{};
    std::array<int32_t, 4> srcSums{};
    std::array<int32_t, 4> results{};
    std::array<int32_t, 4> more{};
    std::array<uint16_t, 16> sads{};
    std::array<int16_t, 16> sums{};
    uint8_t flag = 0;
};

void addDifferences()
{
    for (const Position& position : positions)
        for (const bool predictor : {false, true})
            add<Measured, keliGetDiff16x16_8u16s_C1, keliGetDiff16x8_8u16s_C1, keliGetDiff8x16_8u16s_C1,
                keliGetDiff8x8_8u16s_C1, keliGetDiff8x4_8u16s_C1>(
                position.name + (predictor ? "+predictor" : ""),
                [type = position.mcType, predictor](auto getDiff, Measured& m) {
                    return getDiff(m.current(), step, m.forward(), step, m.diff.data(), 32,
                                   predictor ? m.residual.data() : nullptr, 32, type, 0);
                });
    add<Measured, keliGetDiff16x16B_8u16s_C1, keliGetDiff16x8B_8u16s_C1, keliGetDiff8x16B_8u16s_C1,
        keliGetDiff8x8B_8u16s_C1, keliGetDiff8x4B_8u16s_C1>("both-both", [](auto getDiff, Measured& m) {
        return getDiff(m.current(), step, m.forward(), step, 12, m.backward(), step, 12, m.diff.data(), 32,
                       0);
    });
    add<Measured, keliGetDiff4x4_8u16s_C1, keliSub8x8_8u16s_C1R, keliSub16x16_8u16s_C1R>(
        "", [](auto subtract, Measured& m) {
            return subtract(m.current(), step, m.forward(), step, m.diff.data(), 32);
        });
    add<Measured, keliSubSAD8x8_8u16s_C1R>("", [](auto subtract, Measured& m) {
        return subtract(m.current(), step, m.forward(), step, m.diff.data(), 16, m.results.data());
    });
}

void addSums()
{
    for (const Position& position : positions) {
        const int32_t type = position.mcType;
        add<Measured, keliSAD8x8_8u32s_C1R, keliSAD16x8_8u32s_C1R, keliSAD16x16_8u32s, keliSSD8x8_8u32s_C1R,
            keliSSD4x4_8u32s_C1R>(position.name, [type](auto metric, Measured& m) {
            return metric(m.current(), step, m.forward(), step, m.results.data(), type);
        });
        add<Measured, keliSqrDiff16x16_8u32s>(position.name, [type](auto metric, Measured& m) {
            return metric(m.current(), step, m.forward(), step, type, m.results.data());
        });
        add<Measured, keliVarMeanDiff16x16_8u32s_C1R, keliVarMeanDiff16x8_8u32s_C1R>(
            position.name, [type](auto metric, Measured& m) {
                return metric(m.current(), step, m.forward(), step, m.srcSums.data(), m.results.data(),
                              m.more.data(), type);
            });
    }
    add<Measured, keliSqrDiff16x16B_8u32s>("both-both", [](auto metric, Measured& m) {
        return metric(m.current(), step, m.forward(), step, 12, m.backward(), step, 12, m.results.data());
    });
    add<Measured, keliSAD4x4_8u32s>("", [](auto metric, Measured& m) {
        return metric(m.current(), step, m.forward(), step, m.results.data());
    });
    add<Measured, keliSAD16x16Blocks8x8_8u16u, keliSAD16x16Blocks4x4_8u16u>("", [](auto metric, Measured& m) {
        return metric(m.current(), step, m.forward(), step, m.sads.data());
    });
}

void addStatistics()
{
    add<Measured, keliVariance16x16_8u32s, keliMeanAbsDev16x16_8u32s_C1R>(
        "", [](auto metric, Measured& m) { return metric(m.current(), step, m.results.data()); });
    add<Measured, keliVarMean8x8_8u32s_C1R, keliFrameFieldSAD16x16_8u32s_C1R>(
        "",
        [](auto metric, Measured& m) { return metric(m.current(), step, m.results.data(), m.more.data()); });
    add<Measured, keliVarMean8x8_16s32s_C1R, keliFrameFieldSAD16x16_16s32s_C1R>(
        "", [](auto metric, Measured& m) {
            return metric(m.residual.data(), 32, m.results.data(), m.more.data());
        });
    add<Measured, keliEdgesDetect16x16_8u_C1R>(
        "", [](auto detect, Measured& m) { return detect(m.current(), step, 200, 150, &m.flag); });
    for (const bool differences : {false, true})
        add<Measured, keliSumsDiff16x16Blocks4x4_8u16s_C1, keliSumsDiff8x8Blocks4x4_8u16s_C1>(
            differences ? "differences" : "sums", [=](auto metric, Measured& m) {
                return metric(m.current(), step, m.forward(), step, m.sums.data(),
                              differences ? m.diff.data() : nullptr);
            });
}

[[maybe_unused]] const bool registered = (addDifferences(), addSums(), addStatistics(), true);

} // namespace
