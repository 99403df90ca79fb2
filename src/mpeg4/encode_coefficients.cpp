// Coefficients to the stream (ISO/IEC 14496-2 7.4.1).

#include "block/run_levels.h"
#include "core/byte_cursor.h"
#include "core/byte_cursor_check.h"
#include "mpeg4/encode_tables.h"
#include "tables/scan_tables.h"

#include <kelvcpx/mpeg4.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdlib>

namespace kelvcpx::mpeg4 {
namespace {

// A coefficient to be written.
struct Coefficient {
    std::size_t last;
    int32_t run;
    int32_t magnitude;
    uint32_t negative;
};

// Several fields as one code.
constexpr Code operator+(const Code& a, const Code& b)
{
    return {a.bits << b.length | b.bits, a.length + b.length};
}

Code field(uint32_t value, int32_t length)
{
    return {value & ((1u << length) - 1), length};
}

constexpr Code marker = {1, 1};

bool hasCode(const EncodeTable& table, const Coefficient& c)
{
    return c.run <= table.largestRun[c.last] && c.magnitude <= table.lmax[c.last][c.run];
}

// The code of a coefficient that has one, with its sign.
Code codeOf(const EncodeTable& table, const Coefficient& c)
{
    const Code& code = table.codes[table.offs[c.last][c.run] + c.magnitude - 1];
    return {code.bits | c.negative, code.length};
}

// 11 behind the escape code: everything as it is.
Code plainFields(const Coefficient& c)
{
    const int32_t level = c.negative != 0 ? -c.magnitude : c.magnitude;
    return Code{bitsOf(escapeCode) << 2 | 3, lengthOf(escapeCode) + 2} +
           field(static_cast<uint32_t>(c.last), 1) + field(static_cast<uint32_t>(c.run), 6) + marker +
           field(static_cast<uint32_t>(level), 12) + marker;
}

// A coefficient without a code of its own (7.4.1.3).
Code escapedCode(const EncodeTable& table, const LimitPointers& runsBeyond, const Coefficient& c)
{
    Coefficient reduced = c;
    const bool isKnownRun = c.run <= table.largestRun[c.last];
    if (isKnownRun && c.magnitude <= 2 * table.lmax[c.last][c.run]) {
        reduced.magnitude -= table.lmax[c.last][c.run];
        return Code{bitsOf(escapeCode) << 1, lengthOf(escapeCode) + 1} + codeOf(table, reduced);
    }
    if (c.magnitude <= table.lmax[c.last][0]) {
        const int32_t runs = runsBeyond[c.last][c.magnitude];
        reduced.run -= runs;
        if (reduced.run < runs)
            return Code{bitsOf(escapeCode) << 2 | 2, lengthOf(escapeCode) + 2} + codeOf(table, reduced);
    }
    return plainFields(c);
}

// A coefficient without a reversible code (7.4.1.4).
Code reversibleEscape(const Coefficient& c)
{
    constexpr Code prefix = {1, 5};
    return prefix + field(static_cast<uint32_t>(c.last), 1) + field(static_cast<uint32_t>(c.run), 6) +
           marker + field(static_cast<uint32_t>(c.magnitude), 11) + marker + Code{c.negative, 5};
}

// Writes the first `count` coefficients that are not zero, from scan position `first` on.
template <class Escape>
void writeBlock(ByteWriter& writer, const int16_t* pCoef, std::size_t first, int32_t count,
                const ScanTable& scan, const EncodeTable& table, Escape escape)
{
    forEachLevel(pCoef, scan, first, 0, count, [&](int32_t run, int32_t level, bool isLast) {
        const Coefficient c{isLast ? 1u : 0u, run, std::abs(level), level < 0 ? 1u : 0u};
        const Code code = hasCode(table, c) ? codeOf(table, c) : escape(c);
        writer.write(code.bits, code.length);
    });
}

Status encodeBlock(const int16_t* pCoef, uint8_t** ppBitStream, int32_t* pBitOffset, std::size_t first,
                   int32_t count, const ScanTable& scan, const EncodeTable& table,
                   const LimitPointers* runsBeyond)
{
    if (count < 1 || count > static_cast<int32_t>(scan.size() - first))
        return StatusOutOfRange;
    ByteWriter writer(*ppBitStream, *pBitOffset);
    if (runsBeyond == nullptr)
        writeBlock(writer, pCoef, first, count, scan, table, reversibleEscape);
    else
        writeBlock(writer, pCoef, first, count, scan, table,
                   [&](const Coefficient& c) { return escapedCode(table, *runsBeyond, c); });
    writer.store(ppBitStream, pBitOffset);
    return StatusOk;
}

} // namespace
} // namespace kelvcpx::mpeg4

using namespace kelvcpx;
using namespace kelvcpx::mpeg4;

Status keliEncodeDCIntra_MPEG4_16s1u(int16_t dc, uint8_t** ppBitStream, int32_t* pBitOffset,
                                     int32_t blockType) noexcept
{
    if (const Status status = checkByteCursor(ppBitStream, pBitOffset); status != StatusOk)
        return status;
    const auto magnitude = static_cast<uint32_t>(std::abs(int32_t{dc}));
    const auto size = std::min(static_cast<int32_t>(std::bit_width(magnitude)), largestDcSize);
    Code code = (blockType == 1 ? mVLC_DCSIZE_TB14 : mVLC_DCSIZE_TB13)[static_cast<std::size_t>(size)];
    if (size > 0)
        code = code + field(static_cast<uint32_t>(dc - (dc < 0 ? 1 : 0)), size);
    if (size > 8)
        code = code + marker;
    ByteWriter writer(*ppBitStream, *pBitOffset);
    writer.write(code.bits, code.length);
    writer.store(ppBitStream, pBitOffset);
    return StatusOk;
}

Status keliEncodeCoeffsIntra_MPEG4_16s1u(const int16_t* pCoef, uint8_t** ppBitStream, int32_t* pBitOffset,
                                         int32_t countNonZero, int32_t rvlcFlag, int32_t useIntraDCVlc,
                                         int32_t scan) noexcept
{
    if (const Status status = checkByteCursor(ppBitStream, pBitOffset, pCoef); status != StatusOk)
        return status;
    const ScanTable& positions = scanTable(scan, rasterOrZigzag(scan));
    const std::size_t first = useIntraDCVlc != 0 ? 1 : 0;
    return rvlcFlag != 0 ? encodeBlock(pCoef, ppBitStream, pBitOffset, first, countNonZero, positions,
                                       mVLC_TB23a, nullptr)
                         : encodeBlock(pCoef, ppBitStream, pBitOffset, first, countNonZero, positions,
                                       mVLC_TB16, &RMAX_Intra);
}

Status keliEncodeCoeffsInter_MPEG4_16s1u(const int16_t* pCoef, uint8_t** ppBitStream, int32_t* pBitOffset,
                                         int32_t countNonZero, int32_t rvlcFlag, int32_t scan) noexcept
{
    if (const Status status = checkByteCursor(ppBitStream, pBitOffset, pCoef); status != StatusOk)
        return status;
    const ScanTable& positions = scan == 1 ? ownvc_AltScanV : ownvc_Zigzag;
    return rvlcFlag != 0
               ? encodeBlock(pCoef, ppBitStream, pBitOffset, 0, countNonZero, positions, mVLC_TB23b, nullptr)
               : encodeBlock(pCoef, ppBitStream, pBitOffset, 0, countNonZero, positions, mVLC_TB17,
                             &RMAX_Inter);
}
