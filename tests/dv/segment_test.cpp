#include "dv/segment_encoder.h"
#include "support/arguments.h"
#include "support/plane.h"

#include <kelvcpx/dv.h>

#include <gtest/gtest.h>

#include <functional>
#include <numeric>

namespace kelvcpx::test {
namespace {

struct Format {
    const char* name;
    Status (*decode)(const uint8_t*, const uint32_t*, const uint32_t*, int16_t*, uint32_t*) noexcept;
    std::vector<int> areaLengths;
    bool scanPerMode;
};

const Format formats[] = {
    {"DV", keliHuffmanDecodeSegment_DV_8u16s, {14, 14, 14, 14, 10, 10}, true},
    {"DV100", keliHuffmanDecodeSegment_DV100_8u16s, {10, 10, 10, 10, 10, 10, 8, 8}, false},
};

std::vector<uint32_t> scanTables()
{
    std::vector<uint32_t> scans(128);
    for (uint32_t p = 0; p < 64; p++) {
        scans[p] = 63 - p;
        scans[64 + p] = p * 37 % 64;
    }
    scans[0] = scans[64] = 1000; // not to be used
    return scans;
}

const app::dv::AcTable& table()
{
    static const app::dv::AcTable built;
    return built;
}

struct Decoded {
    Status status;
    Plane<int16_t> coefficients;
    Plane<uint32_t> info;
};

Decoded decode(const Format& format, std::vector<uint8_t> bytes)
{
    EXPECT_EQ(bytes.size(), segmentBytes);
    bytes.shrink_to_fit(); // so that a sanitizer sees what is read behind it
    const int blocks = static_cast<int>(segmentMacroblocks * format.areaLengths.size());
    Decoded result{StatusOk, Plane<int16_t>(64 * blocks, 1, 8, 0), Plane<uint32_t>(blocks, 1)};
    result.status = format.decode(bytes.data(), scanTables().data(), table().get(),
                                  result.coefficients.data(), result.info.data());
    return result;
}

void expectDecoded(const Format& format, const DvSegment& segment)
{
    const Decoded actual = decode(format, segment.bytes());
    ASSERT_EQ(actual.status, StatusOk);
    Plane<int16_t> coefficients(actual.coefficients.width(), 1, 8, 0);
    Plane<uint32_t> info(actual.info.width(), 1);
    const std::vector<uint32_t> scans = scanTables();
    for (std::size_t b = 0; b < segment.blocks.size(); b++) {
        const DvBlock& block = segment.blocks[b];
        int16_t* const expected = coefficients.data() + 64 * b;
        expected[0] = static_cast<int16_t>(128 * block.dc);
        for (std::size_t p = 1; p < 64; p++)
            if (block.levels[p] != 0)
                expected[scans[(block.mode && format.scanPerMode ? 64 : 0) + p]] =
                    static_cast<int16_t>(64 * block.levels[p]);
        info.at(static_cast<int>(b), 0) =
            static_cast<uint32_t>(segment.quantisation(b) << 16 | (block.dc & 0x1FF) << 7 |
                                  (block.mode ? 0x40 : 0) | block.classNumber << 4) |
            static_cast<uint32_t>(std::stoi((block.codes + "010").substr(0, 4), nullptr, 2));
    }
    ASSERT_EQ(actual.coefficients, coefficients);
    ASSERT_EQ(actual.info, info);
}

class DvSegments : public testing::TestWithParam<Format>
{
protected:
    DvSegment segment_{GetParam().areaLengths};
    Random random_{40};

    // Random heads, no levels.
    void clear()
    {
        for (DvBlock& block : segment_.blocks)
            block = {random_.extreme(-256, 255), random_.oneIn(2), random_.uniform(0, 3), {}, {}};
    }

    void encode()
    {
        for (DvBlock& block : segment_.blocks)
            encodeLevels(block);
    }

    std::size_t anyOf(std::size_t count)
    {
        return random_.uniform<std::size_t>(0, static_cast<int64_t>(count) - 1);
    }

