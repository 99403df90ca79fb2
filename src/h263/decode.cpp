// Levels from the stream.

#include "core/byte_cursor_check.h"
#include "h263/events.h"
#include "h263/intra_dc.h"
#include "tables/scan_tables.h"

#include <kelvcpx/h263.h>

#include <algorithm>
#include <cstddef>

namespace kelvcpx::h263 {
namespace {

template <Escape escape>
Status decodeBlock(const CoefficientTables& tables, int32_t firstPosition, const uint8_t** ppBitStream,
                   int32_t* pBitOffset, int16_t* pCoef, int32_t* pIndxLastNonZero, int32_t scan)
{
    const ScanTable& order = scanTable(scan, noScan);
    std::fill_n(pCoef + firstPosition, 64 - firstPosition, int16_t{0});
    return decodeEvents<escape>(tables, firstPosition, ppBitStream, pBitOffset, pIndxLastNonZero,
                                [&](int32_t position, int32_t level) {
                                    pCoef[order[static_cast<std::size_t>(position)]] =
                                        static_cast<int16_t>(level);
                                });
}

constexpr auto ownDecodeCoeffs_H263 = decodeBlock<Escape::baseline>;
constexpr auto ownDecodeCoeffs_ModQ_H263 = decodeBlock<Escape::extended>;

} // namespace
} // namespace kelvcpx::h263

using namespace kelvcpx;
using namespace kelvcpx::h263;

Status keliDecodeDCIntra_H263_1u16s(const uint8_t** ppBitStream, int32_t* pBitOffset, int16_t* pDC) noexcept
{
    if (const Status status = checkByteCursor(ppBitStream, pBitOffset, pDC); status != StatusOk)
        return status;
    const int32_t level = peekIntraDc(*ppBitStream, *pBitOffset);
    if (level == 0)
        return StatusBadVlcCode;
    *pDC = static_cast<int16_t>(level);
    ++*ppBitStream;
    return StatusOk;
}

Status keliDecodeCoeffsIntra_H263_1u16s(const uint8_t** ppBitStream, int32_t* pBitOffset, int16_t* pCoef,
                                        int32_t* pIndxLastNonZero, int32_t advIntraFlag, int32_t modQuantFlag,
                                        int32_t scan) noexcept
{
    const Status status = checkByteCursor(ppBitStream, pBitOffset, pCoef, pIndxLastNonZero);
    if (status != StatusOk)
        return status;
    const auto decode = modQuantFlag != 0 ? ownDecodeCoeffs_ModQ_H263 : ownDecodeCoeffs_H263;
    return advIntraFlag != 0
               ? decode(advancedIntraTables, 0, ppBitStream, pBitOffset, pCoef, pIndxLastNonZero, scan)
               : decode(baselineTables, 1, ppBitStream, pBitOffset, pCoef, pIndxLastNonZero, scan);
}

Status keliDecodeCoeffsInter_H263_1u16s(const uint8_t** ppBitStream, int32_t* pBitOffset, int16_t* pCoef,
                                        int32_t* pIndxLastNonZero, int32_t modQuantFlag,
                                        int32_t scan) noexcept
{
    const Status status = checkByteCursor(ppBitStream, pBitOffset, pCoef, pIndxLastNonZero);
    if (status != StatusOk)
        return status;
    const auto decode = modQuantFlag != 0 ? ownDecodeCoeffs_ModQ_H263 : ownDecodeCoeffs_H263;
    return decode(baselineTables, 0, ppBitStream, pBitOffset, pCoef, pIndxLastNonZero, scan);
}
