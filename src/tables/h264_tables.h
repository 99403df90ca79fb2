// Constants of ITU-T H.264: residual coding, dequantisation, block order and availability.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace kelvcpx::h264 {

template <class T, std::size_t Rows, std::size_t Columns>
using Table = std::array<std::array<T, Columns>, Rows>;

// CAVLC levels (9.2.2.1), by suffixLength and level_prefix up to 15.

constexpr std::size_t suffixLengths = 7;
constexpr std::size_t levelPrefixes = 16;

// Number of bits of level_suffix.
inline constexpr auto bitsToGetTbl16s = [] {
    Table<int32_t, suffixLengths, levelPrefixes> table{};
    for (std::size_t suffixLength = 0; suffixLength < suffixLengths; suffixLength++) {
        table[suffixLength].fill(static_cast<int32_t>(suffixLength));
        table[suffixLength][15] = 12;
    }
    table[0][14] = 4;
    return table;
}();

// The magnitude of the level with suffix 0 and 1; each two more are one more of magnitude, odd suffixes are
// negative levels. With suffixLength 0 and a prefix below 14 the prefix takes the part of the suffix.
inline constexpr auto addOffsetTbl16s = [] {
    Table<int32_t, suffixLengths, levelPrefixes> table{};
    table[0].fill(1);
    table[0][14] = 8;
    table[0][15] = 16;
    for (std::size_t suffixLength = 1; suffixLength < suffixLengths; suffixLength++)
        for (std::size_t prefix = 0; prefix < levelPrefixes; prefix++)
            table[suffixLength][prefix] = static_cast<int32_t>((prefix << (suffixLength - 1)) + 1);
    return table;
}();

// The magnitude above which suffixLength grows by one.
inline constexpr std::array<uint8_t, 8> vlc_inc = {0, 3, 6, 12, 24, 48, 0, 0};

// What a level_prefix above 15 adds to levelCode for each suffixLength.
inline constexpr std::array<int32_t, suffixLengths> sadd = {15, 0, 0, 0, 0, 0, 0};

// Raster index in the chroma DC array of 4:2:2, two wide and four high, for each coefficient (8.5.11.1).
inline constexpr std::array<int32_t, 8> ChromaDC422RasterScan = {0, 2, 1, 4, 6, 3, 5, 7};

// Dequantisation (8.5.9). Three classes of positions of a 4x4 block have a factor each: 0 both coordinates
// even, 1 both odd, 2 the others.

inline constexpr std::array<int32_t, 16> QuantIndex = {0, 2, 0, 2, 2, 1, 2, 1, 0, 2, 0, 2, 2, 1, 2, 1};

// normAdjust4x4 by QP % 6 and class.
inline constexpr Table<int32_t, 6, 3> normAdjust4x4 = {
    {{10, 16, 13}, {11, 18, 14}, {13, 20, 16}, {14, 23, 18}, {16, 25, 20}, {18, 29, 23}}};

// Six classes of positions of an 8x8 block have a factor each: the factors by class become factors by raster
// position.
constexpr Table<int16_t, 6, 64> byPosition8x8(const Table<int16_t, 6, 6>& byClass)
{
    // By both coordinates modulo 4.
    constexpr Table<std::size_t, 4, 4> classes = {{{0, 3, 4, 3}, {3, 1, 5, 1}, {4, 5, 2, 5}, {3, 1, 5, 1}}};
    Table<int16_t, 6, 64> table{};
    for (std::size_t rem = 0; rem < table.size(); rem++)
        for (std::size_t k = 0; k < 64; k++)
            table[rem][k] = byClass[rem][classes[k / 8 % 4][k % 4]];
    return table;
}

// normAdjust8x8 by QP % 6 and raster position.
inline constexpr auto InvLevelScale_8x8_default = byPosition8x8({{{20, 18, 32, 19, 25, 24},
                                                                  {22, 19, 35, 21, 28, 26},
                                                                  {26, 23, 42, 24, 33, 31},
                                                                  {28, 25, 45, 26, 35, 33},
                                                                  {32, 28, 51, 30, 40, 38},
                                                                  {36, 32, 58, 34, 46, 43}}});

constexpr std::size_t quantisers = 52; // QP 0..51

// The factors of the default scaling by QP and class.
inline constexpr auto InvQuantTable = [] {
    Table<int32_t, quantisers, 3> table{};
    for (std::size_t qp = 0; qp < quantisers; qp++)
        for (std::size_t c = 0; c < 3; c++)
            table[qp][c] = normAdjust4x4[qp % 6][c] << (qp / 6);
    return table;
}();

