// Differences between a block and its prediction, or another block.

#include "block/half_sample.h"
#include "block/operands.h"
#include "block/sums.h"
#include "core/arguments.h"

#include <kelvcpx/metrics.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace kelvcpx {
namespace {

using DifferenceBlock = Block<int16_t>;

// The predictor may be null.
using GetDiffKernel = void (*)(const SampleBlock& current, const SampleBlock& ref,
                               const DifferenceBlock& diff, const DifferenceBlock& predictor,
                               int32_t rounding);
using GetDiffBKernel = void (*)(const SampleBlock& current, const SampleBlock& refF, const SampleBlock& refB,
                                const DifferenceBlock& diff, int32_t rounding);

// Reads or writes the strip that begins with row y.
template <int Width, int Rows>
U8x16 stripOf(const SampleBlock& block, std::ptrdiff_t y)
{
    return gatherRows<Width, Rows>(block.data + y * block.step, block.step);
}

template <int Width, int Rows>
void store(const DifferenceBlock& block, std::ptrdiff_t y, const ResidualStrip& strip)
{
    scatterResidual<Width, Rows>(reinterpret_cast<uint8_t*>(block.data) + y * block.step, block.step, strip);
}

template <int Width, int Height, Position position>
void getDiff(const SampleBlock& current, const SampleBlock& ref, const DifferenceBlock& diff,
             const DifferenceBlock& predictor, int32_t rounding)
{
    constexpr int rows = stripRows<Width, Height>;
    HalfSampleStrips<position, Width, rows> prediction(ref.data, ref.step, rounding);
    for (std::ptrdiff_t y = 0; y < Height; y += rows) {
        const U8x16 p = prediction.next();
        store<Width, rows>(diff, y, difference(stripOf<Width, rows>(current, y), p));
        if (predictor.data != nullptr)
            store<Width, rows>(predictor, y, widened(p));
    }
}

// The average of the two predictions rounds up whatever the rounding control is.
template <int Width, int Height, Position positionF, Position positionB>
void getDiffB(const SampleBlock& current, const SampleBlock& refF, const SampleBlock& refB,
              const DifferenceBlock& diff, int32_t rounding)
{
    constexpr int rows = stripRows<Width, Height>;
    HalfSampleStrips<positionF, Width, rows> forward(refF.data, refF.step, rounding);
    HalfSampleStrips<positionB, Width, rows> backward(refB.data, refB.step, rounding);
    for (std::ptrdiff_t y = 0; y < Height; y += rows) {
        const U8x16 p = average(forward.next(), backward.next());
        store<Width, rows>(diff, y, difference(stripOf<Width, rows>(current, y), p));
    }
}

// Indexed by mcType, with 1 added for a predictor, which the kernel looks for itself.
template <int Width, int Height>
constexpr auto getDiffTable = []<std::size_t... i>(std::index_sequence<i...>)
{
    return std::array<GetDiffKernel, 16>{getDiff<Width, Height, positionOf(i)>...};
}
(std::make_index_sequence<16>());

// Indexed by mcTypeF / 4 + mcTypeB.
template <int Width, int Height>
constexpr auto getDiffTableB = []<std::size_t... i>(std::index_sequence<i...>)
{
    return std::array<GetDiffBKernel, 16>{getDiffB<Width, Height, positionOf(i * 4), positionOf(i)>...};
}
(std::make_index_sequence<16>());

constexpr auto GetDiff16x16FnTbl = getDiffTable<16, 16>;
constexpr auto GetDiff16x8FnTbl = getDiffTable<16, 8>;
constexpr auto GetDiff8x16FnTbl = getDiffTable<8, 16>;
constexpr auto GetDiff8x8FnTbl = getDiffTable<8, 8>;
constexpr auto GetDiff8x4FnTbl = getDiffTable<8, 4>;
constexpr auto GetDiff16x16BFnTbl = getDiffTableB<16, 16>;
constexpr auto GetDiff16x8BFnTbl = getDiffTableB<16, 8>;
constexpr auto GetDiff8x16BFnTbl = getDiffTableB<8, 16>;
constexpr auto GetDiff8x8BFnTbl = getDiffTableB<8, 8>;
constexpr auto GetDiff8x4BFnTbl = getDiffTableB<8, 4>;

// What an operation does.
Status predictAndSubtract(const std::array<GetDiffKernel, 16>& table, const SampleBlock& current,
                          const SampleBlock& ref, const DifferenceBlock& diff,
                          const DifferenceBlock& predictor, int32_t mcType, int32_t rounding)
{
    if (anyNull(current.data, ref.data, diff.data))
        return StatusNullPointer;
    const std::size_t entry = quarter(mcType) * 4 + (predictor.data != nullptr ? 1 : 0);
    table[entry](current, ref, diff, predictor, rounding & 1);
    return StatusOk;
}

Status predictAndSubtract(const std::array<GetDiffBKernel, 16>& table, const SampleBlock& current,
                          const ReferencePair& refs, const DifferenceBlock& diff, int32_t rounding)
{
    if (anyNull(current.data, refs.forward.data, refs.backward.data, diff.data))
        return StatusNullPointer;
    table[refs.entry()](current, refs.forward, refs.backward, diff, rounding & 1);
    return StatusOk;
}

template <int Width, int Height>
Status subtract(const SampleBlock& a, const SampleBlock& b, const DifferenceBlock& dst)
{
    if (anyNull(a.data, b.data, dst.data))
        return StatusNullPointer;
    getDiff<Width, Height, Position::full>(a, b, dst, {nullptr, 0}, 0);
    return StatusOk;
}

} // namespace
} // namespace kelvcpx

