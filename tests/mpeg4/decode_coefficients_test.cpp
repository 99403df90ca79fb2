#include "mpeg4/coefficient_codes.h"
#include "support/arguments.h"
#include "support/faults.h"
#include "support/plane.h"
#include "tables/scan_tables.h"

#include <kelvcpx/mpeg4.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <numeric>
#include <string>
#include <vector>

namespace kelvcpx::test {
namespace {

using Block = std::array<int16_t, 64>;

constexpr int16_t unchanged = 0x5555;

std::size_t rasterIndex(Kind kind, int scan, int position)
{
    const auto p = static_cast<std::size_t>(position);
    if (scan == 0)
        return ownvc_Zigzag[p];
    if (scan == 1)
        return ownvc_AltScanV[p];
    return scan == 2 && kind == Kind::intra ? ownvc_AltScanH[p] : p;
}

// What an operation left behind.
struct Outcome {
    Status status;
    Block block;
    int32_t last;
    const uint8_t* byte;
    int32_t offset;
};

Outcome decode(const Mode& mode, const CodeStream& stream)
{
    Outcome out{StatusOk, {}, 1000, stream.begin(), stream.offset()};
    out.block.fill(unchanged);
    out.status = mode.kind == Kind::intra
                     ? keliDecodeCoeffsIntra_MPEG4_1u16s(&out.byte, &out.offset, out.block.data(), &out.last,
                                                         mode.reversible, mode.separateDc, mode.scan)
                     : keliDecodeCoeffsInter_MPEG4_1u16s(&out.byte, &out.offset, out.block.data(), &out.last,
                                                         mode.reversible, mode.scan);
    return out;
}

// The levels of a block and one of their codings.
struct CodedBlock {
    std::vector<Event> events;
    std::string bits;

    void add(const Event& event, const std::string& code)
    {
        events.push_back(event);
        bits += code;
    }

    Block levels(const Mode& mode) const
    {
        Block block{};
        if (mode.separateDc)
            block[0] = unchanged;
        int position = mode.before();
        for (const Event& event : events) {
            position += event.run + 1;
            block[rasterIndex(mode.kind, mode.scan, position)] = static_cast<int16_t>(event.level);
        }
        return block;
    }

