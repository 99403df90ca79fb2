// Lines of 8-bit samples across an edge, eight at a time: each is a lane.
#pragma once

#include "block/strip.h"
#include "core/transpose.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace kelvcpx {

// Element i has the i-th sample of every line.
template <std::size_t samples>
using EdgeLines = std::array<S16x8, samples>;

// `p` is the first sample of the first line, `step` the distance of the picture's rows.
struct HorizontalEdge {
    static std::ptrdiff_t sampleDistance(std::ptrdiff_t step) { return step; }
    static std::ptrdiff_t lineDistance(std::ptrdiff_t) { return 1; }

    template <std::size_t samples>
    [[gnu::always_inline]] static EdgeLines<samples> load(const uint8_t* p, std::ptrdiff_t step)
    {
        EdgeLines<samples> lines;
        for (std::size_t i = 0; i < samples; i++)
            lines[i] = widenLow(gatherRows<8, 1>(p + static_cast<std::ptrdiff_t>(i) * step, step));
        return lines;
    }

    template <std::size_t samples>
    [[gnu::always_inline]] static void store(uint8_t* p, std::ptrdiff_t step, const EdgeLines<samples>& lines)
    {
        for (std::size_t i = 0; i < samples; i++)
            scatterRows<8, 1>(p + static_cast<std::ptrdiff_t>(i) * step, step, narrow(lines[i], lines[i]));
    }
};

// 4 or 8 samples.
struct VerticalEdge {
    static std::ptrdiff_t sampleDistance(std::ptrdiff_t) { return 1; }
    static std::ptrdiff_t lineDistance(std::ptrdiff_t step) { return step; }

    template <std::size_t samples>
    [[gnu::always_inline]] static EdgeLines<samples> load(const uint8_t* p, std::ptrdiff_t step)
    {
        std::array<U8x16, samples / 2> vectors;
        for (std::size_t i = 0; i < vectors.size(); i++)
            vectors[i] = gatherRows<samples, rows<samples>>(p + firstRow<samples>(i) * step, step);
        vectors = transposed<8>(vectors);
        EdgeLines<samples> lines;
        for (std::size_t i = 0; i < vectors.size(); i++) {
            lines[2 * i] = widenLow(vectors[i]);
            lines[2 * i + 1] = widenHigh(vectors[i]);
        }
        return lines;
    }

    template <std::size_t samples>
    [[gnu::always_inline]] static void store(uint8_t* p, std::ptrdiff_t step, const EdgeLines<samples>& lines)
    {
        std::array<U8x16, samples / 2> vectors;
        for (std::size_t i = 0; i < vectors.size(); i++)
            vectors[i] = narrow(lines[2 * i], lines[2 * i + 1]);
        vectors = transposed<samples>(vectors);
        for (std::size_t i = 0; i < vectors.size(); i++)
            scatterRows<samples, rows<samples>>(p + firstRow<samples>(i) * step, step, vectors[i]);
    }

private:
    // Of a vector with rows of this many samples.
    template <std::size_t samples>
    static constexpr int rows = 16 / samples;

    template <std::size_t samples>
    static constexpr std::ptrdiff_t firstRow(std::size_t vector)
    {
        return static_cast<std::ptrdiff_t>(vector) * rows<samples>;
    }
};

} // namespace kelvcpx
