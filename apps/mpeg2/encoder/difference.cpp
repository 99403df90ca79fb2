#include "mpeg2/encoder/difference.h"

#include <kelvcpx/metrics.h>

#include <cstddef>

namespace kelvcpx::app::mpeg2 {
namespace {

struct Operations {
    decltype(keliGetDiff16x16_8u16s_C1)* fromOne;
    decltype(keliGetDiff16x16B_8u16s_C1)* fromTwo;
};

constexpr Operations lumaOfMacroblock{keliGetDiff16x16_8u16s_C1, keliGetDiff16x16B_8u16s_C1};
constexpr Operations lumaOfField{keliGetDiff16x8_8u16s_C1, keliGetDiff16x8B_8u16s_C1};
constexpr Operations chromaOfMacroblock{keliGetDiff8x8_8u16s_C1, keliGetDiff8x8B_8u16s_C1};
constexpr Operations chromaOfField{keliGetDiff8x4_8u16s_C1, keliGetDiff8x4B_8u16s_C1};

struct Reference {
    const uint8_t* samples;
    int32_t step;
    int32_t mcType;
};

Reference locate(const Surface::Plane& plane, int x, int y, Vector vector)
{
    return {plane.samples + std::ptrdiff_t{plane.step} * (y + (vector.y >> 1)) + x + (vector.x >> 1),
            plane.step, 8 * (vector.x & 1) + 4 * (vector.y & 1)};
}

} // namespace

void difference(const Surface& picture, const Region& region, const SourceList& sources,
                Components components, const ResidualTarget& residual)
{
    constexpr int32_t rounding = 0;
    for (std::size_t i = 0; i < (components == Components::luma ? 1 : 3); i++) {
        const int scale = i == 0 ? 1 : 2;
        const bool whole = region.height == 16;
        const Operations& operations =
            i == 0 ? (whole ? lumaOfMacroblock : lumaOfField) : (whole ? chromaOfMacroblock : chromaOfField);
        const Surface::Plane& plane = picture.planes[i];
        const int x = region.x / scale;
        const int y = region.y / scale;
        const uint8_t* const current = plane.samples + std::ptrdiff_t{plane.step} * y + x;
        std::array<Reference, 2> references;
        for (std::size_t s = 0; s < sources.count; s++) {
            // Chroma vectors are the luma ones divided with truncation (7.6.3.7).
            const Vector vector = sources.items[s].vector;
            references[s] =
                locate(sources.items[s].surface->planes[i], x, y, {vector.x / scale, vector.y / scale});
        }
        const auto& [first, second] = references;
        if (sources.count == 1)
            operations.fromOne(current, plane.step, first.samples, first.step, residual.planes[i],
                               residual.steps[i], nullptr, 0, first.mcType, rounding);
        else
            operations.fromTwo(current, plane.step, first.samples, first.step, first.mcType, second.samples,
                               second.step, second.mcType, residual.planes[i], residual.steps[i], rounding);
    }
}

} // namespace kelvcpx::app::mpeg2
