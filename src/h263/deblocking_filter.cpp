// The deblocking filter (ITU-T H.263 Annex J), with and without strength, and the filter of block boundaries
// in the reduced-resolution update mode (Annex Q).

#include "block/edge_lines.h"
#include "core/arguments.h"
#include "h263/checks.h"

#include <kelvcpx/h263_filter.h>

#include <array>
#include <bit>
#include <cstddef>

namespace kelvcpx::h263 {
namespace {

// STRENGTH by QUANT (table J.2).
constexpr std::array<int16_t, 32> h263_Deblock_QPStrength = {
    0, 1, 1, 2, 2, 3, 3, 4, 4, 4, 5, 5, 6, 6, 7, 7, 7, 8, 8, 8, 9, 9, 9, 10, 10, 10, 11, 11, 11, 12, 12, 12};

// v / divisor, a power of two, towards zero.
template <int16_t divisor>
S16x8 divide(S16x8 v)
{
    constexpr int shift = std::countr_zero(static_cast<uint16_t>(divisor));
    return (v + ((v >> 15) & splat16(divisor - 1))) >> shift;
}

// UpDownRamp of J.3: changes beyond the strength are the smaller the larger they were.
struct FilterPixels8x8 {
    S16x8 strength;

    S16x8 operator()(S16x8 d) const
    {
        const S16x8 magnitude = absolute(d);
        const S16x8 ramp = maximum(magnitude - maximum((magnitude - strength) * 2, S16x8{}), S16x8{});
        return select(d < 0, -ramp, ramp);
    }
};

struct FilterPixels16x16 {
    S16x8 operator()(S16x8 d) const { return d; }
};

// Filters eight lines; p is the first sample behind the edge.
template <class Edge, class Change>
void filterLines(uint8_t* p, std::ptrdiff_t step, Change change)
{
    uint8_t* const first = p - 2 * Edge::sampleDistance(step);
    auto [a, b, c, d] = Edge::template load<4>(first, step);
    const S16x8 d1 = change(divide<8>((a - d) + (c - b) * 4));
    const S16x8 d2 = limited(divide<4>(a - d), absolute(d1) >> 1);
    Edge::template store<4>(first, step, {a - d2, saturate8u(b + d1), saturate8u(c - d1), d + d2});
}

template <class Edge>
Status deblock8(uint8_t* p, int32_t step, int32_t QP)
{
    if (anyNull(p))
        return StatusNullPointer;
    if (!isQuantiser(QP))
        return StatusBadQuantizer;
    const int16_t strength = h263_Deblock_QPStrength[static_cast<std::size_t>(QP)];
    filterLines<Edge>(p, step, FilterPixels8x8{splat16(strength)});
    return StatusOk;
}

template <class Edge>
Status deblock16(uint8_t* p, int32_t step)
{
    if (anyNull(p))
        return StatusNullPointer;
    for (std::ptrdiff_t line = 0; line < 16; line += 8)
        filterLines<Edge>(p + line * Edge::lineDistance(step), step, FilterPixels16x16{});
    return StatusOk;
}

template <class Edge>
void ownFilterBB16x16_H263(uint8_t* p, std::ptrdiff_t step)
{
    for (std::ptrdiff_t line = 0; line < 16; line++) {
        uint8_t& after = p[line * Edge::lineDistance(step)];
        uint8_t& before = *(&after - Edge::sampleDistance(step));
        const int b = before;
        const int c = after;
        before = static_cast<uint8_t>((3 * b + c + 2) >> 2);
        after = static_cast<uint8_t>((b + 3 * c + 2) >> 2);
    }
}

template <class Edge>
Status filterBoundary(uint8_t* p, int32_t step)
{
    if (anyNull(p))
        return StatusNullPointer;
    ownFilterBB16x16_H263<Edge>(p, step);
    return StatusOk;
}

} // namespace
} // namespace kelvcpx::h263

using namespace kelvcpx;
using namespace kelvcpx::h263;

Status keliFilterDeblocking8x8HorEdge_H263_8u_C1IR(uint8_t* pSrcDst, int32_t srcDstStep, int32_t QP) noexcept
{
    return deblock8<HorizontalEdge>(pSrcDst, srcDstStep, QP);
}

Status keliFilterDeblocking8x8VerEdge_H263_8u_C1IR(uint8_t* pSrcDst, int32_t srcDstStep, int32_t QP) noexcept
{
    return deblock8<VerticalEdge>(pSrcDst, srcDstStep, QP);
}

Status keliFilterDeblocking16x16HorEdge_H263_8u_C1IR(uint8_t* pSrcDst, int32_t srcDstStep) noexcept
{
    return deblock16<HorizontalEdge>(pSrcDst, srcDstStep);
}

Status keliFilterDeblocking16x16VerEdge_H263_8u_C1IR(uint8_t* pSrcDst, int32_t srcDstStep) noexcept
{
    return deblock16<VerticalEdge>(pSrcDst, srcDstStep);
}

Status keliFilterBlockBoundaryHorEdge_H263_8u_C1IR(uint8_t* pSrcDst, int32_t srcDstStep) noexcept
{
    return filterBoundary<HorizontalEdge>(pSrcDst, srcDstStep);
}

Status keliFilterBlockBoundaryVerEdge_H263_8u_C1IR(uint8_t* pSrcDst, int32_t srcDstStep) noexcept
{
    return filterBoundary<VerticalEdge>(pSrcDst, srcDstStep);
}
