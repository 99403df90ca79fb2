// Inverse quantisation (ISO/IEC 14496-2 7.4.4) of blocks whose coefficients are in raster order.

#include "block/dequantise.h"
#include "core/arguments.h"
#include "mpeg4/dequantise.h"
#include "mpeg4/quantise_records.h"

#include <kelvcpx/mpeg4.h>

#include <algorithm>
#include <cstddef>

namespace kelvcpx::mpeg4 {
namespace {

// With up to this many bits a sample a weight times QP fits 16 bits, and its product with a level 32 bits.
constexpr int32_t mostBitsInNarrowProducts = 10;

template <class Product>
Product scaledWeight(uint16_t weight, int32_t QP)
{
    if constexpr (sizeof(Product) > sizeof(int32_t))
        return Product{weight} * QP;
    else // the compiler finds the multiplication of 16 by 16 bits
        return static_cast<int16_t>(weight * QP);
}

// Dequantises first..last with the first method and returns the sum of the coefficients.
template <class Product, class Formula>
int32_t weighBlock(int16_t* block, std::ptrdiff_t first, std::ptrdiff_t last, const QuantInvSpec& record,
                   int32_t QP, Formula formula)
{
    const CoefficientRange range = coefficientRange(record.bitsPerPixel);
    const uint16_t* __restrict weights = record.weights.data();
    int32_t sum = 0;
    for (std::ptrdiff_t i = first; i <= last; i++) {
        const Product coefficient = formula(int32_t{block[i]}, scaledWeight<Product>(weights[i], QP));
        block[i] = static_cast<int16_t>(std::clamp<Product>(coefficient, range.low, range.high));
        sum += block[i];
    }
    return sum;
}

template <class Formula>
int32_t weighBlock(int16_t* block, std::ptrdiff_t first, std::ptrdiff_t last, const QuantInvSpec& record,
                   int32_t QP, Formula formula)
{
    if (record.bitsPerPixel <= mostBitsInNarrowProducts)
        return weighBlock<int32_t>(block, first, last, record, QP, formula);
    return weighBlock<int64_t>(block, first, last, record, QP, formula);
}

int32_t ownpmp4_QuantInvIntra_16s_I(int16_t* block, std::ptrdiff_t last, const QuantInvSpec& record,
                                    int32_t QP)
{
    return weighBlock(block, 1, last, record, QP,
                      [](int32_t level, auto weight) { return weighIntra(level, weight); });
}

int32_t ownpmp4_QuantInvInter_16s_I(int16_t* block, std::ptrdiff_t last, const QuantInvSpec& record,
                                    int32_t QP)
{
    return weighBlock(block, 0, last, record, QP,
                      [](int32_t level, auto weight) { return weighInter(level, weight); });
}

void ownpmp4_QuantInv_16s_I(int16_t* block, std::ptrdiff_t last, const QuantInvSpec& record, int32_t QP)
{
    const CoefficientRange range = coefficientRange(record.bitsPerPixel);
    const auto doubledQP = static_cast<int16_t>(2 * QP);
    const int32_t offset = reconstructionOffset(QP);
    for (std::ptrdiff_t i = 0; i <= last; i++)
        block[i] = static_cast<int16_t>(
            std::clamp(dequantiseUniformly(block[i], doubledQP, offset), range.low, range.high));
}

Status init(const uint8_t* pQuantMatrix, QuantInvSpec* pSpec, int32_t bitsPerPixel, const Tag& tag)
{
    if (anyNull(pSpec))
        return StatusNullPointer;
    if (!isDepth(bitsPerPixel))
        return StatusOutOfRange;
    if (hasZero(pQuantMatrix))
        return StatusBadQuantizer;
    QuantInvSpec& record = *recordIn(pSpec);
    record.tag = tag;
    record.bitsPerPixel = bitsPerPixel;
    record.hasMatrix = pQuantMatrix != nullptr ? 1 : 0;
    if (pQuantMatrix != nullptr)
        std::copy_n(pQuantMatrix, record.weights.size(), record.weights.begin());
    return StatusOk;
}

} // namespace
} // namespace kelvcpx::mpeg4

using namespace kelvcpx;
using namespace kelvcpx::mpeg4;

Status keliQuantInvIntraGetSize_MPEG4(int32_t* pSpecSize) noexcept
{
    return reportSize<QuantInvSpec>(pSpecSize);
}

Status keliQuantInvInterGetSize_MPEG4(int32_t* pSpecSize) noexcept
{
    return reportSize<QuantInvSpec>(pSpecSize);
}

Status keliQuantInvIntraInit_MPEG4(const uint8_t* pQuantMatrix, QuantInvSpec* pSpec,
                                   int32_t bitsPerPixel) noexcept
{
    return init(pQuantMatrix, pSpec, bitsPerPixel, inverseIntraTag);
}

Status keliQuantInvInterInit_MPEG4(const uint8_t* pQuantMatrix, QuantInvSpec* pSpec,
                                   int32_t bitsPerPixel) noexcept
{
    return init(pQuantMatrix, pSpec, bitsPerPixel, inverseInterTag);
}

Status keliQuantInvIntra_MPEG4_16s_C1I(int16_t* pSrcDst, int32_t indxLastNonZero, const QuantInvSpec* pSpec,
                                       int32_t QP, int32_t blockType) noexcept
{
    if (anyNull(pSrcDst, pSpec))
        return StatusNullPointer;
    const QuantInvSpec& record = *recordIn(pSpec);
    if (const Status status = check(record, inverseIntraTag, QP); status != StatusOk)
        return status;
    const CoefficientRange range = coefficientRange(record.bitsPerPixel);
    const int32_t dc = std::clamp(pSrcDst[0] * dcScaler(QP, blockType), range.low, range.high);
    const std::ptrdiff_t last = std::min(indxLastNonZero, lastPosition);
    if (last < 1) {
        if (record.hasMatrix != 0 && (dc & 1) == 0)
            pSrcDst[63] = 1;
    } else if (record.hasMatrix != 0) {
        controlMismatch(pSrcDst, dc + ownpmp4_QuantInvIntra_16s_I(pSrcDst, last, record, QP));
    } else {
        ownpmp4_QuantInv_16s_I(pSrcDst, last, record, QP);
    }
    pSrcDst[0] = static_cast<int16_t>(dc);
    return StatusOk;
}

Status keliQuantInvInter_MPEG4_16s_C1I(int16_t* pSrcDst, int32_t indxLastNonZero, const QuantInvSpec* pSpec,
                                       int32_t QP) noexcept
{
    if (anyNull(pSrcDst, pSpec))
        return StatusNullPointer;
    const QuantInvSpec& record = *recordIn(pSpec);
    if (const Status status = check(record, inverseInterTag, QP); status != StatusOk)
        return status;
    const std::ptrdiff_t last = std::min(indxLastNonZero, lastPosition);
    if (record.hasMatrix != 0)
        controlMismatch(pSrcDst, ownpmp4_QuantInvInter_16s_I(pSrcDst, last, record, QP));
    else
        ownpmp4_QuantInv_16s_I(pSrcDst, last, record, QP);
    return StatusOk;
}
