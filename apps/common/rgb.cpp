#include "common/rgb.h"

#include <algorithm>
#include <cstddef>

namespace kelvcpx::app {

namespace {

// Factors of R, G and B in 1/65536 for 8-bit samples of 219 steps of luma and 224 of chroma.
struct Factors {
    int luma, redCr, greenCb, greenCr, blueCb;
};

constexpr int fixedPoint(double value)
{
    return static_cast<int>(value * 65536 + 0.5);
}

// From the luma coefficients of red and blue (ITU-R BT.601-7 2.5.1, BT.709-6 3.2).
constexpr Factors factors(double kr, double kb)
{
    const double kg = 1 - kr - kb;
    const double chroma = 255.0 / 224;
    return {fixedPoint(255.0 / 219), fixedPoint(2 * (1 - kr) * chroma),
            fixedPoint(2 * (1 - kb) * kb / kg * chroma), fixedPoint(2 * (1 - kr) * kr / kg * chroma),
            fixedPoint(2 * (1 - kb) * chroma)};
}

constexpr Factors bt601 = factors(0.299, 0.114);
constexpr Factors bt709 = factors(0.2126, 0.0722);

const Factors& factorsOf(const VideoFormat& format)
{
    if (format.matrix == ColourMatrix::unspecified)
        return format.height > 576 ? bt709 : bt601;
    return format.matrix == ColourMatrix::bt709 ? bt709 : bt601;
}

uint8_t clip(int value)
{
    return static_cast<uint8_t>(std::clamp((value + 32768) >> 16, 0, 255));
}

} // namespace

std::vector<uint8_t> toRgb(const PictureView& picture)
{
    const VideoFormat& format = picture.format;
    const Factors& f = factorsOf(format);
    const bool colour = format.chroma != ChromaFormat::monochrome;
    std::vector<uint8_t> rgb(static_cast<std::size_t>(format.width) *
                             static_cast<std::size_t>(format.height) * 3);
    auto out = rgb.begin();
    for (int y = 0; y < format.height; y++) {
        const int chromaY = y >> chromaShiftY(format.chroma);
        for (int x = 0; x < format.width; x++) {
            const int chromaX = x >> chromaShiftX(format.chroma);
            const int luma = f.luma * (picture.sampleAs8Bits(0, x, y) - 16);
            const int cb = colour ? picture.sampleAs8Bits(1, chromaX, chromaY) - 128 : 0;
            const int cr = colour ? picture.sampleAs8Bits(2, chromaX, chromaY) - 128 : 0;
            *out++ = clip(luma + f.redCr * cr);
            *out++ = clip(luma - f.greenCb * cb - f.greenCr * cr);
            *out++ = clip(luma + f.blueCb * cb);
        }
    }
    return rgb;
}

} // namespace kelvcpx::app
