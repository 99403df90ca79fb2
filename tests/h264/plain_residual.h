// Scaling and inverse transforms as the equations of ITU-T H.264 8.5 give them, one number at a time. Scaled
// coefficients and the results of rows are cut to the bits of a coefficient, all sums to 32 bits.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace kelvcpx::test {

using Block = std::vector<int64_t>; // raster order, square

inline int64_t low16(int64_t v)
{
    return static_cast<int16_t>(v);
}

inline int64_t low32(int64_t v)
{
    return static_cast<int32_t>(v);
}

// The low bits that a coefficient has room for.
inline int64_t lowBits(int64_t v, int bits)
{
    return bits == 16 ? low16(v) : low32(v);
}

// 8.5.9: normAdjust4x4 and normAdjust8x8 times a flat weight of 16.
inline int16_t plainFlatScale(int n, int qp, int k)
{
    constexpr int adjust4x4[6][3] = {{10, 16, 13}, {11, 18, 14}, {13, 20, 16},
                                     {14, 23, 18}, {16, 25, 20}, {18, 29, 23}};
    constexpr int adjust8x8[6][6] = {{20, 18, 32, 19, 25, 24}, {22, 19, 35, 21, 28, 26},
                                     {26, 23, 42, 24, 33, 31}, {28, 25, 45, 26, 35, 33},
                                     {32, 28, 51, 30, 40, 38}, {36, 32, 58, 34, 46, 43}};
    const int i = k / n;
    const int j = k % n;
    const int m = qp % 6;
    if (n == 4)
        return static_cast<int16_t>(16 * adjust4x4[m][i % 2 == 0 && j % 2 == 0   ? 0
                                                      : i % 2 == 1 && j % 2 == 1 ? 1
                                                                                 : 2]);
    const int kind = i % 4 == 0 && j % 4 == 0                                   ? 0
                     : i % 2 == 1 && j % 2 == 1                                 ? 1
                     : i % 4 == 2 && j % 4 == 2                                 ? 2
                     : (i % 4 == 0 && j % 2 == 1) || (i % 2 == 1 && j % 4 == 0) ? 3
                     : (i % 4 == 0 && j % 4 == 2) || (i % 4 == 2 && j % 4 == 0) ? 4
                                                                                : 5;
    return static_cast<int16_t>(16 * adjust8x8[m][kind]);
}

inline std::vector<int16_t> plainFlatScales(int n, int qp)
{
    std::vector<int16_t> scales;
    for (int k = 0; k < n * n; k++)
        scales.push_back(plainFlatScale(n, qp, k));
    return scales;
}

// 8.5.12.1 (exponent 4), 8.5.13.1, 8.5.10 and 8.5.11.2 for 4:2:2 (exponent 6).
inline int64_t plainScale(int64_t c, int64_t scale, int qp, int exponent, int bits = 16)
{
    const int period = qp / 6;
    if (period >= exponent)
        return lowBits(c * scale * (1 << (period - exponent)), bits);
    return lowBits(low32(c * scale + (1 << (exponent - 1 - period))) >> (exponent - period), bits);
}

inline std::array<int64_t, 4> plainInverse4(const std::array<int64_t, 4>& d)
{
    const int64_t e0 = d[0] + d[2];
    const int64_t e1 = d[0] - d[2];
    const int64_t e2 = (d[1] >> 1) - d[3];
    const int64_t e3 = d[1] + (d[3] >> 1);
    return {e0 + e3, e1 + e2, e1 - e2, e0 - e3};
}

inline std::array<int64_t, 8> plainInverse8(const std::array<int64_t, 8>& d)
{
    const int64_t e0 = d[0] + d[4];
    const int64_t e1 = low32(-d[3] + d[5] - d[7] - (d[7] >> 1));
    const int64_t e2 = d[0] - d[4];
    const int64_t e3 = low32(d[1] + d[7] - d[3] - (d[3] >> 1));
    const int64_t e4 = (d[2] >> 1) - d[6];
    const int64_t e5 = low32(-d[1] + d[7] + d[5] + (d[5] >> 1));
    const int64_t e6 = d[2] + (d[6] >> 1);
    const int64_t e7 = low32(d[3] + d[5] + d[1] + (d[1] >> 1));
    const int64_t f0 = e0 + e6;
    const int64_t f1 = e1 + (e7 >> 2);
    const int64_t f2 = e2 + e4;
    const int64_t f3 = e3 + (e5 >> 2);
    const int64_t f4 = e2 - e4;
    const int64_t f5 = (e3 >> 2) - e5;
    const int64_t f6 = e0 - e6;
    const int64_t f7 = e7 - (e1 >> 2);
    return {f0 + f7, f2 + f5, f4 + f3, f6 + f1, f6 - f1, f4 - f3, f2 - f5, f0 - f7};
}

// The residual of scaled coefficients (8.5.12.2, 8.5.13.2).
template <std::size_t n, class Inverse>
Block plainTransform(const Block& d, Inverse inverse, int bits)
{
    Block rows(n * n);
    for (std::size_t i = 0; i < n; i++) {
        std::array<int64_t, n> line;
        for (std::size_t j = 0; j < n; j++)
            line[j] = d[n * i + j];
        line = inverse(line);
        for (std::size_t j = 0; j < n; j++)
            rows[n * i + j] = lowBits(line[j], bits);
    }
    Block residual(n * n);
    for (std::size_t j = 0; j < n; j++) {
        std::array<int64_t, n> line;
        for (std::size_t i = 0; i < n; i++)
            line[i] = rows[n * i + j];
        line = inverse(line);
        for (std::size_t i = 0; i < n; i++)
            residual[n * i + j] = low32(line[i] + 32) >> 6;
    }
    return residual;
}

inline Block plainTransform(const Block& d, int bits = 16)
{
    return d.size() == 16 ? plainTransform<4>(d, plainInverse4, bits)
                          : plainTransform<8>(d, plainInverse8, bits);
}

// 8.5.10: the matrix of +1 and -1 from both sides.
inline Block plainHadamard(const Block& c)
{
    constexpr int h[4][4] = {{1, 1, 1, 1}, {1, 1, -1, -1}, {1, -1, -1, 1}, {1, -1, 1, -1}};
    Block f(16, 0);
    for (std::size_t i = 0; i < 4; i++)
        for (std::size_t j = 0; j < 4; j++)
            for (std::size_t k = 0; k < 4; k++)
                for (std::size_t l = 0; l < 4; l++)
                    f[4 * i + j] += h[i][k] * c[4 * k + l] * h[l][j];
    return f;
}

} // namespace kelvcpx::test
