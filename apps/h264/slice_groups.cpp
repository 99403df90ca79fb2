#include "h264/slice_groups.h"

#include <algorithm>
#include <cstddef>

namespace kelvcpx::app::h264 {
namespace {

// mapUnitToSliceGroupMap, and what its construction needs.
class MapUnits
{
public:
    MapUnits(const SequenceParameterSet& sequence, const PictureParameterSet& picture,
             const SliceHeader& slice)
        : picture_(picture), groups_(picture.sliceGroupCount), width_(sequence.widthInMbs),
          height_(sequence.heightInMapUnits), size_(width_ * height_),
          changed_(static_cast<int>(std::min<int64_t>(
              static_cast<int64_t>(slice.sliceGroupChangeCycle) * picture.sliceGroupChangeRate, size_))),
          map_(static_cast<std::size_t>(size_), 0)
    {}

    std::vector<uint8_t> make()
    {
        switch (picture_.sliceGroupMapType) {
        case 0:
            interleaved();
            break;
        case 1:
            dispersed();
            break;
        case 2:
            foreground();
            break;
        case 3:
            boxOut();
            break;
        case 4:
            rasterScan();
            break;
        case 5:
            wipe();
            break;
        default:
            explicitMap();
            break;
        }
        return std::move(map_);
    }

private:
    uint8_t& at(int unit) { return map_[static_cast<std::size_t>(unit)]; }

    // 8.2.2.1
    void interleaved()
    {
        int i = 0;
        while (i < size_)
            for (int group = 0; group < groups_ && i < size_; group++) {
                const int run = picture_.runLength[static_cast<std::size_t>(group)];
                for (int j = 0; j < run && i < size_; j++)
                    at(i++) = static_cast<uint8_t>(group);
            }
    }

    // 8.2.2.2
    void dispersed()
    {
        for (int i = 0; i < size_; i++)
            at(i) = static_cast<uint8_t>((i % width_ + i / width_ * groups_ / 2) % groups_);
    }

    // 8.2.2.3
    void foreground()
    {
        std::fill(map_.begin(), map_.end(), static_cast<uint8_t>(groups_ - 1));
        for (int group = groups_ - 2; group >= 0; group--) {
            const int topLeft = picture_.topLeft[static_cast<std::size_t>(group)];
            const int bottomRight = picture_.bottomRight[static_cast<std::size_t>(group)];
            for (int y = topLeft / width_; y <= std::min(bottomRight / width_, height_ - 1); y++)
                for (int x = topLeft % width_; x <= bottomRight % width_; x++)
                    at(y * width_ + x) = static_cast<uint8_t>(group);
        }
    }

    // 8.2.2.4: a box that grows round the centre, clockwise or counter-clockwise.
    void boxOut()
    {
        std::fill(map_.begin(), map_.end(), uint8_t{1});
        const int direction = picture_.sliceGroupChangeDirection ? 1 : 0;
        int x = (width_ - direction) / 2;
        int y = (height_ - direction) / 2;
        int left = x;
        int right = x;
        int top = y;
        int bottom = y;
        int dx = direction - 1;
        int dy = direction;
        for (int k = 0; k < changed_;) {
            const bool vacant = at(y * width_ + x) == 1;
            at(y * width_ + x) = 0;
            k += vacant ? 1 : 0;
            if (dx == -1 && x == left) {
                left = std::max(left - 1, 0);
                x = left;
                dx = 0;
                dy = 2 * direction - 1;
            } else if (dx == 1 && x == right) {
                right = std::min(right + 1, width_ - 1);
                x = right;
                dx = 0;
                dy = 1 - 2 * direction;
            } else if (dy == -1 && y == top) {
                top = std::max(top - 1, 0);
                y = top;
                dx = 1 - 2 * direction;
                dy = 0;
            } else if (dy == 1 && y == bottom) {
                bottom = std::min(bottom + 1, height_ - 1);
                y = bottom;
                dx = 2 * direction - 1;
                dy = 0;
            } else {
                x += dx;
                y += dy;
            }
        }
    }

    int sizeOfUpperLeftGroup() const
    {
        return picture_.sliceGroupChangeDirection ? size_ - changed_ : changed_;
    }
    uint8_t upperLeft() const { return picture_.sliceGroupChangeDirection ? 1 : 0; }

    // 8.2.2.5
    void rasterScan()
    {
        for (int i = 0; i < size_; i++)
            at(i) = i < sizeOfUpperLeftGroup() ? upperLeft() : static_cast<uint8_t>(1 - upperLeft());
    }

    // 8.2.2.6
    void wipe()
    {
        int k = 0;
        for (int x = 0; x < width_; x++)
            for (int y = 0; y < height_; y++)
                at(y * width_ + x) =
                    k++ < sizeOfUpperLeftGroup() ? upperLeft() : static_cast<uint8_t>(1 - upperLeft());
    }

    // 8.2.2.7
    void explicitMap()
    {
        std::copy_n(picture_.sliceGroupId.begin(), std::min(picture_.sliceGroupId.size(), map_.size()),
                    map_.begin());
    }

    const PictureParameterSet& picture_;
    int groups_;
    int width_;
    int height_;
    int size_;
    int changed_; // MapUnitsInSliceGroup0
    std::vector<uint8_t> map_;
};

} // namespace

std::vector<uint8_t> macroblockSliceGroups(const SequenceParameterSet& sequence,
                                           const PictureParameterSet& picture, const SliceHeader& slice)
{
    if (picture.sliceGroupCount == 1)
        return {};
    std::vector<uint8_t> units = MapUnits(sequence, picture, slice).make();
    if (sequence.frameMbsOnly || slice.fieldPicture)
        return units;
    // 8.2.2.8: a map unit of a frame that could be fields is two macroblocks high, one above the other; those
    // of a frame picture of separate macroblock rows take the unit of their pair of rows.
    const auto width = static_cast<std::size_t>(sequence.widthInMbs);
    std::vector<uint8_t> macroblocks(2 * units.size());
    for (std::size_t i = 0; i < macroblocks.size(); i++)
        macroblocks[i] = units[i / (2 * width) * width + i % width];
    return macroblocks;
}

} // namespace kelvcpx::app::h264
