// The variable-length codes of MPEG-1 and MPEG-2 as decoding tables of the library.
#pragma once

#include "common/huffman_table.h"

#include <cstdint>

namespace kelvcpx::app::mpeg2 {

// Values of the macroblock address increment table that are not increments.
constexpr int32_t addressEscape = 1000; // adds 33 to the code that follows
constexpr int32_t addressStuffing = 1001;

// Flags of a macroblock type.
constexpr int32_t typeQuant = 1;
constexpr int32_t typeForward = 2;
constexpr int32_t typeBackward = 4;
constexpr int32_t typePattern = 8;
constexpr int32_t typeIntra = 16;

struct CodeTables {
    HuffmanTable addressIncrement;
    HuffmanTable macroblockType[3]; // of I, P and B pictures
    HuffmanTable codedBlockPattern;
    HuffmanTable motionCode;
    HuffmanTable dmvector;
    HuffmanTable dcSize[2];       // of luminance and chrominance
    HuffmanTable coefficients[2]; // ISO/IEC 13818-2 tables B.14 and B.15
};

// Built at the first call, shared by all decoders.
const CodeTables& codeTables();

} // namespace kelvcpx::app::mpeg2
