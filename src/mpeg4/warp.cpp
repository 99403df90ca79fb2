// Prediction by warping: sprites and global motion compensation (ISO/IEC 14496-2 7.8.5, 7.8.6).

#include "mpeg4/warp.h"

#include "block/copy_kernels.h"
#include "core/arguments.h"
#include "core/arithmetic.h"
#include "core/rows.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

namespace kelvcpx::mpeg4 {
namespace {

struct Component {
    const uint8_t* src;
    std::ptrdiff_t srcStep;
    uint8_t* dst;
    std::ptrdiff_t dstStep;
};

// Components that are predicted together. Both rectangles are places in the picture.
template <std::size_t planes>
struct Block {
    std::array<Component, planes> components;
    RoiRect rect;
    RoiRect reference;
};

// The positions of samples of a row are mapped, the reference samples there are gathered, and then
// interpolated together.
constexpr std::size_t groupSize = 16;

template <class T>
using Group = std::array<T, groupSize>;

// The samples round each position of a group.
struct Corners {
    Group<uint8_t> upperLeft{};
    Group<uint8_t> upperRight{};
    Group<uint8_t> lowerLeft{};
    Group<uint8_t> lowerRight{};
};

// The reference samples at the positions of a group, in each of some planes, and how far from the upper left
// one the position is, in 1/16 sample.
template <std::size_t planes>
class Neighbourhoods
{
public:
    // A position beyond the border of the reference is that of the nearest sample.
    [[gnu::always_inline]] void gather(std::size_t i, const Block<planes>& block, WarpPoint position)
    {
        const int64_t x = std::clamp<int64_t>(position.x, 0, 16 * (int64_t{block.reference.width} - 1));
        const int64_t y = std::clamp<int64_t>(position.y, 0, 16 * (int64_t{block.reference.height} - 1));
        right_[i] = static_cast<uint8_t>(x & 15);
        down_[i] = static_cast<uint8_t>(y & 15);
        const std::ptrdiff_t next = right_[i] != 0 ? 1 : 0;
        for (std::size_t p = 0; p < planes; p++) {
            const Component& c = block.components[p];
            const uint8_t* const upper = c.src + (y >> 4) * c.srcStep + (x >> 4);
            const uint8_t* const lower = upper + (down_[i] != 0 ? c.srcStep : 0);
            corners_[p].upperLeft[i] = upper[0];
            corners_[p].upperRight[i] = upper[next];
            corners_[p].lowerLeft[i] = lower[0];
            corners_[p].lowerRight[i] = lower[next];
        }
    }

    // The result is within 16 bits, and the sums may wrap on the way to it.
    Group<uint8_t> interpolate(std::size_t plane, int32_t round) const
    {
        const auto& [upperLeft, upperRight, lowerLeft, lowerRight] = corners_[plane];
        Group<uint8_t> result;
        for (std::size_t i = 0; i < groupSize; i++) {
            const auto upper =
                static_cast<uint16_t>(16 * upperLeft[i] + right_[i] * (upperRight[i] - upperLeft[i]));
            const auto lower =
                static_cast<uint16_t>(16 * lowerLeft[i] + right_[i] * (lowerRight[i] - lowerLeft[i]));
            const auto sum = static_cast<uint16_t>(16 * upper + down_[i] * (lower - upper) + round);
            result[i] = static_cast<uint8_t>(sum >> 8);
        }
        return result;
    }

private:
    Group<uint8_t> right_{};
    Group<uint8_t> down_{};
    std::array<Corners, planes> corners_;
};

// Walks along a row of the picture.
class AffineWalk
{
public:
    AffineWalk(const AffineMapping& mapping, int32_t accuracy)
        : mapping_(mapping), significant_(-1 << (3 - accuracy))
    {}

    void start(int64_t x, int64_t y)
    {
        at_ = {mapping_.origin.x + x * mapping_.column.x + y * mapping_.row.x,
               mapping_.origin.y + x * mapping_.column.y + y * mapping_.row.y};
    }

