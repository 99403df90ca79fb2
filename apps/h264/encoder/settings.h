// What an H.264 stream is made like.
#pragma once

namespace kelvcpx::app::h264::encoder {

struct Settings {
    int qp = 26;           // of P pictures
    int intraPeriod = 250; // pictures from one IDR picture to the next
    bool high = false;     // 8x8 transform and Intra_8x8: High profile instead of Constrained Baseline
};

} // namespace kelvcpx::app::h264::encoder
