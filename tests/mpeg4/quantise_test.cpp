#include "support/arguments.h"
#include "support/faults.h"
#include "support/plane.h"

#include <kelvcpx/mpeg4.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ostream>
#include <vector>

namespace kelvcpx::test {
namespace {

using Matrix = std::array<uint8_t, 64>;

// A record in a buffer that has just the size it needs, at any address. Moving it would break the record.
template <class Spec>
class Record
{
public:
    using GetSize = decltype(keliQuantIntraGetSize_MPEG4);
    using Init = Status(const uint8_t*, Spec*, int32_t) noexcept;

    Record(GetSize* getSize, std::size_t misalignment)
        : bytes_(misalignment + sizeOf(getSize)), misalignment_(misalignment)
    {}
    Record(const Record&) = delete;
    Record& operator=(const Record&) = delete;

    Spec* get() { return reinterpret_cast<Spec*>(bytes_.data() + misalignment_); }

private:
    static std::size_t sizeOf(GetSize* getSize)
    {
        int32_t size = 0;
        EXPECT_EQ(getSize(&size), StatusOk);
        return static_cast<std::size_t>(size);
    }

    std::vector<unsigned char> bytes_;
    std::size_t misalignment_;
};

enum class Kind { intra, inter };

void PrintTo(Kind kind, std::ostream* out)
{
    *out << (kind == Kind::intra ? "intra" : "inter");
}

int64_t signOf(int64_t v)
{
    return v > 0 ? 1 : v < 0 ? -1 : 0;
}

// ISO/IEC 14496-2 table 7-1.
int64_t dcScaler(int64_t QP, bool chroma)
{
    if (QP <= 4)
        return 8;
    if (chroma)
        return QP <= 24 ? (QP + 13) / 2 : QP - 6;
    return QP <= 8 ? 2 * QP : QP <= 24 ? QP + 8 : 2 * QP - 16;
}

// Everything that one call depends on.
struct Sample {
    Kind kind;
    int32_t bits;
    bool hasMatrix;
    bool chroma;
    Matrix matrix;
    int32_t QP;
    int32_t last;

    Sample(Kind kindOfBlock, Random& random)
        : kind(kindOfBlock), bits(random.oneIn(2) ? 8 : random.uniform(4, 12)), hasMatrix(random.oneIn(2)),
          chroma(random.oneIn(2)), QP(random.extreme(1, (1 << (bits - 3)) - 1)),
          last(random.oneIn(3) ? 63 : random.uniform(-2, 70))
    {
        for (uint8_t& weight : matrix)
            weight = random.extreme<uint8_t>(1, 255);
    }

    const uint8_t* matrixOrNull() const { return hasMatrix ? matrix.data() : nullptr; }
    int32_t blockType() const { return chroma ? 5 : 0; }

    // 7.4.4.
    Plane<int16_t> dequantised(Plane<int16_t> block) const
    {
        const int16_t dcLevel = block.at(0, 0);
        int64_t sum = 0;
        for (int i = kind == Kind::intra ? 1 : 0; i <= std::min(last, 63); i++) {
            block.at(i, 0) = clip(dequantised(block.at(i, 0), matrix[static_cast<std::size_t>(i)]));
            sum += block.at(i, 0);
        }
        if (kind == Kind::intra) {
            block.at(0, 0) = clip(dcLevel * dcScaler(QP, chroma));
            sum += block.at(0, 0);
        }
        int16_t& final = block.at(63, 0);
        const bool dcAlone = kind == Kind::intra && last < 1;
        if (hasMatrix && sum % 2 == 0)
            final = dcAlone ? int16_t{1} : static_cast<int16_t>(final % 2 != 0 ? final - 1 : final + 1);
        return block;
    }

    int64_t dequantised(int64_t c, int64_t weight) const
    {
        if (!hasMatrix)
            return 2 * QP * c + signOf(c) * (QP % 2 != 0 ? QP : QP - 1);
        return kind == Kind::intra ? weight * QP * c / 8 : weight * QP * (2 * c + signOf(c)) / 16;
    }

