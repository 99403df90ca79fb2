#include "common/huffman_table.h"
#include "mpeg2/prefix_code.h"
#include "support/arguments.h"

#include <kelvcpx/mpeg2.h>

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <limits>
#include <numeric>
#include <set>
#include <string>
#include <vector>

namespace kelvcpx::test {
namespace {

using app::HuffmanTable;
using app::makeCodeList;
using app::RunLevelCode;
using app::ValueCode;

constexpr int32_t invalidValue = 61681;

std::vector<int32_t> randomWidths(Random& random, int32_t total)
{
    std::vector<int32_t> widths;
    while (total > 0) {
        widths.push_back(random.uniform(1, std::min(total, 9)));
        total -= widths.back();
    }
    return widths;
}

// Entries of a table by definition: every distinct prefix that fills the levels before it has a sub-table.
std::size_t tableEntries(const std::vector<std::string>& codes, const std::vector<int32_t>& widths)
{
    std::size_t entries = 1 + (std::size_t{1} << widths[0]);
    std::size_t reached = 0;
    for (std::size_t level = 1; level < widths.size(); level++) {
        reached += static_cast<std::size_t>(widths[level - 1]);
        std::set<std::string> prefixes;
        for (const std::string& code : codes)
            if (code.size() > reached)
                prefixes.insert(code.substr(0, reached));
        entries += prefixes.size() * (1 + (std::size_t{1} << widths[level]));
    }
    return entries;
}

// The entries that a built table really has: the first level and every sub-table that a link leads to.
std::size_t linkedEntries(const int32_t* table, int32_t at)
{
    const int32_t width = table[at];
    std::size_t entries = 1 + (std::size_t{1} << width);
    for (int32_t x = 0; x < 1 << width; x++) {
        const int32_t entry = table[at + 1 + x];
        if ((entry & 0xFF) == 0x80)
            entries += linkedEntries(table, entry >> 8);
    }
    return entries;
}

TEST(HuffmanTable, DecodesEveryCodeOfRandomCodes)
{
    Random random(10);
    for (int round = 0; round < 60; round++) {
        const std::size_t longest = random.uniform<std::size_t>(1, 17);
        const auto codes = randomPrefixCode(random, longest, round % 2 == 0 ? 5 : 1 << 30);
        const auto widths = randomWidths(random, static_cast<int32_t>(longest));
        std::vector<ValueCode> values;
        std::vector<RunLevelCode> pairs;
        for (const std::string& code : codes) {
            values.push_back({code, random.extreme(-(1 << 23), (1 << 23) - 1)});
            if (values.back().value == invalidValue)
                values.back().value++;
            pairs.push_back({code, random.uniform<uint8_t>(0, 240), random.extreme<int16_t>()});
        }
        int32_t* valueTable = nullptr;
        int32_t* pairTable = nullptr;
        ASSERT_EQ(keliHuffmanTableInitAlloc_32s(makeCodeList<ValueCode>(values, widths).data(), &valueTable),
                  StatusOk);
        ASSERT_EQ(keliHuffmanRunLevelTableInitAlloc_32s(makeCodeList<RunLevelCode>(pairs, widths).data(),
                                                        &pairTable),
                  StatusOk);
        ASSERT_EQ(linkedEntries(valueTable, 0), tableEntries(codes, widths));

        BitText text;
        text.put(random.uniform<uint32_t>(), random.uniform(1, 31));
        const std::size_t start = text.size();
        for (const std::string& code : codes)
            text.put(code);
        const auto words = text.words();
        Position forValues{words.data(), 31 - static_cast<int32_t>(start)};
        Position forPairs = forValues;
        std::size_t position = start;
        for (std::size_t i = 0; i < codes.size(); i++) {
            position += codes[i].size();
            int32_t value;
            ASSERT_EQ(keliDecodeHuffmanOne_1u32s(&forValues.word, &forValues.offset, &value, valueTable),
                      StatusOk);
            ASSERT_EQ(value, values[i].value);
            ASSERT_EQ(forValues.bitsFrom(words), position);
            uint8_t first;
            int16_t second;
            ASSERT_EQ(
                keliDecodeHuffmanPair_1u16s(&forPairs.word, &forPairs.offset, pairTable, &first, &second),
                StatusOk);
            ASSERT_EQ(first, pairs[i].run);
            ASSERT_EQ(second, pairs[i].level);
            ASSERT_EQ(forPairs.bitsFrom(words), position);
        }
        EXPECT_EQ(keliHuffmanTableFree_32s(valueTable), StatusOk);
        EXPECT_EQ(keliHuffmanTableFree_32s(pairTable), StatusOk);
    }
}

TEST(HuffmanTable, ReportsBitsThatMatchNoCode)
{
    const std::vector<ValueCode> values = {{"1", 1}, {"011", -2}, {"00101", 3}};
    const std::vector<RunLevelCode> pairs = {{"1", 1, 1}, {"011", 2, -2}, {"00101", 3, 3}};
    const HuffmanTable valueTable(values, {2, 3});
    const HuffmanTable pairTable(pairs, {2, 3});
    const std::array<uint32_t, 2> words = {0x08000000,
                                           0}; // 00001...: the first level links, the second is empty

    Position position{words.data()};
    int32_t value = 0;
    EXPECT_EQ(keliDecodeHuffmanOne_1u32s(&position.word, &position.offset, &value, valueTable.get()),
              StatusBadHuffmanCode);
    EXPECT_EQ(value, invalidValue);
    EXPECT_EQ(position.word, words.data());
    EXPECT_EQ(position.offset, 31 - 5);

    position = {words.data()};
    uint8_t first = 7;
    int16_t second = 8;
    EXPECT_EQ(keliDecodeHuffmanPair_1u16s(&position.word, &position.offset, pairTable.get(), &first, &second),
              StatusBadHuffmanCode);
    EXPECT_EQ(position.word, words.data());
    EXPECT_EQ(position.offset, 31);
    EXPECT_EQ(first, 7);
    EXPECT_EQ(second, 8);
}

TEST(HuffmanTable, SkipsCodesThatTheLevelsCannotReach)
{
    const std::vector<ValueCode> codes = {
        {"1", 5}, {"01", 6}, {"001", 7}, {"00000000000000000000000000000000001", 8}};
    const HuffmanTable table(codes, {1, 1});
    EXPECT_EQ(table.get()[0], 1);
    EXPECT_EQ(table.get()[2], 5 << 8);
    EXPECT_EQ(linkedEntries(table.get(), 0), 6u);
}

TEST(HuffmanTable, AnEmptyListMakesAnEmptyTable)
{
    const std::array<int32_t, 4> list = {0, 1, 4, -1};
    int32_t* table = nullptr;
    ASSERT_EQ(keliHuffmanTableInitAlloc_32s(list.data(), &table), StatusOk);
    EXPECT_EQ(table[0], 4);
    EXPECT_EQ(std::count(table + 1, table + 17, 0x00F0F101), 16);
    keliHuffmanTableFree_32s(table);
}

TEST(HuffmanTable, RefusesLevelsAndCodesOutOfRange)
{
    const std::vector<std::vector<int32_t>> lists = {
        {0, 0, -1},                       // no level
        {0, -5, -1},                      // fewer
        {0, 33},                          // more than any code could use
        {0, 1, 0, -1},                    // widths outside 1..31
        {0, 1, 32, -1},                   //
        {0, 2, 4, -1, -1},                //
        {0, 1, 24, -1},                   // 2^24 + 1 entries
        {0, 1, 31, -1},                   //
        {0, 2, 1, 24, 0, 1, 0, 9, -1, -1} // a sub-table of 2^24 entries, in a list of either kind
    };
    for (const auto& list : lists) {
        int32_t marker = 0;
        int32_t* table = &marker;
        EXPECT_EQ(keliHuffmanTableInitAlloc_32s(list.data(), &table), StatusOutOfRange);
        EXPECT_EQ(keliHuffmanRunLevelTableInitAlloc_32s(list.data(), &table), StatusOutOfRange);
        EXPECT_EQ(table, &marker);
    }
}

// Lists that are not prefix-free, have stray bits above their codes, or repeat codes: the sanitizer build
// shows that the builder stays inside its block.
TEST(HuffmanTable, SurvivesMalformedLists)
{
    Random random(11);
    for (int round = 0; round < 3000; round++) {
        std::vector<int32_t> list{0, random.uniform(1, 5)};
        for (int32_t level = 0; level < list[1]; level++)
            list.push_back(random.uniform(1, 4));
        for (int length = random.uniform(1, 22); length > 0; length--) {
            const int32_t count = random.oneIn(3) ? random.uniform(0, 9) : 0;
            list.push_back(count);
            for (int32_t i = 0; i < count; i++) {
                list.push_back(random.oneIn(2) ? random.uniform(0, 63) : random.extreme());
                list.push_back(random.oneIn(4) ? invalidValue : random.extreme());
            }
        }
        list.push_back(random.uniform(std::numeric_limits<int32_t>::min(), -1));
        int32_t* table = nullptr;
        ASSERT_EQ(keliHuffmanTableInitAlloc_32s(list.data(), &table), StatusOk);
        keliHuffmanTableFree_32s(table);
    }
}

#if defined(__SANITIZE_ADDRESS__)
constexpr bool addressSanitizer = true;
#elif defined(__has_feature)
constexpr bool addressSanitizer = __has_feature(address_sanitizer);
#else
constexpr bool addressSanitizer = false;
#endif

// Ends the process, with 0 if the builder finds no memory and says so.
[[noreturn]] void buildWithoutMemory(const std::vector<int32_t>& list)
{
    const rlimit none = {};
    int32_t marker = 0;
    int32_t* table = &marker;
    const bool limited = setrlimit(RLIMIT_AS, &none) == 0;
    const Status status = keliHuffmanTableInitAlloc_32s(list.data(), &table);
    std::_Exit(limited && status == StatusOutOfMemory && table == nullptr ? 0 : 1);
}

TEST(HuffmanTableDeathTest, ReportsThatThereIsNoMemory)
{
    if (addressSanitizer)
        GTEST_SKIP() << "the sanitizer cannot work without memory";
    std::vector<int32_t> list = {0, 1, 23, -1}; // the table
    EXPECT_EXIT(buildWithoutMemory(list), testing::ExitedWithCode(0), "");

    constexpr int32_t length = 20; // the list of its codes
    list = {0, 1, length};
    list.resize(list.size() + length - 1);
    list.push_back(1 << length);
    for (int32_t code = 0; code < 1 << length; code++)
        list.insert(list.end(), {code, code});
    list.push_back(-1);
    EXPECT_EXIT(buildWithoutMemory(list), testing::ExitedWithCode(0), "");
}

TEST(HuffmanTable, RefusesNullPointers)
{
    const std::array<int32_t, 4> list = {0, 1, 4, -1};
    int32_t* built = nullptr;
    expectNullPointersRefused(keliHuffmanTableInitAlloc_32s, {}, list.data(), &built);
    expectNullPointersRefused(keliHuffmanRunLevelTableInitAlloc_32s, {}, list.data(), &built);
    EXPECT_EQ(built, nullptr);
    EXPECT_EQ(keliHuffmanTableFree_32s(nullptr), StatusNullPointer);

    const std::array<uint32_t, 2> words = {};
    const uint32_t* stream = words.data();
    const uint32_t* noStream = nullptr;
    int32_t offset = 31;
    int32_t value = 0;
    uint8_t first = 0;
    int16_t second = 0;
    expectNullPointersRefused(keliDecodeHuffmanOne_1u32s, {}, &stream, &offset, &value, list.data());
    expectNullPointersRefused(keliDecodeHuffmanPair_1u16s, {}, &stream, &offset, list.data(), &first,
                              &second);
    EXPECT_EQ(keliDecodeHuffmanOne_1u32s(&noStream, &offset, &value, list.data()), StatusNullPointer);
    EXPECT_EQ(keliDecodeHuffmanPair_1u16s(&noStream, &offset, list.data(), &first, &second),
              StatusNullPointer);
}

} // namespace
} // namespace kelvcpx::test
