#include "common/png_output.h"

#include "common/output_file.h"
#include "common/rgb.h"

#include <fmt/format.h>
#include <png.h>

#include <system_error>
#include <utility>
#include <vector>

namespace kelvcpx::app {

void writePng(const std::string& path, int width, int height, std::span<const uint8_t> rgb)
{
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(width);
    image.height = static_cast<png_uint_32>(height);
    image.format = PNG_FORMAT_RGB;
    image.flags = PNG_IMAGE_FLAG_FAST;
    if (png_image_write_to_file(&image, path.c_str(), 0, rgb.data(), 0, nullptr) == 0)
        throw OutputError(fmt::format("cannot write {}: {}", path, image.message));
}

PngOutput::PngOutput(std::filesystem::path folder) : folder_(std::move(folder))
{
    std::error_code error;
    std::filesystem::create_directories(folder_, error);
    if (error)
        throw OutputError(fmt::format("cannot make the folder {}: {}", folder_.string(), error.message()));
}

void PngOutput::write(const PictureView& picture)
{
    writePng((folder_ / fmt::format("picture-{:05}.png", number_++)).string(), picture.format.width,
             picture.format.height, toRgb(picture));
}

} // namespace kelvcpx::app