    int last(const Mode& mode) const
    {
        return std::accumulate(events.begin(), events.end(), mode.before(),
                               [](int position, const Event& event) { return position + event.run + 1; });
    }
};

void expectDecoded(const Mode& mode, const CodedBlock& coded, int offset)
{
    const CodeStream stream(offset, coded.bits, offset % 2 == 0 ? 0 : -1);
    const Outcome out = decode(mode, stream);
    ASSERT_EQ(out.status, StatusOk) << coded.bits;
    ASSERT_EQ(out.block, coded.levels(mode)) << coded.bits;
    ASSERT_EQ(out.last, coded.last(mode));
    ASSERT_EQ(out.byte, stream.end());
    ASSERT_EQ(out.offset, stream.endOffset());
}

class DecodeCoeffsMpeg4 : public testing::TestWithParam<Mode>
{
};

// Every run with the levels that have codes and beyond, in every way of coding it.
TEST_P(DecodeCoeffsMpeg4, ReadsEveryEvent)
{
    const Mode& mode = GetParam();
    int offset = 0;
    for (const int last : {0, 1})
        for (int run = 0; run <= 62; run++)
            for (int magnitude = 1; magnitude <= 2047; magnitude += magnitude < 60 ? 1 : 987)
                for (const int level : {magnitude, -magnitude})
                    for (const std::string& code : mode.codings({last, run, level})) {
                        CodedBlock coded;
                        coded.add({last, run, level}, code);
                        const bool isFull = coded.last(mode) == 63;
                        if (last == 0 && !isFull)
                            coded.add({1, 0, 1}, mode.codings({1, 0, 1}).front());
                        if (coded.events.back().last == 1)
                            expectDecoded(mode, coded, offset++ % 8);
                    }
}

int randomLevel(Random& random)
{
    const int largest = random.oneIn(8) ? 2047 : random.oneIn(3) ? 30 : 2;
    return random.extreme(1, largest) * (random.oneIn(2) ? 1 : -1);
}

CodedBlock randomBlock(const Mode& mode, Random& random)
{
    CodedBlock coded;
    const int longestRun = random.oneIn(3) ? 20 : 3;
    int left = 63 - mode.before();
    for (bool more = true; more;) {
        Event event{0, std::min(left - 1, random.uniform(0, longestRun)), randomLevel(random)};
        left -= event.run + 1;
        more = left > 0 && !random.oneIn(20);
        event.last = more ? 0 : 1;
        const auto all = mode.codings(event);
        coded.add(event, all[random.uniform<std::size_t>(0, static_cast<int64_t>(all.size()) - 1)]);
    }
    return coded;
}

TEST_P(DecodeCoeffsMpeg4, ReadsRandomBlocks)
{
    Random random(1);
    for (int i = 0; i < 3000; i++)
        expectDecoded(GetParam(), randomBlock(GetParam(), random), random.uniform(0, 7));
}

const Mode modes[] = {
    {Kind::intra, false, false, 0}, {Kind::intra, false, true, 1},  {Kind::intra, false, true, 2},
    {Kind::intra, false, true, 3},  {Kind::inter, false, false, 0}, {Kind::inter, false, false, 1},
    {Kind::inter, false, false, 2}, {Kind::intra, true, false, 0},  {Kind::intra, true, true, 2},
    {Kind::inter, true, false, 1},  {Kind::inter, true, false, -1},
};
INSTANTIATE_TEST_SUITE_P(Modes, DecodeCoeffsMpeg4, testing::ValuesIn(modes));

// The same levels as decoding and dequantising one after the other.
TEST(ReconstructCoeffsMpeg4, DequantisesWhatItDecodes)
{
    Random random(2);
    std::array<unsigned char, 156> buffer;
    auto* const spec = reinterpret_cast<QuantInvSpec*>(buffer.data());
    for (int i = 0; i < 4000; i++) {
        const int bits = random.oneIn(2) ? 8 : random.uniform(4, 12);
        const int QP = random.extreme(1, (1 << (bits - 3)) - 1);
        std::array<uint8_t, 64> matrix;
        for (uint8_t& weight : matrix)
            weight = random.extreme<uint8_t>(1, 255);
        ASSERT_EQ(keliQuantInvInterInit_MPEG4(random.oneIn(2) ? matrix.data() : nullptr, spec, bits),
                  StatusOk);
        const int scan = random.uniform(-1, 3);
        const Mode mode{Kind::inter, random.oneIn(3), false, scan == 1 ? 1 : 0};
        CodedBlock coded = randomBlock(mode, random);
        if (!mode.reversible && random.oneIn(8)) // a level of 0 is allowed, and stays 0
            coded.bits = fixedLengthCode({0, 0, 0}) + fixedLengthCode({1, 0, 0});
        const CodeStream stream(random.uniform(0, 7), coded.bits);
        Outcome expected = decode(mode, stream);
        ASSERT_EQ(keliQuantInvInter_MPEG4_16s_C1I(expected.block.data(), 63, spec, QP), StatusOk);

        Outcome out{StatusOk, {}, 1000, stream.begin(), stream.offset()};
        ASSERT_EQ(keliReconstructCoeffsInter_MPEG4_1u16s(&out.byte, &out.offset, out.block.data(), &out.last,
                                                         mode.reversible, scan, spec, QP),
                  StatusOk);
        ASSERT_EQ(out.block, expected.block);
        ASSERT_EQ(out.last, expected.last);
        ASSERT_EQ(out.byte, expected.byte);
        ASSERT_EQ(out.offset, expected.offset);
    }
}

// A stream that breaks off and the position that was reached.
struct BadStream {
    Mode mode;
    std::string bits;
    int last;
};

const Mode intra{Kind::intra, false, true, 0};
const Mode inter{Kind::inter, false, false, 0};
const Mode reversibleIntra{Kind::intra, true, true, 0};
const Mode reversibleInter{Kind::inter, true, false, 0};

std::string own(const Mode& mode, const Event& event)
{
    return mode.codings(event).front();
}

std::string repeated(int times, const std::string& text)
{
    std::string result;
    while (times-- > 0)
        result += text;
    return result;
}

const std::string noCode = "000000000111";

TEST(DecodeCoeffsMpeg4, StopsAtWhatTheStandardForbids)
{
    const BadStream streams[] = {
        {inter, noCode, -1},
        {intra, noCode, 0},
        {inter, own(inter, {0, 2, 1}) + noCode, 2},
        {inter, escape + "0" + noCode, -1},
        {inter, escape + "10" + noCode, -1},
        {inter, escape + "0" + escape + "0", -1},
        {intra, escape + "10" + escape + "0", 0},
        {inter, escape + "11" + "1" + "000000" + "0" + "000000000001" + "1", -1},
        {inter, escape + "11" + "1" + "000000" + "1" + "000000000001" + "0", -1},
        {inter, fixedLengthCode({1, 0, -2048}), -1},
        {intra, fixedLengthCode({1, 0, -2048}), 0},
        {intra, fixedLengthCode({1, 0, 0}), 0},
        {inter, fixedLengthCode({0, 63, 1}) + own(inter, {1, 0, 1}), 64},
        {inter, repeated(21, own(inter, {0, 2, 1})) + own(inter, {0, 2, 1}), 65},
        {intra, fixedLengthCode({1, 63, 1}), 64},
        {reversibleInter, "00000111", -1},
        {reversibleIntra, "00000000", 0},
        {reversibleInter, own(reversibleInter, {0, 0, 1}) + "00000111", 0},
        {reversibleInter,
         "00001"
         "1"
         "000000"
         "0"
         "00000000001"
         "1"
         "0000"
         "0",
         -1},
        {reversibleInter,
         "00001"
         "1"
         "000000"
         "1"
         "00000000000"
         "1"
         "0000"
         "0",
         -1},
        {reversibleInter,
         "00001"
         "1"
         "000000"
         "1"
         "00000000001"
         "0"
         "0000"
         "0",
         -1},
        {reversibleIntra,
         "00001"
         "1"
         "000000"
         "1"
         "00000000001"
         "1"
         "0001"
         "0",
         0},
        {reversibleIntra,
         "00111111"
         "1111111",
         0},
        {reversibleIntra,
         "10000000"
         "0000000",
         0},
        {reversibleIntra, reversibleCoding(Kind::intra, {1, 63, 5}), 64},
    };
    for (const BadStream& bad : streams) {
        SCOPED_TRACE(bad.bits);
        const CodeStream stream(3, bad.bits);
        const Outcome out = decode(bad.mode, stream);
        EXPECT_EQ(out.status, StatusBadVlcCode);
        EXPECT_EQ(out.last, bad.last);
        EXPECT_EQ(out.byte, stream.begin());
        EXPECT_EQ(out.offset, 3);
    }
}

// Blocks one after the other, read from the end; in front of them a code that ends a block.
class DecodeCoeffsBackMpeg4 : public testing::TestWithParam<Kind>
{
};

struct Backward {
    Kind kind;
    bool separateDc;

