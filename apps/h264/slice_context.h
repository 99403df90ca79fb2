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

// Where a macroblock lies: the frame or field whose rows it covers, and its first sample there.
struct Place {
    const Surface* surface;
    Structure structure;
    int x; // luma samples
    int y;

    bool isField() const { return structure != Structure::frame; }
};

// A coded picture, frame or field, while it is decoded. Macroblocks are numbered in raster order; the two of
// a pair of macroblocks (MBAFF), which may be frame or field macroblocks, lie one below the other.
struct PictureContext {
    SequenceParameterSet sequence;
    FramePointer frame;
    Structure structure = Structure::frame;
    Surface target;                // the frame, or the field of it that this picture is
    std::array<Surface, 2> fields; // of a frame of macroblock pairs: its top and its bottom field
    MotionField* motion = nullptr;
    int widthInMbs = 0;
    int heightInMbs = 0;          // of the frame or field
    bool hasPairs = false;        // MbaffFrameFlag
    bool usesSubstitutes = false; // blocks were predicted from what stands for pictures that are not there
    std::vector<MbInfo> macroblocks;
    std::vector<MbMvds> mvds; // with CABAC

    // What the deblocking filter needs of each slice.
    struct SliceFilter {
        int disable;
        int alphaOffset;
        int betaOffset;
        std::array<int, 2> chromaQpOffset;
    };
    std::vector<SliceFilter> filters; // by slice number

    bool isField() const { return structure != Structure::frame; }
    bool is422() const { return sequence.chromaFormatIdc == 2; }
    int chromaBlocks() const { return is422() ? 8 : 4; } // 4x4 blocks of a component in a macroblock
    int blockRows(std::size_t component) const { return component == 0 || is422() ? 4 : 2; } // of 4x4 blocks
    int blockRowHeight(std::size_t component) const { return component == 0 || is422() ? 4 : 8; } // luma rows
    MbInfo& at(int address) { return macroblocks[static_cast<std::size_t>(address)]; }
    const MbInfo& at(int address) const { return macroblocks[static_cast<std::size_t>(address)]; }

    Place placeOf(int address) const
    {
        const int x = 16 * (address % widthInMbs);
        const int row = address / widthInMbs;
        if (!hasPairs || !at(address).field)
            return {&target, structure, x, 16 * row};
        const int parity = row % 2;
        return {&fields[static_cast<std::size_t>(parity)], parity == 0 ? Structure::top : Structure::bottom,
                x, 16 * (row / 2)};
    }
};

// What macroblocks are predicted from: the reference lists of the slice and what follows from them.
struct References {
    std::array<ReferenceList, 2> lists;

    // DistScaleFactor of temporal direct prediction by refIdxL0, and the implicit weights of both predictions
    // by refIdxL0 and refIdxL1 (8.4.1.2.3, 8.4.2.3.1).
    static constexpr int noTemporalScaling = 1 << 30;
    std::vector<int> temporalFactors;
    std::vector<std::vector<std::array<int, 2>>> implicitWeights;

    // Fills the two from the lists, for pictures of the given order count.
    void relate(int poc);
};

struct SliceContext {
    PictureContext& picture;
    const PictureParameterSet& set;
    const SliceHeader& header;
    const LevelScales& levelScales;
    const std::vector<uint8_t>& sliceGroups; // by macroblock; empty if there is one group
    int number = 0;                          // of the slice in the picture

    // Of the macroblocks of the picture, and of field macroblocks at the top and the bottom of a pair.
    References references{};
    std::array<References, 2> fieldReferences{};

    // Fills them from the lists of the slice.
    void setReferences(const std::array<ReferenceList, 2>& lists);

    const References& referencesOf(const Place& place) const
    {
        if (picture.isField() || !place.isField())
            return references;
        return fieldReferences[place.structure == Structure::top ? 0 : 1];
    }
};

// QPC by qPI (table 8-15).
constexpr std::array<uint8_t, 52> chromaQps = {
    0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25,
    26, 27, 28, 29, 29, 30, 31, 32, 32, 33, 34, 34, 35, 35, 36, 36, 37, 37, 37, 38, 38, 38, 39, 39, 39, 39};

// QPC of a component whose chroma_qp_index_offset is given; `range` is QpBdOffsetC.
inline int chromaQp(int qp, int offset, int range)
{
    const int index = std::clamp(qp + offset, -range, 51);
    return index < 0 ? index : int{chromaQps[static_cast<std::size_t>(index)]};
}

} // namespace kelvcpx::app::h264
