// The variable-length codes of CAVLC (ITU-T H.264 9.2): their rows, and decoding tables of the library made
// from them.
#pragma once

#include "common/huffman_table.h"

#include <array>
#include <cstdint>
#include <span>

namespace kelvcpx::app::h264 {

// The rows of the tables, for whoever writes a stream. The first value of coeff_token is TrailingOnes, the
// second TotalCoeff. Element 0 of an array that is indexed by a number is empty.
struct CavlcRows {
    std::array<std::span<const RunLevelCode>, 3> coeffToken; // nC 0..1, 2..3, 4..7
    std::span<const RunLevelCode> coeffTokenChromaDc;
    std::span<const RunLevelCode> coeffTokenChromaDc422;
    std::array<std::span<const ValueCode>, 16> totalZeros; // by TotalCoeff
    std::array<std::span<const ValueCode>, 4> totalZerosChromaDc;
    std::array<std::span<const ValueCode>, 8> totalZerosChromaDc422;
    std::array<std::span<const ValueCode>, 8> runBefore; // by zerosLeft, 7 for all above 6
};
extern const CavlcRows cavlcRows;

// In the form that the CAVLC operations take.
struct CavlcTables {
    const int32_t* coeffToken[3];
    const int32_t* coeffTokenChromaDc;
    const int32_t* coeffTokenChromaDc422;
    const int32_t* totalZeros[16];
    const int32_t* totalZerosChromaDc[4];
    const int32_t* totalZerosChromaDc422[8];
    const int32_t* runBefore[15];
};

// Built at the first call, shared by all decoders.
const CavlcTables& cavlcTables();

} // namespace kelvcpx::app::h264
