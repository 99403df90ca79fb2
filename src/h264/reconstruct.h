// Reconstruction of macroblocks (ITU-T H.264 8.3, 8.5), for every depth of samples, rule of scaling and
// chroma format. Steps are in samples.
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

constexpr bool isQp(int32_t qp)
{
    return qp >= 0 && qp <= largestQp;
}

constexpr bool isChromaQp(int32_t qp)
{
    return qp >= 0 && qp <= largestChromaQp;
}

// The standard's QpBdOffset: how much larger quantisers become with the bit depth.
template <class Depth>
constexpr int32_t qpOffset(const Depth& depth)
{
    return 6 * (depth.bits - 8);
}

// Takes n coefficients off the packed ones.
template <class Coefficient>
const Coefficient* take(Coefficient*& next, std::ptrdiff_t n)
{
    next += n;
    return next - n;
}

// A place in a picture.
template <class Depth>
struct Samples {
    typename Depth::Sample* data;
    std::ptrdiff_t step;

    typename Depth::Sample* at(int x, int y) const { return data + y * step + x; }
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

// The bits of `cbp` in the order of the blocks of a macroblock.
constexpr uint32_t coded4x4(uint32_t cbp)
{
    return cbp >> 1 & 0xFFFF;
}

constexpr uint32_t coded8x8(uint32_t cbp)
{
    return cbp & 0xF;
}

// Intra_4x4 and Intra_8x8 (8.3.1, 8.3.2): the first `count` blocks of n x n samples, each predicted from what
// the ones before it became. Bit i of `coded` belongs to block i.
template <int n, class Depth, class Rule>
Status reconstructIntraBlocks(typename Depth::Coefficient** ppSrcCoeff, Samples<Depth> dst,
                              const uint32_t* intraModes, uint32_t coded, uint32_t edgeFlags,
                              std::size_t count, const Rule& rule, const Depth& depth)
{
    using Blocks = LumaBlocks<n, Depth>;
    const auto dequantiser = rule.template blocks<n, typename Depth::Coefficient>();
    auto* next = *ppSrcCoeff;
    const auto& availability = Blocks::availability[edgeFlags & edgeFlagsMask];
    bool replaced = false;
    for (std::size_t i = 0; i < count; i++) {
        const uint32_t mode = intraModes[i];
        if (mode >= modes)
            return StatusOutOfRange;
        Blocks::predictions[mode](dst.data, dst.step, availability[i], depth);
        replaced |= isMissing(neededNeighbours[mode], availability[i]);
        if ((coded >> i & 1) != 0)
            addBlock<n>(dst.data, dst.step, take(next, n * n), dequantiser, depth);
        dst.data = dst.at(Blocks::displacements[i].x, Blocks::displacements[i].y);
    }
    *ppSrcCoeff = next;
    return Blocks::warns && replaced ? StatusWarnNoNeighbour : StatusOk;
}

// The coded blocks of n x n samples on top of a prediction. Bit i of `coded` belongs to block i.
template <int n, class Depth, class Rule>
void reconstructInterBlocks(typename Depth::Coefficient** ppSrcCoeff, Samples<Depth> dst, uint32_t coded,
                            const Rule& rule, const Depth& depth)
{
    using Blocks = LumaBlocks<n, Depth>;
    if (coded == 0)
        return;
    const auto dequantiser = rule.template blocks<n, typename Depth::Coefficient>();
    auto* next = *ppSrcCoeff;
    for (uint32_t left = coded; left != 0; left &= left - 1) {
        const int i = std::countr_zero(left);
        addBlock<n>(dst.at(Blocks::x(i), Blocks::y(i)), dst.step, take(next, n * n), dequantiser, depth);
    }
    *ppSrcCoeff = next;
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
    if (!predict16x16(dst.data, dst.step, static_cast<Mode16x16>(mode), macroblockAvailability(edgeFlags),
                      depth))
        return StatusBadIntraMode;
    if ((coded & 0x1FFFF) == 0)
        return StatusOk;

    const auto dequantiser = rule.template blocks<4, Coefficient>();
    Coefficient* next = *ppSrcCoeff;
    std::array<Coefficient, 16> dcs{};
    if ((coded & 1) != 0) {
        const Coefficient* const c = take(next, 16);
        if (dequantiser.lossless)
            std::copy_n(c, 16, dcs.begin());
        else
            dcs = transformLumaDc(c, rule.lumaDc());
    }
    for (std::size_t i = 0; i < 16; i++) {
        const Coefficient dc = dcs[block_subblock_mapping[i]];
        if ((coded >> (i + 1) & 1) != 0)
            addBlock(dst.data, dst.step, take(next, 16), dc, dequantiser, depth);
        else if (dc != 0)
            addDc(dst.data, dst.step, dc, dequantiser, depth);
        dst.data = dst.at(xyoff[i].x, xyoff[i].y);
    }
    *ppSrcCoeff = next;
    return StatusOk;
}

// Chroma of 4:2:0: blocks of 8x8 samples with one DC coefficient for each of the four 4x4 blocks.
struct Chroma420 {
    static constexpr int height = 8;
    static constexpr std::size_t blocks = 4;

