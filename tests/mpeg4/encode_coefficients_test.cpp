#include "mpeg4/coefficient_codes.h"
#include "support/arguments.h"
#include "support/faults.h"
#include "support/random.h"
#include "tables/scan_tables.h"

#include <kelvcpx/mpeg4.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace kelvcpx::test {
namespace {

using Block = std::array<int16_t, 64>;

// A buffer full of garbage with a cursor in its first byte.
struct Output {
    std::vector<uint8_t> bytes = std::vector<uint8_t>(400, 0xA5);
    uint8_t* byte = bytes.data();
    int32_t offset;

    explicit Output(int32_t start) : offset(start), start_(start) {}

    // What was written. Expects what it says about the rest of the buffer.
    std::string written() const
    {
        const auto end = static_cast<std::size_t>(8 * (byte - bytes.data()) + offset);
        std::string all;
        for (const uint8_t value : bytes)
            all += binary(value, 8);
        const std::size_t touched = (end + 7) / 8 * 8;
        EXPECT_EQ(all.substr(0, static_cast<std::size_t>(start_)),
                  binary(0xA5, 8).substr(0, static_cast<std::size_t>(start_)));
        EXPECT_EQ(all.substr(end, touched - end), std::string(touched - end, '0'));
        EXPECT_TRUE(std::all_of(bytes.begin() + static_cast<std::ptrdiff_t>(touched / 8), bytes.end(),
                                [](uint8_t value) { return value == 0xA5; }));
        return all.substr(static_cast<std::size_t>(start_), end - static_cast<std::size_t>(start_));
    }

private:
    int32_t start_;
};

Status encode(const Mode& mode, const Block& block, int32_t count, Output& out)
{
    return mode.kind == Kind::intra
               ? keliEncodeCoeffsIntra_MPEG4_16s1u(block.data(), &out.byte, &out.offset, count,
                                                   mode.reversible, mode.separateDc, mode.scan)
               : keliEncodeCoeffsInter_MPEG4_16s1u(block.data(), &out.byte, &out.offset, count,
                                                   mode.reversible, mode.scan);
}

std::size_t rasterIndex(const Mode& mode, int position)
{
    const auto p = static_cast<std::size_t>(position);
    const bool intra = mode.kind == Kind::intra;
    if (intra && mode.scan == -1)
        return p;
    return (mode.scan == 1 ? ownvc_AltScanV : intra && mode.scan == 2 ? ownvc_AltScanH : ownvc_Zigzag)[p];
}

class EncodeCoeffsMpeg4 : public testing::TestWithParam<Mode>
{
};

TEST_P(EncodeCoeffsMpeg4, WritesTheFirstCodingOfEveryEvent)
{
    const Mode& mode = GetParam();
    const int first = mode.separateDc ? 1 : 0;
    int32_t offset = 0;
    for (const int last : {0, 1})
        for (int run = 0; first + run + 1 - last <= 63; run++)
            for (int magnitude = 1; magnitude <= 2047; magnitude += magnitude < 60 ? 1 : 987)
                for (const int level : {magnitude, -magnitude}) {
                    Block block{};
                    block[0] = mode.separateDc ? int16_t{77} : block[0];
                    block[rasterIndex(mode, first + run)] = static_cast<int16_t>(level);
                    std::string expected = mode.codings({last, run, level}).front();
                    if (last == 0) {
                        block[rasterIndex(mode, first + run + 1)] = -1;
                        expected += mode.codings({1, 0, -1}).front();
                    }
                    Output out(offset++ % 8);
                    ASSERT_EQ(encode(mode, block, last == 0 ? 2 : 1, out), StatusOk);
                    ASSERT_EQ(out.written(), expected);
                }
}

// A decoder reads back what was written, as far as the count goes.
TEST_P(EncodeCoeffsMpeg4, WritesWhatIsDecodedAgain)
{
    const Mode& mode = GetParam();
    const int first = mode.separateDc ? 1 : 0;
    Random random(1);
    for (int round = 0; round < 3000; round++) {
        Block block{};
        Block expected{};
        const int gap = random.uniform(1, 12);
        const int32_t count = random.uniform(1, 64 - first);
        int32_t written = 0;
        int32_t lastPosition = 0;
        for (int position = first; position < 64; position++) {
            if (!random.oneIn(gap) && (position < 63 || written > 0))
                continue;
            const int largest = random.oneIn(8) ? 2047 : random.oneIn(3) ? 30 : 2;
            const auto level = static_cast<int16_t>(random.extreme(1, largest) * (random.oneIn(2) ? 1 : -1));
            block[rasterIndex(mode, position)] = level;
            if (written == count)
                continue; // left out
            expected[rasterIndex(mode, position)] = level;
            lastPosition = position;
            written++;
        }
        Output out(random.uniform(0, 7));
        const int32_t start = out.offset;
        ASSERT_EQ(encode(mode, block, std::min(count, written), out), StatusOk);

        const uint8_t* byte = out.bytes.data();
        int32_t offset = start;
        Block decoded{};
        int32_t last = 0;
        const int decoderScan = mode.kind == Kind::inter ? mode.scan == 1 : mode.scan;
        ASSERT_EQ(mode.kind == Kind::intra
                      ? keliDecodeCoeffsIntra_MPEG4_1u16s(&byte, &offset, decoded.data(), &last,
                                                          mode.reversible, mode.separateDc, decoderScan)
                      : keliDecodeCoeffsInter_MPEG4_1u16s(&byte, &offset, decoded.data(), &last,
                                                          mode.reversible, decoderScan),
                  StatusOk);
        ASSERT_EQ(decoded, expected);
        ASSERT_EQ(last, lastPosition);
        ASSERT_EQ(byte, out.byte);
        ASSERT_EQ(offset, out.offset);
    }
}

const Mode modes[] = {
    {Kind::intra, false, false, 0}, {Kind::intra, false, true, 1},  {Kind::intra, false, true, 2},
    {Kind::intra, false, true, -1}, {Kind::inter, false, false, 0}, {Kind::inter, false, false, 1},
    {Kind::intra, true, false, -1}, {Kind::intra, true, true, 2},   {Kind::inter, true, false, 2},
};
INSTANTIATE_TEST_SUITE_P(Modes, EncodeCoeffsMpeg4, testing::ValuesIn(modes));

TEST(EncodeDcMpeg4, WritesEveryDifference)
{
    for (const bool chroma : {false, true})
        for (int difference = -4095; difference <= 4095; difference++) {
            Output out(difference & 7);
            ASSERT_EQ(keliEncodeDCIntra_MPEG4_16s1u(static_cast<int16_t>(difference), &out.byte, &out.offset,
                                                    chroma),
                      StatusOk);
            ASSERT_EQ(out.written(), dcCoding(difference, chroma));
        }
}

struct Request {
    int16_t* block;
    uint8_t** stream;
    int32_t* offset;
    int32_t count;
};

TEST(EncodeCoeffsMpeg4, RefusesWrongArguments)
{
    Output out(0);
    uint8_t* nothing = nullptr;
    std::array<int32_t, 3> offsets{0, -1, 8};
    Block block{};
    const Request good{block.data(), &out.byte, &offsets[0], 1};
    const auto refuse = [&](int32_t most, const std::function<Status(const Request&)>& operation) {
        expectFaultsRefused<Request>(good,
                                     {fault(StatusNullPointer, &Request::block, nullptr),
                                      fault(StatusNullPointer, &Request::stream, nullptr),
                                      fault(StatusNullPointer, &Request::offset, nullptr),
                                      fault(StatusNullPointer, &Request::stream, &nothing),
                                      fault(StatusBadBitOffset, &Request::offset, &offsets[1]),
                                      fault(StatusBadBitOffset, &Request::offset, &offsets[2]),
                                      fault(StatusOutOfRange, &Request::count, 0),
                                      fault(StatusOutOfRange, &Request::count, most + 1)},
                                     operation);
        EXPECT_EQ(operation({block.data(), &out.byte, &offsets[0], most}), StatusOk);
    };
    refuse(63, [](const Request& r) {
        return keliEncodeCoeffsIntra_MPEG4_16s1u(r.block, r.stream, r.offset, r.count, 0, 1, 0);
    });
    refuse(64, [](const Request& r) {
        return keliEncodeCoeffsIntra_MPEG4_16s1u(r.block, r.stream, r.offset, r.count, 1, 0, 0);
    });
    refuse(64, [](const Request& r) {
        return keliEncodeCoeffsInter_MPEG4_16s1u(r.block, r.stream, r.offset, r.count, 0, 0);
    });
    expectNullPointersRefused(keliEncodeDCIntra_MPEG4_16s1u, {}, int16_t{1}, &out.byte, &offsets[0], 0);
    EXPECT_EQ(keliEncodeDCIntra_MPEG4_16s1u(1, &nothing, &offsets[0], 0), StatusNullPointer);
    EXPECT_EQ(keliEncodeDCIntra_MPEG4_16s1u(1, &out.byte, &offsets[2], 0), StatusBadBitOffset);
}

} // namespace
} // namespace kelvcpx::test
