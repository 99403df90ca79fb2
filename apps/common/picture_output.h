// What becomes of the decoded pictures.
#pragma once

#include "common/picture.h"

namespace kelvcpx::app {

class PictureOutput
{
public:
    virtual ~PictureOutput() = default;

    // Throws OutputError if the picture cannot be stored.
    virtual void write(const PictureView& picture) = 0;

    // Called once after the last picture; reports what only shows when a file is closed.
    virtual void finish() {}
};

} // namespace kelvcpx::app
