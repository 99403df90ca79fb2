// The edges of a macroblock: which lines and samples the deblocking filter works on, and how they get into
// lanes and back. No argument is checked. Steps are in samples.
#pragma once

#include "core/transpose.h"
#include "h264/deblock_filters.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace kelvcpx::h264 {

enum class Direction { vertical, horizontal };

// Where a bS of 4 means the strong filter. Elsewhere it is a strength like 1 to 3.
enum class Strong {
    segment,   // in the segment that has it
    edge,      // in the whole edge if its first segment has it, whatever the others have
    firstEdge, // as for `edge`, but only in the first edge of the macroblock
};

// The edges of one kind in a macroblock, four samples apart.
struct EdgeLayout {
    Direction direction;
    int samples; // across an edge: 8 for luma, 4 for chroma
    int edges;
    int lines;           // of an edge
    int linesPerSegment; // of the four segments, each with a bS and a tc0
    int bsPerEdge;       // distance of one edge's bS from the next one's
    Strong strong;
};

template <class S>
struct Edge {
    typename S::Sample* q0; // of the first line
    std::ptrdiff_t step;
    int32_t alpha;
    int32_t beta;
    const uint8_t* bs; // of the four segments
    const typename S::Sample* tc0;
};

// Moves the samples across an edge between the plane and one vector for each sample, with up to S::lanes
// lines.
template <class S, Direction direction, int samples, int lines>
class Lines;

template <class S, int samples, int lines>
class Lines<S, Direction::horizontal, samples, lines>
{
public:
    using All = std::array<typename S::Lanes, samples>;

    [[gnu::always_inline]] static All load(const typename S::Sample* q0, std::ptrdiff_t step)
    {
        All all;
        for (int i = 0; i < samples; i++)
            all[static_cast<std::size_t>(i)] =
                S::widenLow(gather<S, lines, 1>(q0 + (i - samples / 2) * step, 0));
        return all;
    }

    // Stores the middle ones of the samples, as many as may have changed.
    template <int changed>
    [[gnu::always_inline]] static void store(typename S::Sample* q0, std::ptrdiff_t step, const All& all)
    {
        for (int i = (samples - changed) / 2; i < (samples + changed) / 2; i++)
            scatter<S, lines, 1>(q0 + (i - samples / 2) * step, 0,
                                 S::narrow(all[static_cast<std::size_t>(i)]));
    }
};

template <class S, int samples, int lines>
class Lines<S, Direction::vertical, samples, lines>
{
public:
    using All = std::array<typename S::Lanes, samples>;

    [[gnu::always_inline]] static All load(const typename S::Sample* q0, std::ptrdiff_t step)
    {
        std::array<typename S::SampleVector, vectors> rows{};
        for (int i = 0; i < usedVectors; i++)
            rows[static_cast<std::size_t>(i)] =
                gather<S, samples, linesPerVector>(q0 - samples / 2 + i * linesPerVector * step, step);
        rows = transposed<S::lanes>(rows);
        All all;
        for (std::size_t i = 0; i < vectors; i++) {
            all[2 * i] = S::widenLow(rows[i]);
            all[2 * i + 1] = S::widenHigh(rows[i]);
        }
        return all;
    }

    template <int>
    [[gnu::always_inline]] static void store(typename S::Sample* q0, std::ptrdiff_t step, const All& all)
    {
        std::array<typename S::SampleVector, vectors> rows;
        for (std::size_t i = 0; i < vectors; i++)
            rows[i] = S::narrow(all[2 * i], all[2 * i + 1]);
        rows = transposed<samples>(rows);
        for (int i = 0; i < usedVectors; i++)
            scatter<S, samples, linesPerVector>(q0 - samples / 2 + i * linesPerVector * step, step,
                                                rows[static_cast<std::size_t>(i)]);
    }

private:
    static constexpr int linesPerVector = 16 / samples / static_cast<int>(sizeof(typename S::Sample));
    static constexpr int vectors = S::lanes / linesPerVector;
    static constexpr int usedVectors = lines / linesPerVector;
};

