// Macroblocks as the records of the interface describe them: checks, and the way to the templates.
#pragma once

#include "core/arguments.h"
#include "h264/reconstruct.h"

#include <kelvcpx/h264_high.h>

#include <array>
#include <cstddef>
#include <cstdint>

namespace kelvcpx::h264 {

inline DepthHigh depthOf(const BlockReconParams& params)
{
    return DepthHigh(params.bitDepth);
}

inline Depth8 depthOf(const BlockReconParams8u&)
{
    return {};
}

template <class Params>
bool hasNull(const Params* params)
{
    return anyNull(params) || anyNull(params->ppSrcCoeff, params->pSrcDst, params->pLevelScale) ||
           anyNull(*params->ppSrcCoeff);
}

// What follows the pointers, for one record or two.
template <class Params, std::size_t n>
Status checkNumbers(const std::array<const Params*, n>& records, int32_t largest)
{
    for (const Params* params : records)
        if (params->srcDstStep < 1)
            return StatusBadStep;
    for (const Params* params : records)
        if (params->QP < 0 || params->QP > largest)
            return StatusOutOfRange;
    return StatusOk;
}

inline Status checkLuma(const BlockReconParams* params)
{
    if (hasNull(params))
        return StatusNullPointer;
    return checkNumbers<BlockReconParams, 1>({params}, largestQp + qpOffset(depthOf(*params)));
}

template <class Params>
Status checkChroma(const Params* const* pair)
{
    if (anyNull(pair) || hasNull(pair[0]) || hasNull(pair[1]))
        return StatusNullPointer;
    return checkNumbers<Params, 2>({pair[0], pair[1]}, largestChromaQp + qpOffset(depthOf(*pair[0])));
}

template <class Params>
auto samplesOf(const Params& params)
{
    using Depth = decltype(depthOf(params));
    return Samples<Depth>{params.pSrcDst, params.srcDstStep};
}

inline LevelScaling scalingOf(const BlockReconParams& params)
{
    return LevelScaling(params.pLevelScale, params.QP, params.bypass != 0);
}

// What a chroma format makes of the records of a pair.

struct Records420 {
    using Format = Chroma420;

    template <class Params>
    auto component(int index, const Params& params) const
    {
        using Depth = decltype(depthOf(params));
        return ChromaComponent<Depth, LevelScaling>{
            params.ppSrcCoeff, samplesOf(params), codedOf<Format>(index, params.cbp),
            LevelScaling(params.pLevelScale, params.QP, params.bypass != 0)};
    }
};

struct Records422 {
    using Format = Chroma422;

    std::array<int16_t, 2> dcScales;

    template <class Params>
    auto component(int index, const Params& params) const
    {
        using Depth = decltype(depthOf(params));
        const int16_t dcScale = dcScales[static_cast<std::size_t>(index)];
        return ChromaComponent<Depth, LevelScaling422>{
            params.ppSrcCoeff, samplesOf(params), params.cbp,
            LevelScaling422(params.pLevelScale, params.QP, dcScale, params.bypass != 0)};
    }
};

// The residual of a pair that has been checked.
template <class Records, class Params>
Status addResidualOf(const Params* const* pair, const Records& records)
{
    reconstructChroma<typename Records::Format>(records.component(0, *pair[0]),
                                                records.component(1, *pair[1]), depthOf(*pair[0]));
    return StatusOk;
}

template <class Records, class Params>
Status reconstructInterPair(const Params* const* pair, const Records& records)
{
    if (const Status status = checkChroma(pair); status != StatusOk)
        return status;
    return addResidualOf(pair, records);
}

template <class Records, class Params>
Status reconstructIntraPair(const Params* const* pair, uint32_t mode, uint8_t edgeFlags,
                            const Records& records)
{
    if (const Status status = checkChroma(pair); status != StatusOk)
        return status;
    const Status status = predictChromaComponents<typename Records::Format>(
        samplesOf(*pair[0]), samplesOf(*pair[1]), mode, edgeFlags, depthOf(*pair[0]));
    return status == StatusOk ? addResidualOf(pair, records) : status;
}

template <class Records, class Params>
Status reconstructIntraHalfPair(const Params* const* pair, uint32_t mode, uint8_t edgeFlagsUpper,
                                uint8_t edgeFlagsLower, const Records& records)
{
    if (const Status status = checkChroma(pair); status != StatusOk)
        return status;
    const Status status = predictChromaHalves<typename Records::Format>(
        samplesOf(*pair[0]), samplesOf(*pair[1]), mode, edgeFlagsUpper, edgeFlagsLower, depthOf(*pair[0]));
    return status == StatusOk ? addResidualOf(pair, records) : status;
}

} // namespace kelvcpx::h264
