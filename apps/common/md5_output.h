// One line a picture: its number and the MD5 of its samples.
#pragma once

#include "common/output_file.h"
#include "common/picture_output.h"

#include <cstdint>
#include <string>

namespace kelvcpx::app {

// MD5, in hexadecimal, of all bytes that forEachRow() shows.
std::string pictureMd5(const PictureView& picture);

class Md5Output : public PictureOutput
{
public:
    explicit Md5Output(const std::string& path) : file_(path) {}

    void write(const PictureView& picture) override;
    void finish() override { file_.close(); }

private:
    OutputFile file_;
    int64_t number_ = 0;
};

} // namespace kelvcpx::app
