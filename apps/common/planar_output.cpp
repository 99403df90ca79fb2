#include "common/planar_output.h"

#include "common/picture_rows.h"

#include <fmt/format.h>

#include <filesystem>
#include <string_view>
#include <utility>

namespace kelvcpx::app {

namespace {

char interlacing(FieldOrder order)
{
    switch (order) {
    case FieldOrder::topFirst:
        return 't';
    case FieldOrder::bottomFirst:
        return 'b';
    case FieldOrder::progressive:
        break;
    }
    return 'p';
}

std::string_view chromaName(ChromaFormat chroma)
{
    switch (chroma) {
    case ChromaFormat::monochrome:
        return "mono";
    case ChromaFormat::yuv411:
        return "411";
    case ChromaFormat::yuv420:
        return "420";
    case ChromaFormat::yuv422:
        return "422";
    case ChromaFormat::yuv444:
        break;
    }
    return "444";
}

std::string_view sitingName(ChromaSiting siting)
{
    switch (siting) {
    case ChromaSiting::centre:
        return "jpeg";
    case ChromaSiting::topLeft:
        return "paldv";
    case ChromaSiting::left:
        break;
    }
    return "mpeg2";
}

// "420mpeg2", "422", "420p10", "mono12": what the samples are.
std::string colourSpace(const VideoFormat& format)
{
    const std::string_view chroma = chromaName(format.chroma);
    if (format.bitDepth > 8)
        return fmt::format("{}{}{}", chroma, format.chroma == ChromaFormat::monochrome ? "" : "p",
                           format.bitDepth);
    return fmt::format("{}{}", chroma,
                       format.chroma == ChromaFormat::yuv420 ? sitingName(format.chromaSiting) : "");
}

bool known(const Rational& ratio)
{
    return ratio.numerator > 0 && ratio.denominator > 0;
}

std::string ratio(const Rational& value)
{
    return known(value) ? fmt::format("{}:{}", value.numerator, value.denominator) : "0:0";
}

} // namespace

std::string y4mHeader(const VideoFormat& format)
{
    return fmt::format("YUV4MPEG2 W{} H{} F{} I{} A{} C{}\n", format.width, format.height,
                       ratio(format.frameRate), interlacing(format.fieldOrder), ratio(format.sampleAspect),
                       colourSpace(format));
}

PlanarFormat planarFormatOf(const std::string& path)
{
    return std::filesystem::path(path).extension() == ".yuv" ? PlanarFormat::yuv : PlanarFormat::y4m;
}

PlanarOutput::PlanarOutput(std::string path, PlanarFormat format)
    : path_(std::move(path)), fileFormat_(format)
{}

void PlanarOutput::begin(const VideoFormat& format)
{
    first_ = format;
    file_.emplace(path_);
    if (fileFormat_ == PlanarFormat::y4m)
        file_->write(y4mHeader(format));
}

void PlanarOutput::write(const PictureView& picture)
{
    if (!file_)
        begin(picture.format);
    if (!sameShape(picture.format, first_))
        throw OutputError(
            fmt::format("the pictures change from {} to {}, which {} cannot hold; "
                        "those before the change are written",
                        shapeOf(first_), shapeOf(picture.format),
                        fileFormat_ == PlanarFormat::y4m ? "a Y4M file" : "a file of raw planes"));
    buffer_.clear();
    if (fileFormat_ == PlanarFormat::y4m) {
        constexpr std::string_view frame = "FRAME\n";
        buffer_.assign(frame.begin(), frame.end());
    }
    forEachRow(picture, [&](auto row) { buffer_.insert(buffer_.end(), row.begin(), row.end()); });
    file_->write(buffer_);
}

void PlanarOutput::finish()
{
    if (file_)
        file_->close();
}

} // namespace kelvcpx::app
