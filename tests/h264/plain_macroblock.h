// What the tests of reconstruction share: random coefficients and scaling of a macroblock, and its residual
// added one number at a time. T is the type of the samples.
#pragma once

#include "h264/plain_residual.h"
#include "support/plane.h"
#include "support/random.h"

#include <kelvcpx/types.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <type_traits>
#include <vector>

namespace kelvcpx::test {

// Edge flags: neighbouring macroblocks that are missing.
constexpr uint8_t noLeft = 0x01;
constexpr uint8_t noTop = 0x04;
constexpr uint8_t noTopLeft = 0x10;
constexpr uint8_t noTopRight = 0x20;

template <class T>
using CoefficientOf = std::conditional_t<std::is_same_v<T, uint8_t>, int16_t, int32_t>;
template <class T>
constexpr int coefficientBits = 8 * sizeof(CoefficientOf<T>);

template <class T>
int randomBitDepth(Random& random)
{
    return std::is_same_v<T, uint8_t> ? 8 : random.extreme<int>(8, 14);
}

template <class T>
Plane<T> randomPlane(Random& random, int width, int height, int bitDepth)
{
    Plane<T> plane(width, height);
    plane.randomise(random, 0, (1 << bitDepth) - 1);
    return plane;
}

// Coefficients for one block, of any magnitude from none at all to more than an encoder would send.
template <class Coefficient>
std::vector<Coefficient> randomBlock(Random& random, std::size_t size)
{
    std::vector<Coefficient> block(size, 0);
    const int64_t most = (int64_t{1} << random.uniform<int>(1, 8 * sizeof(Coefficient) - 1)) - 1;
    const auto coefficient = [&] { return random.extreme<Coefficient>(-most - 1, most); };
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

// Packed coefficients, and what is expected to be left of them.
template <class Coefficient>
class Packed
{
public:
    std::vector<Coefficient> add(Random& random, std::size_t size)
    {
        const std::vector<Coefficient> block = randomBlock<Coefficient>(random, size);
        all_.insert(all_.end(), block.begin(), block.end());
        return block;
    }

    // Calls the operation with a copy of the coefficients and expects it to consume all of them, or none.
    template <class Operation>
    Status consume(Operation operation, bool moves = true)
    {
        std::vector<Coefficient> copy = all_;
        copy.push_back(1); // there is always a pointer
        Coefficient* next = copy.data();
        const Status status = operation(&next);
        EXPECT_EQ(next - copy.data(), moves ? static_cast<std::ptrdiff_t>(all_.size()) : 0);
        return status;
    }

private:
    std::vector<Coefficient> all_;
};

// How the blocks of one component are scaled.
struct Rule {
    int qp;
    std::vector<int16_t> scales; // of the caller, or the default
    bool lossless;
};

inline Rule randomRule(Random& random, int n, bool levelScales, int largestQp, bool bypass)
{
    const int qp = random.oneIn(4) ? 0 : random.extreme<int>(0, largestQp);
    return {qp, levelScales ? randomScales(random, n, qp) : plainFlatScales(n, qp),
            levelScales && bypass && qp == 0};
}

template <class T>
void addToPlane(Plane<T>& plane, int x0, int y0, const Block& residual, int bitDepth)
{
    const int n = residual.size() == 16 ? 4 : 8;
    const int64_t largest = (1 << bitDepth) - 1;
    for (int k = 0; k < n * n; k++) {
        T& sample = plane.at(x0 + k % n, y0 + k / n);
        const int64_t limited = std::clamp(residual[static_cast<std::size_t>(k)], -largest, largest);
        sample = static_cast<T>(std::clamp<int64_t>(sample + limited, 0, largest));
    }
}

// A block; its DC is scaled with the others, or comes from elsewhere.
template <class T>
void addBlock(Plane<T>& plane, int x0, int y0, const std::vector<CoefficientOf<T>>& coefficients,
              const Rule& rule, int bitDepth, const int64_t* dc = nullptr)
{
    constexpr int bits = coefficientBits<T>;
    Block d(coefficients.begin(), coefficients.end());
    if (!rule.lossless)
        for (std::size_t k = 0; k < d.size(); k++)
            d[k] = plainScale(d[k], rule.scales[k], rule.qp, d.size() == 16 ? 4 : 6, bits);
    if (dc != nullptr)
        d[0] = *dc;
    addToPlane(plane, x0, y0, rule.lossless ? d : plainTransform(d, bits), bitDepth);
}

// Whether a mode needs a missing neighbour: vertical, horizontal, DC, plane.
inline bool isRefused(uint32_t mode, uint8_t edgeFlags)
{
    return (mode == 0 && (edgeFlags & noTop) != 0) || (mode == 1 && (edgeFlags & noLeft) != 0) ||
           (mode == 3 && (edgeFlags & (noTop | noLeft | noTopLeft)) != 0);
}

} // namespace kelvcpx::test
