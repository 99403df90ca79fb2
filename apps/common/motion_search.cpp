#include "common/motion_search.h"

#include <kelvcpx/metrics.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdlib>
#include <limits>

namespace kelvcpx::app {
namespace {

constexpr std::array<MotionVector, 8> neighbours{
    {{-1, -1}, {0, -1}, {1, -1}, {-1, 0}, {1, 0}, {-1, 1}, {0, 1}, {1, 1}}};
constexpr std::array<MotionVector, 6> hexagon{{{-2, 0}, {-1, -2}, {1, -2}, {2, 0}, {1, 2}, {-1, 2}}};

// Whole samples, in the units of vectors.
constexpr int sample = 2;

class Search
{
public:
    Search(const SearchBlock& block, const VectorCost& cost) : block_(block), cost_(cost) {}

    void tryVector(MotionVector vector)
    {
        if (!block_.limits.contain(vector))
            return;
        const int bits = cost_(vector);
        if (bits >= best_.cost)
            return;
        const int sad = sadAt(block_, vector);
        if (sad + bits < best_.cost)
            best_ = {vector, sad, sad + bits};
    }

    // Moves in steps of a pattern as long as that is for the better.
    void descend(std::span<const MotionVector> pattern, int scale)
    {
        for (;;) {
            const MotionVector centre = best_.vector;
            for (const MotionVector step : pattern)
                tryVector({centre.x + step.x * scale, centre.y + step.y * scale});
            if (best_.vector == centre)
                return;
        }
    }

    // Tries a pattern once round the best vector.
    void look(std::span<const MotionVector> pattern, int scale)
    {
        const MotionVector centre = best_.vector;
        for (const MotionVector step : pattern)
            tryVector({centre.x + step.x * scale, centre.y + step.y * scale});
    }

    const FoundVector& best() const { return best_; }

private:
    const SearchBlock& block_;
    const VectorCost& cost_;
    FoundVector best_{{}, 0, std::numeric_limits<int>::max()};
};

constexpr int wholeSamples(int component)
{
    return component / sample * sample;
}

} // namespace

int vectorBits(int difference)
{
    return 2 * static_cast<int>(std::bit_width(static_cast<unsigned>(std::abs(difference)))) + 1;
}

int VectorCost::operator()(MotionVector vector) const
{
    return bitWorth * (vectorBits(vector.x - predicted.x) + vectorBits(vector.y - predicted.y));
}

int sadAt(const SearchBlock& block, MotionVector vector)
{
    const uint8_t* const reference =
        block.reference + std::ptrdiff_t{block.referenceStep} * (vector.y >> 1) + (vector.x >> 1);
    const int32_t mcType = 8 * (vector.x & 1) + 4 * (vector.y & 1);
    int32_t sad = 0;
    (block.height == 16 ? keliSAD16x16_8u32s : keliSAD16x8_8u32s_C1R)(
        block.current, block.currentStep, reference, block.referenceStep, &sad, mcType);
    return sad;
}

FoundVector searchMotion(const SearchBlock& block, std::span<const MotionVector> candidates,
                         const VectorCost& cost)
{
    Search search(block, cost);
    search.tryVector({});
    for (const MotionVector candidate : candidates)
        search.tryVector({wholeSamples(candidate.x), wholeSamples(candidate.y)});
    // Far steps first where nothing fits: the block moves in another way than those round it.
    const int misfit = 6 * 16 * block.height;
    if (search.best().sad > misfit)
        for (const int scale : {16, 8, 4, 2})
            search.look(neighbours, scale * sample);
    search.descend(hexagon, sample);
    search.look(neighbours, sample);
    search.look(neighbours, 1);
    return search.best();
}

} // namespace kelvcpx::app
