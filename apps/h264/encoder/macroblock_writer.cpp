#include "h264/encoder/macroblock_writer.h"

#include "h264/coded_block_patterns.h"
#include "h264/macroblock_syntax.h"

#include <algorithm>

namespace kelvcpx::app::h264::encoder {
namespace {

// coded_block_pattern to codeNum (table 9-4): intra, inter.
constexpr auto patternCodes = [] {
    std::array<std::array<uint8_t, 48>, 2> codes{};
    for (std::size_t column = 0; column < 2; column++)
        for (std::size_t code = 0; code < 48; code++)
            codes[column][patternsWithChroma[column][code]] = static_cast<uint8_t>(code);
    return codes;
}();

template <class Sink>
class LayerWriter
{
public:
    LayerWriter(Sink& sink, const LayerContext& context, int address, const CodedMacroblock& macroblock)
        : sink_(sink), context_(context), address_(address), macroblock_(macroblock)
    {}

    BlockCounts write()
    {
        putType();
        if (macroblock_.kind == MbKind::inter)
            putInterPrediction();
        else
            putIntraPrediction();
        if (macroblock_.kind != MbKind::intra16x16)
            putPattern();
        if (macroblock_.codedBlockPattern() != 0 || macroblock_.kind == MbKind::intra16x16) {
            putSe(sink_, 0); // mb_qp_delta
            putResidual();
        }
        return counts_;
    }

private:
    void putType()
    {
        if (macroblock_.kind == MbKind::inter) {
            putUe(sink_, static_cast<uint32_t>(macroblock_.partitioning));
            return;
        }
        const uint32_t first = context_.isP ? firstIntraTypeOfP : 0;
        if (macroblock_.kind == MbKind::intra16x16) {
            putUe(sink_, first + 1 + macroblock_.intra16x16Mode +
                             4 * static_cast<uint32_t>(macroblock_.chromaPattern) +
                             (macroblock_.lumaPattern != 0 ? 12 : 0));
            return;
        }
        putUe(sink_, first);
        if (context_.transform8x8Mode)
            sink_.put(macroblock_.kind == MbKind::intra8x8 ? 1 : 0, 1);
    }

    void putIntraPrediction()
    {
        const std::size_t modes = macroblock_.kind == MbKind::intra4x4   ? 16
                                  : macroblock_.kind == MbKind::intra8x8 ? 4
                                                                         : 0;
        for (std::size_t i = 0; i < modes; i++) {
            const int8_t remaining = macroblock_.remainingIntraModes[i];
            if (remaining < 0)
                sink_.put(1, 1);
            else
                sink_.put(remaining, 4);
        }
        putUe(sink_, macroblock_.chromaMode);
    }

    // There is one reference picture, so no indices are coded.
    void putInterPrediction()
    {
        if (macroblock_.partitioning == Partitioning::four)
            for (int i = 0; i < 4; i++)
                putUe(sink_, 0); // P_L0_8x8
        for (std::size_t i = 0; i < partitionCount(macroblock_.partitioning); i++) {
            putSe(sink_, macroblock_.mvds[i].x);
            putSe(sink_, macroblock_.mvds[i].y);
        }
    }

    void putPattern()
    {
        const bool inter = macroblock_.kind == MbKind::inter;
        putUe(sink_, patternCodes[inter ? 1 : 0][static_cast<std::size_t>(macroblock_.codedBlockPattern())]);
        if (inter && context_.transform8x8Mode && macroblock_.lumaPattern != 0)
            sink_.put(macroblock_.transform8x8 ? 1 : 0, 1);
    }

    void putResidual()
    {
        const bool is16x16 = macroblock_.kind == MbKind::intra16x16;
        if (is16x16)
            putBlock(sink_, macroblock_.lumaDc, contextOf(0, 0, 0), 16);
        for (std::size_t i = 0; i < 16; i++)
            if ((macroblock_.lumaPattern >> (i / 4) & 1) != 0) {
                const int raster = rasterOfBlock[i];
                putCounted(macroblock_.luma[i], 0, raster % 4, raster / 4, is16x16 ? 15 : 16);
            }
        if (macroblock_.chromaPattern == 0)
            return;
        for (const CavlcBlock& block : macroblock_.chromaDc)
            putBlock(sink_, block, chromaDcContext, 4);
        if (macroblock_.chromaPattern == 2)
            for (std::size_t component = 1; component < 3; component++)
                for (int i = 0; i < 4; i++)
                    putCounted(macroblock_.chromaAc[component - 1][static_cast<std::size_t>(i)], component,
                               i % 2, i / 2, 15);
    }

    void putCounted(const CavlcBlock& block, std::size_t component, int x, int y, int maxNumCoeff)
    {
        putBlock(sink_, block, contextOf(component, x, y), maxNumCoeff);
        counts_[indexOf(component, x, y)] = block.totalCoeff;
    }

    static std::size_t indexOf(std::size_t component, int x, int y)
    {
        return firstBlockOf(component) + static_cast<std::size_t>(y * (component == 0 ? 4 : 2) + x);
    }

    // nC (9.2.1): from the numbers of coefficients of the blocks to the left and above.
    int contextOf(std::size_t component, int x, int y) const
    {
        const PictureContext& picture = context_.picture;
        const int last = component == 0 ? 3 : 1;
        const bool hasLeft = x > 0 || address_ % picture.widthInMbs > 0;
        const bool hasTop = y > 0 || address_ >= picture.widthInMbs;
        const auto count = [&](bool own, int neighbour, std::size_t index) {
            return int{own ? counts_[index] : picture.at(neighbour).totalCoeff[index]};
        };
        const auto left = [&] {
            return count(x > 0, address_ - 1, indexOf(component, x > 0 ? x - 1 : last, y));
        };
        const auto top = [&] {
            return count(y > 0, address_ - picture.widthInMbs, indexOf(component, x, y > 0 ? y - 1 : last));
        };
        if (hasLeft && hasTop)
            return (left() + top() + 1) >> 1;
        return hasLeft ? left() : hasTop ? top() : 0;
    }

    Sink& sink_;
    const LayerContext& context_;
    int address_;
    const CodedMacroblock& macroblock_;
    BlockCounts counts_{};
};

} // namespace

template <class Sink>
BlockCounts putMacroblock(Sink& sink, const LayerContext& context, int address,
                          const CodedMacroblock& macroblock)
{
    return LayerWriter<Sink>(sink, context, address, macroblock).write();
}

template BlockCounts putMacroblock(BitWriter&, const LayerContext&, int, const CodedMacroblock&);
template BlockCounts putMacroblock(BitCounter&, const LayerContext&, int, const CodedMacroblock&);

void putPcmHeader(BitWriter& bits, bool isP)
{
    putUe(bits, static_cast<uint32_t>((isP ? firstIntraTypeOfP : 0) + pcmType));
    bits.align();
}

} // namespace kelvcpx::app::h264::encoder
