// Quarter-sample prediction (ISO/IEC 14496-2 7.6.2.2). Half samples come from an 8-tap filter, which sees the
// block's own reference samples only: one more column and row than the block has, mirrored at their borders.
// Quarter samples are averages of a half sample and a full one. The filter goes along the rows first.

#include "mpeg4/quarter_sample.h"

#include "block/strip.h"
#include "core/arguments.h"

#include <kelvcpx/mpeg4_motion.h>

#include <array>
#include <cstddef>

namespace kelvcpx::mpeg4 {
namespace {

constexpr int maxSize = 16;
constexpr int mirrored = 3; // samples that the filter needs beyond each border

template <int Width>
void copyRows(const uint8_t* src, std::ptrdiff_t srcStep, uint8_t* dst, std::ptrdiff_t dstStep,
              std::ptrdiff_t rows)
{
    for (std::ptrdiff_t y = 0; y < rows; y++)
        scatterRows<Width, 1>(dst + y * dstStep, dstStep, gatherRows<Width, 1>(src + y * srcStep, srcStep));
}

// Rows of full or half samples, with room for what is mirrored above and below them.
class MirroredRows
{
public:
    static constexpr std::ptrdiff_t step = maxSize;

    uint8_t* row(std::ptrdiff_t y) { return samples_.data() + (mirrored + y) * step; }

    // Mirrors the rows 0..last (ownvc_Qpel_PadV).
    template <int Width>
    void mirror(std::ptrdiff_t last)
    {
        copyRows<Width>(row(0), step, row(-1), -step, mirrored);
        copyRows<Width>(row(last), -step, row(last + 1), step, mirrored);
    }

private:
    alignas(16) std::array<uint8_t, (mirrored + maxSize + 1 + mirrored) * step> samples_;
};

// Rows of full samples, with room for what is mirrored to their left and right, rounded up to whole words.
class MirroredColumns
{
public:
    static constexpr std::ptrdiff_t step = 32;

    const uint8_t* row(std::ptrdiff_t y) const { return samples_.data() + margin + y * step; }

    // Copies the samples 0..Width of each row and mirrors them (ownvc_Qpel_PadH).
    template <int Width>
    void fill(const uint8_t* src, std::ptrdiff_t srcStep, std::ptrdiff_t rows)
    {
        for (std::ptrdiff_t y = 0; y < rows; y++) {
            const uint8_t* const from = src + y * srcStep;
            uint8_t* const to = samples_.data() + margin + y * step;
            storeUnaligned(to - margin, __builtin_bswap32(loadUnaligned<uint32_t>(from)));
            scatterRows<Width, 1>(to, step, gatherRows<Width, 1>(from, srcStep));
            to[Width] = from[Width];
            storeUnaligned(to + Width + 1, __builtin_bswap32(loadUnaligned<uint32_t>(from + Width - 3)));
        }
    }

private:
    static constexpr std::ptrdiff_t margin = sizeof(uint32_t);

    alignas(16) std::array<uint8_t, (maxSize + 1) * step> samples_;
};

// The eight samples round a half position.
using Taps = std::array<U8x16, 8>;

// ownvc_Qpel_CalcH, ownvc_Qpel_CalcV
[[gnu::always_inline]] inline U8x16 halfSamples(const Taps& t, S16x8 round)
{
    // An eighth of the standard's factors: the result is the same, and the sums are within 16 bits.
    const auto filter = [&](auto widen) {
        const S16x8 sum = (widen(t[3]) + widen(t[4])) * 20 - (widen(t[2]) + widen(t[5])) * 6 +
                          (widen(t[1]) + widen(t[6])) * 3 - (widen(t[0]) + widen(t[7]));
        return saturate8u((sum + round) >> 5);
    };
    return narrow(filter([](U8x16 v) { return widenLow(v); }), filter([](U8x16 v) { return widenHigh(v); }));
}

// Interpolates at `fraction` quarters, 1 to 3, between samples.
template <int Width>
class Interpolation
{
public:
    Interpolation(int32_t fraction, int32_t rounding)
        : fraction_(fraction), round_(splat16(static_cast<int16_t>(16 - rounding))),
          roundDown_(splat8(static_cast<uint8_t>(rounding)))
    {}

    void alongRows(const uint8_t* src, std::ptrdiff_t srcStep, uint8_t* dst, std::ptrdiff_t dstStep,
                   std::ptrdiff_t rows) const
    {
        const auto stripAt = [&](std::ptrdiff_t y) {
            Taps taps;
            for (std::size_t k = 0; k < taps.size(); k++)
                taps[k] = load(src + y * srcStep + static_cast<std::ptrdiff_t>(k) - 3, srcStep);
            scatterRows<Width, strip>(dst + y * dstStep, dstStep, interpolate(taps));
        };
        for (std::ptrdiff_t y = 0; y < rows - strip; y += strip)
            stripAt(y);
        stripAt(rows - strip); // may overlap the one before it
    }

