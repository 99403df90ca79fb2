// The AC code of DV (IEC 61834-2, SMPTE 314M) and the library's decoding table of it.
#pragma once

#include "common/huffman_table.h"

#include <kelvcpx/dv.h>

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace kelvcpx::app::dv {

// The codes up to 12 bits, without the sign bit that follows a level; the end of block is not among them. A
// level of 0 stands for run + 1 zeros.
std::span<const RunLevelCode> shortCodes();

// Zeros without a level: 1111110 and six bits of run. shortCodes() has shorter ones for smaller runs.
constexpr int32_t firstLongZeroRun = 6;
constexpr int32_t lastLongZeroRun = 61;

// The library's form of the code: what it looks up with nine bits, and behind a prefix of four.
struct CodeLists {
    std::vector<int32_t> first;
    std::vector<int32_t> second;
};
CodeLists makeCodeLists();

class AcTable
{
public:
    AcTable(); // throws std::bad_alloc

    const uint32_t* get() const { return table_.get(); }

private:
    struct Release {
        void operator()(uint32_t* table) const { keliFreeHuffmanTable_DV_32u(table); }
    };
    std::unique_ptr<uint32_t, Release> table_;
};

} // namespace kelvcpx::app::dv
