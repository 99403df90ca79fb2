#include "common/postfilter.h"

#include <kelvcpx/core.h>
#include <kelvcpx/mpeg4_postfilter.h>

#include <array>
#include <cstddef>

namespace kelvcpx::app {
namespace {

// F.3.1: neighbours that differ by no more, and so many of them, make a line flat.
constexpr int32_t flatDifference = 2;
constexpr int32_t flatPairs = 6;

// The quantisers of the 8x8 blocks of a plane: of luma, a macroblock has two by two.
class BlockQuants
{
public:
    BlockQuants(std::span<const uint8_t> quants, int macroblocksWide, bool isLuma)
        : quants_(quants), wide_(macroblocksWide), shift_(isLuma ? 1 : 0)
    {}

    int32_t at(int column, int row) const
    {
        return quants_[static_cast<std::size_t>((row >> shift_) * wide_ + (column >> shift_))];
    }

private:
    std::span<const uint8_t> quants_;
    int wide_;
    int shift_;
};

// All horizontal edges come before the vertical ones.
void deblock(const PaddedFrame::Plane& plane, const BlockQuants& quants)
{
    const int wide = plane.width / 8;
    const int high = plane.height / 8;
    for (int row = 1; row < high; row++)
        for (int column = 0; column < wide; column++)
            keliFilterDeblocking8x8HorEdge_MPEG4_8u_C1IR(plane.at(8 * column, 8 * row), plane.step,
                                                         quants.at(column, row), flatDifference, flatPairs);
    for (int row = 0; row < high; row++)
        for (int column = 1; column < wide; column++)
            keliFilterDeblocking8x8VerEdge_MPEG4_8u_C1IR(plane.at(8 * column, 8 * row), plane.step,
                                                         quants.at(column, row), flatDifference, flatPairs);
}

void smoothBlock(const PaddedFrame::Plane& from, const PaddedFrame::Plane& to, int x, int y, int32_t quant,
                 int32_t threshold)
{
    keliFilterDeringingSmooth8x8_MPEG4_8u_C1R(from.at(x, y), from.step, to.at(x, y), to.step, quant,
                                              threshold);
}

void smoothMacroblock(const PaddedFrame& from, const PaddedFrame& to, int column, int row, int32_t quant)
{
    const int x = 8 * column;
    const int y = 8 * row;
    const PaddedFrame::Plane& luma = from.plane(0);
    const PaddedFrame::Plane& cb = from.plane(1);
    const PaddedFrame::Plane& cr = from.plane(2);
    std::array<int32_t, 6> thresholds{};
    keliFilterDeringingThreshold_MPEG4_8u_P3R(luma.at(2 * x, 2 * y), luma.step, cb.at(x, y), cb.step,
                                              cr.at(x, y), cr.step, thresholds.data());
    for (int i = 0; i < 4; i++)
        smoothBlock(luma, to.plane(0), 2 * x + 8 * (i & 1), 2 * y + 8 * (i >> 1), quant,
                    thresholds[static_cast<std::size_t>(i)]);
    smoothBlock(cb, to.plane(1), x, y, quant, thresholds[4]);
    smoothBlock(cr, to.plane(2), x, y, quant, thresholds[5]);
}

// Room for a picture like the frame, with its format.
PaddedFrame& prepare(std::optional<PaddedFrame>& room, const PaddedFrame& frame)
{
    if (!room || !(room->format() == frame.format()))
        room.emplace(frame.format());
    return *room;
}

} // namespace

PictureView PostFilter::apply(const PaddedFrame& frame, std::span<const uint8_t> quants)
{
    PaddedFrame& deblocked = prepare(deblocked_, frame);
    PaddedFrame& smooth = prepare(smooth_, frame);
    const int wide = frame.plane(0).width / 16;
    const int high = frame.plane(0).height / 16;
    for (std::size_t i = 0; i < 3; i++) {
        const PaddedFrame::Plane& from = frame.plane(i);
        const PaddedFrame::Plane& to = deblocked.plane(i);
        keliCopy_8u_C1R(from.samples, from.step, to.samples, to.step, {from.width, from.height});
        deblock(to, BlockQuants(quants, wide, i == 0));
    }
    deblocked.expand();
    for (int row = 0; row < high; row++)
        for (int column = 0; column < wide; column++)
            smoothMacroblock(deblocked, smooth, column, row,
                             quants[static_cast<std::size_t>(row * wide + column)]);
    return smooth.view();
}

} // namespace kelvcpx::app
