// Coefficients from reversible codes (ISO/IEC 14496-2 7.4.1.4 and Annex E.1.4), which can be read from either
// end.

#include "mpeg4/decode_coefficients.h"
#include "mpeg4/reversible_tables.h"

#include <kelvcpx/mpeg4.h>

#include <algorithm>
#include <cstddef>

namespace kelvcpx::mpeg4 {
namespace {

constexpr int32_t longestCode = firstLook + secondLook + 1; // with its sign

// The escape: 00001, last, 6 bits of run, 1, 11 bits of level, 1, 0000 and the sign.
constexpr int32_t prefixLength = 5;

// An entry as an event. The run of an entry that no code has leads out of any block.
Event eventOf(const CodeEntry& entry, uint32_t negative)
{
    return {entry.last, entry.run, signedLevel(entry.level, negative)};
}

bool readEscape(ByteReader& reader, Event& event)
{
    reader.skip(prefixLength);
    const uint32_t start = reader.read(8); // last, run, 1
    const uint32_t end = reader.read(17);  // level, 1, 0000, sign
    const uint32_t level = end >> 6;
    if ((start & 1) == 0 || level == 0 || (end >> 1 & 0x1F) != 0x10)
        return false;
    event = {static_cast<int32_t>(start >> 7), static_cast<int32_t>(start >> 1 & 0x3F),
             signedLevel(level, end & 1)};
    return true;
}

bool readEvent(ByteReader& reader, const ReversibleTable& table, Event& event)
{
    reader.fill(longestCode);
    const uint32_t bits = reader.peek(longestCode);
    const std::size_t first = bits >> (longestCode - firstLook);
    if (first < 8)
        return false;
    if (first < 16)
        return readEscape(reader, event);
    std::size_t number = ownvc_mp4_RVLC_ind0[first];
    int32_t shared = 0;
    if (number >= groupMarker) {
        const std::size_t group = number - groupMarker;
        shared = firstLook;
        const uint8_t inGroup = ownvc_mp4_RVLC_iptr[group][bits >> 1 & ((1 << secondLook) - 1)];
        if (inGroup == noReversibleCode)
            return false;
        number = std::size_t{ownvc_mp4_RVLC_offs[group]} + inGroup;
    }
    const CodeEntry& entry = table[number];
    const int32_t length = shared + entry.length;
    event = eventOf(entry, bits >> (longestCode - 1 - length) & 1);
    reader.skip(length + 1);
    return true;
}

// Reads towards the start of the stream: the bits in front of the cursor.
class BackwardReader
{
public:
    BackwardReader(const uint8_t* byte, int32_t consumed) : byte_(byte), consumed_(consumed) {}

    // The n bits, up to 25, in front of the cursor, in the order of the stream. Loads the byte of the cursor
    // and four bytes in front of it.
    uint32_t peek(int32_t n) const
    {
        const uint64_t bytes =
            static_cast<uint64_t>(byte_[-4]) << 32 | static_cast<uint64_t>(byte_[-3]) << 24 |
            static_cast<uint64_t>(byte_[-2]) << 16 | static_cast<uint64_t>(byte_[-1]) << 8 | byte_[0];
        return static_cast<uint32_t>(bytes >> (8 - consumed_)) & ((1u << n) - 1);
    }

    void skip(int32_t n)
    {
        consumed_ -= n;
        byte_ += consumed_ >> 3;
        consumed_ &= 7;
    }

    uint32_t read(int32_t n)
    {
        const uint32_t value = peek(n);
        skip(n);
        return value;
    }

