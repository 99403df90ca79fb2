#include "h264/cavlc_stream.h"
#include "h264/cavlc_tables.h"
#include "support/arguments.h"
#include "support/random.h"

#include <kelvcpx/h264_residual.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

namespace kelvcpx::test {
namespace {

using app::h264::cavlcRows;
using app::h264::cavlcTables;

constexpr std::array<int32_t, 16> zigzag = {0, 1, 4, 8, 5, 2, 3, 6, 9, 12, 13, 10, 7, 11, 14, 15};
constexpr std::array<int32_t, 16> fieldScan = {0, 4, 1, 8, 12, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15};
constexpr std::array<int32_t, 4> rasterScan420 = {0, 1, 2, 3};

// The place of each chroma DC coefficient of 4:2:2 in the array of 8.5.11.1, two wide and four high.
constexpr std::array<int32_t, 8> rasterScan422 = [] {
    constexpr std::array<std::size_t, 8> c = {0, 2, 1, 5, 3, 6, 4, 7};
    std::array<int32_t, 8> scan{};
    for (int32_t place = 0; place < 8; place++)
        scan[c[static_cast<std::size_t>(place)]] = place;
    return scan;
}();

// A block to be read: what the operation must be told about it.
struct Shape {
    BlockKind kind;
    int nC;
    int maxNumCoeff;
    const int32_t* scan; // raster index of each scan position of a whole block

