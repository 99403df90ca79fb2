// Reconstruction of macroblocks (ITU-T H.264 8.3, 8.5), for every depth of samples, rule of scaling and
// chroma format. Strides are in samples.
#pragma once

#include "h264/availability.h"
#include "h264/intra_predict.h"
#include "h264/residual.h"
#include "h264/scaling.h"
#include "tables/h264_tables.h"

#include <kelvcpx/types.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace kelvcpx::h264 {

constexpr int32_t largestQp = 51; // of 8-bit samples
constexpr int32_t largestChromaQp = 39;

// The packed coefficients of the caller.
template <class Coefficient>
class CoefficientStream
{
public:
    explicit CoefficientStream(Coefficient** ppSrcCoeff) : ppSrcCoeff_(ppSrcCoeff), next_(*ppSrcCoeff) {}

    // The next n coefficients.
    const Coefficient* take(std::ptrdiff_t n)
    {
        next_ += n;
        return next_ - n;
    }

    // Moves the pointer of the caller behind what was taken.
    void store() const { *ppSrcCoeff_ = next_; }

private:
    Coefficient** ppSrcCoeff_;
    Coefficient* next_;
};

// A place in a picture.
template <class Depth>
struct Samples {
    typename Depth::Sample* data;
    std::ptrdiff_t stride;

    typename Depth::Sample* at(int x, int y) const { return data + y * stride + x; }
};

// What sets 4x4 and 8x8 blocks of luma apart, but for the transform.
template <int n, class Depth>
struct LumaBlocks;

template <class Depth>
struct LumaBlocks<4, Depth> {
    static constexpr auto& availability = availability4x4;
    static constexpr auto& predictions = predictions4x4<Depth>;
    static constexpr auto& displacements = xyoff;
    static constexpr bool warns = true; // of neighbours that were replaced
    static constexpr int x(int i) { return 4 * (block_subblock_mapping[static_cast<std::size_t>(i)] % 4); }
    static constexpr int y(int i) { return 4 * (block_subblock_mapping[static_cast<std::size_t>(i)] / 4); }
};

template <class Depth>
struct LumaBlocks<8, Depth> {
    static constexpr auto& availability = availability8x8;
    static constexpr auto& predictions = predictions8x8<Depth>;
    static constexpr auto& displacements = xyoff8;
    static constexpr bool warns = false;
    static constexpr int x(int i) { return 8 * (i % 2); }
    static constexpr int y(int i) { return 8 * (i / 2); }
};

// Intra_4x4 and Intra_8x8 (8.3.1, 8.3.2): the first `count` blocks of n x n samples, each predicted from what
// the ones before it became. Bit i of `coded` belongs to block i.
template <int n, class Depth, class Coefficient = typename Depth::Coefficient>
Status reconstructIntraBlocks(Coefficient** ppSrcCoeff, Samples<Depth> dst, const uint32_t* intraModes,
                              uint32_t coded, uint32_t edgeFlags, std::size_t count,
                              const Dequantiser<n * n, Coefficient>& dequantiser, const Depth& depth)
{
    using Blocks = LumaBlocks<n, Depth>;
    CoefficientStream<Coefficient> coefficients(ppSrcCoeff);
    const auto& availability = Blocks::availability[edgeFlags & edgeFlagsMask];
    bool replaced = false;
    for (std::size_t i = 0; i < count; i++) {
        const uint32_t mode = intraModes[i];
        if (mode >= modes)
            return StatusOutOfRange;
        Blocks::predictions[mode](dst.data, dst.stride, availability[i], depth);
        replaced |= isMissing(neededNeighbours[mode], availability[i]);
        if ((coded >> i & 1) != 0)
            addBlock<n>(dst.data, dst.stride, coefficients.take(n * n), dequantiser, depth);
        dst.data = dst.at(Blocks::displacements[i].x, Blocks::displacements[i].y);
    }
    coefficients.store();
    return Blocks::warns && replaced ? StatusWarnNoNeighbour : StatusOk;
}

// The coded blocks of n x n samples on top of a prediction. Bit i of `coded` belongs to block i.
template <int n, class Depth, class Coefficient = typename Depth::Coefficient>
void reconstructInterBlocks(Coefficient** ppSrcCoeff, Samples<Depth> dst, uint32_t coded,
                            const Dequantiser<n * n, Coefficient>& dequantiser, const Depth& depth)
{
    using Blocks = LumaBlocks<n, Depth>;
    CoefficientStream<Coefficient> coefficients(ppSrcCoeff);
    for (uint32_t left = coded; left != 0; left &= left - 1) {
        const int i = std::countr_zero(left);
        addBlock<n>(dst.at(Blocks::x(i), Blocks::y(i)), dst.stride, coefficients.take(n * n), dequantiser,
                    depth);
    }
    coefficients.store();
}