    [[gnu::always_inline]] WarpPoint next()
    {
        const WarpPoint position{at_.x >> mapping_.shift & significant_,
                                 at_.y >> mapping_.shift & significant_};
        at_.x += mapping_.column.x;
        at_.y += mapping_.column.y;
        return position;
    }

private:
    AffineMapping mapping_;
    int64_t significant_;
    WarpPoint at_{};
};

class PerspectiveWalk
{
public:
    // The mapping's I is unit * x + origin.x, and J likewise.
    PerspectiveWalk(const PerspectiveMapping& mapping, int32_t accuracy, const RoiRect& reference,
                    int64_t unit, WarpPoint origin)
        : mapping_(mapping), toSixteenths_(1 << (3 - accuracy)), reference_{16 * int64_t{reference.x},
                                                                            16 * int64_t{reference.y}},
          unit_(unit), origin_(origin)
    {}

    void start(int64_t x, int64_t y)
    {
        const auto i = static_cast<double>(unit_ * x + origin_.x);
        const auto j = static_cast<double>(unit_ * y + origin_.y);
        const auto evaluate = [&](const LinearForm& form) {
            return form.column * i + form.row * j + form.constant;
        };
        x_ = evaluate(mapping_.x);
        y_ = evaluate(mapping_.y);
        w_ = evaluate(mapping_.w);
    }

    [[gnu::always_inline]] WarpPoint next()
    {
        const double reciprocal = 1 / w_;
        const WarpPoint position{round(x_ * reciprocal) * toSixteenths_ - reference_.x,
                                 round(y_ * reciprocal) * toSixteenths_ - reference_.y};
        const auto unit = static_cast<double>(unit_);
        x_ += unit * mapping_.x.column;
        y_ += unit * mapping_.y.column;
        w_ += unit * mapping_.w.column;
        return position;
    }

private:
    // Halves away from zero, even if the reciprocal made them a little less.
    static int64_t round(double v)
    {
        constexpr double half = 0.5000000001;
        constexpr double limit = 1e9; // beyond every picture; a degenerate mapping divides by zero
        const double bounded = v > -limit ? std::min(v, limit) : -limit;
        return static_cast<int64_t>(bounded + (bounded < 0 ? -half : half));
    }

