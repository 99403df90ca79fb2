// Residuals of lossless intra macroblocks that are coded as differences along the direction of prediction
// (ITU-T H.264 8.5.15). The library adds residuals as they are: here they are summed up, and packed again.

#include "h264/reconstruction.h"

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

void accumulate(int16_t* samples, std::size_t size, Direction direction)
{
    const std::size_t first = direction == Direction::vertical ? size : 1;
    const std::size_t distance = direction == Direction::vertical ? size : 1;
    for (std::size_t i = first; i < size * size; i++)
        if (direction == Direction::vertical || i % size != 0)
            samples[i] = static_cast<int16_t>(samples[i] + samples[i - distance]);
}

// A square of 4x4 blocks, the first coefficients of which are coded apart: those of Intra_16x16 luma and of
// chroma.
template <std::size_t blocks>
class SplitSquare
{
public:
    // Takes the coefficients of the coded blocks from `source`: the DCs are taken before by takeDcs().
    void takeDcs(const int16_t*& source, bool coded)
    {
        for (std::size_t i = 0; i < count; i++)
            at(i, 0) = coded ? *source++ : int16_t{0};
    }

    void takeBlock(const int16_t*& source, std::size_t raster, bool coded)
    {
        for (std::size_t k = 0; k < 16; k++, source += coded ? 1 : 0)
            if (k > 0)
                at(raster, k) = coded ? *source : int16_t{0};
    }

    void accumulateAll(Direction direction) { accumulate(samples_.data(), 4 * blocks, direction); }

    void putDcs(int16_t*& target)
    {
        for (std::size_t i = 0; i < count; i++)
            *target++ = at(i, 0);
    }

    void putBlock(int16_t*& target, std::size_t raster)
    {
        for (std::size_t k = 0; k < 16; k++)
            *target++ = at(raster, k);
    }

private:
    static constexpr std::size_t count = blocks * blocks;

    int16_t& at(std::size_t raster, std::size_t k)
    {
        return samples_[(raster / blocks * 4 + k / 4) * 4 * blocks + raster % blocks * 4 + k % 4];
    }

    std::array<int16_t, 16 * count> samples_{};
};

} // namespace

void accumulateLosslessResidual(Macroblock& macroblock)
{
    const auto packed = macroblock.coefficients;
    const int16_t* source = packed.data();
    int16_t* target = macroblock.coefficients.data();
    uint64_t& coded = macroblock.codedBlocks;
    const auto bit = [](uint64_t set, std::size_t i) { return (set >> i & 1) != 0; };
    const uint64_t before = coded;

    if (macroblock.kind == MbKind::intra16x16) {
        const Direction direction = directionOf(macroblock.intra16x16Mode);
        SplitSquare<4> luma;
        luma.takeDcs(source, bit(before, 0));
        for (std::size_t i = 0; i < 16; i++)
            luma.takeBlock(source, rasterOfBlock[i], bit(before, i + 1));
        if (direction != Direction::none)
            luma.accumulateAll(direction);
        luma.putDcs(target);
        for (std::size_t i = 0; i < 16; i++)
            luma.putBlock(target, rasterOfBlock[i]);
        coded |= 0x1FFFF;
    } else {
        const bool is8x8 = macroblock.kind == MbKind::intra8x8;
        const std::size_t size = is8x8 ? 8 : 4;
        for (std::size_t i = 0; i < (is8x8 ? 4 : 16); i++) {
            if (!bit(before, is8x8 ? i : i + 1))
                continue;
            if (const Direction direction = directionOf(macroblock.intraModes[i]);
                direction != Direction::none)
                accumulate(target, size, direction);
            source += size * size;
            target += size * size;
        }
    }

    const Direction direction = directionOfChroma(macroblock.chromaMode);
    std::array<SplitSquare<2>, 2> chroma;
    for (std::size_t c = 0; c < 2; c++)
        chroma[c].takeDcs(source, bit(before, 17 + c));
    for (std::size_t i = 0; i < 8; i++)
        chroma[i / 4].takeBlock(source, i % 4, bit(before, 19 + i));
    for (SplitSquare<2>& square : chroma) {
        if (direction != Direction::none)
            square.accumulateAll(direction);
        square.putDcs(target);
    }
    for (std::size_t i = 0; i < 8; i++)
        chroma[i / 4].putBlock(target, i % 4);
    coded |= 0x7FE0000;
}

} // namespace kelvcpx::app::h264
