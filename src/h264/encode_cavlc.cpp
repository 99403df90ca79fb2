// What CAVLC codes of a block (ITU-T H.264 7.3.5.3.2, 9.2), for encoders.

#include "core/arguments.h"

#include <kelvcpx/h264_encode.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace kelvcpx::h264 {
namespace {

constexpr std::size_t mostTrailingOnes = 3;
constexpr uint8_t lastPosition = 15; // of a 4x4 block

// Where the results go.
struct CavlcBlock {
    uint8_t* trailingOnes;
    uint8_t* trailingOneSigns;
    uint8_t* totalCoeff;
    uint8_t* totalZeros;
    int16_t* levels;
    uint8_t* runs;

    bool hasNull() const
    {
        return anyNull(trailingOnes, trailingOneSigns, totalCoeff, totalZeros, levels, runs);
    }
};

// `levelAt` gives the level at each scan position of last..first.
template <class LevelAt>
void analyse(int32_t first, int32_t last, LevelAt levelAt, const CavlcBlock& block)
{
    // The levels that are not 0 and their positions. Every level is stored, and the next one in its place if
    // it is 0: which are 0 could not be foreseen by a branch.
    std::array<int16_t, lastPosition + 2> levels;
    std::array<int32_t, lastPosition + 2> positions;
    std::size_t count = 0;
    for (int32_t position = last; position >= first; position--) {
        levels[count] = levelAt(position);
        positions[count] = position;
        count += levels[count] != 0 ? 1 : 0;
    }

    std::size_t ones = 0;
    uint32_t signs = 0;
    while (ones < std::min(count, mostTrailingOnes) && (levels[ones] == 1 || levels[ones] == -1))
        signs = signs << 1 | (levels[ones++] < 0 ? 1 : 0);
    for (std::size_t i = ones; i < count; i++)
        block.levels[i - ones] = levels[i];
    for (std::size_t i = 1; i < count; i++)
        block.runs[i - 1] = static_cast<uint8_t>(positions[i - 1] - positions[i] - 1);

    const int32_t end = count > 0 ? positions[0] : last;
    *block.trailingOnes = static_cast<uint8_t>(ones);
    *block.trailingOneSigns = static_cast<uint8_t>(signs);
    *block.totalCoeff = static_cast<uint8_t>(count);
    *block.totalZeros = static_cast<uint8_t>(end + 1 - first - static_cast<int32_t>(count));
}

} // namespace
} // namespace kelvcpx::h264

using namespace kelvcpx;
using namespace kelvcpx::h264;

Status keliEncodeCoeffsCAVLC_H264_16s(const int16_t* pCoeffs, uint8_t firstPos, const uint32_t* pScan,
                                      uint8_t lastPos, uint8_t* pTrailingOnes, uint8_t* pTrailingOneSigns,
                                      uint8_t* pTotalCoeff, uint8_t* pTotalZeros, int16_t* pLevels,
                                      uint8_t* pRuns) noexcept
{
    const CavlcBlock block{pTrailingOnes, pTrailingOneSigns, pTotalCoeff, pTotalZeros, pLevels, pRuns};
    if (anyNull(pCoeffs, pScan) || block.hasNull())
        return StatusNullPointer;
    if (lastPos > lastPosition || firstPos > lastPos)
        return StatusOutOfRange;
    analyse(
        firstPos, lastPos, [=](int32_t position) { return pCoeffs[pScan[position]]; }, block);
    return StatusOk;
}

Status keliEncodeChromaDcCoeffsCAVLC_H264_16s(const int16_t* pCoeffs, uint8_t* pTrailingOnes,
                                              uint8_t* pTrailingOneSigns, uint8_t* pTotalCoeff,
                                              uint8_t* pTotalZeros, int16_t* pLevels, uint8_t* pRuns) noexcept
{
    const CavlcBlock block{pTrailingOnes, pTrailingOneSigns, pTotalCoeff, pTotalZeros, pLevels, pRuns};
    if (anyNull(pCoeffs) || block.hasNull())
        return StatusNullPointer;
    analyse(
        0, 3, [=](int32_t position) { return pCoeffs[position]; }, block);
    return StatusOk;
}
