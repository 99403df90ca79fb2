// Motion vectors.
#pragma once

namespace kelvcpx::app {

struct MotionVector {
    int x = 0; // half samples, of luma
    int y = 0;

    bool operator==(const MotionVector&) const = default;
};

} // namespace kelvcpx::app
