// Random DCT blocks of MPEG-1 and MPEG-2 streams (ISO/IEC 11172-2 2.4.2.8, ISO/IEC 13818-2 6.2.6).
#pragma once

#include "support/random.h"

#include "common/bit_writer.h"
#include "common/huffman_table.h"
#include "mpeg2/headers.h"
#include "mpeg2/scan.h"

#include <array>
#include <cstdint>
#include <map>
#include <set>
#include <span>
#include <string>

namespace kelvcpx::test {

using app::BitWriter;

// A stream while it is made.
struct Draft {
    explicit Draft(uint32_t seed) : random(seed) {}

    Random random;
    BitWriter bits;
    std::map<std::string, int> tools; // how often each tool of the standards was used
    std::set<const void*> codes;      // the rows of the code tables that were used

    // The start code with the value, sometimes behind zero bytes, which may stand there.
    void startCode(int value);

    // Writes the code of a value that the table has.
    void putCode(std::span<const app::ValueCode> rows, int value);
};

// What decides how a block is coded and dequantised.
struct BlockCoding {
    bool mpeg1;
    bool intra;
    bool chroma;
    int scale;       // quantiser_scale
    int dcPrecision; // intra_dc_precision
    bool tableOne;   // coefficients by table B.15
    app::mpeg2::Scan scan;
    const app::mpeg2::Matrix& weights;
};

// The quantised coefficients by scan position, that of an intra DC in its coded precision. Not all of them
// are zero.
using Levels = std::array<int, 64>;

// Any levels whose sum keeps within bounds.
Levels anyLevels(Random& random, const BlockCoding& coding);

// Levels that the library's inverse DCT, although it rounds in its own way, transforms into the samples that
// an ideal one gives. Pictures made of such blocks decode to the same samples in any good decoder.
Levels exactLevels(Random& random, const BlockCoding& coding);

// Writes the block. An intra DC is coded as the difference to the predictor, which is replaced.
void writeBlock(Draft& draft, const BlockCoding& coding, const Levels& levels, int& dcPredictor);

} // namespace kelvcpx::test