    int16_t clip(int64_t v) const
    {
        const int64_t end = int64_t{1} << (bits + 3);
        return static_cast<int16_t>(std::clamp(v, -end, end - 1));
    }

    // The divisions of the quantisers.
    int64_t divide(int64_t numerator, int64_t divisor) const
    {
        return bits <= 8 ? numerator * (65536 / divisor + 1) >> 16 : numerator / divisor;
    }

    int64_t quantised(int64_t c, int64_t weight) const
    {
        int64_t m = std::abs(c);
        if (hasMatrix)
            m = divide(16 * m + weight / 2, weight) + (kind == Kind::intra ? (3 * QP + 2) / 4 : 0);
        else if (kind == Kind::inter)
            m = std::max<int64_t>(0, m - QP / 2);
        return signOf(c) * std::min<int64_t>(2047, divide(m, 2 * QP));
    }

    Plane<int16_t> quantised(Plane<int16_t> block, uint32_t& count) const
    {
        count = 0;
        for (int i = 0; i < 64; i++) {
            const int64_t c = block.at(i, 0);
            int64_t level = quantised(c, matrix[static_cast<std::size_t>(i)]);
            if (kind == Kind::intra && i == 0) {
                const int64_t scaler = dcScaler(QP, chroma);
                level = signOf(c) * std::min<int64_t>(2047, (std::abs(c) + scaler / 2) / scaler);
            }
            block.at(i, 0) = static_cast<int16_t>(level);
            count += level != 0 ? 1u : 0u;
        }
        return block;
    }
};

// Levels of some size, most of them zero half of the time.
Plane<int16_t> randomBlock(Random& random)
{
    Plane<int16_t> block(64, 1);
    const int range = random.oneIn(2) ? 32767 : 1 << random.uniform(1, 12);
    block.randomise(random, -range - 1, range);
    if (random.oneIn(2))
        for (int i = 0; i < 64; i++)
            if (!random.oneIn(8))
                block.at(i, 0) = 0;
    return block;
}

class QuantMpeg4 : public testing::TestWithParam<Kind>
{
protected:
    bool isIntra() const { return GetParam() == Kind::intra; }
};

TEST_P(QuantMpeg4, DequantisesAsTheStandardSays)
{
    Random random(1);
    for (int round = 0; round < 4000; round++) {
        const Sample sample(GetParam(), random);
        Record<QuantInvSpec> record(isIntra() ? keliQuantInvIntraGetSize_MPEG4
                                              : keliQuantInvInterGetSize_MPEG4,
                                    random.uniform<std::size_t>(0, 20));
        ASSERT_EQ((isIntra() ? keliQuantInvIntraInit_MPEG4
                             : keliQuantInvInterInit_MPEG4)(sample.matrixOrNull(), record.get(), sample.bits),
                  StatusOk);
        Plane<int16_t> block = randomBlock(random);
        const Plane<int16_t> expected = sample.dequantised(block);
        ASSERT_EQ(isIntra()
                      ? keliQuantInvIntra_MPEG4_16s_C1I(block.data(), sample.last, record.get(), sample.QP,
                                                        sample.blockType())
                      : keliQuantInvInter_MPEG4_16s_C1I(block.data(), sample.last, record.get(), sample.QP),
                  StatusOk);
        ASSERT_EQ(block, expected) << sample.bits << " bits, QP " << sample.QP << ", last " << sample.last;
    }
}

TEST_P(QuantMpeg4, QuantisesAsDocumented)
{
    Random random(2);
    for (int round = 0; round < 4000; round++) {
        const Sample sample(GetParam(), random);
        Record<QuantSpec> record(isIntra() ? keliQuantIntraGetSize_MPEG4 : keliQuantInterGetSize_MPEG4,
                                 random.uniform<std::size_t>(0, 20));
        ASSERT_EQ((isIntra() ? keliQuantIntraInit_MPEG4
                             : keliQuantInterInit_MPEG4)(sample.matrixOrNull(), record.get(), sample.bits),
                  StatusOk);
        Plane<int16_t> block = randomBlock(random);
        uint32_t expectedCount = 0;
        const Plane<int16_t> expected = sample.quantised(block, expectedCount);
        uint32_t count = 1000;
        ASSERT_EQ(isIntra() ? keliQuantIntra_MPEG4_16s_C1I(block.data(), record.get(), sample.QP, &count,
                                                           sample.blockType())
                            : keliQuantInter_MPEG4_16s_C1I(block.data(), record.get(), sample.QP, &count),
                  StatusOk);
        ASSERT_EQ(block, expected) << sample.bits << " bits, QP " << sample.QP;
        ASSERT_EQ(count, expectedCount);
    }
}

INSTANTIATE_TEST_SUITE_P(Blocks, QuantMpeg4, testing::Values(Kind::intra, Kind::inter),
                         testing::PrintToStringParamName());

// The four kinds of records with their operations.

struct Request {
    int16_t* block;
    void* record;
    int32_t QP;
    uint32_t* count;
};

// A record of each kind for 8-bit samples.
struct Records {
    Record<QuantInvSpec> inverseIntra{keliQuantInvIntraGetSize_MPEG4, 1};
    Record<QuantInvSpec> inverseInter{keliQuantInvInterGetSize_MPEG4, 2};
    Record<QuantSpec> forwardIntra{keliQuantIntraGetSize_MPEG4, 3};
    Record<QuantSpec> forwardInter{keliQuantInterGetSize_MPEG4, 4};

