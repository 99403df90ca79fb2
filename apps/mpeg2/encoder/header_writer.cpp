#include "mpeg2/encoder/header_writer.h"

#include "common/decoder.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <optional>

namespace kelvcpx::app::mpeg2 {
namespace {

// 13818-2 tables 8-10 to 8-13, of Main Profile.
struct Level {
    int code;
    int width;
    int height;
    double frameRate;
    double samplesPerSecond;
    int64_t bitRate;
    int64_t bufferSize; // bits
};

constexpr Level levels[] = {
    {10, 352, 288, 30, 3041280, 4000000, 475136},
    {8, 720, 576, 30, 10368000, 15000000, 1835008},
    {6, 1440, 1152, 60, 47001600, 60000000, 7340032},
    {4, 1920, 1152, 60, 62668800, 80000000, 9781248},
};

constexpr int mainProfile = 4;
constexpr Rational usualFrameRate{25, 1};
constexpr int64_t bitRateUnit = 400;
constexpr int64_t bufferUnit = 16 * 1024;

double valueOf(const Rational& ratio)
{
    return static_cast<double>(ratio.numerator) / static_cast<double>(ratio.denominator);
}

const Level* levelFor(const Sequence& sequence)
{
    const double samples =
        static_cast<double>(sequence.width) * sequence.height * valueOf(sequence.frameRate);
    constexpr double tolerance = 1.0001;
    const auto* const found = std::find_if(std::begin(levels), std::end(levels), [&](const Level& level) {
        return sequence.width <= level.width && sequence.height <= level.height &&
               valueOf(sequence.frameRate) <= level.frameRate * tolerance &&
               samples <= level.samplesPerSecond * tolerance && sequence.bitRate <= level.bitRate;
    });
    return found == std::end(levels) ? nullptr : found;
}

const Level& levelOf(const Sequence& sequence)
{
    return *std::find_if(std::begin(levels), std::end(levels) - 1,
                         [&](const Level& level) { return level.code == (sequence.profileAndLevel & 15); });
}

// 6.3.3: the rate is that of the code, multiplied by one number and divided by another.
struct FrameRateCode {
    int code;
    int multiplier;
    int divisor;

