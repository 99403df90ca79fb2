// Coefficients from the stream (ISO/IEC 14496-2 7.4.1).

#include "mpeg4/decode_coefficients.h"

#include "block/dequantise.h"
#include "core/arguments.h"
#include "mpeg4/coefficient_tables.h"
#include "mpeg4/dequantise.h"
#include "mpeg4/quantise_records.h"

#include <kelvcpx/mpeg4.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdlib>

namespace kelvcpx::mpeg4 {
namespace {

// Reads an event that has a code of its own. False if there is none, or it is the escape code, which is not
// consumed then.
[[gnu::always_inline]] inline bool readCode(ByteReader& reader, const CodeSet& codes, Event& event)
{
    reader.fill(lookAhead + 1);
    const uint32_t bits = reader.peek(lookAhead + 1);
    const uint32_t v = bits >> 1;
    if (v < leastCode)
        return false;
    const CodeEntry& entry = codes.at(v);
    if (entry.level == escapeLevel)
        return false;
    const uint32_t negative = bits >> (lookAhead - entry.length) & 1;
    event = {entry.last, entry.run, signedLevel(entry.level, negative)};
    reader.skip(entry.length + 1);
    return true;
}

// The third mode: run and level as they are.
bool readPlainFields(ByteReader& reader, const CodeSet& codes, Event& event)
{
    const uint32_t last = reader.read(1);
    const uint32_t run = reader.read(6);
    const uint32_t markers = reader.read(1);
    const uint32_t level = reader.read(12);
    if ((markers & reader.read(1)) == 0)
        return false;
    constexpr uint32_t mostNegative = 0x800;
    if (level == mostNegative || (level == 0 && !codes.hasLevelZero))
        return false;
    event = {static_cast<int32_t>(last), static_cast<int32_t>(run),
             static_cast<int32_t>(level ^ mostNegative) - static_cast<int32_t>(mostNegative)};
    return true;
}

// What follows the escape code (7.4.1.3).
bool readEscaped(ByteReader& reader, const CodeSet& codes, Event& event)
{
    if (reader.read(1) == 0) {
        if (!readCode(reader, codes, event))
            return false;
        const int32_t lmax = codes.lmax[static_cast<std::size_t>(event.last)][event.run];
        event.level += event.level > 0 ? lmax : -lmax;
        return true;
    }
    if (reader.read(1) == 0) {
        if (!readCode(reader, codes, event))
            return false;
        event.run += codes.rmax[static_cast<std::size_t>(event.last)][std::abs(event.level)];
        return true;
    }
    return readPlainFields(reader, codes, event);
}

// Works on copies, so that the originals stay in registers.
struct Escaped {
    ByteReader reader;
    Event event;
    bool isValid;
};

[[gnu::noinline]] Escaped readEscape(ByteReader reader, const CodeSet& codes)
{
    Escaped result{reader, {}, false};
    if (result.reader.peek(lengthOf(escapeCode)) == bitsOf(escapeCode)) {
        result.reader.skip(lengthOf(escapeCode));
        result.isValid = readEscaped(result.reader, codes, result.event);
    }
    return result;
}

template <const CodeSet& codes>
[[gnu::always_inline]] inline bool readEvent(ByteReader& reader, Event& event)
{
    if (readCode(reader, codes, event)) [[likely]]
        return true;
    const Escaped escaped = readEscape(reader, codes);
    reader = escaped.reader;
    event = escaped.event;
    return escaped.isValid;
}

template <const CodeSet& codes>
Status decodeLevels(ByteReader& reader, int16_t* pCoef, int32_t* pIndxLastNonZero, const ScanTable& scan)
{
    const uint8_t* __restrict positions = scan.data();
    return decodeBlock(reader, pIndxLastNonZero, readEvent<codes>, [=](int32_t position, int32_t level) {
        pCoef[positions[position]] = static_cast<int16_t>(level);
    });
}

Status ownpmp4_DecodeCoeffsIntra_MPEG4_1u16s(ByteReader& reader, int16_t* pCoef, int32_t* pIndxLastNonZero,
                                             const ScanTable& scan)
{
    return decodeLevels<intraCodeSet>(reader, pCoef, pIndxLastNonZero, scan);
}

Status ownpmp4_DecodeCoeffsInter_MPEG4_1u16s(ByteReader& reader, int16_t* pCoef, int32_t* pIndxLastNonZero,
                                             const ScanTable& scan)
{
    return decodeLevels<interCodeSet>(reader, pCoef, pIndxLastNonZero, scan);
}

// Decodes an inter block and dequantises each level on its way into the block.
Status ownpmp4_ReconstructCoeffsInter_MPEG4_1u16s(ByteReader& reader, int16_t* pCoef,
                                                  int32_t* pIndxLastNonZero, const ScanTable& scan,
                                                  const QuantInvSpec& record, int32_t QP)
{
    const CoefficientRange range = coefficientRange(record.bitsPerPixel);
    const uint8_t* __restrict positions = scan.data();
    const auto decode = [&](auto dequantise) {
        int32_t sum = 0;
        const Status status = decodeBlock(
            reader, pIndxLastNonZero, readEvent<interCodeSet>, [&](int32_t position, int32_t level) {
                const std::size_t raster = positions[position];
                const int32_t coefficient = std::clamp(dequantise(level, raster), range.low, range.high);
                pCoef[raster] = static_cast<int16_t>(coefficient);
                sum += coefficient;
            });
        if (status == StatusOk && record.hasMatrix != 0)
            controlMismatch(pCoef, sum);
        return status;
    };
    if (record.hasMatrix != 0)
        return decode([&](int32_t level, std::size_t raster) {
            return weighInter(level, record.weights[raster] * QP);
        });
    return decode([doubledQP = 2 * QP, offset = reconstructionOffset(QP)](int32_t level, std::size_t) {
        return dequantiseUniformly(level, doubledQP, offset);
    });
}

// dct_dc_size and the length of its code (tables B-13 and B-14).
struct DcSize {
    int32_t size;
    int32_t length;
};

constexpr int32_t longestDc = 25; // size, difference and marker

// The next bits are at the top of the window. Codes that begin with three zeros are runs of zeros.
DcSize dcSizeAt(uint32_t window, bool chroma)
{
    constexpr std::array<DcSize, 8> luminance = {
        {{0, 0}, {4, 3}, {3, 3}, {0, 3}, {2, 2}, {2, 2}, {1, 2}, {1, 2}}};
    constexpr std::array<DcSize, 8> chrominance = {
        {{0, 0}, {3, 3}, {2, 2}, {2, 2}, {1, 2}, {1, 2}, {0, 2}, {0, 2}}};
    const std::size_t start = window >> 29;
    if (start != 0)
        return (chroma ? chrominance : luminance)[start];
    const int32_t zeros = std::countl_zero(window);
    return {zeros + (chroma ? 1 : 2), zeros + 1};
}

// Inter blocks have no alternate horizontal scan.
const ScanTable& interScan(int32_t scan)
{
    return scan == 2 ? noScan : scanTable(scan, noScan);
}

} // namespace
} // namespace kelvcpx::mpeg4

