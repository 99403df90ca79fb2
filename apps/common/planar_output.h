// Uncompressed video: YUV4MPEG2 ("Y4M") or nothing but the planes of one picture after another.
#pragma once

#include "common/output_file.h"
#include "common/picture_output.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kelvcpx::app {

enum class PlanarFormat { y4m, yuv };

// The stream header of a Y4M file, line feed included.
std::string y4mHeader(const VideoFormat& format);

// By the ending of the file's name; Y4M where it says nothing.
PlanarFormat planarFormatOf(const std::string& path);

class PlanarOutput : public PictureOutput
{
public:
    // The file is created when the first picture comes, so a stream that has none leaves it alone.
    PlanarOutput(std::string path, PlanarFormat format);

    // Neither format can express another size or another kind of samples once it has begun: throws
    // OutputError.
    void write(const PictureView& picture) override;
    void finish() override;

private:
    void begin(const VideoFormat& format);

    std::string path_;
    PlanarFormat fileFormat_;
    VideoFormat first_;
    std::optional<OutputFile> file_;
    std::vector<uint8_t> buffer_; // one picture, so that it is written at once
};

} // namespace kelvcpx::app
