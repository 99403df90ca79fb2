// Scans, forward quantisation and the writing of MPEG-2 blocks.
#include "common/huffman_table.h"
#include "mpeg2/prefix_code.h"
#include "support/arguments.h"

#include <kelvcpx/core.h>
#include <kelvcpx/mpeg2.h>
#include <kelvcpx/mpeg2_encode.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <memory>
#include <numeric>
#include <optional>
#include <string>
#include <vector>

namespace kelvcpx::test {
namespace {

using app::RunLevelCode;

using Block = std::array<int16_t, 64>;

// Along the diagonals, up and down in turn.
std::array<std::size_t, 64> plainZigzag()
{
    std::array<std::size_t, 64> scan{};
    std::size_t p = 0;
    for (std::size_t sum = 0; sum < 15; sum++) {
        for (std::size_t i = 0; i <= sum; i++) {
            const std::size_t row = sum % 2 != 0 ? i : sum - i;
            if (row < 8 && sum - row < 8)
                scan[p++] = 8 * row + (sum - row);
        }
    }
    return scan;
}

Block numbered()
{
    Block block;
    std::iota(block.begin(), block.end(), int16_t{100});
    return block;
}

Block randomLevels(Random& random, int count, int most)
{
    Block block{};
    for (int i = 0; i < count; i++)
        block[random.uniform<std::size_t>(0, 63)] =
            static_cast<int16_t>(random.uniform(1, most) * (random.oneIn(2) ? 1 : -1));
    return block;
}

int32_t countOf(const Block& block, std::size_t first = 0)
{
    return 64 - static_cast<int32_t>(first) -
           static_cast<int32_t>(
               std::count(block.begin() + static_cast<std::ptrdiff_t>(first), block.end(), 0));
}

} // namespace

TEST(Scan, FollowsTheTables)
{
    Block scanned;
    for (const int32_t scanType : {0, 7, -1}) {
        ASSERT_EQ(keliScanFwd_16s_C1(numbered().data(), scanned.data(), 64, scanType), StatusOk);
        for (std::size_t p = 0; p < 64; p++)
            EXPECT_EQ(scanned[p], static_cast<int16_t>(100 + plainZigzag()[p])) << p;
    }
    // ISO/IEC 13818-2 figure 7-3: the columns of its first rows.
    Block vertical;
    ASSERT_EQ(keliScanFwd_16s_C1(numbered().data(), vertical.data(), 64, 1), StatusOk);
    const std::array<int16_t, 20> start = {0,  8,  16, 24, 1,  9,  2,  10, 17, 25,
                                           32, 40, 48, 56, 57, 49, 41, 33, 26, 18};
    for (std::size_t p = 0; p < start.size(); p++)
        EXPECT_EQ(vertical[p], 100 + start[p]) << p;
    Block horizontal;
    ASSERT_EQ(keliScanFwd_16s_C1(numbered().data(), horizontal.data(), 64, 2), StatusOk);
    for (std::size_t p = 0; p < 64; p++)
        EXPECT_EQ(horizontal[p] - 100, (vertical[p] - 100) % 8 * 8 + (vertical[p] - 100) / 8) << p;
}

TEST(Scan, GoesThereAndBack)
{
    Random random(1);
    for (int i = 0; i < 300; i++) {
        const int32_t scanType = random.uniform(0, 2);
        Block block = randomLevels(random, random.uniform(1, 40), 2000);
        const int32_t count = std::max(countOf(block), 1);
        Block scanned;
        Block restored;
        ASSERT_EQ(keliScanFwd_16s_C1(block.data(), scanned.data(), count, scanType), StatusOk);
        ASSERT_EQ(keliScanInv_16s_C1(scanned.data(), restored.data(), 63, scanType), StatusOk);
        EXPECT_EQ(restored, block);

        // A smaller count leaves the later ones out, a smaller last index too.
        if (count > 1 && count < 20) {
            ASSERT_EQ(keliScanFwd_16s_C1(block.data(), scanned.data(), count - 1, scanType), StatusOk);
            EXPECT_EQ(countOf(scanned), count - 1);
        }
        ASSERT_EQ(keliScanInv_16s_C1(scanned.data(), restored.data(), 0, scanType), StatusOk);
        EXPECT_EQ(restored[0], scanned[0]);
        EXPECT_EQ(countOf(restored, 1), 0);
    }
}

TEST(Scan, ChecksItsArguments)
{
    Block a{};
    Block b = numbered();
    expectNullPointersRefused(keliScanFwd_16s_C1, {}, a.data(), b.data(), 1, 0);
    expectNullPointersRefused(keliScanInv_16s_C1, {}, a.data(), b.data(), 1, 0);
    for (const int32_t count : {0, 65, -1})
        EXPECT_EQ(keliScanFwd_16s_C1(a.data(), b.data(), count, 0), StatusOutOfRange);
    for (const int32_t last : {-1, 64})
        EXPECT_EQ(keliScanInv_16s_C1(a.data(), b.data(), last, 0), StatusOutOfRange);
    EXPECT_EQ(b, numbered());
}

TEST(ForwardQuantisation, FollowsTheFormula)
{
    Random random(2);
    std::array<float, 64> weights;
    for (int i = 0; i < 400; i++) {
        for (float& weight : weights)
            weight = 1.0F / static_cast<float>(random.uniform(1, 255));
        Block block;
        for (int16_t& level : block)
            level = random.oneIn(10) ? random.extreme<int16_t>() : random.uniform<int16_t>(-2048, 2047);
        const int32_t scale = random.oneIn(20) ? random.extreme() | 1 : random.uniform(1, 112);
        const bool intra = random.oneIn(2);
        const bool flat = !intra && random.oneIn(2);
        Block expected = block;
        const float reciprocal = 1.0F / static_cast<float>(scale);
        for (std::size_t k = intra ? 1 : 0; k < 64; k++) {
            const float level = block[k];
            const float q = flat ? level * reciprocal : 16.0F * level * reciprocal * weights[k];
            expected[k] = static_cast<int16_t>(std::trunc(std::clamp(q, -2047.0F, 2047.0F)));
        }
        int32_t count = -1;
        ASSERT_EQ((intra ? keliQuantIntra_MPEG2_16s_C1I : keliQuant_MPEG2_16s_C1I)(
                      block.data(), scale, flat ? nullptr : weights.data(), &count),
                  StatusOk);
        EXPECT_EQ(block, expected);
        EXPECT_EQ(count, countOf(expected, intra ? 1 : 0));
    }
}

TEST(ForwardQuantisation, HasADefaultIntraMatrix)
{
    Block block{};
    block[0] = 77;
    block[1] = 8;   // weight 16
    block[63] = 84; // weight 83
    int32_t count = 0;
    ASSERT_EQ(keliQuantIntra_MPEG2_16s_C1I(block.data(), 1, nullptr, &count), StatusOk);
    EXPECT_EQ(block[0], 77);
    EXPECT_EQ(block[1], 8);
    EXPECT_EQ(block[63], 16);
    EXPECT_EQ(count, 2);
}

TEST(ForwardQuantisation, ChecksItsArguments)
{
    Block block{};
    int32_t count = 5;
    for (const auto operation : {keliQuantIntra_MPEG2_16s_C1I, keliQuant_MPEG2_16s_C1I}) {
        expectNullPointersRefused(operation, {2}, block.data(), 1, nullptr, &count);
        EXPECT_EQ(operation(block.data(), 0, nullptr, &count), StatusDivideByZero);
    }
    EXPECT_EQ(count, 5);
}

namespace {

// A random code of all levels of some runs up to a largest one; codes start with 0.
struct RandomCode {
    std::vector<std::string> words;
    std::vector<RunLevelCode> rows;
    std::array<int, 64> largest{}; // level by run

