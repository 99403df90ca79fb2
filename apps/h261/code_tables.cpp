#include "h261/code_tables.h"

#include "common/macroblock_codes.h"

namespace kelvcpx::app::h261 {
namespace {

constexpr ValueCode stuffingCode[] = {{addressStuffingBits, addressStuffing}};
constexpr auto addressCodesAndStuffing = joined(addressCodes, stuffingCode);

constexpr ValueCode typeCodes[] = {
    {"0001", typeIntra},
    {"0000001", typeIntra | typeQuant},
    {"1", typePattern},
    {"00001", typeQuant | typePattern},
    {"000000001", typeMotion},
    {"00000001", typeMotion | typePattern},
    {"0000000001", typeMotion | typeQuant | typePattern},
    {"001", typeMotion | typeFilter},
    {"01", typeMotion | typeFilter | typePattern},
    {"000001", typeMotion | typeFilter | typeQuant | typePattern},
};

} // namespace

constexpr CodeRows codeRows{
    .address = addressCodesAndStuffing,
    .type = typeCodes,
    .mvd = std::span(vectorCodes).first<32>(),
    .pattern = patternCodes,
};

const CodeTables& codeTables()
{
    static const CodeTables tables{
        .address = PrefixTable(codeRows.address),
        .type = PrefixTable(codeRows.type),
        .mvd = PrefixTable(codeRows.mvd),
        .pattern = PrefixTable(codeRows.pattern),
    };
    return tables;
}

} // namespace kelvcpx::app::h261
