// Overlapped block motion compensation (ISO/IEC 14496-2 7.6.6): a block is the weighted sum of three
// predictions, which are made with the block's own vector, with those of the blocks at its sides, and with
// those of the blocks above and below it.

#include "block/copy_kernels.h"
#include "block/strip.h"
#include "core/arguments.h"
#include "mpeg4/quarter_sample.h"

#include <kelvcpx/mpeg4_motion.h>

#include <array>
#include <cstddef>
#include <cstring>

namespace kelvcpx::mpeg4 {
namespace {

template <class T, int size>
using Square = std::array<T, static_cast<std::size_t>(size) * size>;

// Something for each of the three predictions.
template <class T>
struct Three {
    T own;
    T sides;
    T aboveBelow;
};

template <int size>
using Weights = Three<Square<int16_t, size>>;

constexpr Weights<8> mp4_OBMC8x8_wt = {
    .own =
        {
            4, 5, 5, 5, 5, 5, 5, 4, //
            5, 5, 5, 5, 5, 5, 5, 5, //
            5, 5, 6, 6, 6, 6, 5, 5, //
            5, 5, 6, 6, 6, 6, 5, 5, //
            5, 5, 6, 6, 6, 6, 5, 5, //
            5, 5, 6, 6, 6, 6, 5, 5, //
            5, 5, 5, 5, 5, 5, 5, 5, //
            4, 5, 5, 5, 5, 5, 5, 4, //
        },
    .sides =
        {
            2, 1, 1, 1, 1, 1, 1, 2, //
            2, 2, 1, 1, 1, 1, 2, 2, //
            2, 2, 1, 1, 1, 1, 2, 2, //
            2, 2, 1, 1, 1, 1, 2, 2, //
            2, 2, 1, 1, 1, 1, 2, 2, //
            2, 2, 1, 1, 1, 1, 2, 2, //
            2, 2, 1, 1, 1, 1, 2, 2, //
            2, 1, 1, 1, 1, 1, 1, 2, //
        },
    .aboveBelow =
        {
            2, 2, 2, 2, 2, 2, 2, 2, //
            1, 1, 2, 2, 2, 2, 1, 1, //
            1, 1, 1, 1, 1, 1, 1, 1, //
            1, 1, 1, 1, 1, 1, 1, 1, //
            1, 1, 1, 1, 1, 1, 1, 1, //
            1, 1, 1, 1, 1, 1, 1, 1, //
            1, 1, 2, 2, 2, 2, 1, 1, //
            2, 2, 2, 2, 2, 2, 2, 2, //
        },
};

// Each weight for a square of 2x2 samples.
constexpr Square<int16_t, 16> twice(const Square<int16_t, 8>& weights)
{
    Square<int16_t, 16> larger{};
    for (std::size_t i = 0; i < larger.size(); i++)
        larger[i] = weights[i / 32 * 8 + i % 16 / 2];
    return larger;
}

constexpr Weights<16> mp4_OBMC16x16_wt = {twice(mp4_OBMC8x8_wt.own), twice(mp4_OBMC8x8_wt.sides),
                                          twice(mp4_OBMC8x8_wt.aboveBelow)};

template <int size>
constexpr const Weights<size>& weightsOf()
{
    if constexpr (size == 8)
        return mp4_OBMC8x8_wt;
    else
        return mp4_OBMC16x16_wt;
}

// dst = (sum of weight * prediction + 4) >> 3 (ownvc_SumPredictOBMC8x8_8u_C1R,
// ownvc_SumPredictOBMC16x16_8u_C1R)
template <int size>
void sumPredictions(const Three<Square<uint8_t, size>>& predictions, uint8_t* dst, std::ptrdiff_t dstStep)
{
    constexpr int rows = stripRows<size>;
    const Weights<size>& weights = weightsOf<size>();
    for (int y = 0; y < size; y += rows) {
        const int i = y * size;
        const auto load = [&](const auto& prediction) { return loadUnaligned<U8x16>(prediction.data() + i); };
        const Three<U8x16> p = {load(predictions.own), load(predictions.sides), load(predictions.aboveBelow)};
        const auto sum = [&](auto widen, int half) {
            const auto product = [&](U8x16 prediction, const auto& weight) {
                return widen(prediction) * loadUnaligned<S16x8>(weight.data() + i + half);
            };
            return (product(p.own, weights.own) + product(p.sides, weights.sides) +
                    product(p.aboveBelow, weights.aboveBelow) + 4) >>
                   3;
        };
        const S16x8 low = sum([](U8x16 v) { return widenLow(v); }, 0);
        const S16x8 high = sum([](U8x16 v) { return widenHigh(v); }, 8);
        scatterRows<size, rows>(dst + y * dstStep, dstStep, narrow(low, high));
    }
}

struct HalfSample {
    static constexpr int fractionBits = 1;