    // Adds levels to random ones of the blocks for as long as they fit.
    void fill(const std::vector<std::size_t>& blocks, int range)
    {
        for (int failures = 0; failures < 3;) {
            DvBlock& block = segment_.blocks[blocks[anyOf(blocks.size())]];
            const DvBlock before = block;
            const int level = random_.extreme(-range, range);
            block.levels[random_.uniform<std::size_t>(1, 63)] = level;
            encodeLevels(block);
            if (!segment_.fits()) {
                block = before;
                failures++;
            }
            if (random_.oneIn(400))
                break;
        }
    }
};

std::string formatName(const testing::TestParamInfo<Format>& info)
{
    return info.param.name;
}

TEST_P(DvSegments, DecodeWhereverTheBitsWent)
{
    for (int round = 0; round < 60; round++) {
        clear();
        encode();
        std::vector<std::size_t> busy(segment_.blocks.size());
        std::iota(busy.begin(), busy.end(), 0);
        std::shuffle(busy.begin(), busy.end(), std::mt19937(static_cast<unsigned>(round)));
        busy.resize(round % 4 == 0 ? busy.size() : random_.uniform<std::size_t>(1, 6));
        if (round % 4 == 1) // all in one macroblock
            for (std::size_t& block : busy)
                block %= segment_.blockCount();
        fill(busy, round % 3 == 0 ? 255 : round % 3 == 1 ? 30 : 3);
        ASSERT_NO_FATAL_FAILURE(expectDecoded(GetParam(), segment_)) << "round " << round;
    }
}

// Every code of the table, and every way to cut it in two: at the end of an area, and where spare bits of one
// block meet those of the next.
TEST_P(DvSegments, DecodeCodesThatAreCutAnywhere)
{
    const int room = segment_.roomOf(0);
    for (const int run : {0, 1, 2, 5, 6, 40, 61}) {
        for (const int level : {0, 1, -3, 22, -23, 255}) {
            if (level == 0 && run == 0)
                continue;
            for (int ahead = 0; ahead < 17; ahead++) {
                clear();
                DvBlock& block = segment_.blocks[0];
                // Single zeros (11 bits) and levels of one (3 bits) up to some bits before the end.
                int left = room - ahead;
                for (; left % 3 != 0; left -= 11)
                    block.codes += eventCode(0, 0);
                std::size_t position = 1 + block.codes.size() / 11;
                for (; left > 0; left -= 3) {
                    block.codes += eventCode(0, 1);
                    block.levels[position++] = 1;
                }
                if (position + static_cast<std::size_t>(run) + 1 > 63)
                    continue;
                block.codes += eventCode(run, level);
                position += static_cast<std::size_t>(run);
                block.levels[position++] = level;
                block.codes += "0110";
                for (std::size_t b = 1; b < segment_.blocks.size(); b++) {
                    // The others leave a few bits each.
                    DvBlock& other = segment_.blocks[b];
                    for (std::size_t p = 1; static_cast<int>(other.codes.size()) + 3 + 4 <
                                                segment_.roomOf(b) - static_cast<int>(b % 5) &&
                                            p < 64;
                         p++) {
                        other.codes += eventCode(0, -1);
                        other.levels[p] = -1;
                    }
                    other.codes += "0110";
                }
                ASSERT_TRUE(segment_.fits());
                ASSERT_NO_FATAL_FAILURE(expectDecoded(GetParam(), segment_))
                    << "run " << run << ", level " << level << ", " << ahead << " bits before the end";
            }
        }
    }
}

TEST_P(DvSegments, RefuseWhatTheStandardForbids)
{
    struct Case {
        const char* what;
        std::string codes;
    };
    std::string zeros(600, '0');
    const Case cases[] = {
        {"a coefficient behind the last", eventCode(61, 0) + eventCode(0, 1) + eventCode(0, 1)},
        {"a run beyond the last", eventCode(61, 0) + eventCode(2, 1)},
        {"an escape behind the last", eventCode(61, 0) + eventCode(0, 1) + eventCode(0, 200)},
        {"a run of 62, which has no code", "1111110" + binary(62, 6)},
        {"a long run of 5, which has no code", "1111110" + binary(5, 6)},
    };
    for (const Case& wrong : cases) {
        for (const bool cut : {false, true}) { // in the block's own area, or at its end
            clear();
            encode();
            DvBlock& block = segment_.blocks[3];
            block.codes = wrong.codes;
            if (cut)
                for (int i = 0; i < 5; i++)
                    block.codes.insert(0, eventCode(0, 0));
            block.codes += std::string(30, '0');
            EXPECT_EQ(decode(GetParam(), segment_.bytes()).status, StatusBadVlcCode) << wrong.what;
        }
    }
    // A block that nowhere ends: levels of one (001, 000) until all is full.
    clear();
    encode();
    for (DvBlock& block : segment_.blocks)
        block.codes = std::string(static_cast<std::size_t>(segment_.roomOf(1)) / 3 * 3, '0');
    EXPECT_EQ(decode(GetParam(), segment_.bytes()).status, StatusBadVlcCode);
}

// What is there is read, nothing else, and written where it may be: sanitizers and the margins tell.
TEST_P(DvSegments, SurviveNoise)
{
    std::vector<uint8_t> sound;
    for (int round = 0; round < 3000; round++) {
        if (round % 100 == 0) {
            clear();
            encode();
            fill({anyOf(segment_.blocks.size()), anyOf(segment_.blocks.size())}, 255);
            sound = segment_.bytes();
        }
        std::vector<uint8_t> bytes = sound;
        for (int faults = random_.uniform(1, 40); faults > 0; faults--)
            bytes[random_.uniform<std::size_t>(0, segmentBytes - 1)] = random_.extreme<uint8_t>();
        const Decoded result = decode(GetParam(), bytes);
        ASSERT_TRUE(result.status == StatusOk || result.status == StatusBadVlcCode);
        for (const int x : {-8, -1, result.coefficients.width(), result.coefficients.width() + 7})
            ASSERT_EQ(result.coefficients.at(x, 0), 0);
    }
}

TEST_P(DvSegments, RefuseNullPointers)
{
    const std::vector<uint8_t> bytes(segmentBytes);
    std::vector<int16_t> coefficients(40 * 64);
    std::vector<uint32_t> info(40);
    expectNullPointersRefused(GetParam().decode, {}, bytes.data(), scanTables().data(), table().get(),
                              coefficients.data(), info.data());
}

INSTANTIATE_TEST_SUITE_P(, DvSegments, testing::ValuesIn(formats), formatName);

// The table by its definition: the entry of an index is that of the last code that the index begins with.
TEST(DvHuffmanTable, HoldsTheLastCodeThatAnIndexBeginsWith)
{
    struct Code {
        int32_t bits, run, level;
    };
    Random random(41);
    for (int round = 0; round < 200; round++) {
        std::array<std::vector<int32_t>, 2> lists;
        std::array<std::vector<uint32_t>, 2> expected;
        for (std::size_t i = 0; i < 2; i++) {
            const int width = random.oneIn(8) ? 0 : random.uniform(1, 11);
            lists[i] = {width | random.uniform(0, 100) << 8, random.uniform<int32_t>(), -1};
            expected[i].assign(std::size_t{1} << width, 255);
            for (int length = 1; length <= width; length++) {
                const int count = random.uniform(-2, 5);
                lists[i].push_back(count);
                for (int c = 0; c < count; c++) {
                    const Code code{random.uniform<int32_t>(), random.uniform<int32_t>(),
                                    random.uniform<int32_t>()};
                    lists[i].insert(lists[i].end(), {code.bits, code.run, code.level});
                    for (std::size_t x = 0; x < expected[i].size(); x++)
                        if (((static_cast<uint32_t>(code.bits) ^ x >> (width - length)) &
                             ((1U << length) - 1)) == 0)
                            expected[i][x] = static_cast<uint32_t>(length + (i == 1 ? 4 : 0)) |
                                             (static_cast<uint32_t>(code.run) & 0xFF) << 8 |
                                             static_cast<uint32_t>(code.level) * 64 << 16;
                }
            }
            lists[i].shrink_to_fit();
        }
        uint32_t* built = nullptr;
        ASSERT_EQ(keliInitAllocHuffmanTable_DV_32u(lists[0].data(), lists[1].data(), &built), StatusOk);
        EXPECT_EQ(KEL_INT_PTR(built) % 32, 0U);
        expected[0].insert(expected[0].end(), expected[1].begin(), expected[1].end());
        const std::vector<uint32_t> actual(built, built + expected[0].size());
        EXPECT_EQ(actual, expected[0]);
        EXPECT_EQ(keliFreeHuffmanTable_DV_32u(built), StatusOk);
    }
}

TEST(DvHuffmanTable, RefusesWhatIsTooLargeOrMissing)
{
    const std::vector<int32_t> empty{0, 0, 0};
    for (const int32_t width : {29, 30, 31, 32, 64, 255}) {
        const std::vector<int32_t> huge{width, 0, 0};
        for (const auto& [first, second] : {std::pair(&huge, &empty), std::pair(&empty, &huge)}) {
            uint32_t dummy = 0;
            uint32_t* built = &dummy;
            EXPECT_EQ(keliInitAllocHuffmanTable_DV_32u(first->data(), second->data(), &built),
                      StatusOutOfMemory);
            EXPECT_EQ(built, nullptr);
        }
    }
    uint32_t* built = nullptr;
    expectNullPointersRefused(keliInitAllocHuffmanTable_DV_32u, {}, empty.data(), empty.data(), &built);
    EXPECT_EQ(keliFreeHuffmanTable_DV_32u(nullptr), StatusNullPointer);
}

} // namespace
} // namespace kelvcpx::test
