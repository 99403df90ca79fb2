// Levels and coefficients from the stream (ITU-T H.261 4.2.4).

#include "block/dequantise.h"
#include "core/byte_cursor.h"
#include "h263/checks.h"
#include "h263/intra_dc.h"
#include "tables/h261_tables.h"
#include "tables/scan_tables.h"

#include <kelvcpx/h261.h>

#include <algorithm>
#include <cstddef>

namespace kelvcpx::h261 {
namespace {

struct Event {
    int32_t advance; // RUN + 1, or endOfBlock; 0 if there was no valid code
    int32_t level;
};

constexpr Event noEvent = {0, 0};

// What follows the six bits of the escape code, which are still to be consumed.
inline Event readEscape(ByteReader& stream)
{
    constexpr int32_t codeLength = 6;
    stream.fill(codeLength + 14);
    stream.skip(codeLength);
    const auto run = static_cast<int32_t>(stream.read(6));
    const int32_t level = static_cast<int8_t>(stream.read(8));
    return level == 0 || level == -128 ? noEvent : Event{run + 1, level};
}

inline Event readEvent(ByteReader& stream)
{
    stream.fill(lookAhead);
    const uint32_t bits = stream.peek(lookAhead);
    DecodedCode code;
    if (bits >= 2560)
        code = h261_coefTab0[(bits >> 9) - 5];
    else if (bits >= 512)
        code = h261_coefTab1[(bits >> 6) - 8];
    else if (bits >= 256)
        return readEscape(stream);
    else if (bits >= 32)
        code = h261_coefTab2[(bits >> 1) - 16];
    else
        return noEvent;
    const auto negative = static_cast<int32_t>(bits >> (lookAhead - code.length) & 1);
    stream.skip(code.length);
    return {code.advance, (code.level ^ -negative) + negative};
}

enum class BlockKind { intra, inter };

// The block that is decoded, and where its coefficients go.
struct Target {
    int16_t* pCoef;
    int32_t* pIndxLastNonZero;
    const ScanTable& order;
};

// Each level becomes valueOf(level). The cursor moves only if the block is sound; the last index becomes the
// last position stored, or the one before the first.
template <BlockKind kind, class ValueOf>
Status ownDecodeCoeffs_H261(const uint8_t** ppBitStream, int32_t* pBitOffset, const Target& target,
                            ValueOf valueOf)
{
    int16_t* const pCoef = target.pCoef;
    std::fill_n(pCoef, 64, int16_t{0});
    ByteReader stream(*ppBitStream, *pBitOffset);
    int32_t position = kind == BlockKind::intra ? 0 : -1;
    if constexpr (kind == BlockKind::inter)
        if (stream.peek(1) != 0) { // run 0, level 1: no block without a coefficient is coded
            pCoef[0] = valueOf((stream.peek(2) & 1) != 0 ? -1 : 1);
            position = 0;
            stream.skip(2);
        }
    for (;;) {
        const Event event = readEvent(stream);
        if (event.advance == 0 || position + event.advance > 63) {
            *target.pIndxLastNonZero = position;
            if (event.advance == 0 || position + event.advance < endOfBlock)
                return StatusBadVlcCode;
            stream.store(ppBitStream, pBitOffset);
            return StatusOk;
        }
        position += event.advance;
        pCoef[target.order[static_cast<std::size_t>(position)]] = valueOf(event.level);
    }
}

// Element 0 becomes dcFactor times the DC.
template <class ValueOf>
Status decodeIntra(const uint8_t** ppBitStream, int32_t* pBitOffset, const Target& target, int32_t dcFactor,
                   ValueOf valueOf)
{
    const int32_t dc = peekIntraDc(*ppBitStream, *pBitOffset);
    if (dc == 0) {
        *target.pIndxLastNonZero = -1;
        return StatusBadVlcCode;
    }
    ++*ppBitStream;
    const Status status = ownDecodeCoeffs_H261<BlockKind::intra>(ppBitStream, pBitOffset, target, valueOf);
    target.pCoef[0] = static_cast<int16_t>(dcFactor * dc);
    return status;
}

int16_t levelItself(int32_t level)
{
    return static_cast<int16_t>(level);
}

auto coefficientFor(int32_t QP)
{
    return [doubledQP = 2 * QP, offset = reconstructionOffset(QP)](int32_t level) {
        return saturateCoefficient(dequantiseUniformly(level, doubledQP, offset));
    };
}

} // namespace
} // namespace kelvcpx::h261

using namespace kelvcpx;
using namespace kelvcpx::h261;

Status keliDecodeCoeffsIntra_H261_1u16s(const uint8_t** ppBitStream, int32_t* pBitOffset, int16_t* pCoef,
                                        int32_t* pIndxLastNonZero, int32_t scan) noexcept
{
    const Status status = checkByteCursor(ppBitStream, pBitOffset, pCoef, pIndxLastNonZero);
    if (status != StatusOk)
        return status;
    return decodeIntra(ppBitStream, pBitOffset, {pCoef, pIndxLastNonZero, rasterOrZigzag(scan)}, 1,
                       levelItself);
}

Status keliDecodeCoeffsInter_H261_1u16s(const uint8_t** ppBitStream, int32_t* pBitOffset, int16_t* pCoef,
                                        int32_t* pIndxLastNonZero, int32_t scan) noexcept
{
    const Status status = checkByteCursor(ppBitStream, pBitOffset, pCoef, pIndxLastNonZero);
    if (status != StatusOk)
        return status;
    return ownDecodeCoeffs_H261<BlockKind::inter>(
        ppBitStream, pBitOffset, {pCoef, pIndxLastNonZero, rasterOrZigzag(scan)}, levelItself);
}

Status keliReconstructCoeffsIntra_H261_1u16s(const uint8_t** ppBitStream, int32_t* pBitOffset, int16_t* pCoef,
                                             int32_t* pIndxLastNonZero, int32_t QP) noexcept
{
    const Status status = checkReconstruction(ppBitStream, pBitOffset, pCoef, pIndxLastNonZero, QP);
    if (status != StatusOk)
        return status;
    return decodeIntra(ppBitStream, pBitOffset, {pCoef, pIndxLastNonZero, ownvc_Zigzag}, 8,
                       coefficientFor(QP));
}

Status keliReconstructCoeffsInter_H261_1u16s(const uint8_t** ppBitStream, int32_t* pBitOffset, int16_t* pCoef,
                                             int32_t* pIndxLastNonZero, int32_t QP) noexcept
{
    const Status status = checkReconstruction(ppBitStream, pBitOffset, pCoef, pIndxLastNonZero, QP);
    if (status != StatusOk)
        return status;
    return ownDecodeCoeffs_H261<BlockKind::inter>(
        ppBitStream, pBitOffset, {pCoef, pIndxLastNonZero, ownvc_Zigzag}, coefficientFor(QP));
}
