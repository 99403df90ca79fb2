#include "h264/encoder/intra_coder.h"

#include "h264/encoder/bits.h"

#include <kelvcpx/h264_residual.h>
#include <kelvcpx/metrics.h>

#include <algorithm>
#include <limits>

namespace kelvcpx::app::h264::encoder {
namespace {

// Neighbours, for the library's operations that predict a block, and for those that reconstruct a macroblock.
enum Available { top = 0x01, left = 0x02, topLeft = 0x20, topRight = 0x40 };
enum Missing { noLeft = 0x01, noTop = 0x04, noTopLeft = 0x10, noTopRight = 0x20 };

constexpr uint32_t modes16x16 = 4;
constexpr uint32_t modesChroma = 4;

// The neighbours that the modes of Intra_4x4 and Intra_8x8 need.
constexpr std::array<int, 9> neededNeighbours = {
    top, left, 0, top, top | left | topLeft, top | left | topLeft, top | left | topLeft, top, left};

bool isPossible(std::size_t mode, int available)
{
    return (neededNeighbours[mode] & ~available) == 0;
}

// Number in decoding order of the 4x4 block at a raster index; the map of the other direction is the same.
std::size_t blockAt(int x, int y)
{
    return rasterOfBlock[static_cast<std::size_t>(4 * y + x)];
}

// The coded form of a mode: -1 if it is the predicted one.
int8_t remaining(uint8_t mode, uint8_t predicted)
{
    return static_cast<int8_t>(mode == predicted ? -1 : mode < predicted ? mode : mode - 1);
}

constexpr int bitsOfPredictedMode = 1;
constexpr int bitsOfOtherMode = 4;

} // namespace

IntraCoder::IntraCoder(const PictureContext& picture, const ResidualCoder& residual, const Lambda& lambda,
                       int address, const MacroblockSamples& samples)
    : picture_(picture), residual_(residual), lambda_(lambda), address_(address), samples_(samples),
      hasLeft_(address % picture.widthInMbs > 0), hasTop_(address >= picture.widthInMbs),
      hasTopRight_(hasTop_ && (address + 1) % picture.widthInMbs > 0)
{}

// Of the whole macroblock.
int IntraCoder::availability() const
{
    return (hasTop_ ? top : 0) | (hasLeft_ ? left : 0) | (hasTop_ && hasLeft_ ? topLeft : 0);
}

uint8_t IntraCoder::missingNeighbours() const
{
    return static_cast<uint8_t>((hasLeft_ ? 0 : noLeft) | (hasTop_ ? 0 : noTop) |
                                (hasLeft_ && hasTop_ ? 0 : noTopLeft) | (hasTopRight_ ? 0 : noTopRight));
}

int IntraCoder::predict16x16(CodedMacroblock& macroblock) const
{
    const SourcePlace& source = samples_.source[0];
    const PicturePlace& picture = samples_.picture[0];
    int best = std::numeric_limits<int>::max();
    for (uint32_t mode = 0; mode < modes16x16; mode++) {
        if (keliPredictIntra_16x16_H264_8u_C1IR(picture.samples, picture.step, mode, availability()) !=
            StatusOk)
            continue; // needs samples that are not there
        int32_t sad = 0;
        keliSAD16x16_8u32s(source.samples, source.step, picture.samples, picture.step, &sad, 0);
        if (sad < best) {
            best = sad;
            macroblock.intra16x16Mode = mode;
        }
    }
    keliPredictIntra_16x16_H264_8u_C1IR(picture.samples, picture.step, macroblock.intra16x16Mode,
                                        availability());
    return best;
}

void IntraCoder::predictChroma(CodedMacroblock& macroblock) const
{
    const auto predict = [&](uint32_t mode) {
        for (std::size_t c = 1; c < 3; c++)
            if (keliPredictIntraChroma8x8_H264_8u_C1IR(samples_.picture[c].samples, samples_.picture[c].step,
                                                       mode, availability()) != StatusOk)
                return false;
        return true;
    };
    int best = std::numeric_limits<int>::max();
    for (uint32_t mode = 0; mode < modesChroma; mode++) {
        if (!predict(mode))
            continue;
        int cost = lambda_.absolute(ueBits(mode));
        for (std::size_t c = 1; c < 3; c++) {
            int32_t sad = 0;
            keliSAD8x8_8u32s_C1R(samples_.source[c].samples, samples_.source[c].step,
                                 samples_.picture[c].samples, samples_.picture[c].step, &sad, 0);
            cost += sad;
        }
        if (cost < best) {
            best = cost;
            macroblock.chromaMode = mode;
        }
    }
    predict(macroblock.chromaMode);
}

bool IntraCoder::code16x16(CodedMacroblock& macroblock) const
{
    return residual_.codeIntra16x16(samples_, missingNeighbours(), macroblock);
}

// 6.4.11.4: blocks of this macroblock are available if they come before.
int IntraCoder::availabilityOf4x4(std::size_t block) const
{
    const int x = rasterOfBlock[block] % 4;
    const int y = rasterOfBlock[block] / 4;
    const bool hasLeft = x > 0 || hasLeft_;
    const bool hasTop = y > 0 || hasTop_;
    const bool hasTopLeft = (x > 0 || hasLeft_) && (y > 0 || hasTop_);
    const bool hasTopRight =
        y == 0 ? (x < 3 ? hasTop_ : hasTopRight_) : x < 3 && blockAt(x + 1, y - 1) < block;
    return (hasTop ? top : 0) | (hasLeft ? left : 0) | (hasTopLeft ? topLeft : 0) |
           (hasTopRight ? topRight : 0);
}

// The same without what is at the upper right, whose absence excludes no mode.
int IntraCoder::availabilityOf8x8(std::size_t block) const
{
    const bool hasLeft = block % 2 > 0 || hasLeft_;
    const bool hasTop = block / 2 > 0 || hasTop_;
    return (hasTop ? top : 0) | (hasLeft ? left : 0) | (hasTop && hasLeft ? topLeft : 0);
}

// From the modes of the blocks to the left and above (8.3.1.1, 8.3.2.1), for the 4x4 block at x, y or the 8x8
// block that begins there.
uint8_t IntraCoder::predictedMode(const CodedMacroblock& macroblock, int x, int y) const
{
    if ((x == 0 && !hasLeft_) || (y == 0 && !hasTop_))
        return intraDcMode;
    const auto own = [&](int column, int row) { return macroblock.intraModes[blockAt(column, row)]; };
    const auto other = [&](int address, int column, int row) {
        return picture_.at(address).intraModes[static_cast<std::size_t>(4 * row + column)];
    };
    const uint8_t fromLeft = x > 0 ? own(x - 1, y) : other(address_ - 1, 3, y);
    const uint8_t fromTop = y > 0 ? own(x, y - 1) : other(address_ - picture_.widthInMbs, x, 3);
    return std::min(fromLeft, fromTop);
}

// Leaves the prediction of the best mode in the picture and returns the mode.
uint8_t IntraCoder::choose4x4(std::size_t block, uint8_t predictedMode) const
{
    const int x = 4 * (rasterOfBlock[block] % 4);
    const int y = 4 * (rasterOfBlock[block] / 4);
    const SourcePlace source = samples_.source[0].at(x, y);
    const PicturePlace picture = samples_.picture[0].at(x, y);
    const int available = availabilityOf4x4(block);
    const auto predict = [&](uint32_t mode) {
        keliPredictIntra_4x4_H264_8u_C1IR(picture.samples, picture.step, mode, available);
    };
    int best = std::numeric_limits<int>::max();
    uint8_t bestMode = intraDcMode;
    for (uint8_t mode = 0; mode < neededNeighbours.size(); mode++) {
        if (!isPossible(mode, available))
            continue;
        predict(mode);
        int32_t sad = 0;
        keliSAD4x4_8u32s(source.samples, source.step, picture.samples, picture.step, &sad);
        const int cost =
            sad + lambda_.absolute(mode == predictedMode ? bitsOfPredictedMode : bitsOfOtherMode);
        if (cost < best) {
            best = cost;
            bestMode = mode;
        }
    }
    predict(bestMode);
    return bestMode;
}

bool IntraCoder::code4x4(CodedMacroblock& macroblock) const
{
    macroblock.lumaPattern = 0;
    for (std::size_t i = 0; i < 16; i++) {
        const uint8_t predicted = predictedMode(macroblock, rasterOfBlock[i] % 4, rasterOfBlock[i] / 4);
        macroblock.intraModes[i] = choose4x4(i, predicted);
        macroblock.remainingIntraModes[i] = remaining(macroblock.intraModes[i], predicted);
        if (!residual_.codeIntra4x4(samples_, i, macroblock))
            return false;
    }
    return true;
}

void IntraCoder::predict8x8(std::size_t block, const Half& half, uint32_t mode) const
{
    const bool second = block % 2 > 0;
    const std::array<uint32_t, 2> modes = {second ? half.firstMode : mode, second ? mode : intraDcMode};
    alignas(32) auto levels = half.firstLevels;
    int16_t* next = levels.data();
    keliReconstructLumaIntraHalf8x8MB_H264_16s8u_C1R(
        &next, half.picture.samples, half.picture.step, modes.data(), second && half.firstIsCoded ? 1 : 0,
        residual_.qp(), half.missing, residual_.dequantScale8x8(), 0);
}

uint8_t IntraCoder::choose8x8(std::size_t block, const Half& half, uint8_t predictedMode) const
{
    const int x = 8 * static_cast<int>(block % 2);
    const SourcePlace source = samples_.source[0].at(x, 8 * static_cast<int>(block / 2));
    const PicturePlace picture = half.picture.at(x, 0);
    const int available = availabilityOf8x8(block);
    int best = std::numeric_limits<int>::max();
    uint8_t bestMode = intraDcMode;
    for (uint8_t mode = 0; mode < neededNeighbours.size(); mode++) {
        if (!isPossible(mode, available))
            continue;
        predict8x8(block, half, mode);
        int32_t sad = 0;
        keliSAD8x8_8u32s_C1R(source.samples, source.step, picture.samples, picture.step, &sad, 0);
        const int cost =
            sad + lambda_.absolute(mode == predictedMode ? bitsOfPredictedMode : bitsOfOtherMode);
        if (cost < best) {
            best = cost;
            bestMode = mode;
        }
    }
    predict8x8(block, half, bestMode);
    return bestMode;
}

bool IntraCoder::code8x8(CodedMacroblock& macroblock) const
{
    macroblock.lumaPattern = 0;
    Half half{samples_.picture[0], missingNeighbours()};
    for (std::size_t i = 0; i < 4; i++) {
        if (i == 2) { // what is above is there, what is at the upper right comes later
            half.picture = samples_.picture[0].at(0, 8);
            half.missing = static_cast<uint8_t>((hasLeft_ ? 0 : noLeft | noTopLeft) | noTopRight);
        }
        const uint8_t predicted =
            predictedMode(macroblock, 2 * static_cast<int>(i % 2), 2 * static_cast<int>(i / 2));
        const uint8_t mode = choose8x8(i, half, predicted);
        std::fill_n(macroblock.intraModes.begin() + static_cast<std::ptrdiff_t>(4 * i), 4, mode);
        macroblock.remainingIntraModes[i] = remaining(mode, predicted);
        alignas(32) std::array<int16_t, 64> levels;
        if (!residual_.code8x8(samples_, i, macroblock, levels))
            return false;
        if (i % 2 == 0) {
            half.firstMode = mode;
            half.firstLevels = levels;
            half.firstIsCoded = (macroblock.lumaPattern >> i & 1) != 0;
        }
    }
    return true;
}

} // namespace kelvcpx::app::h264::encoder
