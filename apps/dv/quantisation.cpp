#include "dv/quantisation.h"

#include <kelvcpx/dv.h>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace kelvcpx::app::dv {
namespace {

constexpr std::array<uint8_t, 64> scan88 = {0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,
                                            12, 19, 26, 33, 40, 48, 41, 34, 27, 20, 13, 6,  7,  14, 21, 28,
                                            35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23, 30, 37, 44, 51,
                                            58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};
constexpr std::array<uint8_t, 64> scan248 = {0,  32, 1, 33, 8,  40, 2,  34, 9,  41, 16, 48, 24, 56, 17, 49,
                                             10, 42, 3, 35, 4,  36, 11, 43, 18, 50, 25, 57, 26, 58, 19, 51,
                                             12, 44, 5, 37, 6,  38, 13, 45, 20, 52, 27, 59, 28, 60, 21, 53,
                                             14, 46, 7, 39, 15, 47, 22, 54, 29, 61, 30, 62, 23, 55, 31, 63};

// The inverse DCT of 8x8 blocks takes them transposed.
constexpr uint8_t transposedIndex(uint8_t index)
{
    return static_cast<uint8_t>(index % 8 * 8 + index / 8);
}

std::size_t scanIndex(std::size_t mode, std::size_t position)
{
    return mode == 0 ? transposedIndex(scan88[position]) : scan248[position];
}

// The step of an area is two to the power of this, by quantisation number and the offset of the class; beyond
// the end it is one.
constexpr std::array<std::array<uint8_t, 4>, 15> shifts = {{{3, 3, 4, 4},
                                                            {3, 3, 4, 4},
                                                            {2, 3, 3, 4},
                                                            {2, 3, 3, 4},
                                                            {2, 2, 3, 3},
                                                            {2, 2, 3, 3},
                                                            {1, 2, 2, 3},
                                                            {1, 2, 2, 3},
                                                            {1, 1, 2, 2},
                                                            {1, 1, 2, 2},
                                                            {0, 1, 1, 2},
                                                            {0, 1, 1, 2},
                                                            {0, 0, 1, 1},
                                                            {0, 0, 1, 1},
                                                            {0, 0, 0, 1}}};
constexpr std::array<std::size_t, 4> classOffsets = {6, 3, 0, 1};

// The last positions of the areas in the order of transmission.
constexpr std::array<std::size_t, 4> areaEnds = {5, 20, 42, 63};

int stepOf(std::size_t classNumber, std::size_t quantisation, std::size_t position)
{
    const std::size_t row = quantisation + classOffsets[classNumber];
    const auto area = std::lower_bound(areaEnds.begin(), areaEnds.end(), position) - areaEnds.begin();
    const int shift = row < shifts.size() ? shifts[row][static_cast<std::size_t>(area)] : 0;
    const int initialScaling = classNumber == 3 ? 1 : 0;
    return 1 << (shift + initialScaling);
}

double w(int k)
{
    const auto CS = [](int m) { return std::cos(m * std::numbers::pi / 16); };
    const double values[] = {1,
                             CS(4) / (4 * CS(7) * CS(2)),
                             CS(4) / (2 * CS(6)),
                             1 / (2 * CS(5)),
                             7.0 / 8,
                             CS(4) / CS(3),
                             CS(4) / CS(2),
                             CS(4) / CS(1)};
    return values[k];
}

// The weight of an AC coefficient by its raster index.
double weightOf(std::size_t mode, int index)
{
    const int h = index % 8;
    const int v = index / 8;
    return w(h) * w(mode == 0 ? v : 2 * (v % 4)) / 2;
}

constexpr std::array<uint8_t, 16> steps100 = {1, 1, 2, 3, 4, 5, 6, 7, 8, 16, 18, 20, 22, 24, 28, 52};

using Divisors = std::array<uint16_t, 64>; // in the order of transmission

constexpr Divisors luma1080 = {16, 16, 16, 17, 17, 17, 18,  18, 18, 18,  18,  18,  19,  18,  18,  19,
                               19, 19, 19, 19, 19, 42, 38,  40, 40, 40,  38,  42,  44,  43,  41,  41,
                               41, 41, 43, 44, 45, 45, 42,  42, 42, 45,  45,  48,  46,  43,  43,  46,
                               48, 49, 48, 44, 48, 49, 101, 98, 98, 101, 104, 109, 104, 116, 116, 123};
constexpr Divisors chroma1080 = {
    16, 16, 16, 17, 17, 17,  25,  25,  25,  25,  26,  25,  26,  25,  26,  26,  26,  27,  27,  26, 26, 42,
    38, 40, 40, 40, 38, 42,  44,  43,  41,  41,  41,  41,  43,  44,  91,  91,  84,  84,  84,  91, 91, 96,
    93, 86, 86, 93, 96, 197, 191, 177, 191, 197, 203, 197, 197, 203, 209, 219, 209, 232, 232, 246};
constexpr Divisors luma720 = {16, 16, 16, 17, 17, 17, 18,  18,  18,  18,  18,  18,  19,  18,  18,  19,
                              19, 19, 19, 19, 19, 42, 38,  40,  40,  40,  38,  42,  44,  43,  41,  41,
                              41, 41, 43, 44, 68, 68, 63,  63,  63,  68,  68,  96,  92,  86,  86,  92,
                              96, 98, 96, 88, 96, 98, 202, 196, 196, 202, 208, 218, 208, 232, 232, 246};
// The entry of position 45 is that of position 46, its mirror image, as everywhere else in these tables.
constexpr Divisors chroma720 = {16,  24,  24,  26,  26,  26,  36,  36,  36,  36,  36,  36,  38,
                                36,  36,  38,  38,  38,  38,  38,  38,  84,  76,  80,  80,  80,
                                76,  84,  88,  86,  82,  82,  82,  82,  86,  88,  182, 182, 168,
                                168, 168, 182, 182, 192, 186, 172, 172, 186, 192, 394, 382, 354,
                                382, 394, 406, 394, 394, 406, 418, 438, 418, 464, 464, 492};

int16_t rounded(double value)
{
    return static_cast<int16_t>(std::lround(value));
}

// Of the DC: the product of quantiser and weight, for keliQuantWeightBlockInv_DV_16s_C1I(), and the single
// factor.
constexpr int16_t dcWeight = 1 << 14;
constexpr int16_t dcFactor = 1 << 9;

} // namespace

