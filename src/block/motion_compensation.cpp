#include "block/half_sample.h"
#include "block/operands.h"
#include "core/arguments.h"

#include <kelvcpx/block.h>

#include <array>
#include <cstddef>
#include <utility>

namespace kelvcpx {
namespace {

using Residual = Block<const int16_t>;
using Destination = Block<uint8_t>;

// The kernels of the large blocks serve every height; those of the small blocks have theirs built in. The
// operands of a kernel with one reference fit the registers that pass arguments on most machines.
using LargeKernel = void (*)(SampleBlock, Residual, Destination, int32_t rounding, int32_t height);
using SmallKernel = void (*)(SampleBlock, Residual, Destination, int32_t rounding);
using LargeKernelB = void (*)(const SampleBlock&, const SampleBlock&, const Residual&, const Destination&,
                              int32_t rounding, int32_t height);
using SmallKernelB = void (*)(const SampleBlock&, const SampleBlock&, const Residual&, const Destination&,
                              int32_t rounding);

// Adds the residual (ISO/IEC 13818-2 7.6.8) to the strips that `nextPrediction` returns.
template <int Width, int Rows, class NextPrediction>
void addToStrips(Residual residual, Destination dst, int32_t height, NextPrediction nextPrediction)
{
    const auto* residualBytes = reinterpret_cast<const uint8_t*>(residual.data);
    for (std::ptrdiff_t y = 0; y < height; y += Rows) {
        const auto r = gatherResidual<Width, Rows>(residualBytes + y * residual.step, residual.step);
        scatterRows<Width, Rows>(dst.data + y * dst.step, dst.step, addResidual(nextPrediction(), r));
    }
}

template <int Width, int Rows, int Distance, Position position>
void reconstruct(SampleBlock ref, Residual residual, Destination dst, int32_t rounding, int32_t height)
{
    HalfSampleStrips<position, Width, Rows, Distance> prediction(ref.data, ref.step, rounding);
    addToStrips<Width, Rows>(residual, dst, height, [&] { return prediction.next(); });
}

// The average of the two predictions rounds up whatever the rounding control is (ISO/IEC 13818-2 7.6.7).
template <int Width, int Rows, int Distance, Position positionF, Position positionB>
void reconstructB(const SampleBlock& refF, const SampleBlock& refB, const Residual& residual,
                  const Destination& dst, int32_t rounding, int32_t height)
{
    HalfSampleStrips<positionF, Width, Rows, Distance> forward(refF.data, refF.step, rounding);
    HalfSampleStrips<positionB, Width, Rows, Distance> backward(refB.data, refB.step, rounding);
    addToStrips<Width, Rows>(residual, dst, height, [&] { return average(forward.next(), backward.next()); });
}

template <int Width, int Height, Position position>
void reconstructSmall(SampleBlock ref, Residual residual, Destination dst, int32_t rounding)
{
    reconstruct<Width, stripRows<Width, Height>, 1, position>(ref, residual, dst, rounding, Height);
}

template <int Width, int Height, Position positionF, Position positionB>
void reconstructSmallB(const SampleBlock& refF, const SampleBlock& refB, const Residual& residual,
                       const Destination& dst, int32_t rounding)
{
    reconstructB<Width, stripRows<Width, Height>, 1, positionF, positionB>(refF, refB, residual, dst,
                                                                           rounding, Height);
}

// Indexed by mcType and rounding. The kernels apply the rounding control themselves, so each stands twice.
template <int Width, int Distance = 1>
constexpr auto largeTable = []<std::size_t... i>(std::index_sequence<i...>)
{
    return std::array<LargeKernel, 8>{reconstruct<Width, stripRows<Width>, Distance, positionOf(i * 2)>...};
}
(std::make_index_sequence<8>());

template <int Width, int Distance = 1>
constexpr auto largeTableB = []<std::size_t... i>(std::index_sequence<i...>)
{
    return std::array<LargeKernelB, 32>{
        reconstructB<Width, stripRows<Width>, Distance, positionOf(i * 2), positionOf(i / 2)>...};
}
(std::make_index_sequence<32>());

template <int Width, int Height>
constexpr auto smallTable = []<std::size_t... i>(std::index_sequence<i...>)
{
    return std::array<SmallKernel, 16>{reconstructSmall<Width, Height, positionOf(i)>...};
}
(std::make_index_sequence<16>());

template <int Width, int Height>
constexpr auto smallTableB = []<std::size_t... i>(std::index_sequence<i...>)
{
    return std::array<SmallKernelB, 16>{
        reconstructSmallB<Width, Height, positionOf(i * 4), positionOf(i)>...};
}
(std::make_index_sequence<16>());

constexpr auto MC16xHFunctionTable = largeTable<16>;
constexpr auto MC8xHFunctionTable = largeTable<8>;
constexpr auto MC16xHUVFunctionTable = largeTable<16, 2>;
constexpr auto MC16xHBFunctionTable = largeTableB<16>;
constexpr auto MC8xHBFunctionTable = largeTableB<8>;
constexpr auto MC16xHUVBFunctionTable = largeTableB<16, 2>;

constexpr auto MC2x2FnTbl = smallTable<2, 2>;
constexpr auto MC2x4FnTbl = smallTable<2, 4>;
constexpr auto MC4x2FnTbl = smallTable<4, 2>;
constexpr auto MC4x4FnTbl = smallTable<4, 4>;
constexpr auto MC4x8FnTbl = smallTable<4, 8>;
constexpr auto MC2x2BFnTbl = smallTableB<2, 2>;
constexpr auto MC2x4BFnTbl = smallTableB<2, 4>;
constexpr auto MC4x2BFnTbl = smallTableB<4, 2>;
constexpr auto MC4x4BFnTbl = smallTableB<4, 4>;
constexpr auto MC4x8BFnTbl = smallTableB<4, 8>;

// What an operation does.
Status compensate(const std::array<LargeKernel, 8>& table, int32_t height, SampleBlock ref, Residual residual,
                  Destination dst, int32_t mcType, int32_t rounding)
{
    if (anyNull(ref.data, residual.data, dst.data))
        return StatusNullPointer;
    const int32_t r = rounding & 1;
    table[quarter(mcType) * 2 + static_cast<std::size_t>(r)](ref, residual, dst, r, height);
    return StatusOk;
}

Status compensate(const std::array<SmallKernel, 16>& table, SampleBlock ref, Residual residual,
                  Destination dst, int32_t mcType, int32_t rounding)
{
    if (anyNull(ref.data, residual.data, dst.data))
        return StatusNullPointer;
    table[quarter(mcType) * 4](ref, residual, dst, rounding & 1);
    return StatusOk;
}

Status compensate(const std::array<LargeKernelB, 32>& table, int32_t height, const ReferencePair& refs,
                  Residual residual, Destination dst, int32_t rounding)
{
    if (anyNull(refs.forward.data, refs.backward.data, residual.data, dst.data))
        return StatusNullPointer;
    const int32_t r = rounding & 1;
    table[refs.entry() * 2 + static_cast<std::size_t>(r)](refs.forward, refs.backward, residual, dst, r,
                                                          height);
    return StatusOk;
}

Status compensate(const std::array<SmallKernelB, 16>& table, const ReferencePair& refs, Residual residual,
                  Destination dst, int32_t rounding)
{
    if (anyNull(refs.forward.data, refs.backward.data, residual.data, dst.data))
        return StatusNullPointer;
    table[refs.entry()](refs.forward, refs.backward, residual, dst, rounding & 1);
    return StatusOk;
}

} // namespace
} // namespace kelvcpx