using namespace kelvcpx;
using namespace kelvcpx::mpeg4;

Status keliDecodeDCIntra_MPEG4_1u16s(const uint8_t** ppBitStream, int32_t* pBitOffset, int16_t* pDC,
                                     int32_t blockType) noexcept
{
    if (const Status status = checkByteCursor(ppBitStream, pBitOffset, pDC); status != StatusOk)
        return status;
    ByteReader reader(*ppBitStream, *pBitOffset);
    const uint32_t window = reader.peek(longestDc) << (32 - longestDc);
    const auto [size, length] = dcSizeAt(window, blockType != 0);
    if (size > largestDcSize)
        return StatusBadVlcCode;
    int32_t difference = 0;
    const uint32_t behind = window << length;
    if (size > 0) {
        difference = static_cast<int32_t>(behind >> (32 - size));
        if (behind >> 31 == 0)
            difference -= (1 << size) - 1;
    }
    *pDC = static_cast<int16_t>(difference);
    const bool hasMarker = size > 8;
    if (hasMarker && behind << size >> 31 == 0)
        return StatusBadVlcCode;
    reader.skip(length + size + (hasMarker ? 1 : 0));
    reader.store(ppBitStream, pBitOffset);
    return StatusOk;
}

Status keliDecodeCoeffsIntra_MPEG4_1u16s(const uint8_t** ppBitStream, int32_t* pBitOffset, int16_t* pCoef,
                                         int32_t* pIndxLastNonZero, int32_t rvlcFlag, int32_t useIntraDCVlc,
                                         int32_t scan) noexcept
{
    if (const Status status = checkByteCursor(ppBitStream, pBitOffset, pCoef, pIndxLastNonZero);
        status != StatusOk)
        return status;
    *pIndxLastNonZero = clearBlock(pCoef, useIntraDCVlc != 0);
    ByteReader reader(*ppBitStream, *pBitOffset);
    const ScanTable& positions = scanTable(scan, noScan);
    const Status status =
        rvlcFlag != 0
            ? ownpmp4_DecodeRVLCF_MPEG4_1u16s(reader, pCoef, pIndxLastNonZero, BlockKind::intra, positions)
            : ownpmp4_DecodeCoeffsIntra_MPEG4_1u16s(reader, pCoef, pIndxLastNonZero, positions);
    if (status == StatusOk)
        reader.store(ppBitStream, pBitOffset);
    return status;
}

