// The variable-length codes of ITU-T H.261 above the block layer.
#pragma once

#include "common/code_reader.h"

#include <cstdint>
#include <span>

namespace kelvcpx::app::h261 {

constexpr int32_t addressStuffing = -1; // a value of the table of macroblock addresses

// Flags of a macroblock type.
constexpr int32_t typeIntra = 1;
constexpr int32_t typeMotion = 2; // MVD follows
constexpr int32_t typeFilter = 4;
constexpr int32_t typeQuant = 8;
constexpr int32_t typePattern = 16; // CBP follows

// The rows of the tables, for whoever writes a stream. MVD: -16..15. CBP: block 1 in bit 5.
struct CodeRows {
    std::span<const ValueCode> address; // table 1
    std::span<const ValueCode> type;    // table 2
    std::span<const ValueCode> mvd;     // table 3
    std::span<const ValueCode> pattern; // table 4
};
extern const CodeRows codeRows;

struct CodeTables {
    PrefixTable address;
    PrefixTable type;
    PrefixTable mvd;
    PrefixTable pattern;
};

// Built at the first call, shared by all decoders.
const CodeTables& codeTables();

} // namespace kelvcpx::app::h261
