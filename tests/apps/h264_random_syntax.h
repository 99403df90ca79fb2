// Writes syntax elements of H.264 streams (ITU-T H.264 7.2, 9.1, 9.2).
#pragma once

#include "common/bit_writer.h"

#include <cstdint>
#include <set>
#include <span>
#include <vector>

namespace kelvcpx::test {

using app::BitWriter;

void putUe(BitWriter& bits, uint32_t value);
void putSe(BitWriter& bits, int32_t value);
void putTe(BitWriter& bits, int most, int value); // a value 0..most

// coded_block_pattern, luma + 16 * chroma, of an Intra_4x4 or Intra_8x8 or of an inter macroblock.
void putCodedBlockPattern(BitWriter& bits, int pattern, bool inter, bool monochrome);

// What was needed of the codes for coefficients.
struct UsedCodes {
    std::set<const void*> rows; // of the tables
    std::set<int> levelPrefixes;
};

// A residual block by CAVLC: its levels in scan order, as many as the block has. nC is -1 for chroma DC.
// Returns TotalCoeff.
int putResidualBlock(BitWriter& bits, UsedCodes& used, int nC, std::span<const int> scanned);

// The NAL unit with a start code in front; `payload` lacks its trailing bits.
std::vector<uint8_t> nalUnit(int refIdc, int type, BitWriter payload);

} // namespace kelvcpx::test
