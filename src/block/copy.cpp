#include "block/copy_kernels.h"

#include "block/half_sample.h"
#include "core/arguments.h"

#include <kelvcpx/block.h>

#include <cstddef>
#include <utility>

namespace kelvcpx {
namespace {

template <Position position, int rounding, int Width, int Height>
void copyBlock(const uint8_t* src, std::ptrdiff_t srcStep, uint8_t* dst, std::ptrdiff_t dstStep)
{
    constexpr int rows = stripRows<Width, Height>;
    HalfSampleStrips<position, Width, rows> prediction(src, srcStep, rounding);
    for (int y = 0; y < Height; y += rows)
        scatterRows<Width, rows>(dst + y * dstStep, dstStep, prediction.next());
}

template <Position position, int rounding, int Width, int Height>
void averageBlock(const uint8_t* src, std::ptrdiff_t srcStep, uint8_t* dst, std::ptrdiff_t dstStep)
{
    constexpr int rows = stripRows<Width, Height>;
    HalfSampleStrips<position, Width, rows> prediction(src, srcStep, rounding);
    for (int y = 0; y < Height; y += rows) {
        uint8_t* const strip = dst + y * dstStep;
        const U8x16 other = gatherRows<Width, rows>(strip, dstStep);
        scatterRows<Width, rows>(strip, dstStep, average(prediction.next(), other));
    }
}

template <Position position, int rounding>
void addBlock8x8(const int16_t* residual, std::ptrdiff_t residualStep, const uint8_t* ref,
                 std::ptrdiff_t refStep, uint8_t* dst, std::ptrdiff_t dstStep)
{
    constexpr int rows = stripRows<8>;
    const auto* residualBytes = reinterpret_cast<const uint8_t*>(residual);
    HalfSampleStrips<position, 8, rows> prediction(ref, refStep, rounding);
    for (int y = 0; y < 8; y += rows) {
        const auto r = gatherResidual<8, rows>(residualBytes + y * residualStep, residualStep);
        scatterRows<8, rows>(dst + y * dstStep, dstStep, addResidual(prediction.next(), r));
    }
}

void addConstant8x8(int16_t value, uint8_t* dst, std::ptrdiff_t dstStep)
{
    constexpr int rows = stripRows<8>;
    const ResidualStrip residual{splat16(value), splat16(value)};
    for (int y = 0; y < 8; y += rows) {
        uint8_t* const strip = dst + y * dstStep;
        scatterRows<8, rows>(strip, dstStep, addResidual(gatherRows<8, rows>(strip, dstStep), residual));
    }
}

constexpr Position entryPosition(std::size_t entry)
{
    return static_cast<Position>(entry / 2);
}

constexpr int entryRounding(std::size_t entry)
{
    return entry < 2 ? 0 : static_cast<int>(entry % 2);
}

template <int Width, int Height>
constexpr CopyTable copyTable = []<std::size_t... i>(std::index_sequence<i...>)
{
    return CopyTable{copyBlock<entryPosition(i), entryRounding(i), Width, Height>...};
}
(std::make_index_sequence<8>());

template <int Width, int Height>
constexpr CopyTable averageTable = []<std::size_t... i>(std::index_sequence<i...>)
{
    return CopyTable{averageBlock<entryPosition(i), entryRounding(i), Width, Height>...};
}
(std::make_index_sequence<8>());

constexpr AddTable addTable = []<std::size_t... i>(std::index_sequence<i...>)
{
    return AddTable{addBlock8x8<entryPosition(i), entryRounding(i)>...};
}
(std::make_index_sequence<8>());

} // namespace

constinit const CopyTable ownvc_Copy4x8HP_8u_C1R = copyTable<4, 8>;
constinit const CopyTable ownvc_Copy8x4HP_8u_C1R = copyTable<8, 4>;
constinit const CopyTable ownvc_Copy8x8HP_8u_C1R = copyTable<8, 8>;
constinit const CopyTable ownvc_Copy16x8HP_8u_C1R = copyTable<16, 8>;
constinit const CopyTable ownvc_Copy16x16HP_8u_C1R = copyTable<16, 16>;

constinit const CopyTable ownvc_InterpolateAverage8x4HP_8u_C1IR = averageTable<8, 4>;
constinit const CopyTable ownvc_InterpolateAverage8x8HP_8u_C1IR = averageTable<8, 8>;
constinit const CopyTable ownvc_InterpolateAverage16x8HP_8u_C1IR = averageTable<16, 8>;
constinit const CopyTable ownvc_InterpolateAverage16x16HP_8u_C1IR = averageTable<16, 16>;

constinit const AddTable ownvc_Add8x8HP_16s8u_C1RS = addTable;

namespace {

Status predict(const CopyTable& table, const uint8_t* src, int32_t srcStep, uint8_t* dst, int32_t dstStep,
               int32_t acc, int32_t rounding)
{
    if (anyNull(src, dst))
        return StatusNullPointer;
    table[halfSampleEntry(acc, rounding)](src, srcStep, dst, dstStep);
    return StatusOk;
}

template <CopyKernel kernel>
Status predictFullSample(const uint8_t* src, int32_t srcStep, uint8_t* dst, int32_t dstStep)
{
    if (anyNull(src, dst))
        return StatusNullPointer;
    kernel(src, srcStep, dst, dstStep);
    return StatusOk;
}

} // namespace
} // namespace kelvcpx