using namespace kelvcpx;

Status keliMC16x16_8u_C1(const uint8_t* pRef, int32_t refStep, const int16_t* pSrc, int32_t srcStep,
                         uint8_t* pDst, int32_t dstStep, int32_t mcType, int32_t rounding) noexcept
{
    return compensate(MC16xHFunctionTable, 16, {pRef, refStep}, {pSrc, srcStep}, {pDst, dstStep}, mcType,
                      rounding);
}

Status keliMC16x8_8u_C1(const uint8_t* pRef, int32_t refStep, const int16_t* pSrc, int32_t srcStep,
                        uint8_t* pDst, int32_t dstStep, int32_t mcType, int32_t rounding) noexcept
{
    return compensate(MC16xHFunctionTable, 8, {pRef, refStep}, {pSrc, srcStep}, {pDst, dstStep}, mcType,
                      rounding);
}

Status keliMC16x4_8u_C1(const uint8_t* pRef, int32_t refStep, const int16_t* pSrc, int32_t srcStep,
                        uint8_t* pDst, int32_t dstStep, int32_t mcType, int32_t rounding) noexcept
{
    return compensate(MC16xHFunctionTable, 4, {pRef, refStep}, {pSrc, srcStep}, {pDst, dstStep}, mcType,
                      rounding);
}

