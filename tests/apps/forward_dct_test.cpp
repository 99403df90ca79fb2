// The forward DCT of the encoders against its formula (ISO/IEC 13818-2 Annex A).
#include "common/forward_dct.h"

#include "support/random.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <numbers>

namespace kelvcpx::test {
namespace {

constexpr std::size_t rowLength = 11; // elements between rows of the block

double coefficient(const std::array<int16_t, 8 * rowLength>& block, std::size_t u, std::size_t v)
{
    const auto basis = [](std::size_t x, std::size_t frequency) {
        return (frequency == 0 ? std::sqrt(0.5) : 1) / 2 *
               std::cos(static_cast<double>((2 * x + 1) * frequency) * std::numbers::pi / 16);
    };
    double sum = 0;
    for (std::size_t y = 0; y < 8; y++)
        for (std::size_t x = 0; x < 8; x++)
            sum += block[rowLength * y + x] * basis(x, u) * basis(y, v);
    return sum;
}

} // namespace

TEST(ForwardDct, IsTheFormulaRounded)
{
    Random random(1);
    for (const int range : {1, 20, 255, 4095}) {
        for (int trial = 0; trial < 200; trial++) {
            std::array<int16_t, 8 * rowLength> block;
            for (int16_t& element : block)
                element = trial % 2 == 0 ? random.uniform<int16_t>(-range, range)
                                         : static_cast<int16_t>(random.oneIn(2) ? range : -range);
            std::array<int16_t, 64> raster;
            std::array<int16_t, 64> transposed;
            app::forwardDct(block.data(), rowLength * sizeof(int16_t), raster);
            app::forwardDctTransposed(block.data(), rowLength * sizeof(int16_t), transposed);
            const double allowed = 0.5 + 1e-6 * range;
            for (std::size_t v = 0; v < 8; v++)
                for (std::size_t u = 0; u < 8; u++) {
                    ASSERT_NEAR(raster[8 * v + u], coefficient(block, u, v), allowed);
                    ASSERT_EQ(raster[8 * v + u], transposed[8 * u + v]);
                }
        }
    }
}

} // namespace kelvcpx::test
