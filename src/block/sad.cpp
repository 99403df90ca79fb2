// Sums of absolute and of squared differences.

#include "block/half_sample.h"
#include "block/operands.h"
#include "block/sums.h"
#include "core/arguments.h"

#include <kelvcpx/metrics.h>

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace kelvcpx {
namespace {

using MetricKernel = int32_t (*)(SampleBlock src, SampleBlock ref);
using MetricBKernel = int32_t (*)(const SampleBlock& src, const SampleBlock& refF, const SampleBlock& refB);

// `Sum` is that of the differences between the block and its prediction.
template <class Sum, int Width, int Height, Position position>
int32_t measure(SampleBlock src, SampleBlock ref)
{
    constexpr int rows = stripRows<Width, Height>;
    HalfSampleStrips<position, Width, rows> prediction(ref.data, ref.step, 0);
    Sum sum;
    for (std::ptrdiff_t y = 0; y < Height; y += rows)
        sum.add(gatherRows<Width, rows>(src.data + y * src.step, src.step), prediction.next());
    return sum.sum();
}

template <class Sum, int Width, int Height, Position positionF, Position positionB>
int32_t measureB(const SampleBlock& src, const SampleBlock& refF, const SampleBlock& refB)
{
    constexpr int rows = stripRows<Width, Height>;
    HalfSampleStrips<positionF, Width, rows> forward(refF.data, refF.step, 0);
    HalfSampleStrips<positionB, Width, rows> backward(refB.data, refB.step, 0);
    Sum sum;
    for (std::ptrdiff_t y = 0; y < Height; y += rows)
        sum.add(gatherRows<Width, rows>(src.data + y * src.step, src.step),
                average(forward.next(), backward.next()));
    return sum.sum();
}

// Indexed by mcType / 4.
using MetricTable = std::array<MetricKernel, 4>;

template <class Sum, int Width, int Height>
constexpr auto metricTable = []<std::size_t... i>(std::index_sequence<i...>)
{
    return MetricTable{measure<Sum, Width, Height, positionOf(i * 4)>...};
}
(std::make_index_sequence<4>());

constexpr auto ownvc_SAD8x8HP_8u32s_C1R = metricTable<AbsoluteDifferences, 8, 8>;
constexpr auto ownvc_SAD16x8HP_8u32s_C1R = metricTable<AbsoluteDifferences, 16, 8>;
constexpr auto ownvc_SAD16x16HP_8u32s_C1R = metricTable<AbsoluteDifferences, 16, 16>;
constexpr auto ownvc_SSD8x8HP_8u32s_C1R = metricTable<SquaredDifferences, 8, 8>;
constexpr auto ownvc_SSD4x4HP_8u32s_C1R = metricTable<SquaredDifferences, 4, 4>;
constexpr auto squaredDifferences16x16 = metricTable<SquaredDifferences, 16, 16>;

// Indexed by mcTypeF / 4 + mcTypeB.
constexpr auto squaredDifferences16x16B = []<std::size_t... i>(std::index_sequence<i...>)
{
    return std::array<MetricBKernel, 16>{
        measureB<SquaredDifferences, 16, 16, positionOf(i * 4), positionOf(i)>...};
}
(std::make_index_sequence<16>());

Status measureWith(const MetricTable& table, SampleBlock src, SampleBlock ref, int32_t* result,
                   int32_t mcType)
{
    if (anyNull(src.data, ref.data, result))
        return StatusNullPointer;
    *result = table[quarter(mcType)](src, ref);
    return StatusOk;
}

// The sums of the absolute differences of the four blocks 4x4 of a strip of four rows.
void sadOfBlocks4x4(SampleBlock src, SampleBlock ref, uint16_t* sads)
{
    S16x8 left{}; // the sums of columns
    S16x8 right{};
    for (std::ptrdiff_t y = 0; y < 4; y++) {
        const auto a = loadUnaligned<U8x16>(src.data + y * src.step);
        const auto b = loadUnaligned<U8x16>(ref.data + y * ref.step);
        const U8x16 d = maximum(a, b) - minimum(a, b);
        left += widenLow(d);
        right += widenHigh(d);
    }
    // The product's highest 16 bits are the sum of the four columns.
    const auto sumOfColumns = [](uint64_t columns) {
        return static_cast<uint16_t>(columns * 0x0001000100010001u >> 48);
    };
    const auto l = std::bit_cast<Vec16<uint64_t>>(left);
    const auto r = std::bit_cast<Vec16<uint64_t>>(right);
    sads[0] = sumOfColumns(l[0]);
    sads[1] = sumOfColumns(l[1]);
    sads[2] = sumOfColumns(r[0]);
    sads[3] = sumOfColumns(r[1]);
}

} // namespace
} // namespace kelvcpx

using namespace kelvcpx;

