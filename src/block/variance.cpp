// Means, variances and deviations of blocks and of prediction differences.

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

// Of the samples of a block.
struct Sums {
    int32_t sum;
    int64_t squares;
};

template <int Width, int Height>
Sums sumsOf(SampleBlock block)
{
    constexpr int rows = stripRows<Width, Height>;
    AbsoluteDifferences sum;
    SquaredDifferences squares;
    for (std::ptrdiff_t y = 0; y < Height; y += rows) {
        const U8x16 strip = gatherRows<Width, rows>(block.data + y * block.step, block.step);
        sum.add(strip, U8x16{});
        squares.add(strip, U8x16{});
    }
    return {sum.sum(), squares.sum()};
}

// The same of 8x8 elements of 16 bits. The squares are added by halves, so that 32 bits will do.
Sums sumsOf8x8(Block<const int16_t> block)
{
    const auto addLanes = [](U32x4& sums, S16x8 unsignedLanes) {
        const auto pairs = std::bit_cast<U32x4>(unsignedLanes);
        sums += (pairs & 0xFFFF) + (pairs >> 16);
    };
    S32x4 sum{};
    U32x4 low{};
    U32x4 high{};
    for (std::ptrdiff_t y = 0; y < 8; y++) {
        const auto row = loadUnaligned<S16x8>(reinterpret_cast<const uint8_t*>(block.data) + y * block.step);
        sum += widenLow(row) + widenHigh(row);
        addLanes(low, wrapMul(row, row));
        addLanes(high, multiplyHigh(row, row));
    }
    const auto total = [](U32x4 sums) { return int64_t{sumOf(std::bit_cast<S32x4>(sums))}; };
    return {sumOf(sum), total(high) * 65536 + total(low)};
}

// Both sums go through single precision; what follows is exact in double precision.
Status storeVariance(const Sums& sums, int32_t* variance, int32_t* mean)
{
    const double meanValue = static_cast<double>(static_cast<float>(sums.sum)) / 64;
    const double meanSquare = static_cast<double>(static_cast<float>(sums.squares)) / 64;
    *variance = static_cast<int32_t>(meanSquare - meanValue * meanValue);
    *mean = sums.sum;
    return StatusOk;
}

// Of 8x8 samples: the squares of the differences to the prediction, and the sum of the prediction.
struct DifferenceSums {
    int32_t squares;
    int32_t prediction;
};

template <Position position>
DifferenceSums differenceSums(SampleBlock src, SampleBlock ref)
{
    constexpr int rows = stripRows<8>;
    HalfSampleStrips<position, 8> prediction(ref.data, ref.step, 0);
    SquaredDifferences squares;
    AbsoluteDifferences sum;
    for (std::ptrdiff_t y = 0; y < 8; y += rows) {
        const U8x16 p = prediction.next();
        squares.add(gatherRows<8, rows>(src.data + y * src.step, src.step), p);
        sum.add(p, U8x16{});
    }
    return {squares.sum(), sum.sum()};
}

using DifferenceSumsKernel = DifferenceSums (*)(SampleBlock src, SampleBlock ref);

// Indexed by mcType / 4.
constexpr auto differenceSumsTable = []<std::size_t... i>(std::index_sequence<i...>)
{
    return std::array<DifferenceSumsKernel, 4>{differenceSums<positionOf(i * 4)>...};
}
(std::make_index_sequence<4>());

// The 8x8 quarters of 16 samples in width.
template <int Height>
Status varianceOfDifference(SampleBlock src, SampleBlock ref, const int32_t* srcSum, int32_t* variance,
                            int32_t* mean, int32_t mcType)
{
    if (anyNull(src.data, ref.data, srcSum, variance, mean))
        return StatusNullPointer;
    const DifferenceSumsKernel kernel = differenceSumsTable[quarter(mcType)];
    for (std::ptrdiff_t y = 0; y < Height; y += 8)
        for (std::ptrdiff_t x = 0; x < 16; x += 8) {
            const DifferenceSums sums =
                kernel({src.data + y * src.step + x, src.step}, {ref.data + y * ref.step + x, ref.step});
            const int64_t m = (int64_t{*srcSum++} - sums.prediction) / 8;
            const int64_t excess = sums.squares - m * m;
            *variance++ = static_cast<int32_t>(excess > 0 ? excess / 64 : 0);
            *mean++ = static_cast<int32_t>(m);
        }
    return StatusOk;
}

} // namespace
} // namespace kelvcpx

using namespace kelvcpx;

Status keliVariance16x16_8u32s(const uint8_t* pSrc, int32_t srcStep, int32_t* pVar) noexcept
{
    if (anyNull(pSrc, pVar))
        return StatusNullPointer;
    const Sums sums = sumsOf<16, 16>({pSrc, srcStep});
    *pVar = static_cast<int32_t>(sums.squares - int64_t{sums.sum} * sums.sum / 256);
    return StatusOk;
}

Status keliVarMean8x8_8u32s_C1R(const uint8_t* pSrc, int32_t srcStep, int32_t* pVar, int32_t* pMean) noexcept
{
    if (anyNull(pSrc, pVar, pMean))
        return StatusNullPointer;
    return storeVariance(sumsOf<8, 8>({pSrc, srcStep}), pVar, pMean);
}

Status keliVarMean8x8_16s32s_C1R(const int16_t* pSrc, int32_t srcStep, int32_t* pVar, int32_t* pMean) noexcept
{
    if (anyNull(pSrc, pVar, pMean))
        return StatusNullPointer;
    return storeVariance(sumsOf8x8({pSrc, srcStep}), pVar, pMean);
}

Status keliVarMeanDiff16x16_8u32s_C1R(const uint8_t* pSrc, int32_t srcStep, const uint8_t* pRef,
                                      int32_t refStep, const int32_t* pSrcSum, int32_t* pVar, int32_t* pMean,
                                      int32_t mcType) noexcept
{
    return varianceOfDifference<16>({pSrc, srcStep}, {pRef, refStep}, pSrcSum, pVar, pMean, mcType);
}

Status keliVarMeanDiff16x8_8u32s_C1R(const uint8_t* pSrc, int32_t srcStep, const uint8_t* pRef,
                                     int32_t refStep, const int32_t* pSrcSum, int32_t* pVar, int32_t* pMean,
                                     int32_t mcType) noexcept
{
    return varianceOfDifference<8>({pSrc, srcStep}, {pRef, refStep}, pSrcSum, pVar, pMean, mcType);
}

Status keliMeanAbsDev16x16_8u32s_C1R(const uint8_t* pSrc, int32_t srcStep, int32_t* pMAD) noexcept
{
    if (anyNull(pSrc, pMAD))
        return StatusNullPointer;
    AbsoluteDifferences sum;
    for (std::ptrdiff_t y = 0; y < 16; y++)
        sum.add(loadUnaligned<U8x16>(pSrc + y * srcStep), U8x16{});
    const U8x16 mean = splat8(static_cast<uint8_t>((sum.sum() + 128) >> 8));
    AbsoluteDifferences deviation;
    for (std::ptrdiff_t y = 0; y < 16; y++)
        deviation.add(loadUnaligned<U8x16>(pSrc + y * srcStep), mean);
    *pMAD = deviation.sum();
    return StatusOk;
}