    PerspectiveMapping mapping_;
    int64_t toSixteenths_;
    WarpPoint reference_;
    int64_t unit_;
    WarpPoint origin_;
    double x_ = 0, y_ = 0, w_ = 0;
};

template <std::size_t planes, class Walk>
void warp(const Block<planes>& block, Walk walk, int32_t round)
{
    for (int32_t y = 0; y < block.rect.height; y++) {
        walk.start(block.rect.x, int64_t{block.rect.y} + y);
        for (int32_t x = 0; x < block.rect.width; x += static_cast<int32_t>(groupSize)) {
            const auto count = std::min(static_cast<std::size_t>(block.rect.width - x), groupSize);
            Neighbourhoods<planes> samples;
            for (std::size_t i = 0; i < count; i++)
                samples.gather(i, block, walk.next());
            for (std::size_t p = 0; p < planes; p++) {
                const Component& c = block.components[p];
                std::memcpy(rowAt(c.dst, c.dstStep, y) + x, samples.interpolate(p, round).data(), count);
            }
        }
    }
}

// The kernel for blocks of this size, if there is one.
const CopyTable* halfSampleTable(const RoiRect& rect)
{
    if (rect.width == 16 && rect.height == 16)
        return &ownvc_Copy16x16HP_8u_C1R;
    if (rect.width == 8 && rect.height == 8)
        return &ownvc_Copy8x8HP_8u_C1R;
    return nullptr;
}

// Predicts a block that is only moved, to a full or half sample and within the reference, as block copies do.
template <std::size_t planes>
bool predictByCopy(const Block<planes>& block, WarpPoint position, int32_t rounding)
{
    const int64_t right = position.x & 15;
    const int64_t down = position.y & 15;
    const int64_t x = position.x >> 4;
    const int64_t y = position.y >> 4;
    const CopyTable* const table = halfSampleTable(block.rect);
    if (table == nullptr || right % 8 != 0 || down % 8 != 0 || x < 0 || y < 0 ||
        x + block.rect.width + right / 8 > block.reference.width ||
        y + block.rect.height + down / 8 > block.reference.height)
        return false;
    const CopyKernel copy = (*table)[halfSampleEntry(static_cast<int32_t>(right / 8 + down / 4), rounding)];
    for (const Component& c : block.components)
        copy(c.src + y * c.srcStep + x, c.srcStep, c.dst, c.dstStep);
    return true;
}

// What to add to the sum of weighted samples.
int32_t roundingTerm(const WarpSpec& spec)
{
    return 128 - (spec.rounding << (3 - spec.accuracy));
}

template <std::size_t planes>
void warpAffine(const WarpSpec& spec, const AffineMapping& mapping, const Block<planes>& block)
{
    AffineWalk walk(mapping, spec.accuracy);
    if (spec.points <= 1) {
        walk.start(block.rect.x, block.rect.y);
        if (predictByCopy(block, walk.next(), spec.rounding))
            return;
    }
    warp(block, walk, roundingTerm(spec));
}

PerspectiveWalk lumaPerspective(const WarpSpec& spec)
{
    return {spec.perspective, spec.accuracy, spec.luma, 1, {-int64_t{spec.x0}, -int64_t{spec.y0}}};
}

void warpLuma(const WarpSpec& spec, const Block<1>& block)
{
    if (spec.points < 4)
        warpAffine(spec, spec.lumaMapping, block);
    else
        warp(block, lumaPerspective(spec), roundingTerm(spec));
}

// A chroma sample x, y lies at 2 * x + 1/2, 2 * y + 1/2 of luma. With I and J twice that, relative to the
// VOP, the luma mapping gives the position from where this leads back to chroma.
PerspectiveMapping chromaMapping(const WarpSpec& spec)
{
    const auto& [x, y, w] = spec.perspective;
    const double unit = 2 << spec.accuracy;
    const auto numerator = [&, &w = w](const LinearForm& form) {
        return LinearForm{2 * form.column - unit * w.column, 2 * form.row - unit * w.row,
                          4 * form.constant - 2 * unit * w.constant};
    };
    return {numerator(x), numerator(y), {4 * w.column, 4 * w.row, 8 * w.constant}};
}

void warpChroma(const WarpSpec& spec, const Block<2>& block)
{
    if (spec.points < 4)
        return warpAffine(spec, spec.chromaMapping, block);
    const PerspectiveWalk walk(chromaMapping(spec), spec.accuracy, spec.chroma, 4,
                               {1 - 2 * int64_t{spec.x0}, 1 - 2 * int64_t{spec.y0}});
    warp(block, walk, roundingTerm(spec));
}

// The sum of the displacements of a macroblock's samples in units of 2^-(accuracy + 1) sample.
template <class Walk>
WarpPoint sumOfDisplacements(const WarpSpec& spec, Walk walk, int64_t x, int64_t y)
{
    constexpr int64_t size = 16;
    const int32_t insignificant = 3 - spec.accuracy;
    WarpPoint sum{0, 0};
    for (int64_t row = 0; row < size; row++) {
        walk.start(x, y + row);
        for (int64_t column = 0; column < size; column++) {
            const WarpPoint position = walk.next();
            sum.x += (position.x >> insignificant) - ((x - spec.luma.x + column) << (spec.accuracy + 1));
            sum.y += (position.y >> insignificant) - ((y - spec.luma.y + row) << (spec.accuracy + 1));
        }
    }
    return sum;
}

// The mean displacement in half or quarter samples, halves away from zero.
int64_t meanOfMacroblock(int64_t sum, const WarpSpec& spec)
{
    const int32_t shift = spec.accuracy + 8 - spec.quarterSample;
    return (sum - (sum < 0 ? 1 : 0) + (int64_t{1} << (shift - 1))) >> shift;
}

WarpPoint globalVector(const WarpSpec& spec, int32_t x, int32_t y)
{
    if (spec.points == 0)
        return {0, 0};
    if (spec.points == 1) {
        const int32_t shift = 3 - spec.quarterSample;
        return {static_cast<int16_t>(spec.first.x >> shift), static_cast<int16_t>(spec.first.y >> shift)};
    }
    const WarpPoint sum = spec.points < 4
                              ? sumOfDisplacements(spec, AffineWalk(spec.lumaMapping, spec.accuracy), x, y)
                              : sumOfDisplacements(spec, lumaPerspective(spec), x, y);
    return {meanOfMacroblock(sum.x, spec), meanOfMacroblock(sum.y, spec)};
}

} // namespace
} // namespace kelvcpx::mpeg4

