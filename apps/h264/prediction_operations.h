// The operations of the library for inter prediction under one name for samples of 8 and of more bits. Steps
// count samples.
#pragma once

#include <kelvcpx/h264_inter.h>

#include <cstdint>

namespace kelvcpx::app::h264 {

// The edge of the picture that a block reaches over.
enum class PictureEdge { none, top, bottom };

enum class Component { luma, chroma };

// A block of a reference picture: its place without the fraction, the fraction, and how many of its rows lie
// outside of the picture.
template <class Sample>
struct ReferenceBlock {
    const Sample* samples;
    int32_t step;
    int32_t dx;
    int32_t dy;
    PictureEdge edge;
    int32_t outside;
};

inline void interpolate(Component component, const ReferenceBlock<uint8_t>& block, uint8_t* dst, int32_t step,
                        RoiSize size, int)
{
    const bool luma = component == Component::luma;
    const auto [src, srcStep, dx, dy, edge, outside] = block;
    switch (edge) {
    case PictureEdge::top:
        (luma ? keliInterpolateLumaTop_H264_8u_C1R
              : keliInterpolateChromaTop_H264_8u_C1R)(src, srcStep, dst, step, dx, dy, outside, size);
        break;
    case PictureEdge::bottom:
        (luma ? keliInterpolateLumaBottom_H264_8u_C1R
              : keliInterpolateChromaBottom_H264_8u_C1R)(src, srcStep, dst, step, dx, dy, outside, size);
        break;
    case PictureEdge::none:
        (luma ? keliInterpolateLuma_H264_8u_C1R : keliInterpolateChroma_H264_8u_C1R)(src, srcStep, dst, step,
                                                                                     dx, dy, size);
        break;
    }
}

inline void interpolate(Component component, const ReferenceBlock<uint16_t>& block, uint16_t* dst,
                        int32_t step, RoiSize size, int bitDepth)
{
    const bool luma = component == Component::luma;
    const InterpolationParams16u params{block.samples, block.step, dst,  step,
                                        block.dx,      block.dy,   size, bitDepth};
    switch (block.edge) {
    case PictureEdge::top:
        (luma ? keliInterpolateLumaTop_H264_16u_C1R : keliInterpolateChromaTop_H264_16u_C1R)(&params,
                                                                                             block.outside);
        break;
    case PictureEdge::bottom:
        (luma ? keliInterpolateLumaBottom_H264_16u_C1R
              : keliInterpolateChromaBottom_H264_16u_C1R)(&params, block.outside);
        break;
    case PictureEdge::none:
        (luma ? keliInterpolateLuma_H264_16u_C1R : keliInterpolateChroma_H264_16u_C1R)(&params);
        break;
    }
}

// A weight with its offset in the range of the samples.
struct Weight {
    int32_t weight;
    int32_t offset;
};

inline void weigh(uint8_t* samples, int32_t step, int32_t log2Wd, const Weight& w, RoiSize size, int)
{
    keliUniDirWeightBlock_H264_8u_C1IR(samples, static_cast<uint32_t>(step), static_cast<uint32_t>(log2Wd),
                                       w.weight, w.offset, size);
}

inline void weigh(uint16_t* samples, int32_t step, int32_t log2Wd, const Weight& w, RoiSize size,
                  int bitDepth)
{
    keliUnidirWeight_H264_16u_IP2P1R(samples, static_cast<uint32_t>(step), log2Wd, w.weight, w.offset, size,
                                     bitDepth);
}

// Two predictions, with rows `step` apart, and the block that they become one in.
template <class Sample>
struct TwoPredictions {
    const Sample* first;
    const Sample* second;
    int32_t step;
    Sample* dst;
    int32_t dstStep;
    RoiSize size;
    int bitDepth;
};

inline BidirParams16u toRecord(const TwoPredictions<uint16_t>& p)
{
    return {p.first, p.step, p.second, p.step, p.dst, p.dstStep, p.size, p.bitDepth};
}

inline void average(const TwoPredictions<uint8_t>& p)
{
    keliInterpolateBlock_H264_8u_P3P1R(p.first, p.second, p.dst, static_cast<uint32_t>(p.size.width),
                                       static_cast<uint32_t>(p.size.height), p.step, p.step, p.dstStep);
}

inline void average(const TwoPredictions<uint16_t>& p)
{
    const BidirParams16u params = toRecord(p);
    keliBidir_H264_16u_P2P1R(&params);
}

inline void weighExplicitly(const TwoPredictions<uint8_t>& p, int32_t log2Wd, const Weight& w0,
                            const Weight& w1)
{
    keliBiDirWeightBlock_H264_8u_P2P1R(p.first, p.second, p.dst, static_cast<uint32_t>(p.step),
                                       static_cast<uint32_t>(p.dstStep), log2Wd, w0.weight, w0.offset,
                                       w1.weight, w1.offset, p.size);
}

inline void weighExplicitly(const TwoPredictions<uint16_t>& p, int32_t log2Wd, const Weight& w0,
                            const Weight& w1)
{
    const BidirParams16u params = toRecord(p);
    keliBidirWeight_H264_16u_P2P1R(&params, log2Wd, w0.weight, w0.offset, w1.weight, w1.offset);
}

inline void weighImplicitly(const TwoPredictions<uint8_t>& p, int32_t w0, int32_t w1)
{
    keliBiDirWeightBlockImplicit_H264_8u_P2P1R(p.first, p.second, p.dst, p.step, p.dstStep, w0, w1, p.size);
}

inline void weighImplicitly(const TwoPredictions<uint16_t>& p, int32_t w0, int32_t w1)
{
    const BidirParams16u params = toRecord(p);
    keliBidirWeightImplicit_H264_16u_P2P1R(&params, w0, w1);
}

} // namespace kelvcpx::app::h264
