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

// Macroblocks that intra prediction must not look at.
uint8_t Reconstructor::edgeFlags(int address) const
{
    const Neighbours around = neighboursOf(slice_.picture, slice_.number, address);
    const auto missing = [this](int neighbour, uint8_t flag) {
        const bool usable = neighbour >= 0 && (!slice_.set.constrainedIntraPrediction ||
                                               isIntra(slice_.picture.at(neighbour).kind));
        return usable ? 0 : flag;
    };
    return static_cast<uint8_t>(missing(around.left, noLeft) | missing(around.top, noTop) |
                                missing(around.topLeft, noTopLeft) | missing(around.topRight, noTopRight));
}

int Reconstructor::chromaQpOf(const Macroblock& macroblock, std::size_t component) const
{
    // Lossless coding holds for chroma whatever its quantiser.
    return macroblock.lossless ? 0 : chromaQp(macroblock.qp, slice_.set.chromaQpOffset[component]);
}

void Reconstructor::reconstructIntra(int address, Macroblock& macroblock) const
{
    if (macroblock.kind == MbKind::pcm) {
        placePcm(address, macroblock);
        return;
    }
    if (macroblock.lossless)
        accumulateLosslessResidual(macroblock);
    const Surface::Plane& luma = slice_.picture.target.planes[0];
    const int x = 16 * (address % slice_.picture.widthInMbs);
    const int y = 16 * (address / slice_.picture.widthInMbs);
    const uint8_t edges = edgeFlags(address);
    int16_t* coefficients = macroblock.coefficients.data();
    reconstructIntraLuma(macroblock, &coefficients, luma.at(x, y), luma.step, edges);
    if (slice_.picture.target.planeCount > 1)
        reconstructIntraChroma(macroblock, &coefficients, address, edges);
}

void Reconstructor::placePcm(int address, const Macroblock& macroblock) const
{
    const int x = 16 * (address % slice_.picture.widthInMbs);
    const int y = 16 * (address / slice_.picture.widthInMbs);
    std::size_t next = 0;
    for (std::size_t i = 0; i < static_cast<std::size_t>(slice_.picture.target.planeCount); i++) {
        const int shift = i == 0 ? 0 : 1;
        const Surface::Plane& plane = slice_.picture.target.planes[i];
        for (int row = 0; row < 16 >> shift; row++)
            for (int column = 0; column < 16 >> shift; column++)
                *plane.at((x >> shift) + column, (y >> shift) + row) =
                    static_cast<uint8_t>(macroblock.coefficients[next++]);
    }
}

void Reconstructor::reconstructIntraLuma(const Macroblock& macroblock, int16_t** coefficients, uint8_t* dst,
                                         int32_t step, uint8_t edges) const
{
    const LevelScales& scales = slice_.levelScales;
    const auto m = static_cast<std::size_t>(macroblock.qp % 6);
    const int16_t* const scale4x4 = scales.scales4x4[intraLists][m].data();
    const uint32_t cbp = macroblock.codedBlocks;
    const int32_t qp = macroblock.qp;
    const uint8_t bypass = macroblock.lossless ? 1 : 0;
    const bool flat = scales.flat && !macroblock.lossless;
    switch (macroblock.kind) {
    case MbKind::intra4x4:
        check(flat ? keliReconstructLumaIntraMB_H264_16s8u_C1R(coefficients, dst, step,
                                                               macroblock.intraModes.data(), cbp, qp, edges)
                   : keliReconstructLumaIntra4x4MB_H264_16s8u_C1R(coefficients, dst, step,
                                                                  macroblock.intraModes.data(), cbp, qp,
                                                                  edges, scale4x4, bypass));
        break;
    case MbKind::intra8x8:
        check(keliReconstructLumaIntra8x8MB_H264_16s8u_C1R(coefficients, dst, step,
                                                           macroblock.intraModes.data(), cbp, qp, edges,
                                                           scales.scales8x8[0][m].data(), bypass));
        break;
    default:
        check(flat ? keliReconstructLumaIntra16x16MB_H264_16s8u_C1R(coefficients, dst, step,
                                                                    macroblock.intra16x16Mode, cbp, qp, edges)
                   : keliReconstructLumaIntra_16x16MB_H264_16s8u_C1R(coefficients, dst, step,
                                                                     macroblock.intra16x16Mode, cbp, qp,
                                                                     edges, scale4x4, bypass));
        break;
    }
}

void Reconstructor::reconstructIntraChroma(const Macroblock& macroblock, int16_t** coefficients, int address,
                                           uint8_t edges) const
{
    const auto& planes = slice_.picture.target.planes;
    const int x = 8 * (address % slice_.picture.widthInMbs);
    const int y = 8 * (address / slice_.picture.widthInMbs);
    const int qpCb = chromaQpOf(macroblock, 0);
    const int qpCr = chromaQpOf(macroblock, 1);
    if (slice_.levelScales.flat && !macroblock.lossless && qpCb == qpCr) {
        check(keliReconstructChromaIntraMB_H264_16s8u_P2R(
            coefficients, planes[1].at(x, y), planes[2].at(x, y), planes[1].step, macroblock.chromaMode,
            macroblock.codedBlocks, qpCb, edges));
        return;
    }
    const auto& scales = slice_.levelScales.scales4x4;
    check(keliReconstructChromaIntra4x4MB_H264_16s8u_P2R(
        coefficients, planes[1].at(x, y), planes[2].at(x, y), planes[1].step, macroblock.chromaMode,
        macroblock.codedBlocks, qpCb, qpCr, edges,
        scales[intraLists + 1][static_cast<std::size_t>(qpCb % 6)].data(),
        scales[intraLists + 2][static_cast<std::size_t>(qpCr % 6)].data(), macroblock.lossless ? 1 : 0));
}

void Reconstructor::addResidual(int address, Macroblock& macroblock) const
{
    if (macroblock.codedBlocks == 0)
        return;
    const auto& planes = slice_.picture.target.planes;
    const LevelScales& scales = slice_.levelScales;
    const int mbX = address % slice_.picture.widthInMbs;
    const int mbY = address / slice_.picture.widthInMbs;
    const auto m = static_cast<std::size_t>(macroblock.qp % 6);
    const uint8_t bypass = macroblock.lossless ? 1 : 0;
    const bool flat = scales.flat && !macroblock.lossless;
    const uint32_t cbp = macroblock.codedBlocks;
    int16_t* coefficients = macroblock.coefficients.data();
    uint8_t* const luma = planes[0].at(16 * mbX, 16 * mbY);
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
    uint8_t* const cb = planes[1].at(8 * mbX, 8 * mbY);
    uint8_t* const cr = planes[2].at(8 * mbX, 8 * mbY);
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
