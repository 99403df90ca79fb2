#include "h264/neighbourhood.h"

namespace kelvcpx::app::h264 {

Neighbour Neighbourhood::inPair(int pair, int row) const
{
    if (pair < 0)
        return {};
    if (picture_->at(pair).field)
        return {pair + row % 2 * width_, row / 2};
    return {pair + row / 16 * width_, row % 16};
}

void Neighbourhood::findPairs(bool hasLeft, bool hasRight)
{
    bottom_ = address_ / width_ % 2;
    isField_ = picture_->at(address_).field;
    const int pair = address_ - bottom_ * width_;
    const int left = available(pair - 1, hasLeft);
    const int above = pair - 2 * width_;
    straight_ = left < 0 || picture_->at(left).field == isField_;
    left_ = straight_ && left >= 0 ? left + bottom_ * width_ : left;
    if (bottom_ == 1 && !isField_) {
        top_ = {pair};
        topLeft_ = inPair(left, 15);
        return; // what is above to the right comes later
    }
    const int row = isField_ ? 30 + bottom_ : 31;
    top_ = inPair(available(above, true), row);
    topRight_ = inPair(available(above + 1, hasRight), row);
    topLeft_ = inPair(available(above - 1, hasLeft), row);
}

std::array<int, 2> Neighbourhood::pairsRound(const PictureContext& picture, int slice, int address)
{
    const int width = picture.widthInMbs;
    const int pair = address - address / width % 2 * width;
    const auto available = [&](int neighbour, bool inside) {
        return inside && neighbour >= 0 && picture.at(neighbour).slice == slice ? neighbour : -1;
    };
    return {available(pair - 1, pair % width > 0), available(pair - 2 * width, true)};
}

} // namespace kelvcpx::app::h264