    int stored() const { return kind == BlockKind::luma ? 16 : kind == BlockKind::chromaDc ? 4 : 8; }
};

Shape randomShape(Random& random)
{
    switch (random.uniform<int>(0, 3)) {
    case 0:
        return {BlockKind::chromaDc, -1, 4, rasterScan420.data()};
    case 1:
        return {BlockKind::chromaDc422, -2, 8, rasterScan422.data()};
    default:
        return {BlockKind::luma, random.uniform<int>(0, 17), random.uniform<int>(15, 16),
                random.oneIn(2) ? zigzag.data() : fieldScan.data()};
    }
}

template <class Coefficient>
Status decode(const Shape& shape, Position& position, uint16_t& totalCoeff, Coefficient*& coefficients)
{
    constexpr bool narrow = std::is_same_v<Coefficient, int16_t>;
    const auto& tables = cavlcTables();
    const uint32_t** const word = &position.word;
    const auto pick = [](auto narrowOperation, auto wideOperation) {
        if constexpr (narrow)
            return narrowOperation;
        else
            return wideOperation;
    };
    switch (shape.kind) {
    case BlockKind::luma:
        return pick(keliDecodeCAVLCCoeffs_H264_1u16s, keliDecodeCAVLCCoeffs_H264_1u32s)(
            word, &position.offset, &totalCoeff, &coefficients, shape.nC,
            static_cast<int16_t>(shape.maxNumCoeff), tables.coeffToken, tables.totalZeros, tables.runBefore,
            shape.scan);
    case BlockKind::chromaDc:
        return pick(keliDecodeCAVLCChromaDcCoeffs_H264_1u16s, keliDecodeCAVLCChromaDcCoeffs_H264_1u32s)(
            word, &position.offset, &totalCoeff, &coefficients, tables.coeffTokenChromaDc,
            tables.totalZerosChromaDc, tables.runBefore);
    default:
        return pick(keliDecodeCAVLCChroma422DcCoeffs_H264_1u16s, keliDecodeCAVLCChroma422DcCoeffs_H264_1u32s)(
            word, &position.offset, &totalCoeff, &coefficients, tables.coeffTokenChromaDc422,
            tables.totalZerosChromaDc422, tables.runBefore);
    }
}

// Levels of every length of code, those with escapes included.
int32_t randomLevel(Random& random)
{
    constexpr std::array<int, 6> magnitudes = {1, 2, 8, 70, 2200, 32767};
    const int most = magnitudes[random.uniform<std::size_t>(0, 5)];
    const int magnitude = random.oneIn(3) ? most : random.uniform<int>(1, most);
    return random.oneIn(2) ? magnitude : -magnitude;
}

std::vector<int32_t> randomScannedBlock(Random& random, int size)
{
    std::vector<int32_t> block(static_cast<std::size_t>(size), 0);
    const int totalCoeff = random.uniform<int>(0, size);
    const bool small = random.oneIn(2);
    for (int i = 0; i < totalCoeff; i++) { // low frequencies first as often as scattered
        const int at = random.oneIn(2) ? i : random.uniform<int>(0, size - 1);
        block[static_cast<std::size_t>(at)] = small ? random.uniform<int>(0, 1) * 2 - 1 : randomLevel(random);
    }
    return block;
}

// The buffer after a block: its coefficients at their raster places, then a margin that nothing may touch.
constexpr int32_t untouched = 12345;

template <class Coefficient>
std::vector<Coefficient> stored(const Shape& shape, const std::vector<int32_t>& scanned)
{
    std::vector<Coefficient> buffer(static_cast<std::size_t>(shape.stored()), 0);
    const std::size_t first = shape.kind == BlockKind::luma ? 16 - scanned.size() : 0;
    for (std::size_t i = 0; i < scanned.size(); i++)
        buffer[static_cast<std::size_t>(shape.scan[first + i])] = static_cast<Coefficient>(scanned[i]);
    buffer.resize(buffer.size() + 16, untouched);
    return buffer;
}

template <class Coefficient>
class Cavlc : public testing::Test
{
};
using Widths = testing::Types<int16_t, int32_t>;
TYPED_TEST_SUITE(Cavlc, Widths);

TYPED_TEST(Cavlc, ReadsWhatTheStandardWrites)
{
    Random random(1);
    for (int round = 0; round < 3000; round++) {
        BitText text;
        text.put(0, random.uniform<int>(0, 31));
        const std::size_t start = text.size();
        std::vector<Shape> shapes;
        std::vector<std::vector<int32_t>> blocks;
        std::vector<std::size_t> ends;
        for (int i = 0; i < 20; i++) {
            shapes.push_back(randomShape(random));
            blocks.push_back(randomScannedBlock(random, shapes.back().maxNumCoeff));
            putBlock(text, shapes.back().kind, shapes.back().nC, blocks.back());
            ends.push_back(text.size());
        }
        // One word more than the bits fill: no other may be read.
        const auto padded = text.words();
        const std::vector<uint32_t> words(
            padded.begin(), padded.begin() + static_cast<std::ptrdiff_t>((text.size() + 31) / 32) + 1);
        Position position{words.data(), 31 - static_cast<int32_t>(start)};
        for (std::size_t i = 0; i < blocks.size(); i++) {
            const auto total =
                std::count_if(blocks[i].begin(), blocks[i].end(), [](int32_t v) { return v != 0; });
            std::vector<TypeParam> buffer(stored<TypeParam>(shapes[i], blocks[i]).size(), untouched);
            TypeParam* next = buffer.data();
            uint16_t totalCoeff = 99;
            ASSERT_EQ(decode(shapes[i], position, totalCoeff, next), StatusOk);
            EXPECT_EQ(totalCoeff, total);
            EXPECT_EQ(next - buffer.data(), total > 0 ? shapes[i].stored() : 0);
            if (total > 0)
                ASSERT_EQ(buffer, stored<TypeParam>(shapes[i], blocks[i]));
            else
                ASSERT_EQ(buffer, std::vector<TypeParam>(buffer.size(), untouched));
            ASSERT_EQ(position.bitsFrom(words), ends[i]);
        }
    }
}

// A decoder that reads bit by bit, for streams of any bits.
class PlainDecoder
{
public:
    PlainDecoder(const std::string& bits, std::size_t at) : bits_(bits), at_(at) {}