using namespace kelvcpx;

Status keliGetDiff16x16_8u16s_C1(const uint8_t* pSrcCur, int32_t srcCurStep, const uint8_t* pSrcRef,
                                 int32_t srcRefStep, int16_t* pDstDiff, int32_t dstDiffStep,
                                 int16_t* pDstPredictor, int32_t dstPredictorStep, int32_t mcType,
                                 int32_t rounding) noexcept
{
    return predictAndSubtract(GetDiff16x16FnTbl, {pSrcCur, srcCurStep}, {pSrcRef, srcRefStep},
                              {pDstDiff, dstDiffStep}, {pDstPredictor, dstPredictorStep}, mcType, rounding);
}

Status keliGetDiff16x8_8u16s_C1(const uint8_t* pSrcCur, int32_t srcCurStep, const uint8_t* pSrcRef,
                                int32_t srcRefStep, int16_t* pDstDiff, int32_t dstDiffStep,
                                int16_t* pDstPredictor, int32_t dstPredictorStep, int32_t mcType,
                                int32_t rounding) noexcept
{
    return predictAndSubtract(GetDiff16x8FnTbl, {pSrcCur, srcCurStep}, {pSrcRef, srcRefStep},
                              {pDstDiff, dstDiffStep}, {pDstPredictor, dstPredictorStep}, mcType, rounding);
}

Status keliGetDiff8x16_8u16s_C1(const uint8_t* pSrcCur, int32_t srcCurStep, const uint8_t* pSrcRef,
                                int32_t srcRefStep, int16_t* pDstDiff, int32_t dstDiffStep,
                                int16_t* pDstPredictor, int32_t dstPredictorStep, int32_t mcType,
                                int32_t rounding) noexcept
{
    return predictAndSubtract(GetDiff8x16FnTbl, {pSrcCur, srcCurStep}, {pSrcRef, srcRefStep},
                              {pDstDiff, dstDiffStep}, {pDstPredictor, dstPredictorStep}, mcType, rounding);
}

Status keliGetDiff8x8_8u16s_C1(const uint8_t* pSrcCur, int32_t srcCurStep, const uint8_t* pSrcRef,
                               int32_t srcRefStep, int16_t* pDstDiff, int32_t dstDiffStep,
                               int16_t* pDstPredictor, int32_t dstPredictorStep, int32_t mcType,
                               int32_t rounding) noexcept
{
    return predictAndSubtract(GetDiff8x8FnTbl, {pSrcCur, srcCurStep}, {pSrcRef, srcRefStep},
                              {pDstDiff, dstDiffStep}, {pDstPredictor, dstPredictorStep}, mcType, rounding);
}

Status keliGetDiff8x4_8u16s_C1(const uint8_t* pSrcCur, int32_t srcCurStep, const uint8_t* pSrcRef,
                               int32_t srcRefStep, int16_t* pDstDiff, int32_t dstDiffStep,
                               int16_t* pDstPredictor, int32_t dstPredictorStep, int32_t mcType,
                               int32_t rounding) noexcept
{
    return predictAndSubtract(GetDiff8x4FnTbl, {pSrcCur, srcCurStep}, {pSrcRef, srcRefStep},
                              {pDstDiff, dstDiffStep}, {pDstPredictor, dstPredictorStep}, mcType, rounding);
}

Status keliGetDiff16x16B_8u16s_C1(const uint8_t* pSrcCur, int32_t srcCurStep, const uint8_t* pRefF,
                                  int32_t refStepF, int32_t mcTypeF, const uint8_t* pRefB, int32_t refStepB,
                                  int32_t mcTypeB, int16_t* pDstDiff, int32_t dstDiffStep,
                                  int32_t rounding) noexcept
{
    return predictAndSubtract(GetDiff16x16BFnTbl, {pSrcCur, srcCurStep},
                              {{pRefF, refStepF}, mcTypeF, {pRefB, refStepB}, mcTypeB},
                              {pDstDiff, dstDiffStep}, rounding);
}

