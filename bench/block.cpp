// Block operations: copy, average, add, motion compensation, inverse DCT.

#include "picture.h"

#include <kelvcpx/block.h>

#include <utility>

namespace {

using namespace kelvcpx::bench;

void addCopies()
{
    add<Picture, keliCopy8x8_8u_C1R, keliCopy16x16_8u_C1R, keliAverage8x8_8u_C1IR, keliAverage16x16_8u_C1IR>(
        "", [](auto copy, Picture& p) { return copy(p.forward(), step, p.current(), step); });
    for (const Position& position : positions)
        for (int32_t rounding = 0; rounding < (position.acc == 0 ? 1 : 2); rounding++)
            add<Picture, keliCopy8x4HP_8u_C1R, keliCopy8x8HP_8u_C1R, keliCopy16x8HP_8u_C1R,
                keliCopy16x16HP_8u_C1R, keliInterpolateAverage8x4_8u_C1IR, keliInterpolateAverage8x8_8u_C1IR,
                keliInterpolateAverage16x8_8u_C1IR, keliInterpolateAverage16x16_8u_C1IR>(
                position.name + '/' + std::to_string(rounding),
                [acc = position.acc, rounding](auto predict, Picture& p) {
                    return predict(p.forward(), step, p.current(), step, acc, rounding);
                });
}

void addAdditions()
{
    add<Picture, keliAdd8x8_16s8u_C1IRS>(
        "", [](auto operation, Picture& p) { return operation(p.residual.data(), 16, p.current(), step); });
    add<Picture, keliAddC8x8_16s8u_C1IR>(
        "", [](auto operation, Picture& p) { return operation(p.residual[0], p.current(), step); });
    for (const Position& position : positions)
        add<Picture, keliAdd8x8HP_16s8u_C1RS>(
            position.name, [acc = position.acc](auto operation, Picture& p) {
                return operation(p.residual.data(), 16, p.forward(), step, p.current(), step, acc, 0);
            });
}

void addMotionCompensation()
{
    for (const Position& position : positions)
        add<Picture, keliMC16x16_8u_C1, keliMC16x8_8u_C1, keliMC16x4_8u_C1, keliMC8x16_8u_C1, keliMC8x8_8u_C1,
            keliMC8x4_8u_C1, keliMC16x8UV_8u_C1, keliMC4x8_8u_C1, keliMC4x4_8u_C1, keliMC4x2_8u_C1,
            keliMC2x4_8u_C1, keliMC2x2_8u_C1>(
            position.name, [type = position.mcType](auto compensate, Picture& p) {
                return compensate(p.forward(), step, p.residual.data(), 32, p.current(), step, type, 0);
            });
    for (const auto& [f, b] : {std::pair{0, 0}, {1, 2}, {3, 3}}) {
        const Position& forward = positions[static_cast<std::size_t>(f)];
        const Position& backward = positions[static_cast<std::size_t>(b)];
        add<Picture, keliMC16x16B_8u_C1, keliMC16x8B_8u_C1, keliMC16x4B_8u_C1, keliMC8x16B_8u_C1,
            keliMC8x8B_8u_C1, keliMC8x4B_8u_C1, keliMC16x8BUV_8u_C1, keliMC4x8B_8u_C1, keliMC4x4B_8u_C1,
            keliMC4x2B_8u_C1, keliMC2x4B_8u_C1, keliMC2x2B_8u_C1>(
            forward.name + '-' + backward.name,
            [f = forward.mcType, b = backward.mcType](auto compensate, Picture& p) {
                return compensate(p.forward(), step, f, p.backward(), step, b, p.residual.data(), 32,
                                  p.current(), step, 0);
            });
    }
}

void addInverseDct()
{
    struct Transformed : Picture {
        alignas(64) std::array<int16_t, 128> result;
    };
    for (const auto& [name, count] :
         {std::pair{std::string("empty"), -1}, {"dc", 0}, {"low", 9}, {"full", 63}}) {
        add<Transformed, keliDCT8x8Inv_AANTransposed_16s_C1R>(
            name, [count = count](auto transform, Transformed& t) {
                return transform(t.residual.data(), t.result.data(), 16, count);
            });
        add<Transformed, keliDCT8x8Inv_AANTransposed_16s8u_C1R>(
            name, [count = count](auto transform, Transformed& t) {
                return transform(t.residual.data(), t.current(), step, count);
            });
        add<Transformed, keliDCT8x8Inv_AANTransposed_16s_P2C2R>(
            name, [count = count](auto transform, Transformed& t) {
                return transform(t.residual.data(), &t.residual[64], t.result.data(), 32, count, count);
            });
        add<Transformed, keliDCT8x8Inv_AANTransposed_16s8u_P2C2R>(
            name, [count = count](auto transform, Transformed& t) {
                return transform(t.residual.data(), &t.residual[64], t.current(), step, count, count);
            });
    }
}

[[maybe_unused]] const bool registered =
    (addCopies(), addAdditions(), addMotionCompensation(), addInverseDct(), true);

} // namespace