using namespace kelvcpx;

Status keliCopy8x8_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep) noexcept
{
    return predictFullSample<copyBlock<Position::full, 0, 8, 8>>(pSrc, srcStep, pDst, dstStep);
}

Status keliCopy16x16_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep) noexcept
{
    return predictFullSample<copyBlock<Position::full, 0, 16, 16>>(pSrc, srcStep, pDst, dstStep);
}

Status keliAverage8x8_8u_C1IR(const uint8_t* pSrc, int32_t srcStep, uint8_t* pSrcDst,
                              int32_t srcDstStep) noexcept
{
    return predictFullSample<averageBlock<Position::full, 0, 8, 8>>(pSrc, srcStep, pSrcDst, srcDstStep);
}

Status keliAverage16x16_8u_C1IR(const uint8_t* pSrc, int32_t srcStep, uint8_t* pSrcDst,
                                int32_t srcDstStep) noexcept
{
    return predictFullSample<averageBlock<Position::full, 0, 16, 16>>(pSrc, srcStep, pSrcDst, srcDstStep);
}

Status keliCopy8x4HP_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, int32_t acc,
                            int32_t rounding) noexcept
{
    return predict(ownvc_Copy8x4HP_8u_C1R, pSrc, srcStep, pDst, dstStep, acc, rounding);
}

Status keliCopy8x8HP_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep, int32_t acc,
                            int32_t rounding) noexcept
{
    return predict(ownvc_Copy8x8HP_8u_C1R, pSrc, srcStep, pDst, dstStep, acc, rounding);
}

Status keliCopy16x8HP_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                             int32_t acc, int32_t rounding) noexcept
{
    return predict(ownvc_Copy16x8HP_8u_C1R, pSrc, srcStep, pDst, dstStep, acc, rounding);
}

Status keliCopy16x16HP_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                              int32_t acc, int32_t rounding) noexcept
{
    return predict(ownvc_Copy16x16HP_8u_C1R, pSrc, srcStep, pDst, dstStep, acc, rounding);
}

Status keliInterpolateAverage8x4_8u_C1IR(const uint8_t* pSrc, int32_t srcStep, uint8_t* pSrcDst,
                                         int32_t srcDstStep, int32_t acc, int32_t rounding) noexcept
{
    return predict(ownvc_InterpolateAverage8x4HP_8u_C1IR, pSrc, srcStep, pSrcDst, srcDstStep, acc, rounding);
}

Status keliInterpolateAverage8x8_8u_C1IR(const uint8_t* pSrc, int32_t srcStep, uint8_t* pSrcDst,
                                         int32_t srcDstStep, int32_t acc, int32_t rounding) noexcept
{
    return predict(ownvc_InterpolateAverage8x8HP_8u_C1IR, pSrc, srcStep, pSrcDst, srcDstStep, acc, rounding);
}

Status keliInterpolateAverage16x8_8u_C1IR(const uint8_t* pSrc, int32_t srcStep, uint8_t* pSrcDst,
                                          int32_t srcDstStep, int32_t acc, int32_t rounding) noexcept
{
    return predict(ownvc_InterpolateAverage16x8HP_8u_C1IR, pSrc, srcStep, pSrcDst, srcDstStep, acc, rounding);
}

Status keliInterpolateAverage16x16_8u_C1IR(const uint8_t* pSrc, int32_t srcStep, uint8_t* pSrcDst,
                                           int32_t srcDstStep, int32_t acc, int32_t rounding) noexcept
{
    return predict(ownvc_InterpolateAverage16x16HP_8u_C1IR, pSrc, srcStep, pSrcDst, srcDstStep, acc,
                   rounding);
}

Status keliAdd8x8_16s8u_C1IRS(const int16_t* pSrc, int32_t srcStep, uint8_t* pSrcDst,
                              int32_t srcDstStep) noexcept
{
    if (anyNull(pSrc, pSrcDst))
        return StatusNullPointer;
    addBlock8x8<Position::full, 0>(pSrc, srcStep, pSrcDst, srcDstStep, pSrcDst, srcDstStep);
    return StatusOk;
}

Status keliAdd8x8HP_16s8u_C1RS(const int16_t* pSrc, int32_t srcStep, const uint8_t* pRef, int32_t refStep,
                               uint8_t* pDst, int32_t dstStep, int32_t acc, int32_t rounding) noexcept
{
    if (anyNull(pSrc, pRef, pDst))
        return StatusNullPointer;
    ownvc_Add8x8HP_16s8u_C1RS[halfSampleEntry(acc, rounding)](pSrc, srcStep, pRef, refStep, pDst, dstStep);
    return StatusOk;
}

Status keliAddC8x8_16s8u_C1IR(int16_t value, uint8_t* pSrcDst, int32_t srcDstStep) noexcept
{
    if (anyNull(pSrcDst))
        return StatusNullPointer;
    addConstant8x8(value, pSrcDst, srcDstStep);
    return StatusOk;
}