    Status operator()(Outcome& out) const
    {
        return kind == Kind::intra ? keliDecodeCoeffsIntraRVLCBack_MPEG4_1u16s(
                                         &out.byte, &out.offset, out.block.data(), &out.last, separateDc)
                                   : keliDecodeCoeffsInterRVLCBack_MPEG4_1u16s(&out.byte, &out.offset,
                                                                               out.block.data(), &out.last);
    }
};

Outcome startAtEnd(const CodeStream& stream)
{
    Outcome out{StatusOk, {}, 1000, stream.end(), stream.endOffset()};
    out.block.fill(unchanged);
    return out;
}

TEST_P(DecodeCoeffsBackMpeg4, ReadsEveryEvent)
{
    const Kind kind = GetParam();
    int offset = 0;
    for (const int last : {0, 1})
        for (int run = 0; run <= 62; run++)
            for (int magnitude = 1; magnitude <= 2047; magnitude += magnitude < 40 ? 1 : 669)
                for (const int level : {magnitude, -magnitude}) {
                    const Mode mode{kind, true, false, 3};
                    CodedBlock coded;
                    coded.add({last, run, level}, reversibleCoding(kind, {last, run, level}));
                    if (last == 0)
                        coded.add({1, 0, 1}, reversibleCoding(kind, {1, 0, 1}));
                    if (coded.last(mode) > 63)
                        continue;
                    const CodeStream stream(0,
                                            binary(0, offset++ % 8) +
                                                "1011"
                                                "0" +
                                                coded.bits,
                                            -1);
                    Outcome out = startAtEnd(stream);
                    ASSERT_EQ((Backward{kind, false}(out)), StatusOk) << coded.bits;
                    ASSERT_EQ(out.block, coded.levels(mode)) << coded.bits;
                    ASSERT_EQ(out.last, coded.last(mode));
                }
}

TEST_P(DecodeCoeffsBackMpeg4, ReadsRandomBlocks)
{
    Random random(3);
    for (int round = 0; round < 500; round++) {
        std::vector<CodedBlock> blocks;
        std::vector<Mode> kinds;
        std::string bits = std::string(random.uniform<std::size_t>(0, 20), '1') + "10111";
        std::vector<std::size_t> starts;
        for (int i = random.uniform(1, 10); i > 0; i--) {
            kinds.push_back({GetParam(), true, GetParam() == Kind::intra && random.oneIn(2), 3});
            blocks.push_back(randomBlock(kinds.back(), random));
            starts.push_back(bits.size());
            bits += blocks.back().bits;
        }
        const CodeStream stream(0, bits, -1);
        Outcome out = startAtEnd(stream);
        for (std::size_t i = blocks.size(); i-- > 0;) {
            out.block.fill(unchanged);
            ASSERT_EQ((Backward{GetParam(), kinds[i].separateDc}(out)), StatusOk);
            ASSERT_EQ(out.block, blocks[i].levels(kinds[i]));
            ASSERT_EQ(out.last, blocks[i].last(kinds[i]));
            ASSERT_EQ(static_cast<std::size_t>(8 * (out.byte - stream.begin()) + out.offset), starts[i]);
        }
    }
}

TEST_P(DecodeCoeffsBackMpeg4, StopsAtWhatTheStandardForbids)
{
    const Kind kind = GetParam();
    const auto code = [=](int last, int run, int level) {
        return reversibleCoding(kind, {last, run, level});
    };
    const std::string bad[] = {
        code(1, 0, 1),                 // nothing that ends in front of it
        code(1, 0, 1) + code(0, 0, 1), // does not end with a last level
        code(1, 0, 1) + repeated(64, code(0, 0, 1)) + code(1, 0, 1),
        code(1, 0, 1) + repeated(21, code(0, 2, 1)) + code(1, 1, 1),
        code(1, 0, 1) + code(0, 63, 1) + code(1, 0, 1),
        code(1, 0, 1) + "00001"
                        "1"
                        "000000"
                        "0"
                        "00000000001"
                        "1"
                        "0000"
                        "0",
        code(1, 0, 1) + "00001"
                        "1"
                        "000000"
                        "1"
                        "00000000000"
                        "1"
                        "0000"
                        "0",
        code(1, 0, 1) + "00001"
                        "1"
                        "000000"
                        "1"
                        "00000000001"
                        "0"
                        "0000"
                        "0",
        code(1, 0, 1) + "00011"
                        "1"
                        "000000"
                        "1"
                        "00000000001"
                        "1"
                        "0000"
                        "0",
        code(1, 0, 1) + "1111111"
                        "11111100"
                        "0",
    };
    for (const std::string& bits : bad) {
        SCOPED_TRACE(bits);
        const CodeStream stream(5, bits);
        Outcome out = startAtEnd(stream);
        EXPECT_EQ((Backward{kind, false}(out)), StatusBadVlcCode);
        EXPECT_EQ(out.byte, stream.end());
        EXPECT_EQ(out.offset, stream.endOffset());
    }
    // One place less if the DC is not among the levels.
    const CodeStream full(0, code(1, 0, 1) + repeated(63, code(0, 0, 1)) + code(1, 0, 1));
    for (const bool separateDc : {false, true}) {
        Outcome out = startAtEnd(full);
        const bool fits = kind == Kind::inter || !separateDc;
        EXPECT_EQ((Backward{kind, separateDc}(out)), fits ? StatusOk : StatusBadVlcCode);
    }
}

INSTANTIATE_TEST_SUITE_P(Blocks, DecodeCoeffsBackMpeg4, testing::Values(Kind::intra, Kind::inter),
                         testing::PrintToStringParamName());

TEST(DecodeDcMpeg4, ReadsEveryDifference)
{
    for (const bool chroma : {false, true})
        for (int difference = -4095; difference <= 4095; difference++) {
            const CodeStream stream(difference & 7, dcCoding(difference, chroma), chroma ? 0 : -1);
            const uint8_t* byte = stream.begin();
            int32_t offset = stream.offset();
            int16_t dc = unchanged;
            ASSERT_EQ(keliDecodeDCIntra_MPEG4_1u16s(&byte, &offset, &dc, chroma ? 7 : 0), StatusOk);
            ASSERT_EQ(dc, difference);
            ASSERT_EQ(byte, stream.end());
            ASSERT_EQ(offset, stream.endOffset());
        }
}

TEST(DecodeDcMpeg4, StopsAtWhatTheStandardForbids)
{
    struct BadDc {
        std::string bits;
        bool chroma;
        int16_t dc;
    };
    std::string withoutMarker = dcCoding(-300, false);
    withoutMarker.back() = '0';
    for (const BadDc& bad : {BadDc{"000000000001", false, unchanged}, BadDc{"0000000000001", true, unchanged},
                             BadDc{withoutMarker, false, -300}}) {
        const CodeStream stream(6, bad.bits, -1);
        const uint8_t* byte = stream.begin();
        int32_t offset = stream.offset();
        int16_t dc = unchanged;
        EXPECT_EQ(keliDecodeDCIntra_MPEG4_1u16s(&byte, &offset, &dc, bad.chroma), StatusBadVlcCode)
            << bad.bits;
        EXPECT_EQ(dc, bad.dc);
        EXPECT_EQ(byte, stream.begin());
        EXPECT_EQ(offset, 6);
    }
}

// The operations with the cursor alone to be wrong.
struct Request {
    const uint8_t** stream;
    int32_t* offset;
    int16_t* block;
    int32_t* last;
};

TEST(DecodeCoeffsMpeg4, RefusesWrongArguments)
{
    const std::array<uint8_t, 16> bytes{};
    const uint8_t* byte = bytes.data();
    const uint8_t* nothing = nullptr;
    std::array<int32_t, 3> offsets{0, -1, 8};
    Block block{};
    int32_t last = 0;
    std::array<unsigned char, 156> buffer;
    auto* const spec = reinterpret_cast<QuantInvSpec*>(buffer.data());
    ASSERT_EQ(keliQuantInvInterInit_MPEG4(nullptr, spec, 8), StatusOk);

    const Request good{&byte, &offsets[0], block.data(), &last};
    const std::vector<Fault<Request>> faults{fault(StatusNullPointer, &Request::stream, nullptr),
                                             fault(StatusNullPointer, &Request::offset, nullptr),
                                             fault(StatusNullPointer, &Request::block, nullptr),
                                             fault(StatusNullPointer, &Request::last, nullptr),
                                             fault(StatusNullPointer, &Request::stream, &nothing),
                                             fault(StatusBadBitOffset, &Request::offset, &offsets[1]),
                                             fault(StatusBadBitOffset, &Request::offset, &offsets[2])};
    const std::vector<std::function<Status(const Request&)>> operations{
        [](const Request& r) {
            return keliDecodeCoeffsIntra_MPEG4_1u16s(r.stream, r.offset, r.block, r.last, 0, 0, 0);
        },
        [](const Request& r) {
            return keliDecodeCoeffsInter_MPEG4_1u16s(r.stream, r.offset, r.block, r.last, 0, 0);
        },
        [](const Request& r) {
            return keliDecodeCoeffsIntraRVLCBack_MPEG4_1u16s(r.stream, r.offset, r.block, r.last, 0);
        },
        [](const Request& r) {
            return keliDecodeCoeffsInterRVLCBack_MPEG4_1u16s(r.stream, r.offset, r.block, r.last);
        },
        [&](const Request& r) {
            return keliReconstructCoeffsInter_MPEG4_1u16s(r.stream, r.offset, r.block, r.last, 0, 0, spec, 1);
        },
    };
    for (const auto& operation : operations)
        expectFaultsRefused<Request>(good, faults, operation);
    int16_t dc = 0;
    expectNullPointersRefused(keliDecodeDCIntra_MPEG4_1u16s, {}, &byte, &offsets[0], &dc, 0);
    EXPECT_EQ(keliDecodeDCIntra_MPEG4_1u16s(&nothing, &offsets[0], &dc, 0), StatusNullPointer);
    EXPECT_EQ(keliDecodeDCIntra_MPEG4_1u16s(&byte, &offsets[1], &dc, 0), StatusBadBitOffset);
}

// With ordinary codes before anything is written, with reversible ones when the block is decoded.
TEST(ReconstructCoeffsMpeg4, ChecksTheRecord)
{
    std::array<unsigned char, 156> buffer;
    std::array<unsigned char, 156> wrong;
    auto* const spec = reinterpret_cast<QuantInvSpec*>(buffer.data());
    auto* const intraSpec = reinterpret_cast<QuantInvSpec*>(wrong.data());
    ASSERT_EQ(keliQuantInvInterInit_MPEG4(nullptr, spec, 8), StatusOk);
    ASSERT_EQ(keliQuantInvIntraInit_MPEG4(nullptr, intraSpec, 8), StatusOk);
    const struct {
        const QuantInvSpec* spec;
        int32_t QP;
        Status status;
    } faults[] = {{nullptr, 0, StatusNullPointer},
                  {intraSpec, 0, StatusBadContext},
                  {spec, 0, StatusBadQuantizer},
                  {spec, 32, StatusBadQuantizer}};
    for (const bool reversible : {false, true})
        for (const auto& fault : faults) {
            const Mode mode{Kind::inter, reversible, false, 0};
            const CodeStream stream(0, own(mode, {1, 0, 1}));
            Outcome out{StatusOk, {}, 1000, stream.begin(), stream.offset()};
            out.block.fill(unchanged);
            EXPECT_EQ(keliReconstructCoeffsInter_MPEG4_1u16s(&out.byte, &out.offset, out.block.data(),
                                                             &out.last, reversible, 0, fault.spec, fault.QP),
                      fault.status);
            EXPECT_EQ(out.block[0], reversible ? 1 : unchanged);
            EXPECT_EQ(out.last, reversible ? 0 : 1000);
            EXPECT_EQ(out.offset, reversible ? stream.endOffset() : 0);
        }
}

} // namespace
} // namespace kelvcpx::test
