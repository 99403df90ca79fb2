#include "apps/h264_random_slice_groups.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <utility>

namespace kelvcpx::test {

using namespace app::h264;

namespace {

// The groups of the map units, each found by itself where 8.2.2 fills a map.
class UnitGroups
{
public:
    UnitGroups(const PictureParameterSet& set, const SequenceParameterSet& sequence,
               const SliceHeader& header)
        : set_(set), groups_(set.sliceGroupCount), width_(sequence.widthInMbs),
          height_(sequence.heightInMapUnits),
          changed_(std::min(header.sliceGroupChangeCycle * set.sliceGroupChangeRate, width_ * height_))
    {
        if (set.sliceGroupCount > 1 && set.sliceGroupMapType == 3)
            fillBox();
    }

    int at(int x, int y) const
    {
        if (groups_ == 1)
            return 0;
        const int unit = y * width_ + x;
        switch (set_.sliceGroupMapType) {
        case 0:
            return interleaved(unit);
        case 1:
            return (x + y * groups_ / 2) % groups_;
        case 2:
            return foreground(x, y);
        case 3:
            return std::count(box_.begin(), box_.end(), unit) > 0 ? 0 : 1;
        case 4:
            return growing(unit);
        case 5:
            return growing(x * height_ + y);
        default:
            return set_.sliceGroupId[static_cast<std::size_t>(unit)];
        }
    }

private:
    int interleaved(int unit) const
    {
        const auto* const runs = set_.runLength.data();
        int left = unit % std::accumulate(runs, runs + groups_, 0);
        int group = 0;
        while (left >= runs[group])
            left -= runs[group++];
        return group;
    }

    int foreground(int x, int y) const
    {
        for (std::size_t group = 0; group + 1 < static_cast<std::size_t>(groups_); group++) {
            const int first = set_.topLeft[group];
            const int last = set_.bottomRight[group];
            if (x >= first % width_ && x <= last % width_ && y >= first / width_ && y <= last / width_)
                return static_cast<int>(group);
        }
        return groups_ - 1;
    }

    // The first units of a spiral from the centre, without what lies outside of the picture: clockwise with
    // its first step to the left, or counter-clockwise with its first step down.
    void fillBox()
    {
        const bool counter = set_.sliceGroupChangeDirection;
        int x = (width_ - (counter ? 1 : 0)) / 2;
        int y = (height_ - (counter ? 1 : 0)) / 2;
        int dx = counter ? 0 : -1;
        int dy = counter ? 1 : 0;
        for (int leg = 0;; leg++) {
            for (int step = 0; step < leg / 2 + 1; step++, x += dx, y += dy) {
                if (static_cast<int>(box_.size()) == changed_)
                    return;
                if (x >= 0 && x < width_ && y >= 0 && y < height_)
                    box_.push_back(y * width_ + x);
            }
            std::swap(dx, dy);
            (counter ? dy : dx) *= -1;
        }
    }

    // A group that grows from the first unit on, or shrinks: 0 or 1 by the direction.
    int growing(int position) const
    {
        const int upperLeft = set_.sliceGroupChangeDirection ? width_ * height_ - changed_ : changed_;
        return (position < upperLeft) == set_.sliceGroupChangeDirection ? 1 : 0;
    }

    const PictureParameterSet& set_;
    int groups_;
    int width_;
    int height_;
    int changed_; // MapUnitsInSliceGroup0
    std::vector<int> box_;
};

} // namespace

void drawSliceGroups(PictureParameterSet& set, const SequenceParameterSet& sequence, int mapType,
                     Random& random)
{
    const int width = sequence.widthInMbs;
    const int height = sequence.heightInMapUnits;
    const int units = width * height;
    set.sliceGroupMapType = mapType;
    set.sliceGroupCount = mapType >= 3 && mapType <= 5 ? 2 : random.uniform(2, 8);
    for (int& run : set.runLength)
        run = random.oneIn(8) ? random.uniform(1, units) : random.uniform(1, 2 * width);
    for (std::size_t group = 0; group < set.topLeft.size(); group++) {
        const int left = random.uniform(0, width - 1);
        const int top = random.uniform(0, height - 1);
        set.topLeft[group] = top * width + left;
        set.bottomRight[group] = random.uniform(top, height - 1) * width + random.uniform(left, width - 1);
    }
    set.sliceGroupChangeDirection = random.oneIn(2);
    set.sliceGroupChangeRate = random.extreme<int>(1, units);
    set.sliceGroupId.resize(static_cast<std::size_t>(units));
    for (uint8_t& id : set.sliceGroupId)
        id = static_cast<uint8_t>(random.uniform(0, set.sliceGroupCount - 1));
}

int drawSliceGroupChangeCycle(const PictureParameterSet& set, const SequenceParameterSet& sequence,
                              Random& random)
{
    if (set.sliceGroupCount == 1 || set.sliceGroupMapType < 3 || set.sliceGroupMapType > 5)
        return 0;
    const int units = sequence.widthInMbs * sequence.heightInMapUnits;
    return random.extreme<int>(0, (units + set.sliceGroupChangeRate - 1) / set.sliceGroupChangeRate);
}

std::vector<std::vector<int>> macroblocksOfGroups(const PictureParameterSet& set,
                                                  const SequenceParameterSet& sequence,
                                                  const SliceHeader& header)
{
    const UnitGroups units(set, sequence, header);
    // 8.2.2.8: where a frame could be fields, a map unit is a macroblock of each field.
    const bool unitsAreCounted =
        sequence.frameMbsOnly || header.fieldPicture || sequence.mbAdaptiveFrameField;
    const int rowsOfUnit = unitsAreCounted ? 1 : 2;
    std::vector<std::vector<int>> groups(static_cast<std::size_t>(set.sliceGroupCount));
    for (int y = 0; y < rowsOfUnit * sequence.heightInMapUnits; y++)
        for (int x = 0; x < sequence.widthInMbs; x++)
            groups[static_cast<std::size_t>(units.at(x, y / rowsOfUnit))].push_back(y * sequence.widthInMbs +
                                                                                    x);
    return groups;
}

std::vector<std::vector<int>> cutIntoSlices(const std::vector<int>& macroblocks, Random& random)
{
    std::vector<std::vector<int>> slices;
    for (auto first = macroblocks.begin(); first != macroblocks.end();) {
        const auto left = macroblocks.end() - first;
        const auto size = random.oneIn(2) ? left : random.uniform<std::ptrdiff_t>(1, left);
        slices.emplace_back(first, first + size);
        first += size;
    }
    return slices;
}

} // namespace kelvcpx::test
