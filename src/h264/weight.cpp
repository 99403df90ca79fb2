// Weighted sample prediction (ITU-T H.264 8.4.2.3): the average of two predictions, and weighted sums of one
// or two.

#include "core/arguments.h"
#include "h264/checks.h"
#include "h264/lanes.h"

#include <kelvcpx/h264_inter.h>

#include <algorithm>
#include <cstddef>
#include <limits>

namespace kelvcpx::h264 {
namespace {

template <class Sample>
struct Prediction {
    const Sample* samples;
    std::ptrdiff_t step;
};

// A block that is combined of two predictions, and may be one of them. Where there is only one, it is both.
template <class S>
struct Combination {
    using Sample = typename S::Sample;

    Prediction<Sample> first;
    Prediction<Sample> second;
    Sample* dst;
    std::ptrdiff_t dstStep;
    int32_t width;
    int32_t height;
};

template <class S, class Combine>
void combineSamples(const Combination<S>& block, Combine combine)
{
    for (int32_t y = 0; y < block.height; y++) {
        const auto* first = block.first.samples + y * block.first.step;
        const auto* second = block.second.samples + y * block.second.step;
        auto* dst = block.dst + y * block.dstStep;
        for (int32_t x = 0; x < block.width; x++)
            dst[x] = static_cast<typename S::Sample>(combine(first[x], second[x]));
    }
}

// The same by groups of samples, which must fit the block.
template <class Group, class S, class Combine>
void combineGroups(const Combination<S>& block, Combine combine)
{
    for (int32_t x = 0; x < block.width; x += Group::columns)
        for (std::ptrdiff_t y = 0; y < block.height; y += Group::rows) {
            const auto first = Group::load(block.first.samples + y * block.first.step + x, block.first.step);
            const auto second =
                Group::load(block.second.samples + y * block.second.step + x, block.second.step);
            Group::store(block.dst + y * block.dstStep + x, block.dstStep, combine(first, second));
        }
}

// (s1 + s2 + 1) >> 1 (8.4.2.3.1)
template <class S>
void averagePredictions(const Combination<S>& block)
{
    const auto groups = [](auto a, auto b) { return average(a, b); };
    const bool pairsOfRows = block.height % 2 == 0;
    if (block.width == 16)
        combineGroups<Strip<S, 16>>(block, groups);
    else if (block.width == 8 && pairsOfRows)
        combineGroups<Strip<S, 8>>(block, groups);
    else if (block.width == 4 && pairsOfRows)
        combineGroups<Strip<S, 4>>(block, groups);
    else
        combineSamples(block, [](int32_t a, int32_t b) { return (a + b + 1) >> 1; });
}

// ((s1 * w1 + s2 * w2 + 2^(shift - 1)) >> shift) + offset (8.4.2.3.2), without the rounding for shift 0
struct Weighting {
    int64_t w1;
    int64_t w2;
    int64_t shift;
    int64_t offset;
    int64_t bias = 0; // what has been taken off the samples

    // No sum of products has as many bits as the upper limit shifts out.
    static constexpr int64_t limitShift(int64_t shift) { return std::clamp<int64_t>(shift, 0, 61); }

    static constexpr Weighting ofOne(int64_t log2Wd, int32_t w, int32_t o)
    {
        return {w, 0, limitShift(log2Wd), o};
    }
    static constexpr Weighting ofTwo(int32_t log2Wd, int32_t w1, int32_t o1, int32_t w2, int32_t o2)
    {
        return {w1, w2, limitShift(log2Wd) + 1, (int64_t{o1} + o2 + 1) >> 1};
    }
    static constexpr Weighting general(int32_t shift, int32_t w1, int32_t w2, int32_t offset)
    {
        return {w1, w2, limitShift(shift), offset};
    }
    // With the logWD and the offsets that implicit weights have.
    static constexpr Weighting implicit(int32_t w1, int32_t w2) { return ofTwo(5, w1, 0, w2, 0); }

    constexpr int64_t rounding() const { return shift >= 1 ? int64_t{1} << (shift - 1) : 0; }

    constexpr int64_t operator()(int64_t s1, int64_t s2) const
    {
        return ((s1 * w1 + s2 * w2 + rounding()) >> shift) + offset;
    }

    // The same of samples around 0, whose products are half as large. Large weights have large shifts, but
    // where the shift cuts off some of what is made up for, it is the same as before.
    template <class S>
    constexpr Weighting biased() const
    {
        constexpr int64_t middle = std::numeric_limits<typename S::Sample>::max() / 2 + 1;
        const int64_t missing = middle * (w1 + w2);
        const int64_t shifted = missing >> shift;
        return shifted << shift == missing ? Weighting{w1, w2, shift, offset + shifted, middle} : *this;
    }

