// The records that fix method, weights and sample depth of the quantisers.
#pragma once

#include "mpeg4/spec_record.h"

#include <kelvcpx/mpeg4.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

struct QuantInvSpec {
    std::array<uint16_t, 64> weights; // raster order
    int32_t bitsPerPixel;
    int32_t hasMatrix; // 1: the first method
    kelvcpx::mpeg4::Tag tag;
};

// Below 9 bits a sample weights are divided by with their reciprocals, above exactly.
struct QuantSpec {
    std::array<uint16_t, 64> roundings;   // below 9 bits half the weights, else the weights
    std::array<uint32_t, 64> reciprocals; // 65536 / weight + 1, below 9 bits only
    int32_t bitsPerPixel;
    int32_t hasMatrix;
    kelvcpx::mpeg4::Tag tag;
};

namespace kelvcpx::mpeg4 {

static_assert(offsetof(QuantInvSpec, tag) == 136 && recordBufferSize<QuantInvSpec> == 156);
static_assert(offsetof(QuantSpec, tag) == 392 && recordBufferSize<QuantSpec> == 412);

inline constexpr Tag inverseIntraTag = {'l', 'S', 'M', 'L'};
inline constexpr Tag inverseInterTag = {'m', 'S', 'M', 'L'};
inline constexpr Tag forwardIntraTag = {'n', 'S', 'M', 'L'};
inline constexpr Tag forwardInterTag = {'o', 'S', 'M', 'L'};

inline constexpr int32_t fewestBits = 4;
inline constexpr int32_t mostBits = 12;
inline constexpr int32_t depths = mostBits - fewestBits + 1;

// The largest quantiser_scale, by bitsPerPixel from 4 on.
inline constexpr std::array<int32_t, depths> _p_QuantMax = {1, 3, 7, 15, 31, 63, 127, 255, 511};

constexpr bool isDepth(int32_t bitsPerPixel)
{
    return bitsPerPixel >= fewestBits && bitsPerPixel <= mostBits;
}

// False for any QP if the depth has no quantisers.
constexpr bool isQuantiser(int32_t QP, int32_t bitsPerPixel)
{
    return isDepth(bitsPerPixel) && QP >= 1 &&
           QP <= _p_QuantMax[static_cast<std::size_t>(bitsPerPixel - fewestBits)];
}

// dc_scaler (ISO/IEC 14496-2 table 7-1).
constexpr int32_t dcScaler(int32_t QP, int32_t blockType)
{
    if (QP < 5)
        return 8;
    if (blockType != 0)
        return QP < 25 ? (QP + 13) >> 1 : QP - 6;
    return QP < 9 ? 2 * QP : QP < 25 ? QP + 8 : 2 * QP - 16;
}

// The range of dequantised coefficients, by bitsPerPixel from 4 on.
struct CoefficientRange {
    int32_t low;
    int32_t high;
};
inline constexpr auto _p_QuantInvClip = [] {
    std::array<CoefficientRange, depths> table{};
    for (int32_t i = 0; i < depths; i++) {
        const int32_t end = 1 << (fewestBits + i + 3);
        table[static_cast<std::size_t>(i)] = {-end, end - 1};
    }
    return table;
}();

constexpr CoefficientRange coefficientRange(int32_t bitsPerPixel)
{
    return _p_QuantInvClip[static_cast<std::size_t>(bitsPerPixel - fewestBits)];
}

inline constexpr int32_t lastPosition = 63;

// Whether a matrix, which may be missing, has a weight that cannot be divided by.
inline bool hasZero(const uint8_t* pQuantMatrix)
{
    return pQuantMatrix != nullptr && std::find(pQuantMatrix, pQuantMatrix + 64, 0) != pQuantMatrix + 64;
}

// Whether a block can be quantised or dequantised with the record and QP.
template <class Record>
Status check(const Record& record, const Tag& tag, int32_t QP)
{
    if (record.tag != tag)
        return StatusBadContext;
    return isQuantiser(QP, record.bitsPerPixel) ? StatusOk : StatusBadQuantizer;
}

} // namespace kelvcpx::mpeg4
