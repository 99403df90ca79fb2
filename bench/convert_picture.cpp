// Pictures of 4:2:2, 720x576: turned, de-interlaced, made small.

#include "operation.h"

#include <kelvcpx/convert.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace {

using namespace kelvcpx::bench;

constexpr RoiSize size = {720, 576};
constexpr int32_t packedStep = 2 * size.width;

struct Pictures {
    Pictures() { fillWithNoise(source); }

    std::vector<uint8_t> source = std::vector<uint8_t>(std::size_t{packedStep} * size.height);
    std::vector<uint8_t> samples = std::vector<uint8_t>(std::size_t{720} * 720 * 3);
    std::array<uint8_t*, 3> planes = {samples.data(), samples.data() + 720 * 720,
                                      samples.data() + 720 * 720 * 2};
    std::array<int32_t, 3> steps = {720, 360, 360};
    std::vector<uint16_t> rgb = std::vector<uint16_t>(std::size_t{360} * 360);
};

void addRotations()
{
    for (int32_t rotation = 0; rotation < 4; rotation++) {
        const std::string variant = "rotation=" + std::to_string(rotation);
        add<Pictures, keliCbYCr422ToYCbCr420_Rotate_8u_C2P3R>(variant, [rotation](auto rotate, Pictures& p) {
            return rotate(p.source.data(), packedStep, size, p.planes.data(), p.steps.data(), rotation);
        });
        add<Pictures, keliCbYCr422ToYCbCr420_Rotate_8u_P3R>(variant, [rotation](auto rotate, Pictures& p) {
            const std::array<const uint8_t*, 3> planes = {&p.source[0], &p.source[360 * 576],
                                                          &p.source[360 * 576 + 360]};
            const std::array<int32_t, 3> steps = {360, 720, 360};
            return rotate(planes.data(), steps.data(), {720, 288}, p.planes.data(), p.steps.data(), rotation);
        });
    }
}

void addFilters()
{
    add<Pictures, keliDeinterlaceFilterTriangle_8u_C1R>("", [](auto filter, Pictures& p) {
        return filter(p.source.data(), size.width, p.planes[0], size.width, size, 128, 0);
    });
    for (const int32_t factor : {2, 4, 8})
        for (const int32_t interpolation : {1, 2})
            for (const int32_t rotation : {0, 1})
                add<Pictures, keliResizeCCRotate_8u_C2R>(
                    "factor=" + std::to_string(factor) + "/interpolation=" + std::to_string(interpolation) +
                        "/rotation=" + std::to_string(rotation),
                    [=](auto resize, Pictures& p) {
                        return resize(p.source.data(), packedStep, size, p.rgb.data(), 720, factor,
                                      interpolation, 0, rotation);
                    });
}

[[maybe_unused]] const bool registered = (addRotations(), addFilters(), true);

} // namespace
