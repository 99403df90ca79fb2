// Random but legal MPEG-4 Part 2 video streams, with what no encoder at hand writes: every macroblock type,
// kind of prediction and header element is drawn by lot wherever the standard allows it.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace kelvcpx::test {

struct RandomMpeg4Options {
    uint32_t seed = 1;
    int width = 112;
    int height = 96;
    std::string types = "IPBBPBB"; // of the VOPs in coding order; S predicts by warping
    bool interlaced = false;
    bool quarterSample = false;
    bool fourVectors = true; // macroblocks may have a vector for each block
    int warpingPoints = 0;
    bool weighted = false; // the first method of quantisation, with matrices
    bool packets = false;  // several in a VOP
    bool partitioned = false;
    bool reversible = false;
    bool dcAsAc = true;      // intra_dc_vlc_thr may say that the intra DC is coded like other coefficients
    bool predictsAc = true;  // macroblocks may predict AC coefficients
    bool complexity = false; // VOP headers carry numbers for the estimation of it; the rest stays the same
    // Blocks that any inverse DCT transforms into the same samples: then the pictures have to be right to the
    // last bit. Otherwise anything, not too large.
    bool exact = true;
};

// A video packet, and where its macroblocks are in the stream, in bits.
struct RandomMpeg4Packet {
    int vop;   // in coding order
    int first; // address of its first macroblock
    int count;
    std::size_t begin;
    std::size_t end;
    std::vector<std::size_t> textures; // in partitions: where the coefficients of each macroblock begin

    std::size_t textureEnd(std::size_t i) const { return i + 1 < textures.size() ? textures[i + 1] : end; }
};

struct RandomMpeg4Stream {
    std::vector<uint8_t> bytes;
    std::string types;                // in display order
    std::map<std::string, int> tools; // how often each tool of the standard was used
    std::vector<RandomMpeg4Packet> packets;
};

RandomMpeg4Stream makeRandomMpeg4Stream(const RandomMpeg4Options& options);

} // namespace kelvcpx::test
