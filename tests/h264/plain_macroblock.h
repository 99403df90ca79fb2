// What the tests of reconstruction share: random coefficients and scaling of a macroblock, and its residual
// added one number at a time.
#pragma once

#include "h264/plain_residual.h"
#include "support/plane.h"
#include "support/random.h"

#include <kelvcpx/types.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace kelvcpx::test {

// Edge flags: neighbouring macroblocks that are missing.
constexpr uint8_t noLeft = 0x01;
constexpr uint8_t noTop = 0x04;
constexpr uint8_t noTopLeft = 0x10;
constexpr uint8_t noTopRight = 0x20;

// Coefficients for one block, of any magnitude from none at all to more than an encoder would send.
inline std::vector<int16_t> randomBlock(Random& random, std::size_t size)
{
    std::vector<int16_t> block(size, 0);
    const int64_t most = (1 << random.uniform<int>(1, 15)) - 1;
    const auto coefficient = [&] { return random.extreme<int16_t>(-most - 1, most); };
    switch (random.uniform<int>(0, 3)) {
    case 0:
        break;
    case 1:
        block[0] = coefficient();
        break;
    case 2:
        for (int i = random.uniform<int>(1, 5); i > 0; i--)
            block[random.uniform<std::size_t>(0, static_cast<int64_t>(size) - 1)] = coefficient();
        break;
    default:
        std::generate(block.begin(), block.end(), coefficient);
    }
    return block;
}

// Level-scale factors: flat ones, those of a scaling matrix, or any.
inline std::vector<int16_t> randomScales(Random& random, int n, int qp)
{
    std::vector<int16_t> scales = plainFlatScales(n, qp);
    const int kind = random.uniform<int>(0, 2);
    for (int16_t& scale : scales)
        if (kind == 1)
            scale = static_cast<int16_t>(scale / 16 * random.uniform<int>(1, 255));
        else if (kind == 2)
            scale = random.extreme<int16_t>();
    return scales;
}

// The packed coefficients of a macroblock, and what is expected to be left of them.
class Packed
{
public:
    std::vector<int16_t> add(Random& random, std::size_t size)
    {
        const std::vector<int16_t> block = randomBlock(random, size);
        all_.insert(all_.end(), block.begin(), block.end());
        return block;
    }

    // Calls the operation with a copy of the coefficients and expects it to consume all of them, or none.
    template <class Operation>
    Status consume(Operation operation, bool moves = true)
    {
        std::vector<int16_t> copy = all_;
        copy.push_back(1); // there is always a pointer
        int16_t* next = copy.data();
        const Status status = operation(&next);
        EXPECT_EQ(next - copy.data(), moves ? static_cast<std::ptrdiff_t>(all_.size()) : 0);
        return status;
    }

private:
    std::vector<int16_t> all_;
};

// How the blocks of one component are scaled.
struct Rule {
    int qp;
    std::vector<int16_t> scales; // of the caller, or the default
    bool lossless;
};

inline Rule randomRule(Random& random, int n, bool high, int largestQp, bool& bypass)
{
    const int qp = random.oneIn(4) ? 0 : random.extreme<int>(0, largestQp);
    bypass = random.oneIn(3);
    return {qp, high ? randomScales(random, n, qp) : plainFlatScales(n, qp), high && bypass && qp == 0};
}

inline void addToPlane(Plane<uint8_t>& plane, int x0, int y0, const Block& residual)
{
    const int n = residual.size() == 16 ? 4 : 8;
    for (int k = 0; k < n * n; k++) {
        uint8_t& sample = plane.at(x0 + k % n, y0 + k / n);
        sample =
            static_cast<uint8_t>(std::clamp<int64_t>(sample + residual[static_cast<std::size_t>(k)], 0, 255));
    }
}

// A block; its DC is scaled with the others, or comes from elsewhere.
inline void addBlock(Plane<uint8_t>& plane, int x0, int y0, const std::vector<int16_t>& coefficients,
                     const Rule& rule, const int64_t* dc = nullptr)
{
    Block d(coefficients.begin(), coefficients.end());
    if (!rule.lossless)
        for (std::size_t k = 0; k < d.size(); k++)
            d[k] = plainScale(d[k], rule.scales[k], rule.qp, d.size() == 16 ? 4 : 6);
    if (dc != nullptr)
        d[0] = *dc;
    addToPlane(plane, x0, y0, rule.lossless ? d : plainTransform(d));
}

// Whether a mode needs a missing neighbour: vertical, horizontal, DC, plane.
inline bool isRefused(uint32_t mode, uint8_t edgeFlags)
{
    return (mode == 0 && (edgeFlags & noTop) != 0) || (mode == 1 && (edgeFlags & noLeft) != 0) ||
           (mode == 3 && (edgeFlags & (noTop | noLeft | noTopLeft)) != 0);
}

} // namespace kelvcpx::test
