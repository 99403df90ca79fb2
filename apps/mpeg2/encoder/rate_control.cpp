#include "mpeg2/encoder/rate_control.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace kelvcpx::app::mpeg2 {
namespace {

constexpr int largestCode = 31;

int toCode(double value)
{
    return std::clamp(static_cast<int>(std::lround(value)), 1, largestCode);
}

} // namespace

int ConstantQuantiser::startPicture(PictureType type)
{
    constexpr double bFactor = 1.25;
    current_ = type == PictureType::bidirectional ? toCode(code_ * bFactor) : code_;
    return current_;
}

ConstantRate::ConstantRate(double bitRate, double pictureRate, int rows, int groupSize, int bFrames)
    : bitsPerPicture_(bitRate / pictureRate), rows_(rows), reaction_(2 * bitsPerPicture_)
{
    const int anchors = (groupSize + bFrames) / (bFrames + 1);
    countOfGroup_ = {1, anchors - 1, groupSize - anchors};
    // Until a picture of a type has been coded: typical shares, and a moderate code.
    constexpr double firstCode = 10;
    types_ = {TypeState{1.4 * bitRate, 1, 0}, TypeState{0.5 * bitRate, 1, 0},
              TypeState{0.36 * bitRate, 1.4, 0}};
    for (TypeState& type : types_)
        type.buffer = firstCode / largestCode * reaction_ * type.weight;
}

int ConstantRate::startPicture(PictureType type)
{
    type_ = type;
    if (type == PictureType::intra) {
        double pictures = 0;
        for (std::size_t i = 0; i < 3; i++) {
            types_[i].left = countOfGroup_[i];
            pictures += countOfGroup_[i];
        }
        groupBits_ += pictures * bitsPerPicture_;
    }
    const auto share = [](const TypeState& s) { return s.complexity / s.weight; };
    double shares = 0;
    for (const TypeState& other : types_)
        shares += share(other) * other.left;
    shares = std::max(shares, share(state())); // of a picture more than the group was to have
    constexpr double least = 1.0 / 8;          // of an average picture
    target_ = std::max(groupBits_ * share(state()) / shares, bitsPerPicture_ * least);
    codeSum_ = 0;
    return toCode(state().buffer * largestCode / reaction_);
}

int ConstantRate::codeOfRow(int row, int64_t bits)
{
    const double excess = static_cast<double>(bits) - target_ * row / rows_;
    const int code = toCode((state().buffer + excess) * largestCode / reaction_);
    codeSum_ += code;
    return code;
}

void ConstantRate::finishPicture(int64_t bits)
{
    TypeState& type = state();
    const auto size = static_cast<double>(bits);
    type.complexity = size * codeSum_ / rows_;
    // What no quantiser can mend is not carried on for ever.
    type.buffer = std::clamp(type.buffer + size - target_, 0.0, 2 * reaction_);
    type.left = std::max(type.left - 1, 0);
    groupBits_ -= size;
}

} // namespace kelvcpx::app::mpeg2
