// Levels to the stream (ITU-T H.263 5.4).

#include "block/run_levels.h"
#include "h263/checks.h"
#include "h263/intra_dc.h"
#include "tables/h263_tables.h"
#include "tables/scan_tables.h"

#include <kelvcpx/h263.h>

#include <cstddef>
#include <cstdlib>

namespace kelvcpx::h263 {
namespace {

template <Escape escape>
void writeEscape(ByteWriter& stream, uint32_t last, int32_t run, int32_t level)
{
    constexpr uint32_t code = 0b0000011;
    const auto bits = static_cast<uint32_t>(level);
    const bool extended = escape == Escape::extended && std::abs(level) >= 128;
    stream.write(code << 15 | last << 14 | static_cast<uint32_t>(run) << 8 | (extended ? 0x80 : bits & 0xFF),
                 22);
    if (extended)
        stream.write((bits & 0x1F) << 6 | (bits >> 5 & 0x3F), 11);
}

template <Escape escape>
void writeEvent(ByteWriter& stream, const VlcParameters& codes, bool last, int32_t run, int32_t level)
{
    const int32_t* const offsets = last ? codes.offsetsLast : codes.offsets;
    const int32_t magnitude = std::abs(level);
    if (run > (last ? codes.largestRunLast : codes.largestRun) ||
        magnitude > offsets[run + 1] - offsets[run]) {
        writeEscape<escape>(stream, last ? 1 : 0, run, level);
        return;
    }
    const Code& code = codes.codes[offsets[run] + magnitude - 1];
    stream.write(code.bits | (level < 0 ? 1 : 0), code.length);
}

template <Escape escape>
void encodeCoefficients(const VlcParameters& codes, int32_t firstPosition, const int16_t* pQCoef,
                        uint8_t** ppBitStream, int32_t* pBitOffset, int32_t countNonZero, int32_t scan)
{
    ByteWriter stream(*ppBitStream, *pBitOffset);
    forEachLevel(pQCoef, scanTable(scan, noScan), static_cast<std::size_t>(firstPosition), 0, countNonZero,
                 [&](int32_t run, int32_t level, bool isLast) {
                     writeEvent<escape>(stream, codes, isLast, run, level);
                 });
    stream.store(ppBitStream, pBitOffset);
}

constexpr auto ownEncodeCoeffs_H263_16s1u = encodeCoefficients<Escape::baseline>;
constexpr auto ownEncodeCoeffs_ModQ_H263_16s1u = encodeCoefficients<Escape::extended>;

} // namespace
} // namespace kelvcpx::h263

using namespace kelvcpx;
using namespace kelvcpx::h263;

Status keliEncodeDCIntra_H263_16s1u(int16_t dc, uint8_t** ppBitStream, int32_t* pBitOffset) noexcept
{
    if (const Status status = checkByteCursor(ppBitStream, pBitOffset); status != StatusOk)
        return status;
    ByteWriter stream(*ppBitStream, *pBitOffset);
    stream.write(intraDcCode(dc), intraDcLength);
    stream.store(ppBitStream, pBitOffset);
    return StatusOk;
}

Status keliEncodeCoeffsIntra_H263_16s1u(const int16_t* pQCoef, uint8_t** ppBitStream, int32_t* pBitOffset,
                                        int32_t countNonZero, int32_t advIntraFlag, int32_t modQuantFlag,
                                        int32_t scan) noexcept
{
    const Status status = checkEncoding(pQCoef, ppBitStream, pBitOffset, countNonZero);
    if (status != StatusOk)
        return status;
    const auto encode = modQuantFlag != 0 ? ownEncodeCoeffs_ModQ_H263_16s1u : ownEncodeCoeffs_H263_16s1u;
    if (advIntraFlag != 0)
        encode(h263_advVLCParams, 0, pQCoef, ppBitStream, pBitOffset, countNonZero, scan);
    else
        encode(h263_VLCParams, 1, pQCoef, ppBitStream, pBitOffset, countNonZero, scan);
    return StatusOk;
}

Status keliEncodeCoeffsInter_H263_16s1u(const int16_t* pQCoef, uint8_t** ppBitStream, int32_t* pBitOffset,
                                        int32_t countNonZero, int32_t modQuantFlag, int32_t scan) noexcept
{
    const Status status = checkEncoding(pQCoef, ppBitStream, pBitOffset, countNonZero);
    if (status != StatusOk)
        return status;
    (modQuantFlag != 0 ? ownEncodeCoeffs_ModQ_H263_16s1u : ownEncodeCoeffs_H263_16s1u)(
        h263_VLCParams, 0, pQCoef, ppBitStream, pBitOffset, countNonZero, scan);
    return StatusOk;
}
