#include "support/arguments.h"
#include "support/plane.h"

#include <kelvcpx/mpeg2.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>

namespace kelvcpx::test {
namespace {

using Block = std::array<int16_t, 64>;

// ISO/IEC 13818-2 7.4 with 7.4.3 saturation and 7.4.4 mismatch control, from levels.
Block dequantised(const Block& levels, bool intra, int64_t scale, const Block& weights)
{
    Block block = levels;
    int64_t sum = intra ? levels[0] : 0;
    for (std::size_t k = intra ? 1 : 0; k < 64; k++) {
        const int64_t level = levels[k];
        const int64_t sign = intra ? 0 : level > 0 ? 1 : level < 0 ? -1 : 0;
        block[k] = static_cast<int16_t>(
            std::clamp<int64_t>((2 * level + sign) * weights[k] * scale / 32, -2048, 2047));
        sum += block[k];
    }
    if (sum % 2 == 0)
        block[63] = static_cast<int16_t>(block[63] % 2 != 0 ? block[63] - 1 : block[63] + 1);
    return block;
}

TEST(QuantInvMpeg2, FollowsTheStandardOverItsWholeRange)
{
    Random random(20);
    Block flat;
    flat.fill(16);
    for (int round = 0; round < 2000; round++) {
        const int32_t scale = random.extreme(1, 112);
        const int32_t range = round % 3 == 0 ? 2047 : round % 3 == 1 ? 20 : 1;
        Plane<int16_t> block(64, 1);
        block.randomise(random, -range, range);
        Block levels, weights;
        std::copy_n(block.data(), 64, levels.begin());
        for (int16_t& weight : weights)
            weight = random.extreme<int16_t>(1, 255);

        const auto check = [&](Status (*operation)(int16_t*, int32_t, const int16_t*) noexcept, bool intra,
                               const int16_t* matrix) {
            Plane<int16_t> actual = block;
            Plane<int16_t> expected = block;
            const Block result = dequantised(levels, intra, scale, matrix != nullptr ? weights : flat);
            std::copy(result.begin(), result.end(), expected.data());
            ASSERT_EQ(operation(actual.data(), scale, matrix), StatusOk);
            ASSERT_EQ(actual, expected);
        };
        check(keliQuantInvIntra_MPEG2_16s_C1I, true, weights.data());
        check(keliQuantInv_MPEG2_16s_C1I, false, weights.data());
        check(keliQuantInv_MPEG2_16s_C1I, false, nullptr);
    }
}

TEST(QuantInvMpeg2, RefusesNullPointers)
{
    Block block{}, matrix{};
    expectNullPointersRefused(keliQuantInvIntra_MPEG2_16s_C1I, {}, block.data(), 2, matrix.data());
    expectNullPointersRefused(keliQuantInv_MPEG2_16s_C1I, {2}, block.data(), 2, matrix.data());
}

} // namespace
} // namespace kelvcpx::test
