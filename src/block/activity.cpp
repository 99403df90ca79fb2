// Edges, activity of frames and fields, and sums of differences of small blocks.

#include "block/operands.h"
#include "block/strip.h"
#include "block/sums.h"
#include "core/arguments.h"

#include <kelvcpx/metrics.h>

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace kelvcpx {
namespace {

// The differences between 16 elements of 16 bits.
class AbsoluteDifferences16
{
public:
    using Row = std::array<S16x8, 2>;

    void add(const Row& a, const Row& b)
    {
        for (std::size_t i = 0; i < 2; i++) {
            // As unsigned numbers they have 16 bits.
            const auto d =
                std::bit_cast<U16x8>(maximum(a[i], b[i])) - std::bit_cast<U16x8>(minimum(a[i], b[i]));
            const auto pairs = std::bit_cast<U32x4>(d);
            sums_ += (pairs & 0xFFFF) + (pairs >> 16);
        }
    }

    int32_t sum() const { return sumOf(std::bit_cast<S32x4>(sums_)); }

private:
    U32x4 sums_{};
};

// Adds up the differences between neighbouring rows of the frame, in each half of the block, and between
// those of its two fields.
template <class Sum, class Row, class T>
Status measureFrameAndField(Block<const T> src, int32_t* frameSad, int32_t* fieldSad)
{
    if (anyNull(src.data, frameSad, fieldSad))
        return StatusNullPointer;
    const auto row = [&](std::ptrdiff_t y) {
        return loadUnaligned<Row>(reinterpret_cast<const uint8_t*>(src.data) + y * src.step);
    };
    Sum frame;
    for (std::ptrdiff_t half = 0; half < 16; half += 8)
        for (std::ptrdiff_t y = half; y < half + 7; y++)
            frame.add(row(y), row(y + 1));
    Sum field;
    for (std::ptrdiff_t y = 0; y < 14; y++)
        field.add(row(y), row(y + 2));
    *frameSad = frame.sum();
    *fieldSad = field.sum();
    return StatusOk;
}

// How many of the first 15 samples of a row differ from the next one, or from the one below.
U8x16 edgeSamples(U8x16 row, U8x16 below, U8x16 threshold)
{
    const U8x16 right = shifted<1>(row);
    const U8x16 across = maximum(row, right) - minimum(row, right);
    const U8x16 down = maximum(row, below) - minimum(row, below);
    return std::bit_cast<U8x16>(maximum(across, down) > threshold) & splat8(1);
}

// Of each block 4x4: the sum of the differences, and the differences themselves unless `diff` is null.
template <int Size>
Status sumDifferences(SampleBlock src, SampleBlock pred, int16_t* sums, int16_t* diff)
{
    if (anyNull(src.data, pred.data, sums))
        return StatusNullPointer;
    for (std::ptrdiff_t y = 0; y < Size; y += 4)
        for (std::ptrdiff_t x = 0; x < Size; x += 4) {
            const auto d = difference(gatherRows<4, 4>(src.data + y * src.step + x, src.step),
                                      gatherRows<4, 4>(pred.data + y * pred.step + x, pred.step));
            const S16x8 pairs = d.low + d.high;
            *sums++ = static_cast<int16_t>(sumOf(widenLow(pairs) + widenHigh(pairs)));
            if (diff != nullptr) {
                scatterResidual<4, 4>(reinterpret_cast<uint8_t*>(diff), 8, d);
                diff += 16;
            }
        }
    return StatusOk;
}

} // namespace
} // namespace kelvcpx

using namespace kelvcpx;

Status keliEdgesDetect16x16_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t edgeThreshold,
                                   uint8_t edgeCountLimit, uint8_t* pEdge) noexcept
{
    if (anyNull(pSrc, pEdge))
        return StatusNullPointer;
    const U8x16 threshold = splat8(edgeThreshold);
    U8x16 counts{}; // by columns
    auto row = loadUnaligned<U8x16>(pSrc);
    for (std::ptrdiff_t y = 0; y < 15; y++) {
        const auto below = loadUnaligned<U8x16>(pSrc + (y + 1) * srcStep);
        counts += edgeSamples(row, below, threshold);
        row = below;
    }
    counts[15] = 0; // has no right neighbour
    AbsoluteDifferences count;
    count.add(counts, U8x16{});
    *pEdge = count.sum() > edgeCountLimit ? 1 : 0;
    return StatusOk;
}

Status keliSumsDiff16x16Blocks4x4_8u16s_C1(const uint8_t* pSrc, int32_t srcStep, const uint8_t* pPred,
                                           int32_t predStep, int16_t* pSums, int16_t* pDiff) noexcept
{
    return sumDifferences<16>({pSrc, srcStep}, {pPred, predStep}, pSums, pDiff);
}

Status keliSumsDiff8x8Blocks4x4_8u16s_C1(const uint8_t* pSrc, int32_t srcStep, const uint8_t* pPred,
                                         int32_t predStep, int16_t* pSums, int16_t* pDiff) noexcept
{
    return sumDifferences<8>({pSrc, srcStep}, {pPred, predStep}, pSums, pDiff);
}

Status keliFrameFieldSAD16x16_8u32s_C1R(const uint8_t* pSrc, int32_t srcStep, int32_t* pFrameSAD,
                                        int32_t* pFieldSAD) noexcept
{
    return measureFrameAndField<AbsoluteDifferences, U8x16>(SampleBlock{pSrc, srcStep}, pFrameSAD, pFieldSAD);
}

Status keliFrameFieldSAD16x16_16s32s_C1R(const int16_t* pSrc, int32_t srcStep, int32_t* pFrameSAD,
                                         int32_t* pFieldSAD) noexcept
{
    return measureFrameAndField<AbsoluteDifferences16, AbsoluteDifferences16::Row>(
        Block<const int16_t>{pSrc, srcStep}, pFrameSAD, pFieldSAD);
}
