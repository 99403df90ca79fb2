// Random but legal MPEG-1 and MPEG-2 video streams, with what no encoder at hand writes: every macroblock
// type, kind of prediction, table and header element is drawn by lot wherever the standards allow it.
#pragma once

#include "apps/picture_structures.h"

#include "common/picture.h"

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace kelvcpx::test {

struct RandomStreamOptions {
    uint32_t seed = 1;
    bool mpeg1 = false;
    int width = 112;
    int height = 96;
    app::ChromaFormat chroma = app::ChromaFormat::yuv420; // or 4:2:2
    bool progressive = false;                             // the sequence
    bool lowDelay = false;                                // then there are no B pictures
    PictureStructures structures = PictureStructures::frames;
    bool topFieldFirst = true;
    // Types of the frames in coding order. A group of pictures starts at each I. The first one is closed, and
    // so are the others if asked for.
    std::string types = "IPBBPBB";
    bool closedGroups = false;
    // Blocks that any inverse DCT transforms into the same samples: then the pictures have to be right to the
    // last bit. Otherwise anything, not too large.
    bool exact = true;
};

struct RandomStream {
    std::vector<uint8_t> bytes;
    std::string types;                // of the frames in display order; I stands for nothing but intra
    std::map<std::string, int> tools; // how often each tool of the standards was used
    std::set<const void*> codes;      // the rows of app::mpeg2::codeRows that were used
};

RandomStream makeRandomStream(const RandomStreamOptions& options);

} // namespace kelvcpx::test