    Rational rate() const
    {
        const Rational& base = frameRates[static_cast<std::size_t>(code)];
        return {base.numerator * multiplier, base.denominator * divisor};
    }
};

// The one that comes closest.
FrameRateCode frameRateCode(const Rational& rate)
{
    FrameRateCode best{1, 1, 1};
    double leastError = HUGE_VAL;
    for (int multiplier = 1; multiplier <= 4; multiplier++)
        for (int divisor = 1; divisor <= 32; divisor++)
            for (int code = 1; code < static_cast<int>(frameRates.size()); code++) {
                const FrameRateCode candidate{code, multiplier, divisor};
                const double error = std::abs(valueOf(candidate.rate()) - valueOf(rate));
                // Plain codes come first and stay unless another one is truly better.
                if (error < leastError - 1e-9) {
                    leastError = error;
                    best = candidate;
                }
            }
    return best;
}

// 1 for square samples; otherwise the shape of the display, if it is one that has a code (6.3.3).
int aspectCode(const VideoFormat& format)
{
    if (format.sampleAspect.numerator <= 0 || format.sampleAspect == Rational{1, 1})
        return 1;
    const double display = valueOf(format.sampleAspect) * format.width / format.height;
    constexpr double tolerance = 0.03;
    for (std::size_t i = 0; i < displayAspects.size(); i++)
        if (std::abs(display / valueOf(displayAspects[i]) - 1) < tolerance)
            return static_cast<int>(i) + 2;
    return 1;
}

void putMarker(BitWriter& bits)
{
    bits.put(1, 1);
}

void writeSequenceExtension(BitWriter& bits, const Sequence& sequence, const FrameRateCode& rate)
{
    bits.startCode(extensionStart);
    bits.put(1, 4); // sequence extension
    bits.put(sequence.profileAndLevel, 8);
    bits.put(sequence.progressive, 1);
    bits.put(1, 2); // 4:2:0
    bits.put(sequence.width >> 12, 2);
    bits.put(sequence.height >> 12, 2);
    bits.put(sequence.bitRate / bitRateUnit >> 18, 12);
    putMarker(bits);
    bits.put(levelOf(sequence).bufferSize / bufferUnit >> 10, 8);
    bits.put(sequence.lowDelay, 1);
    bits.put(rate.multiplier - 1, 2);
    bits.put(rate.divisor - 1, 5);
}

} // namespace

Sequence describeSequence(const VideoFormat& format, int64_t bitRate)
{
    Sequence sequence;
    sequence.mpeg2 = true;
    sequence.width = format.width;
    sequence.height = format.height;
    sequence.progressive = format.fieldOrder == FieldOrder::progressive;
    sequence.aspectCode = aspectCode(format);
    sequence.frameRate =
        frameRateCode(format.frameRate.numerator > 0 ? format.frameRate : usualFrameRate).rate();
    sequence.bitRate = (bitRate + bitRateUnit - 1) / bitRateUnit * bitRateUnit;
    const Level* const level = levelFor(sequence);
    if (level == nullptr)
        throw UnsupportedStream("the size or one of the rates of the video is beyond MPEG-2 Main Profile");
    sequence.profileAndLevel = mainProfile << 4 | level->code;
    if (bitRate == 0)
        sequence.bitRate = level->bitRate;
    return sequence;
}

void writeSequenceHeader(BitWriter& bits, const Sequence& sequence)
{
    const FrameRateCode rate = frameRateCode(sequence.frameRate);
    bits.startCode(sequenceHeaderStart);
    bits.put(sequence.width, 12);
    bits.put(sequence.height, 12);
    bits.put(sequence.aspectCode, 4);
    bits.put(rate.code, 4);
    bits.put(sequence.bitRate / bitRateUnit, 18);
    putMarker(bits);
    bits.put(levelOf(sequence).bufferSize / bufferUnit, 10);
    bits.put(0, 1); // constrained_parameters_flag
    bits.put(0, 2); // the default matrices
    writeSequenceExtension(bits, sequence, rate);
}

void writeGroupHeader(BitWriter& bits, const Sequence& sequence, const Group& group, int64_t firstPicture)
{
    const auto perSecond = std::max<int64_t>(1, std::llround(valueOf(sequence.frameRate)));
    const int64_t seconds = firstPicture / perSecond;
    bits.startCode(groupStart);
    bits.put(0, 1); // drop_frame_flag
    bits.put(seconds / 3600 % 24, 5);
    bits.put(seconds / 60 % 60, 6);
    putMarker(bits);
    bits.put(seconds % 60, 6);
    bits.put(firstPicture % perSecond, 6);
    bits.put(group.closed, 1);
    bits.put(0, 1); // broken_link
}

void writePictureHeader(BitWriter& bits, const Picture& picture)
{
    constexpr int unknownDelay = 0xFFFF;
    constexpr int mpeg1FCode = 7; // which stands for the f_code of the extension
    bits.startCode(pictureStart);
    bits.put(picture.temporalReference, 10);
    bits.put(static_cast<int>(picture.type), 3);
    bits.put(unknownDelay, 16);
    for (int direction = 1; direction < static_cast<int>(picture.type); direction++) {
        bits.put(0, 1); // full-sample vectors
        bits.put(mpeg1FCode, 3);
    }
    bits.put(0, 1); // extra_bit_picture

    bits.startCode(extensionStart);
    bits.put(8, 4); // picture coding extension
    for (const auto& direction : picture.fCode)
        for (const int code : direction)
            bits.put(code, 4);
    bits.put(picture.intraDcPrecision, 2);
    bits.put(static_cast<int>(picture.structure), 2);
    bits.put(picture.topFieldFirst, 1);
    bits.put(picture.framePredFrameDct, 1);
    bits.put(picture.concealmentVectors, 1);
    bits.put(picture.nonLinearScale, 1);
    bits.put(picture.intraVlcFormat, 1);
    bits.put(picture.alternateScan, 1);
    bits.put(0, 1);                        // repeat_first_field
    bits.put(picture.progressiveFrame, 1); // chroma_420_type
    bits.put(picture.progressiveFrame, 1);
    bits.put(0, 1); // composite_display_flag
}

} // namespace kelvcpx::app::mpeg2
