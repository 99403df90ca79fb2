// A macroblock as it is coded (ITU-T H.264 7.3.5), and what its neighbours and the deblocking filter need of
// it.
#pragma once

#include "h264/frame.h"

#include <array>
#include <cstdint>

namespace kelvcpx::app::h264 {

enum class MbKind : uint8_t { intra4x4, intra8x8, intra16x16, pcm, inter };

constexpr bool isIntra(MbKind kind)
{
    return kind != MbKind::inter;
}

// Shapes of macroblock partitions, and of sub-macroblock partitions in half the size.
enum class Partitioning : uint8_t { whole, twoRows, twoColumns, four };

// Lists that a partition is predicted from.
constexpr uint8_t fromList0 = 1;
constexpr uint8_t fromList1 = 2;

struct Macroblock {
    MbKind kind = MbKind::inter;

    // Intra
    std::array<uint32_t, 16> intraModes{}; // by block in decoding order; the first 4 of Intra_8x8
    uint32_t intra16x16Mode = 0;
    uint32_t chromaMode = 0;

    // Inter. The arrays by 8x8 block hold the partition's value in every block that it covers.
    bool skipped = false;
    Partitioning partitioning = Partitioning::whole;
    bool referenceZero = false;   // P_8x8ref0: no reference indices follow
    std::array<bool, 4> direct{}; // by 8x8 block
    std::array<Partitioning, 4> subPartitioning{};
    std::array<uint8_t, 4> lists{};                // fromList0, fromList1
    std::array<std::array<int8_t, 4>, 2> refIdx{}; // -1: the list is not used
    std::array<std::array<Vector, 16>, 2> mvd{}; // at the first 4x4 block, in decoding order, of a partition

    // Residual
    bool transform8x8 = false;
    int codedBlockPattern = 0; // luma + 16 * chroma
    uint32_t codedBlocks =
        0; // the blocks that are in the coefficients, as the library's operations number them
    int qp = 0;
    bool lossless = false;
    alignas(32) std::array<int16_t, 16 + 256 + 2 * (4 + 64)> coefficients; // those of PCM are samples

    bool isDirect() const { return direct[0] && direct[1] && direct[2] && direct[3]; }
};

// What stays of a macroblock.
struct MbInfo {
    int32_t slice = -1; // number of its slice in the picture; -1: not decoded
    MbKind kind = MbKind::inter;
    bool transform8x8 = false;
    bool movesAsOne = false; // one partition of 16x16, so that its inner edges need no look at the motion
    uint8_t qp = 0;
    uint16_t codedLuma = 0;               // 4x4 blocks, in raster order, with coefficients of their transform
    std::array<uint8_t, 16> intraModes{}; // by 4x4 block in raster order; of other than Intra_4x4 and 8x8: DC
    std::array<uint8_t, 24> totalCoeff{}; // of luma blocks in raster order, then Cb, then Cr
};

// 4x4 block indices in decoding order to raster order and back; the map is its own inverse.
constexpr std::array<uint8_t, 16> rasterOfBlock = {0, 1, 4, 5, 2, 3, 6, 7, 8, 9, 12, 13, 10, 11, 14, 15};

constexpr uint8_t intraDcMode = 2;

} // namespace kelvcpx::app::h264