    void store(const uint8_t** ppBitStream, int32_t* pBitOffset) const
    {
        *ppBitStream = byte_;
        *pBitOffset = consumed_;
    }

private:
    const uint8_t* byte_;
    int32_t consumed_;
};

bool readEscapeBackward(BackwardReader& reader, Event& event)
{
    const uint32_t end = reader.read(18); // 1, level, 1, 0000, sign
    const uint32_t level = end >> 6 & 0x7FF;
    if ((end >> 5 & 1) == 0 || end >> 17 == 0 || level == 0)
        return false;
    const uint32_t start = reader.read(12); // 00001, last, run
    if (start >> 7 != 1)
        return false;
    event = {static_cast<int32_t>(start >> 6 & 1), static_cast<int32_t>(start & 0x3F),
             signedLevel(level, end & 1)};
    return true;
}

bool readEventBackward(BackwardReader& reader, const ReversibleTable& table, Event& event)
{
    const uint32_t bits = reader.peek(longestCode);
    const std::size_t first = bits >> 1 & ((1 << firstLook) - 1);
    if ((first & 15) == 0)
        return readEscapeBackward(reader, event);
    std::size_t number = ownvc_mp4_RVLCb_ind0[first];
    int32_t shared = 0;
    if (number >= groupMarker) {
        const std::size_t group = number - groupMarker;
        shared = firstLook;
        const uint8_t inGroup = ownvc_mp4_RVLCb_iptr[group][bits >> (firstLook + 1)];
        if (inGroup == noReversibleCode)
            return false;
        number = std::size_t{ownvc_mp4_RVLCb_offs[group]} + inGroup;
    }
    const CodeEntry& entry = table[number];
    event = eventOf(entry, bits & 1);
    reader.skip(shared + entry.length + 1);
    return true;
}

// Moves the coefficients behind `position`, which go up to the end, to the place behind `before`.
int32_t moveDown(int16_t* pCoef, int32_t position, int32_t before)
{
    int16_t* const end = std::copy(pCoef + position + 1, pCoef + 64, pCoef + before + 1);
    std::fill(end, pCoef + 64, int16_t{0});
    return static_cast<int32_t>(end - pCoef) - 1;
}

// Reads a block from its end, last coefficient first, up to the end of the block before. `*pIndxLastNonZero`
// is the position before the first coefficient, then that of the last one.
Status ownpmp4_DecodeRVLCB_MPEG4_1u16s(BackwardReader& reader, int16_t* pCoef, int32_t* pIndxLastNonZero,
                                       const ReversibleTable& table)
{
    const int32_t before = *pIndxLastNonZero;
    int32_t position = 63;
    for (bool isLast = true;; isLast = false) {
        BackwardReader behind = reader;
        Event event;
        *pIndxLastNonZero = position;
        if (!readEventBackward(behind, table, event))
            return StatusBadVlcCode;
        if (!isLast && event.last != 0)
            break;
        if (event.last != static_cast<int32_t>(isLast) || position <= before)
            return StatusBadVlcCode;
        pCoef[position] = static_cast<int16_t>(event.level);
        position -= event.run + 1;
        reader = behind;
    }
    if (position < before)
        return StatusBadVlcCode;
    *pIndxLastNonZero = moveDown(pCoef, position, before);
    return StatusOk;
}

Status decodeBackward(const uint8_t** ppBitStream, int32_t* pBitOffset, int16_t* pCoef,
                      int32_t* pIndxLastNonZero, bool hasDc, const ReversibleTable& table)
{
    if (const Status status = checkByteCursor(ppBitStream, pBitOffset, pCoef, pIndxLastNonZero);
        status != StatusOk)
        return status;
    *pIndxLastNonZero = clearBlock(pCoef, hasDc);
    BackwardReader reader(*ppBitStream, *pBitOffset);
    const Status status = ownpmp4_DecodeRVLCB_MPEG4_1u16s(reader, pCoef, pIndxLastNonZero, table);
    if (status == StatusOk)
        reader.store(ppBitStream, pBitOffset);
    return status;
}

} // namespace

Status ownpmp4_DecodeRVLCF_MPEG4_1u16s(ByteReader& reader, int16_t* pCoef, int32_t* pIndxLastNonZero,
                                       BlockKind kind, const ScanTable& scan)
{
    const ReversibleTable& table = kind == BlockKind::intra ? tableB23_Forw_Intra : tableB23_Forw_Inter;
    return decodeBlock(
        reader, pIndxLastNonZero,
        [&](ByteReader& stream, Event& event) { return readEvent(stream, table, event); },
        [&](int32_t position, int32_t level) {
            pCoef[scan[static_cast<std::size_t>(position)]] = static_cast<int16_t>(level);
        });
}

} // namespace kelvcpx::mpeg4

using namespace kelvcpx;
using namespace kelvcpx::mpeg4;

Status keliDecodeCoeffsIntraRVLCBack_MPEG4_1u16s(const uint8_t** ppBitStream, int32_t* pBitOffset,
                                                 int16_t* pCoef, int32_t* pIndxLastNonZero,
                                                 int32_t useIntraDCVlc) noexcept
{
    return decodeBackward(ppBitStream, pBitOffset, pCoef, pIndxLastNonZero, useIntraDCVlc != 0,
                          tableB23_Back_Intra);
}

Status keliDecodeCoeffsInterRVLCBack_MPEG4_1u16s(const uint8_t** ppBitStream, int32_t* pBitOffset,
                                                 int16_t* pCoef, int32_t* pIndxLastNonZero) noexcept
{
    return decodeBackward(ppBitStream, pBitOffset, pCoef, pIndxLastNonZero, false, tableB23_Back_Inter);
}