    struct Result {
        Status status = StatusOk;
        std::optional<int> totalCoeff;       // if it was reported
        std::optional<std::size_t> position; // of the cursor; not known after an invalid code
        std::vector<int32_t> block;          // in raster order, empty if it was not touched
    };

    Result decode(const Shape& shape)
    {
        Result result;
        const std::size_t start = at_;
        const auto [totalCoeff, trailingOnes] = readToken(shape);
        if (totalCoeff < 0 || totalCoeff > shape.maxNumCoeff) {
            result.status = StatusBadHuffmanCode;
            result.position = start;
            return result;
        }
        result.totalCoeff = totalCoeff;
        std::vector<int64_t> levels;
        for (int i = 0; i < trailingOnes; i++)
            levels.push_back(1 - 2 * static_cast<int>(read(1)));
        result.position = at_;
        if (totalCoeff == 0)
            return result;
        result.block.assign(static_cast<std::size_t>(shape.stored()), 0);
        result.status = readRest(shape, totalCoeff, trailingOnes, levels, result.block);
        if (invalid_)
            result.position.reset();
        else
            result.position = at_;
        return result;
    }

private:
    uint64_t read(int n)
    {
        uint64_t value = 0;
        for (int i = 0; i < n; i++, at_++)
            value = 2 * value + (at_ < bits_.size() && bits_[at_] == '1' ? 1 : 0);
        return value;
    }

    template <class Code>
    const Code* readCode(std::span<const Code> codes)
    {
        for (const Code& code : codes)
            if (bits_.compare(at_, code.bits.size(), code.bits) == 0) {
                at_ += code.bits.size();
                return &code;
            }
        invalid_ = true;
        return nullptr;
    }

    std::array<int, 2> readToken(const Shape& shape)
    {
        if (shape.kind == BlockKind::luma && shape.nC >= 8) {
            const auto bits = static_cast<int>(read(6));
            return bits == 3 ? std::array{0, 0} : std::array{bits / 4 + 1, bits % 4};
        }
        const auto* const code =
            readCode(shape.kind == BlockKind::chromaDc      ? cavlcRows.coeffTokenChromaDc
                     : shape.kind == BlockKind::chromaDc422 ? cavlcRows.coeffTokenChromaDc422
                     : shape.nC < 2                         ? cavlcRows.coeffToken[0]
                     : shape.nC < 4                         ? cavlcRows.coeffToken[1]
                                                            : cavlcRows.coeffToken[2]);
        return code == nullptr ? std::array{-1, 0} : std::array{int{code->level}, int{code->run}};
    }

    // 9.2.2.1, with levelCode cut to 16 bits in escapes. False if the prefix is too long.
    bool readLevels(int totalCoeff, int trailingOnes, std::vector<int64_t>& levels)
    {
        int suffixLength = totalCoeff > 10 && trailingOnes < 3 ? 1 : 0;
        for (int i = trailingOnes; i < totalCoeff; i++) {
            int prefix = 0;
            while (prefix < 32 && read(1) == 0)
                prefix++;
            if (prefix == 32)
                return false;
            const int size = prefix == 14 && suffixLength == 0 ? 4 : prefix >= 15 ? prefix - 3 : suffixLength;
            int64_t levelCode =
                (int64_t{std::min(15, prefix)} << suffixLength) + static_cast<int64_t>(read(size));
            if (prefix >= 15 && suffixLength == 0)
                levelCode += 15;
            if (prefix >= 16)
                levelCode += (int64_t{1} << (prefix - 3)) - 4096;
            if (i == trailingOnes && trailingOnes < 3)
                levelCode += 2;
            if (prefix >= 16)
                levelCode %= 65536;
            levels.push_back(levelCode % 2 == 0 ? (levelCode + 2) / 2 : (-levelCode - 1) / 2);
            if (suffixLength == 0)
                suffixLength = 1;
            if (std::abs(levels.back()) > (3 << (suffixLength - 1)) && suffixLength < 6)
                suffixLength++;
        }
        return true;
    }