    explicit RandomCode(Random& random)
    {
        while (words.size() < 8)
            words = randomPrefixCode(random, 13, 8);
        for (std::string& word : words)
            word.insert(word.begin(), '0');
        words.erase(std::remove_if(words.begin(), words.end(),
                                   [](const std::string& word) { return word.rfind("000001", 0) == 0; }),
                    words.end()); // the escape
        rows.push_back({words[0], 254, 0});
        rows.push_back({"000001", 255, 0});
        for (std::size_t next = 1; next + 1 < words.size(); next += 2) {
            const auto run = random.uniform<std::size_t>(0, 12);
            const auto level = static_cast<int16_t>(++largest[run]);
            rows.push_back({words[next], static_cast<uint8_t>(run), level});
            rows.push_back({words[next + 1], static_cast<uint8_t>(run), static_cast<int16_t>(-level)});
        }
    }

    std::vector<int32_t> list() const
    {
        static constexpr int32_t widths[] = {6, 8};
        return app::makeCodeList(std::span<const RunLevelCode>(rows), widths);
    }

    std::optional<std::string> codeOf(int run, int level) const
    {
        for (const RunLevelCode& row : rows)
            if (row.run == run && row.level == level)
                return std::string(row.bits);
        return std::nullopt;
    }
};

struct Free {
    void operator()(int32_t* table) const { kelsFree(table); }
};

std::unique_ptr<int32_t, Free> encodeTableOf(const std::vector<int32_t>& list)
{
    int32_t* table = nullptr;
    EXPECT_EQ(keliCreateRLEncodeTable(list.data(), &table), StatusOk);
    return std::unique_ptr<int32_t, Free>(table);
}

void putEvent(BitText& text, const RandomCode& code, int run, int level)
{
    if (const auto bits = code.codeOf(run, level)) {
        text.put(*bits);
        return;
    }
    text.put(std::string("000001"));
    text.put(static_cast<uint32_t>(run), 6);
    text.put(static_cast<uint32_t>(level), 12);
}

// Pairs of code and length by dct_dc_size: a 1 behind so many zeros.
std::vector<int32_t> dcSizeTable()
{
    std::vector<int32_t> table;
    for (int32_t size = 0; size < 13; size++)
        table.insert(table.end(), {1, size + 1});
    return table;
}

std::vector<uint32_t> wordsOf(const BitText& text, std::size_t count)
{
    std::vector<uint32_t> words = text.words();
    words.resize(count);
    return words;
}

} // namespace

TEST(RunLevelEncodeTable, HasTheDocumentedLayout)
{
    const RunLevelCode rows[] = {{"100", 0, 1},  {"101", 0, -1},  {"0100", 0, 2},     {"0101", 0, -2},
                                 {"0110", 2, 1}, {"0111", 2, -1}, {"000001", 255, 0}, {"11", 254, 0}};
    static constexpr int32_t widths[] = {6};
    const auto table = encodeTableOf(app::makeCodeList(std::span<const RunLevelCode>(rows), widths));
    const int32_t* const t = table.get();
    EXPECT_EQ(t[0], (1 * 16 + 6) | (3 * 16 + 2) << 10 | 2 << 20);
    EXPECT_EQ(t[1], 4 * 6);
    EXPECT_EQ(t[2], 4 * 9);
    EXPECT_EQ(t[3], 4 * 11);
    const std::vector<int32_t> expected = {5 << 16 | 4, 5 << 16 | 3, 2, 4 << 16 | 3, 4 << 16 | 4,
                                           -1,          7 << 16 | 4, 1, 6 << 16 | 4};
    EXPECT_EQ(std::vector<int32_t>(t + 4, t + 13), expected);
}

TEST(PutBlock, WritesWhatTheStandardSays)
{
    Random random(3);
    const std::vector<int32_t> dcSizes = dcSizeTable();
    for (int i = 0; i < 600; i++) {
        const RandomCode code(random);
        const auto table = encodeTableOf(code.list());
        std::array<int32_t, 64> scan;
        std::iota(scan.begin(), scan.end(), 0);
        for (std::size_t k = 63; k > 1; k--)
            std::swap(scan[k], scan[random.uniform<std::size_t>(1, static_cast<int64_t>(k))]);
        Block block = randomLevels(random, random.uniform(0, 20), random.oneIn(3) ? 2047 : 4);
        const bool intra = random.oneIn(2);
        const int32_t prediction = random.uniform(-2047, 2047);

        BitText text;
        text.put(random.uniform<uint32_t>(), random.uniform(1, 31));
        const auto start = static_cast<int32_t>(text.size());
        std::vector<uint32_t> stream = wordsOf(text, 80);
        std::size_t position = intra ? 1 : 0;
        if (intra) {
            const int difference = block[0] - prediction;
            const int size = difference == 0 ? 0 : static_cast<int>(std::log2(std::abs(difference))) + 1;
            text.put(1, size + 1);
            if (size > 0)
                text.put(static_cast<uint32_t>(difference > 0 ? difference : difference + (1 << size) - 1),
                         size);
        } else if (std::abs(block[0]) == 1) {
            text.put(block[0] > 0 ? 2 : 3, 2);
            position = 1;
        }
        for (int run = 0; position < 64; position++) {
            const int level = block[static_cast<std::size_t>(scan[position])];
            if (level != 0)
                putEvent(text, code, run, level);
            run = level != 0 ? 0 : run + 1;
        }
        text.put(code.words[0]);

        uint32_t* word = stream.data();
        int32_t freeBits = 32 - start;
        int32_t dc = prediction;
        const auto eobLength = static_cast<int32_t>(code.words[0].size());
        const auto eobCode = static_cast<int32_t>(app::codeBits(code.words[0]));
        // Sometimes a count that the block does not have.
        const int32_t count = random.oneIn(10) ? 1000 : countOf(block, intra ? 1 : 0);
        const Status status = intra ? keliPutIntraBlock(&word, &freeBits, block.data(), &dc, dcSizes.data(),
                                                        table.get(), scan.data(), eobLength, eobCode, count)
                                    : keliPutNonIntraBlock(&word, &freeBits, block.data(), table.get(),
                                                           scan.data(), eobLength, eobCode, count);
        ASSERT_EQ(status, StatusOk);
        EXPECT_EQ(stream, wordsOf(text, 80));
        EXPECT_EQ(static_cast<std::size_t>(32 * (word - stream.data()) + 32 - freeBits), text.size());
        EXPECT_EQ(dc, intra ? block[0] : prediction);
    }
}

TEST(PutBlock, ChecksItsArguments)
{
    Random random(4);
    const RandomCode code(random);
    const auto table = encodeTableOf(code.list());
    const std::vector<int32_t> dcSizes = dcSizeTable();
    const std::array<int32_t, 64> scan{};
    const Block block{};
    std::vector<uint32_t> stream(4);
    uint32_t* word = stream.data();
    int32_t freeBits = 32;
    int32_t dc = 0;
    expectNullPointersRefused(keliPutIntraBlock, {}, &word, &freeBits, block.data(), &dc, dcSizes.data(),
                              table.get(), scan.data(), 2, 2, 0);
    expectNullPointersRefused(keliPutNonIntraBlock, {}, &word, &freeBits, block.data(), table.get(),
                              scan.data(), 2, 2, 0);
    uint32_t* nowhere = nullptr;
    EXPECT_EQ(keliPutIntraBlock(&nowhere, &freeBits, block.data(), &dc, dcSizes.data(), table.get(),
                                scan.data(), 2, 2, 0),
              StatusNullPointer);
    EXPECT_EQ(keliPutNonIntraBlock(&nowhere, &freeBits, block.data(), table.get(), scan.data(), 2, 2, 0),
              StatusNullPointer);
    EXPECT_EQ(stream, std::vector<uint32_t>(4));
    EXPECT_EQ(freeBits, 32);

    int32_t* built = nullptr;
    expectNullPointersRefused(keliCreateRLEncodeTable, {}, code.list().data(), &built);
}

} // namespace kelvcpx::test
