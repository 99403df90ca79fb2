// The variable-length codes of MPEG-1 and MPEG-2: their rows, and decoding tables of the library made from
// them.
#pragma once

#include "common/huffman_table.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

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

struct CoefficientCode {
    std::string_view bits; // without the sign, which follows
    uint8_t run;
    int16_t level;
};

// The rows of the tables, for whoever writes a stream.
struct CodeRows {
    std::span<const ValueCode> addressIncrement;
    std::array<std::span<const ValueCode>, 3> macroblockType; // of I, P and B pictures
    std::span<const ValueCode> codedBlockPattern;
    std::span<const ValueCode> motionCode;
    std::span<const ValueCode> dmvector;
    std::array<std::span<const ValueCode>, 2> dcSize;             // of luminance and chrominance
    std::array<std::span<const CoefficientCode>, 2> coefficients; // ISO/IEC 13818-2 tables B.14 and B.15
    std::array<std::string_view, 2> endOfBlock;                   // in each of them
    std::string_view escape;                                      // in both
};
extern const CodeRows codeRows;

// A coefficient table as the library's code lists have it: with both signs, the escape and the end of block.
class CoefficientRows
{
public:
    explicit CoefficientRows(std::size_t table); // an index into CodeRows::coefficients
    CoefficientRows(const CoefficientRows&) = delete;
    CoefficientRows& operator=(const CoefficientRows&) = delete;

    std::span<const RunLevelCode> rows() const { return rows_; }

private:
    std::vector<std::string> signedBits_; // which the rows point to
    std::vector<RunLevelCode> rows_;
};

struct CodeTables {
    HuffmanTable addressIncrement;
    HuffmanTable macroblockType[3];
    HuffmanTable codedBlockPattern;
    HuffmanTable motionCode;
    HuffmanTable dmvector;
    HuffmanTable dcSize[2];
    HuffmanTable coefficients[2];
};

// Built at the first call, shared by all decoders.
const CodeTables& codeTables();

} // namespace kelvcpx::app::mpeg2
