#include "h263/encoder.h"

#include "h263/code_tables.h"
#include "h263/decoder.h"
#include "h263/inter_encoder.h"

#include <kelvcpx/h263.h>

#include <algorithm>
#include <array>
#include <iterator>

namespace kelvcpx::app::h263 {
namespace {

constexpr int reach = 32; // of vectors, in half samples
constexpr uint32_t customFormat = 6;

struct Size {
    int width;
    int height;
};
constexpr std::array<Size, 5> standardSizes = {{{128, 96}, {176, 144}, {352, 288}, {704, 576}, {1408, 1152}}};

// The code of a source format (5.1.3).
uint32_t formatCode(const VideoFormat& format)
{
    const auto found = std::find_if(standardSizes.begin(), standardSizes.end(), [&](Size size) {
        return size.width == format.width && size.height == format.height;
    });
    return found != standardSizes.end() ? static_cast<uint32_t>(found - standardSizes.begin()) + 1
                                        : customFormat;
}

void check(const VideoFormat& format)
{
    const bool fits = format.width % 4 == 0 && format.height % 4 == 0 && format.width <= 2048 &&
                      format.height <= 1152 && format.width >= 16 && format.height >= 16;
    if (!fits)
        throw UnsupportedStream("H.263 pictures have multiples of 4 as their sizes, up to 2048x1152");
}

class Encoder : public InterEncoder
{
public:
    Encoder(const VideoFormat& format, const EncoderSettings& settings)
        : InterEncoder(format, settings, makeDecoder, reach)
    {}

private:
    std::vector<uint8_t> encodePicture(bool intra) override;
    void writePictureHeader(bool intra);
    void writeExtendedType(bool intra);
    void encodeIntra(int column, int row, bool intraPicture);
    Status encodeLevels(const int16_t* levels, uint8_t** at, int32_t* offset, int32_t count) const override;
    void writeDifference(int difference) override;
};

std::vector<uint8_t> Encoder::encodePicture(bool intra)
{
    startPicture(0);
    writePictureHeader(intra);
    for (int row = 0; row < high(); row++)
        for (int column = 0; column < wide(); column++)
            if (intra || !encodeInter(column, row))
                encodeIntra(column, row, intra);
    return writer_.take();
}

// 5.1.
void Encoder::writePictureHeader(bool intra)
{
    const uint32_t format = formatCode(this->format());
    writer_.put(0b100000, 22); // PSC
    writer_.put(static_cast<uint32_t>(temporalReference() & 0xFF), 8);
    writer_.put(0b10000, 5);
    if (format == customFormat) {
        writeExtendedType(intra);
    } else {
        writer_.put(format, 3);
        writer_.put(intra ? 0b00000 : 0b10000, 5);
        writer_.put(static_cast<uint32_t>(qp()), 5);
        writer_.put(0, 1); // CPM
    }
    writer_.put(0, 1); // PEI
}

// PLUSPTYPE with a custom picture format of square samples, and PQUANT.
void Encoder::writeExtendedType(bool intra)
{
    writer_.put(0b111, 3);
    writer_.put(0b001, 3); // UFEP
    writer_.put(customFormat, 3);
    writer_.put(0b00000000000, 11); // no optional mode
    writer_.put(0b1000, 4);
    writer_.put(intra ? 0b000 : 0b001, 3);
    writer_.put(0b000001, 6);
    writer_.put(0, 1);      // CPM
    writer_.put(0b0001, 4); // sample aspect ratio
    writer_.put(static_cast<uint32_t>(format().width / 4 - 1), 9);
    writer_.put(1, 1);
    writer_.put(static_cast<uint32_t>(format().height / 4), 9);
    writer_.put(static_cast<uint32_t>(qp()), 5);
}

void Encoder::encodeIntra(int column, int row, bool intraPicture)
{
    quantiseIntra(column, row, levels_);
    const uint32_t pattern = codedBlockPattern(levels_.counts, 2); // the DC is one of them
    writeIntraType(intraPicture, pattern);
    writer_.put(codeRows.cbpy, static_cast<int32_t>(pattern >> 2));
    for (std::size_t i = 0; i < 6; i++) {
        const int16_t* const block = levels_.blocks[i].data();
        writer_.putBlock([&](uint8_t** at, int32_t* offset) {
            return keliEncodeDCIntra_H263_16s1u(block[0], at, offset);
        });
        if (levels_.counts[i] > 1)
            writer_.putBlock([&](uint8_t** at, int32_t* offset) {
                return keliEncodeCoeffsIntra_H263_16s1u(block, at, offset, levels_.counts[i] - 1, 0, 0, 0);
            });
    }
}

Status Encoder::encodeLevels(const int16_t* levels, uint8_t** at, int32_t* offset, int32_t count) const
{
    return keliEncodeCoeffsInter_H263_16s1u(levels, at, offset, count, 0, 0);
}

// A code stands for two differences that are 64 apart.
void Encoder::writeDifference(int difference)
{
    writer_.put(codeRows.mvd, ((difference + reach) & (2 * reach - 1)) - reach);
}

} // namespace

std::unique_ptr<VideoEncoder> makeEncoder(const VideoFormat& format, const EncoderSettings& settings)
{
    check(format);
    return std::make_unique<Encoder>(format, settings);
}

} // namespace kelvcpx::app::h263