    // The rows are those of whole strips, which have most of their taps in common with the next one.
    void downColumns(const uint8_t* src, std::ptrdiff_t srcStep, uint8_t* dst, std::ptrdiff_t dstStep,
                     std::ptrdiff_t rows) const
    {
        constexpr std::size_t kept = 8 - strip;
        const auto tap = [&](std::ptrdiff_t y, std::size_t k) {
            return load(src + (y + static_cast<std::ptrdiff_t>(k) - 3) * srcStep, srcStep);
        };
        Taps taps;
        for (std::size_t k = 0; k < kept; k++)
            taps[k + strip] = tap(0, k);
        for (std::ptrdiff_t y = 0; y < rows; y += strip) {
            for (std::size_t k = 0; k < kept; k++)
                taps[k] = taps[k + strip];
            for (std::size_t k = kept; k < taps.size(); k++)
                taps[k] = tap(y, k);
            scatterRows<Width, strip>(dst + y * dstStep, dstStep, interpolate(taps));
        }
    }

private:
    static constexpr int strip = stripRows<Width>;

    static U8x16 load(const uint8_t* p, std::ptrdiff_t step) { return gatherRows<Width, strip>(p, step); }

    [[gnu::always_inline]] U8x16 interpolate(const Taps& taps) const
    {
        const U8x16 half = halfSamples(taps, round_);
        if (fraction_ == 2)
            return half;
        // ownvc_Qpel_Inter2
        const U8x16 full = fraction_ == 1 ? taps[3] : taps[4];
        return average(half, full) - ((half ^ full) & roundDown_);
    }

    int32_t fraction_;
    S16x8 round_;
    U8x16 roundDown_;
};

template <int Width>
void predict(const uint8_t* src, std::ptrdiff_t srcStep, uint8_t* dst, std::ptrdiff_t dstStep, int32_t height,
             int32_t acc, int32_t rounding)
{
    const int32_t right = acc & 3;
    const int32_t down = acc >> 2 & 3;
    const Interpolation<Width> horizontal(right, rounding);
    const Interpolation<Width> vertical(down, rounding);
    MirroredColumns columns;
    if (down == 0) {
        if (right == 0)
            return copyRows<Width>(src, srcStep, dst, dstStep, height);
        columns.fill<Width>(src, srcStep, height);
        return horizontal.alongRows(columns.row(0), columns.step, dst, dstStep, height);
    }
    MirroredRows rows;
    if (right == 0) {
        copyRows<Width>(src, srcStep, rows.row(0), rows.step, height + 1);
    } else {
        columns.fill<Width>(src, srcStep, height + 1);
        horizontal.alongRows(columns.row(0), columns.step, rows.row(0), rows.step, height + 1);
    }
    rows.mirror<Width>(height);
    vertical.downColumns(rows.row(0), rows.step, dst, dstStep, height);
}

} // namespace

void ownvc_CopyQP_8u_C1R(const uint8_t* src, std::ptrdiff_t srcStep, uint8_t* dst, std::ptrdiff_t dstStep,
                         RoiSize size, int32_t acc, int32_t rounding)
{
    const auto kernel = size.width == 4 ? predict<4> : size.width == 8 ? predict<8> : predict<16>;
    kernel(src, srcStep, dst, dstStep, size.height, acc, rounding & 1);
}

namespace {

Status copyQuarterSample(const uint8_t* src, int32_t srcStep, uint8_t* dst, int32_t dstStep, RoiSize size,
                         int32_t acc, int32_t rounding)
{
    if (anyNull(src, dst))
        return StatusNullPointer;
    ownvc_CopyQP_8u_C1R(src, srcStep, dst, dstStep, size, acc, rounding);
    return StatusOk;
}

} // namespace
} // namespace kelvcpx::mpeg4

using namespace kelvcpx::mpeg4;

Status keliCopy8x8QP_MPEG4_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                                  int32_t acc, int32_t rounding) noexcept
{
    return copyQuarterSample(pSrc, srcStep, pDst, dstStep, {8, 8}, acc, rounding);
}

Status keliCopy16x8QP_MPEG4_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                                   int32_t acc, int32_t rounding) noexcept
{
    return copyQuarterSample(pSrc, srcStep, pDst, dstStep, {16, 8}, acc, rounding);
}

Status keliCopy16x16QP_MPEG4_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                                    int32_t acc, int32_t rounding) noexcept
{
    return copyQuarterSample(pSrc, srcStep, pDst, dstStep, {16, 16}, acc, rounding);
}
