#include "h264/cavlc_tables.h"

#include <algorithm>
#include <vector>

namespace kelvcpx::app::h264 {
namespace {

// Table 9-5, by nC: code, TrailingOnes, TotalCoeff.

constexpr RunLevelCode coeffTokenCodes0[] = {
    {"1", 0, 0},
    {"000101", 0, 1},
    {"01", 1, 1},
    {"00000111", 0, 2},
    {"000100", 1, 2},
    {"001", 2, 2},
    {"000000111", 0, 3},
    {"00000110", 1, 3},
    {"0000101", 2, 3},
    {"00011", 3, 3},
    {"0000000111", 0, 4},
    {"000000110", 1, 4},
    {"00000101", 2, 4},
    {"000011", 3, 4},
    {"00000000111", 0, 5},
    {"0000000110", 1, 5},
    {"000000101", 2, 5},
    {"0000100", 3, 5},
    {"0000000001111", 0, 6},
    {"00000000110", 1, 6},
    {"0000000101", 2, 6},
    {"00000100", 3, 6},
    {"0000000001011", 0, 7},
    {"0000000001110", 1, 7},
    {"00000000101", 2, 7},
    {"000000100", 3, 7},
    {"0000000001000", 0, 8},
    {"0000000001010", 1, 8},
    {"0000000001101", 2, 8},
    {"0000000100", 3, 8},
    {"00000000001111", 0, 9},
    {"00000000001110", 1, 9},
    {"0000000001001", 2, 9},
    {"00000000100", 3, 9},
    {"00000000001011", 0, 10},
    {"00000000001010", 1, 10},
    {"00000000001101", 2, 10},
    {"0000000001100", 3, 10},
    {"000000000001111", 0, 11},
    {"000000000001110", 1, 11},
    {"00000000001001", 2, 11},
    {"00000000001100", 3, 11},
    {"000000000001011", 0, 12},
    {"000000000001010", 1, 12},
    {"000000000001101", 2, 12},
    {"00000000001000", 3, 12},
    {"0000000000001111", 0, 13},
    {"000000000000001", 1, 13},
    {"000000000001001", 2, 13},
    {"000000000001100", 3, 13},
    {"0000000000001011", 0, 14},
    {"0000000000001110", 1, 14},
    {"0000000000001101", 2, 14},
    {"000000000001000", 3, 14},
    {"0000000000000111", 0, 15},
    {"0000000000001010", 1, 15},
    {"0000000000001001", 2, 15},
    {"0000000000001100", 3, 15},
    {"0000000000000100", 0, 16},
    {"0000000000000110", 1, 16},
    {"0000000000000101", 2, 16},
    {"0000000000001000", 3, 16},
};

constexpr RunLevelCode coeffTokenCodes2[] = {
    {"11", 0, 0},
    {"001011", 0, 1},
    {"10", 1, 1},
    {"000111", 0, 2},
    {"00111", 1, 2},
    {"011", 2, 2},
    {"0000111", 0, 3},
    {"001010", 1, 3},
    {"001001", 2, 3},
    {"0101", 3, 3},
    {"00000111", 0, 4},
    {"000110", 1, 4},
    {"000101", 2, 4},
    {"0100", 3, 4},
    {"00000100", 0, 5},
    {"0000110", 1, 5},
    {"0000101", 2, 5},
    {"00110", 3, 5},
    {"000000111", 0, 6},
    {"00000110", 1, 6},
    {"00000101", 2, 6},
    {"001000", 3, 6},
    {"00000001111", 0, 7},
    {"000000110", 1, 7},
    {"000000101", 2, 7},
    {"000100", 3, 7},
    {"00000001011", 0, 8},
    {"00000001110", 1, 8},
    {"00000001101", 2, 8},
    {"0000100", 3, 8},
    {"000000001111", 0, 9},
    {"00000001010", 1, 9},
    {"00000001001", 2, 9},
    {"000000100", 3, 9},
    {"000000001011", 0, 10},
    {"000000001110", 1, 10},
    {"000000001101", 2, 10},
    {"00000001100", 3, 10},
    {"000000001000", 0, 11},
    {"000000001010", 1, 11},
    {"000000001001", 2, 11},
    {"00000001000", 3, 11},
    {"0000000001111", 0, 12},
    {"0000000001110", 1, 12},
    {"0000000001101", 2, 12},
    {"000000001100", 3, 12},
    {"0000000001011", 0, 13},
    {"0000000001010", 1, 13},
    {"0000000001001", 2, 13},
    {"0000000001100", 3, 13},
    {"0000000000111", 0, 14},
    {"00000000001011", 1, 14},
    {"0000000000110", 2, 14},
    {"0000000001000", 3, 14},
    {"00000000001001", 0, 15},
    {"00000000001000", 1, 15},
    {"00000000001010", 2, 15},
    {"0000000000001", 3, 15},
    {"00000000000111", 0, 16},
    {"00000000000110", 1, 16},
    {"00000000000101", 2, 16},
    {"00000000000100", 3, 16},
};

constexpr RunLevelCode coeffTokenCodes4[] = {
    {"1111", 0, 0},        {"001111", 0, 1},      {"1110", 1, 1},        {"001011", 0, 2},
    {"01111", 1, 2},       {"1101", 2, 2},        {"001000", 0, 3},      {"01100", 1, 3},
    {"01110", 2, 3},       {"1100", 3, 3},        {"0001111", 0, 4},     {"01010", 1, 4},
    {"01011", 2, 4},       {"1011", 3, 4},        {"0001011", 0, 5},     {"01000", 1, 5},
    {"01001", 2, 5},       {"1010", 3, 5},        {"0001001", 0, 6},     {"001110", 1, 6},
    {"001101", 2, 6},      {"1001", 3, 6},        {"0001000", 0, 7},     {"001010", 1, 7},
    {"001001", 2, 7},      {"1000", 3, 7},        {"00001111", 0, 8},    {"0001110", 1, 8},
    {"0001101", 2, 8},     {"01101", 3, 8},       {"00001011", 0, 9},    {"00001110", 1, 9},
    {"0001010", 2, 9},     {"001100", 3, 9},      {"000001111", 0, 10},  {"00001010", 1, 10},
    {"00001101", 2, 10},   {"0001100", 3, 10},    {"000001011", 0, 11},  {"000001110", 1, 11},
    {"00001001", 2, 11},   {"00001100", 3, 11},   {"000001000", 0, 12},  {"000001010", 1, 12},
    {"000001101", 2, 12},  {"00001000", 3, 12},   {"0000001101", 0, 13}, {"000000111", 1, 13},
    {"000001001", 2, 13},  {"000001100", 3, 13},  {"0000001001", 0, 14}, {"0000001100", 1, 14},
    {"0000001011", 2, 14}, {"0000001010", 3, 14}, {"0000000101", 0, 15}, {"0000001000", 1, 15},
    {"0000000111", 2, 15}, {"0000000110", 3, 15}, {"0000000001", 0, 16}, {"0000000100", 1, 16},
    {"0000000011", 2, 16}, {"0000000010", 3, 16},
};

constexpr RunLevelCode coeffTokenCodesChromaDc[] = {
    {"01", 0, 0},     {"000111", 0, 1},   {"1", 1, 1},        {"000100", 0, 2},  {"000110", 1, 2},
    {"001", 2, 2},    {"000011", 0, 3},   {"0000011", 1, 3},  {"0000010", 2, 3}, {"000101", 3, 3},
    {"000010", 0, 4}, {"00000011", 1, 4}, {"00000010", 2, 4}, {"0000000", 3, 4},
};

constexpr RunLevelCode coeffTokenCodesChromaDc422[] = {
    {"1", 0, 0},
    {"0001111", 0, 1},
    {"01", 1, 1},
    {"0001110", 0, 2},
    {"0001101", 1, 2},
    {"001", 2, 2},
    {"000000111", 0, 3},
    {"0001100", 1, 3},
    {"0001011", 2, 3},
    {"00001", 3, 3},
    {"000000110", 0, 4},
    {"000000101", 1, 4},
    {"0001010", 2, 4},
    {"000001", 3, 4},
    {"0000000111", 0, 5},
    {"0000000110", 1, 5},
    {"000000100", 2, 5},
    {"0001001", 3, 5},
    {"00000000111", 0, 6},
    {"00000000110", 1, 6},
    {"0000000101", 2, 6},
    {"0001000", 3, 6},
    {"000000000111", 0, 7},
    {"000000000110", 1, 7},
    {"00000000101", 2, 7},
    {"0000000100", 3, 7},
    {"0000000000111", 0, 8},
    {"000000000101", 1, 8},
    {"000000000100", 2, 8},
    {"00000000100", 3, 8},
};

// Tables 9-7 and 9-8, by TotalCoeff: code, total_zeros.

constexpr ValueCode totalZerosCodes1[] = {
    {"1", 0},         {"011", 1},        {"010", 2},        {"0011", 3},
    {"0010", 4},      {"00011", 5},      {"00010", 6},      {"000011", 7},
    {"000010", 8},    {"0000011", 9},    {"0000010", 10},   {"00000011", 11},
    {"00000010", 12}, {"000000011", 13}, {"000000010", 14}, {"000000001", 15},
};

constexpr ValueCode totalZerosCodes2[] = {
    {"111", 0},    {"110", 1},     {"101", 2},     {"100", 3},     {"011", 4},
    {"0101", 5},   {"0100", 6},    {"0011", 7},    {"0010", 8},    {"00011", 9},
    {"00010", 10}, {"000011", 11}, {"000010", 12}, {"000001", 13}, {"000000", 14},
};

constexpr ValueCode totalZerosCodes3[] = {
    {"0101", 0}, {"111", 1},  {"110", 2},   {"101", 3},    {"0100", 4},    {"0011", 5},   {"100", 6},
    {"011", 7},  {"0010", 8}, {"00011", 9}, {"00010", 10}, {"000001", 11}, {"00001", 12}, {"000000", 13},
};

constexpr ValueCode totalZerosCodes4[] = {
    {"00011", 0}, {"111", 1}, {"0101", 2}, {"0100", 3},   {"110", 4},    {"101", 5},    {"100", 6},
    {"0011", 7},  {"011", 8}, {"0010", 9}, {"00010", 10}, {"00001", 11}, {"00000", 12},
};

constexpr ValueCode totalZerosCodes5[] = {
    {"0101", 0}, {"0100", 1}, {"0011", 2}, {"111", 3},   {"110", 4},   {"101", 5},
    {"100", 6},  {"011", 7},  {"0010", 8}, {"00001", 9}, {"0001", 10}, {"00000", 11},
};

constexpr ValueCode totalZerosCodes6[] = {
    {"000001", 0}, {"00001", 1}, {"111", 2},  {"110", 3}, {"101", 4},     {"100", 5},
    {"011", 6},    {"010", 7},   {"0001", 8}, {"001", 9}, {"000000", 10},
};

constexpr ValueCode totalZerosCodes7[] = {
    {"000001", 0}, {"00001", 1}, {"101", 2},  {"100", 3}, {"011", 4},
    {"11", 5},     {"010", 6},   {"0001", 7}, {"001", 8}, {"000000", 9},
};

constexpr ValueCode totalZerosCodes8[] = {
    {"000001", 0}, {"0001", 1}, {"00001", 2}, {"011", 3},    {"11", 4},
    {"10", 5},     {"010", 6},  {"001", 7},   {"000000", 8},
};

constexpr ValueCode totalZerosCodes9[] = {
    {"000001", 0}, {"000000", 1}, {"0001", 2}, {"11", 3}, {"10", 4}, {"001", 5}, {"01", 6}, {"00001", 7},
};

constexpr ValueCode totalZerosCodes10[] = {
    {"00001", 0}, {"00000", 1}, {"001", 2}, {"11", 3}, {"10", 4}, {"01", 5}, {"0001", 6},
};

constexpr ValueCode totalZerosCodes11[] = {
    {"0000", 0}, {"0001", 1}, {"001", 2}, {"010", 3}, {"1", 4}, {"011", 5},
};

constexpr ValueCode totalZerosCodes12[] = {
    {"0000", 0}, {"0001", 1}, {"01", 2}, {"1", 3}, {"001", 4},
};

constexpr ValueCode totalZerosCodes13[] = {
    {"000", 0},
    {"001", 1},
    {"1", 2},
    {"01", 3},
};

constexpr ValueCode totalZerosCodes14[] = {
    {"00", 0},
    {"01", 1},
    {"1", 2},
};

constexpr ValueCode totalZerosCodes15[] = {
    {"0", 0},
    {"1", 1},
};

// Table 9-9 (a).

constexpr ValueCode totalZerosCodesChromaDc1[] = {
    {"1", 0},
    {"01", 1},
    {"001", 2},
    {"000", 3},
};

constexpr ValueCode totalZerosCodesChromaDc2[] = {
    {"1", 0},
    {"01", 1},
    {"00", 2},
};

constexpr ValueCode totalZerosCodesChromaDc3[] = {
    {"1", 0},
    {"0", 1},
};

// Table 9-9 (b).

constexpr ValueCode totalZerosCodesChromaDc422_1[] = {
    {"1", 0}, {"010", 1}, {"011", 2}, {"0010", 3}, {"0011", 4}, {"0001", 5}, {"00001", 6}, {"00000", 7},
};

constexpr ValueCode totalZerosCodesChromaDc422_2[] = {
    {"000", 0}, {"01", 1}, {"001", 2}, {"100", 3}, {"101", 4}, {"110", 5}, {"111", 6},
};

constexpr ValueCode totalZerosCodesChromaDc422_3[] = {
    {"000", 0}, {"001", 1}, {"01", 2}, {"10", 3}, {"110", 4}, {"111", 5},
};

constexpr ValueCode totalZerosCodesChromaDc422_4[] = {
    {"110", 0}, {"00", 1}, {"01", 2}, {"10", 3}, {"111", 4},
};

constexpr ValueCode totalZerosCodesChromaDc422_5[] = {
    {"00", 0},
    {"01", 1},
    {"10", 2},
    {"11", 3},
};

constexpr ValueCode totalZerosCodesChromaDc422_6[] = {
    {"00", 0},
    {"01", 1},
    {"1", 2},
};

constexpr ValueCode totalZerosCodesChromaDc422_7[] = {
    {"0", 0},
    {"1", 1},
};

// Table 9-10, by zerosLeft: code, run_before.

constexpr ValueCode runBeforeCodes1[] = {
    {"1", 0},
    {"0", 1},
};

constexpr ValueCode runBeforeCodes2[] = {
    {"1", 0},
    {"01", 1},
    {"00", 2},
};

constexpr ValueCode runBeforeCodes3[] = {
    {"11", 0},
    {"10", 1},
    {"01", 2},
    {"00", 3},
};

constexpr ValueCode runBeforeCodes4[] = {
    {"11", 0}, {"10", 1}, {"01", 2}, {"001", 3}, {"000", 4},
};

constexpr ValueCode runBeforeCodes5[] = {
    {"11", 0}, {"10", 1}, {"011", 2}, {"010", 3}, {"001", 4}, {"000", 5},
};

constexpr ValueCode runBeforeCodes6[] = {
    {"11", 0}, {"000", 1}, {"001", 2}, {"011", 3}, {"010", 4}, {"101", 5}, {"100", 6},
};

constexpr ValueCode runBeforeCodes7[] = {
    {"111", 0},      {"110", 1},       {"101", 2},        {"100", 3},         {"011", 4},
    {"010", 5},      {"001", 6},       {"0001", 7},       {"00001", 8},       {"000001", 9},
    {"0000001", 10}, {"00000001", 11}, {"000000001", 12}, {"0000000001", 13}, {"00000000001", 14},
};

// The codes of a table, looked up `first` bits at a time and, where they are longer, the rest at once.
template <class Code>
HuffmanTable buildTable(std::span<const Code> codes, int32_t first)
{
    std::size_t longest = 0;
    for (const Code& code : codes)
        longest = std::max(longest, code.bits.size());
    const auto bits = static_cast<int32_t>(longest);
    if (bits <= first)
        return {codes, {bits}};
    return {codes, {first, bits - first}};
}

// All tables, and pointers to them.
class Tables
{
public:
    Tables()
    {
        constexpr int32_t tokenBits = 8;
        constexpr int32_t totalZerosBits = 6;
        constexpr int32_t runBeforeBits = 3;

        for (std::size_t i = 0; i < cavlcRows.coeffToken.size(); i++)
            pointers_.coeffToken[i] = add(cavlcRows.coeffToken[i], tokenBits);
        pointers_.coeffTokenChromaDc = add(cavlcRows.coeffTokenChromaDc, tokenBits);
        pointers_.coeffTokenChromaDc422 = add(cavlcRows.coeffTokenChromaDc422, tokenBits);
        for (std::size_t i = 1; i < cavlcRows.totalZeros.size(); i++)
            pointers_.totalZeros[i] = add(cavlcRows.totalZeros[i], totalZerosBits);
        for (std::size_t i = 1; i < cavlcRows.totalZerosChromaDc.size(); i++)
            pointers_.totalZerosChromaDc[i] = add(cavlcRows.totalZerosChromaDc[i], totalZerosBits);
        for (std::size_t i = 1; i < cavlcRows.totalZerosChromaDc422.size(); i++)
            pointers_.totalZerosChromaDc422[i] = add(cavlcRows.totalZerosChromaDc422[i], totalZerosBits);
        for (std::size_t i = 1; i < cavlcRows.runBefore.size(); i++)
            pointers_.runBefore[i] = add(cavlcRows.runBefore[i], runBeforeBits);
        std::fill(std::begin(pointers_.runBefore) + 8, std::end(pointers_.runBefore), pointers_.runBefore[7]);
    }

