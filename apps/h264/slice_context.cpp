#include "h264/slice_context.h"

#include <algorithm>
#include <cstdlib>

namespace kelvcpx::app::h264 {
namespace {

// normAdjust of 8.5.9, by QP % 6.
constexpr int normAdjust4x4[6][3] = {{10, 16, 13}, {11, 18, 14}, {13, 20, 16},
                                     {14, 23, 18}, {16, 25, 20}, {18, 29, 23}};
constexpr int normAdjust8x8[6][6] = {{20, 18, 32, 19, 25, 24}, {22, 19, 35, 21, 28, 26},
                                     {26, 23, 42, 24, 33, 31}, {28, 25, 45, 26, 35, 33},
                                     {32, 28, 51, 30, 40, 38}, {36, 32, 58, 34, 46, 43}};

constexpr int class4x4(std::size_t i)
{
    const bool oddRow = i / 4 % 2 != 0;
    const bool oddColumn = i % 2 != 0;
    return oddRow && oddColumn ? 1 : oddRow || oddColumn ? 2 : 0;
}

constexpr int class8x8(std::size_t i)
{
    const std::size_t row = i / 8 % 4;
    const std::size_t column = i % 4;
    if (row % 2 != 0 && column % 2 != 0)
        return 1;
    if (row % 2 != 0 || column % 2 != 0)
        return row == 0 || column == 0 ? 3 : 5;
    return row == 0 && column == 0 ? 0 : row == 2 && column == 2 ? 2 : 4;
}

// The list of a field macroblock: of every frame first the field of its own parity, then the other
// (8.4.2.1).
ReferenceList fieldsOf(const ReferenceList& frames, Structure parity)
{
    ReferenceList fields;
    for (const ReferencePicture& entry : frames) {
        fields.push_back({entry.frame, parity, entry.isSubstitute});
        fields.push_back({entry.frame, opposite(parity), entry.isSubstitute});
    }
    return fields;
}

// DistScaleFactor (8.4.1.2.3). The distance between the references is not zero.
int distScaleFactor(int64_t current, int64_t poc0, int64_t poc1)
{
    const auto tb = static_cast<int>(std::clamp<int64_t>(current - poc0, -128, 127));
    const auto td = static_cast<int>(std::clamp<int64_t>(poc1 - poc0, -128, 127));
    const int tx = (16384 + std::abs(td / 2)) / td;
    return std::clamp((tb * tx + 32) >> 6, -1024, 1023);
}

} // namespace

void References::relate(int poc)
{
    for (const ReferencePicture& first : lists[0]) {
        std::vector<std::array<int, 2>>& weights = implicitWeights.emplace_back();
        for (const ReferencePicture& second : lists[1]) {
            std::array<int, 2> pair{32, 32};
            int factor = noTemporalScaling;
            if (!first.isLongTerm() && first.poc() != second.poc()) {
                factor = distScaleFactor(poc, first.poc(), second.poc());
                const int weight = factor >> 2;
                if (!second.isLongTerm() && weight >= -64 && weight <= 128)
                    pair = {64 - weight, weight};
            }
            weights.push_back(pair);
            if (weights.size() == 1)
                temporalFactors.push_back(factor);
        }
    }
}

void SliceContext::setReferences(const std::array<ReferenceList, 2>& lists)
{
    references.lists = lists;
    if (header.isB())
        references.relate(picture.frame->poc(picture.structure));
    if (!picture.hasPairs)
        return;
    for (const Structure parity : {Structure::top, Structure::bottom}) {
        References& ofFields = fieldReferences[parity == Structure::top ? 0 : 1];
        for (std::size_t list = 0; list < 2; list++)
            ofFields.lists[list] = fieldsOf(lists[list], parity);
        if (header.isB())
            ofFields.relate(picture.frame->poc(parity));
    }
}

LevelScales::LevelScales(const ScalingLists& lists) : flat(lists == ScalingLists::flat())
{
    for (std::size_t m = 0; m < 6; m++) {
        for (std::size_t list = 0; list < 6; list++)
            for (std::size_t i = 0; i < 16; i++)
                scales4x4[list][m][i] =
                    static_cast<int16_t>(lists.list4x4[list][i] * normAdjust4x4[m][class4x4(i)]);
        for (std::size_t list = 0; list < 2; list++)
            for (std::size_t i = 0; i < 64; i++)
                scales8x8[list][m][i] =
                    static_cast<int16_t>(lists.list8x8[list][i] * normAdjust8x8[m][class8x8(i)]);
    }
}

} // namespace kelvcpx::app::h264