    template <int width, int height>
    static void copy(const uint8_t* src, std::ptrdiff_t srcStep, uint8_t* dst, std::ptrdiff_t dstStep,
                     int32_t acc, int32_t rounding)
    {
        if constexpr (width == 8 && height == 16) {
            copy<8, 8>(src, srcStep, dst, dstStep, acc, rounding);
            copy<8, 8>(src + 8 * srcStep, srcStep, dst + 8 * dstStep, dstStep, acc, rounding);
        } else {
            table<width, height>()[halfSampleEntry(acc, rounding)](src, srcStep, dst, dstStep);
        }
    }

private:
    template <int width, int height>
    static const CopyTable& table()
    {
        if constexpr (width == 4)
            return ownvc_Copy4x8HP_8u_C1R;
        else if constexpr (width == 8)
            return height == 4 ? ownvc_Copy8x4HP_8u_C1R : ownvc_Copy8x8HP_8u_C1R;
        else
            return height == 8 ? ownvc_Copy16x8HP_8u_C1R : ownvc_Copy16x16HP_8u_C1R;
    }
};

struct QuarterSample {
    static constexpr int fractionBits = 2;

    template <int width, int height>
    static void copy(const uint8_t* src, std::ptrdiff_t srcStep, uint8_t* dst, std::ptrdiff_t dstStep,
                     int32_t acc, int32_t rounding)
    {
        ownvc_CopyQP_8u_C1R(src, srcStep, dst, dstStep, {width, height}, acc, rounding);
    }
};

struct Reference {
    const uint8_t* samples; // at the block's place
    std::ptrdiff_t step;
    int32_t rounding;
};

struct Vectors {
    MotionVector own;
    MotionVector left;
    MotionVector right;
    MotionVector above;
    MotionVector below;
};

// Makes the predictions of a block `size` samples wide and high.
template <class Precision, int size>
class Overlapping
{
public:
    Overlapping(const Reference& ref, const Vectors& vectors) : ref_(ref), own_(vectors.own)
    {
        constexpr int half = size / 2;
        predict<size, size>(own_, 0, 0, p_.own);
        predictPart<half, size>(vectors.left, 0, 0, p_.sides);
        predictPart<half, size>(vectors.right, half, 0, p_.sides);
        predictPart<size, half>(vectors.above, 0, 0, p_.aboveBelow);
        predictPart<size, half>(vectors.below, 0, half, p_.aboveBelow);
    }

    const auto& predictions() const { return p_; }

private:
    using Block = Square<uint8_t, size>;

    template <int width, int height>
    void predict(MotionVector vector, int x, int y, Block& block)
    {
        constexpr int bits = Precision::fractionBits;
        constexpr int mask = (1 << bits) - 1;
        const uint8_t* const src =
            ref_.samples + (y + (vector.y >> bits)) * ref_.step + x + (vector.x >> bits);
        const int32_t acc = (vector.y & mask) << bits | (vector.x & mask);
        Precision::template copy<width, height>(src, ref_.step, block.data() + y * size + x, size, acc,
                                                ref_.rounding);
    }

    // A neighbour that has the block's own vector gives the same prediction.
    template <int width, int height>
    void predictPart(MotionVector vector, int x, int y, Block& block)
    {
        if (vector.x != own_.x || vector.y != own_.y)
            return predict<width, height>(vector, x, y, block);
        for (int row = y; row < y + height; row++)
            std::memcpy(block.data() + row * size + x, p_.own.data() + row * size + x, width);
    }

    Reference ref_;
    MotionVector own_;
    Three<Block> p_;
};

template <class Precision, int size>
Status compensate(const uint8_t* src, int32_t srcStep, uint8_t* dst, int32_t dstStep, const MotionVector* own,
                  const MotionVector* left, const MotionVector* right, const MotionVector* above,
                  const MotionVector* below, int32_t rounding)
{
    if (anyNull(src, dst))
        return StatusNullPointer;
    const Overlapping<Precision, size> block({src, srcStep, rounding}, {*own, *left, *right, *above, *below});
    sumPredictions<size>(block.predictions(), dst, dstStep);
    return StatusOk;
}

} // namespace
} // namespace kelvcpx::mpeg4

using namespace kelvcpx::mpeg4;

Status keliOBMC8x8HP_MPEG4_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                                  const MotionVector* pMVCur, const MotionVector* pMVLeft,
                                  const MotionVector* pMVRight, const MotionVector* pMVAbove,
                                  const MotionVector* pMVBelow, int32_t rounding) noexcept
{
    return compensate<HalfSample, 8>(pSrc, srcStep, pDst, dstStep, pMVCur, pMVLeft, pMVRight, pMVAbove,
                                     pMVBelow, rounding);
}

Status keliOBMC16x16HP_MPEG4_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                                    const MotionVector* pMVCur, const MotionVector* pMVLeft,
                                    const MotionVector* pMVRight, const MotionVector* pMVAbove,
                                    const MotionVector* pMVBelow, int32_t rounding) noexcept
{
    return compensate<HalfSample, 16>(pSrc, srcStep, pDst, dstStep, pMVCur, pMVLeft, pMVRight, pMVAbove,
                                      pMVBelow, rounding);
}

Status keliOBMC8x8QP_MPEG4_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                                  const MotionVector* pMVCur, const MotionVector* pMVLeft,
                                  const MotionVector* pMVRight, const MotionVector* pMVAbove,
                                  const MotionVector* pMVBelow, int32_t rounding) noexcept
{
    return compensate<QuarterSample, 8>(pSrc, srcStep, pDst, dstStep, pMVCur, pMVLeft, pMVRight, pMVAbove,
                                        pMVBelow, rounding);
}
