// Scanning and forward quantisation of MPEG-2 blocks (ISO/IEC 13818-2 7.3, 7.4).

#include "core/arguments.h"
#include "tables/scan_tables.h"

#include <kelvcpx/mpeg2_encode.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace kelvcpx {
namespace {

constexpr int32_t blockSize = 64;
constexpr int32_t manyCoefficients = 20; // from which looking for the last one does not pay
constexpr float largestLevel = 2047;

// Reciprocals of the default intra matrix (6.3.11).
constexpr std::array<float, 64> DefaultIntraQuantMatrix = [] {
    constexpr uint8_t weights[64] = {8,  16, 19, 22, 26, 27, 29, 34, 16, 16, 22, 24, 27, 29, 34, 37,
                                     19, 22, 26, 27, 29, 34, 34, 38, 22, 22, 26, 27, 29, 34, 37, 40,
                                     22, 26, 27, 29, 32, 35, 40, 48, 26, 27, 29, 32, 35, 40, 48, 58,
                                     26, 27, 29, 34, 38, 46, 56, 69, 27, 29, 35, 38, 46, 56, 69, 83};
    std::array<float, 64> reciprocals{};
    for (std::size_t i = 0; i < 64; i++)
        reciprocals[i] = 1.0F / static_cast<float>(weights[i]);
    return reciprocals;
}();

// Clips and truncates; what is not a number becomes the largest level.
int16_t toLevel(float value)
{
    const float upper = value < largestLevel ? value : largestLevel;
    return static_cast<int16_t>(upper > -largestLevel ? upper : -largestLevel);
}

int32_t countNonZeroFrom(const int16_t* levels, std::size_t first)
{
    int32_t count = 0;
    for (std::size_t i = first; i < blockSize; i++)
        count += levels[i] != 0 ? 1 : 0;
    return count;
}

void quantise(int16_t* levels, int32_t QP, const float* weights)
{
    const float reciprocal = 1.0F / static_cast<float>(QP);
    for (std::size_t i = 0; i < blockSize; i++)
        levels[i] = toLevel(static_cast<float>(16 * levels[i]) * reciprocal * weights[i]);
}

} // namespace
} // namespace kelvcpx

using namespace kelvcpx;

Status keliScanFwd_16s_C1(const int16_t* pSrc, int16_t* pDst, int32_t countNonZero, int32_t scanType) noexcept
{
    if (anyNull(pSrc, pDst))
        return StatusNullPointer;
    if (countNonZero < 1 || countNonZero > blockSize)
        return StatusOutOfRange;
    const auto& scan = scanTable(scanType, ownvc_Zigzag);
    if (countNonZero >= manyCoefficients) {
        for (std::size_t p = 0; p < blockSize; p++)
            pDst[p] = pSrc[scan[p]];
        return StatusOk;
    }
    std::fill_n(pDst, blockSize, int16_t{0});
    for (std::size_t p = 0; p < blockSize && countNonZero > 0; p++) {
        pDst[p] = pSrc[scan[p]];
        countNonZero -= pDst[p] != 0 ? 1 : 0;
    }
    return StatusOk;
}

Status keliScanInv_16s_C1(const int16_t* pSrc, int16_t* pDst, int32_t lastIndex, int32_t scanType) noexcept
{
    if (anyNull(pSrc, pDst))
        return StatusNullPointer;
    if (lastIndex < 0 || lastIndex >= blockSize)
        return StatusOutOfRange;
    const auto& scan = scanTable(scanType, ownvc_Zigzag);
    std::fill_n(pDst, blockSize, int16_t{0});
    for (std::size_t p = 0; p <= static_cast<std::size_t>(lastIndex); p++)
        pDst[scan[p]] = pSrc[p];
    return StatusOk;
}

Status keliQuantIntra_MPEG2_16s_C1I(int16_t* pSrcDst, int32_t QP, const float* pQMatrixInv,
                                    int32_t* pCount) noexcept
{
    if (anyNull(pSrcDst, pCount))
        return StatusNullPointer;
    if (QP == 0)
        return StatusDivideByZero;
    const int16_t dc = pSrcDst[0];
    quantise(pSrcDst, QP, pQMatrixInv != nullptr ? pQMatrixInv : DefaultIntraQuantMatrix.data());
    pSrcDst[0] = dc;
    *pCount = countNonZeroFrom(pSrcDst, 1);
    return StatusOk;
}

Status keliQuant_MPEG2_16s_C1I(int16_t* pSrcDst, int32_t QP, const float* pQMatrixInv,
                               int32_t* pCount) noexcept
{
    if (anyNull(pSrcDst, pCount))
        return StatusNullPointer;
    if (QP == 0)
        return StatusDivideByZero;
    if (pQMatrixInv != nullptr) {
        quantise(pSrcDst, QP, pQMatrixInv);
    } else {
        const float reciprocal = 1.0F / static_cast<float>(QP);
        for (std::size_t i = 0; i < blockSize; i++)
            pSrcDst[i] = toLevel(static_cast<float>(pSrcDst[i]) * reciprocal);
    }
    *pCount = countNonZeroFrom(pSrcDst, 0);
    return StatusOk;
}
