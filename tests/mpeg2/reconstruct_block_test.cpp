#include "common/huffman_table.h"
#include "mpeg2/prefix_code.h"
#include "support/arguments.h"

#include <kelvcpx/mpeg2.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <numeric>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace kelvcpx::test {
namespace {

using app::HuffmanTable;
using app::RunLevelCode;
using app::ValueCode;

using Block = std::array<int16_t, 64>;

constexpr uint8_t endOfBlock = 254;
constexpr uint8_t escape = 255;

struct Event {
    int run;
    int level;
};

enum class Form { mpeg1Intra, mpeg1NonIntra, mpeg2Intra, mpeg2NonIntra };

std::ostream& operator<<(std::ostream& out, Form form)
{
    constexpr std::array names = {"Mpeg1Intra", "Mpeg1NonIntra", "Mpeg2Intra", "Mpeg2NonIntra"};
    return out << names[static_cast<std::size_t>(form)];
}

bool isIntra(Form form)
{
    return form == Form::mpeg1Intra || form == Form::mpeg2Intra;
}

bool isMpeg1(Form form)
{
    return form == Form::mpeg1Intra || form == Form::mpeg1NonIntra;
}

// A random code with some events of short run and level, end of block and escape. Codes start with 0, so that
// a leading 1 stays free for the first coefficient of a non-intra block.
struct RandomCode {
    std::vector<std::string> words;
    std::vector<RunLevelCode> rows;

    explicit RandomCode(Random& random)
    {
        while (words.size() < 3)
            words = randomPrefixCode(random, 14, 6);
        for (std::string& word : words) {
            std::string prefixed{'0'};
            prefixed += word;
            word = std::move(prefixed);
        }
        rows.push_back({words[0], endOfBlock, 0});
        rows.push_back({words[1], escape, 0});
        for (std::size_t i = 2; i < words.size(); i++)
            rows.push_back({words[i], random.uniform<uint8_t>(0, 12), level(random)});
    }

    static int16_t level(Random& random)
    {
        return static_cast<int16_t>(random.uniform(1, 40) * (random.oneIn(2) ? 1 : -1));
    }
};

void putEscape(BitText& text, Form form, const Event& event)
{
    text.put(static_cast<uint32_t>(event.run), 6);
    if (!isMpeg1(form)) {
        text.put(static_cast<uint32_t>(event.level), 12);
    } else if (event.level >= -127 && event.level <= 127) {
        text.put(static_cast<uint32_t>(event.level), 8);
    } else {
        text.put(event.level > 0 ? 0x00 : 0x80, 8);
        text.put(static_cast<uint32_t>(event.level), 8);
    }
}

// One coded block and what the standard says it decodes to.
class Sample
{
public:
    Sample(Form form, Random& random) : form_(form), code_(random), scale_(random.extreme(1, 112))
    {
        std::iota(scan_.begin(), scan_.end(), 0);
        for (std::size_t i = 63; i > 1; i--) // the DC stays first
            std::swap(scan_[i], scan_[random.uniform<std::size_t>(1, static_cast<int64_t>(i))]);
        for (int16_t& weight : weights_)
            weight = random.extreme<int16_t>(1, 255);
        flat_ = form == Form::mpeg2NonIntra && random.oneIn(2);
        text_.put(random.uniform<uint32_t>(), random.uniform(1, 31));
        start_ = text_.size();
        if (isIntra(form))
            codeDC(random);
        codeCoefficients(random);
        text_.put(code_.words[0]);
    }

