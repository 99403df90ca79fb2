// What the interpolations refuse, each in the order of their checks.
#pragma once

#include "support/faults.h"

#include <kelvcpx/h264_inter.h>

#include <cstdint>
#include <vector>

namespace kelvcpx::test {

// The arguments of an operation on 8-bit samples.
struct InterpolationRequest {
    const uint8_t* src;
    int32_t srcStep;
    uint8_t* dst;
    int32_t dstStep;
    int32_t dx;
    int32_t dy;
    RoiSize size;
};

inline std::vector<Fault<InterpolationRequest>> lumaFaults()
{
    using R = InterpolationRequest;
    return {fault(StatusNullPointer, &R::src, nullptr), fault(StatusNullPointer, &R::dst, nullptr),
            fault(StatusBadArgument, &R::dx, 4),        fault(StatusBadArgument, &R::dx, -1),
            fault(StatusBadArgument, &R::dy, 4),        fault(StatusBadArgument, &R::dy, -4),
            fault(StatusBadSize, &R::size, {8, 2}),     fault(StatusBadSize, &R::size, {8, 12}),
            fault(StatusBadSize, &R::size, {2, 8}),     fault(StatusBadSize, &R::size, {32, 16}),
            fault(StatusBadSize, &R::size, {0, 0}),     fault(StatusBadSize, &R::size, {-8, 8})};
}

inline std::vector<Fault<InterpolationRequest>> chromaFaults()
{
    using R = InterpolationRequest;
    return {fault(StatusNullPointer, &R::src, nullptr), fault(StatusNullPointer, &R::dst, nullptr),
            fault(StatusBadArgument, &R::dx, 8),        fault(StatusBadArgument, &R::dx, -1),
            fault(StatusBadArgument, &R::dy, 8),        fault(StatusBadArgument, &R::dy, -8),
            fault(StatusBadSize, &R::size, {8, 1}),     fault(StatusBadSize, &R::size, {8, 32}),
            fault(StatusBadSize, &R::size, {16, 8}),    fault(StatusBadSize, &R::size, {6, 8}),
            fault(StatusBadSize, &R::size, {0, 0}),     fault(StatusBadSize, &R::size, {8, -8})};
}

// Of 16-bit samples, apart from the null record; the good size is 8x8.
inline std::vector<Fault<InterpolationParams16u>> lumaFaults16()
{
    using R = InterpolationParams16u;
    return {fault(StatusNullPointer, &R::pSrc, nullptr), fault(StatusNullPointer, &R::pDst, nullptr),
            fault(StatusBadStep, &R::srcStep, -1),       fault(StatusBadStep, &R::dstStep, -1),
            fault(StatusBadArgument, &R::dx, 4),         fault(StatusBadArgument, &R::dx, -1),
            fault(StatusBadArgument, &R::dy, 4),         fault(StatusBadArgument, &R::dy, -4),
            fault(StatusBadSize, &R::roiSize, {8, 2}),   fault(StatusBadSize, &R::roiSize, {2, 8}),
            fault(StatusBadSize, &R::roiSize, {12, 8}),  fault(StatusBadSize, &R::roiSize, {4, 16}),
            fault(StatusBadSize, &R::roiSize, {16, 4}),  fault(StatusBadSize, &R::roiSize, {0, 8})};
}

inline std::vector<Fault<InterpolationParams16u>> chromaFaults16()
{
    using R = InterpolationParams16u;
    return {fault(StatusNullPointer, &R::pSrc, nullptr), fault(StatusNullPointer, &R::pDst, nullptr),
            fault(StatusBadStep, &R::srcStep, 7),        fault(StatusBadStep, &R::dstStep, 7),
            fault(StatusBadStep, &R::dstStep, -32),      fault(StatusBadArgument, &R::dx, 8),
            fault(StatusBadArgument, &R::dx, -1),        fault(StatusBadArgument, &R::dy, 8),
            fault(StatusBadArgument, &R::dy, -8),        fault(StatusBadSize, &R::roiSize, {8, 1}),
            fault(StatusBadSize, &R::roiSize, {8, 32}),  fault(StatusBadSize, &R::roiSize, {6, 8}),
            fault(StatusBadSize, &R::roiSize, {0, 0})};
}

} // namespace kelvcpx::test
