// Chooses the quantisers: constant ones, or those that keep to a bit rate.
#pragma once

#include "mpeg2/headers.h"

#include <array>
#include <cstdint>

namespace kelvcpx::app::mpeg2 {

class RateControl
{
public:
    virtual ~RateControl() = default;

    // The quantiser_scale_code that the picture will have, about.
    virtual int startPicture(PictureType type) = 0;

    // The code of a row of macroblocks, `bits` being those of the picture so far.
    virtual int codeOfRow(int row, int64_t bits) = 0;

    virtual void finishPicture(int64_t bits) = 0;
};

// The same code for all I and P pictures, and a somewhat larger one for B pictures, which nothing refers to.
class ConstantQuantiser : public RateControl
{
public:
    explicit ConstantQuantiser(int code) : code_(code) {}

    int startPicture(PictureType type) override;
    int codeOfRow(int, int64_t) override { return current_; }
    void finishPicture(int64_t) override {}

private:
    int code_;
    int current_ = 0;
};

// A number of bits for each group, of which a picture gets its share by what pictures of its type took last;
// within the picture the code follows a virtual buffer that its excess fills.
class ConstantRate : public RateControl
{
public:
    ConstantRate(double bitRate, double pictureRate, int rows, int groupSize, int bFrames);

    int startPicture(PictureType type) override;
    int codeOfRow(int row, int64_t bits) override;
    void finishPicture(int64_t bits) override;

private:
    // What is known about pictures of one type.
    struct TypeState {
        double complexity; // bits times code of the last one
        double weight;     // how much coarser than those of P pictures its quantisers are
        double buffer;     // fullness, bits
        int left = 0;      // to come in this group
    };

    TypeState& state() { return types_[static_cast<std::size_t>(type_) - 1]; }

    double bitsPerPicture_;
    int rows_;
    std::array<int, 3> countOfGroup_;
    std::array<TypeState, 3> types_; // I, P, B
    PictureType type_{};
    double reaction_;      // buffer fullness for which the code is largest
    double groupBits_ = 0; // left for this group
    double target_ = 0;
    double codeSum_ = 0; // of the rows of this picture
};

} // namespace kelvcpx::app::mpeg2