Status keliMC8x16_8u_C1(const uint8_t* pRef, int32_t refStep, const int16_t* pSrc, int32_t srcStep,
                        uint8_t* pDst, int32_t dstStep, int32_t mcType, int32_t rounding) noexcept
{
    return compensate(MC8xHFunctionTable, 16, {pRef, refStep}, {pSrc, srcStep}, {pDst, dstStep}, mcType,
                      rounding);
}

Status keliMC8x8_8u_C1(const uint8_t* pRef, int32_t refStep, const int16_t* pSrc, int32_t srcStep,
                       uint8_t* pDst, int32_t dstStep, int32_t mcType, int32_t rounding) noexcept
{
    return compensate(MC8xHFunctionTable, 8, {pRef, refStep}, {pSrc, srcStep}, {pDst, dstStep}, mcType,
                      rounding);
}

Status keliMC8x4_8u_C1(const uint8_t* pRef, int32_t refStep, const int16_t* pSrc, int32_t srcStep,
                       uint8_t* pDst, int32_t dstStep, int32_t mcType, int32_t rounding) noexcept
{
    return compensate(MC8xHFunctionTable, 4, {pRef, refStep}, {pSrc, srcStep}, {pDst, dstStep}, mcType,
                      rounding);
}

Status keliMC16x8UV_8u_C1(const uint8_t* pRef, int32_t refStep, const int16_t* pSrc, int32_t srcStep,
                          uint8_t* pDst, int32_t dstStep, int32_t mcType, int32_t rounding) noexcept
{
    return compensate(MC16xHUVFunctionTable, 8, {pRef, refStep}, {pSrc, srcStep}, {pDst, dstStep}, mcType,
                      rounding);
}

Status keliMC4x8_8u_C1(const uint8_t* pRef, int32_t refStep, const int16_t* pSrc, int32_t srcStep,
                       uint8_t* pDst, int32_t dstStep, int32_t mcType, int32_t rounding) noexcept
{
    return compensate(MC4x8FnTbl, {pRef, refStep}, {pSrc, srcStep}, {pDst, dstStep}, mcType, rounding);
}

Status keliMC4x4_8u_C1(const uint8_t* pRef, int32_t refStep, const int16_t* pSrc, int32_t srcStep,
                       uint8_t* pDst, int32_t dstStep, int32_t mcType, int32_t rounding) noexcept
{
    return compensate(MC4x4FnTbl, {pRef, refStep}, {pSrc, srcStep}, {pDst, dstStep}, mcType, rounding);
}

Status keliMC4x2_8u_C1(const uint8_t* pRef, int32_t refStep, const int16_t* pSrc, int32_t srcStep,
                       uint8_t* pDst, int32_t dstStep, int32_t mcType, int32_t rounding) noexcept
{
    return compensate(MC4x2FnTbl, {pRef, refStep}, {pSrc, srcStep}, {pDst, dstStep}, mcType, rounding);
}

