#include "mpeg4/inter_prediction.h"

#include "h263/chroma_vector.h"

#include <kelvcpx/block.h>

#include <algorithm>

namespace kelvcpx::app::mpeg4 {
namespace {

// A plane of a frame or of one field of it. Positions count its own rows.
struct Plane {
    uint8_t* samples;
    int32_t step;
    int width;
    int height;

    uint8_t* at(int x, int y) const { return samples + std::ptrdiff_t{step} * y + x; }
};

Plane wholeOf(const PaddedFrame::Plane& plane)
{
    return {plane.samples, plane.step, plane.width, plane.height};
}

Plane fieldOf(const PaddedFrame::Plane& plane, int parity)
{
    return {plane.samples + parity * plane.step, 2 * plane.step, plane.width, plane.height / 2};
}

using PositionOperation = decltype(keliCopy8x8HP_8u_C1R);
using AverageOperation = decltype(keliAverage8x8_8u_C1IR);

Status average16x8(const uint8_t* src, int32_t srcStep, uint8_t* dst, int32_t dstStep) noexcept
{
    keliAverage8x8_8u_C1IR(src, srcStep, dst, dstStep);
    return keliAverage8x8_8u_C1IR(src + 8, srcStep, dst + 8, dstStep);
}

// The operations of the library for one block size. Chroma, and so 8x4, has half samples only.
struct BlockOperations {
    int width;
    int height;
    PositionOperation* copyHalf;
    PositionOperation* averageHalf;
    PositionOperation* copyQuarter;
    AverageOperation* average;
};

constexpr BlockOperations block16x16 = {16,
                                        16,
                                        keliCopy16x16HP_8u_C1R,
                                        keliInterpolateAverage16x16_8u_C1IR,
                                        keliCopy16x16QP_MPEG4_8u_C1R,
                                        keliAverage16x16_8u_C1IR};
constexpr BlockOperations block16x8 = {
    16,         8, keliCopy16x8HP_8u_C1R, keliInterpolateAverage16x8_8u_C1IR, keliCopy16x8QP_MPEG4_8u_C1R,
    average16x8};
constexpr BlockOperations block8x8 = {8,
                                      8,
                                      keliCopy8x8HP_8u_C1R,
                                      keliInterpolateAverage8x8_8u_C1IR,
                                      keliCopy8x8QP_MPEG4_8u_C1R,
                                      keliAverage8x8_8u_C1IR};
constexpr BlockOperations block8x4 = {
    8, 4, keliCopy8x4HP_8u_C1R, keliInterpolateAverage8x4_8u_C1IR, nullptr, nullptr};

// The block of a reference at a whole-sample position. Where it lies outside of the picture as a whole it may
// as well lie next to it: the margin has the same samples everywhere.
const uint8_t* locate(const Plane& plane, const BlockOperations& block, int x, int y)
{
    return plane.at(std::clamp(x, -block.width - 1, plane.width),
                    std::clamp(y, -block.height - 1, plane.height));
}

// Where a prediction goes, and whether it is averaged with the one that is there.
struct Destination {
    Plane plane;
    int x;
    int y;
    bool average;
};

void predictHalf(const BlockOperations& block, const Plane& reference, const Destination& to, int vectorX,
                 int vectorY, int32_t rounding)
{
    const uint8_t* const src = locate(reference, block, to.x + (vectorX >> 1), to.y + (vectorY >> 1));
    const int32_t acc = (vectorX & 1) | (vectorY & 1) << 1;
    (to.average ? block.averageHalf : block.copyHalf)(src, reference.step, to.plane.at(to.x, to.y),
                                                      to.plane.step, acc, rounding);
}

void predictQuarter(const BlockOperations& block, const Plane& reference, const Destination& to,
                    Vector vector, int32_t rounding)
{
    const uint8_t* const src = locate(reference, block, to.x + (vector.x >> 2), to.y + (vector.y >> 2));
    const int32_t acc = (vector.x & 3) | (vector.y & 3) << 2;
    uint8_t* const dst = to.plane.at(to.x, to.y);
    if (!to.average) {
        block.copyQuarter(src, reference.step, dst, to.plane.step, acc, rounding);
        return;
    }
    constexpr int32_t step = 16;
    alignas(16) std::array<uint8_t, 16 * step> second;
    block.copyQuarter(src, reference.step, second.data(), step, acc, rounding);
    block.average(second.data(), step, dst, to.plane.step);
}

class Predictor
{
public:
    Predictor(const VopContext& context, const Macroblock& macroblock, std::size_t direction, bool average)
        : context_(context), macroblock_(macroblock), motion_(macroblock.motion[direction]),
          from_((direction == 0 ? context.past : context.future)->picture), to_(context.target->picture),
          average_(average)
    {}