Dequantiser::Dequantiser(const System& system) : isHd_(system.isHd())
{
    if (isHd_)
        prepareHd(system.height == 720);
    else
        prepareSd();
}

void Dequantiser::prepareSd()
{
    for (std::size_t mode = 0; mode < 2; mode++) {
        for (std::size_t p = 0; p < 64; p++) {
            const std::size_t index = scanIndex(mode, p);
            scans_[64 * mode + p] = static_cast<uint32_t>(index);
            const double inverse = 1 / weightOf(mode, mode == 0 ? scan88[p] : scan248[p]);
            weights_[mode][index] = p == 0 ? dcWeight : rounded(8192 * inverse);
            for (std::size_t c = 0; c < 4; c++) {
                for (std::size_t q = 0; q < 16; q++) {
                    const int step = stepOf(c, q, p);
                    steps_[mode][c][q][index] = static_cast<int16_t>(p == 0 ? 1 : step);
                    factors_[mode][c][q][index] = p == 0 ? dcFactor : rounded(256 * step * inverse);
                }
            }
        }
    }
}

void Dequantiser::prepareHd(bool is720)
{
    const Divisors* const divisors[] = {is720 ? &luma720 : &luma1080, is720 ? &chroma720 : &chroma1080};
    for (std::size_t p = 0; p < 64; p++) {
        const std::size_t index = scanIndex(0, p);
        scans_[p] = static_cast<uint32_t>(index);
        for (std::size_t chroma = 0; chroma < 2; chroma++) {
            // A coefficient is level * step * 2^class * divisor / 32.
            const int divisor = (*divisors[chroma])[p];
            weights_[chroma][index] = p == 0 ? dcWeight : static_cast<int16_t>(32 * divisor);
            for (std::size_t c = 0; c < 4; c++)
                for (std::size_t q = 0; q < 16; q++)
                    steps_[chroma][c][q][index] = static_cast<int16_t>(p == 0 ? 1 : 8 * steps100[q] << c);
        }
    }
}

void Dequantiser::dequantise(int16_t* block, BlockInfo info, bool isChroma) const
{
    const std::size_t kind = isHd_ ? isChroma : info.mode();
    keliQuantWeightBlockInv_DV_16s_C1I(block, steps_[kind][info.classNumber()][info.quantisation()].data(),
                                       weights_[kind].data());
}

void Dequantiser::dequantiseRoughly(int16_t* block, BlockInfo info, bool isChroma) const
{
    if (isHd_)
        dequantise(block, info, isChroma); // the steps are too large for a single factor
    else
        keliQuantInv_DV_16s_C1I(block, factors_[info.mode()][info.classNumber()][info.quantisation()].data());
}

} // namespace kelvcpx::app::dv
