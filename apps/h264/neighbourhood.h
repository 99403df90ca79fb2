// The macroblocks round the current one that it may depend on: of the same slice and decoded (ITU-T H.264
// 6.4.9 to 6.4.12).
#pragma once

#include "h264/slice_context.h"

namespace kelvcpx::app::h264 {

// The macroblock that a luma sample belongs to, and the sample's row in it. address < 0: not available.
struct Neighbour {
    int address = -1;
    int row = 15;

    bool isAvailable() const { return address >= 0; }
};

// In frames of macroblock pairs (MBAFF) a neighbour is found where it lies in the picture, be the two
// macroblocks of frame or field mode: that is what table 6-4 comes to.
class Neighbourhood
{
public:
    Neighbourhood() = default;

    // The mode of the current macroblock and its pair must be known.
    Neighbourhood(const PictureContext& picture, int slice, int address)
        : picture_(&picture), slice_(slice), address_(address), width_(picture.widthInMbs)
    {
        const int x = address % width_;
        const bool hasLeft = x > 0;
        const bool hasRight = x + 1 < width_;
        if (picture.hasPairs) {
            findPairs(hasLeft, hasRight);
            return;
        }
        left_ = available(address - 1, hasLeft);
        top_ = {available(address - width_, true)};
        topRight_ = {available(address - width_ + 1, hasRight)};
        topLeft_ = {available(address - width_ - 1, hasLeft)};
    }

    // Of the samples (-1, row), (0, -1), (16, -1) and (-1, -1).
    Neighbour left(int row) const
    {
        return straight_ ? Neighbour{left_, row} : inPair(left_, rowInPair(row));
    }
    const Neighbour& top() const { return top_; }
    const Neighbour& topRight() const { return topRight_; }
    const Neighbour& topLeft() const { return topLeft_; }

    // In a frame of pairs: the first macroblocks of the pairs to the left and above, -1 if not available.
    static std::array<int, 2> pairsRound(const PictureContext& picture, int slice, int address);

private:
    int available(int neighbour, bool inside) const
    {
        return inside && neighbour >= 0 && picture_->at(neighbour).slice == slice_ ? neighbour : -1;
    }

    void findPairs(bool hasLeft, bool hasRight);
    int rowInPair(int row) const { return isField_ ? 2 * row + bottom_ : row + 16 * bottom_; }
    Neighbour inPair(int pair, int row) const; // row 0..31 of the picture

    const PictureContext* picture_ = nullptr;
    int slice_ = 0;
    int address_ = 0;
    int width_ = 0;
    bool isField_ = false; // of a pair
    int bottom_ = 0;       // 1: the second of a pair
    bool straight_ = true; // the macroblock to the left has the same rows
    int left_ = -1;        // the macroblock, or the first of the pair if its rows are not the same
    Neighbour top_;
    Neighbour topRight_;
    Neighbour topLeft_;
};

} // namespace kelvcpx::app::h264
