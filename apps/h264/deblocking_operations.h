// The deblocking operations of the library under one name for samples of 8 and of more bits.
#pragma once

#include <kelvcpx/h264_inter.h>

#include <array>
#include <cstddef>
#include <cstdint>

namespace kelvcpx::app::h264 {

// Which edges of a macroblock an operation filters: all in one direction, or some lines of the left one.
enum class EdgeSet {
    lumaVertical,
    lumaHorizontal,
    chromaVertical,
    chromaHorizontal,
    chroma422Vertical,
    chroma422Horizontal,
    lumaLeftLines,   // 8 lines
    chromaLeftLines, // 4 lines
};

// alpha, beta and tC0 of the first edge and all others.
template <class Sample>
struct EdgeLimits {
    std::array<Sample, 2> alpha;
    std::array<Sample, 2> beta;
    std::array<Sample, 16> tc0;
};

inline void filterEdges(EdgeSet edges, uint8_t* samples, int32_t step, const EdgeLimits<uint8_t>& limits,
                        const uint8_t* strengths, int)
{
    const uint8_t* const alpha = limits.alpha.data();
    const uint8_t* const beta = limits.beta.data();
    const uint8_t* const tc0 = limits.tc0.data();
    const DeblockingParams params{samples, step, alpha, beta, tc0, strengths};
    switch (edges) {
    case EdgeSet::lumaVertical:
        keliFilterDeblockingLuma_VerEdge_H264_8u_C1IR(samples, step, alpha, beta, tc0, strengths);
        break;
    case EdgeSet::lumaHorizontal:
        keliFilterDeblockingLuma_HorEdge_H264_8u_C1IR(samples, step, alpha, beta, tc0, strengths);
        break;
    case EdgeSet::chromaVertical:
        keliFilterDeblockingChroma_VerEdge_H264_8u_C1IR(samples, step, alpha, beta, tc0, strengths);
        break;
    case EdgeSet::chromaHorizontal:
        keliFilterDeblockingChroma_HorEdge_H264_8u_C1IR(samples, step, alpha, beta, tc0, strengths);
        break;
    case EdgeSet::chroma422Vertical:
        keliFilterDeblockingChroma422VerEdge_H264_8u_IP1R(&params);
        break;
    case EdgeSet::chroma422Horizontal:
        keliFilterDeblockingChroma422HorEdge_H264_8u_IP1R(&params);
        break;
    case EdgeSet::lumaLeftLines:
        keliFilterDeblockingLuma_VerEdge_MBAFF_H264_8u_C1IR(samples, step, alpha[0], beta[0], tc0, strengths);
        break;
    case EdgeSet::chromaLeftLines:
        keliFilterDeblockingChroma_VerEdge_MBAFF_H264_8u_C1IR(samples, step, alpha[0], beta[0], tc0,
                                                              strengths);
        break;
    }
}

inline void filterEdges(EdgeSet edges, uint16_t* samples, int32_t step, const EdgeLimits<uint16_t>& limits,
                        const uint8_t* strengths, int bitDepth)
{
    static constexpr std::array operations = {keliFilterDeblockingLumaVerEdge_H264_16u_IP1R,
                                              keliFilterDeblockingLumaHorEdge_H264_16u_IP1R,
                                              keliFilterDeblockingChromaVerEdge_H264_16u_IP1R,
                                              keliFilterDeblockingChromaHorEdge_H264_16u_IP1R,
                                              keliFilterDeblockingChroma422VerEdge_H264_16u_IP1R,
                                              keliFilterDeblockingChroma422HorEdge_H264_16u_IP1R,
                                              keliFilterDeblockingLumaVerEdgeMBAFF_H264_16u_IP1R,
                                              keliFilterDeblockingChromaVerEdgeMBAFF_H264_16u_IP1R};
    const DeblockingParams16u params{
        samples, step, limits.alpha.data(), limits.beta.data(), limits.tc0.data(), strengths, bitDepth};
    operations[static_cast<std::size_t>(edges)](&params);
}

} // namespace kelvcpx::app::h264
