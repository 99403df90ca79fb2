// Quantisation for encoders: the inverse of ISO/IEC 14496-2 7.4.4, with the dead zones that suit it.

#include "core/arguments.h"
#include "core/arithmetic.h"
#include "mpeg4/quantise_records.h"

#include <kelvcpx/mpeg4.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>

namespace kelvcpx::mpeg4 {
namespace {

constexpr int32_t largestLevel = 2047;

// With fewer bits a sample divisions are multiplications with reciprocals of 16 fractional bits.
constexpr int32_t fewestBitsOfExactDivision = 9;

// 65536 / (2 QP) + 1 by QP from 1 on.
constexpr auto _p_QuantInv = [] {
    std::array<uint32_t, 32> table{};
    for (uint32_t QP = 1; QP < table.size(); QP++)
        table[QP - 1] = 65536 / (2 * QP) + 1;
    return table;
}();

// What the kernels need of record and QP, and the division by 2 QP. Magnitudes have up to 20 bits.
class Reciprocal
{
public:
    Reciprocal(const QuantSpec& record, int32_t QP)
        : record_(record), factor_(_p_QuantInv[static_cast<std::size_t>(QP - 1)]),
          doubledQP_(2 * static_cast<uint32_t>(QP))
    {}

    uint32_t byDoubledQP(uint32_t magnitude) const
    {
        // What is beyond the largest level stays so, and the product fits 32 bits.
        return std::min(magnitude, doubledQP_ * (largestLevel + 1)) * factor_ >> 16;
    }

    // (magnitude + weight / 2) / weight
    uint32_t byWeight(uint32_t magnitude, std::size_t i) const
    {
        return static_cast<uint32_t>(uint64_t{record_.reciprocals[i]} * (magnitude + record_.roundings[i]) >>
                                     16);
    }

private:
    const QuantSpec& record_;
    uint32_t factor_;
    uint32_t doubledQP_;
};

class ExactDivision
{
public:
    ExactDivision(const QuantSpec& record, int32_t QP)
        : record_(record), doubledQP_(2 * static_cast<uint32_t>(QP))
    {}

    uint32_t byDoubledQP(uint32_t magnitude) const { return magnitude / doubledQP_; }

    uint32_t byWeight(uint32_t magnitude, std::size_t i) const
    {
        const uint32_t weight = record_.roundings[i];
        return (magnitude + weight / 2) / weight;
    }

private:
    const QuantSpec& record_;
    uint32_t doubledQP_;
};

// Quantises from block index `first` on: levelOf(magnitude, index) is the magnitude of the level. Returns the
// number of levels that are not zero.
template <class LevelOf>
uint32_t quantiseBlock(int16_t* block, std::size_t first, LevelOf levelOf)
{
    uint32_t count = 0;
    for (std::size_t i = first; i < 64; i++) {
        const int32_t c = block[i];
        const auto level = static_cast<int32_t>(
            std::min<uint32_t>(levelOf(static_cast<uint32_t>(std::abs(c)), i), largestLevel));
        block[i] = static_cast<int16_t>(c < 0 ? -level : level);
        count += static_cast<uint32_t>(level != 0);
    }
    return count;
}

template <class Divide>
uint32_t ownpmp4_QuantIntra0_16s_I(int16_t* block, const Divide& divide)
{
    return quantiseBlock(block, 1, [&](uint32_t c, std::size_t) { return divide.byDoubledQP(c); });
}

template <class Divide>
uint32_t ownpmp4_QuantInter0_16s_I(int16_t* block, const Divide& divide, int32_t QP)
{
    const auto half = static_cast<uint32_t>(QP >> 1);
    return quantiseBlock(
        block, 0, [&](uint32_t c, std::size_t) { return divide.byDoubledQP(std::max(c, half) - half); });
}

template <class Divide>
uint32_t ownpmp4_QuantIntra1_16s_I(int16_t* block, const Divide& divide, int32_t QP)
{
    const auto rounding = static_cast<uint32_t>((3 * QP + 2) >> 2);
    return quantiseBlock(block, 1, [&](uint32_t c, std::size_t i) {
        return divide.byDoubledQP(divide.byWeight(16 * c, i) + rounding);
    });
}

template <class Divide>
uint32_t ownpmp4_QuantInter1_16s_I(int16_t* block, const Divide& divide)
{
    return quantiseBlock(
        block, 0, [&](uint32_t c, std::size_t i) { return divide.byDoubledQP(divide.byWeight(16 * c, i)); });
}

// The DC divided by its scaler, to the nearest level, halves away from zero.
int16_t quantiseDc(int32_t dc, int32_t QP, int32_t blockType)
{
    const int32_t scaler = dcScaler(QP, blockType);
    const int32_t level = (dc + signOf(dc) * (scaler >> 1)) / scaler;
    return static_cast<int16_t>(std::clamp(level, -largestLevel, largestLevel));
}

template <class Divide>
uint32_t quantiseIntra(int16_t* block, const QuantSpec& record, int32_t QP)
{
    const Divide divide(record, QP);
    return record.hasMatrix != 0 ? ownpmp4_QuantIntra1_16s_I(block, divide, QP)
                                 : ownpmp4_QuantIntra0_16s_I(block, divide);
}

template <class Divide>
uint32_t quantiseInter(int16_t* block, const QuantSpec& record, int32_t QP)
{
    const Divide divide(record, QP);
    return record.hasMatrix != 0 ? ownpmp4_QuantInter1_16s_I(block, divide)
                                 : ownpmp4_QuantInter0_16s_I(block, divide, QP);
}

Status init(const uint8_t* pQuantMatrix, QuantSpec* pSpec, int32_t bitsPerPixel, const Tag& tag)
{
    if (anyNull(pSpec))
        return StatusNullPointer;
    if (hasZero(pQuantMatrix))
        return StatusBadQuantizer;
    QuantSpec& record = *recordIn(pSpec);
    record.tag = tag;
    record.bitsPerPixel = bitsPerPixel;
    record.hasMatrix = pQuantMatrix != nullptr ? 1 : 0;
    for (std::size_t i = 0; pQuantMatrix != nullptr && i < 64; i++) {
        const uint16_t weight = pQuantMatrix[i];
        const bool exact = bitsPerPixel >= fewestBitsOfExactDivision;
        record.roundings[i] = exact ? weight : static_cast<uint16_t>(weight >> 1);
        record.reciprocals[i] = exact ? 0 : 65536u / weight + 1;
    }
    return StatusOk;
}

} // namespace
} // namespace kelvcpx::mpeg4

