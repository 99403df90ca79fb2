// Scaling of coefficients, the inverse of quantisation (ITU-T H.264 8.5.9 to 8.5.13). Whatever rule the
// caller chose, a coefficient is multiplied by a factor and shifted, and its low bits are kept.
#pragma once

#include "core/arithmetic.h"
#include "core/vec.h"
#include "h264/transform.h"
#include "tables/h264_tables.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace kelvcpx::h264 {

// The vectors of a type of coefficients.
template <class Coefficient>
struct LanesOf;

template <>
struct LanesOf<int16_t> {
    using Type = S16x8;

    // Factors times 2^left.
    static S16x8 factors(const int16_t* p, int32_t left)
    {
        return std::bit_cast<S16x8>(loadUnaligned<U16x8>(p) << left);
    }
};

template <>
struct LanesOf<int32_t> {
    using Type = S32x4;

    static S32x4 factors(const int16_t* p, int32_t left)
    {
        const Vec16<uint64_t> four{loadUnaligned<uint64_t>(p), 0};
        return widenLow(std::bit_cast<S16x8>(four)) << left;
    }
};

// The coefficients of a block in raster order, side by side.
template <std::size_t size, class Coefficient>
using Coefficients =
    std::array<typename LanesOf<Coefficient>::Type, size * sizeof(Coefficient) / sizeof(S16x8)>;

template <std::size_t size, class Coefficient>
Coefficients<size, Coefficient> loadCoefficients(const Coefficient* p)
{
    return loadUnaligned<Coefficients<size, Coefficient>>(p);
}

// The lanes with another value in the first one.
template <class Lanes, class Coefficient>
Lanes withFirst(Lanes lanes, Coefficient value)
{
    lanes[0] = value;
    return lanes;
}

// (c * factor + half) >> shift in lanes, for shifts 1..15. The products have 32 bits in lanes of 16 bits too.
inline S16x8 multiplyAndRound(S16x8 c, S16x8 factor, int32_t shift)
{
    const auto low = std::bit_cast<U16x8>(wrapMul(c, factor));
    const auto high = std::bit_cast<U16x8>(multiplyHigh(c, factor));
    return std::bit_cast<S16x8>((low >> shift) + (high << (16 - shift)) + ((low >> (shift - 1)) & 1));
}

inline S32x4 multiplyAndRound(S32x4 c, S32x4 factor, int32_t shift)
{
    const int32_t half = 1 << (shift - 1);
    return wrapAdd(wrapMul(c, factor), S32x4{} + half) >> shift;
}

// The scaling of the blocks of a macroblock that have `size` coefficients.
template <std::size_t size, class Coefficient>
class Scaling
{
public:
    // Multiplies by factor * 2^exponent, rounding where that is a division.
    Scaling(const int16_t* factors, int32_t exponent) : shift_(exponent < 0 ? -exponent : 0)
    {
        const int32_t left = exponent > 0 ? exponent : 0;
        for (std::size_t i = 0; i < factors_.size(); i++)
            factors_[i] = LanesOf<Coefficient>::factors(factors + i * (size / factors_.size()), left);
    }

    void setDcFactor(Coefficient factor) { factors_[0] = withFirst(factors_[0], factor); }

    Coefficients<size, Coefficient> operator()(const Coefficients<size, Coefficient>& c) const
    {
        Coefficients<size, Coefficient> scaled;
        if (shift_ == 0)
            for (std::size_t i = 0; i < scaled.size(); i++)
                scaled[i] = wrapMul(c[i], factors_[i]);
        else
            for (std::size_t i = 0; i < scaled.size(); i++)
                scaled[i] = multiplyAndRound(c[i], factors_[i], shift_);
        return scaled;
    }

private:
    Coefficients<size, Coefficient> factors_;
    int32_t shift_;
};

// The scaling of the DC coefficients that have a transform of their own.
struct DcScaling {
    int32_t factor;
    int32_t rounding;
    int32_t shift;

    int32_t operator()(int32_t v) const { return wrapAdd(wrapMul(v, factor), rounding) >> shift; }
};

// That of 8.5.10, and of 8.5.11.2 for 4:2:2, with a factor for the QP % 6.
inline DcScaling roundedDcScaling(int32_t factor, int32_t qp)
{
    const int32_t period = qp / 6;
    if (period < 6)
        return {factor, 1 << (5 - period), 6 - period};
    return {factor * (1 << (period - 6)), 0, 0};
}

// How blocks of n x n coefficients become residuals.
template <int n, class Coefficient>
struct Dequantiser {
    Scaling<n * n, Coefficient> scaling;
    bool lossless; // no scaling and no transforms: coefficients are residuals
};

// The rules of scaling. Each gives the dequantiser of blocks and the scaling of DC coefficients.

// The default scaling of 4x4 blocks, with the factors of a table for every QP.
class DefaultScaling
{
public:
    explicit DefaultScaling(int32_t qp) : qp_(static_cast<std::size_t>(qp)) {}

    template <int n, class Coefficient>
    Dequantiser<n, Coefficient> blocks() const
    {
        static_assert(n == 4);
        Scaling<16, Coefficient> scaling(InvQuantTable_w7[qp_].data(), 0);
        scaling.setDcFactor(static_cast<Coefficient>(InvQuantTable[qp_][0]));
        return {scaling, false};
    }

    DcScaling lumaDc() const
    {
        const int32_t shift = qp_ < 6 ? 2 : qp_ < 12 ? 1 : 0;
        return {InvQuantLuma16x16DCTable[qp_], shift, shift};
    }

    DcScaling chromaDc() const { return {InvQuantTable[qp_][0], 0, 1}; }

private:
    std::size_t qp_;
};

// Factors of the caller: LevelScale4x4 or LevelScale8x8 (8.5.9) for the QP % 6 of the macroblock.
class LevelScaling
{
public:
    LevelScaling(const int16_t* factors, int32_t qp, bool bypass)
        : factors_(factors), qp_(qp), lossless_(bypass && qp == 0)
    {}

    template <int n, class Coefficient>
    Dequantiser<n, Coefficient> blocks() const
    {
        return {{factors_, qp_ / 6 - (n == 4 ? 4 : 6)}, lossless_};
    }

    DcScaling lumaDc() const { return roundedDcScaling(factors_[0], qp_); }

    DcScaling chromaDc() const { return {factors_[0] * (1 << (qp_ / 6)), 0, 5}; }

private:
    const int16_t* factors_;
    int32_t qp_;
    bool lossless_;
};

// The same for chroma of 4:2:2, whose DC coefficients have a QP of their own (8.5.11.2) and a factor for
// that.
class LevelScaling422
{
public:
    LevelScaling422(const int16_t* factors, int32_t qp, int32_t dcFactor, bool bypass)
        : blocks_(factors, qp, bypass), dc_(roundedDcScaling(dcFactor, qp + 3))
    {}

    template <int n, class Coefficient>
    Dequantiser<n, Coefficient> blocks() const
    {
        return blocks_.blocks<n, Coefficient>();
    }

    DcScaling chromaDc() const { return dc_; }

private:
    LevelScaling blocks_;
    DcScaling dc_;
};

} // namespace kelvcpx::h264
