// From the coefficients of a block to reconstructed samples: inverse transform and addition to the prediction
// (ITU-T H.264 8.5.12 to 8.5.14). Steps are in samples.
#pragma once

#include "block/strip.h"
#include "core/arithmetic.h"
#include "core/vec.h"
#include "h264/depth.h"
#include "h264/inverse_transform.h"
#include "h264/lanes.h"
#include "h264/scaling.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace kelvcpx::h264 {

// Adds the residual of a block of n x n samples to a prediction, which may be in its place, and clips.
template <int n, class Depth, std::size_t vectors>
[[gnu::always_inline]] inline void
addResidual(const typename Depth::Sample* prediction, std::ptrdiff_t predictionStep,
            typename Depth::Sample* dst, std::ptrdiff_t step,
            const std::array<typename Depth::Lanes, vectors>& residual, const Depth& depth)
{
    using Lanes = typename Depth::Lanes;
    const auto add = [&](Lanes sample, Lanes r) { return depth.clip(sample + depth.limited(r)); };
    constexpr int rows = 2 * Depth::lanes / n;
    for (std::size_t i = 0; i < vectors; i += 2) {
        const auto samples = gather<Depth, n, rows>(prediction, predictionStep);
        const Lanes low = add(Depth::widenLow(samples), residual[i]);
        const Lanes high = add(Depth::widenHigh(samples), residual[i + 1]);
        scatter<Depth, n, rows>(dst, step, Depth::narrow(low, high));
        prediction += rows * predictionStep;
        dst += rows * step;
    }
}

template <int n, class Depth, std::size_t vectors>
[[gnu::always_inline]] inline void addResidual(typename Depth::Sample* dst, std::ptrdiff_t step,
                                               const std::array<typename Depth::Lanes, vectors>& residual,
                                               const Depth& depth)
{
    addResidual<n>(dst, step, dst, step, residual, depth);
}

// The same residual for all samples of a block of n x n.
template <int n, class Depth>
void addConstant(typename Depth::Sample* dst, std::ptrdiff_t step, int32_t residual, const Depth& depth)
{
    std::array<typename Depth::Lanes, n * n / Depth::lanes> all;
    all.fill(Depth::splat(residual));
    addResidual<n>(dst, step, all, depth);
}

// 8-bit samples need not be widened.
template <int n>
void addConstant(uint8_t* dst, std::ptrdiff_t step, int32_t residual, const Depth8&)
{
    const U8x16 up = splat8(static_cast<uint8_t>(std::clamp(residual, 0, 255)));
    const U8x16 down = splat8(static_cast<uint8_t>(std::clamp(-residual, 0, 255)));
    constexpr int rows = 16 / n;
    for (int y = 0; y < n; y += rows) {
        const U8x16 raised = minimum(gatherRows<n, rows>(dst, step), ~up) + up;
        scatterRows<n, rows>(dst, step, maximum(raised, down) - down);
        dst += rows * step;
    }
}

// True if a coefficient other than the first is not zero.
template <class Lanes, std::size_t vectors>
bool hasAc(const std::array<Lanes, vectors>& coefficients)
{
    Lanes all = coefficients[0];
    all[0] = 0;
    for (std::size_t i = 1; i < vectors; i++)
        all |= coefficients[i];
    return anyLane(all);
}

// A block of n x n scaled coefficients. If there is only the DC, all results of the transform are the same.
template <int n, class Lanes, std::size_t vectors, class Depth>
[[gnu::always_inline]] inline void addTransformed(typename Depth::Sample* dst, std::ptrdiff_t step,
                                                  const std::array<Lanes, vectors>& scaled,
                                                  const Depth& depth)
{
    if (hasAc(scaled))
        addResidual<n>(dst, step, transformed(scaled), depth);
    else
        addConstant<n>(dst, step, wrapAdd(scaled[0][0], 32) >> 6, depth);
}

// A coded block of n x n coefficients.
template <int n, class Depth>
void addBlock(typename Depth::Sample* dst, std::ptrdiff_t step,
              const typename Depth::Coefficient* coefficients,
              const Dequantiser<n, typename Depth::Coefficient>& dequantiser, const Depth& depth)
{
    const auto c = loadCoefficients<n * n>(coefficients);
    if (dequantiser.lossless)
        addResidual<n>(dst, step, c, depth);
    else
        addTransformed<n>(dst, step, dequantiser.scaling(c), depth);
}

// A coded 4x4 block whose DC comes from elsewhere: the coefficient in its place does not count.
template <class Depth>
void addBlock(typename Depth::Sample* dst, std::ptrdiff_t step,
              const typename Depth::Coefficient* coefficients, typename Depth::Coefficient dc,
              const Dequantiser<4, typename Depth::Coefficient>& dequantiser, const Depth& depth)
{
    auto c = loadCoefficients<16>(coefficients);
    if (!dequantiser.lossless)
        c = dequantiser.scaling(c);
    c[0] = withFirst(c[0], dc);
    if (dequantiser.lossless)
        addResidual<4>(dst, step, c, depth);
    else
        addTransformed<4>(dst, step, c, depth);
}

// A 4x4 block of which only the DC, from elsewhere, is coded.
template <class Depth>
void addDc(typename Depth::Sample* dst, std::ptrdiff_t step, typename Depth::Coefficient dc,
           const Dequantiser<4, typename Depth::Coefficient>& dequantiser, const Depth& depth)
{
    if (dequantiser.lossless)
        *dst = depth.add(*dst, dc);
    else
        addConstant<4>(dst, step, wrapAdd(dc, 32) >> 6, depth);
}

} // namespace kelvcpx::h264