    // The results have as many bits as the coefficients.
    template <class Coefficient>
    static std::array<Coefficient, blocks> transformDc(const Coefficient* c)
    {
        std::array<Coefficient, blocks> f;
        std::ranges::transform(hadamard2x2<int32_t>({c[0], c[1], c[2], c[3]}), f.begin(),
                               [](int32_t v) { return static_cast<Coefficient>(v); });
        return f;
    }
};

// Chroma of 4:2:2: blocks 8 samples wide and 16 high.
struct Chroma422 {
    static constexpr int height = 16;
    static constexpr std::size_t blocks = 8;

    // 8.5.11.1 for an array of two columns.
    template <class Coefficient>
    static std::array<int32_t, blocks> transformDc(const Coefficient* c)
    {
        const auto left = hadamard4<int32_t>({c[0], c[2], c[4], c[6]});
        const auto right = hadamard4<int32_t>({c[1], c[3], c[5], c[7]});
        std::array<int32_t, blocks> f;
        for (std::size_t y = 0; y < 4; y++) {
            f[2 * y] = wrapAdd(left[y], right[y]);
            f[2 * y + 1] = wrapSub(left[y], right[y]);
        }
        return f;
    }
};

// One of the two chroma components of a macroblock.
template <class Depth, class Rule>
struct ChromaComponent {
    typename Depth::Coefficient** ppSrcCoeff; // perhaps that of the other component too
    Samples<Depth> samples;
    uint32_t coded; // bit 0 belongs to the DC coefficients, bit i + 1 to block i
    Rule rule;
};

// The coded blocks of a component, 0 or 1, in a set of both: the DC of each, the blocks of the first, the
// blocks of the second.
template <class Format>
constexpr uint32_t codedOf(int component, uint64_t cbp)
{
    constexpr int blocks = Format::blocks;
    const auto dc = static_cast<uint32_t>(cbp >> (17 + component) & 1);
    const auto ac = static_cast<uint32_t>(cbp >> (19 + component * blocks) & ((1 << blocks) - 1));
    return ac << 1 | dc;
}

// The DC coefficients of the blocks in raster order.
template <class Format, class Depth, class Rule>
std::array<typename Depth::Coefficient, Format::blocks>
takeChromaDc(const ChromaComponent<Depth, Rule>& component, bool lossless)
{
    using Coefficient = typename Depth::Coefficient;
    std::array<Coefficient, Format::blocks> dcs{};
    if ((component.coded & 1) == 0)
        return dcs;
    const Coefficient* const c = take(*component.ppSrcCoeff, Format::blocks);
    if (lossless) {
        std::copy_n(c, Format::blocks, dcs.begin());
    } else {
        const DcScaling scaling = component.rule.chromaDc();
        std::ranges::transform(Format::transformDc(c), dcs.begin(),
                               [&](int32_t f) { return static_cast<Coefficient>(scaling(f)); });
    }
    return dcs;
}

template <class Format, class Depth, class Rule>
void addChromaBlocks(const ChromaComponent<Depth, Rule>& component,
                     const std::array<typename Depth::Coefficient, Format::blocks>& dcs,
                     const Dequantiser<4, typename Depth::Coefficient>& dequantiser, const Depth& depth)
{
    const auto [ppSrcCoeff, samples, coded, rule] = component;
    for (std::size_t i = 0; i < Format::blocks; i++) {
        auto* const dst = samples.at(4 * static_cast<int>(i % 2), 4 * static_cast<int>(i / 2));
        if ((coded >> (i + 1) & 1) != 0)
            addBlock(dst, samples.step, take(*ppSrcCoeff, 16), dcs[i], dequantiser, depth);
        else if (dcs[i] != 0)
            addDc(dst, samples.step, dcs[i], dequantiser, depth);
    }
}

// The residual of both components on top of a prediction (8.5.4).
template <class Format, class Depth, class Rule>
void reconstructChroma(const ChromaComponent<Depth, Rule>& cb, const ChromaComponent<Depth, Rule>& cr,
                       const Depth& depth)
{
    using Coefficient = typename Depth::Coefficient;
    constexpr uint32_t all = (2 << Format::blocks) - 1;
    if (((cb.coded | cr.coded) & all) == 0)
        return;
    const auto dequantiserCb = cb.rule.template blocks<4, Coefficient>();
    const auto dequantiserCr = cr.rule.template blocks<4, Coefficient>();
    const auto dcsCb = takeChromaDc<Format>(cb, dequantiserCb.lossless);
    const auto dcsCr = takeChromaDc<Format>(cr, dequantiserCr.lossless);
    addChromaBlocks<Format>(cb, dcsCb, dequantiserCb, depth);
    addChromaBlocks<Format>(cr, dcsCr, dequantiserCr, depth);
}

// The same for components in planes of one step, whose coefficients are in one stream.
template <class Format, class Rule>
void reconstructChroma(int16_t** ppSrcCoeff, uint8_t* cb, uint8_t* cr, int32_t step, uint64_t cbp,
                       const Rule& ruleCb, const Rule& ruleCr)
{
    reconstructChroma<Format, Depth8, Rule>({ppSrcCoeff, {cb, step}, codedOf<Format>(0, cbp), ruleCb},
                                            {ppSrcCoeff, {cr, step}, codedOf<Format>(1, cbp), ruleCr}, {});
}

// The prediction of both components, if it is possible.
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
        predictChroma<Format::height>(c.data, c.step, static_cast<ChromaMode>(mode), availability, depth);
    return StatusOk;
}

// The same where the upper and the lower half have different neighbours at the left, which only DC prediction
// can cope with.
template <class Format, class Depth>
Status predictChromaHalves(Samples<Depth> cb, Samples<Depth> cr, uint32_t mode, uint32_t edgeFlagsUpper,
                           uint32_t edgeFlagsLower, const Depth& depth)
{
    if (mode != static_cast<uint32_t>(ChromaMode::dc))
        return StatusBadIntraMode;
    const uint32_t lower = (edgeFlagsUpper & ~leftMissing) | (edgeFlagsLower & leftMissing);
    constexpr int half = Format::height / 2;
    for (const Samples<Depth>& c : {cb, cr}) {
        predictChromaDc(c.data, c.step, 0, half, macroblockAvailability(edgeFlagsUpper), depth);
        predictChromaDc(c.data, c.step, half, 2 * half, macroblockAvailability(lower), depth);
    }
    return StatusOk;
}

} // namespace kelvcpx::h264
