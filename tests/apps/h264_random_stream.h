// Random but legal H.264 video streams by CAVLC, with what no encoder at hand writes: fields beside frames,
// every macroblock type, reference list modification, memory management, weights by lot.
#pragma once

#include "apps/h264_random_syntax.h"
#include "apps/picture_structures.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace kelvcpx::test {

struct RandomH264Options {
    uint32_t seed = 1;
    int widthInMbs = 5;
    int heightInMbs = 6; // even
    PictureStructures structures = PictureStructures::frames;
    bool frameMbsOnly = false;    // for streams of frames
    bool macroblockPairs = false; // in frames: mb_adaptive_frame_field_flag
    bool monochrome = false;
    bool cropped = false;
    // Types of the frames in coding order: I an IDR picture, i another intra picture, P, B.
    std::string types = "IPBBPBBPP";
    int pocType = 0;
    int maxRefFrames = 4;
    bool temporalDirect = false; // else spatial
    int weightedBipredIdc = 0;
    bool weightedPrediction = false;
    bool transform8x8 = false; // and scaling lists
    bool constrainedIntra = false;
    bool modifyLists = false;
    bool longLists = false; // longer than there are pictures
    bool memoryManagement = false;
    bool longTermReferences = false; // by memory management
    bool gapsInFrameNum = false;
    bool extendedProfile = false; // instead of High; for what follows
    bool sliceGroups = false;
    // Neither changes what is drawn otherwise, so that the same pictures come out.
    bool arbitrarySliceOrder = false;
    bool redundantSlices = false; // which nobody could decode
};

struct RandomH264Stream {
    std::vector<uint8_t> bytes;
    std::size_t frameCount = 0;
    std::map<std::string, int> tools; // how often each tool of the standard was used
    UsedCodes codes;
};

RandomH264Stream makeRandomH264Stream(const RandomH264Options& options);

} // namespace kelvcpx::test
