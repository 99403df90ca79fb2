#include "h264/reconstruction.h"

#include <cstddef>

namespace kelvcpx::app::h264 {
namespace {

// edgeFlags of the library's operations.
constexpr uint8_t noLeft = 0x01;
constexpr uint8_t noTop = 0x04;
constexpr uint8_t noTopLeft = 0x10;
constexpr uint8_t noTopRight = 0x20;

// Index of the first scaling list of a macroblock: intra Y, Cb, Cr, inter Y, Cb, Cr; intra and inter 8x8.
constexpr std::size_t list4x4Of(const Macroblock& macroblock)
{
    return isIntra(macroblock.kind) ? 0 : 3;
}

constexpr std::size_t list8x8Of(const Macroblock& macroblock)
{
    return isIntra(macroblock.kind) ? 0 : 1;
}

void check(Status status)
{
    if (status != StatusOk)
        throw DamagedUnit("an intra mode is not allowed by its neighbours");
}

} // namespace

template <class Sample>
Reconstructor<Sample>::Reconstructor(const SliceContext& slice)
    : slice_(slice), hasChroma_(slice.picture.target.planeCount > 1), is422_(slice.picture.is422()),
      bitDepth_(slice.picture.sequence.bitDepthLuma), qpRange_(6 * (bitDepth_ - 8))
{}

template <class Sample>
typename Reconstructor<Sample>::Edges Reconstructor<Sample>::edgesOf(const Neighbourhood& around) const
{
    const auto missing = [this](const Neighbour& neighbour, uint8_t flag) {
        const bool usable = neighbour.isAvailable() && (!slice_.set.constrainedIntraPrediction ||
                                                        isIntra(slice_.picture.at(neighbour.address).kind));
        return usable ? 0 : flag;
    };
    const int others = missing(around.top(), noTop) | missing(around.topLeft(), noTopLeft) |
                       missing(around.topRight(), noTopRight);
    // Beside a pair of field macroblocks the rows of a frame macroblock lie in both of them, alternating.
    const int left = missing(around.left(0), noLeft) | missing(around.left(1), noLeft);
    const int leftOfLower = missing(around.left(8), noLeft) | missing(around.left(9), noLeft);
    return {static_cast<uint8_t>(left | others), static_cast<uint8_t>(leftOfLower | others)};
}

template <class Sample>
typename Reconstructor<Sample>::Record Reconstructor<Sample>::lumaRecord(const Place& place,
                                                                         const Macroblock& macroblock,
                                                                         Coefficient** coefficients) const
{
    const Surface::Plane& plane = place.surface->planes[0];
    const LevelScales& scales = slice_.levelScales;
    const auto m = static_cast<std::size_t>(macroblock.qp % 6);
    const int16_t* const scale = macroblock.transform8x8 ? scales.scales8x8[list8x8Of(macroblock)][m].data()
                                                         : scales.scales4x4[list4x4Of(macroblock)][m].data();
    return {coefficients,
            plane.at<Sample>(place.x, place.y),
            plane.stepOf<Sample>(),
            macroblock.codedBlocks,
            macroblock.qp,
            scale,
            0,
            macroblock.lossless,
            scales.flat && !macroblock.lossless,
            bitDepth_};
}

template <class Sample>
typename Reconstructor<Sample>::Record
Reconstructor<Sample>::chromaRecord(const Place& place, const Macroblock& macroblock, std::size_t component,
                                    Coefficient** coefficients) const
{
    const Surface::Plane& plane = place.surface->planes[component];
    const LevelScales& scales = slice_.levelScales;
    // Lossless coding holds for chroma whatever its quantiser.
    const int qp = macroblock.lossless ? 0
                                       : chromaQp(macroblock.qp - qpRange_,
                                                  slice_.set.chromaQpOffset[component - 1], qpRange_) +
                                             qpRange_;
    const auto& scale = scales.scales4x4[list4x4Of(macroblock) + component];
    return {coefficients,
            plane.at<Sample>(place.x / 2, is422_ ? place.y : place.y / 2),
            plane.stepOf<Sample>(),
            macroblock.codedBlocks,
            qp,
            scale[static_cast<std::size_t>(qp % 6)].data(),
            scale[static_cast<std::size_t>((qp + 3) % 6)][0],
            macroblock.lossless,
            scales.flat && !macroblock.lossless,
            bitDepth_};
}

template <class Sample>
void Reconstructor<Sample>::reconstructIntra(const CurrentMacroblock& current) const
{
    Macroblock& macroblock = current.macroblock;
    const Place& place = current.place;
    if (macroblock.kind == MbKind::pcm) {
        placePcm(place, macroblock);
        return;
    }
    if (macroblock.lossless)
        accumulateLosslessResidual<Coefficient>(macroblock,
                                                static_cast<std::size_t>(slice_.picture.chromaBlocks()));
    const Edges edges = edgesOf(current.around);
    Coefficient* coefficients = macroblock.packed<Coefficient>();
    Record luma = lumaRecord(place, macroblock, &coefficients);
    check(reconstructIntraLuma(macroblock, luma, edges));
    if (hasChroma_)
        check(reconstructIntraChroma(macroblock, chromaRecord(place, macroblock, 1, &coefficients),
                                     chromaRecord(place, macroblock, 2, &coefficients), edges));
}

template <class Sample>
void Reconstructor<Sample>::placePcm(const Place& place, Macroblock& macroblock) const
{
    const Coefficient* next = macroblock.packed<Coefficient>();
    for (std::size_t i = 0; i < (hasChroma_ ? 3 : 1); i++) {
        const int shiftX = i == 0 ? 0 : 1;
        const int shiftY = i == 0 || is422_ ? 0 : 1;
        const Surface::Plane& plane = place.surface->planes[i];
        for (int row = 0; row < 16 >> shiftY; row++) {
            Sample* const samples = plane.at<Sample>(place.x >> shiftX, (place.y >> shiftY) + row);
            for (int column = 0; column < 16 >> shiftX; column++)
                samples[column] = static_cast<Sample>(*next++);
        }
    }
}

template <class Sample>
Status Reconstructor<Sample>::reconstructIntraLuma(const Macroblock& macroblock, Record& record,
                                                   const Edges& edges) const
{
    if (macroblock.kind == MbKind::intra16x16)
        return reconstructIntra16x16(record, macroblock.intra16x16Mode, edges.whole());
    if (edges.differ())
        return reconstructIntraHalves(macroblock, record, edges);
    const uint32_t* const modes = macroblock.intraModes.data();
    return macroblock.transform8x8 ? reconstructIntra8x8(record, modes, edges.upper)
                                   : reconstructIntra4x4(record, modes, edges.upper);
}

template <class Sample>
Status Reconstructor<Sample>::reconstructIntraHalves(const Macroblock& macroblock, Record& record,
                                                     const Edges& edges) const
{
    const uint32_t* modes = macroblock.intraModes.data();
    const auto reconstruct = [&](uint8_t edgesOfHalf) {
        return macroblock.transform8x8 ? reconstructIntraHalf8x8(record, modes, edgesOfHalf)
                                       : reconstructIntraHalf4x4(record, modes, edgesOfHalf);
    };
    const unsigned blocks = macroblock.transform8x8 ? 2 : 8; // of a half
    if (!macroblock.transform8x8)
        record.codedBlocks >>= 1; // no DC
    if (const Status status = reconstruct(edges.upper); status != StatusOk)
        return status;
    // The upper half lies above the lower one; what is above to the right comes later.
    const int topLeft = (edges.upper & noLeft) != 0 ? noTopLeft : 0;
    record.samples += 8 * record.step;
    record.codedBlocks >>= blocks;
    modes += blocks;
    return reconstruct(static_cast<uint8_t>((edges.lower & noLeft) | topLeft | noTopRight));
}

template <class Sample>
Status Reconstructor<Sample>::reconstructIntraChroma(const Macroblock& macroblock, const Record& cb,
                                                     const Record& cr, const Edges& edges) const
{
    const uint32_t mode = macroblock.chromaMode;
    if (edges.differ() && mode == 0)
        return is422_ ? reconstructIntraHalves422(cb, cr, mode, edges.upper, edges.lower)
                      : reconstructIntraHalves420(cb, cr, mode, edges.upper, edges.lower);
    return is422_ ? reconstructIntra422(cb, cr, mode, edges.whole())
                  : reconstructIntra420(cb, cr, mode, edges.whole());
}

template <class Sample>
void Reconstructor<Sample>::addResidual(const CurrentMacroblock& current) const
{
    Macroblock& macroblock = current.macroblock;
    if (macroblock.codedBlocks == 0)
        return;
    const Place& place = current.place;
    Coefficient* coefficients = macroblock.packed<Coefficient>();
    const Record luma = lumaRecord(place, macroblock, &coefficients);
    check(macroblock.transform8x8 ? addLuma8x8(luma) : addLuma4x4(luma));
    if (!hasChroma_)
        return;
    const Record cb = chromaRecord(place, macroblock, 1, &coefficients);
    const Record cr = chromaRecord(place, macroblock, 2, &coefficients);
    check(is422_ ? addChroma422(cb, cr) : addChroma420(cb, cr));
}

template class Reconstructor<uint8_t>;
template class Reconstructor<uint16_t>;

} // namespace kelvcpx::app::h264
