#include "h263/block_stream.h"
#include "support/arguments.h"
#include "support/random.h"

#include "tables/h263_tables.h"
#include "tables/scan_tables.h"

#include <kelvcpx/h263.h>

#include <algorithm>
#include <ostream>

namespace kelvcpx::test {
namespace {

struct Mode {
    bool intra;
    bool advanced;
    bool modQuant;

    std::size_t first() const { return intra && !advanced ? 1 : 0; }
};

void PrintTo(const Mode& mode, std::ostream* out)
{
    *out << (mode.intra ? "intra" : "inter") << (mode.advanced ? " advanced" : "")
         << (mode.modQuant ? " modified quantisation" : "");
}

constexpr Mode modes[] = {{false, false, false}, {false, false, true}, {true, false, false},
                          {true, false, true},   {true, true, false},  {true, true, true}};

// ITU-T H.263 tables 16 and I.2, 5.4.2 and T.4.
std::string codeOf(const Mode& mode, RunLevel coefficient, bool last)
{
    const int magnitude = std::abs(coefficient.level);
    for (const h263::CoefficientCode& code : h263::coefficientCodes) {
        const h263::RunLevel& event = mode.advanced ? code.advancedIntra : code.baseline;
        if ((code.last != 0) == last && event.run == coefficient.run && event.level == magnitude)
            return std::string(code.bits) + (coefficient.level < 0 ? '1' : '0');
    }
    const std::string escape = "0000011" + binary(last, 1) + binary(coefficient.run, 6);
    if (magnitude <= 127)
        return escape + binary(coefficient.level, 8);
    return escape + "10000000" + binary(coefficient.level, 5) + binary(coefficient.level >> 5, 6);
}

std::string codesOf(const Mode& mode, const Block& levels, bool complete = true)
{
    const auto coefficients = coefficientsOf(levels, mode.first());
    std::string text;
    for (std::size_t i = 0; i < coefficients.size(); i++)
        text += codeOf(mode, coefficients[i], complete && i + 1 == coefficients.size());
    return text;
}

std::size_t placeOf(int scan, std::size_t p)
{
    return scan == 0 ? ownvc_Zigzag[p] : scan == 1 ? ownvc_AltScanV[p] : scan == 2 ? ownvc_AltScanH[p] : p;
}

Status decode(const Mode& mode, BitStream& stream, Block& block, int32_t& last, int scan)
{
    return mode.intra ? keliDecodeCoeffsIntra_H263_1u16s(&stream.at, &stream.offset, block.data(), &last,
                                                         mode.advanced, mode.modQuant, scan)
                      : keliDecodeCoeffsInter_H263_1u16s(&stream.at, &stream.offset, block.data(), &last,
                                                         mode.modQuant, scan);
}

std::string encode(const Mode& mode, const Block& block, int offset, int count, int scan)
{
    return encoded(offset, [&](uint8_t** at, int32_t* bitOffset) {
        return mode.intra ? keliEncodeCoeffsIntra_H263_16s1u(block.data(), at, bitOffset, count,
                                                             mode.advanced, mode.modQuant, scan)
                          : keliEncodeCoeffsInter_H263_16s1u(block.data(), at, bitOffset, count,
                                                             mode.modQuant, scan);
    });
}

// Encodes and decodes levels that are given in scan order.
void expectRoundTrip(const Mode& mode, const Block& levels, int offset, int scan)
{
    const std::string codes = codesOf(mode, levels);
    Block block{};
    for (std::size_t p = 0; p < 64; p++)
        block[placeOf(scan, p)] = levels[p];
    const auto count = static_cast<int>(coefficientsOf(levels, mode.first()).size());
    ASSERT_EQ(encode(mode, block, offset, count, scan), codes);

    BitStream stream(codes, offset);
    Block decoded;
    decoded.fill(77);
    if (mode.first() == 1)
        decoded[0] = block[0]; // which must survive
    int32_t last = -5;
    ASSERT_EQ(decode(mode, stream, decoded, last, scan), StatusOk);
    ASSERT_EQ(decoded, block);
    ASSERT_EQ(levels[static_cast<std::size_t>(last)] != 0, true);
    ASSERT_TRUE(std::all_of(levels.begin() + last + 1, levels.end(), [](int16_t v) { return v == 0; }));
    ASSERT_EQ(stream.position(), offset + static_cast<std::ptrdiff_t>(codes.size()));
}

class H263Coefficients : public testing::TestWithParam<Mode>
{
};

// Every run and level, as the last coefficient and before another one.
TEST_P(H263Coefficients, EveryEventSurvivesARoundTrip)
{
    const Mode& mode = GetParam();
    const int largest = mode.modQuant ? 1023 : 127;
    int number = 0;
    for (std::size_t position = mode.first(); position < 64; position++)
        for (int magnitude = 1; magnitude <= largest; magnitude += magnitude < 130 ? 1 : 37)
            for (const int sign : {1, -1}) {
                Block levels{};
                levels[position] = static_cast<int16_t>(sign * magnitude);
                constexpr int scans[] = {0, 1, 2, 5, -1};
                const int scan = scans[number % 5];
                expectRoundTrip(mode, levels, number % 8, scan);
                if (position < 63) {
                    levels[position + 1] = static_cast<int16_t>(-sign);
                    expectRoundTrip(mode, levels, number % 8, scan);
                }
                if (HasFatalFailure())
                    return;
                number++;
            }
}

TEST_P(H263Coefficients, RandomBlocksSurviveARoundTrip)
{
    const Mode& mode = GetParam();
    Random random(51);
    for (int round = 0; round < 3000 && !HasFatalFailure(); round++) {
        Block levels{};
        const int density = random.uniform(1, 20);
        const int largest = random.oneIn(3) ? (mode.modQuant ? 1023 : 127) : 3;
        for (std::size_t p = 0; p < 64; p++)
            if (p == 63 || random.oneIn(density))
                levels[p] = random.extreme<int16_t>(-largest, largest);
        if (coefficientsOf(levels, mode.first()).empty())
            levels[63] = 1;
        expectRoundTrip(mode, levels, random.uniform(0, 7), random.uniform(-1, 3));
    }
}

// The first four coefficients of the block are sound.
TEST_P(H263Coefficients, BadCodesLeaveTheCursor)
{
    const Mode& mode = GetParam();
    Block levels{};
    for (std::size_t p = mode.first(); p < mode.first() + 4; p++)
        levels[p] = static_cast<int16_t>(p + 1);
    const std::string sound = codesOf(mode, levels, false);
    std::vector<std::string> bad = {"0000000001111111", "000001100000000000000000",
                                    codeOf(mode, {63, 2}, true)};
    if (!mode.modQuant)
        bad.push_back("0000011000000010000000");
    for (const std::string& code : bad) {
        BitStream stream(sound + code + "00000000000000000", 3);
        Block block = levels;
        int32_t last = -5;
        EXPECT_EQ(decode(mode, stream, block, last, 3), StatusBadVlcCode) << code;
        EXPECT_EQ(last, static_cast<int32_t>(mode.first()) + 3);
        EXPECT_EQ(block, levels);
        EXPECT_EQ(stream.position(), 3);
    }
}

INSTANTIATE_TEST_SUITE_P(Modes, H263Coefficients, testing::ValuesIn(modes));

// 6.2.1 and I.3.
int plainCoefficient(const Mode& mode, int level, int QP)
{
    if (mode.advanced)
        return static_cast<int16_t>(2 * QP * level);
    const int magnitude = QP * (2 * std::abs(level) + 1) - (QP % 2 == 0 ? 1 : 0);
    const int value = level == 0 ? 0 : level < 0 ? -magnitude : magnitude;
    return mode.modQuant ? static_cast<int16_t>(value) : std::clamp(value, -2048, 2047);
}

TEST_P(H263Coefficients, ReconstructionDequantisesWhatIsDecoded)
{
    const Mode& mode = GetParam();
    Random random(52);
    for (int round = 0; round < 3000; round++) {
        const int QP = random.uniform(1, 31);
        const int scan = mode.advanced ? random.uniform(0, 3) : 0;
        Block levels{};
        for (std::size_t p = 0; p < 64; p++)
            if (random.oneIn(5))
                levels[p] = random.extreme<int16_t>(-127, 127);
        levels[40] = random.extreme<int16_t>(1, mode.modQuant ? 1023 : 127);
        const bool damaged = random.oneIn(4);
        std::string codes = codesOf(mode, levels, !damaged) + (damaged ? "000000000" : "");
        const int dc = random.extreme(1, 254);
        if (mode.first() == 1)
            codes.insert(0, binary(dc == 128 ? 255 : dc, 8));

        Block expected{};
        for (std::size_t p = 0; p < 64; p++)
            expected[placeOf(scan == 3 ? 0 : scan, p)] =
                static_cast<int16_t>(plainCoefficient(mode, levels[p], QP));
        if (mode.first() == 1)
            expected[0] = static_cast<int16_t>(8 * dc);

        BitStream stream(codes, 5);
        Block block;
        block.fill(99);
        int32_t last = -5;
        const Status status =
            mode.intra
                ? keliReconstructCoeffsIntra_H263_1u16s(&stream.at, &stream.offset, block.data(), &last, 1,
                                                        QP, mode.advanced, scan, mode.modQuant)
                : keliReconstructCoeffsInter_H263_1u16s(&stream.at, &stream.offset, block.data(), &last, QP,
                                                        mode.modQuant);
        const auto size = static_cast<std::ptrdiff_t>(codes.size());
        ASSERT_EQ(status, damaged ? StatusBadVlcCode : StatusOk);
        ASSERT_EQ(stream.position() - 5, !damaged ? size : mode.first() == 1 ? 8 : 0);
        ASSERT_NE(levels[static_cast<std::size_t>(last)], 0);
        ASSERT_EQ(block, expected);
    }
}

TEST(H263IntraDc, IsEightBits)
{
    for (int code = 0; code < 256; code++) {
        const bool valid = code % 128 != 0;
        const int level = code == 255 ? 128 : code;
        BitStream stream(binary(code, 8), 3);
        int16_t dc = -7;
        ASSERT_EQ(keliDecodeDCIntra_H263_1u16s(&stream.at, &stream.offset, &dc),
                  valid ? StatusOk : StatusBadVlcCode);
        EXPECT_EQ(dc, valid ? level : -7);
        EXPECT_EQ(stream.position(), valid ? 11 : 3);
        if (valid) {
            const auto write = [&](uint8_t** at, int32_t* offset) {
                return keliEncodeDCIntra_H263_16s1u(static_cast<int16_t>(level), at, offset);
            };
            EXPECT_EQ(encoded(3, write), binary(code, 8));
        }

        // Alone, with nothing behind it.
        Block block;
        block.fill(99);
        Block expected = block;
        if (valid)
            expected[0] = static_cast<int16_t>(8 * level);
        BitStream again(binary(code, 8), 3);
        int32_t last = -5;
        ASSERT_EQ(keliReconstructCoeffsIntra_H263_1u16s(&again.at, &again.offset, block.data(), &last, 0, 5,
                                                        0, 0, 0),
                  valid ? StatusOk : StatusBadVlcCode);
        EXPECT_EQ(block, expected);
        EXPECT_EQ(last, valid ? 0 : -1);
        EXPECT_EQ(again.position(), valid ? 11 : 3);
    }
}

TEST(H263CoefficientArguments, AreChecked)
{
    uint8_t bytes[16]{};
    const uint8_t* in = bytes;
    uint8_t* out = bytes;
    int32_t offset = 0;
    int32_t last = 0;
    Block block{};
    int16_t* const b = block.data();
    expectNullPointersRefused(keliDecodeDCIntra_H263_1u16s, {}, &in, &offset, b);
    expectNullPointersRefused(keliDecodeCoeffsIntra_H263_1u16s, {}, &in, &offset, b, &last, 0, 0, 0);
    expectNullPointersRefused(keliDecodeCoeffsInter_H263_1u16s, {}, &in, &offset, b, &last, 0, 0);
    expectNullPointersRefused(keliReconstructCoeffsIntra_H263_1u16s, {}, &in, &offset, b, &last, 0, 1, 0, 0,
                              0);
    expectNullPointersRefused(keliReconstructCoeffsInter_H263_1u16s, {}, &in, &offset, b, &last, 1, 0);
    expectNullPointersRefused(keliEncodeDCIntra_H263_16s1u, {}, 1, &out, &offset);
    expectNullPointersRefused(keliEncodeCoeffsIntra_H263_16s1u, {}, b, &out, &offset, 1, 0, 0, 0);
    expectNullPointersRefused(keliEncodeCoeffsInter_H263_16s1u, {}, b, &out, &offset, 1, 0, 0);

    const uint8_t* noBytes = nullptr;
    EXPECT_EQ(keliDecodeCoeffsInter_H263_1u16s(&noBytes, &offset, b, &last, 0, 0), StatusNullPointer);
    for (const int32_t bad : {-1, 8}) {
        int32_t badOffset = bad;
        EXPECT_EQ(keliDecodeDCIntra_H263_1u16s(&in, &badOffset, b), StatusBadBitOffset);
        EXPECT_EQ(keliDecodeCoeffsInter_H263_1u16s(&in, &badOffset, b, &last, 0, 0), StatusBadBitOffset);
        EXPECT_EQ(keliReconstructCoeffsInter_H263_1u16s(&in, &badOffset, b, &last, 0, 0), StatusBadBitOffset);
        EXPECT_EQ(keliEncodeDCIntra_H263_16s1u(1, &out, &badOffset), StatusBadBitOffset);
        EXPECT_EQ(keliEncodeCoeffsInter_H263_16s1u(b, &out, &badOffset, 0, 0, 0), StatusBadBitOffset);
    }
    for (const int32_t QP : {0, 32}) {
        EXPECT_EQ(keliReconstructCoeffsInter_H263_1u16s(&in, &offset, b, &last, QP, 0), StatusBadQuantizer);
        EXPECT_EQ(keliReconstructCoeffsIntra_H263_1u16s(&in, &offset, b, &last, 1, QP, 0, 0, 0),
                  StatusBadQuantizer);
    }
    for (const int32_t count : {0, 65}) {
        EXPECT_EQ(keliEncodeCoeffsIntra_H263_16s1u(b, &out, &offset, count, 0, 0, 0), StatusOutOfRange);
        EXPECT_EQ(keliEncodeCoeffsInter_H263_16s1u(b, &out, &offset, count, 0, 0), StatusOutOfRange);
    }
}

} // namespace
} // namespace kelvcpx::test