    // True if all numbers in the computation have room in a lane.
    template <class S>
    constexpr bool fits() const
    {
        constexpr int64_t samples = std::numeric_limits<typename S::Sample>::max();
        const int64_t least = -bias;
        const int64_t most = samples - bias;
        const int64_t lowest = std::min(w1 * least, w1 * most) + std::min(w2 * least, w2 * most);
        const int64_t highest =
            std::max(w1 * least, w1 * most) + std::max(w2 * least, w2 * most) + rounding();
        const auto hasRoom = [](int64_t v) {
            using Limits = std::numeric_limits<typename S::Lane>;
            return v >= Limits::min() && v <= Limits::max();
        };
        return hasRoom(lowest) && hasRoom(highest) && hasRoom(offset) &&
               hasRoom((lowest >> shift) + offset) && hasRoom((highest >> shift) + offset);
    }
};

template <class S>
void weightPredictions(const Combination<S>& block, const Weighting& weighting, Clip<S> clip)
{
    const bool fitsGroups =
        block.height % 2 == 0 && (block.width % S::lanes == 0 || isAnyOf(block.width, 2, 4));
    const Weighting fitting = weighting.fits<S>() ? weighting : weighting.biased<S>();
    if (!fitsGroups || !fitting.fits<S>())
        return combineSamples(block, [&](int64_t a, int64_t b) {
            return std::clamp<int64_t>(weighting(a, b), 0, clip.largest());
        });

    const auto splat = [](int64_t value) { return S::splat(static_cast<int32_t>(value)); };
    const auto w1 = splat(fitting.w1);
    const auto w2 = splat(fitting.w2);
    const auto rounding = splat(fitting.rounding());
    const auto offset = splat(fitting.offset);
    const auto bias = splat(fitting.bias);
    const auto shift = static_cast<int>(fitting.shift);
    const auto groups = [=](auto a, auto b) {
        return clip((((a - bias) * w1 + (b - bias) * w2 + rounding) >> shift) + offset);
    };
    if (block.width % S::lanes == 0)
        combineGroups<Group<S, S::lanes>>(block, groups);
    else if (block.width == 4)
        combineGroups<Group<S, 4>>(block, groups);
    else
        combineGroups<Group<S, 2>>(block, groups);
}

template <class S>
Status checkAndAverage(const Combination<S>& block)
{
    if (anyNull(block.first.samples, block.second.samples, block.dst))
        return StatusNullPointer;
    if (block.width < 2 || block.width > 16 || block.height < 2 || block.height > 16)
        return StatusBadSize;
    averagePredictions(block);
    return StatusOk;
}

// Steps are compared with the width as numbers of their own type.
template <class S, class Step>
Status checkAndWeight(const typename S::Sample* src1, Step src1Step, const typename S::Sample* src2,
                      Step src2Step, typename S::Sample* dst, Step dstStep, RoiSize size,
                      const Weighting& weighting, Clip<S> clip)
{
    if (anyNull(src1, src2, dst))
        return StatusNullPointer;
    const auto width = static_cast<Step>(size.width);
    if (src1Step < width || src2Step < width || dstStep < width)
        return StatusBadStep;
    if (!isAnyOf(size.height, 2, 4, 8, 16) || !isAnyOf(size.width, 2, 4, 8, 16))
        return StatusBadSize;
    weightPredictions<S>({{src1, src1Step}, {src2, src2Step}, dst, dstStep, size.width, size.height},
                         weighting, clip);
    return StatusOk;
}

Status checkAndWeight(const BidirParams16u* params, const Weighting& weighting)
{
    if (anyNull(params))
        return StatusNullPointer;
    return checkAndWeight<Samples16>(params->pSrc1, params->src1Step, params->pSrc2, params->src2Step,
                                     params->pDst, params->dstStep, params->roiSize, weighting,
                                     Clip<Samples16>(params->bitDepth));
}

} // namespace
} // namespace kelvcpx::h264

using namespace kelvcpx;
using namespace kelvcpx::h264;

Status keliInterpolateBlock_H264_8u_P2P1R(const uint8_t* pSrc1, const uint8_t* pSrc2, uint8_t* pDst,
                                          uint32_t width, uint32_t height, uint32_t step) noexcept
{
    return checkAndAverage<Samples8>({{pSrc1, step},
                                      {pSrc2, step},
                                      pDst,
                                      step,
                                      static_cast<int32_t>(width),
                                      static_cast<int32_t>(height)});
}

Status keliInterpolateBlock_H264_8u_P3P1R(const uint8_t* pSrc1, const uint8_t* pSrc2, uint8_t* pDst,
                                          uint32_t width, uint32_t height, int32_t src1Step, int32_t src2Step,
                                          int32_t dstStep) noexcept
{
    return checkAndAverage<Samples8>({{pSrc1, src1Step},
                                      {pSrc2, src2Step},
                                      pDst,
                                      dstStep,
                                      static_cast<int32_t>(width),
                                      static_cast<int32_t>(height)});
}

Status keliBidir_H264_16u_P2P1R(const BidirParams16u* pParams) noexcept
{
    if (anyNull(pParams))
        return StatusNullPointer;
    return checkAndAverage<Samples16>({{pParams->pSrc1, pParams->src1Step},
                                       {pParams->pSrc2, pParams->src2Step},
                                       pParams->pDst,
                                       pParams->dstStep,
                                       pParams->roiSize.width,
                                       pParams->roiSize.height});
}

