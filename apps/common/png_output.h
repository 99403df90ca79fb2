// A folder of PNG files, one a picture.
#pragma once

#include "common/picture_output.h"

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

namespace kelvcpx::app {

// Writes R, G, B bytes row by row to a file; "-" is standard output. Throws OutputError.
void writePng(const std::string& path, int width, int height, std::span<const uint8_t> rgb);

class PngOutput : public PictureOutput
{
public:
    // Makes the folder if it is not there. Throws OutputError.
    explicit PngOutput(std::filesystem::path folder);

    void write(const PictureView& picture) override;

private:
    std::filesystem::path folder_;
    int64_t number_ = 0;
};

} // namespace kelvcpx::app
