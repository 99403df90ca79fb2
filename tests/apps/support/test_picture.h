// Pictures to feed the outputs with.
#pragma once

#include "apps/support/frames.h"
#include "support/random.h"

#include <cstddef>
#include <vector>

namespace kelvcpx::test {

// A picture of random samples whose rows lie further apart than they are long, with other bytes in between.
class TestPicture
{
public:
    explicit TestPicture(const app::VideoFormat& format, uint32_t seed = 1)
    {
        Random random(seed);
        view_.format = format;
        for (int p = 0; p < format.planeCount(); p++) {
            const auto plane = static_cast<std::size_t>(p);
            const int width = planeWidth(format, p);
            const int height = planeHeight(format, p);
            const int step = width * format.bytesPerSample() + padding;
            std::vector<uint8_t>& bytes = storage_[plane];
            bytes.assign(static_cast<std::size_t>(step * height), paddingByte);
            view_.planes[plane] = {bytes.data(), step, width, height};
            for (int y = 0; y < height; y++)
                for (int x = 0; x < width; x++)
                    set(p, x, y, random.uniform<int>(0, (1 << format.bitDepth) - 1));
        }
    }

    const app::PictureView& view() const { return view_; }

    void set(int p, int x, int y, int value)
    {
        const auto plane = static_cast<std::size_t>(p);
        uint8_t* row = storage_[plane].data() + y * view_.planes[plane].step;
        if (view_.format.bytesPerSample() == 1) {
            row[x] = static_cast<uint8_t>(value);
        } else {
            row[2 * x] = static_cast<uint8_t>(value);
            row[2 * x + 1] = static_cast<uint8_t>(value >> 8);
        }
    }

    void fill(int p, int value)
    {
        for (int y = 0; y < planeHeight(view_.format, p); y++)
            for (int x = 0; x < planeWidth(view_.format, p); x++)
                set(p, x, y, value);
    }

private:
    static constexpr int padding = 5;
    static constexpr uint8_t paddingByte = 0xee;

    app::PictureView view_;
    std::array<std::vector<uint8_t>, 3> storage_;
};

} // namespace kelvcpx::test
