// What the parts of the slice decoder share.
#pragma once

#include "common/decoder.h"
#include "h264/macroblock.h"
#include "h264/reference_lists.h"

#include <array>
#include <cstdint>
#include <vector>

namespace kelvcpx::app::h264 {

// Factors of 8.5.9 for every list and QP % 6, in raster order.
struct LevelScales {
    std::array<std::array<std::array<int16_t, 16>, 6>, 6> scales4x4;
    std::array<std::array<std::array<int16_t, 64>, 6>, 2> scales8x8;
    bool flat; // all weights are 16: the flat forms of the library's operations do

    explicit LevelScales(const ScalingLists& lists);
};

// A coded picture, frame or field, while it is decoded.
struct PictureContext {
    SequenceParameterSet sequence;
    FramePointer frame;
    Structure structure = Structure::frame;
    Surface target; // the frame, or the field of it that this picture is
    MotionField* motion = nullptr;
    int widthInMbs = 0;
    int heightInMbs = 0; // of the frame or field
    std::vector<MbInfo> macroblocks;

    // What the deblocking filter needs of each slice.
    struct SliceFilter {
        int disable;
        int alphaOffset;
        int betaOffset;
        std::array<int, 2> chromaQpOffset;
    };
    std::vector<SliceFilter> filters; // by slice number

    bool isField() const { return structure != Structure::frame; }
    int poc() const { return frame->poc(structure); }
    MbInfo& at(int address) { return macroblocks[static_cast<std::size_t>(address)]; }
    const MbInfo& at(int address) const { return macroblocks[static_cast<std::size_t>(address)]; }
};

struct SliceContext {
    PictureContext& picture;
    const PictureParameterSet& set;
    const SliceHeader& header;
    const LevelScales& levelScales;
    const std::vector<uint8_t>& sliceGroups; // by macroblock; empty if there is one group
    std::array<ReferenceList, 2> references;
    int number = 0; // of the slice in the picture

    // DistScaleFactor of temporal direct prediction by refIdxL0, and the implicit weights of both predictions
    // by refIdxL0 and refIdxL1 (8.4.1.2.3, 8.4.2.3.1).
    static constexpr int noTemporalScaling = 1 << 30;
    std::vector<int> temporalFactors;
    std::vector<std::vector<std::array<int, 2>>> implicitWeights;

    // Fills the two from the reference lists.
    void relateReferences();
};

// The macroblocks round the current one that it may depend on: of the same slice and decoded. -1 if not
// available.
struct Neighbours {
    int left;     // A
    int top;      // B
    int topRight; // C
    int topLeft;  // D
};

inline Neighbours neighboursOf(const PictureContext& picture, int slice, int address)
{
    const int width = picture.widthInMbs;
    const int x = address % width;
    const auto available = [&](int neighbour, bool inside) {
        return inside && neighbour >= 0 && picture.at(neighbour).slice == slice ? neighbour : -1;
    };
    return {available(address - 1, x > 0), available(address - width, true),
            available(address - width + 1, x + 1 < width), available(address - width - 1, x > 0)};
}

// QPC by qPI (table 8-15).
constexpr std::array<uint8_t, 52> chromaQps = {
    0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25,
    26, 27, 28, 29, 29, 30, 31, 32, 32, 33, 34, 34, 35, 35, 36, 36, 37, 37, 37, 38, 38, 38, 39, 39, 39, 39};

inline int chromaQp(int qp, int offset)
{
    return chromaQps[static_cast<std::size_t>(std::clamp(qp + offset, 0, 51))];
}

} // namespace kelvcpx::app::h264