    void expectDecoded() const
    {
        const auto words = text_.words();
        const HuffmanTable table(code_.rows, {5, 4, 6});
        const HuffmanTable dcTable(dcSizes_, {3, 9});
        Position position{words.data(), 31 - static_cast<int32_t>(start_)};
        Block block;
        block.fill(0x5555);
        int16_t predictor = predictorBefore_;
        int32_t last = 1234;
        const int16_t* const matrix = flat_ ? nullptr : weights_.data();
        ASSERT_EQ(decode(position, table.get(), dcTable.get(), matrix, predictor, block, last), StatusOk);
        ASSERT_EQ(block, finished());
        ASSERT_EQ(position.bitsFrom(words), text_.size());
        ASSERT_EQ(predictor, predictorAfter_);
        ASSERT_EQ(last, form_ == Form::mpeg2NonIntra && last_ == 0 ? 1 : last_);
    }

private:
    Status decode(Position& p, const int32_t* table, const int32_t* dcTable, const int16_t* matrix,
                  int16_t& predictor, Block& block, int32_t& last) const
    {
        switch (form_) {
        case Form::mpeg1Intra:
            return keliReconstructDCTBlockIntra_MPEG1_32s(&p.word, &p.offset, dcTable, table, scan_.data(),
                                                          scale_, matrix, &predictor, block.data(), &last);
        case Form::mpeg1NonIntra:
            return keliReconstructDCTBlock_MPEG1_32s(&p.word, &p.offset, table, table, scan_.data(), scale_,
                                                     matrix, block.data(), &last);
        case Form::mpeg2Intra:
            return keliReconstructDCTBlockIntra_MPEG2_32s(&p.word, &p.offset, dcTable, table, scan_.data(),
                                                          scale_, matrix, &predictor, dcShift_, block.data(),
                                                          &last);
        default:
            return keliReconstructDCTBlock_MPEG2_32s(&p.word, &p.offset, table, table, scan_.data(), scale_,
                                                     matrix, block.data(), &last);
        }
    }

    void codeDC(Random& random)
    {
        for (int32_t size = 0; size <= 11; size++) {
            dcCodes_.push_back(std::string(static_cast<std::size_t>(size), '1') + "0");
            dcSizes_.push_back({{}, size});
        }
        for (std::size_t i = 0; i < dcCodes_.size(); i++)
            dcSizes_[i].bits = dcCodes_[i];
        const int32_t size = random.uniform(0, 11);
        const int32_t most = (1 << size) - 1;
        const int32_t magnitude = size == 0 ? 0 : random.uniform((most + 1) / 2, most);
        const bool negative = random.oneIn(2);
        text_.put(dcCodes_[static_cast<std::size_t>(size)]);
        text_.put(static_cast<uint32_t>(negative ? most - magnitude : magnitude), size);

        predictorBefore_ = random.uniform<int16_t>(0, 2047);
        const int32_t difference = negative ? -magnitude : magnitude;
        predictorAfter_ = static_cast<int16_t>(predictorBefore_ + (isMpeg1(form_) ? 8 : 1) * difference);
        dcShift_ = random.uniform(0, 3);
        coefficients_[0] = static_cast<int16_t>(predictorAfter_ * (isMpeg1(form_) ? 1 : 1 << dcShift_));
        last_ = 0;
    }

    void codeCoefficients(Random& random)
    {
        const int density = random.uniform(1, 20);
        while (!random.oneIn(density)) {
            std::optional<Event> event;
            const std::string* word = nullptr;
            const bool first = last_ < 0;
            if (first && random.oneIn(2)) {
                event = {0, random.oneIn(2) ? 1 : -1};
                text_.put(event->level > 0 ? "10" : "11");
            } else if (!random.oneIn(4)) {
                const auto row = random.uniform<std::size_t>(2, static_cast<int64_t>(code_.rows.size()) - 1);
                event = {code_.rows[row].run, code_.rows[row].level};
                word = &code_.words[row];
            } else {
                event = {random.uniform(0, 20), escapedLevel(random)};
                word = &code_.words[1];
            }
            if (last_ + event->run + 1 > 63)
                break;
            if (word != nullptr)
                text_.put(*word);
            if (word == &code_.words[1])
                putEscape(text_, form_, *event);
            put(*event);
        }
        if (last_ < 0) { // a non-intra block has a coefficient
            text_.put("11");
            put({0, -1});
        }
    }

    int escapedLevel(Random& random) const
    {
        int level = 0;
        while (level == 0)
            level = isMpeg1(form_) ? random.extreme(-255, 255) : random.extreme(-2048, 2047);
        return level;
    }

