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
    png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(image);
    std::vector<uint8_t> bytes(size);
    if (png_image_write_to_memory(&image, bytes.data(), &size, 0, rgb.data(), 0, nullptr) == 0)
        throw OutputError(fmt::format("cannot make the picture {}: {}", path, image.message));
    OutputFile file(path);
    file.write(std::span(bytes).first(size));
    file.close();
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