// The DC coefficients of the blocks of an Intra_16x16 macroblock in raster order (8.5.10).
template <class Coefficient>
std::array<Coefficient, 16> transformLumaDc(const Coefficient* coefficients, const DcScaling& scaling)
{
    Table<int32_t, 4, 4> rows;
    for (std::size_t y = 0; y < 4; y++)
        rows[y] = hadamard4<int32_t>(
            {coefficients[4 * y], coefficients[4 * y + 1], coefficients[4 * y + 2], coefficients[4 * y + 3]});
    std::array<Coefficient, 16> dc;
    for (std::size_t x = 0; x < 4; x++) {
        const auto column = hadamard4<int32_t>({rows[0][x], rows[1][x], rows[2][x], rows[3][x]});
        for (std::size_t y = 0; y < 4; y++)
            dc[4 * y + x] = static_cast<Coefficient>(scaling(column[y]));
    }
    return dc;
}

// Intra_16x16 (8.3.3): bit 0 of `coded` belongs to the DC coefficients, bit i + 1 to the AC of block i.
template <class Depth, class Rule>
Status reconstructIntra16x16(typename Depth::Coefficient** ppSrcCoeff, Samples<Depth> dst, uint32_t mode,
                             uint32_t coded, uint32_t edgeFlags, const Rule& rule, const Depth& depth)
{
    using Coefficient = typename Depth::Coefficient;
    if (mode > static_cast<uint32_t>(Mode16x16::plane))
        return StatusOutOfRange;
    if (!predict16x16(dst.data, dst.stride, static_cast<Mode16x16>(mode), macroblockAvailability(edgeFlags),
                      depth))
        return StatusBadIntraMode;
    if ((coded & 0x1FFFF) == 0)
        return StatusOk;

    const auto dequantiser = rule.template blocks4x4<Coefficient>();
    CoefficientStream<Coefficient> coefficients(ppSrcCoeff);
    std::array<Coefficient, 16> dcs{};
    if ((coded & 1) != 0) {
        const Coefficient* const c = coefficients.take(16);
        if (dequantiser.lossless)
            std::copy_n(c, 16, dcs.begin());
        else
            dcs = transformLumaDc(c, rule.lumaDc());
    }
    for (std::size_t i = 0; i < 16; i++) {
        const Coefficient dc = dcs[block_subblock_mapping[i]];
        if ((coded >> (i + 1) & 1) != 0)
            addBlock(dst.data, dst.stride, coefficients.take(16), dc, dequantiser, depth);
        else if (dc != 0)
            addDc(dst.data, dst.stride, dc, dequantiser, depth);
        dst.data = dst.at(xyoff[i].x, xyoff[i].y);
    }
    coefficients.store();
    return StatusOk;
}

// Chroma of 4:2:0: blocks of 8x8 samples with one DC coefficient for each of the four 4x4 blocks.
struct Chroma420 {
    static constexpr int height = 8;
    static constexpr std::size_t blocks = 4;

    // 8.5.11.1. The results have as many bits as the coefficients.
    template <class Coefficient>
    static std::array<Coefficient, blocks> transformDc(const Coefficient* c)
    {
        const int32_t a = wrapAdd(c[0], c[1]);
        const int32_t b = wrapSub(c[0], c[1]);
        const int32_t d = wrapAdd(c[2], c[3]);
        const int32_t e = wrapSub(c[2], c[3]);
        return {static_cast<Coefficient>(wrapAdd(a, d)), static_cast<Coefficient>(wrapAdd(b, e)),
                static_cast<Coefficient>(wrapSub(a, d)), static_cast<Coefficient>(wrapSub(b, e))};
    }
};

// One of the two chroma components of a macroblock.
template <class Format, class Depth>
class ChromaComponent
{
public:
    using Coefficient = typename Depth::Coefficient;
    using Dcs = std::array<Coefficient, Format::blocks>; // of the blocks, in raster order

    template <class Rule>
    ChromaComponent(typename Depth::Sample* data, std::ptrdiff_t stride, const Rule& rule)
        : samples_{data, stride}, dequantiser_(rule.template blocks4x4<Coefficient>()),
          dcScaling_(rule.chromaDc())
    {}

