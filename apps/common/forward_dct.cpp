#include "common/forward_dct.h"

#include <array>
#include <bit>

namespace kelvcpx::app {
namespace {

// Eight rows of eight; the loops over a row become vectors.
using Row = std::array<float, 8>;
using Matrix = std::array<Row, 8>;

// cos(k * pi / 16) / 2.
constexpr float c1 = 0.490392640F;
constexpr float c2 = 0.461939766F;
constexpr float c3 = 0.415734806F;
constexpr float c4 = 0.353553391F;
constexpr float c5 = 0.277785117F;
constexpr float c6 = 0.191341716F;
constexpr float c7 = 0.097545161F;

// The one-dimensional DCT of every column: the even frequencies from the sums of the rows that mirror each
// other, the odd ones from their differences.
void transformColumns(Matrix& m)
{
    for (std::size_t x = 0; x < 8; x++) {
        const float s0 = m[0][x] + m[7][x];
        const float s1 = m[1][x] + m[6][x];
        const float s2 = m[2][x] + m[5][x];
        const float s3 = m[3][x] + m[4][x];
        const float d0 = m[0][x] - m[7][x];
        const float d1 = m[1][x] - m[6][x];
        const float d2 = m[2][x] - m[5][x];
        const float d3 = m[3][x] - m[4][x];
        m[0][x] = c4 * ((s0 + s3) + (s1 + s2));
        m[4][x] = c4 * ((s0 + s3) - (s1 + s2));
        m[2][x] = c2 * (s0 - s3) + c6 * (s1 - s2);
        m[6][x] = c6 * (s0 - s3) - c2 * (s1 - s2);
        m[1][x] = c1 * d0 + c3 * d1 + c5 * d2 + c7 * d3;
        m[3][x] = c3 * d0 - c7 * d1 - c1 * d2 - c5 * d3;
        m[5][x] = c5 * d0 - c1 * d1 + c7 * d2 + c3 * d3;
        m[7][x] = c7 * d0 - c5 * d1 + c3 * d2 - c1 * d3;
    }
}

Matrix transpose(const Matrix& m)
{
    Matrix result;
    for (std::size_t y = 0; y < 8; y++)
        for (std::size_t x = 0; x < 8; x++)
            result[x][y] = m[y][x];
    return result;
}

// The nearest whole number: adding 1.5 * 2^23 leaves it in the low bits of the fraction.
int16_t rounded(float value)
{
    return static_cast<int16_t>(std::bit_cast<uint32_t>(value + 12582912.0F));
}

Matrix transformTransposed(const int16_t* block, std::ptrdiff_t step)
{
    Matrix m;
    for (Row& row : m) {
        for (std::size_t x = 0; x < 8; x++)
            row[x] = static_cast<float>(block[x]);
        block += step / static_cast<std::ptrdiff_t>(sizeof(int16_t));
    }
    transformColumns(m);
    m = transpose(m);
    transformColumns(m);
    return m;
}

void store(const Matrix& m, std::span<int16_t, 64> coefficients)
{
    for (std::size_t y = 0; y < 8; y++)
        for (std::size_t x = 0; x < 8; x++)
            coefficients[8 * y + x] = rounded(m[y][x]);
}

} // namespace

void forwardDct(const int16_t* block, std::ptrdiff_t step, std::span<int16_t, 64> coefficients)
{
    store(transpose(transformTransposed(block, step)), coefficients);
}

void forwardDctTransposed(const int16_t* block, std::ptrdiff_t step, std::span<int16_t, 64> coefficients)
{
    store(transformTransposed(block, step), coefficients);
}

} // namespace kelvcpx::app
