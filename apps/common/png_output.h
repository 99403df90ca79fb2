// A folder of PNG files, one a picture.
#pragma once

#include "common/picture_output.h"

#include <cstdint>
#include <filesystem>

namespace kelvcpx::app {

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
