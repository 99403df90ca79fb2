#include "h263/block_stream.h"
#include "support/arguments.h"
#include "support/random.h"

#include "tables/h261_tables.h"
#include "tables/scan_tables.h"

#include <kelvcpx/h261.h>

#include <algorithm>

namespace kelvcpx::test {
namespace {

// Whose choice of codes: the library writes an escape for three of the events that have one.
enum class Writer { standard, library };

// ITU-T H.261 4.2.4 and table 5.
std::string codeOf(RunLevel coefficient, bool firstOfInterBlock, Writer writer = Writer::standard)
{
    const char* const sign = coefficient.level < 0 ? "1" : "0";
    const int magnitude = std::abs(coefficient.level);
    if (firstOfInterBlock && coefficient.run == 0 && magnitude == 1)
        return std::string("1") + sign;
    for (const h261::CoefficientCode& code : h261::coefficientCodes)
        if (code.run == coefficient.run && code.level == magnitude &&
            (writer == Writer::standard || code.run == 0 || code.level < 3 || code.run + 2 * code.level < 12))
            return std::string(code.bits) + sign;
    return "000001" + binary(coefficient.run, 6) + binary(coefficient.level, 8);
}

std::string codesOf(bool intra, const Block& levels, Writer writer)
{
    std::string text = intra ? binary(levels[0] == 128 ? 255 : levels[0], 8) : "";
    for (const RunLevel coefficient : coefficientsOf(levels, intra ? 1 : 0))
        text += codeOf(coefficient, !intra && text.empty(), writer);
    return text + "10";
}

struct Decoded {
    Block block;
    int32_t last = -5;
    Status status;
};

// Levels if QP is 0, coefficients otherwise.
Decoded decode(bool intra, BitStream& stream, int scan, int QP = 0)
{
    Decoded result;
    result.block.fill(77);
    int16_t* const block = result.block.data();
    if (QP > 0)
        result.status =
            (intra ? keliReconstructCoeffsIntra_H261_1u16s : keliReconstructCoeffsInter_H261_1u16s)(
                &stream.at, &stream.offset, block, &result.last, QP);
    else
        result.status = (intra ? keliDecodeCoeffsIntra_H261_1u16s : keliDecodeCoeffsInter_H261_1u16s)(
            &stream.at, &stream.offset, block, &result.last, scan);
    return result;
}

int16_t plainCoefficient(int level, int QP)
{
    const int magnitude = QP * (2 * std::abs(level) + 1) - (QP % 2 == 0 ? 1 : 0);
    return static_cast<int16_t>(level == 0 ? 0 : std::clamp(level < 0 ? -magnitude : magnitude, -2048, 2047));
}

// Encodes, decodes and reconstructs levels that are given in scan order.
void expectRoundTrip(bool intra, const Block& levels, int offset, int scan, int QP)
{
    Block block{};
    Block coefficients{};
    int32_t last = 0;
    for (std::size_t p = 0; p < 64; p++) {
        block[scan == -1 ? p : ownvc_Zigzag[p]] = levels[p];
        coefficients[ownvc_Zigzag[p]] = plainCoefficient(levels[p], QP);
        if (levels[p] != 0)
            last = static_cast<int32_t>(p);
    }
    if (intra)
        coefficients[0] = static_cast<int16_t>(8 * levels[0]);
    const auto count = static_cast<int32_t>(64 - std::count(levels.begin(), levels.end(), 0));
    const auto encode = [&](uint8_t** at, int32_t* bitOffset) {
        return (intra ? keliEncodeCoeffsIntra_H261_16s1u
                      : keliEncodeCoeffsInter_H261_16s1u)(block.data(), at, bitOffset, count, scan);
    };
    ASSERT_EQ(encoded(offset, encode), codesOf(intra, levels, Writer::library));
    for (const Writer writer : {Writer::standard, Writer::library})
        for (const int mode : {0, QP}) {
            const std::string codes = codesOf(intra, levels, writer);
            BitStream stream(codes, offset);
            const Decoded decoded = decode(intra, stream, scan, mode);
            ASSERT_EQ(decoded.status, StatusOk);
            ASSERT_EQ(decoded.block, mode == 0 ? block : coefficients);
            ASSERT_EQ(decoded.last, last);
            ASSERT_EQ(stream.position(), offset + static_cast<std::ptrdiff_t>(codes.size()));
        }
}

class H261Coefficients : public testing::TestWithParam<bool>
{
};

TEST_P(H261Coefficients, EveryEventSurvivesARoundTrip)
{
    const bool intra = GetParam();
    int number = 0;
    for (std::size_t position = intra ? 1 : 0; position < 64; position++)
        for (int level = -127; level <= 127; level++) {
            if (level == 0)
                continue;
            Block levels{};
            levels[0] = intra ? static_cast<int16_t>(1 + number % 254) : int16_t{0};
            levels[position] = static_cast<int16_t>(level);
            expectRoundTrip(intra, levels, number % 8, number % 3 - 1, 1 + number % 31);
            if (position < 63) {
                levels[position + 1] = 1;
                expectRoundTrip(intra, levels, number % 8, number % 3 - 1, 1 + number % 31);
            }
            if (HasFatalFailure())
                return;
            number++;
        }
}

TEST_P(H261Coefficients, RandomBlocksSurviveARoundTrip)
{
    Random random(55);
    for (int round = 0; round < 3000 && !HasFatalFailure(); round++) {
        Block levels{};
        const int density = random.uniform(1, 20);
        const int largest = random.oneIn(3) ? 127 : 3;
        for (int16_t& level : levels)
            if (random.oneIn(density))
                level = random.extreme<int16_t>(-largest, largest);
        if (GetParam())
            levels[0] = random.extreme<int16_t>(1, 254);
        else if (std::count(levels.begin(), levels.end(), 0) == 64)
            levels[63] = -1;
        expectRoundTrip(GetParam(), levels, random.uniform(0, 7), random.uniform(-1, 1),
                        random.uniform(1, 31));
    }
}

TEST_P(H261Coefficients, BadCodesStopTheBlock)
{
    const bool intra = GetParam();
    const std::string sound =
        intra ? "00000111" + codeOf({0, 3}, false) : codeOf({0, 3}, true) + codeOf({0, 2}, false);
    const std::ptrdiff_t end = intra ? 10 : 2; // behind the DC, or where it was
    for (const char* const bad :
         {"000000000011111", "00000100000000000000", "00000100000010000000", "00000111111100000001"}) {
        BitStream stream(sound + bad + "10", 2);
        const Decoded decoded = decode(intra, stream, -1);
        EXPECT_EQ(decoded.status, StatusBadVlcCode) << bad;
        EXPECT_EQ(decoded.last, 1);
        const Block expected = {static_cast<int16_t>(intra ? 7 : 3), static_cast<int16_t>(intra ? 3 : 2)};
        EXPECT_EQ(decoded.block, expected);
        EXPECT_EQ(stream.position(), end);
    }
    for (const char* const dc : {"00000000", "10000000"}) {
        if (!intra)
            break;
        for (const int QP : {0, 4}) {
            BitStream stream(std::string(dc) + "10", 2);
            const Decoded decoded = decode(intra, stream, 0, QP);
            EXPECT_EQ(decoded.status, StatusBadVlcCode);
            EXPECT_EQ(decoded.last, -1);
            EXPECT_EQ(decoded.block[0], 77);
            EXPECT_EQ(stream.position(), 2);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Modes, H261Coefficients, testing::Bool(),
                         [](const auto& info) { return info.param ? "Intra" : "Inter"; });

TEST(H261CoefficientArguments, AreChecked)
{
    uint8_t bytes[16]{};
    const uint8_t* in = bytes;
    uint8_t* out = bytes;
    int32_t offset = 0;
    int32_t badOffset = 8;
    int32_t last = 0;
    Block block{};
    int16_t* const b = block.data();
    for (const auto operation :
         {keliDecodeCoeffsIntra_H261_1u16s, keliDecodeCoeffsInter_H261_1u16s,
          keliReconstructCoeffsIntra_H261_1u16s, keliReconstructCoeffsInter_H261_1u16s}) {
        expectNullPointersRefused(operation, {}, &in, &offset, b, &last, 1);
        EXPECT_EQ(operation(&in, &badOffset, b, &last, 0), StatusBadBitOffset);
    }
    for (const int32_t QP : {0, 32}) {
        EXPECT_EQ(keliReconstructCoeffsIntra_H261_1u16s(&in, &offset, b, &last, QP), StatusBadQuantizer);
        EXPECT_EQ(keliReconstructCoeffsInter_H261_1u16s(&in, &offset, b, &last, QP), StatusBadQuantizer);
    }
    for (const auto operation : {keliEncodeCoeffsIntra_H261_16s1u, keliEncodeCoeffsInter_H261_16s1u}) {
        expectNullPointersRefused(operation, {}, b, &out, &offset, 1, 0);
        EXPECT_EQ(operation(b, &out, &badOffset, 0, 0), StatusBadBitOffset);
        EXPECT_EQ(operation(b, &out, &offset, 0, 0), StatusOutOfRange);
        EXPECT_EQ(operation(b, &out, &offset, 65, 0), StatusOutOfRange);
    }
}

} // namespace
} // namespace kelvcpx::test
