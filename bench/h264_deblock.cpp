// H.264: deblocking of macroblocks whose lines all pass the thresholds, before they are filtered and after.

#include "h264_plane.h"

#include <kelvcpx/h264_inter.h>

namespace {

using namespace kelvcpx::bench;

template <class T>
struct Thresholds {
    std::array<T, 2> alpha = {60, 60};
    std::array<T, 2> beta = {18, 18};
    std::array<T, 16> tc0 = {2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2};
};

template <class T>
constexpr Thresholds<T> thresholds;

struct Strengths {
    std::string name;
    std::array<uint8_t, 16> bs;
};

// Operations on records, of 8 bits and of 16.
template <class T, class Record, auto... operations, class... Rest>
void addRecords(const Strengths& s, Rest... rest)
{
    addOnPlane<T, operations...>(s.name, [=](auto deblock, Plane<T>& p) {
        const auto& t = thresholds<T>;
        const Record params{p.destination(), planeStep,   t.alpha.data(), t.beta.data(),
                            t.tc0.data(),    s.bs.data(), rest...};
        return deblock(&params);
    });
}

void addDeblocking(const Strengths& s)
{
    addOnPlane<uint8_t, keliFilterDeblockingLuma_VerEdge_H264_8u_C1IR,
               keliFilterDeblockingLuma_HorEdge_H264_8u_C1IR, keliFilterDeblockingChroma_VerEdge_H264_8u_C1IR,
               keliFilterDeblockingChroma_HorEdge_H264_8u_C1IR>(s.name, [=](auto deblock, auto& p) {
        const auto& t = thresholds<uint8_t>;
        return deblock(p.destination(), planeStep, t.alpha.data(), t.beta.data(), t.tc0.data(), s.bs.data());
    });
    addRecords<uint8_t, DeblockingParams, keliFilterDeblockingChroma422VerEdge_H264_8u_IP1R,
               keliFilterDeblockingChroma422HorEdge_H264_8u_IP1R>(s);
    addRecords<uint16_t, DeblockingParams16u, keliFilterDeblockingLumaVerEdge_H264_16u_IP1R,
               keliFilterDeblockingLumaHorEdge_H264_16u_IP1R, keliFilterDeblockingChromaVerEdge_H264_16u_IP1R,
               keliFilterDeblockingChromaHorEdge_H264_16u_IP1R,
               keliFilterDeblockingChroma422VerEdge_H264_16u_IP1R,
               keliFilterDeblockingChroma422HorEdge_H264_16u_IP1R>(s, bitDepth);
    addOnPlane<uint8_t, keliFilterDeblockingLuma_VerEdge_MBAFF_H264_8u_C1IR,
               keliFilterDeblockingChroma_VerEdge_MBAFF_H264_8u_C1IR>(s.name, [=](auto deblock, auto& p) {
        const auto& t = thresholds<uint8_t>;
        return deblock(p.destination(), 2 * planeStep, t.alpha[0], t.beta[0], t.tc0.data(), s.bs.data());
    });
    addRecords<uint16_t, DeblockingParams16u, keliFilterDeblockingLumaVerEdgeMBAFF_H264_16u_IP1R,
               keliFilterDeblockingChromaVerEdgeMBAFF_H264_16u_IP1R>(s, bitDepth);
}

// These two refuse whatever they are given.
void addRefusals()
{
    add<keliFilterDeblockingChroma422VerEdgeMBAFF_H264_8u_IP1R>(
        "refused", [] { return DeblockingParams{}; },
        [](auto deblock, const DeblockingParams& params) {
            return deblock(&params) == StatusNotSupported ? StatusOk : StatusBadArgument;
        });
    add<keliFilterDeblockingChroma422VerEdgeMBAFF_H264_16u_IP1R>(
        "refused", [] { return DeblockingParams16u{}; },
        [](auto deblock, const DeblockingParams16u& params) {
            return deblock(&params) == StatusNotSupported ? StatusOk : StatusBadArgument;
        });
}

[[maybe_unused]] const bool registered = [] {
    addDeblocking({"intra", {4, 4, 4, 4, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3}});
    addDeblocking({"inter", {2, 2, 1, 1, 0, 0, 2, 2, 0, 0, 2, 2, 0, 0, 0, 0}});
    addDeblocking({"skipped", {1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}});
    addRefusals();
    return true;
}();

} // namespace