using namespace kelvcpx;
using namespace kelvcpx::mpeg4;

Status keliQuantIntraGetSize_MPEG4(int32_t* pSpecSize) noexcept
{
    return reportSize<QuantSpec>(pSpecSize);
}

Status keliQuantInterGetSize_MPEG4(int32_t* pSpecSize) noexcept
{
    return reportSize<QuantSpec>(pSpecSize);
}

Status keliQuantIntraInit_MPEG4(const uint8_t* pQuantMatrix, QuantSpec* pSpec, int32_t bitsPerPixel) noexcept
{
    return init(pQuantMatrix, pSpec, bitsPerPixel, forwardIntraTag);
}

Status keliQuantInterInit_MPEG4(const uint8_t* pQuantMatrix, QuantSpec* pSpec, int32_t bitsPerPixel) noexcept
{
    return init(pQuantMatrix, pSpec, bitsPerPixel, forwardInterTag);
}

Status keliQuantIntra_MPEG4_16s_C1I(int16_t* pSrcDst, const QuantSpec* pSpec, int32_t QP, uint32_t* pCount,
                                    int32_t blockType) noexcept
{
    if (anyNull(pSrcDst, pSpec, pCount))
        return StatusNullPointer;
    const QuantSpec& record = *recordIn(pSpec);
    if (const Status status = check(record, forwardIntraTag, QP); status != StatusOk)
        return status;
    pSrcDst[0] = quantiseDc(pSrcDst[0], QP, blockType);
    const uint32_t count = record.bitsPerPixel < fewestBitsOfExactDivision
                               ? quantiseIntra<Reciprocal>(pSrcDst, record, QP)
                               : quantiseIntra<ExactDivision>(pSrcDst, record, QP);
    *pCount = count + static_cast<uint32_t>(pSrcDst[0] != 0);
    return StatusOk;
}

Status keliQuantInter_MPEG4_16s_C1I(int16_t* pSrcDst, const QuantSpec* pSpec, int32_t QP,
                                    uint32_t* pCount) noexcept
{
    if (anyNull(pSrcDst, pSpec, pCount))
        return StatusNullPointer;
    const QuantSpec& record = *recordIn(pSpec);
    if (const Status status = check(record, forwardInterTag, QP); status != StatusOk)
        return status;
    *pCount = record.bitsPerPixel < fewestBitsOfExactDivision
                  ? quantiseInter<Reciprocal>(pSrcDst, record, QP)
                  : quantiseInter<ExactDivision>(pSrcDst, record, QP);
    return StatusOk;
}
