// PB-frames, which no encoder or decoder at hand knows, against the formulas of ITU-T H.263 Annex G.
#include "apps/support/encode.h"
#include "apps/support/frames.h"
#include "support/random.h"

#include "common/code_writer.h"
#include "h263/code_tables.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <vector>

namespace kelvcpx::test {
namespace {

using app::h263::codeRows;

constexpr int width = 176;
constexpr int height = 144;
constexpr int interval = 5;  // TRD
constexpr int bInterval = 2; // TRB

struct Vector {
    int x;
    int y;
};

// Of one macroblock: the difference of its B-vectors.
using Deltas = std::vector<Vector>;

// A predicted picture whose macroblocks all have the vector, no coefficients, and B-blocks.
std::vector<uint8_t> pbFrame(Vector vector, const Deltas& deltas)
{
    app::CodeWriter writer;
    writer.put(0b100000, 22);
    writer.put(interval, 8);
    writer.put("1000001010001"); // PTYPE: QCIF, predicted, PB-frame
    writer.put(7, 5);            // PQUANT
    writer.put(0, 1);            // CPM
    writer.put(bInterval, 3);
    writer.put(1, 2); // DBQUANT
    writer.put(0, 1); // PEI
    bool first = true;
    for (const Vector& delta : deltas) {
        const bool hasDelta = delta.x != 0 || delta.y != 0;
        writer.put(0, 1); // COD
        writer.put(codeRows.mcbpcInter, 0);
        writer.put(codeRows.modb, hasDelta ? 1 : 0);
        writer.put(codeRows.cbpy, 15);
        // The predictor is the vector itself, but for the first macroblock.
        writer.put(codeRows.mvd, first ? vector.x : 0);
        writer.put(codeRows.mvd, first ? vector.y : 0);
        if (hasDelta) {
            writer.put(codeRows.mvd, delta.x);
            writer.put(codeRows.mvd, delta.y);
        }
        first = false;
    }
    return writer.take();
}

struct PlainPlane {
    const std::vector<uint8_t>& samples;
    int width;
    int height;

    int at(int x, int y) const
    {
        return samples[static_cast<std::size_t>(std::clamp(y, 0, height - 1) * width +
                                                std::clamp(x, 0, width - 1))];
    }

    // 6.1.2, at half samples.
    int interpolated(int x, int y) const
    {
        const int a = at(x >> 1, y >> 1), b = at((x + 1) >> 1, y >> 1);
        const int c = at(x >> 1, (y + 1) >> 1), d = at((x + 1) >> 1, (y + 1) >> 1);
        if ((x & 1) != 0 && (y & 1) != 0)
            return (a + b + c + d + 2) / 4;
        return (x & 1) != 0 ? (a + b + 1) / 2 : (y & 1) != 0 ? (a + c + 1) / 2 : a;
    }
};

int chroma(int luma) // 6.1.1: quarters become halves
{
    const int quarters = luma & 3;
    return 2 * ((luma - quarters) / 4) + (quarters != 0 ? 1 : 0);
}

int forwardOf(int vector, int delta)
{
    return bInterval * vector / interval + delta;
}

int backwardOf(int vector, int delta)
{
    return delta == 0 ? (bInterval - interval) * vector / interval : forwardOf(vector, delta) - vector;
}

std::array<std::vector<uint8_t>, 3> plainPredicted(const Frame& reference, Vector vector)
{
    std::array<std::vector<uint8_t>, 3> planes = reference.planes;
    for (std::size_t p = 0; p < 3; p++) {
        const int scale = p == 0 ? 1 : 2;
        const Vector v = p == 0 ? vector : Vector{chroma(vector.x), chroma(vector.y)};
        const PlainPlane from{reference.planes[p], width / scale, height / scale};
        for (int y = 0; y < from.height; y++)
            for (int x = 0; x < from.width; x++)
                planes[p][static_cast<std::size_t>(y * from.width + x)] =
                    static_cast<uint8_t>(from.interpolated(2 * x + v.x, 2 * y + v.y));
    }
    return planes;
}

// G.5: the backward prediction takes part where its samples lie within the macroblock.
std::array<std::vector<uint8_t>, 3> plainB(const Frame& reference, const Frame& predicted, Vector vector,
                                           const Deltas& deltas)
{
    std::array<std::vector<uint8_t>, 3> planes = reference.planes;
    for (std::size_t p = 0; p < 3; p++) {
        const int scale = p == 0 ? 1 : 2;
        const int size = 16 / scale;
        const PlainPlane before{reference.planes[p], width / scale, height / scale};
        const PlainPlane behind{predicted.planes[p], width / scale, height / scale};
        for (int y = 0; y < before.height; y++)
            for (int x = 0; x < before.width; x++) {
                const Vector delta = deltas[static_cast<std::size_t>(y / size * (width / 16) + x / size)];
                Vector f = {forwardOf(vector.x, delta.x), forwardOf(vector.y, delta.y)};
                Vector b = {backwardOf(vector.x, delta.x), backwardOf(vector.y, delta.y)};
                if (p > 0) {
                    f = {chroma(f.x), chroma(f.y)};
                    b = {chroma(b.x), chroma(b.y)};
                }
                int sample = before.interpolated(2 * x + f.x, 2 * y + f.y);
                const auto within = [&](int place, int component) {
                    const int at = 2 * (place % size) + component;
                    return at >= 0 && at <= 2 * (size - 1);
                };
                if (within(x, b.x) && within(y, b.y))
                    sample = (sample + behind.interpolated(2 * x + b.x, 2 * y + b.y)) / 2;
                planes[p][static_cast<std::size_t>(y * before.width + x)] = static_cast<uint8_t>(sample);
            }
    }
    return planes;
}

Frame randomPicture(Random& random)
{
    Frame frame;
    frame.format.width = width;
    frame.format.height = height;
    frame.planes[0].resize(width * height);
    frame.planes[1].resize(width * height / 4);
    frame.planes[2].resize(width * height / 4);
    for (auto& plane : frame.planes)
        for (uint8_t& sample : plane)
            sample = random.uniform<uint8_t>(0, 255);
    return frame;
}

TEST(H263PbFrames, FollowTheFormulas)
{
    Random random(56);
    for (int round = 0; round < 12; round++) {
        const std::vector<Frame> pictures = {randomPicture(random)};
        const EncodedVideo intra = encodeInProcess("h263", pictures, {.qp = 10});
        const Vector vector = {random.extreme(-32, 31), random.extreme(-32, 31)};
        Deltas deltas(width / 16 * height / 16);
        for (Vector& delta : deltas)
            if (random.oneIn(3))
                delta = {random.uniform(-8, 8), random.uniform(-8, 8)};
        std::vector<uint8_t> bytes = intra.bytes;
        const std::vector<uint8_t> second = pbFrame(vector, deltas);
        bytes.insert(bytes.end(), second.begin(), second.end());

        const DecodedStream decoded = decodeInProcess("h263", bytes);
        ASSERT_EQ(decoded.damage, std::vector<std::string>());
        ASSERT_EQ(decoded.frames.size(), 3U);
        ASSERT_EQ(decoded.frames[2].planes, plainPredicted(decoded.frames[0], vector));
        ASSERT_EQ(decoded.frames[1].planes, plainB(decoded.frames[0], decoded.frames[2], vector, deltas))
            << vector.x << ' ' << vector.y;
    }
}

} // namespace
} // namespace kelvcpx::test
