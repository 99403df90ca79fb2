// The deblocking post-filter (ISO/IEC 14496-2 Annex F.3.1). Each lane is a line of samples across the edge.

#include "block/edge_lines.h"
#include "core/arguments.h"

#include <kelvcpx/mpeg4_postfilter.h>

#include <algorithm>
#include <array>
#include <cstddef>

namespace kelvcpx::mpeg4 {
namespace {

constexpr std::size_t samples = 10; // of a line, five on each side of the edge

using Lines = EdgeLines<samples>;

template <class Edge>
Lines load(const uint8_t* p, std::ptrdiff_t step)
{
    // As two overlapping groups, of which each is as long as what is stored.
    const std::ptrdiff_t distance = Edge::sampleDistance(step);
    const auto first = Edge::template load<8>(p - 5 * distance, step);
    const auto last = Edge::template load<8>(p - 3 * distance, step);
    Lines s;
    std::copy(first.begin(), first.end(), s.begin());
    std::copy(last.end() - 2, last.end(), s.end() - 2);
    return s;
}

// The samples s1 to s8.
template <class Edge>
void store(uint8_t* p, std::ptrdiff_t step, const Lines& s)
{
    EdgeLines<8> changed;
    std::copy_n(s.begin() + 1, changed.size(), changed.begin());
    Edge::store(p - 4 * Edge::sampleDistance(step), step, changed);
}

// Lines where thr2 pairs of neighbours at least differ by thr1 at most: the DC offset mode.
S16x8 flatLines(const Lines& s, int32_t thr1, int32_t thr2)
{
    const S16x8 largestDifference = splat16(static_cast<int16_t>(std::clamp(thr1, -1, 255)));
    S16x8 count{};
    for (std::size_t i = 0; i + 1 < samples; i++)
        count -= absolute(s[i] - s[i + 1]) <= largestDifference; // a mask is -1
    return count >= splat16(static_cast<int16_t>(std::clamp(thr2, 0, 10)));
}

// Of flat lines, those whose range is below twice the quantiser.
S16x8 smoothLines(const Lines& s, int16_t qp)
{
    S16x8 low = s[1];
    S16x8 high = s[1];
    for (std::size_t i = 2; i < samples - 1; i++) {
        low = minimum(low, s[i]);
        high = maximum(high, s[i]);
    }
    return high - low < splat16(static_cast<int16_t>(2 * qp));
}

// The filter (1, 1, 2, 2, 4, 2, 2, 1, 1) / 16 of the DC offset mode. What lies beyond s1 and s8 is s0 and s9,
// or s1 and s8 where these differ too much.
void smooth(Lines& s, S16x8 lines, int16_t qp)
{
    const auto padding = [&](S16x8 outer, S16x8 inner) {
        return select(absolute(inner - outer) < splat16(qp), outer, inner);
    };
    constexpr std::size_t beyond = 3; // samples before s0 and after s9
    std::array<S16x8, beyond + samples + beyond> e;
    std::fill_n(e.begin(), beyond + 1, padding(s[0], s[1]));
    std::copy_n(s.begin() + 1, samples - 2, e.begin() + beyond + 1);
    std::fill_n(e.end() - beyond - 1, beyond + 1, padding(s[9], s[8]));
    for (std::size_t i = 1; i < samples - 1; i++) {
        const S16x8* const t = &e[beyond + i];
        const S16x8 sum = (t[-4] + t[-3] + t[3] + t[4]) + ((t[-2] + t[-1] + t[1] + t[2]) << 1) + (t[0] << 2);
        s[i] = select(lines, (sum + 8) >> 4, s[i]);
    }
}

// v / 8, halves away from zero.
S16x8 eighth(S16x8 v)
{
    return (v + 4 + (v >> 15)) >> 3;
}

// The default mode, which takes away from the step at the edge what is more than that on either side.
void correct(Lines& s, S16x8 lines, int16_t qp)
{
    const auto frequency = [&](std::size_t i) {
        return eighth((s[i] - s[i + 3]) * 2 - (s[i + 1] - s[i + 2]) * 5);
    };
    const S16x8 a0 = frequency(3);
    const S16x8 least = minimum(absolute(a0), minimum(absolute(frequency(1)), absolute(frequency(5))));
    const S16x8 d = eighth((select(a0 < 0, -least, least) - a0) * 5);
    const S16x8 downwards = s[4] < s[5]; // the edge rises, and d may only be negative
    const S16x8 limit = absolute(s[4] - s[5]) >> 1;
    const S16x8 limitedD = clamped(d, select(downwards, -limit, S16x8{}), select(downwards, S16x8{}, limit));
    const S16x8 change = limitedD & lines & (absolute(a0) < splat16(qp));
    s[4] -= change;
    s[5] += change;
}

template <class Edge>
Status filterEdge(uint8_t* p, int32_t step, int32_t QP, int32_t thr1, int32_t thr2)
{
    if (anyNull(p))
        return StatusNullPointer;
    if (QP < 1 || QP > 31)
        return StatusBadQuantizer;
    const auto qp = static_cast<int16_t>(QP);
    Lines s = load<Edge>(p, step);
    const S16x8 flat = flatLines(s, thr1, thr2);
    const S16x8 smoothed = flat & smoothLines(s, qp);
    if (anyLane(~flat))
        correct(s, ~flat, qp);
    if (anyLane(smoothed))
        smooth(s, smoothed, qp);
    store<Edge>(p, step, s);
    return StatusOk;
}

} // namespace
} // namespace kelvcpx::mpeg4

using namespace kelvcpx;
using namespace kelvcpx::mpeg4;

Status keliFilterDeblocking8x8HorEdge_MPEG4_8u_C1IR(uint8_t* pSrcDst, int32_t srcDstStep, int32_t QP,
                                                    int32_t THR1, int32_t THR2) noexcept
{
    return filterEdge<HorizontalEdge>(pSrcDst, srcDstStep, QP, THR1, THR2);
}

Status keliFilterDeblocking8x8VerEdge_MPEG4_8u_C1IR(uint8_t* pSrcDst, int32_t srcDstStep, int32_t QP,
                                                    int32_t THR1, int32_t THR2) noexcept
{
    return filterEdge<VerticalEdge>(pSrcDst, srcDstStep, QP, THR1, THR2);
}