Status keliDecodeCoeffsInter_MPEG4_1u16s(const uint8_t** ppBitStream, int32_t* pBitOffset, int16_t* pCoef,
                                         int32_t* pIndxLastNonZero, int32_t rvlcFlag, int32_t scan) noexcept
{
    if (const Status status = checkByteCursor(ppBitStream, pBitOffset, pCoef, pIndxLastNonZero);
        status != StatusOk)
        return status;
    *pIndxLastNonZero = clearBlock(pCoef, false);
    ByteReader reader(*ppBitStream, *pBitOffset);
    const Status status =
        rvlcFlag != 0
            ? ownpmp4_DecodeRVLCF_MPEG4_1u16s(reader, pCoef, pIndxLastNonZero, BlockKind::inter,
                                              interScan(scan))
            : ownpmp4_DecodeCoeffsInter_MPEG4_1u16s(reader, pCoef, pIndxLastNonZero, interScan(scan));
    if (status == StatusOk)
        reader.store(ppBitStream, pBitOffset);
    return status;
}

Status keliReconstructCoeffsInter_MPEG4_1u16s(const uint8_t** ppBitStream, int32_t* pBitOffset,
                                              int16_t* pCoef, int32_t* pIndxLastNonZero, int32_t rvlcFlag,
                                              int32_t scan, const QuantInvSpec* pSpec, int32_t QP) noexcept
{
    if (const Status status = checkByteCursor(ppBitStream, pBitOffset, pCoef, pIndxLastNonZero);
        status != StatusOk)
        return status;
    const int32_t known = scan == 1 ? 1 : 0;
    if (rvlcFlag != 0) {
        const Status status = keliDecodeCoeffsInter_MPEG4_1u16s(ppBitStream, pBitOffset, pCoef,
                                                                pIndxLastNonZero, rvlcFlag, known);
        return status != StatusOk ? status : keliQuantInvInter_MPEG4_16s_C1I(pCoef, lastPosition, pSpec, QP);
    }
    if (anyNull(pSpec))
        return StatusNullPointer;
    const QuantInvSpec& record = *recordIn(pSpec);
    if (const Status status = check(record, inverseInterTag, QP); status != StatusOk)
        return status;
    *pIndxLastNonZero = clearBlock(pCoef, false);
    ByteReader reader(*ppBitStream, *pBitOffset);
    const Status status = ownpmp4_ReconstructCoeffsInter_MPEG4_1u16s(reader, pCoef, pIndxLastNonZero,
                                                                     interScan(known), record, QP);
    if (status == StatusOk)
        reader.store(ppBitStream, pBitOffset);
    return status;
}