    void predict() const
    {
        switch (macroblock_.kind) {
        case MotionKind::whole:
            luma(block16x16, wholeOf(from_.plane(0)), lumaOf(0, 0), motion_.vectors[0]);
            chroma(chromaVector(motion_.vectors[0]));
            break;
        case MotionKind::blocks:
            for (std::size_t i = 0; i < 4; i++)
                luma(block8x8, wholeOf(from_.plane(0)),
                     lumaOf(8 * static_cast<int>(i & 1), 8 * static_cast<int>(i >> 1)), motion_.vectors[i]);
            chroma(chromaVectorOfBlocks());
            break;
        case MotionKind::fields:
            predictField(0);
            predictField(1);
            break;
        case MotionKind::global:
            warp();
            break;
        }
    }

private:
    struct ChromaVector {
        int x; // half samples
        int y;
    };

    Destination lumaOf(int dx, int dy) const
    {
        return {wholeOf(to_.plane(0)), 16 * macroblock_.column + dx, 16 * macroblock_.row + dy, average_};
    }

    void luma(const BlockOperations& block, const Plane& reference, const Destination& to,
              Vector vector) const
    {
        if (context_.layer.quarterSample)
            predictQuarter(block, reference, to, vector, context_.vop.rounding);
        else
            predictHalf(block, reference, to, vector.x, vector.y, context_.vop.rounding);
    }

    void chroma(const ChromaVector& vector) const
    {
        for (std::size_t i = 1; i < 3; i++)
            predictHalf(block8x8, wholeOf(from_.plane(i)),
                        {wholeOf(to_.plane(i)), 8 * macroblock_.column, 8 * macroblock_.row, average_},
                        vector.x, vector.y, context_.vop.rounding);
    }

    void predictField(int parity) const
    {
        const auto field = static_cast<std::size_t>(parity);
        const int source = motion_.fields[field];
        const Vector vector = motion_.vectors[field];
        luma(block16x8, fieldOf(from_.plane(0), source),
             {fieldOf(to_.plane(0), parity), 16 * macroblock_.column, 8 * macroblock_.row, average_}, vector);
        const ChromaVector ofChroma = fieldChromaVector(vector);
        for (std::size_t i = 1; i < 3; i++)
            predictHalf(
                block8x4, fieldOf(from_.plane(i), source),
                {fieldOf(to_.plane(i), parity), 8 * macroblock_.column, 4 * macroblock_.row, average_},
                ofChroma.x, ofChroma.y, context_.vop.rounding);
    }

    // Half samples of luma, quarters cut off.
    int halfSamples(int component) const { return context_.layer.quarterSample ? component / 2 : component; }

    // One vector counts like four equal ones.
    ChromaVector chromaVector(Vector vector) const
    {
        return {h263::chromaComponentOfSum(4 * halfSamples(vector.x)),
                h263::chromaComponentOfSum(4 * halfSamples(vector.y))};
    }

    ChromaVector fieldChromaVector(Vector vector) const
    {
        const int y = context_.layer.quarterSample ? vector.y >> 1 : vector.y;
        return {h263::chromaComponentOfSum(4 * halfSamples(vector.x)), h263::chromaComponentOfSum(4 * y)};
    }

    ChromaVector chromaVectorOfBlocks() const
    {
        int x = 0;
        int y = 0;
        for (const Vector& vector : motion_.vectors) {
            x += halfSamples(vector.x);
            y += halfSamples(vector.y);
        }
        return {h263::chromaComponentOfSum(x), h263::chromaComponentOfSum(y)};
    }

    void warp() const
    {
        const PaddedFrame::Plane& luma = from_.plane(0);
        const PaddedFrame::Plane& cb = from_.plane(1);
        const PaddedFrame::Plane& cr = from_.plane(2);
        const int x = 8 * macroblock_.column;
        const int y = 8 * macroblock_.row;
        const RoiRect lumaBlock{2 * x, 2 * y, 16, 16};
        const RoiRect chromaBlock{x, y, 8, 8};
        keliWarpLuma_MPEG4_8u_C1R(luma.samples, luma.step, to_.plane(0).at(2 * x, 2 * y), to_.plane(0).step,
                                  &lumaBlock, context_.warp);
        keliWarpChroma_MPEG4_8u_P2R(cb.samples, cb.step, cr.samples, cr.step, to_.plane(1).at(x, y),
                                    to_.plane(1).step, to_.plane(2).at(x, y), to_.plane(2).step, &chromaBlock,
                                    context_.warp);
    }

    const VopContext& context_;
    const Macroblock& macroblock_;
    const Macroblock::Motion& motion_;
    const PaddedFrame& from_;
    const PaddedFrame& to_;
    bool average_;
};

} // namespace

void predict(const VopContext& context, const Macroblock& macroblock)
{
    bool isSecond = false;
    for (std::size_t direction = 0; direction < 2; direction++)
        if (macroblock.motion[direction].used) {
            Predictor(context, macroblock, direction, isSecond).predict();
            isSecond = true;
        }
}

} // namespace kelvcpx::app::mpeg4