    Status readRest(const Shape& shape, int totalCoeff, int trailingOnes, std::vector<int64_t>& levels,
                    std::vector<int32_t>& block)
    {
        if (!readLevels(totalCoeff, trailingOnes, levels))
            return StatusBadHuffmanCode;
        int zerosLeft = 0;
        if (totalCoeff < shape.maxNumCoeff) {
            const auto i = static_cast<std::size_t>(totalCoeff);
            const auto* const code =
                readCode(shape.kind == BlockKind::luma       ? cavlcRows.totalZeros[i]
                         : shape.kind == BlockKind::chromaDc ? cavlcRows.totalZerosChromaDc[i]
                                                             : cavlcRows.totalZerosChromaDc422[i]);
            if (code == nullptr || totalCoeff + code->value > shape.maxNumCoeff)
                return StatusBadHuffmanCode;
            zerosLeft = code->value;
        }
        const int first = shape.kind == BlockKind::luma ? 16 - shape.maxNumCoeff : 0;
        for (int i = 0; i < totalCoeff; i++) {
            int run = 0;
            if (i + 1 < totalCoeff && zerosLeft > 0) {
                const auto* const code =
                    readCode(cavlcRows.runBefore[static_cast<std::size_t>(std::min(zerosLeft, 7))]);
                if (code == nullptr || code->value > zerosLeft)
                    return StatusBadHuffmanCode;
                run = code->value;
            }
            block[static_cast<std::size_t>(shape.scan[first + zerosLeft + totalCoeff - 1 - i])] =
                static_cast<int32_t>(levels[static_cast<std::size_t>(i)]);
            zerosLeft -= run;
        }
        return StatusOk;
    }

