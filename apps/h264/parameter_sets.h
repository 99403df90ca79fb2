// Sequence and picture parameter sets (ITU-T H.264 7.3.2.1, 7.3.2.2, Annex E).
#pragma once

#include "common/picture.h"
#include "h264/nal.h"

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace kelvcpx::app::h264 {

// Scaling lists in raster order: 4x4 for intra Y, Cb, Cr and inter Y, Cb, Cr; 8x8 for intra Y and inter Y.
struct ScalingLists {
    std::array<std::array<uint8_t, 16>, 6> list4x4;
    std::array<std::array<uint8_t, 64>, 2> list8x8;

    static ScalingLists flat();     // Flat_4x4_16 and Flat_8x8_16
    static ScalingLists defaults(); // tables 7-3 and 7-4
    bool operator==(const ScalingLists&) const = default;
};

// A scaling matrix as it is coded: a list that is absent falls back on another (7.4.2.1.1.1, table 7-2).
struct CodedScalingMatrix {
    enum class Form { absent, standard, coded };
    std::array<Form, 8> forms{}; // six of 4x4, then two of 8x8
    ScalingLists lists{};

    // The lists in force; those that have no predecessor fall back on the given ones.
    ScalingLists resolve(const ScalingLists& fallBack) const;
    bool operator==(const CodedScalingMatrix&) const = default;
};

struct SequenceParameterSet {
    int profileIdc = 0;
    int constraintFlags = 0;
    int levelIdc = 0;
    int id = 0;
    int chromaFormatIdc = 1;
    int bitDepthLuma = 8;
    int bitDepthChroma = 8;
    bool losslessAtZero = false; // qpprime_y_zero_transform_bypass_flag
    std::optional<CodedScalingMatrix> scaling;

    int log2MaxFrameNum = 4;
    int pocType = 0;
    int log2MaxPocLsb = 4;
    bool deltaPicOrderAlwaysZero = false;
    int offsetForNonRefPic = 0;
    int offsetForTopToBottomField = 0;
    std::vector<int> offsetForRefFrame;

    int maxNumRefFrames = 0;
    bool gapsInFrameNumAllowed = false;
    int widthInMbs = 0;
    int heightInMapUnits = 0;
    bool frameMbsOnly = true;
    bool mbAdaptiveFrameField = false;
    bool direct8x8Inference = false;
    int cropLeft = 0; // luma samples
    int cropRight = 0;
    int cropTop = 0;
    int cropBottom = 0;

    Rational sampleAspect{0, 1};
    Rational frameRate{0, 1};
    std::optional<int> numReorderFrames;
    std::optional<int> maxDecFrameBuffering;

    int maxFrameNum() const { return 1 << log2MaxFrameNum; }
    int heightInMbs() const { return (frameMbsOnly ? 1 : 2) * heightInMapUnits; }
    bool isHighProfile() const; // has the syntax of the High profiles
    bool operator==(const SequenceParameterSet&) const = default;
};

struct PictureParameterSet {
    int id = 0;
    int sequenceId = 0;
    bool cabac = false;
    bool picOrderPresent = false; // bottom_field_pic_order_in_frame_present_flag
    int sliceGroupCount = 1;
    int sliceGroupMapType = 0;
    std::array<int, 8> runLength{};   // type 0, in map units
    std::array<int, 8> topLeft{};     // type 2
    std::array<int, 8> bottomRight{}; //
    bool sliceGroupChangeDirection = false;
    int sliceGroupChangeRate = 0; // map units
    std::vector<uint8_t> sliceGroupId;
    std::array<int, 2> defaultRefCount{1, 1};
    bool weightedPrediction = false;
    int weightedBipredIdc = 0;
    int initialQp = 26;
    std::array<int, 2> chromaQpOffset{}; // Cb, Cr
    bool deblockingControlPresent = false;
    bool constrainedIntraPrediction = false;
    bool redundantPicCountPresent = false;
    bool transform8x8 = false;
    std::optional<CodedScalingMatrix> scaling;
};

// The lists that a picture uses.
ScalingLists scalingLists(const SequenceParameterSet& sequence, const PictureParameterSet& picture);

// Both throw DamagedUnit for values that the standard forbids, and UnsupportedStream for 4:4:4.
SequenceParameterSet readSequenceParameterSet(const Payload& payload);
PictureParameterSet readPictureParameterSet(const Payload& payload);

} // namespace kelvcpx::app::h264
