// The library's records, in memory of their own.
#pragma once

#include "mpeg4/headers.h"

#include <kelvcpx/mpeg4.h>
#include <kelvcpx/mpeg4_motion.h>

#include <cstddef>
#include <memory>

namespace kelvcpx::app::mpeg4 {

// A record lies anywhere in its buffer, so neither is moved.
template <class Spec>
class Record
{
public:
    explicit Record(Status (*getSize)(int32_t*) noexcept)
    {
        int32_t size = 0;
        getSize(&size);
        buffer_ = std::make_unique<std::byte[]>(static_cast<std::size_t>(size));
    }

    Spec* get() const { return reinterpret_cast<Spec*>(buffer_.get()); }

private:
    std::unique_ptr<std::byte[]> buffer_;
};

// The inverse quantisers of a video object layer.
class Quantisers
{
public:
    explicit Quantisers(const VideoObjectLayer& layer)
    {
        const bool weighted = layer.weightedQuantisation;
        keliQuantInvIntraInit_MPEG4(weighted ? layer.intraMatrix.data() : nullptr, intra_.get(), 8);
        keliQuantInvInterInit_MPEG4(weighted ? layer.interMatrix.data() : nullptr, inter_.get(), 8);
    }

    const QuantInvSpec* intra() const { return intra_.get(); }
    const QuantInvSpec* inter() const { return inter_.get(); }

private:
    Record<QuantInvSpec> intra_{keliQuantInvIntraGetSize_MPEG4};
    Record<QuantInvSpec> inter_{keliQuantInvInterGetSize_MPEG4};
};

// The warping of an S-VOP.
class Warping
{
public:
    Warping(const VideoObjectLayer& layer, const Vop& vop)
    {
        constexpr int32_t globalMotion = 2;
        // What lies outside of the macroblocks of the reference repeats their border.
        const RoiRect reference{0, 0, 16 * layer.macroblocksWide(), 16 * layer.macroblocksHigh()};
        const RoiRect picture{0, 0, layer.width, layer.height};
        keliWarpInit_MPEG4(spec_.get(), vop.warping.du.data(), vop.warping.dv.data(), layer.warpingPoints,
                           globalMotion, layer.warpingAccuracy, vop.rounding, layer.quarterSample,
                           vop.fcode[0], &reference, &picture);
    }

    const WarpSpec* spec() const { return spec_.get(); }

private:
    Record<WarpSpec> spec_{keliWarpGetSize_MPEG4};
};

} // namespace kelvcpx::app::mpeg4
