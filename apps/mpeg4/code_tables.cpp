#include "mpeg4/code_tables.h"

#include "h263/code_tables.h"

#include <vector>

namespace kelvcpx::app::mpeg4 {
namespace {

constexpr ValueCode modbCodes[] = {{"1", 0}, {"01", modbHasType}, {"00", modbHasType | modbHasPattern}};

constexpr ValueCode bidirectionalTypeCodes[] = {
    {"1", typeDirect}, {"01", typeInterpolate}, {"001", typeBackward}, {"0001", typeForward}};

constexpr ValueCode displacementLengthCodes[] = {
    {"00", 0},        {"010", 1},        {"011", 2},         {"100", 3},          {"101", 4},
    {"110", 5},       {"1110", 6},       {"11110", 7},       {"111110", 8},       {"1111110", 9},
    {"11111110", 10}, {"111111110", 11}, {"1111111110", 12}, {"11111111110", 13}, {"111111111110", 14},
};

// That of H.263 with one code more.
std::vector<ValueCode> mvdCodes()
{
    std::vector<ValueCode> codes(h263::codeRows.mvd.begin(), h263::codeRows.mvd.end());
    codes.push_back(largestMvd);
    return codes;
}

} // namespace

constexpr CodeRows codeRows = {modbCodes, bidirectionalTypeCodes, displacementLengthCodes};

const CodeTables& codeTables()
{
    static const CodeTables tables{PrefixTable(mvdCodes()), PrefixTable(modbCodes),
                                   PrefixTable(bidirectionalTypeCodes), PrefixTable(displacementLengthCodes)};
    return tables;
}

} // namespace kelvcpx::app::mpeg4
