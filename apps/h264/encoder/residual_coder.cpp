#include "h264/encoder/residual_coder.h"

#include "h264/scan.h"
#include "h264/slice_context.h"

#include <kelvcpx/h264_encode.h>
#include <kelvcpx/h264_residual.h>
#include <kelvcpx/h264_transform.h>
#include <kelvcpx/metrics.h>

#include <algorithm>
#include <cstddef>

namespace kelvcpx::app::h264::encoder {
namespace {

// Scan position by raster index.
template <std::size_t size>
constexpr std::array<int16_t, size> inverse(const std::array<int32_t, size>& scan)
{
    std::array<int16_t, size> positions{};
    for (std::size_t i = 0; i < size; i++)
        positions[static_cast<std::size_t>(scan[i])] = static_cast<int16_t>(i);
    return positions;
}

constexpr auto scanPositions = inverse(scan4x4(Scan::frame));
constexpr auto scanPositions8x8 = inverse(scan8x8(Scan::frame));

constexpr int largestLevel = 2063; // without the long escape codes of CAVLC (9.2.2.1)

// The coefficients that the library's reconstruction takes, and which blocks they are of.
class PackedCoefficients
{
public:
    // Appends a block; `bit` is its number there.
    void append(const int16_t* levels, std::size_t count, std::size_t bit)
    {
        std::copy_n(levels, count, coefficients_.begin() + static_cast<std::ptrdiff_t>(size_));
        size_ += count;
        coded_ |= 1u << bit;
    }