    // 11172-2 2.4.4 and 13818-2 7.4.2.
    void put(const Event& event)
    {
        last_ += event.run + 1;
        const auto k = static_cast<std::size_t>(scan_[static_cast<std::size_t>(last_)]);
        const int sign = isIntra(form_) ? 0 : event.level > 0 ? 1 : -1;
        int value =
            (2 * event.level + sign) * scale_ * (flat_ ? 16 : weights_[k]) / (isMpeg1(form_) ? 16 : 32);
        if (isMpeg1(form_)) {
            if (value % 2 == 0 && value != 0)
                value += value > 0 ? -1 : 1;
            value = std::clamp(value, -2048, 2047);
        }
        coefficients_[k] = static_cast<int16_t>(value);
    }

    // 13818-2 7.4.4.
    Block finished() const
    {
        Block block = coefficients_;
        if (!isMpeg1(form_) && std::accumulate(block.begin(), block.end(), 0) % 2 == 0)
            block[63] = static_cast<int16_t>(block[63] + (block[63] % 2 != 0 ? -1 : 1));
        return block;
    }

    Form form_;
    RandomCode code_;
    int32_t scale_;
    std::array<int32_t, 64> scan_{};
    Block weights_{};
    bool flat_ = false;
    std::vector<std::string> dcCodes_;
    std::vector<ValueCode> dcSizes_;
    int32_t dcShift_ = 0;
    int16_t predictorBefore_ = 77;
    int16_t predictorAfter_ = 77;
    BitText text_;
    std::size_t start_ = 0;
    Block coefficients_{};
    int32_t last_ = -1;
};

class ReconstructBlock : public testing::TestWithParam<Form>
{
};

TEST_P(ReconstructBlock, DecodesRandomBlocks)
{
    Random random(30);
    for (int round = 0; round < 3000 && !HasFatalFailure(); round++)
        Sample(GetParam(), random).expectDecoded();
}

INSTANTIATE_TEST_SUITE_P(AllForms, ReconstructBlock,
                         testing::Values(Form::mpeg1Intra, Form::mpeg1NonIntra, Form::mpeg2Intra,
                                         Form::mpeg2NonIntra),
                         testing::PrintToStringParamName());

// A small fixed code for the ways in which a block can end badly.
class DamagedBlock : public testing::Test
{
protected:
    DamagedBlock()
    {
        std::iota(scan_.begin(), scan_.end(), 0);
        matrix_.fill(16);
        block_.fill(0x5555);
    }

    Status nonIntra(const std::string& bits)
    {
        start(bits);
        return keliReconstructDCTBlock_MPEG2_32s(&position_.word, &position_.offset, ac_.get(), ac_.get(),
                                                 scan_.data(), 2, nullptr, block_.data(), &last_);
    }

    Status intra(const std::string& bits)
    {
        start(bits);
        return keliReconstructDCTBlockIntra_MPEG2_32s(&position_.word, &position_.offset, dc_.get(),
                                                      ac_.get(), scan_.data(), 2, matrix_.data(), &predictor_,
                                                      3, block_.data(), &last_);
    }

    void start(const std::string& bits)
    {
        BitText text;
        text.put(bits);
        words_ = text.words();
        position_ = {words_.data()};
    }

    std::size_t consumed() const { return position_.bitsFrom(words_); }

