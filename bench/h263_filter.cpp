// H.263 and H.261: filters of block edges, PB-frame prediction, resampling.

#include "picture.h"

#include <kelvcpx/h261_filter.h>
#include <kelvcpx/h263_filter.h>
#include <kelvcpx/h263_resample.h>

#include <vector>

namespace {

using namespace kelvcpx::bench;

void addFilters()
{
    add<Picture, keliFilterDeblocking8x8HorEdge_H263_8u_C1IR, keliFilterDeblocking8x8VerEdge_H263_8u_C1IR>(
        "", [](auto filter, Picture& p) { return filter(p.current() + 16, step, 10); });
    add<Picture, keliFilterDeblocking16x16HorEdge_H263_8u_C1IR, keliFilterDeblocking16x16VerEdge_H263_8u_C1IR,
        keliFilterBlockBoundaryHorEdge_H263_8u_C1IR, keliFilterBlockBoundaryVerEdge_H263_8u_C1IR>(
        "", [](auto filter, Picture& p) { return filter(p.current() + 16, step); });
    for (const Position& position : positions)
        add<Picture, keliAddBackPredPB_H263_8u_C1R>(
            "8x8/" + position.name, [acc = position.acc](auto predict, Picture& p) {
                return predict(p.forward(), step, {8, 8}, p.current(), step, acc);
            });
    add<Picture, keliFilter8x8_H261_8u_C1R>(
        "", [](auto filter, Picture& p) { return filter(p.forward(), step, p.current(), step); });
}

constexpr RoiSize cif = {352, 288};
constexpr RoiSize fourCif = {704, 576};

struct Resampling {
    Resampling()
    {
        fillWithNoise(small);
        fillWithNoise(large);
    }

    std::vector<uint8_t> small = std::vector<uint8_t>(std::size_t{352} * 288);
    std::vector<uint8_t> large = std::vector<uint8_t>(std::size_t{704} * 576);
};

void addResampling()
{
    for (const int32_t fillValue : {-1, 128})
        add<Resampling, keliUpsampleFour_H263_8u_C1R>(
            "fill=" + std::to_string(fillValue), [fillValue](auto upsample, Resampling& r) {
                return upsample(r.small.data(), cif.width, cif, r.large.data(), fourCif.width, 0, fillValue);
            });
    for (int32_t type = 1; type <= 3; type++)
        add<Resampling, keliSpatialInterpolation_H263_8u_C1R>(
            "type=" + std::to_string(type), [type](auto interpolate, Resampling& r) {
                return interpolate(r.small.data(), cif.width, cif, r.large.data(), fourCif.width, type);
            });
    add<Resampling, keliDownsampleFour_H263_8u_C1R>("", [](auto downsample, Resampling& r) {
        return downsample(r.large.data(), fourCif.width, fourCif, r.small.data(), cif.width, 0);
    });
    struct Residual : Picture {
        alignas(64) std::array<int16_t, 256> result{};
    };
    add<Residual, keliUpsampleFour8x8_H263_16s_C1R, keliDownsampleFour16x16_H263_16s_C1R>(
        "", [](auto resample, Residual& r) { return resample(r.residual.data(), 32, r.result.data(), 32); });
}

[[maybe_unused]] const bool registered = (addFilters(), addResampling(), true);

} // namespace
