// H.264: interpolation and weighted prediction.

#include "h264_plane.h"

#include <kelvcpx/h264_inter.h>

#include <vector>

namespace {

using namespace kelvcpx::bench;

using Plane8 = Plane<uint8_t>;
using Plane16 = Plane<uint16_t>;

std::string text(RoiSize size)
{
    return std::to_string(size.width) + 'x' + std::to_string(size.height);
}

std::string text(int32_t dx, int32_t dy)
{
    return 'H' + std::to_string(dx) + 'V' + std::to_string(dy);
}

InterpolationParams16u interpolation(Plane16& p, int32_t dx, int32_t dy, RoiSize size)
{
    return {p.first(), planeStep, p.destination(), planeStep, dx, dy, size, bitDepth};
}

// An interpolation, inside the picture and over its edges, of 8 bits and of 16.
template <auto plain8, auto top8, auto bottom8, auto plain16, auto top16, auto bottom16>
void addInterpolation(int32_t side, int32_t dx, int32_t dy)
{
    const RoiSize size{side, side};
    const std::string variant = text(size) + '/' + text(dx, dy);
    addOnPlane<uint8_t, plain8>(variant, [=](auto interpolate, Plane8& p) {
        return interpolate(p.first(), planeStep, p.destination(), planeStep, dx, dy, size);
    });
    addOnPlane<uint8_t, top8, bottom8>(variant, [=](auto interpolate, Plane8& p) {
        return interpolate(p.first(), planeStep, p.destination(), planeStep, dx, dy, side / 2, size);
    });
    addOnPlane<uint16_t, plain16>(variant, [=](auto interpolate, Plane16& p) {
        const auto params = interpolation(p, dx, dy, size);
        return interpolate(&params);
    });
    addOnPlane<uint16_t, top16, bottom16>(variant, [=](auto interpolate, Plane16& p) {
        const auto params = interpolation(p, dx, dy, size);
        return interpolate(&params, side / 2);
    });
}

void addInterpolation()
{
    for (const int32_t side : {16, 8, 4})
        for (int32_t dx = 0; dx < 4; dx++)
            for (int32_t dy = 0; dy < 4; dy++)
                addInterpolation<keliInterpolateLuma_H264_8u_C1R, keliInterpolateLumaTop_H264_8u_C1R,
                                 keliInterpolateLumaBottom_H264_8u_C1R, keliInterpolateLuma_H264_16u_C1R,
                                 keliInterpolateLumaTop_H264_16u_C1R, keliInterpolateLumaBottom_H264_16u_C1R>(
                    side, dx, dy);
    for (const int32_t side : {8, 4, 2})
        for (const auto& [dx, dy] : {std::array{0, 0}, {3, 0}, {0, 3}, {3, 3}})
            addInterpolation<keliInterpolateChroma_H264_8u_C1R, keliInterpolateChromaTop_H264_8u_C1R,
                             keliInterpolateChromaBottom_H264_8u_C1R, keliInterpolateChroma_H264_16u_C1R,
                             keliInterpolateChromaTop_H264_16u_C1R, keliInterpolateChromaBottom_H264_16u_C1R>(
                side, dx, dy);
}

void addAverages(RoiSize size)
{
    const std::string variant = text(size);
    const auto width = static_cast<uint32_t>(size.width);
    const auto height = static_cast<uint32_t>(size.height);
    addOnPlane<uint8_t, keliInterpolateBlock_H264_8u_P2P1R>(variant, [=](auto average, Plane8& p) {
        return average(p.first(), p.second(), p.destination(), width, height, planeStep);
    });
    addOnPlane<uint8_t, keliInterpolateBlock_H264_8u_P3P1R>(variant, [=](auto average, Plane8& p) {
        return average(p.first(), p.second(), p.destination(), width, height, planeStep, planeStep,
                       planeStep);
    });
    addOnPlane<uint8_t, keliWeightedAverage_H264_8u_C1IR>(variant, [=](auto average, Plane8& p) {
        return average(p.first(), p.destination(), planeStep, 40, 20, 6, -1, size);
    });
}

void addWeights8(RoiSize size)
{
    const std::string variant = text(size);
    addOnPlane<uint8_t, keliUniDirWeightBlock_H264_8u_C1IR, keliUniDirWeightBlock_H264_8u_C1R>(
        variant, [=](auto weight, Plane8& p) { return weight(p.destination(), planeStep, 5, 33, 1, size); });
    addOnPlane<uint8_t, keliBiDirWeightBlock_H264_8u_P2P1R>(variant, [=](auto weight, Plane8& p) {
        return weight(p.first(), p.second(), p.destination(), planeStep, planeStep, 5, 40, 3, 20, -5, size);
    });
    addOnPlane<uint8_t, keliBiDirWeightBlock_H264_8u_P3P1R>(variant, [=](auto weight, Plane8& p) {
        return weight(p.first(), p.second(), p.destination(), planeStep, planeStep, planeStep, 5, 40, 3, 20,
                      -5, size);
    });
    addOnPlane<uint8_t, keliBiDirWeightBlockImplicit_H264_8u_P2P1R>(variant, [=](auto weight, Plane8& p) {
        return weight(p.first(), p.second(), p.destination(), planeStep, planeStep, 43, 21, size);
    });
    addOnPlane<uint8_t, keliBiDirWeightBlockImplicit_H264_8u_P3P1R>(variant, [=](auto weight, Plane8& p) {
        return weight(p.first(), p.second(), p.destination(), planeStep, planeStep, planeStep, 43, 21, size);
    });
}

// The same on 16-bit samples; `rest` are the weights.
template <auto operation, class... Rest>
void addBidirectional16(RoiSize size, Rest... rest)
{
    addOnPlane<uint16_t, operation>(text(size), [=](auto weight, Plane16& p) {
        const BidirParams16u params{p.first(),       planeStep, p.second(), planeStep,
                                    p.destination(), planeStep, size,       bitDepth};
        return weight(&params, rest...);
    });
}

void addWeighting()
{
    for (const int32_t side : {16, 8, 4, 2}) {
        const RoiSize size{side, side};
        addAverages(size);
        addWeights8(size);
        addBidirectional16<keliBidir_H264_16u_P2P1R>(size);
        addBidirectional16<keliBidirWeight_H264_16u_P2P1R>(size, 5, 40, 3, 20, -5);
        addBidirectional16<keliBidirWeightImplicit_H264_16u_P2P1R>(size, 43, 21);
        addOnPlane<uint16_t, keliUnidirWeight_H264_16u_IP2P1R>(text(size), [=](auto weight, Plane16& p) {
            return weight(p.destination(), planeStep, 5, 33, 1, size, bitDepth);
        });
    }
}

void addExpansion()
{
    static constexpr int32_t margin = 32;
    struct Expanded {
        std::vector<uint8_t> samples = std::vector<uint8_t>(std::size_t{1088 + 2 * margin} * planeStep);
    };
    add<Expanded, keliExpandPlane_H264_8u_C1R>("1920x1088", [](auto expand, Expanded& e) {
        return expand(&e.samples[margin * planeStep + margin], 1920, 1088, planeStep, margin, 0);
    });
}

[[maybe_unused]] const bool registered = (addInterpolation(), addWeighting(), addExpansion(), true);

} // namespace
