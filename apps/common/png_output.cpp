#include "common/png_output.h"

#include "common/output_file.h"
#include "common/rgb.h"

#include <fmt/format.h>
#include <png.h>

#include <system_error>
#include <utility>
#include <vector>

namespace kelvcpx::app {

PngOutput::PngOutput(std::filesystem::path folder) : folder_(std::move(folder))
{
    std::error_code error;
    std::filesystem::create_directories(folder_, error);
    if (error)
        throw OutputError(fmt::format("cannot make the folder {}: {}", folder_.string(), error.message()));
}

void PngOutput::write(const PictureView& picture)
{
    const std::vector<uint8_t> rgb = toRgb(picture);
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(picture.format.width);
    image.height = static_cast<png_uint_32>(picture.format.height);
    image.format = PNG_FORMAT_RGB;
    image.flags = PNG_IMAGE_FLAG_FAST;
    const std::string path = (folder_ / fmt::format("picture-{:05}.png", number_++)).string();
    if (png_image_write_to_file(&image, path.c_str(), 0, rgb.data(), 0, nullptr) == 0)
        throw OutputError(fmt::format("cannot write {}: {}", path, image.message));
}

} // namespace kelvcpx::app
