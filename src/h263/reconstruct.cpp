// Coefficients from the stream: decoding and inverse quantisation in one pass.

#include "block/dequantise.h"
#include "h263/checks.h"
#include "h263/events.h"
#include "h263/intra_dc.h"
#include "tables/scan_tables.h"

#include <kelvcpx/h263.h>

#include <algorithm>
#include <cstddef>

namespace kelvcpx::h263 {
namespace {

// TCOEF: element 0 is not touched if the first position is 1.
template <Escape escape>
Status reconstructBlock(int32_t firstPosition, const uint8_t** ppBitStream, int32_t* pBitOffset,
                        int16_t* pCoef, int32_t* pIndxLastNonZero, int32_t QP)
{
    std::fill_n(pCoef + firstPosition, 64 - firstPosition, int16_t{0});
    const int32_t doubledQP = 2 * QP;
    const int32_t offset = reconstructionOffset(QP);
    return decodeEvents<escape>(baselineTables, firstPosition, ppBitStream, pBitOffset, pIndxLastNonZero,
                                [=](int32_t position, int32_t level) {
                                    const int32_t value = dequantiseUniformly(level, doubledQP, offset);
                                    pCoef[ownvc_Zigzag[static_cast<std::size_t>(position)]] =
                                        escape == Escape::baseline ? saturateCoefficient(value)
                                                                   : static_cast<int16_t>(value);
                                });
}

// INTRA TCOEF of advanced intra coding.
template <Escape escape>
Status reconstructAdvancedIntra(const uint8_t** ppBitStream, int32_t* pBitOffset, int16_t* pCoef,
                                int32_t* pIndxLastNonZero, int32_t QP, int32_t scan)
{
    std::fill_n(pCoef, 64, int16_t{0});
    const ScanTable& order = scanTable(scan, ownvc_Zigzag);
    return decodeEvents<escape>(advancedIntraTables, 0, ppBitStream, pBitOffset, pIndxLastNonZero,
                                [&](int32_t position, int32_t level) {
                                    pCoef[order[static_cast<std::size_t>(position)]] =
                                        static_cast<int16_t>(2 * QP * level);
                                });
}

constexpr auto ownReconCoeffs_H263 = reconstructBlock<Escape::baseline>;
constexpr auto ownReconCoeffs_ModQ_H263 = reconstructBlock<Escape::extended>;
constexpr auto ownReconCoeffs_AdvIntra_H263 = reconstructAdvancedIntra<Escape::baseline>;
constexpr auto ownReconCoeffs_AdvIntra_ModQ_H263 = reconstructAdvancedIntra<Escape::extended>;

} // namespace
} // namespace kelvcpx::h263

using namespace kelvcpx;
using namespace kelvcpx::h263;

Status keliReconstructCoeffsIntra_H263_1u16s(const uint8_t** ppBitStream, int32_t* pBitOffset, int16_t* pCoef,
                                             int32_t* pIndxLastNonZero, int32_t cbp, int32_t QP,
                                             int32_t advIntraFlag, int32_t scan,
                                             int32_t modQuantFlag) noexcept
{
    Status status = checkReconstruction(ppBitStream, pBitOffset, pCoef, pIndxLastNonZero, QP);
    if (status != StatusOk)
        return status;
    if (advIntraFlag != 0)
        return (modQuantFlag != 0 ? ownReconCoeffs_AdvIntra_ModQ_H263 : ownReconCoeffs_AdvIntra_H263)(
            ppBitStream, pBitOffset, pCoef, pIndxLastNonZero, QP, scan);

    const int32_t dc = peekIntraDc(*ppBitStream, *pBitOffset);
    if (dc == 0) {
        *pIndxLastNonZero = -1;
        return StatusBadVlcCode;
    }
    ++*ppBitStream;
    *pIndxLastNonZero = 0;
    if (cbp != 0)
        status = (modQuantFlag != 0 ? ownReconCoeffs_ModQ_H263 : ownReconCoeffs_H263)(
            1, ppBitStream, pBitOffset, pCoef, pIndxLastNonZero, QP);
    pCoef[0] = static_cast<int16_t>(8 * dc);
    return status;
}

Status keliReconstructCoeffsInter_H263_1u16s(const uint8_t** ppBitStream, int32_t* pBitOffset, int16_t* pCoef,
                                             int32_t* pIndxLastNonZero, int32_t QP,
                                             int32_t modQuantFlag) noexcept
{
    const Status status = checkReconstruction(ppBitStream, pBitOffset, pCoef, pIndxLastNonZero, QP);
    if (status != StatusOk)
        return status;
    return (modQuantFlag != 0 ? ownReconCoeffs_ModQ_H263 : ownReconCoeffs_H263)(0, ppBitStream, pBitOffset,
                                                                                pCoef, pIndxLastNonZero, QP);
}
