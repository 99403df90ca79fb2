// Decoded pictures as the drivers hand them to the outputs.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace kelvcpx::app {

struct Rational {
    int64_t numerator = 0;
    int64_t denominator = 1;

    bool operator==(const Rational&) const = default;
};

enum class ChromaFormat { monochrome, yuv411, yuv420, yuv422, yuv444 };

// How many times fewer samples a chroma row, or a chroma column, has than a luma one, as a power of two.
constexpr int chromaShiftX(ChromaFormat format)
{
    return format == ChromaFormat::yuv444 ? 0 : format == ChromaFormat::yuv411 ? 2 : 1;
}

constexpr int chromaShiftY(ChromaFormat format)
{
    return format == ChromaFormat::yuv420 ? 1 : 0;
}

enum class FieldOrder { progressive, topFirst, bottomFirst };

// Where the samples of a 4:2:0 chroma row or column lie: horizontally on a luma sample (MPEG-2, H.264), in
// the middle of four luma samples (MPEG-1, H.261, H.263), or both ways on a luma sample (DV, whose Cb and Cr
// lines alternate).
enum class ChromaSiting { left, centre, topLeft };

// How Y, Cb and Cr follow from R, G and B.
enum class ColourMatrix { unspecified, bt601, bt709 };

// What an output needs to know before the first picture. All pictures of a run share it.
struct VideoFormat {
    int width = 0; // of the displayed picture, in luma samples
    int height = 0;
    ChromaFormat chroma = ChromaFormat::yuv420;
    int bitDepth = 8;            // samples of more than 8 bits take two bytes, low byte first
    Rational frameRate;          // 0/1 if the stream does not say
    Rational sampleAspect{0, 1}; // width:height of a sample, 0/1 if the stream does not say
    FieldOrder fieldOrder = FieldOrder::progressive;
    ChromaSiting chromaSiting = ChromaSiting::left;
    ColourMatrix matrix = ColourMatrix::unspecified;

    int planeCount() const { return chroma == ChromaFormat::monochrome ? 1 : 3; }
    int bytesPerSample() const { return bitDepth > 8 ? 2 : 1; }

    bool operator==(const VideoFormat&) const = default;
};

// True if pictures of the two formats have the same planes.
inline bool sameShape(const VideoFormat& a, const VideoFormat& b)
{
    return a.width == b.width && a.height == b.height && a.chroma == b.chroma && a.bitDepth == b.bitDepth;
}

// "4:2:0", or "monochrome".
std::string_view nameOf(ChromaFormat format);

// "176x144 4:2:0 8-bit": what sameShape() compares.
std::string shapeOf(const VideoFormat& format);

// One plane of a picture, owned by somebody else.
struct PlaneView {
    const uint8_t* samples = nullptr;
    std::ptrdiff_t step = 0; // bytes between rows
    int width = 0;           // samples
    int height = 0;
};

// A decoded picture, cropped to its display size, valid during the call that hands it over.
struct PictureView {
    VideoFormat format;
    std::array<PlaneView, 3> planes; // the first format.planeCount() are set

    // A sample as 8 bits, whatever its depth.
    uint8_t sampleAs8Bits(std::size_t plane, int x, int y) const
    {
        const uint8_t* const row = planes[plane].samples + y * planes[plane].step;
        if (format.bytesPerSample() == 1)
            return row[x];
        return static_cast<uint8_t>((row[2 * x] | row[2 * x + 1] << 8) >> (format.bitDepth - 8));
    }
};

using PictureSink = std::function<void(const PictureView&)>;

} // namespace kelvcpx::app
