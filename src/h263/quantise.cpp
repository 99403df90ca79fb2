// Quantisation of an encoder and inverse quantisation (ITU-T H.263 6.2.1, I.3, T.4).

#include "block/dequantise.h"
#include "core/arguments.h"
#include "h263/checks.h"

#include <kelvcpx/h263.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>

namespace kelvcpx::h263 {
namespace {

template <class... T>
Status check(int32_t QP, const T*... pointers)
{
    if (anyNull(pointers...))
        return StatusNullPointer;
    return isQuantiser(QP) ? StatusOk : StatusBadQuantizer;
}

// By QP - 1: reciprocals of 2 * QP in units of 1 / 65536, a little too large.
constexpr std::array<uint16_t, 32> p_QuantInv = [] {
    std::array<uint16_t, 32> table{};
    for (int32_t QP = 1; QP <= 31; QP++)
        table[static_cast<std::size_t>(QP) - 1] = static_cast<uint16_t>(65536 / (2 * QP) + 1);
    return table;
}();

enum class Clipping { on, off };

// Divides by 2 * QP, towards zero, coefficients that have been moved by `bias` away from zero (or, if it is
// negative, towards it) first. Returns the number of levels that are not 0.
template <Clipping clipping>
int32_t quantise(int16_t* block, int32_t first, int32_t QP, int32_t bias)
{
    const uint16_t reciprocal = p_QuantInv[static_cast<std::size_t>(QP) - 1];
    int32_t count = 0;
    for (int32_t i = first; i < 64; i++) {
        const int32_t c = block[i];
        const auto magnitude = static_cast<uint16_t>(std::max(std::abs(c) + bias, 0));
        auto level = static_cast<int32_t>(uint32_t{magnitude} * reciprocal >> 16);
        if constexpr (clipping == Clipping::on)
            level = std::min(level, 127);
        block[i] = static_cast<int16_t>(c < 0 ? -level : level);
        count += level != 0 ? 1 : 0;
    }
    return count;
}

int32_t quantise(int16_t* block, int32_t first, int32_t QP, int32_t bias, bool clip)
{
    return (clip ? quantise<Clipping::on> : quantise<Clipping::off>)(block, first, QP, bias);
}

// LEVEL has eight bits, for -127 to 127. From this QP on 12-bit coefficients hardly give another level.
constexpr int32_t firstQPWithoutClipping = 8;

// 5.4.1: the codes 0 and 128 are forbidden, and 255 stands for 128.
int16_t quantiseIntraDc(int32_t dc)
{
    const int32_t level = (dc + 4) >> 3;
    return static_cast<int16_t>(level == 0 ? 1 : level == 255 ? 254 : level);
}

template <Clipping clipping>
void dequantise(int16_t* block, int32_t first, int32_t last, int32_t QP)
{
    const auto doubledQP = static_cast<int16_t>(2 * QP);
    const int32_t offset = reconstructionOffset(QP);
    for (int32_t i = first; i <= last; i++) {
        const int32_t value = dequantiseUniformly(block[i], doubledQP, offset);
        block[i] = clipping == Clipping::on ? saturateCoefficient(value) : static_cast<int16_t>(value);
    }
}

constexpr auto ownph263_QuantInv_16s_I = dequantise<Clipping::on>;
constexpr auto ownph263_QuantInv_ModQ_16s_I = dequantise<Clipping::off>;

void ownph263_QuantInv_AdvIntra_16s_I(int16_t* block, int32_t last, int32_t QP)
{
    for (int32_t i = 0; i <= last; i++)
        block[i] = static_cast<int16_t>(2 * QP * block[i]);
}

Status checkInverse(const int16_t* block, int32_t last, int32_t QP)
{
    if (const Status status = check(QP, block); status != StatusOk)
        return status;
    return last < 0 ? StatusOutOfRange : StatusOk;
}

} // namespace
} // namespace kelvcpx::h263

using namespace kelvcpx;
using namespace kelvcpx::h263;

Status keliQuantInvIntra_H263_16s_C1I(int16_t* pSrcDst, int32_t indxLastNonZero, int32_t QP,
                                      int32_t advIntraFlag, int32_t modQuantFlag) noexcept
{
    if (const Status status = checkInverse(pSrcDst, indxLastNonZero, QP); status != StatusOk)
        return status;
    if (advIntraFlag != 0) {
        ownph263_QuantInv_AdvIntra_16s_I(pSrcDst, indxLastNonZero, QP);
        return StatusOk;
    }
    pSrcDst[0] = static_cast<int16_t>(8 * pSrcDst[0]);
    (modQuantFlag != 0 ? ownph263_QuantInv_ModQ_16s_I : ownph263_QuantInv_16s_I)(pSrcDst, 1, indxLastNonZero,
                                                                                 QP);
    return StatusOk;
}

Status keliQuantInvInter_H263_16s_C1I(int16_t* pSrcDst, int32_t indxLastNonZero, int32_t QP,
                                      int32_t modQuantFlag) noexcept
{
    if (const Status status = checkInverse(pSrcDst, indxLastNonZero, QP); status != StatusOk)
        return status;
    (modQuantFlag != 0 ? ownph263_QuantInv_ModQ_16s_I : ownph263_QuantInv_16s_I)(pSrcDst, 0, indxLastNonZero,
                                                                                 QP);
    return StatusOk;
}

Status keliQuantIntra_H263_16s_C1I(int16_t* pSrcDst, int32_t QP, int32_t* pCount, int32_t advIntraFlag,
                                   int32_t modQuantFlag) noexcept
{
    if (const Status status = check(QP, pSrcDst, pCount); status != StatusOk)
        return status;
    if (advIntraFlag != 0) {
        *pCount = quantise(pSrcDst, 0, QP, 3 * QP >> 2, modQuantFlag == 0);
        return StatusOk;
    }
    pSrcDst[0] = quantiseIntraDc(pSrcDst[0]);
    *pCount = 1 + quantise(pSrcDst, 1, QP, 0, modQuantFlag == 0 && QP < firstQPWithoutClipping);
    return StatusOk;
}

Status keliQuantInter_H263_16s_C1I(int16_t* pSrcDst, int32_t QP, int32_t* pCount,
                                   int32_t modQuantFlag) noexcept
{
    if (const Status status = check(QP, pSrcDst, pCount); status != StatusOk)
        return status;
    *pCount = quantise(pSrcDst, 0, QP, -(QP >> 1), modQuantFlag == 0 && QP < firstQPWithoutClipping);
    return StatusOk;
}