    uint32_t coded() const { return coded_; }
    int16_t* data() { return coefficients_.data(); }

private:
    alignas(32) std::array<int16_t, 16 + 256> coefficients_;
    std::size_t size_ = 0;
    uint32_t coded_ = 0;
};

// Bits of the blocks in the coded blocks of the library's operations.
constexpr std::size_t firstLumaBit = 1;
constexpr std::size_t chromaDcBit = 17;
constexpr std::size_t chromaAcBit = 19;

// Which of the quantised levels of a 4x4 block there are.
struct QuantisedBlock {
    int levels = 0; // other than 0
    bool hasDc = false;
    uint8_t last = 0; // scan position of the last one
};

// Transforms and quantises the differences in place.
bool quantise(int16_t* block, int qp, bool intra, QuantisedBlock& result)
{
    uint8_t count = 0;
    if (keliTransformQuantResidual_H264_16s_C1I(block, qp, &count, intra ? 1 : 0, scanPositions.data(),
                                                &result.last) != StatusOk)
        return false;
    result.hasDc = count >= 128; // the number is negated then
    result.levels = result.hasDc ? 256 - count : count;
    return true;
}

// The same of a block whose DC is coded apart.
bool quantiseAc(int16_t* block, int qp, bool intra, QuantisedBlock& result)
{
    if (!quantise(block, qp, intra, result))
        return false;
    if (result.hasDc)
        result.levels--;
    block[0] = 0;
    return true;
}

} // namespace

ResidualCoder::ResidualCoder(int qp) : qp_(qp), chromaQp_(chromaQp(qp, 0, 0))
{
    std::array<uint8_t, 64> flat;
    flat.fill(16);
    keliGenScaleLevel8x8_H264_8u16s_D2(flat.data(), 8, dequantScale8x8_.data(), quantScale8x8_.data(),
                                       qp % 6);
}

bool ResidualCoder::codeInter4x4(const MacroblockSamples& samples, CodedMacroblock& macroblock) const
{
    const SourcePlace& source = samples.source[0];
    const PicturePlace& picture = samples.picture[0];
    alignas(32) std::array<int16_t, 256> blocks;
    std::array<int16_t, 16> sums;
    keliSumsDiff16x16Blocks4x4_8u16s_C1(source.samples, source.step, picture.samples, picture.step,
                                        sums.data(), blocks.data());
    PackedCoefficients packed;
    macroblock.transform8x8 = false;
    macroblock.lumaPattern = 0;
    for (std::size_t i = 0; i < 16; i++) {
        int16_t* const block = &blocks[std::size_t{16} * rasterOfBlock[i]];
        QuantisedBlock quantised;
        if (!quantise(block, qp_, false, quantised))
            return false;
        macroblock.luma[i].clear();
        if (quantised.levels == 0)
            continue;
        macroblock.luma[i] = analysed(block, 0, quantised.last);
        macroblock.lumaPattern |= 1 << (i / 4);
        packed.append(block, 16, firstLumaBit + i);
    }
    int16_t* coefficients = packed.data();
    keliReconstructLumaInterMB_H264_16s8u_C1R(&coefficients, picture.samples, picture.step, packed.coded(),
                                              qp_);
    return true;
}

bool ResidualCoder::codeIntra16x16(const MacroblockSamples& samples, uint8_t edgeFlags,
                                   CodedMacroblock& macroblock) const
{
    const SourcePlace& source = samples.source[0];
    const PicturePlace& picture = samples.picture[0];
    alignas(32) std::array<int16_t, 256> blocks;
    std::array<int16_t, 16> dc;
    keliSumsDiff16x16Blocks4x4_8u16s_C1(source.samples, source.step, picture.samples, picture.step, dc.data(),
                                        blocks.data());
    PackedCoefficients packed;
    std::array<int16_t, 16> transformedDc;
    uint8_t count = 0;
    uint8_t last = 0;
    if (keliTransformQuantLumaDC_H264_16s_C1I(dc.data(), transformedDc.data(), qp_, &count, 1,
                                              scanPositions.data(), &last) != StatusOk)
        return false;
    macroblock.lumaDc = analysed(dc.data(), 0, last);
    if (count != 0)
        packed.append(dc.data(), 16, 0);

    macroblock.transform8x8 = false;
    macroblock.lumaPattern = 0;
    for (std::size_t i = 0; i < 16; i++) {
        int16_t* const block = &blocks[std::size_t{16} * rasterOfBlock[i]];
        QuantisedBlock quantised;
        if (!quantiseAc(block, qp_, true, quantised))
            return false;
        macroblock.luma[i].clear();
        if (quantised.levels == 0)
            continue;
        macroblock.luma[i] = analysed(block, 1, quantised.last);
        macroblock.lumaPattern = 15;
        packed.append(block, 16, firstLumaBit + i);
    }
    int16_t* coefficients = packed.data();
    keliReconstructLumaIntra16x16MB_H264_16s8u_C1R(&coefficients, picture.samples, picture.step,
                                                   macroblock.intra16x16Mode, packed.coded(), qp_, edgeFlags);
    return true;
}

bool ResidualCoder::codeIntra4x4(const MacroblockSamples& samples, std::size_t i,
                                 CodedMacroblock& macroblock) const
{
    const int x = 4 * (rasterOfBlock[i] % 4);
    const int y = 4 * (rasterOfBlock[i] / 4);
    const SourcePlace source = samples.source[0].at(x, y);
    const PicturePlace picture = samples.picture[0].at(x, y);
    alignas(32) std::array<int16_t, 16> block;
    keliGetDiff4x4_8u16s_C1(source.samples, source.step, picture.samples, picture.step, block.data(), 8);
    QuantisedBlock quantised;
    if (!quantise(block.data(), qp_, true, quantised))
        return false;
    macroblock.luma[i].clear();
    if (quantised.levels == 0)
        return true;
    macroblock.luma[i] = analysed(block.data(), 0, quantised.last);
    macroblock.lumaPattern |= 1 << (i / 4);
    const bool hasAc = quantised.last > 0;
    keliDequantTransformResidualAndAdd_H264_16s_C1I(picture.samples, block.data(), nullptr, picture.samples,
                                                    picture.step, picture.step, qp_, hasAc ? 1 : 0);
    return true;
}

bool ResidualCoder::code8x8(const MacroblockSamples& samples, std::size_t i, CodedMacroblock& macroblock,
                            std::span<int16_t, 64> levels) const
{
    const int x = 8 * static_cast<int>(i % 2);
    const int y = 8 * static_cast<int>(i / 2);
    const SourcePlace source = samples.source[0].at(x, y);
    const PicturePlace picture = samples.picture[0].at(x, y);
    keliSub8x8_8u16s_C1R(source.samples, source.step, picture.samples, picture.step, levels.data(), 16);
    keliTransformLuma8x8Fwd_H264_16s_C1I(levels.data());
    int32_t count = 0;
    int32_t last = 0;
    keliQuantLuma8x8_H264_16s_C1(levels.data(), levels.data(), qp_ / 6, isIntra(macroblock.kind) ? 1 : 0,
                                 scanPositions8x8.data(), quantScale8x8_.data(), &count, &last);
    const auto [least, most] = std::minmax_element(levels.begin(), levels.end());
    if (*least < -largestLevel || *most > largestLevel)
        return false;

    // CAVLC deals the coefficients to four blocks in turn (7.3.5.3.2).
    for (std::size_t part = 0; part < 4; part++) {
        std::array<int16_t, 16> scanned;
        for (std::size_t k = 0; k < 16; k++)
            scanned[k] = levels[static_cast<std::size_t>(scan8x8(Scan::frame)[4 * k + part])];
        macroblock.luma[4 * i + part] = analysedInScanOrder(scanned.data());
    }
    if (count == 0)
        return true;
    macroblock.lumaPattern |= 1 << i;
    std::array<int16_t, 64> scaled;
    std::copy(levels.begin(), levels.end(), scaled.begin());
    keliQuantLuma8x8Inv_H264_16s_C1I(scaled.data(), qp_ / 6, dequantScale8x8_.data());
    keliTransformLuma8x8InvAddPred_H264_16s8u_C1R(picture.samples, picture.step, scaled.data(),
                                                  picture.samples, picture.step);
    return true;
}

bool ResidualCoder::codeInter8x8(const MacroblockSamples& samples, CodedMacroblock& macroblock) const
{
    macroblock.transform8x8 = true;
    macroblock.lumaPattern = 0;
    for (std::size_t i = 0; i < 4; i++) {
        alignas(32) std::array<int16_t, 64> levels;
        if (!code8x8(samples, i, macroblock, levels))
            return false;
    }
    return true;
}

bool ResidualCoder::codeChroma(const MacroblockSamples& samples, CodedMacroblock& macroblock) const
{
    const bool intra = isIntra(macroblock.kind);
    alignas(32) std::array<std::array<int16_t, 64>, 2> blocks;
    std::array<std::array<int16_t, 4>, 2> dc;
    PackedCoefficients packed;
    macroblock.chromaPattern = 0;
    for (std::size_t c = 0; c < 2; c++) {
        const SourcePlace& source = samples.source[c + 1];
        const PicturePlace& picture = samples.picture[c + 1];
        keliSumsDiff8x8Blocks4x4_8u16s_C1(source.samples, source.step, picture.samples, picture.step,
                                          dc[c].data(), blocks[c].data());
        std::array<int16_t, 4> transformedDc;
        uint8_t count = 0;
        if (keliTransformQuantChromaDC_H264_16s_C1I(dc[c].data(), transformedDc.data(), chromaQp_, &count,
                                                    intra ? 1 : 0, 1) != StatusOk)
            return false;
        macroblock.chromaDc[c] = analysedChromaDc(dc[c].data());
        if (count != 0) {
            packed.append(dc[c].data(), 4, chromaDcBit + c);
            macroblock.chromaPattern = 1;
        }
    }
    for (std::size_t c = 0; c < 2; c++)
        for (std::size_t i = 0; i < 4; i++) {
            int16_t* const block = &blocks[c][16 * i];
            QuantisedBlock quantised;
            if (!quantiseAc(block, chromaQp_, intra, quantised))
                return false;
            CavlcBlock& coded = macroblock.chromaAc[c][i];
            coded.clear();
            if (quantised.levels == 0)
                continue;
            coded = analysed(block, 1, quantised.last);
            packed.append(block, 16, chromaAcBit + 4 * c + i);
            macroblock.chromaPattern = 2;
        }
    int16_t* coefficients = packed.data();
    keliReconstructChromaInterMB_H264_16s8u_P2R(&coefficients, samples.picture[1].samples,
                                                samples.picture[2].samples, samples.picture[1].step,
                                                packed.coded(), chromaQp_);
    return true;
}

} // namespace kelvcpx::app::h264::encoder