Status keliUniDirWeightBlock_H264_8u_C1IR(uint8_t* pSrcDst, uint32_t srcDstStep, uint32_t log2Wd,
                                          int32_t weight, int32_t offset, RoiSize roiSize) noexcept
{
    return checkAndWeight<Samples8>(pSrcDst, srcDstStep, pSrcDst, srcDstStep, pSrcDst, srcDstStep, roiSize,
                                    Weighting::ofOne(log2Wd, weight, offset), {});
}

Status keliUniDirWeightBlock_H264_8u_C1R(uint8_t* pSrcDst, uint32_t srcDstStep, uint32_t log2Wd,
                                         int32_t weight, int32_t offset, RoiSize roiSize) noexcept
{
    return keliUniDirWeightBlock_H264_8u_C1IR(pSrcDst, srcDstStep, log2Wd, weight, offset, roiSize);
}

Status keliUnidirWeight_H264_16u_IP2P1R(uint16_t* pSrcDst, uint32_t srcDstStep, int32_t log2Wd,
                                        int32_t weight, int32_t offset, RoiSize roiSize,
                                        int32_t bitDepth) noexcept
{
    return checkAndWeight<Samples16>(pSrcDst, srcDstStep, pSrcDst, srcDstStep, pSrcDst, srcDstStep, roiSize,
                                     Weighting::ofOne(log2Wd, weight, offset), Clip<Samples16>(bitDepth));
}

Status keliBiDirWeightBlock_H264_8u_P2P1R(const uint8_t* pSrc1, const uint8_t* pSrc2, uint8_t* pDst,
                                          uint32_t srcStep, uint32_t dstStep, int32_t log2Wd, int32_t w1,
                                          int32_t o1, int32_t w2, int32_t o2, RoiSize roiSize) noexcept
{
    return keliBiDirWeightBlock_H264_8u_P3P1R(pSrc1, pSrc2, pDst, srcStep, srcStep, dstStep, log2Wd, w1, o1,
                                              w2, o2, roiSize);
}

Status keliBiDirWeightBlock_H264_8u_P3P1R(const uint8_t* pSrc1, const uint8_t* pSrc2, uint8_t* pDst,
                                          uint32_t src1Step, uint32_t src2Step, uint32_t dstStep,
                                          int32_t log2Wd, int32_t w1, int32_t o1, int32_t w2, int32_t o2,
                                          RoiSize roiSize) noexcept
{
    return checkAndWeight<Samples8>(pSrc1, src1Step, pSrc2, src2Step, pDst, dstStep, roiSize,
                                    Weighting::ofTwo(log2Wd, w1, o1, w2, o2), {});
}

Status keliBidirWeight_H264_16u_P2P1R(const BidirParams16u* pParams, int32_t log2Wd, int32_t w1, int32_t o1,
                                      int32_t w2, int32_t o2) noexcept
{
    return checkAndWeight(pParams, Weighting::ofTwo(log2Wd, w1, o1, w2, o2));
}

Status keliBiDirWeightBlockImplicit_H264_8u_P2P1R(const uint8_t* pSrc1, const uint8_t* pSrc2, uint8_t* pDst,
                                                  int32_t srcStep, int32_t dstStep, int32_t w1, int32_t w2,
                                                  RoiSize roiSize) noexcept
{
    return checkAndWeight<Samples8>(pSrc1, srcStep, pSrc2, srcStep, pDst, dstStep, roiSize,
                                    Weighting::implicit(w1, w2), {});
}

Status keliBiDirWeightBlockImplicit_H264_8u_P3P1R(const uint8_t* pSrc1, const uint8_t* pSrc2, uint8_t* pDst,
                                                  int32_t src1Step, int32_t src2Step, int32_t dstStep,
                                                  int32_t w1, int32_t w2, RoiSize roiSize) noexcept
{
    if (anyNull(pSrc1, pSrc2, pDst))
        return StatusNullPointer;
    weightPredictions<Samples8>(
        {{pSrc1, src1Step}, {pSrc2, src2Step}, pDst, dstStep, roiSize.width, roiSize.height},
        Weighting::implicit(w1, w2), {});
    return StatusOk;
}

Status keliBidirWeightImplicit_H264_16u_P2P1R(const BidirParams16u* pParams, int32_t w1, int32_t w2) noexcept
{
    return checkAndWeight(pParams, Weighting::implicit(w1, w2));
}

Status keliWeightedAverage_H264_8u_C1IR(const uint8_t* pSrc1, uint8_t* pSrcDst, int32_t step, int32_t w1,
                                        int32_t w2, int32_t shift, int32_t offset, RoiSize roiSize) noexcept
{
    return checkAndWeight<Samples8>(pSrc1, step, pSrcDst, step, pSrcDst, step, roiSize,
                                    Weighting::general(shift, w1, w2, offset), {});
}