Status keliGetDiff16x8B_8u16s_C1(const uint8_t* pSrcCur, int32_t srcCurStep, const uint8_t* pRefF,
                                 int32_t refStepF, int32_t mcTypeF, const uint8_t* pRefB, int32_t refStepB,
                                 int32_t mcTypeB, int16_t* pDstDiff, int32_t dstDiffStep,
                                 int32_t rounding) noexcept
{
    return predictAndSubtract(GetDiff16x8BFnTbl, {pSrcCur, srcCurStep},
                              {{pRefF, refStepF}, mcTypeF, {pRefB, refStepB}, mcTypeB},
                              {pDstDiff, dstDiffStep}, rounding);
}

Status keliGetDiff8x16B_8u16s_C1(const uint8_t* pSrcCur, int32_t srcCurStep, const uint8_t* pRefF,
                                 int32_t refStepF, int32_t mcTypeF, const uint8_t* pRefB, int32_t refStepB,
                                 int32_t mcTypeB, int16_t* pDstDiff, int32_t dstDiffStep,
                                 int32_t rounding) noexcept
{
    return predictAndSubtract(GetDiff8x16BFnTbl, {pSrcCur, srcCurStep},
                              {{pRefF, refStepF}, mcTypeF, {pRefB, refStepB}, mcTypeB},
                              {pDstDiff, dstDiffStep}, rounding);
}

Status keliGetDiff8x8B_8u16s_C1(const uint8_t* pSrcCur, int32_t srcCurStep, const uint8_t* pRefF,
                                int32_t refStepF, int32_t mcTypeF, const uint8_t* pRefB, int32_t refStepB,
                                int32_t mcTypeB, int16_t* pDstDiff, int32_t dstDiffStep,
                                int32_t rounding) noexcept
{
    return predictAndSubtract(GetDiff8x8BFnTbl, {pSrcCur, srcCurStep},
                              {{pRefF, refStepF}, mcTypeF, {pRefB, refStepB}, mcTypeB},
                              {pDstDiff, dstDiffStep}, rounding);
}

Status keliGetDiff8x4B_8u16s_C1(const uint8_t* pSrcCur, int32_t srcCurStep, const uint8_t* pRefF,
                                int32_t refStepF, int32_t mcTypeF, const uint8_t* pRefB, int32_t refStepB,
                                int32_t mcTypeB, int16_t* pDstDiff, int32_t dstDiffStep,
                                int32_t rounding) noexcept
{
    return predictAndSubtract(GetDiff8x4BFnTbl, {pSrcCur, srcCurStep},
                              {{pRefF, refStepF}, mcTypeF, {pRefB, refStepB}, mcTypeB},
                              {pDstDiff, dstDiffStep}, rounding);
}

Status keliGetDiff4x4_8u16s_C1(const uint8_t* pSrcCur, int32_t srcCurStep, const uint8_t* pSrcRef,
                               int32_t srcRefStep, int16_t* pDstDiff, int32_t dstDiffStep) noexcept
{
    return subtract<4, 4>({pSrcCur, srcCurStep}, {pSrcRef, srcRefStep}, {pDstDiff, dstDiffStep});
}

Status keliSub8x8_8u16s_C1R(const uint8_t* pSrc1, int32_t src1Step, const uint8_t* pSrc2, int32_t src2Step,
                            int16_t* pDst, int32_t dstStep) noexcept
{
    return subtract<8, 8>({pSrc1, src1Step}, {pSrc2, src2Step}, {pDst, dstStep});
}

Status keliSub16x16_8u16s_C1R(const uint8_t* pSrc1, int32_t src1Step, const uint8_t* pSrc2, int32_t src2Step,
                              int16_t* pDst, int32_t dstStep) noexcept
{
    return subtract<16, 16>({pSrc1, src1Step}, {pSrc2, src2Step}, {pDst, dstStep});
}

Status keliSubSAD8x8_8u16s_C1R(const uint8_t* pSrc1, int32_t src1Step, const uint8_t* pSrc2, int32_t src2Step,
                               int16_t* pDst, int32_t dstStep, int32_t* pSAD) noexcept
{
    if (anyNull(pSrc1, pSrc2, pDst, pSAD))
        return StatusNullPointer;
    constexpr int rows = stripRows<8>;
    AbsoluteDifferences sad;
    for (std::ptrdiff_t y = 0; y < 8; y += rows) {
        const U8x16 a = stripOf<8, rows>({pSrc1, src1Step}, y);
        const U8x16 b = stripOf<8, rows>({pSrc2, src2Step}, y);
        sad.add(a, b);
        store<8, rows>({pDst, dstStep}, y, difference(a, b));
    }
    *pSAD = sad.sum();
    return StatusOk;
}