    // The DC coefficients of the stream, transformed and scaled.
    Dcs takeDcs(CoefficientStream<Coefficient>& coefficients) const
    {
        const Coefficient* const c = coefficients.take(Format::blocks);
        Dcs dcs;
        if (dequantiser_.lossless) {
            std::copy_n(c, Format::blocks, dcs.begin());
        } else {
            dcs = Format::transformDc(c);
            for (Coefficient& dc : dcs)
                dc = static_cast<Coefficient>(dcScaling_(dc));
        }
        return dcs;
    }

    // The blocks; bit i of `coded` belongs to block i.
    void addBlocks(CoefficientStream<Coefficient>& coefficients, const Dcs& dcs, uint32_t coded,
                   const Depth& depth) const
    {
        for (std::size_t i = 0; i < Format::blocks; i++) {
            auto* const dst = samples_.at(4 * static_cast<int>(i % 2), 4 * static_cast<int>(i / 2));
            if ((coded >> i & 1) != 0)
                addBlock(dst, samples_.stride, coefficients.take(16), dcs[i], dequantiser_, depth);
            else if (dcs[i] != 0)
                addDc(dst, samples_.stride, dcs[i], dequantiser_, depth);
        }
    }

private:
    Samples<Depth> samples_;
    Dequantiser4x4<Coefficient> dequantiser_;
    DcScaling dcScaling_;
};

// Bits of coded blocks: the DC of Cb and Cr, the blocks of Cb, the blocks of Cr.
constexpr int chromaDcBit = 17;
constexpr int chromaBlocksBit = 19;

template <class Format>
constexpr bool hasChroma(uint64_t coded)
{
    constexpr auto bits = 2 + 2 * Format::blocks;
    return (coded >> chromaDcBit & ((uint64_t{1} << bits) - 1)) != 0;
}

// The residual of both components on top of a prediction (8.5.4).
template <class Format, class Depth>
void reconstructChroma(typename Depth::Coefficient** ppSrcCoeff, const ChromaComponent<Format, Depth>& cb,
                       const ChromaComponent<Format, Depth>& cr, uint64_t coded, const Depth& depth)
{
    CoefficientStream<typename Depth::Coefficient> coefficients(ppSrcCoeff);
    typename ChromaComponent<Format, Depth>::Dcs dcsCb{};
    typename ChromaComponent<Format, Depth>::Dcs dcsCr{};
    if ((coded >> chromaDcBit & 1) != 0)
        dcsCb = cb.takeDcs(coefficients);
    if ((coded >> (chromaDcBit + 1) & 1) != 0)
        dcsCr = cr.takeDcs(coefficients);
    cb.addBlocks(coefficients, dcsCb, static_cast<uint32_t>(coded >> chromaBlocksBit), depth);
    cr.addBlocks(coefficients, dcsCr, static_cast<uint32_t>(coded >> (chromaBlocksBit + Format::blocks)),
                 depth);
    coefficients.store();
}

// The status of a chroma mode and, if it is StatusOk, the prediction of both components.
template <class Format, class Depth>
Status predictChromaComponents(Samples<Depth> cb, Samples<Depth> cr, uint32_t mode, uint32_t edgeFlags,
                               const Depth& depth)
{
    if (mode > static_cast<uint32_t>(ChromaMode::plane))
        return StatusOutOfRange;
    const int32_t availability = macroblockAvailability(edgeFlags);
    if (isMissing(neededChromaNeighbours[mode], availability))
        return StatusBadIntraMode;
    for (const Samples<Depth>& c : {cb, cr})
        predictChroma<Format::height>(c.data, c.stride, static_cast<ChromaMode>(mode), availability, depth);
    return StatusOk;
}

// DC prediction where the upper and the lower half have different neighbours at the left.
template <class Format, class Depth>
void predictChromaHalves(Samples<Depth> dst, uint32_t edgeFlagsUpper, uint32_t edgeFlagsLower,
                         const Depth& depth)
{
    const uint32_t lower = (edgeFlagsUpper & ~leftMissing) | (edgeFlagsLower & leftMissing);
    constexpr int half = Format::height / 2;
    predictChromaDc(dst.data, dst.stride, 0, half, macroblockAvailability(edgeFlagsUpper), depth);
    predictChromaDc(dst.data, dst.stride, half, 2 * half, macroblockAvailability(lower), depth);
}

} // namespace kelvcpx::h264