    const CavlcTables& pointers() const { return pointers_; }

private:
    template <class Code>
    const int32_t* add(std::span<const Code> codes, int32_t first)
    {
        return tables_.emplace_back(buildTable(codes, first)).get();
    }

    std::vector<HuffmanTable> tables_;
    CavlcTables pointers_{};
};

} // namespace

constexpr CavlcRows cavlcRows{
    .coeffToken = {coeffTokenCodes0, coeffTokenCodes2, coeffTokenCodes4},
    .coeffTokenChromaDc = coeffTokenCodesChromaDc,
    .coeffTokenChromaDc422 = coeffTokenCodesChromaDc422,
    .totalZeros = {std::span<const ValueCode>{}, totalZerosCodes1, totalZerosCodes2, totalZerosCodes3,
                   totalZerosCodes4, totalZerosCodes5, totalZerosCodes6, totalZerosCodes7, totalZerosCodes8,
                   totalZerosCodes9, totalZerosCodes10, totalZerosCodes11, totalZerosCodes12,
                   totalZerosCodes13, totalZerosCodes14, totalZerosCodes15},
    .totalZerosChromaDc = {std::span<const ValueCode>{}, totalZerosCodesChromaDc1, totalZerosCodesChromaDc2,
                           totalZerosCodesChromaDc3},
    .totalZerosChromaDc422 = {std::span<const ValueCode>{}, totalZerosCodesChromaDc422_1,
                              totalZerosCodesChromaDc422_2, totalZerosCodesChromaDc422_3,
                              totalZerosCodesChromaDc422_4, totalZerosCodesChromaDc422_5,
                              totalZerosCodesChromaDc422_6, totalZerosCodesChromaDc422_7},
    .runBefore = {std::span<const ValueCode>{}, runBeforeCodes1, runBeforeCodes2, runBeforeCodes3,
                  runBeforeCodes4, runBeforeCodes5, runBeforeCodes6, runBeforeCodes7},
};

const CavlcTables& cavlcTables()
{
    static const Tables tables;
    return tables.pointers();
}

} // namespace kelvcpx::app::h264
