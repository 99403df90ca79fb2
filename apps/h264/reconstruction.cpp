#include "h264/reconstruction.h"

#include <kelvcpx/h264_residual.h>

#include <array>

namespace kelvcpx::app::h264 {
namespace {

// edgeFlags of the library's operations.
constexpr uint8_t noLeft = 0x01;
constexpr uint8_t noTop = 0x04;
constexpr uint8_t noTopLeft = 0x10;
constexpr uint8_t noTopRight = 0x20;

// Indices of the scaling lists: intra Y, Cb, Cr, inter Y, Cb, Cr.
constexpr std::size_t intraLists = 0;
constexpr std::size_t interLists = 3;

void check(Status status)
{
    if (status != StatusOk)
        throw DamagedUnit("an intra mode is not allowed by its neighbours");
}

} // namespace

// The lower half of a macroblock for itself: the upper one lies above, what is above to the right comes
// later.
uint8_t Reconstructor::lowerHalf(const Edges& edges)
{
    const int topLeft = (edges.upper & noLeft) != 0 ? noTopLeft : 0;
    return static_cast<uint8_t>((edges.lower & noLeft) | topLeft | noTopRight);
}

Reconstructor::Edges Reconstructor::edgesOf(int address) const
{
    const Neighbourhood around(slice_.picture, slice_.number, address);
    const auto missing = [this](const Neighbour& neighbour, uint8_t flag) {
        const bool usable = neighbour.isAvailable() && (!slice_.set.constrainedIntraPrediction ||
                                                        isIntra(slice_.picture.at(neighbour.address).kind));
        return usable ? 0 : flag;
    };
    // Beside a pair of field macroblocks the rows of a frame macroblock lie in both of them, alternating.
    const int left = missing(around.left(0), noLeft) | missing(around.left(1), noLeft);
    const int leftOfLower = missing(around.left(8), noLeft) | missing(around.left(9), noLeft);
    const int others = missing(around.top(), noTop) | missing(around.topLeft(), noTopLeft) |
                       missing(around.topRight(), noTopRight);
    return {static_cast<uint8_t>(left | others), static_cast<uint8_t>(leftOfLower | others)};
}

int Reconstructor::chromaQpOf(const Macroblock& macroblock, std::size_t component) const
{
    // Lossless coding holds for chroma whatever its quantiser.
    return macroblock.lossless ? 0 : chromaQp(macroblock.qp, slice_.set.chromaQpOffset[component], 0);
}

void Reconstructor::reconstructIntra(int address, Macroblock& macroblock) const
{
    if (macroblock.kind == MbKind::pcm) {
        placePcm(slice_.picture.placeOf(address), macroblock);
        return;
    }
    if (macroblock.lossless)
        accumulateLosslessResidual(macroblock);
    const Place place = slice_.picture.placeOf(address);
    const Surface::Plane& luma = place.surface->planes[0];
    const Edges edges = edgesOf(address);
    int16_t* coefficients = macroblock.coefficients.data();
    reconstructIntraLuma(macroblock, &coefficients, luma.at(place.x, place.y), luma.step, edges);
    if (slice_.picture.target.planeCount > 1)
        reconstructIntraChroma(macroblock, &coefficients, place, edges);
}

void Reconstructor::placePcm(const Place& place, const Macroblock& macroblock) const
{
    std::size_t next = 0;
    for (std::size_t i = 0; i < static_cast<std::size_t>(slice_.picture.target.planeCount); i++) {
        const int shift = i == 0 ? 0 : 1;
        const Surface::Plane& plane = place.surface->planes[i];
        for (int row = 0; row < 16 >> shift; row++)
            for (int column = 0; column < 16 >> shift; column++)
                *plane.at((place.x >> shift) + column, (place.y >> shift) + row) =
                    static_cast<uint8_t>(macroblock.coefficients[next++]);
    }
}

void Reconstructor::reconstructIntraLuma(const Macroblock& macroblock, int16_t** coefficients, uint8_t* dst,
                                         int32_t step, const Edges& edges) const
{
    const LevelScales& scales = slice_.levelScales;
    const auto m = static_cast<std::size_t>(macroblock.qp % 6);
    const int16_t* const scale4x4 = scales.scales4x4[intraLists][m].data();
    const int16_t* const scale8x8 = scales.scales8x8[0][m].data();
    const auto cbp = static_cast<uint32_t>(macroblock.codedBlocks);
    const int32_t qp = macroblock.qp;
    const uint8_t bypass = macroblock.lossless ? 1 : 0;
    const bool flat = scales.flat && !macroblock.lossless;
    const uint32_t* const modes = macroblock.intraModes.data();
    const Edges halves{edges.upper, lowerHalf(edges)};
    switch (macroblock.kind) {
    case MbKind::intra4x4:
        if (edges.differ()) {
            check(keliReconstructLumaIntraHalf4x4MB_H264_16s8u_C1R(coefficients, dst, step, modes, cbp >> 1,
                                                                   qp, halves.upper, scale4x4, bypass));
            check(keliReconstructLumaIntraHalf4x4MB_H264_16s8u_C1R(
                coefficients, dst + 8 * step, step, modes + 8, cbp >> 9, qp, halves.lower, scale4x4, bypass));
        } else {
            check(flat ? keliReconstructLumaIntraMB_H264_16s8u_C1R(coefficients, dst, step, modes, cbp, qp,
                                                                   edges.upper)
                       : keliReconstructLumaIntra4x4MB_H264_16s8u_C1R(coefficients, dst, step, modes, cbp, qp,
                                                                      edges.upper, scale4x4, bypass));
        }
        break;
    case MbKind::intra8x8:
        if (edges.differ()) {
            check(keliReconstructLumaIntraHalf8x8MB_H264_16s8u_C1R(coefficients, dst, step, modes, cbp, qp,
                                                                   halves.upper, scale8x8, bypass));
            check(keliReconstructLumaIntraHalf8x8MB_H264_16s8u_C1R(
                coefficients, dst + 8 * step, step, modes + 2, cbp >> 2, qp, halves.lower, scale8x8, bypass));
        } else {
            check(keliReconstructLumaIntra8x8MB_H264_16s8u_C1R(coefficients, dst, step, modes, cbp, qp,
                                                               edges.upper, scale8x8, bypass));
        }
        break;
    default:
        check(flat ? keliReconstructLumaIntra16x16MB_H264_16s8u_C1R(
                         coefficients, dst, step, macroblock.intra16x16Mode, cbp, qp, edges.whole())
                   : keliReconstructLumaIntra_16x16MB_H264_16s8u_C1R(coefficients, dst, step,
                                                                     macroblock.intra16x16Mode, cbp, qp,
                                                                     edges.whole(), scale4x4, bypass));
        break;
    }
}

void Reconstructor::reconstructIntraChroma(const Macroblock& macroblock, int16_t** coefficients,
                                           const Place& place, const Edges& edges) const
{
    const auto& planes = place.surface->planes;
    const int x = place.x / 2;
    const int y = place.y / 2;
    const int qpCb = chromaQpOf(macroblock, 0);
    const int qpCr = chromaQpOf(macroblock, 1);
    const auto cbp = static_cast<uint32_t>(macroblock.codedBlocks);
    if (edges.differ() && macroblock.chromaMode == 0) {
        check(keliReconstructChromaIntraHalfsMB_H264_16s8u_P2R(
            coefficients, planes[1].at(x, y), planes[2].at(x, y), planes[1].step, macroblock.chromaMode, cbp,
            qpCb, edges.upper, edges.lower));
        return;
    }
    if (slice_.levelScales.flat && !macroblock.lossless && qpCb == qpCr) {
        check(keliReconstructChromaIntraMB_H264_16s8u_P2R(coefficients, planes[1].at(x, y),
                                                          planes[2].at(x, y), planes[1].step,
                                                          macroblock.chromaMode, cbp, qpCb, edges.whole()));
        return;
    }
    const auto& scales = slice_.levelScales.scales4x4;
    check(keliReconstructChromaIntra4x4MB_H264_16s8u_P2R(
        coefficients, planes[1].at(x, y), planes[2].at(x, y), planes[1].step, macroblock.chromaMode, cbp,
        qpCb, qpCr, edges.whole(), scales[intraLists + 1][static_cast<std::size_t>(qpCb % 6)].data(),
        scales[intraLists + 2][static_cast<std::size_t>(qpCr % 6)].data(), macroblock.lossless ? 1 : 0));
}

void Reconstructor::addResidual(int address, Macroblock& macroblock) const
{
    if (macroblock.codedBlocks == 0)
        return;
    const Place place = slice_.picture.placeOf(address);
    const auto& planes = place.surface->planes;
    const LevelScales& scales = slice_.levelScales;
    const auto m = static_cast<std::size_t>(macroblock.qp % 6);
    const uint8_t bypass = macroblock.lossless ? 1 : 0;
    const bool flat = scales.flat && !macroblock.lossless;
    const auto cbp = static_cast<uint32_t>(macroblock.codedBlocks);
    int16_t* coefficients = macroblock.coefficients.data();
    uint8_t* const luma = planes[0].at(place.x, place.y);
    if (macroblock.transform8x8)
        check(keliReconstructLumaInter8x8MB_H264_16s8u_C1R(
            &coefficients, luma, planes[0].step, cbp, macroblock.qp, scales.scales8x8[1][m].data(), bypass));
    else if (flat)
        check(keliReconstructLumaInterMB_H264_16s8u_C1R(&coefficients, luma, planes[0].step, cbp,
                                                        macroblock.qp));
    else
        check(keliReconstructLumaInter4x4MB_H264_16s8u_C1R(&coefficients, luma, planes[0].step, cbp,
                                                           macroblock.qp,
                                                           scales.scales4x4[interLists][m].data(), bypass));
    if (slice_.picture.target.planeCount == 1)
        return;
    uint8_t* const cb = planes[1].at(place.x / 2, place.y / 2);
    uint8_t* const cr = planes[2].at(place.x / 2, place.y / 2);
    const int qpCb = chromaQpOf(macroblock, 0);
    const int qpCr = chromaQpOf(macroblock, 1);
    if (flat && qpCb == qpCr)
        check(keliReconstructChromaInterMB_H264_16s8u_P2R(&coefficients, cb, cr, planes[1].step, cbp, qpCb));
    else
        check(keliReconstructChromaInter4x4MB_H264_16s8u_P2R(
            &coefficients, cb, cr, planes[1].step, cbp, qpCb, qpCr,
            scales.scales4x4[interLists + 1][static_cast<std::size_t>(qpCb % 6)].data(),
            scales.scales4x4[interLists + 2][static_cast<std::size_t>(qpCr % 6)].data(), bypass));
}

} // namespace kelvcpx::app::h264