    explicit Records(int32_t bits)
    {
        EXPECT_EQ(keliQuantInvIntraInit_MPEG4(nullptr, inverseIntra.get(), bits), StatusOk);
        EXPECT_EQ(keliQuantInvInterInit_MPEG4(nullptr, inverseInter.get(), bits), StatusOk);
        EXPECT_EQ(keliQuantIntraInit_MPEG4(nullptr, forwardIntra.get(), bits), StatusOk);
        EXPECT_EQ(keliQuantInterInit_MPEG4(nullptr, forwardInter.get(), bits), StatusOk);
    }
};

TEST(QuantMpeg4, RefusesWrongArguments)
{
    Records records(8);
    std::array<void*, 4> all{records.inverseIntra.get(), records.inverseInter.get(),
                             records.forwardIntra.get(), records.forwardInter.get()};
    const auto call = [](std::size_t operation, const Request& r) {
        auto* const inverse = static_cast<QuantInvSpec*>(r.record);
        auto* const forward = static_cast<QuantSpec*>(r.record);
        switch (operation) {
        case 0:
            return keliQuantInvIntra_MPEG4_16s_C1I(r.block, 63, inverse, r.QP, 0);
        case 1:
            return keliQuantInvInter_MPEG4_16s_C1I(r.block, 63, inverse, r.QP);
        case 2:
            return keliQuantIntra_MPEG4_16s_C1I(r.block, forward, r.QP, r.count, 0);
        default:
            return keliQuantInter_MPEG4_16s_C1I(r.block, forward, r.QP, r.count);
        }
    };
    std::array<int16_t, 64> block{};
    uint32_t count = 0;
    for (std::size_t operation = 0; operation < 4; operation++) {
        const Request good{block.data(), all[operation], 31, &count};
        std::vector<Fault<Request>> faults{fault(StatusNullPointer, &Request::block, nullptr),
                                           fault(StatusNullPointer, &Request::record, nullptr)};
        if (operation >= 2)
            faults.push_back(fault(StatusNullPointer, &Request::count, nullptr));
        // Of the same size: the memory behind a record of another size is not the caller's.
        faults.push_back(fault(StatusBadContext, &Request::record, all[operation ^ 1]));
        faults.push_back(fault(StatusBadQuantizer, &Request::QP, 0));
        faults.push_back(fault(StatusBadQuantizer, &Request::QP, 32));
        expectFaultsRefused<Request>(good, faults, [&](const Request& r) { return call(operation, r); });
        EXPECT_EQ(call(operation, good), StatusOk);
    }

    // More bits allow more quantisers.
    Records deep(9);
    std::array<void*, 4> deepOnes{deep.inverseIntra.get(), deep.inverseInter.get(), deep.forwardIntra.get(),
                                  deep.forwardInter.get()};
    for (std::size_t operation = 0; operation < 4; operation++) {
        EXPECT_EQ(call(operation, {block.data(), deepOnes[operation], 63, &count}), StatusOk);
        EXPECT_EQ(call(operation, {block.data(), deepOnes[operation], 64, &count}), StatusBadQuantizer);
    }
}

TEST(QuantMpeg4, RefusesToInitialise)
{
    Matrix matrix;
    matrix.fill(16);
    Records records(8);
    expectNullPointersRefused(keliQuantInvIntraInit_MPEG4, {0}, matrix.data(), records.inverseIntra.get(), 8);
    expectNullPointersRefused(keliQuantInvInterInit_MPEG4, {0}, matrix.data(), records.inverseInter.get(), 8);
    expectNullPointersRefused(keliQuantIntraInit_MPEG4, {0}, matrix.data(), records.forwardIntra.get(), 8);
    expectNullPointersRefused(keliQuantInterInit_MPEG4, {0}, matrix.data(), records.forwardInter.get(), 8);
    for (auto* const getSize : {keliQuantInvIntraGetSize_MPEG4, keliQuantInvInterGetSize_MPEG4,
                                keliQuantIntraGetSize_MPEG4, keliQuantInterGetSize_MPEG4})
        EXPECT_EQ(getSize(nullptr), StatusNullPointer);

    std::array<int16_t, 64> block{};
    uint32_t count = 0;
    for (const int32_t bits : {3, 13, 0, -1000000000, 1000000000}) {
        EXPECT_EQ(keliQuantInvIntraInit_MPEG4(matrix.data(), records.inverseIntra.get(), bits),
                  StatusOutOfRange);
        EXPECT_EQ(keliQuantInvInterInit_MPEG4(nullptr, records.inverseInter.get(), bits), StatusOutOfRange);
        // The quantiser refuses the record instead.
        EXPECT_EQ(keliQuantIntraInit_MPEG4(matrix.data(), records.forwardIntra.get(), bits), StatusOk);
        EXPECT_EQ(keliQuantInterInit_MPEG4(nullptr, records.forwardInter.get(), bits), StatusOk);
        EXPECT_EQ(keliQuantIntra_MPEG4_16s_C1I(block.data(), records.forwardIntra.get(), 1, &count, 0),
                  StatusBadQuantizer);
        EXPECT_EQ(keliQuantInter_MPEG4_16s_C1I(block.data(), records.forwardInter.get(), 1, &count),
                  StatusBadQuantizer);
    }
    for (const std::size_t zero : {0u, 40u, 63u}) {
        matrix.fill(16);
        matrix[zero] = 0;
        EXPECT_EQ(keliQuantInvIntraInit_MPEG4(matrix.data(), records.inverseIntra.get(), 8),
                  StatusBadQuantizer);
        EXPECT_EQ(keliQuantInvInterInit_MPEG4(matrix.data(), records.inverseInter.get(), 8),
                  StatusBadQuantizer);
        EXPECT_EQ(keliQuantIntraInit_MPEG4(matrix.data(), records.forwardIntra.get(), 8), StatusBadQuantizer);
        EXPECT_EQ(keliQuantInterInit_MPEG4(matrix.data(), records.forwardInter.get(), 8), StatusBadQuantizer);
    }
}

} // namespace
} // namespace kelvcpx::test