    const std::vector<RunLevelCode> acCodes_ = {{"01", endOfBlock, 0}, {"001", 40, 5}, {"00011", escape, 0}};
    const std::vector<ValueCode> dcCodes_ = {{"0", 0}, {"10", 3}, {"1101", 40}};
    const HuffmanTable ac_{acCodes_, {3, 3}};
    const HuffmanTable dc_{dcCodes_, {2, 2}};
    std::array<int32_t, 64> scan_;
    Block matrix_;
    Block block_;
    std::vector<uint32_t> words_;
    Position position_{};
    int16_t predictor_ = 100;
    int32_t last_ = -77;
};

TEST_F(DamagedBlock, AnInvalidCodeEndsTheBlockBehindItsBits)
{
    EXPECT_EQ(nonIntra("10"
                       "000100"
                       "01"),
              StatusBadHuffmanCode);
    EXPECT_EQ(consumed(), 8u); // both levels of the lookup
    EXPECT_EQ(block_[0], 3);
    EXPECT_EQ(std::count(block_.begin(), block_.end(), 0), 63);
    EXPECT_EQ(last_, -77);
}

TEST_F(DamagedBlock, APositionBeyondTheBlockEndsItBehindTheCode)
{
    EXPECT_EQ(nonIntra("001"
                       "001"
                       "01"),
              StatusBadHuffmanCode);
    EXPECT_EQ(consumed(), 6u);
    EXPECT_EQ(block_[40], 11 * 2 * 16 / 32);
    EXPECT_EQ(last_, -77);

    EXPECT_EQ(nonIntra("11"
                       "00011"
                       "111111"
                       "000000000001"
                       "01"),
              StatusBadHuffmanCode); // escape, run 63
    EXPECT_EQ(consumed(), 25u);
}

TEST_F(DamagedBlock, EndOfBlockAtOnceReportsNoCoefficient)
{
    EXPECT_EQ(nonIntra("01"
                       "11"),
              StatusOk);
    EXPECT_EQ(last_, -1);
    EXPECT_EQ(consumed(), 2u);
    EXPECT_EQ(block_[63], 1); // mismatch control of an empty block
}

TEST_F(DamagedBlock, AnIntraBlockKeepsItsDC)
{
    EXPECT_EQ(intra("10"
                    "101"
                    "000100"
                    "01"),
              StatusBadHuffmanCode);
    EXPECT_EQ(predictor_, 105);
    EXPECT_EQ(block_[0], 105 * 8);
    EXPECT_EQ(last_, -77);

    for (const char* badSize : {"1111", "1101"}) { // no code; a size beyond any use
        EXPECT_EQ(intra(badSize), StatusBadHuffmanCode);
        EXPECT_EQ(consumed(), 4u);
        EXPECT_EQ(predictor_, 105);
        EXPECT_EQ(std::count(block_.begin(), block_.end(), 0), 64);
    }
}

TEST_F(DamagedBlock, NullPointersAreRefusedBeforeAnythingIsWritten)
{
    start("1001");
    const uint32_t** const stream = &position_.word;
    int32_t* const offset = &position_.offset;
    int16_t* const predictor = &predictor_;
    expectNullPointersRefused(keliReconstructDCTBlock_MPEG1_32s, {}, stream, offset, ac_.get(), ac_.get(),
                              scan_.data(), 2, matrix_.data(), block_.data(), &last_);
    expectNullPointersRefused(keliReconstructDCTBlock_MPEG2_32s, {6}, stream, offset, ac_.get(), ac_.get(),
                              scan_.data(), 2, matrix_.data(), block_.data(), &last_);
    expectNullPointersRefused(keliReconstructDCTBlockIntra_MPEG1_32s, {}, stream, offset, dc_.get(),
                              ac_.get(), scan_.data(), 2, matrix_.data(), predictor, block_.data(), &last_);
    expectNullPointersRefused(keliReconstructDCTBlockIntra_MPEG2_32s, {}, stream, offset, dc_.get(),
                              ac_.get(), scan_.data(), 2, matrix_.data(), predictor, 3, block_.data(),
                              &last_);
    position_.word = nullptr;
    EXPECT_EQ(keliReconstructDCTBlock_MPEG2_32s(stream, offset, ac_.get(), ac_.get(), scan_.data(), 2,
                                                nullptr, block_.data(), &last_),
              StatusNullPointer);
    EXPECT_EQ(std::count(block_.begin(), block_.end(), 0x5555), 64);
    EXPECT_EQ(last_, -77);
    EXPECT_EQ(predictor_, 100);
}

} // namespace
} // namespace kelvcpx::test
