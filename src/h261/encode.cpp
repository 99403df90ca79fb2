// Levels to the stream (ITU-T H.261 4.2.4).

#include "block/run_levels.h"
#include "h263/checks.h"
#include "h263/intra_dc.h"
#include "tables/h261_tables.h"
#include "tables/scan_tables.h"

#include <kelvcpx/h261.h>

#include <cstddef>
#include <cstdlib>

namespace kelvcpx::h261 {
namespace {

// Of the standard's codes those for the levels 6 and 7 behind one zero, and for 5 behind two, are left to the
// escape.
void writeEvent(ByteWriter& stream, int32_t run, int32_t level)
{
    const int32_t magnitude = std::abs(level);
    const auto write = [&](const Code& code) { stream.write(code.bits | (level < 0 ? 1 : 0), code.length); };
    if ((magnitude == 1 && run <= 26) || (magnitude == 2 && run <= 10)) {
        write(codeTab_lev12[static_cast<std::size_t>((magnitude - 1) * 32 + run)]);
    } else if (magnitude >= 3 && magnitude <= 5 && run + 2 * magnitude < 12) {
        write(codeTab_lev345[static_cast<std::size_t>(run + 20 - 4 * magnitude)]);
    } else if (run == 0 && magnitude <= 15) {
        write(codeTab_run0[static_cast<std::size_t>(magnitude - 2)]);
    } else {
        constexpr uint32_t escape = 0b000001;
        stream.write(escape << 14 | static_cast<uint32_t>(run) << 8 | static_cast<uint8_t>(level), 20);
    }
}

// The coefficients from position 1 on, of which `count` are not 0, behind `run` zeros; and end of block. A
// call for each of them would cost as much as writing it.
[[gnu::flatten]] void writeRest(ByteWriter& stream, const int16_t* pQCoef, const ScanTable& order,
                                int32_t run, int32_t count)
{
    forEachLevel(pQCoef, order, 1, run, count,
                 [&](int32_t zeros, int32_t level, bool) { writeEvent(stream, zeros, level); });
    stream.write(0b10, 2);
}

} // namespace
} // namespace kelvcpx::h261

using namespace kelvcpx;
using namespace kelvcpx::h261;

Status keliEncodeCoeffsIntra_H261_16s1u(const int16_t* pQCoef, uint8_t** ppBitStream, int32_t* pBitOffset,
                                        int32_t countNonZero, int32_t scan) noexcept
{
    if (const Status status = checkEncoding(pQCoef, ppBitStream, pBitOffset, countNonZero);
        status != StatusOk)
        return status;
    ByteWriter stream(*ppBitStream, *pBitOffset);
    stream.write(intraDcCode(pQCoef[0]), intraDcLength);
    writeRest(stream, pQCoef, rasterOrZigzag(scan), 0, countNonZero - 1);
    stream.store(ppBitStream, pBitOffset);
    return StatusOk;
}

Status keliEncodeCoeffsInter_H261_16s1u(const int16_t* pQCoef, uint8_t** ppBitStream, int32_t* pBitOffset,
                                        int32_t countNonZero, int32_t scan) noexcept
{
    if (const Status status = checkEncoding(pQCoef, ppBitStream, pBitOffset, countNonZero);
        status != StatusOk)
        return status;
    ByteWriter stream(*ppBitStream, *pBitOffset);
    const int32_t first = pQCoef[0];
    if (first == 0) {
        writeRest(stream, pQCoef, rasterOrZigzag(scan), 1, countNonZero);
    } else {
        if (std::abs(first) == 1)
            stream.write(first < 0 ? 0b11 : 0b10, 2);
        else
            writeEvent(stream, 0, first);
        writeRest(stream, pQCoef, rasterOrZigzag(scan), 0, countNonZero - 1);
    }
    stream.store(ppBitStream, pBitOffset);
    return StatusOk;
}
