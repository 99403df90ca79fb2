#include "h263/block_stream.h"
#include "support/arguments.h"
#include "support/random.h"

#include <kelvcpx/h263.h>

#include <algorithm>

namespace kelvcpx::test {
namespace {

struct Mode {
    bool intra;
    bool advanced;
    bool modQuant;
};

constexpr Mode modes[] = {{false, false, false}, {false, false, true}, {true, false, false},
                          {true, false, true},   {true, true, false},  {true, true, true}};

// Coefficients of 12 bits, and others.
Block randomBlock(Random& random)
{
    const int range = random.oneIn(4) ? 32767 : random.oneIn(2) ? 2047 : 100;
    Block block;
    for (int16_t& value : block)
        value = random.extreme<int16_t>(-range - 1, range);
    return block;
}

// A magnitude that is moved by `bias` and divided by 2 QP with the reciprocal.
int64_t quotient(int64_t coefficient, int64_t bias, int64_t QP)
{
    const int64_t magnitude = std::abs(coefficient) + bias;
    const int64_t level = magnitude < 2 * QP ? 0 : magnitude * (65536 / (2 * QP) + 1) / 65536;
    return coefficient < 0 ? -level : level;
}

Block plainLevels(const Mode& mode, const Block& block, int QP)
{
    const int bias = mode.advanced ? 3 * QP / 4 : mode.intra ? 0 : -(QP / 2);
    const bool clip = !mode.modQuant && (mode.advanced || QP < 8);
    Block levels;
    for (std::size_t i = 0; i < 64; i++) {
        const int64_t level = quotient(block[i], bias, QP);
        levels[i] = static_cast<int16_t>(clip ? std::clamp<int64_t>(level, -127, 127) : level);
    }
    if (mode.intra && !mode.advanced) {
        const int dc = (block[0] + 4) >> 3;
        levels[0] = static_cast<int16_t>(dc == 0 ? 1 : dc == 255 ? 254 : dc);
    }
    return levels;
}

TEST(H263Quantisation, DividesCoefficients)
{
    Random random(53);
    for (int round = 0; round < 4000; round++)
        for (const Mode& mode : modes) {
            const int QP = random.uniform(1, 31);
            Block block = randomBlock(random);
            const Block expected = plainLevels(mode, block, QP);
            int32_t count = -1;
            ASSERT_EQ(mode.intra ? keliQuantIntra_H263_16s_C1I(block.data(), QP, &count, mode.advanced,
                                                               mode.modQuant)
                                 : keliQuantInter_H263_16s_C1I(block.data(), QP, &count, mode.modQuant),
                      StatusOk);
            ASSERT_EQ(block, expected) << QP;
            const bool separateDc = mode.intra && !mode.advanced;
            const auto zeros = std::count(expected.begin() + (separateDc ? 1 : 0), expected.end(), 0);
            ASSERT_EQ(count, 64 - zeros);
        }
}

// ITU-T H.263 6.2.1, I.3, T.4.
int plainCoefficient(const Mode& mode, int level, int QP)
{
    if (mode.advanced)
        return 2 * QP * level;
    const int magnitude = QP * (2 * std::abs(level) + 1) - (QP % 2 == 0 ? 1 : 0);
    const int value = level == 0 ? 0 : level < 0 ? -magnitude : magnitude;
    return mode.modQuant ? value : std::clamp(value, -2048, 2047);
}

TEST(H263Quantisation, InverseMultipliesTheLevelsUpToTheLast)
{
    Random random(54);
    for (int round = 0; round < 4000; round++)
        for (const Mode& mode : modes) {
            const int QP = random.uniform(1, 31);
            const int last = random.extreme(0, 63);
            Block block = randomBlock(random);
            Block expected = block;
            for (std::size_t i = 0; i <= static_cast<std::size_t>(last); i++)
                expected[i] = static_cast<int16_t>(plainCoefficient(mode, block[i], QP));
            if (mode.intra && !mode.advanced)
                expected[0] = static_cast<int16_t>(8 * block[0]);
            ASSERT_EQ(mode.intra ? keliQuantInvIntra_H263_16s_C1I(block.data(), last, QP, mode.advanced,
                                                                  mode.modQuant)
                                 : keliQuantInvInter_H263_16s_C1I(block.data(), last, QP, mode.modQuant),
                      StatusOk);
            ASSERT_EQ(block, expected) << QP << ' ' << last;
        }
}

TEST(H263Quantisation, RefusesBadArguments)
{
    Block block{};
    int16_t* const b = block.data();
    int32_t count = 0;
    expectNullPointersRefused(keliQuantIntra_H263_16s_C1I, {}, b, 1, &count, 0, 0);
    expectNullPointersRefused(keliQuantInter_H263_16s_C1I, {}, b, 1, &count, 0);
    expectNullPointersRefused(keliQuantInvIntra_H263_16s_C1I, {}, b, 63, 1, 0, 0);
    expectNullPointersRefused(keliQuantInvInter_H263_16s_C1I, {}, b, 63, 1, 0);
    for (const int32_t QP : {0, 32}) {
        EXPECT_EQ(keliQuantIntra_H263_16s_C1I(b, QP, &count, 0, 0), StatusBadQuantizer);
        EXPECT_EQ(keliQuantInter_H263_16s_C1I(b, QP, &count, 0), StatusBadQuantizer);
        EXPECT_EQ(keliQuantInvIntra_H263_16s_C1I(b, -1, QP, 0, 0), StatusBadQuantizer);
        EXPECT_EQ(keliQuantInvInter_H263_16s_C1I(b, -1, QP, 0), StatusBadQuantizer);
    }
    EXPECT_EQ(keliQuantInvIntra_H263_16s_C1I(b, -1, 1, 0, 0), StatusOutOfRange);
    EXPECT_EQ(keliQuantInvInter_H263_16s_C1I(b, -1, 1, 0), StatusOutOfRange);
}

} // namespace
} // namespace kelvcpx::test
