#include "block/operand.h"
#include "support/arguments.h"
#include "support/plane.h"
#include "support/random.h"

#include <kelvcpx/mpeg4_postfilter.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>

namespace kelvcpx::test {
namespace {

using Line = std::array<int, 10>;

enum Mode { unchanged, smoothed, corrected, modes };

// ISO/IEC 14496-2 Annex F.3.1.
Mode deblock(Line& s, int qp, int thr1, int thr2)
{
    const Line v = s;
    int equal = 0;
    for (std::size_t i = 0; i < 9; i++)
        equal += std::abs(v[i] - v[i + 1]) <= thr1;
    if (equal >= thr2) {
        const auto [low, high] = std::minmax_element(v.begin() + 1, v.end() - 1);
        if (*high - *low >= 2 * qp)
            return unchanged;
        const auto at = [&](int i) {
            if (i < 1)
                return std::abs(v[1] - v[0]) < qp ? v[0] : v[1];
            if (i > 8)
                return std::abs(v[8] - v[9]) < qp ? v[9] : v[8];
            return v[static_cast<std::size_t>(i)];
        };
        constexpr std::array b = {1, 1, 2, 2, 4, 2, 2, 1, 1};
        for (int n = 1; n <= 8; n++) {
            int sum = 8;
            for (int k = -4; k <= 4; k++)
                sum += b[static_cast<std::size_t>(k + 4)] * at(n + k);
            s[static_cast<std::size_t>(n)] = sum >> 4;
        }
        return smoothed;
    }
    const auto divide = [](int x) { return static_cast<int>(std::lround(x / 8.0)); };
    const auto a = [&](std::size_t i) {
        return divide(2 * v[i] - 5 * v[i + 1] + 5 * v[i + 2] - 2 * v[i + 3]);
    };
    const int a0 = a(3);
    const int least = std::min({std::abs(a0), std::abs(a(1)), std::abs(a(5))});
    if (std::abs(a0) >= qp)
        return unchanged;
    const int half = (v[4] - v[5]) / 2;
    const int d =
        std::clamp(divide(5 * ((a0 < 0 ? -least : least) - a0)), std::min(0, half), std::max(0, half));
    s[4] -= d;
    s[5] += d;
    return d != 0 ? corrected : unchanged;
}

// Samples as they are near an edge: a step, and noise of some strength on it.
uint8_t nearEdge(Random& random, int base, int step, int noise)
{
    return static_cast<uint8_t>(std::clamp(base + step + random.uniform<int>(-noise, noise), 0, 255));
}

TEST(Deblocking, FollowsTheFormula)
{
    Random random(1);
    std::array<int, modes> seen{};
    for (int i = 0; i < 20000; i++) {
        const int qp = random.uniform<int>(1, 31);
        const int thr1 = random.oneIn(2) ? 2 : random.extreme<int>(-300, 300);
        const int thr2 = random.oneIn(2) ? 6 : random.extreme<int>(-2, 12);
        const int noise = random.oneIn(8) ? 255 : random.uniform<int>(0, 12);
        const int base = random.extreme<int>(0, 255);
        const int step = random.uniform<int>(-40, 40);
        const bool horizontal = random.oneIn(2);
        Plane<uint8_t> plane(horizontal ? 8 : 10, horizontal ? 10 : 8);
        plane.randomise(random);
        Plane<uint8_t> expected = plane;
        for (int line = 0; line < 8; line++) {
            Line s;
            const auto at = [&](Plane<uint8_t>& p, int k) -> uint8_t& {
                return horizontal ? p.at(line, k) : p.at(k, line);
            };
            for (int k = 0; k < 10; k++) {
                at(plane, k) = nearEdge(random, base, k < 5 ? 0 : step, noise);
                s[static_cast<std::size_t>(k)] = at(plane, k);
            }
            seen[deblock(s, qp, thr1, thr2)]++;
            for (int k = 0; k < 10; k++)
                at(expected, k) = static_cast<uint8_t>(s[static_cast<std::size_t>(k)]);
        }
        const auto filter = horizontal ? keliFilterDeblocking8x8HorEdge_MPEG4_8u_C1IR
                                       : keliFilterDeblocking8x8VerEdge_MPEG4_8u_C1IR;
        EXPECT_EQ(filter(horizontal ? &plane.at(0, 5) : &plane.at(5, 0), plane.step(), qp, thr1, thr2),
                  StatusOk);
        ASSERT_EQ(plane, expected) << "QP " << qp << ", thresholds " << thr1 << ", " << thr2;
    }
    for (const int count : seen)
        EXPECT_GT(count, 10000);
}

TEST(DeringingThreshold, FollowsTheFormula)
{
    Random random(2);
    std::array<int, 3> seen{};
    for (int i = 0; i < 20000; i++) {
        Operand<uint8_t> y(random, 16, 16), cb(random, 8, 8), cr(random, 8, 8);
        std::array<int, 6> thresholds;
        std::array<int, 6> ranges;
        for (std::size_t b = 0; b < 6; b++) {
            Operand<uint8_t>& plane = b < 4 ? y : b == 4 ? cb : cr;
            const int low = random.uniform<int>(0, 255);
            // Often ranges about those that decide.
            const int range = random.oneIn(2) ? random.uniform<int>(0, 18) : random.uniform<int>(28, 70);
            const int high = std::min(255, low + range);
            int smallest = 255;
            int largest = 0;
            for (int k = 0; k < 64; k++) {
                const int x = k % 8 + (b < 4 && b % 2 == 1 ? 8 : 0);
                plane.set(x, k / 8 + (b == 2 || b == 3 ? 8 : 0), random.extreme<uint8_t>(low, high));
                const int sample = plane.at(x, k / 8 + (b == 2 || b == 3 ? 8 : 0));
                smallest = std::min(smallest, sample);
                largest = std::max(largest, sample);
            }
            thresholds[b] = (largest + smallest + 1) / 2;
            ranges[b] = largest - smallest;
        }
        const auto strongest =
            static_cast<std::size_t>(std::max_element(ranges.begin(), ranges.begin() + 4) - ranges.begin());
        seen[ranges[strongest] < 16 ? 0 : ranges[strongest] < 64 ? 1 : 2]++;
        for (std::size_t b = 0; b < 4; b++)
            if (ranges[strongest] < 16)
                thresholds[b] = 0;
            else if (ranges[strongest] >= 64 && ranges[b] < 32)
                thresholds[b] = thresholds[strongest];
        std::array<int32_t, 7> result{};
        EXPECT_EQ(keliFilterDeringingThreshold_MPEG4_8u_P3R(y.data(), y.step(), cb.data(), cb.step(),
                                                            cr.data(), cr.step(), result.data()),
                  StatusOk);
        for (std::size_t b = 0; b < 6; b++)
            ASSERT_EQ(result[b], thresholds[b]) << "block " << b;
        ASSERT_EQ(result[6], 0);
    }
    for (const int count : seen)
        EXPECT_GT(count, 500);
}

TEST(DeringingSmooth, FollowsTheFormula)
{
    Random random(3);
    int filteredSamples = 0;
    for (int i = 0; i < 20000; i++) {
        const int qp = random.uniform<int>(1, 31);
        const int base = random.uniform<int>(0, 255);
        const int noise = random.oneIn(8) ? 255 : random.uniform<int>(0, 30);
        const int threshold = random.oneIn(4) ? random.extreme<int>(-2, 258) : base;
        // A copy needs no samples round the block.
        const int border = qp > 1;
        Operand<uint8_t> src(random, 8 + 2 * border, 8 + 2 * border);
        for (int k = 0; k < (8 + 2 * border) * (8 + 2 * border); k++)
            src.set(k % (8 + 2 * border), k / (8 + 2 * border), nearEdge(random, base, 0, noise));
        Plane<uint8_t> dst(8, 8);
        dst.randomise(random);
        Plane<uint8_t> expected = dst;
        for (int y = 0; y < 8; y++)
            for (int x = 0; x < 8; x++) {
                const int centre = src.at(x + border, y + border);
                int below = 0;
                int sum = 8;
                for (int k = 0; k < 9 && qp > 1; k++) {
                    const int sample = src.at(x + k % 3, y + k / 3);
                    below += sample < threshold;
                    sum += sample * (k == 4 ? 4 : k % 2 == 1 ? 2 : 1);
                }
                const bool filtered = qp > 1 && below % 9 == 0;
                filteredSamples += filtered;
                expected.at(x, y) = static_cast<uint8_t>(
                    filtered ? std::clamp(sum >> 4, centre - (qp >> 1), centre + (qp >> 1)) : centre);
            }
        const uint8_t* const block = src.data() + border * src.step() + border;
        EXPECT_EQ(keliFilterDeringingSmooth8x8_MPEG4_8u_C1R(block, src.step(), dst.data(), dst.step(), qp,
                                                            threshold),
                  StatusOk);
        ASSERT_EQ(dst, expected) << "QP " << qp << ", threshold " << threshold;
    }
    EXPECT_GT(filteredSamples, 100000);
}

TEST(Postfilter, ChecksItsArguments)
{
    Plane<uint8_t> p(16, 16);
    std::array<int32_t, 6> thresholds;
    uint8_t* const middle = &p.at(8, 8);
    for (const auto filter :
         {keliFilterDeblocking8x8HorEdge_MPEG4_8u_C1IR, keliFilterDeblocking8x8VerEdge_MPEG4_8u_C1IR}) {
        expectNullPointersRefused(filter, {}, middle, p.step(), 0, 2, 6);
        for (const int qp : {0, 32})
            EXPECT_EQ(filter(middle, p.step(), qp, 2, 6), StatusBadQuantizer);
    }
    expectNullPointersRefused(keliFilterDeringingThreshold_MPEG4_8u_P3R, {}, middle, 8, middle, 8, middle, 8,
                              thresholds.data());
    expectNullPointersRefused(keliFilterDeringingSmooth8x8_MPEG4_8u_C1R, {}, middle, 8, p.data(), 8, 0, 100);
    for (const int qp : {0, 32})
        EXPECT_EQ(keliFilterDeringingSmooth8x8_MPEG4_8u_C1R(middle, p.step(), p.data(), p.step(), qp, 100),
                  StatusBadQuantizer);
}

} // namespace
} // namespace kelvcpx::test