Status keliMC2x4_8u_C1(const uint8_t* pRef, int32_t refStep, const int16_t* pSrc, int32_t srcStep,
                       uint8_t* pDst, int32_t dstStep, int32_t mcType, int32_t rounding) noexcept
{
    return compensate(MC2x4FnTbl, {pRef, refStep}, {pSrc, srcStep}, {pDst, dstStep}, mcType, rounding);
}

Status keliMC2x2_8u_C1(const uint8_t* pRef, int32_t refStep, const int16_t* pSrc, int32_t srcStep,
                       uint8_t* pDst, int32_t dstStep, int32_t mcType, int32_t rounding) noexcept
{
    return compensate(MC2x2FnTbl, {pRef, refStep}, {pSrc, srcStep}, {pDst, dstStep}, mcType, rounding);
}

Status keliMC16x16B_8u_C1(const uint8_t* pRefF, int32_t refStepF, int32_t mcTypeF, const uint8_t* pRefB,
                          int32_t refStepB, int32_t mcTypeB, const int16_t* pSrc, int32_t srcStep,
                          uint8_t* pDst, int32_t dstStep, int32_t rounding) noexcept
{
    return compensate(MC16xHBFunctionTable, 16, {{pRefF, refStepF}, mcTypeF, {pRefB, refStepB}, mcTypeB},
                      {pSrc, srcStep}, {pDst, dstStep}, rounding);
}

Status keliMC16x8B_8u_C1(const uint8_t* pRefF, int32_t refStepF, int32_t mcTypeF, const uint8_t* pRefB,
                         int32_t refStepB, int32_t mcTypeB, const int16_t* pSrc, int32_t srcStep,
                         uint8_t* pDst, int32_t dstStep, int32_t rounding) noexcept
{
    return compensate(MC16xHBFunctionTable, 8, {{pRefF, refStepF}, mcTypeF, {pRefB, refStepB}, mcTypeB},
                      {pSrc, srcStep}, {pDst, dstStep}, rounding);
}

Status keliMC16x4B_8u_C1(const uint8_t* pRefF, int32_t refStepF, int32_t mcTypeF, const uint8_t* pRefB,
                         int32_t refStepB, int32_t mcTypeB, const int16_t* pSrc, int32_t srcStep,
                         uint8_t* pDst, int32_t dstStep, int32_t rounding) noexcept
{
    return compensate(MC16xHBFunctionTable, 4, {{pRefF, refStepF}, mcTypeF, {pRefB, refStepB}, mcTypeB},
                      {pSrc, srcStep}, {pDst, dstStep}, rounding);
}

Status keliMC8x16B_8u_C1(const uint8_t* pRefF, int32_t refStepF, int32_t mcTypeF, const uint8_t* pRefB,
                         int32_t refStepB, int32_t mcTypeB, const int16_t* pSrc, int32_t srcStep,
                         uint8_t* pDst, int32_t dstStep, int32_t rounding) noexcept
{
    return compensate(MC8xHBFunctionTable, 16, {{pRefF, refStepF}, mcTypeF, {pRefB, refStepB}, mcTypeB},
                      {pSrc, srcStep}, {pDst, dstStep}, rounding);
}

Status keliMC8x8B_8u_C1(const uint8_t* pRefF, int32_t refStepF, int32_t mcTypeF, const uint8_t* pRefB,
                        int32_t refStepB, int32_t mcTypeB, const int16_t* pSrc, int32_t srcStep,
                        uint8_t* pDst, int32_t dstStep, int32_t rounding) noexcept
{
    return compensate(MC8xHBFunctionTable, 8, {{pRefF, refStepF}, mcTypeF, {pRefB, refStepB}, mcTypeB},
                      {pSrc, srcStep}, {pDst, dstStep}, rounding);
}