using namespace kelvcpx;
using namespace kelvcpx::mpeg4;

Status keliWarpLuma_MPEG4_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                                 const RoiRect* pDstRect, const WarpSpec* pSpec) noexcept
{
    if (anyNull(pSrc, pDst, pDstRect, pSpec))
        return StatusNullPointer;
    const WarpSpec& spec = *recordIn(pSpec);
    if (spec.tag != warpTag)
        return StatusBadContext;
    warpLuma(spec, {{{{pSrc, srcStep, pDst, dstStep}}}, *pDstRect, spec.luma});
    return StatusOk;
}

Status keliWarpChroma_MPEG4_8u_P2R(const uint8_t* pSrcCb, int32_t srcStepCb, const uint8_t* pSrcCr,
                                   int32_t srcStepCr, uint8_t* pDstCb, int32_t dstStepCb, uint8_t* pDstCr,
                                   int32_t dstStepCr, const RoiRect* pDstRect, const WarpSpec* pSpec) noexcept
{
    if (anyNull(pSrcCb, pSrcCr, pDstCb, pDstCr, pDstRect, pSpec))
        return StatusNullPointer;
    const WarpSpec& spec = *recordIn(pSpec);
    if (spec.tag != warpTag)
        return StatusBadContext;
    warpChroma(spec, {{{{pSrcCb, srcStepCb, pDstCb, dstStepCb}, {pSrcCr, srcStepCr, pDstCr, dstStepCr}}},
                      *pDstRect,
                      spec.chroma});
    return StatusOk;
}

Status keliCalcGlobalMV_MPEG4(int32_t x, int32_t y, MotionVector* pMV, const WarpSpec* pSpec) noexcept
{
    if (anyNull(pMV, pSpec))
        return StatusNullPointer;
    const WarpSpec& spec = *recordIn(pSpec);
    if (spec.tag != warpTag)
        return StatusBadContext;
    const WarpPoint vector = globalVector(spec, x, y);
    const auto clip = [limit = int64_t{spec.vectorLimit}](int64_t v) {
        return static_cast<int16_t>(std::clamp(v, -limit, limit - 1));
    };
    *pMV = {clip(vector.x), clip(vector.y)};
    return StatusOk;
}

Status keliChangeSpriteBrightness_MPEG4_8u_C1IR(uint8_t* pSrcDst, int32_t srcDstStep, int32_t width,
                                                int32_t height, int32_t change) noexcept
{
    if (anyNull(pSrcDst))
        return StatusNullPointer;
    if (change < -112 || change > 1648)
        return StatusOutOfRange;
    if (change == 0)
        return StatusOk;
    const int32_t factor = (change * 1024 + (change < 0 ? -50 : 50)) / 100 + 1024;
    for (int32_t y = 0; y < height; y++) {
        uint8_t* const row = rowAt(pSrcDst, srcDstStep, y);
        for (int32_t x = 0; x < width; x++)
            row[x] = saturate8u((row[x] * factor + 520) >> 10);
    }
    return StatusOk;
}