// Filters `lines` lines, of which lane by lane the bS and the tc0 are given.
template <class S, Direction direction, int samples, int lines>
void filterLines(typename S::Sample* q0, const Edge<S>& edge, typename S::Lanes bs, typename S::Lanes tc0,
                 Clip<S> clip)
{
    using Access = Lines<S, direction, samples, lines>;
    const Thresholds<S> thresholds{S::splat(edge.alpha), S::splat(edge.beta)};
    auto all = Access::load(q0, edge.step);
    constexpr std::size_t q = samples / 2;
    const auto filtered =
        filterSamples<S>(all[q - 2], all[q - 1], all[q], all[q + 1], thresholds) & (bs != 0);
    if (!anyLane(filtered))
        return;
    const auto strong = filtered & (bs == 4);
    if (anyLane(filtered & (bs != 4)))
        filterNormal<S>(all, filtered & (bs != 4), tc0, thresholds, clip);
    constexpr bool luma = samples == 8;
    if (anyLane(strong)) {
        filterStrong<S>(all, strong, thresholds);
        Access::template store<luma ? 6 : 2>(q0, edge.step, all);
    } else {
        Access::template store<luma ? 4 : 2>(q0, edge.step, all);
    }
}

// bS and tc0 are read one by one: callers have just written them so, and a load across several recent stores
// waits until all of them have reached the cache.

// Lanes with each of the values, of bS or of tc0, `times` times.
template <class S, int values, int times, class Value>
[[gnu::always_inline]] inline typename S::Lanes spread(const Value* p)
{
    if constexpr (values == 1) {
        return S::splat(*p);
    } else {
        constexpr int laneBits = 128 / S::lanes;
        using Copies = detail::Unsigned<times * laneBits / 8>;
        constexpr auto ones = [] {
            Copies all = 0;
            for (int i = 0; i < times; i++)
                all = static_cast<Copies>(all | Copies{1} << (i * laneBits));
            return all;
        }();
        Vec16<Copies> lanes{};
        for (int i = 0; i < values; i++)
            lanes[i] = static_cast<Copies>(p[i] * ones);
        return std::bit_cast<typename S::Lanes>(lanes);
    }
}

template <int segments>
[[gnu::always_inline]] inline bool anyStrength(const uint8_t* bs)
{
    uint8_t any = 0;
    for (int i = 0; i < segments; i++)
        any |= bs[i];
    return any != 0;
}

// Filters an edge of which some segment has a bS other than 0.
template <class S, EdgeLayout layout>
void filterEdge(const Edge<S>& edge, bool first, Clip<S> clip)
{
    constexpr int lines = std::min(layout.lines, S::lanes);
    constexpr int segments = lines / layout.linesPerSegment;
    const bool strongThroughout =
        layout.strong != Strong::segment && edge.bs[0] == 4 && (first || layout.strong == Strong::edge);
    for (int line = 0; line < layout.lines; line += lines) {
        const uint8_t* bs = edge.bs + line / layout.linesPerSegment;
        const auto* tc0 = edge.tc0 + line / layout.linesPerSegment;
        if (segments < 4 && !strongThroughout && !anyStrength<segments>(bs))
            continue;
        auto strength = spread<S, segments, layout.linesPerSegment>(bs);
        if constexpr (layout.strong != Strong::segment)
            strength = strongThroughout ? S::splat(4) : minimum(strength, S::splat(3));
        filterLines<S, layout.direction, layout.samples, lines>(
            edge.q0 + line * (layout.direction == Direction::vertical ? edge.step : 1), edge, strength,
            spread<S, segments, layout.linesPerSegment>(tc0), clip);
    }
}

template <class S>
struct MacroblockEdges {
    typename S::Sample* plane;
    int32_t step;
    std::array<int32_t, 2> alpha; // of the first edge, of the others
    std::array<int32_t, 2> beta;
    const typename S::Sample* tc0;
    const uint8_t* bs;
};

template <class S, EdgeLayout layout>
void filterEdges(const MacroblockEdges<S>& m, Clip<S> clip)
{
    constexpr bool vertical = layout.direction == Direction::vertical;
    for (int e = 0; e < layout.edges; e++) {
        const std::size_t external = e == 0 ? 0 : 1;
        const Edge<S> edge{m.plane + 4 * e * std::ptrdiff_t{vertical ? 1 : m.step},
                           m.step,
                           m.alpha[external],
                           m.beta[external],
                           m.bs + e * layout.bsPerEdge,
                           m.tc0 + 4 * e};
        // A threshold of 0 filters nothing.
        if (anyStrength<4>(edge.bs) && edge.alpha != 0 && edge.beta != 0)
            filterEdge<S, layout>(edge, e == 0, clip);
    }
}

} // namespace kelvcpx::h264
