#include "h263/code_tables.h"

#include "common/macroblock_codes.h"

namespace kelvcpx::app::h263 {
namespace {

constexpr ValueCode mcbpcIntraCodes[] = {
    {"1", 12},      {"001", 13},    {"010", 14},
    {"011", 15},    {"0001", 16},   {"000001", 17},
    {"000010", 18}, {"000011", 19}, {"000000001", macroblockStuffing},
};

constexpr ValueCode mcbpcInterCodes[] = {
    {"1", 0},
    {"0011", 1},
    {"0010", 2},
    {"000101", 3},
    {"011", 4},
    {"0000111", 5},
    {"0000110", 6},
    {"000000101", 7},
    {"010", 8},
    {"0000101", 9},
    {"0000100", 10},
    {"00000101", 11},
    {"00011", 12},
    {"00000100", 13},
    {"00000011", 14},
    {"0000011", 15},
    {"000100", 16},
    {"000000100", 17},
    {"000000011", 18},
    {"000000010", 19},
    {"000000001", macroblockStuffing},
    {"00000000010", 20},
    {"0000000001100", 21},
    {"0000000001110", 22},
    {"0000000001111", 23},
};

constexpr ValueCode cbpyCodes[] = {
    {"0011", 0},   {"00101", 1}, {"00100", 2}, {"1001", 3},   {"00011", 4}, {"0111", 5},
    {"000010", 6}, {"1011", 7},  {"00010", 8}, {"000011", 9}, {"0101", 10}, {"1010", 11},
    {"0100", 12},  {"1000", 13}, {"0110", 14}, {"11", 15},
};

constexpr ValueCode lowMvdCodes[] = {
    {"0000000000101", -32}, {"0000000000111", -31}, {"000000000101", -30}, {"000000000111", -29},
    {"000000001001", -28},  {"000000001011", -27},  {"000000001101", -26}, {"000000001111", -25},
    {"00000001001", -24},   {"00000001011", -23},   {"00000001101", -22},  {"00000001111", -21},
    {"00000010001", -20},   {"00000010011", -19},   {"00000010101", -18},  {"00000010111", -17},
};

constexpr ValueCode highMvdCodes[] = {
    {"00000010110", 17},  {"00000010100", 18},  {"00000010010", 19},   {"00000010000", 20},
    {"00000001110", 21},  {"00000001100", 22},  {"00000001010", 23},   {"00000001000", 24},
    {"000000001110", 25}, {"000000001100", 26}, {"000000001010", 27},  {"000000001000", 28},
    {"000000000110", 29}, {"000000000100", 30}, {"0000000000110", 31},
};

constexpr auto mvdCodes = joined(lowMvdCodes, vectorCodes, highMvdCodes);

constexpr ValueCode modbCodes[] = {
    {"0", 0},
    {"10", 1},
    {"11", 3},
};

} // namespace

constexpr CodeRows codeRows{
    .mcbpcIntra = mcbpcIntraCodes,
    .mcbpcInter = mcbpcInterCodes,
    .cbpy = cbpyCodes,
    .mvd = mvdCodes,
    .modb = modbCodes,
};

const CodeTables& codeTables()
{
    static const CodeTables tables{
        .mcbpcIntra = PrefixTable(codeRows.mcbpcIntra),
        .mcbpcInter = PrefixTable(codeRows.mcbpcInter),
        .cbpy = PrefixTable(codeRows.cbpy),
        .mvd = PrefixTable(codeRows.mvd),
        .modb = PrefixTable(codeRows.modb),
    };
    return tables;
}

constexpr std::array<std::array<uint8_t, 2>, 31> changedQuant = {
    {{3, 2},   {1, 3},   {2, 4},   {3, 5},   {4, 6},   {5, 7},   {6, 8},   {7, 9},
     {8, 10},  {9, 11},  {9, 13},  {10, 14}, {11, 15}, {12, 16}, {13, 17}, {14, 18},
     {15, 19}, {16, 20}, {17, 21}, {18, 22}, {18, 24}, {19, 25}, {20, 26}, {21, 27},
     {22, 28}, {23, 29}, {24, 30}, {25, 31}, {26, 31}, {27, 31}, {28, 26}}};

constexpr std::array<uint8_t, 32> chromaQuant = {0,  1,  2,  3,  4,  5,  6,  6,  7,  8,  9,
                                                 9,  10, 10, 11, 11, 12, 12, 12, 13, 13, 13,
                                                 14, 14, 14, 14, 14, 15, 15, 15, 15, 15};

} // namespace kelvcpx::app::h263