Status keliMC8x4B_8u_C1(const uint8_t* pRefF, int32_t refStepF, int32_t mcTypeF, const uint8_t* pRefB,
                        int32_t refStepB, int32_t mcTypeB, const int16_t* pSrc, int32_t srcStep,
                        uint8_t* pDst, int32_t dstStep, int32_t rounding) noexcept
{
    return compensate(MC8xHBFunctionTable, 4, {{pRefF, refStepF}, mcTypeF, {pRefB, refStepB}, mcTypeB},
                      {pSrc, srcStep}, {pDst, dstStep}, rounding);
}

Status keliMC16x8BUV_8u_C1(const uint8_t* pRefF, int32_t refStepF, int32_t mcTypeF, const uint8_t* pRefB,
                           int32_t refStepB, int32_t mcTypeB, const int16_t* pSrc, int32_t srcStep,
                           uint8_t* pDst, int32_t dstStep, int32_t rounding) noexcept
{
    return compensate(MC16xHUVBFunctionTable, 8, {{pRefF, refStepF}, mcTypeF, {pRefB, refStepB}, mcTypeB},
                      {pSrc, srcStep}, {pDst, dstStep}, rounding);
}

Status keliMC4x8B_8u_C1(const uint8_t* pRefF, int32_t refStepF, int32_t mcTypeF, const uint8_t* pRefB,
                        int32_t refStepB, int32_t mcTypeB, const int16_t* pSrc, int32_t srcStep,
                        uint8_t* pDst, int32_t dstStep, int32_t rounding) noexcept
{
    return compensate(MC4x8BFnTbl, {{pRefF, refStepF}, mcTypeF, {pRefB, refStepB}, mcTypeB}, {pSrc, srcStep},
                      {pDst, dstStep}, rounding);
}

Status keliMC4x4B_8u_C1(const uint8_t* pRefF, int32_t refStepF, int32_t mcTypeF, const uint8_t* pRefB,
                        int32_t refStepB, int32_t mcTypeB, const int16_t* pSrc, int32_t srcStep,
                        uint8_t* pDst, int32_t dstStep, int32_t rounding) noexcept
{
    return compensate(MC4x4BFnTbl, {{pRefF, refStepF}, mcTypeF, {pRefB, refStepB}, mcTypeB}, {pSrc, srcStep},
                      {pDst, dstStep}, rounding);
}

Status keliMC4x2B_8u_C1(const uint8_t* pRefF, int32_t refStepF, int32_t mcTypeF, const uint8_t* pRefB,
                        int32_t refStepB, int32_t mcTypeB, const int16_t* pSrc, int32_t srcStep,
                        uint8_t* pDst, int32_t dstStep, int32_t rounding) noexcept
{
    return compensate(MC4x2BFnTbl, {{pRefF, refStepF}, mcTypeF, {pRefB, refStepB}, mcTypeB}, {pSrc, srcStep},
                      {pDst, dstStep}, rounding);
}

Status keliMC2x4B_8u_C1(const uint8_t* pRefF, int32_t refStepF, int32_t mcTypeF, const uint8_t* pRefB,
                        int32_t refStepB, int32_t mcTypeB, const int16_t* pSrc, int32_t srcStep,
                        uint8_t* pDst, int32_t dstStep, int32_t rounding) noexcept
{
    return compensate(MC2x4BFnTbl, {{pRefF, refStepF}, mcTypeF, {pRefB, refStepB}, mcTypeB}, {pSrc, srcStep},
                      {pDst, dstStep}, rounding);
}

Status keliMC2x2B_8u_C1(const uint8_t* pRefF, int32_t refStepF, int32_t mcTypeF, const uint8_t* pRefB,
                        int32_t refStepB, int32_t mcTypeB, const int16_t* pSrc, int32_t srcStep,
                        uint8_t* pDst, int32_t dstStep, int32_t rounding) noexcept
{
    return compensate(MC2x2BFnTbl, {{pRefF, refStepF}, mcTypeF, {pRefB, refStepB}, mcTypeB}, {pSrc, srcStep},
                      {pDst, dstStep}, rounding);
}