Status keliSAD8x8_8u32s_C1R(const uint8_t* pSrc, int32_t srcStep, const uint8_t* pRef, int32_t refStep,
                            int32_t* pSAD, int32_t mcType) noexcept
{
    return measureWith(ownvc_SAD8x8HP_8u32s_C1R, {pSrc, srcStep}, {pRef, refStep}, pSAD, mcType);
}

Status keliSAD16x8_8u32s_C1R(const uint8_t* pSrc, int32_t srcStep, const uint8_t* pRef, int32_t refStep,
                             int32_t* pSAD, int32_t mcType) noexcept
{
    return measureWith(ownvc_SAD16x8HP_8u32s_C1R, {pSrc, srcStep}, {pRef, refStep}, pSAD, mcType);
}

Status keliSAD16x16_8u32s(const uint8_t* pSrc, int32_t srcStep, const uint8_t* pRef, int32_t refStep,
                          int32_t* pSAD, int32_t mcType) noexcept
{
    return measureWith(ownvc_SAD16x16HP_8u32s_C1R, {pSrc, srcStep}, {pRef, refStep}, pSAD, mcType);
}

Status keliSSD8x8_8u32s_C1R(const uint8_t* pSrc, int32_t srcStep, const uint8_t* pRef, int32_t refStep,
                            int32_t* pSSD, int32_t mcType) noexcept
{
    return measureWith(ownvc_SSD8x8HP_8u32s_C1R, {pSrc, srcStep}, {pRef, refStep}, pSSD, mcType);
}

Status keliSSD4x4_8u32s_C1R(const uint8_t* pSrc, int32_t srcStep, const uint8_t* pRef, int32_t refStep,
                            int32_t* pSSD, int32_t mcType) noexcept
{
    return measureWith(ownvc_SSD4x4HP_8u32s_C1R, {pSrc, srcStep}, {pRef, refStep}, pSSD, mcType);
}

Status keliSAD4x4_8u32s(const uint8_t* pSrc, int32_t srcStep, const uint8_t* pRef, int32_t refStep,
                        int32_t* pSAD) noexcept
{
    if (anyNull(pSrc, pRef, pSAD))
        return StatusNullPointer;
    *pSAD = measure<AbsoluteDifferences, 4, 4, Position::full>({pSrc, srcStep}, {pRef, refStep});
    return StatusOk;
}

Status keliSAD16x16Blocks8x8_8u16u(const uint8_t* pSrc, int32_t srcStep, const uint8_t* pRef, int32_t refStep,
                                   uint16_t* pDstSAD) noexcept
{
    if (anyNull(pSrc, pRef, pDstSAD))
        return StatusNullPointer;
    for (std::ptrdiff_t i = 0; i < 4; i++) {
        const std::ptrdiff_t x = i % 2 * 8;
        const std::ptrdiff_t y = i / 2 * 8;
        pDstSAD[i] = static_cast<uint16_t>(measure<AbsoluteDifferences, 8, 8, Position::full>(
            {pSrc + y * srcStep + x, srcStep}, {pRef + y * refStep + x, refStep}));
    }
    return StatusOk;
}

Status keliSAD16x16Blocks4x4_8u16u(const uint8_t* pSrc, int32_t srcStep, const uint8_t* pRef, int32_t refStep,
                                   uint16_t* pDstSAD) noexcept
{
    if (anyNull(pSrc, pRef, pDstSAD))
        return StatusNullPointer;
    for (std::ptrdiff_t y = 0; y < 16; y += 4)
        sadOfBlocks4x4({pSrc + y * srcStep, srcStep}, {pRef + y * refStep, refStep}, pDstSAD + y);
    return StatusOk;
}

Status keliSqrDiff16x16_8u32s(const uint8_t* pSrc, int32_t srcStep, const uint8_t* pRef, int32_t refStep,
                              int32_t mcType, int32_t* pSqrDiff) noexcept
{
    return measureWith(squaredDifferences16x16, {pSrc, srcStep}, {pRef, refStep}, pSqrDiff, mcType);
}

Status keliSqrDiff16x16B_8u32s(const uint8_t* pSrc, int32_t srcStep, const uint8_t* pRefF, int32_t refStepF,
                               int32_t mcTypeF, const uint8_t* pRefB, int32_t refStepB, int32_t mcTypeB,
                               int32_t* pSqrDiff) noexcept
{
    if (anyNull(pSrc, pRefF, pRefB, pSqrDiff))
        return StatusNullPointer;
    const ReferencePair refs{{pRefF, refStepF}, mcTypeF, {pRefB, refStepB}, mcTypeB};
    *pSqrDiff = squaredDifferences16x16B[refs.entry()]({pSrc, srcStep}, refs.forward, refs.backward);
    return StatusOk;
}