// The same by QP and raster position, but 1 for a DC, which comes dequantised from the DC transform.
alignas(16) inline constexpr auto InvQuantTable_w7 = [] {
    Table<int16_t, quantisers, 16> table{};
    for (std::size_t qp = 0; qp < quantisers; qp++) {
        table[qp][0] = 1;
        for (std::size_t k = 1; k < 16; k++)
            table[qp][k] = static_cast<int16_t>(InvQuantTable[qp][static_cast<std::size_t>(QuantIndex[k])]);
    }
    return table;
}();

// The factors of the DC of Intra_16x16 (8.5.10) with the default scaling, of which a shift takes off a factor
// of 4 with QP below 6 and of 2 with QP below 12.
inline constexpr auto InvQuantLuma16x16DCTable = [] {
    std::array<int32_t, quantisers> table{};
    for (std::size_t qp = 0; qp < quantisers; qp++)
        table[qp] = normAdjust4x4[qp % 6][0] << (qp < 12 ? 0 : qp / 6 - 2);
    return table;
}();

// Quantisation: what 8.5.9 and the transforms do to a level, undone, times 2^15 (QP 0..5). By QP % 6 and
// class.
inline constexpr Table<int32_t, 6, 3> FwdQuantTable = {{{13107, 5243, 8066},
                                                        {11916, 4660, 7490},
                                                        {10082, 4194, 6554},
                                                        {9362, 3647, 5825},
                                                        {8192, 3355, 5243},
                                                        {7282, 2893, 4559}}};

// The same by QP % 6 and raster position.
inline constexpr auto QuantCoef = [] {
    Table<int32_t, 6, 16> table{};
    for (std::size_t rem = 0; rem < table.size(); rem++)
        for (std::size_t k = 0; k < 16; k++)
            table[rem][k] = FwdQuantTable[rem][static_cast<std::size_t>(QuantIndex[k])];
    return table;
}();

// Of 8x8 blocks, by QP % 6 and raster position.
inline constexpr auto LevelScale_8x8_default = byPosition8x8({{{13107, 11428, 20972, 12222, 16777, 15481},
                                                               {11916, 10826, 19174, 11058, 14980, 14290},
                                                               {10082, 8943, 15978, 9675, 12710, 11985},
                                                               {9362, 8228, 14913, 8931, 11984, 11259},
                                                               {8192, 7346, 13159, 7740, 10486, 9777},
                                                               {7282, 6428, 11570, 6830, 9118, 8640}}});

// The weights that bring levels to the scale of a transformed prediction, times 16 (A of 8.6.1), by raster
// position.
inline constexpr std::array<int32_t, 16> MATR = {16, 20, 16, 20, 20, 25, 20, 25,
                                                 16, 20, 16, 20, 20, 25, 20, 25};

// Block order (6.4.3): 4x4 luma blocks are numbered by 8x8 quadrants.

// Raster index of each block.
inline constexpr std::array<uint8_t, 16> block_subblock_mapping = {0, 1, 4,  5,  2,  3,  6,  7,
                                                                   8, 9, 12, 13, 10, 11, 14, 15};

struct Displacement {
    int8_t x;
    int8_t y;
};

// From each 4x4 block to the next one.
inline constexpr auto xyoff = [] {
    std::array<Displacement, 16> table{};
    for (std::size_t i = 0; i < 15; i++) {
        const int here = block_subblock_mapping[i];
        const int next = block_subblock_mapping[i + 1];
        table[i].x = static_cast<int8_t>(4 * (next % 4 - here % 4));
        table[i].y = static_cast<int8_t>(4 * (next / 4 - here / 4));
    }
    return table;
}();

// From each 8x8 block to the next one.
inline constexpr std::array<Displacement, 4> xyoff8 = {{{8, 0}, {-8, 8}, {8, 0}, {0, 0}}};

// Availability of neighbours (6.4.11) by block number: 1 for the blocks at the upper and left edge of the
// macroblock, and for those whose upper right neighbour comes before them in decoding order.
inline constexpr std::array<uint8_t, 16> top_edge_tab16 = {1, 1, 0, 0, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
inline constexpr std::array<uint8_t, 16> left_edge_tab16 = {1, 0, 1, 0, 0, 0, 0, 0, 1, 0, 1, 0, 0, 0, 0, 0};
inline constexpr std::array<uint8_t, 16> above_right_avail_4x4 = {1, 1, 1, 0, 1, 1, 1, 0,
                                                                  1, 1, 1, 0, 1, 0, 1, 0};
inline constexpr std::array<uint8_t, 4> top_edge_tab4 = {1, 1, 0, 0};
inline constexpr std::array<uint8_t, 4> left_edge_tab4 = {1, 0, 1, 0};

// Clips -256..511 to 0..255: entry v + 256 for v.
inline constexpr auto ClampTbl = [] {
    std::array<uint8_t, 768> table{};
    for (std::size_t v = 0; v < 256; v++) {
        table[256 + v] = static_cast<uint8_t>(v);
        table[512 + v] = 255;
    }
    return table;
}();

} // namespace kelvcpx::h264
