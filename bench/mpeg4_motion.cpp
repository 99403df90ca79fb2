// MPEG-4 Part 2 prediction: quarter samples, overlapped blocks.

#include "picture.h"

#include <kelvcpx/mpeg4_motion.h>

namespace {

using namespace kelvcpx::bench;

void addQuarterSamples()
{
    for (int32_t position = 0; position < 16; position++)
        add<Picture, keliCopy8x8QP_MPEG4_8u_C1R, keliCopy16x8QP_MPEG4_8u_C1R, keliCopy16x16QP_MPEG4_8u_C1R>(
            std::to_string(position), [position](auto predict, Picture& p) {
                return predict(p.forward(), step, p.current(), step, position, 0);
            });
}

constexpr MotionVector own = {3, 5};
constexpr std::array<MotionVector, 4> others = {{{-3, 1}, {7, 0}, {2, 11}, {1, 1}}};

// The variant is how many neighbours have vectors of their own.
void addOverlappedBlocks()
{
    for (const std::size_t count : {std::size_t{0}, std::size_t{4}})
        add<Picture, keliOBMC8x8HP_MPEG4_8u_C1R, keliOBMC16x16HP_MPEG4_8u_C1R, keliOBMC8x8QP_MPEG4_8u_C1R>(
            std::to_string(count), [count](auto predict, Picture& p) {
                const auto neighbour = [=](std::size_t i) { return i < count ? &others[i] : &own; };
                return predict(p.forward(), step, p.current(), step, &own, neighbour(0), neighbour(1),
                               neighbour(2), neighbour(3), 0);
            });
}

[[maybe_unused]] const bool registered = (addQuarterSamples(), addOverlappedBlocks(), true);

} // namespace
