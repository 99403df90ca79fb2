#include "mpeg2/prediction.h"

#include "mpeg2/code_tables.h"

#include <kelvcpx/block.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>

namespace kelvcpx::app::mpeg2 {
namespace {

using Copy = decltype(keliCopy8x8HP_8u_C1R);

// An 8x16 block as two of 8x8.
template <Copy* half>
Status twice8x8(const uint8_t* src, int32_t srcStep, uint8_t* dst, int32_t dstStep, int32_t acc,
                int32_t rounding)
{
    half(src, srcStep, dst, dstStep, acc, rounding);
    return half(src + 8 * std::ptrdiff_t{srcStep}, srcStep, dst + 8 * std::ptrdiff_t{dstStep}, dstStep, acc,
                rounding);
}

// The operations of the library for one block size.
struct BlockOperations {
    int width;
    int height;
    decltype(keliMC8x8_8u_C1)* addToOne;
    decltype(keliMC8x8B_8u_C1)* addToTwo;
    Status (*copy)(const uint8_t*, int32_t, uint8_t*, int32_t, int32_t, int32_t);
    Status (*average)(const uint8_t*, int32_t, uint8_t*, int32_t, int32_t, int32_t);
};

constexpr BlockOperations operations[] = {
    {16, 16, keliMC16x16_8u_C1, keliMC16x16B_8u_C1, keliCopy16x16HP_8u_C1R,
     keliInterpolateAverage16x16_8u_C1IR},
    {16, 8, keliMC16x8_8u_C1, keliMC16x8B_8u_C1, keliCopy16x8HP_8u_C1R, keliInterpolateAverage16x8_8u_C1IR},
    {8, 16, keliMC8x16_8u_C1, keliMC8x16B_8u_C1, twice8x8<keliCopy8x8HP_8u_C1R>,
     twice8x8<keliInterpolateAverage8x8_8u_C1IR>},
    {8, 8, keliMC8x8_8u_C1, keliMC8x8B_8u_C1, keliCopy8x8HP_8u_C1R, keliInterpolateAverage8x8_8u_C1IR},
    {8, 4, keliMC8x4_8u_C1, keliMC8x4B_8u_C1, keliCopy8x4HP_8u_C1R, keliInterpolateAverage8x4_8u_C1IR},
};

const BlockOperations& operationsFor(int width, int height)
{
    return *std::find_if(std::begin(operations), std::end(operations) - 1,
                         [=](const BlockOperations& candidate) {
                             return candidate.width == width && candidate.height == height;
                         });
}

// A block of a reference at half-sample position.
struct Reference {
    const uint8_t* samples;
    int32_t step;
    int horizontalHalf; // 0 or 1
    int verticalHalf;

    int32_t mcType() const { return 8 * horizontalHalf + 4 * verticalHalf; }
    int32_t acc() const { return horizontalHalf + 2 * verticalHalf; }
};

Reference locate(const Surface::Plane& plane, int x, int y, Vector vector, const BlockOperations& block)
{
    const int halfX = std::clamp(2 * x + vector.x, 0, 2 * (plane.width - block.width));
    const int halfY = std::clamp(2 * y + vector.y, 0, 2 * (plane.height - block.height));
    return {plane.samples + std::ptrdiff_t{plane.step} * (halfY >> 1) + (halfX >> 1), plane.step, halfX & 1,
            halfY & 1};
}

constexpr int32_t rounding = 0;

void predictWithResidual(const BlockOperations& block, std::span<const Reference> references,
                         const int16_t* residual, int32_t residualStep, uint8_t* dst, int32_t dstStep)
{
    const Reference& first = references.front();
    const Reference& second = references.back();
    if (references.size() == 1)
        block.addToOne(first.samples, first.step, residual, residualStep, dst, dstStep, first.mcType(),
                       rounding);
    else
        block.addToTwo(first.samples, first.step, first.mcType(), second.samples, second.step,
                       second.mcType(), residual, residualStep, dst, dstStep, rounding);
}

void predictAlone(const BlockOperations& block, std::span<const Reference> references, uint8_t* dst,
                  int32_t dstStep)
{
    const Reference& first = references.front();
    const Reference& second = references.back();
    block.copy(first.samples, first.step, dst, dstStep, first.acc(), rounding);
    if (references.size() == 2)
        block.average(second.samples, second.step, dst, dstStep, second.acc(), rounding);
}

} // namespace

SourceList sourcesOf(const ReferencePair& references, int32_t type, MotionType motionType,
                     const MotionPair& motion, std::size_t r)
{
    SourceList list;
    for (std::size_t s = 0; s < 2; s++) {
        if ((type & (s == 0 ? typeForward : typeBackward)) == 0)
            continue;
        list.add(motionType == MotionType::frame
                     ? references[s].frame
                     : references[s].fields[static_cast<std::size_t>(motion[s].fieldSelect[r])],
                 motion[s].vectors[r]);
    }
    return list;
}

void predict(const Surface& target, ChromaFormat chroma, const Region& region, const SourceList& sources,
             const ResidualView& residual)
{
    for (std::size_t i = 0; i < 3; i++) {
        const int shiftX = i == 0 ? 0 : chromaShiftX(chroma);
        const int shiftY = i == 0 ? 0 : chromaShiftY(chroma);
        const BlockOperations& block = operationsFor(16 >> shiftX, region.height >> shiftY);
        const int x = region.x >> shiftX;
        const int y = region.y >> shiftY;
        std::array<Reference, 2> references;
        for (std::size_t s = 0; s < sources.count; s++) {
            // Chroma vectors are the luma ones divided with truncation (7.6.3.7).
            const Vector vector = {sources.items[s].vector.x / (1 << shiftX),
                                   sources.items[s].vector.y / (1 << shiftY)};
            references[s] = locate(sources.items[s].surface->planes[i], x, y, vector, block);
        }
        const Surface::Plane& plane = target.planes[i];
        uint8_t* const dst = plane.samples + std::ptrdiff_t{plane.step} * y + x;
        const std::span<const Reference> used(references.data(), sources.count);
        if (residual.coded)
            predictWithResidual(block, used, residual.planes[i], residual.steps[i], dst, plane.step);
        else
            predictAlone(block, used, dst, plane.step);
    }
}

} // namespace kelvcpx::app::mpeg2
