#include "common/picture.h"

#include <fmt/format.h>

namespace kelvcpx::app {

std::string_view nameOf(ChromaFormat format)
{
    switch (format) {
    case ChromaFormat::monochrome:
        return "monochrome";
    case ChromaFormat::yuv411:
        return "4:1:1";
    case ChromaFormat::yuv420:
        return "4:2:0";
    case ChromaFormat::yuv422:
        return "4:2:2";
    case ChromaFormat::yuv444:
        break;
    }
    return "4:4:4";
}

std::string shapeOf(const VideoFormat& format)
{
    return fmt::format("{}x{} {} {}-bit", format.width, format.height, nameOf(format.chroma),
                       format.bitDepth);
}

} // namespace kelvcpx::app
