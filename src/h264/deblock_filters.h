// The filters of the deblocking process (ITU-T H.264 8.7.2), on one line of samples across an edge in each
// lane. Whether a line is filtered, and how, is a mask: all ones in its lane if so.
#pragma once

#include "h264/lanes.h"

#include <array>
#include <cstdint>
#include <limits>

namespace kelvcpx::h264 {

// The samples across an edge, in the order p3, p2, p1, p0, q0, q1, q2, q3 for luma and p1, p0, q0, q1 for
// chroma.
template <class S>
using LumaLines = std::array<typename S::Lanes, 8>;
template <class S>
using ChromaLines = std::array<typename S::Lanes, 4>;

template <class S>
struct Thresholds {
    typename S::Lanes alpha;
    typename S::Lanes beta;
};

// The conditions on the samples in filterSamplesFlag (8.7.2.2).
template <class S>
[[gnu::always_inline]] inline typename S::Lanes filterSamples(typename S::Lanes p1, typename S::Lanes p0,
                                                              typename S::Lanes q0, typename S::Lanes q1,
                                                              const Thresholds<S>& thresholds)
{
    return (absolute(p0 - q0) < thresholds.alpha) & (absolute(p1 - p0) < thresholds.beta) &
           (absolute(q1 - q0) < thresholds.beta);
}

// Moves p0 and q0 of the lines towards each other, by tc at most.
template <class S>
[[gnu::always_inline]] inline void filterInner(typename S::Lanes p1, typename S::Lanes& p0,
                                               typename S::Lanes& q0, typename S::Lanes q1,
                                               typename S::Lanes tc, typename S::Lanes lines, Clip<S> clip)
{
    const auto delta = limited((((q0 - p0) << 2) + (p1 - q1) + 4) >> 3, tc) & lines;
    const auto p = clip(p0 + delta);
    const auto q = clip(q0 - delta);
    // A sample that stays may be outside the range of the bit depth.
    p0 = delta != 0 ? p : p0;
    q0 = delta != 0 ? q : q0;
}

// 8.7.2.3 for luma. tc is formed in 16 bits.
template <class S>
[[gnu::always_inline]] inline void filterNormal(LumaLines<S>& samples, typename S::Lanes lines,
                                                typename S::Lanes tc0, const Thresholds<S>& thresholds,
                                                Clip<S> clip)
{
    auto& [p3, p2, p1, p0, q0, q1, q2, q3] = samples;
    const auto ap = absolute(p2 - p0) < thresholds.beta;
    const auto aq = absolute(q2 - q0) < thresholds.beta;
    const auto middle = averageOf(p0, q0);
    const auto p1Change = limited((p2 + middle - (p1 << 1)) >> 1, tc0) & ap & lines;
    const auto q1Change = limited((q2 + middle - (q1 << 1)) >> 1, tc0) & aq & lines;
    filterInner<S>(p1, p0, q0, q1, (tc0 - ap - aq) & S::splat(0xffff), lines, clip);
    p1 += p1Change;
    q1 += q1Change;
}

// 8.7.2.3 for chroma. tc is formed in as many bits as an entry of tc0 has.
template <class S>
[[gnu::always_inline]] inline void filterNormal(ChromaLines<S>& samples, typename S::Lanes lines,
                                                typename S::Lanes tc0, const Thresholds<S>&, Clip<S> clip)
{
    auto& [p1, p0, q0, q1] = samples;
    constexpr int32_t largest = std::numeric_limits<typename S::Sample>::max();
    filterInner<S>(p1, p0, q0, q1, (tc0 + 1) & S::splat(largest), lines, clip);
}

// 8.7.2.4 for luma.
template <class S>
[[gnu::always_inline]] inline void filterStrong(LumaLines<S>& samples, typename S::Lanes lines,
                                                const Thresholds<S>& thresholds)
{
    auto& [p3, p2, p1, p0, q0, q1, q2, q3] = samples;
    const auto small = lines & (absolute(p0 - q0) < (thresholds.alpha >> 2) + 2);
    const auto pSmooth = small & (absolute(p2 - p0) < thresholds.beta);
    const auto qSmooth = small & (absolute(q2 - q0) < thresholds.beta);
    const auto inner = p0 + q0;
    const auto pSum = p2 + p1 + inner;
    const auto qSum = q2 + q1 + inner;
    const auto p0Smooth = (pSum + p1 + inner + q1 + 4) >> 3;
    const auto q0Smooth = (qSum + q1 + inner + p1 + 4) >> 3;
    const auto p0Rough = ((p1 << 1) + p0 + q1 + 2) >> 2;
    const auto q0Rough = ((q1 << 1) + q0 + p1 + 2) >> 2;
    p0 = pSmooth ? p0Smooth : lines ? p0Rough : p0;
    q0 = qSmooth ? q0Smooth : lines ? q0Rough : q0;
    p1 = pSmooth ? (pSum + 2) >> 2 : p1;
    q1 = qSmooth ? (qSum + 2) >> 2 : q1;
    p2 = pSmooth ? (((p3 + p2) << 1) + pSum + 4) >> 3 : p2;
    q2 = qSmooth ? (((q3 + q2) << 1) + qSum + 4) >> 3 : q2;
}

// 8.7.2.4 for chroma.
template <class S>
[[gnu::always_inline]] inline void filterStrong(ChromaLines<S>& samples, typename S::Lanes lines,
                                                const Thresholds<S>&)
{
    auto& [p1, p0, q0, q1] = samples;
    const auto p = ((p1 << 1) + p0 + q1 + 2) >> 2;
    const auto q = ((q1 << 1) + q0 + p1 + 2) >> 2;
    p0 = lines ? p : p0;
    q0 = lines ? q : q0;
}

} // namespace kelvcpx::h264
