// Slice headers (ITU-T H.264 7.3.3).
#pragma once

#include "h264/parameter_sets.h"

#include <array>
#include <cstdint>
#include <vector>

namespace kelvcpx::app::h264 {

enum class SliceType { p = 0, b = 1, i = 2, sp = 3, si = 4 };

// A command of ref_pic_list_modification: 0 and 1 subtract and add a difference of picture numbers, 2 names a
// long-term one.
struct ListModification {
    int idc;
    uint32_t value; // abs_diff_pic_num_minus1 or long_term_pic_num
};

// A memory management control operation, by its number (7.4.3.3).
struct MarkingOperation {
    int operation;
    uint32_t differenceOfPicNums; // 1, 3: minus 1
    uint32_t longTermPicNum;      // 2
    uint32_t longTermFrameIdx;    // 3, 6
    uint32_t maxLongTermFrameIdx; // 4: plus 1
};

// Explicit weights of one reference picture: Y, Cb, Cr.
struct PredictionWeight {
    std::array<int, 3> weight;
    std::array<int, 3> offset;
};

struct SliceHeader {
    int nalRefIdc = 0;
    bool idr = false;
    int firstMb = 0;
    SliceType type = SliceType::i;
    int pictureParameterSet = 0;
    int frameNum = 0;
    bool fieldPicture = false;
    bool bottomField = false;
    int idrPicId = 0;
    int pocLsb = 0;
    int deltaPocBottom = 0;
    std::array<int, 2> deltaPoc{};
    int redundantPicCount = 0;
    bool directSpatial = false;
    std::array<int, 2> refCount{};
    std::array<std::vector<ListModification>, 2> modifications;
    std::array<int, 2> log2WeightDenominator{};           // luma, chroma
    std::array<std::vector<PredictionWeight>, 2> weights; // by reference index, where they are explicit

    bool noOutputOfPriorPictures = false;
    bool longTermReference = false; // of an IDR picture
    bool adaptiveMarking = false;
    std::vector<MarkingOperation> marking;

    int cabacInitIdc = -1; // of P and B slices
    int qp = 26;
    int disableDeblocking = 0; // disable_deblocking_filter_idc
    int alphaOffset = 0;       // FilterOffsetA
    int betaOffset = 0;        // FilterOffsetB
    int sliceGroupChangeCycle = 0;

    bool isIntra() const { return type == SliceType::i || type == SliceType::si; }
    bool isB() const { return type == SliceType::b; }
};

// The parameter sets that are known, by id.
struct ParameterSets {
    std::array<std::optional<SequenceParameterSet>, 32> sequences;
    std::array<std::optional<PictureParameterSet>, 256> pictures;
};

// Reads a slice header and leaves the reader at the slice data. Throws DamagedUnit for what the standard
// forbids.
SliceHeader readSliceHeader(BitReader& reader, const NalHeader& nal, const ParameterSets& sets);

} // namespace kelvcpx::app::h264
