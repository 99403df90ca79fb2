#include "apps/mpeg2_random_block.h"

#include "common/residual_block.h"
#include "mpeg2/code_tables.h"

#include <kelvcpx/block.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numbers>
#include <stdexcept>

namespace kelvcpx::test {
namespace {

using app::mpeg2::codeRows;

// Coefficients in the library's transposed layout, like the scan and the weights of BlockCoding.
using Coefficients = std::array<int16_t, 64>;

constexpr int greatestSum = 1500; // of coefficient magnitudes, without an intra DC: none is saturated

int sign(int value)
{
    return (value > 0) - (value < 0);
}

// 13818-2 7.4.2.3, 11172-2 2.4.4.
int dequantise(const BlockCoding& coding, int level, int weight)
{
    const int product = (2 * level + (coding.intra ? 0 : sign(level))) * coding.scale * weight;
    if (!coding.mpeg1)
        return product / 32;
    const int value = product / 16;
    return value % 2 == 0 ? value - sign(value) : value;
}

std::size_t blockIndex(const BlockCoding& coding, std::size_t position)
{
    return static_cast<std::size_t>(app::mpeg2::transposedScan(coding.scan)[position]);
}

Coefficients reconstruct(const BlockCoding& coding, const Levels& levels)
{
    Coefficients coefficients{};
    int sum = 0;
    for (std::size_t p = 0; p < 64; p++) {
        const std::size_t index = blockIndex(coding, p);
        const int value = p == 0 && coding.intra ? levels[0] << (3 - coding.dcPrecision)
                                                 : dequantise(coding, levels[p], coding.weights[index]);
        coefficients[index] = static_cast<int16_t>(value);
        sum += value;
    }
    if (!coding.mpeg1 && sum % 2 == 0) // mismatch control, 13818-2 7.4.4
        coefficients[63] = static_cast<int16_t>(coefficients[63] ^ 1);
    return coefficients;
}

bool withinBounds(const BlockCoding& coding, const Coefficients& coefficients)
{
    int sum = 0;
    for (std::size_t i = coding.intra ? 1 : 0; i < 64; i++)
        sum += std::abs(coefficients[i]);
    return sum <= greatestSum;
}

// The one-dimensional inverse DCT of elements that are `step` apart.
void idealTransform(double* elements, int step)
{
    static const auto basis = [] {
        std::array<std::array<double, 8>, 8> table;
        for (std::size_t x = 0; x < 8; x++)
            for (std::size_t u = 0; u < 8; u++)
                table[x][u] = (u == 0 ? std::sqrt(0.5) : 1) / 2 *
                              std::cos(static_cast<double>((2 * x + 1) * u) * std::numbers::pi / 16);
        return table;
    }();
    std::array<double, 8> result{};
    for (std::size_t x = 0; x < 8; x++)
        for (std::size_t u = 0; u < 8; u++)
            result[x] += basis[x][u] * elements[static_cast<int>(u) * step];
    for (std::size_t x = 0; x < 8; x++)
        elements[static_cast<int>(x) * step] = result[x];
}

// True if the library's result is the ideal one, which is not so close to a half that it would be a matter of
// luck.
bool roundsAlike(const BlockCoding& coding, const Levels& levels, const Coefficients& coefficients)
{
    std::array<double, 64> ideal;
    std::copy(coefficients.begin(), coefficients.end(), ideal.begin());
    for (int i = 0; i < 8; i++)
        idealTransform(ideal.data() + i, 8);
    for (int i = 0; i < 8; i++)
        idealTransform(ideal.data() + 8 * i, 1);

    int count = 0; // as the library's block reconstruction reports it
    for (int p = 0; p < 64; p++)
        if (levels[static_cast<std::size_t>(p)] != 0)
            count = p;
    if (!coding.intra && !coding.mpeg1)
        count = std::max(count, 1);
    Coefficients compensated = coefficients;
    app::compensateRounding(compensated.data(), count);
    std::array<int16_t, 64> samples;
    keliDCT8x8Inv_AANTransposed_16s_C1R(compensated.data(), samples.data(), 16, count);

    constexpr double tooClose = 0.02;
    for (std::size_t y = 0; y < 8; y++)
        for (std::size_t x = 0; x < 8; x++) {
            const double value = std::clamp(ideal[8 * x + y], -256.0, 255.0);
            if (std::abs(value - samples[8 * y + x]) > 0.5 - tooClose)
                return false;
        }
    return true;
}

int randomDc(Random& random, const BlockCoding& coding)
{
    return random.uniform(16 << coding.dcPrecision, 240 << coding.dcPrecision);
}

// A level that is not zero, and mostly worth little.
int randomLevel(Random& random, const BlockCoding& coding, std::size_t position)
{
    const int step = std::max(1, coding.scale * coding.weights[blockIndex(coding, position)] / 16);
    const int greatest = std::clamp((random.oneIn(4) ? 600 : 100) / step, 1, coding.mpeg1 ? 255 : 2047);
    const int magnitude = random.uniform(1, greatest);
    return random.oneIn(2) ? magnitude : -magnitude;
}

// A lone intra DC of a whole number of samples, which no transform can mistake.
Levels flatLevels(Random& random, const BlockCoding& coding)
{
    Levels levels{};
    levels[0] = random.uniform(16, 240) << coding.dcPrecision;
    return levels;
}

// Where the coefficients of an exact block may be. Samples of such blocks repeat, which leaves few values to
// be rounded: 8 of them, or 16.
bool inFamily(int family, std::size_t index)
{
    const std::size_t u = index / 8;
    const std::size_t v = index % 8;
    switch (family) {
    case 0:
        return u % 4 == 0 && v % 4 == 0;
    case 1:
        return u == 0;
    case 2:
        return v == 0;
    case 3:
        return u % 4 == 0;
    default:
        return v % 4 == 0;
    }
}

Levels familyLevels(Random& random, const BlockCoding& coding)
{
    const int family = random.uniform(0, 4);
    const int rarity = random.uniform(1, 6);
    Levels levels{};
    for (std::size_t p = 0; p < 64; p++)
        if (inFamily(family, blockIndex(coding, p)) && random.oneIn(rarity))
            levels[p] = randomLevel(random, coding, p);
    if (coding.intra)
        levels[0] = randomDc(random, coding);
    return levels;
}

bool isZero(const Levels& levels)
{
    return std::all_of(levels.begin(), levels.end(), [](int level) { return level == 0; });
}

void writeDc(Draft& draft, const BlockCoding& coding, int dc, int& predictor)
{
    const int difference = dc - predictor;
    predictor = dc;
    int size = 0;
    while (std::abs(difference) >> size != 0)
        size++;
    draft.putCode(codeRows.dcSize[coding.chroma ? 1 : 0], size);
    draft.bits.put(difference >= 0 ? difference : difference - 1, size); // a negative one minus 1, 7.2.1
}

void writeEscape(Draft& draft, const BlockCoding& coding, int run, int level)
{
    BitWriter& bits = draft.bits;
    bits.put(codeRows.escape);
    bits.put(run, 6);
    if (!coding.mpeg1) {
        draft.tools["escape code"]++;
        bits.put(level, 12);
    } else if (std::abs(level) < 128) {
        draft.tools["MPEG-1 escape code, 8 bits"]++;
        bits.put(level, 8);
    } else {
        draft.tools["MPEG-1 escape code, 16 bits"]++;
        bits.put(level > 0 ? 0x00 : 0x80, 8);
        bits.put(level, 8);
    }
}

void writeCoefficient(Draft& draft, const BlockCoding& coding, int run, int level, bool first)
{
    const int signBit = level < 0 ? 1 : 0;
    if (first && run == 0 && std::abs(level) == 1) { // the short code of 7.2.2
        draft.bits.put(0b10 | signBit, 2);
        return;
    }
    const auto rows = codeRows.coefficients[coding.tableOne ? 1 : 0];
    const auto row = std::find_if(rows.begin(), rows.end(), [=](const auto& candidate) {
        return candidate.run == run && candidate.level == std::abs(level);
    });
    if (row == rows.end() || draft.random.oneIn(32)) {
        writeEscape(draft, coding, run, level);
        return;
    }
    draft.codes.insert(&*row);
    draft.bits.put(row->bits);
    draft.bits.put(signBit, 1);
}

} // namespace

void Draft::startCode(int value)
{
    bits.align();
    for (; random.oneIn(10); bits.put(0, 8))
        tools["zero bytes before a start code"]++;
    bits.startCode(value);
}

void Draft::putCode(std::span<const app::ValueCode> rows, int value)
{
    const auto row = std::find_if(rows.begin(), rows.end(),
                                  [=](const auto& candidate) { return candidate.value == value; });
    codes.insert(&*row);
    bits.put(row->bits);
}

Levels anyLevels(Random& random, const BlockCoding& coding)
{
    const auto rows = codeRows.coefficients[coding.tableOne ? 1 : 0];
    for (;;) {
        Levels levels{};
        std::size_t position = coding.intra ? 1 : 0;
        for (int count = random.uniform(coding.intra ? 0 : 1, 8); count > 0; count--) {
            const auto& row = rows[random.uniform<std::size_t>(0, static_cast<int64_t>(rows.size()) - 1)];
            position += random.oneIn(2) ? row.run : random.uniform<std::size_t>(0, 8);
            if (position > 63)
                break;
            const int level = random.oneIn(2) ? row.level : 1;
            levels[position++] = random.oneIn(2) ? level : -level;
        }
        if (!coding.intra && isZero(levels))
            continue;
        if (coding.intra)
            levels[0] = randomDc(random, coding);
        if (withinBounds(coding, reconstruct(coding, levels)))
            return levels;
    }
}

Levels exactLevels(Random& random, const BlockCoding& coding)
{
    if (coding.intra && random.oneIn(8))
        return flatLevels(random, coding);
    for (int i = 0; i < 10'000; i++) {
        const Levels levels = familyLevels(random, coding);
        if (isZero(levels))
            continue;
        const Coefficients coefficients = reconstruct(coding, levels);
        if (withinBounds(coding, coefficients) && roundsAlike(coding, levels, coefficients))
            return levels;
    }
    throw std::logic_error("no block comes out of the inverse DCT as it should");
}

void writeBlock(Draft& draft, const BlockCoding& coding, const Levels& levels, int& dcPredictor)
{
    if (coding.intra)
        writeDc(draft, coding, levels[0], dcPredictor);
    int run = 0;
    bool first = !coding.intra;
    for (std::size_t p = coding.intra ? 1 : 0; p < 64; p++) {
        if (levels[p] == 0) {
            run++;
            continue;
        }
        writeCoefficient(draft, coding, run, levels[p], first);
        run = 0;
        first = false;
    }
    draft.bits.put(codeRows.endOfBlock[coding.tableOne ? 1 : 0]);
}

} // namespace kelvcpx::test