    const std::string& bits_;
    std::size_t at_;
    bool invalid_ = false;
};

// Bits of which more or fewer are 0, so that there are long prefixes too.
std::string randomBits(Random& random, int count)
{
    const int ones = random.uniform<int>(2, 24);
    std::string bits;
    for (int i = 0; i < count; i++)
        bits += random.oneIn(ones) ? '1' : '0';
    return bits;
}

TYPED_TEST(Cavlc, SurvivesAnyBits)
{
    Random random(2);
    int bad = 0;
    int escapes = 0;
    for (int round = 0; round < 40000; round++) {
        const Shape shape = randomShape(random);
        const int offset = random.uniform<int>(0, 31);
        const std::string bits = randomBits(random, offset + 1100);
        BitText text;
        text.put(bits);
        const auto words = text.words();

        const auto expected = PlainDecoder(bits, static_cast<std::size_t>(offset)).decode(shape);
        std::vector<TypeParam> block(expected.block.begin(), expected.block.end());
        block.resize(expected.block.empty() ? 32 : block.size() + 16, untouched);

        std::vector<TypeParam> buffer(block.size(), untouched);
        TypeParam* next = buffer.data();
        uint16_t totalCoeff = 99;
        Position position{words.data(), 31 - offset};
        ASSERT_EQ(decode(shape, position, totalCoeff, next), expected.status);
        ASSERT_EQ(totalCoeff, expected.totalCoeff.value_or(99));
        ASSERT_EQ(buffer, block);
        ASSERT_EQ(next - buffer.data(),
                  expected.status == StatusOk && !expected.block.empty() ? shape.stored() : 0);
        ASSERT_EQ(position.bitsFrom(words), expected.position.value_or(position.bitsFrom(words)));
        bad += expected.status != StatusOk ? 1 : 0;
        escapes +=
            std::any_of(block.begin(), block.end(), [](TypeParam v) { return std::abs(v) > 4000; }) ? 1 : 0;
    }
    EXPECT_GT(bad, 1000);
    EXPECT_GT(escapes, 100);
}

// 31 zeros are a level of which 16 bits count; 32 are refused.
TYPED_TEST(Cavlc, BoundsThePrefix)
{
    for (const int zeros : {31, 32}) {
        BitText text;
        text.put("000101"); // TotalCoeff 1, no trailing one
        text.put(0, zeros);
        text.put(1, 1);
        text.put(0xABCDEF0, 28);
        text.put("1"); // total_zeros 0
        const auto words = text.words();
        std::vector<TypeParam> buffer(16, untouched);
        TypeParam* next = buffer.data();
        uint16_t totalCoeff = 99;
        Position position{words.data(), 31};
        const Shape shape{BlockKind::luma, 0, 16, zigzag.data()};
        EXPECT_EQ(decode(shape, position, totalCoeff, next), zeros == 31 ? StatusOk : StatusBadHuffmanCode);
        EXPECT_EQ(totalCoeff, 1);
        // levelCode 15 + 15 + 2 + 0xABCDEF0 + 2^28 - 4096, of which 16 bits count: 0xCF10.
        const auto level = static_cast<TypeParam>((0xCF10 + 2) >> 1);
        EXPECT_EQ(buffer[0], zeros == 31 ? level : TypeParam{0});
        EXPECT_EQ(position.bitsFrom(words), zeros == 31 ? text.size() : 6 + 32);
    }
}

// The largest positive levelCode of an escape is one more than 16 bits hold.
TEST(CavlcWidth, KeepsLevelsOf32BitsWhole)
{
    BitText text;
    text.put("000101");
    putLevelCode(text, 65534 - 2, 0);
    text.put("1");
    const auto words = text.words();
    const Shape shape{BlockKind::luma, 0, 16, zigzag.data()};
    uint16_t totalCoeff = 0;
    std::array<int16_t, 16> narrow{};
    int16_t* nextNarrow = narrow.data();
    Position position{words.data(), 31};
    EXPECT_EQ(decode(shape, position, totalCoeff, nextNarrow), StatusOk);
    std::array<int32_t, 16> wide{};
    int32_t* nextWide = wide.data();
    position = {words.data(), 31};
    EXPECT_EQ(decode(shape, position, totalCoeff, nextWide), StatusOk);
    EXPECT_EQ(narrow[0], -32768);
    EXPECT_EQ(wide[0], 32768);
}

struct Cursor {
    Status status;
    std::size_t bits;
    uint16_t totalCoeff = 99;
};

Cursor decodeLuma(const std::string& bits, int nC, int maxNumCoeff = 16)
{
    BitText text;
    text.put(bits);
    const auto words = text.words();
    std::array<int16_t, 16> block;
    int16_t* next = block.data();
    Cursor cursor{};
    Position position{words.data(), 31};
    cursor.status =
        decode(Shape{BlockKind::luma, nC, maxNumCoeff, zigzag.data()}, position, cursor.totalCoeff, next);
    EXPECT_EQ(next, cursor.status == StatusOk ? next : block.data());
    cursor.bits = position.bitsFrom(words);
    return cursor;
}

TEST(CavlcFailure, LeavesTheCursorAsDocumented)
{
    // coeff_token: all zeros.
    Cursor cursor = decodeLuma("0000000000000000", 0);
    EXPECT_EQ(cursor.status, StatusBadHuffmanCode);
    EXPECT_EQ(cursor.bits, 0U);
    EXPECT_EQ(cursor.totalCoeff, 99);
    // 16 coefficients in a block of 15.
    cursor = decodeLuma("111100", 8, 15);
    EXPECT_EQ(cursor.status, StatusBadHuffmanCode);
    EXPECT_EQ(cursor.bits, 0U);
    EXPECT_EQ(cursor.totalCoeff, 99);
    // total_zeros after coeff_token 01 and its sign: 9 zeros are looked up, the empty entry gives one back.
    cursor = decodeLuma("010000000000", 0);
    EXPECT_EQ(cursor.status, StatusBadHuffmanCode);
    EXPECT_EQ(cursor.bits, 3U + 9 - 1);
    EXPECT_EQ(cursor.totalCoeff, 1);
    // total_zeros 15 (000000001) of a block of 15 coefficients.
    cursor = decodeLuma("010000000001", 0, 15);
    EXPECT_EQ(cursor.status, StatusBadHuffmanCode);
    EXPECT_EQ(cursor.bits, 12U);
    // Two coefficients, total_zeros 8 (0010), run_before 9 (000001).
    cursor = decodeLuma("001000010000001", 0);
    EXPECT_EQ(cursor.status, StatusBadHuffmanCode);
    EXPECT_EQ(cursor.bits, 15U);
}

TEST(CavlcFailure, RefusesArguments)
{
    const auto& tables = cavlcTables();
    const std::array<uint32_t, 4> words{0xFFFFFFFF};
    const uint32_t* word = words.data();
    int32_t offset = 31;
    uint16_t total = 99;
    std::array<int16_t, 16> narrow{};
    std::array<int32_t, 16> wide{};
    int16_t* nextNarrow = narrow.data();
    int32_t* nextWide = wide.data();
    int16_t value = 99;

    expectNullPointersRefused(keliDecodeExpGolombOne_H264_1u16s, {}, &word, &offset, &value, 0);
    const auto refuse4x4 = [&](auto operation, auto next) {
        expectNullPointersRefused(operation, {}, &word, &offset, &total, next, 0, 16, tables.coeffToken,
                                  tables.totalZeros, tables.runBefore, zigzag.data());
        const auto call = [&](int32_t nC, int16_t maxNumCoeff, const int32_t* const* tokens) {
            return operation(&word, &offset, &total, next, nC, maxNumCoeff, tokens, tables.totalZeros,
                             tables.runBefore, zigzag.data());
        };
        EXPECT_EQ(call(-1, 16, tables.coeffToken), StatusOutOfRange);
        EXPECT_EQ(call(INT32_MIN, 16, tables.coeffToken), StatusOutOfRange);
        EXPECT_EQ(call(0, 14, tables.coeffToken), StatusOutOfRange);
        EXPECT_EQ(call(0, 17, tables.coeffToken), StatusOutOfRange);
        EXPECT_EQ(call(0, -1, tables.coeffToken), StatusOutOfRange);
        const int32_t* const none[3] = {};
        EXPECT_EQ(call(0, 16, none), StatusNullPointer);
        EXPECT_EQ(call(3, 16, none), StatusNullPointer);
        EXPECT_EQ(call(7, 15, none), StatusNullPointer);
        auto* const saved = *next;
        *next = nullptr;
        EXPECT_EQ(call(-1, 17, tables.coeffToken), StatusNullPointer);
        *next = saved;
    };
    refuse4x4(keliDecodeCAVLCCoeffs_H264_1u16s, &nextNarrow);
    refuse4x4(keliDecodeCAVLCCoeffs_H264_1u32s, &nextWide);
    const auto refuseDc = [&](auto operation, auto next, const int32_t* token,
                              const int32_t* const* totalZeros) {
        expectNullPointersRefused(operation, {}, &word, &offset, &total, next, token, totalZeros,
                                  tables.runBefore);
        auto* const saved = *next;
        *next = nullptr;
        EXPECT_EQ(operation(&word, &offset, &total, next, token, totalZeros, tables.runBefore),
                  StatusNullPointer);
        *next = saved;
    };
    refuseDc(keliDecodeCAVLCChromaDcCoeffs_H264_1u16s, &nextNarrow, tables.coeffTokenChromaDc,
             tables.totalZerosChromaDc);
    refuseDc(keliDecodeCAVLCChromaDcCoeffs_H264_1u32s, &nextWide, tables.coeffTokenChromaDc,
             tables.totalZerosChromaDc);
    refuseDc(keliDecodeCAVLCChroma422DcCoeffs_H264_1u16s, &nextNarrow, tables.coeffTokenChromaDc422,
             tables.totalZerosChromaDc422);
    refuseDc(keliDecodeCAVLCChroma422DcCoeffs_H264_1u32s, &nextWide, tables.coeffTokenChromaDc422,
             tables.totalZerosChromaDc422);

    word = nullptr;
    EXPECT_EQ(keliDecodeExpGolombOne_H264_1u16s(&word, &offset, &value, 0), StatusNullPointer);
    word = words.data();
    for (const int32_t wrong : {-1, 32, INT32_MIN}) {
        offset = wrong;
        EXPECT_EQ(keliDecodeExpGolombOne_H264_1u16s(&word, &offset, &value, 0), StatusBadArgument);
    }
    EXPECT_EQ(word, words.data());
    EXPECT_EQ(total, 99);
    EXPECT_EQ(value, 99);
}

// Tables of total_zeros and run_before that a block needs are null: the block is zero, the cursor before
// them.
TEST(CavlcFailure, MissesTables)
{
    const auto& tables = cavlcTables();
    const std::array<const int32_t*, 16> none{};
    BitText stream;
    stream.put("00100110"); // TotalCoeff 2, two signs, total_zeros 1
    const auto data = stream.words();
    for (const bool runs : {false, true}) {
        Position position{data.data(), 31};
        std::array<int16_t, 16> block;
        block.fill(untouched);
        int16_t* next = block.data();
        uint16_t total = 99;
        EXPECT_EQ(keliDecodeCAVLCCoeffs_H264_1u16s(&position.word, &position.offset, &total, &next, 0, 16,
                                                   tables.coeffToken, runs ? tables.totalZeros : none.data(),
                                                   none.data(), zigzag.data()),
                  StatusNullPointer);
        EXPECT_EQ(total, 2);
        EXPECT_EQ(next, block.data());
        EXPECT_EQ(block, (std::array<int16_t, 16>{}));
        EXPECT_EQ(position.bitsFrom(data), runs ? 8U : 5U);
    }
}

TEST(ExpGolomb, ReadsEveryLength)
{
    Random random(3);
    for (int round = 0; round < 20000; round++) {
        const int zeros = random.uniform<int>(0, 31);
        const auto info = random.extreme<uint32_t>(0, (int64_t{1} << zeros) - 1);
        const uint64_t codeNum = (uint64_t{1} << zeros) - 1 + info;
        BitText text;
        const int offset = random.uniform<int>(0, 31);
        text.put(random.uniform<uint32_t>(0, UINT32_MAX), offset);
        text.put(0, zeros);
        text.put(1, 1);
        text.put(info, zeros);
        const auto words = text.words();
        for (const auto isSigned : std::array<uint8_t, 3>{0, 1, 255}) {
            Position position{words.data(), 31 - offset};
            int16_t value = 0;
            ASSERT_EQ(keliDecodeExpGolombOne_H264_1u16s(&position.word, &position.offset, &value, isSigned),
                      StatusOk);
            const auto magnitude = static_cast<int64_t>((codeNum + 1) / 2); // 9.1.1
            const int64_t number = isSigned == 0      ? static_cast<int64_t>(codeNum)
                                   : codeNum % 2 != 0 ? magnitude
                                                      : -magnitude;
            ASSERT_EQ(value, static_cast<int16_t>(number)) << codeNum;
            ASSERT_EQ(position.bitsFrom(words), text.size());
        }
    }
}

TEST(ExpGolomb, RefusesEndlessZeros)
{
    BitText text;
    text.put("1");
    text.put(0, 32);
    text.put("1");
    const auto words = text.words();
    Position position{words.data(), 30};
    int16_t value = 77;
    EXPECT_EQ(keliDecodeExpGolombOne_H264_1u16s(&position.word, &position.offset, &value, 1),
              StatusBadHuffmanCode);
    EXPECT_EQ(position.bitsFrom(words), 1U);
    EXPECT_EQ(value, 77);
}

} // namespace
} // namespace kelvcpx::test
