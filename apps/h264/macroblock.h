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
    uint64_t codedBlocks = 0;  // that are in the coefficients, as the library's operations number them
    int qp = 0;                // QP'Y
    bool lossless = false;
    bool field = false; // in field decoding mode, or of a field
    // Those of PCM are samples. Which of the two is used depends on the bit depth.
    static constexpr std::size_t coefficientCount = 16 + 256 + 2 * (8 + 128);
    alignas(32) std::array<int16_t, coefficientCount> coefficients;
    alignas(32) std::array<int32_t, coefficientCount> wideCoefficients;

    template <class Coefficient>
    Coefficient* packed()
    {
        if constexpr (sizeof(Coefficient) == 2)
            return coefficients.data();
        else
            return wideCoefficients.data();
    }

    bool isDirect() const { return direct[0] && direct[1] && direct[2] && direct[3]; }
};

// What stays of a macroblock.
struct MbInfo {
    int32_t slice = -1; // number of its slice in the picture; -1: not decoded
    MbKind kind = MbKind::inter;
    bool field = false; // in field decoding mode, in a frame that allows both
    bool skipped = false;
    bool isDirect = false; // B_Skip or B_Direct_16x16
    bool transform8x8 = false;
    bool movesAsOne = false; // one partition of 16x16, so that its inner edges need no look at the motion
    int8_t qp = 0;           // QPY
    uint8_t chromaMode = 0;
    uint8_t codedBlockPattern = 0;
    uint8_t directBlocks = 0;             // 8x8 blocks in direct mode, skipped ones included
    uint8_t codedDcs = 0;                 // DC blocks with coefficients: Intra_16x16, Cb, Cr
    uint16_t codedLuma = 0;               // 4x4 blocks, in raster order, with coefficients of their transform
    std::array<uint8_t, 16> intraModes{}; // by 4x4 block in raster order; of other than Intra_4x4 and 8x8: DC
    // Of luma blocks in raster order, then Cb, then Cr. In CABAC slices any number says "coded".
    std::array<uint8_t, 32> totalCoeff{};

    bool isIntraNxN() const { return kind == MbKind::intra4x4 || kind == MbKind::intra8x8; }
};

// The magnitudes of a macroblock's vector differences, up to 255, by list and 4x4 block: x, y.
struct MbMvds {
    std::array<std::array<std::array<uint8_t, 2>, 16>, 2> values{};

    std::array<uint8_t, 2>& at(std::size_t list, int x, int y)
    {
        return values[list][static_cast<std::size_t>(4 * y + x)];
    }
    const std::array<uint8_t, 2>& at(std::size_t list, int x, int y) const
    {
        return values[list][static_cast<std::size_t>(4 * y + x)];
    }
};

// Index in totalCoeff of the first block of a component: Y, Cb, Cr.
constexpr std::size_t firstBlockOf(std::size_t component)
{
    return component == 0 ? 0 : 8 + 8 * component;
}

// 4x4 block indices in decoding order to raster order and back; the map is its own inverse.
constexpr std::array<uint8_t, 16> rasterOfBlock = {0, 1, 4, 5, 2, 3, 6, 7, 8, 9, 12, 13, 10, 11, 14, 15};

constexpr uint8_t intraDcMode = 2;

} // namespace kelvcpx::app::h264
