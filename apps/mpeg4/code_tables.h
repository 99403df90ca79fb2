// The variable-length codes of ISO/IEC 14496-2 above the block layer that H.263 does not have, and other
// tables of it.
#pragma once

#include "common/code_reader.h"
#include "common/scan.h"

#include <array>
#include <cstdint>
#include <span>

namespace kelvcpx::app::mpeg4 {

// Flags of modb.
constexpr int32_t modbHasType = 1;
constexpr int32_t modbHasPattern = 2;

// mb_type of B-VOPs: the directions of prediction that have vectors are flags.
constexpr int32_t typeDirect = 0;
constexpr int32_t typeForward = 1;
constexpr int32_t typeBackward = 2;
constexpr int32_t typeInterpolate = typeForward | typeBackward;

// The rows of the tables, for whoever writes a stream.
struct CodeRows {
    std::span<const ValueCode> modb;               // table B-3
    std::span<const ValueCode> bidirectionalType;  // table B-4
    std::span<const ValueCode> displacementLength; // table B-33
};
extern const CodeRows codeRows;
constexpr ValueCode largestMvd = {"0000000000100", 32}; // table B-12; the other rows are those of H.263

struct CodeTables {
    PrefixTable mvd; // -32..32
    PrefixTable modb;
    PrefixTable bidirectionalType;
    PrefixTable displacementLength;
};

// Built at the first call, shared by all decoders.
const CodeTables& codeTables();

// 7.4.2, beside those that other standards have, too.
constexpr Scan8x8 alternateHorizontalScan = {0,  1,  2,  3,  8,  9,  16, 17, 10, 11, 4,  5,  6,  7,  15, 14,
                                             13, 12, 19, 18, 24, 25, 32, 33, 26, 27, 20, 21, 22, 23, 28, 29,
                                             30, 31, 34, 35, 40, 41, 48, 49, 42, 43, 36, 37, 38, 39, 44, 45,
                                             46, 47, 50, 51, 56, 57, 58, 59, 52, 53, 54, 55, 60, 61, 62, 63};

// 6.3.3, raster order.
constexpr std::array<uint8_t, 64> defaultIntraMatrix = {
    8,  17, 18, 19, 21, 23, 25, 27, 17, 18, 19, 21, 23, 25, 27, 28, 20, 21, 22, 23, 24, 26,
    28, 30, 21, 22, 23, 24, 26, 28, 30, 32, 22, 23, 24, 26, 28, 30, 32, 35, 23, 24, 26, 28,
    30, 32, 35, 38, 25, 26, 28, 30, 32, 35, 38, 41, 27, 28, 30, 32, 35, 38, 41, 45};
constexpr std::array<uint8_t, 64> defaultInterMatrix = {
    16, 17, 18, 19, 20, 21, 22, 23, 17, 18, 19, 20, 21, 22, 23, 24, 18, 19, 20, 21, 22, 23,
    24, 25, 19, 20, 21, 22, 23, 24, 26, 27, 20, 21, 22, 23, 25, 26, 27, 28, 21, 22, 23, 24,
    26, 27, 28, 30, 22, 23, 24, 26, 27, 28, 30, 31, 23, 24, 25, 27, 28, 30, 31, 33};

} // namespace kelvcpx::app::mpeg4
