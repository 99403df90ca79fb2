// The variable-length codes of ITU-T H.263 above the block layer, and other tables of it.
#pragma once

#include "common/code_reader.h"

#include <array>
#include <cstdint>
#include <span>

namespace kelvcpx::app::h263 {

constexpr int32_t macroblockStuffing = -1;

// The rows of the tables, for whoever writes a stream. MCBPC: 4 * macroblock type + coded block pattern of
// chrominance. CBPY: that of intra macroblocks, block 1 in bit 3. MVD: in half samples, -32..31.
struct CodeRows {
    std::span<const ValueCode> mcbpcIntra; // table 7
    std::span<const ValueCode> mcbpcInter; // table 8
    std::span<const ValueCode> cbpy;       // table 12
    std::span<const ValueCode> mvd;        // table 14
    std::span<const ValueCode> modb;       // table 11: 2 if CBPB follows, plus 1 if MVDB follows
};
extern const CodeRows codeRows;

struct CodeTables {
    PrefixTable mcbpcIntra;
    PrefixTable mcbpcInter;
    PrefixTable cbpy;
    PrefixTable mvd;
    PrefixTable modb;
};

// Built at the first call, shared by all decoders.
const CodeTables& codeTables();

// QUANT after a small change in modified quantisation (table T.1), by QUANT - 1 and the second bit of DQUANT.
extern const std::array<std::array<uint8_t, 2>, 31> changedQuant;

// QUANT_C by QUANT (table T.2).
extern const std::array<uint8_t, 32> chromaQuant;

} // namespace kelvcpx::app::h263
