// Residuals of lossless intra macroblocks that are coded as differences along the direction of prediction
// (ITU-T H.264 8.5.15). The library adds residuals as they are: here they are summed up, and packed again.

#include "h264/reconstruction.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace kelvcpx::app::h264 {
namespace {

enum class Direction { none, vertical, horizontal };

// Intra_4x4, 8x8 and 16x16 number the modes alike; chroma has its own order.
Direction directionOf(uint32_t lumaMode)
{
    return lumaMode == 0 ? Direction::vertical : lumaMode == 1 ? Direction::horizontal : Direction::none;
}

Direction directionOfChroma(uint32_t mode)
{
    return mode == 2 ? Direction::vertical : mode == 1 ? Direction::horizontal : Direction::none;
}

template <class Coefficient>
void accumulate(Coefficient* samples, std::size_t width, std::size_t height, Direction direction)
{
    const std::size_t distance = direction == Direction::vertical ? width : 1;
    for (std::size_t i = distance; i < width * height; i++)
        if (direction == Direction::vertical || i % width != 0)
            samples[i] = static_cast<Coefficient>(samples[i] + samples[i - distance]);
}

// A rectangle of 4x4 blocks, the first coefficients of which are coded apart: those of Intra_16x16 luma and
// of chroma.
template <class Coefficient>
class SplitRectangle
{
public:
    SplitRectangle(std::size_t columns, std::size_t rows) : columns_(columns), rows_(rows) {}

    void takeDcs(const Coefficient*& source, bool coded)
    {
        for (std::size_t i = 0; i < columns_ * rows_; i++)
            at(i, 0) = coded ? *source++ : Coefficient{0};
    }

    void takeBlock(const Coefficient*& source, std::size_t raster, bool coded)
    {
        for (std::size_t k = 0; k < 16; k++, source += coded ? 1 : 0)
            if (k > 0)
                at(raster, k) = coded ? *source : Coefficient{0};
    }

    void accumulateAll(Direction direction)
    {
        if (direction != Direction::none)
            accumulate(samples_.data(), 4 * columns_, 4 * rows_, direction);
    }

    void putDcs(Coefficient*& target)
    {
        for (std::size_t i = 0; i < columns_ * rows_; i++)
            *target++ = at(i, 0);
    }

    void putBlock(Coefficient*& target, std::size_t raster)
    {
        for (std::size_t k = 0; k < 16; k++)
            *target++ = at(raster, k);
    }

private:
    Coefficient& at(std::size_t raster, std::size_t k)
    {
        return samples_[(raster / columns_ * 4 + k / 4) * 4 * columns_ + raster % columns_ * 4 + k % 4];
    }

    std::size_t columns_;
    std::size_t rows_;
    std::array<Coefficient, 256> samples_{};
};

bool bit(uint64_t set, std::size_t i)
{
    return (set >> i & 1) != 0;
}

template <class Coefficient>
void accumulateLuma(Macroblock& macroblock, const Coefficient*& source, Coefficient*& target)
{
    const uint64_t coded = macroblock.codedBlocks;
    if (macroblock.kind == MbKind::intra16x16) {
        SplitRectangle<Coefficient> luma(4, 4);
        luma.takeDcs(source, bit(coded, 0));
        for (std::size_t i = 0; i < 16; i++)
            luma.takeBlock(source, rasterOfBlock[i], bit(coded, i + 1));
        luma.accumulateAll(directionOf(macroblock.intra16x16Mode));
        luma.putDcs(target);
        for (std::size_t i = 0; i < 16; i++)
            luma.putBlock(target, rasterOfBlock[i]);
        macroblock.codedBlocks |= 0x1FFFF;
        return;
    }
    const bool is8x8 = macroblock.kind == MbKind::intra8x8;
    const std::size_t size = is8x8 ? 8 : 4;
    for (std::size_t i = 0; i < (is8x8 ? 4 : 16); i++) {
        if (!bit(coded, is8x8 ? i : i + 1))
            continue;
        if (const Direction direction = directionOf(macroblock.intraModes[i]); direction != Direction::none)
            accumulate(target, size, size, direction);
        source += size * size;
        target += size * size;
    }
}

template <class Coefficient>
void accumulateChroma(Macroblock& macroblock, std::size_t blocks, const Coefficient*& source,
                      Coefficient*& target)
{
    const uint64_t coded = macroblock.codedBlocks;
    std::array<SplitRectangle<Coefficient>, 2> chroma{SplitRectangle<Coefficient>{2, blocks / 2},
                                                      SplitRectangle<Coefficient>{2, blocks / 2}};
    for (std::size_t c = 0; c < 2; c++)
        chroma[c].takeDcs(source, bit(coded, 17 + c));
    for (std::size_t i = 0; i < 2 * blocks; i++)
        chroma[i / blocks].takeBlock(source, i % blocks, bit(coded, 19 + i));
    for (auto& rectangle : chroma) {
        rectangle.accumulateAll(directionOfChroma(macroblock.chromaMode));
        rectangle.putDcs(target);
    }
    for (std::size_t i = 0; i < 2 * blocks; i++)
        chroma[i / blocks].putBlock(target, i % blocks);
    macroblock.codedBlocks |= ((uint64_t{4} << 2 * blocks) - 1) << 17;
}

} // namespace

template <class Coefficient>
void accumulateLosslessResidual(Macroblock& macroblock, std::size_t chromaBlocks)
{
    std::array<Coefficient, Macroblock::coefficientCount> packed;
    Coefficient* target = macroblock.packed<Coefficient>();
    std::copy_n(target, packed.size(), packed.begin());
    const Coefficient* source = packed.data();
    accumulateLuma(macroblock, source, target);
    accumulateChroma(macroblock, chromaBlocks, source, target);
}

template void accumulateLosslessResidual<int16_t>(Macroblock&, std::size_t);
template void accumulateLosslessResidual<int32_t>(Macroblock&, std::size_t);

} // namespace kelvcpx::app::h264
