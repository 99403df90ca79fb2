// Random motion vectors of MPEG-1 and MPEG-2 streams, their prediction and coding (ISO/IEC 13818-2 7.6.3).
#pragma once

#include "apps/mpeg2_random_block.h"

#include "mpeg2/headers.h"
#include "mpeg2/motion.h"

#include <array>
#include <optional>

namespace kelvcpx::test {

// A picture with its headers and what the writer of its macroblocks must know and keep to.
struct PicturePlan {
    app::mpeg2::Sequence sequence;
    app::mpeg2::Picture header;
    bool exact = true;            // exactLevels() only
    bool forward = true;          // of a B picture: it may refer to the picture before it
    bool dualPrime = false;       // dual prime prediction is allowed
    std::optional<int> onlyField; // the parity of the only field it may refer to

    bool isFrame() const { return header.structure == app::mpeg2::PictureStructure::frame; }
    int macroblocksWide() const { return sequence.macroblocksWide(); }
    int macroblocksHigh() const { return sequence.macroblocksHigh() / (isFrame() ? 1 : 2); }
};

class VectorWriter
{
public:
    VectorWriter(Draft& draft, const PicturePlan& plan) : draft_(draft), plan_(plan) {}

    // Vectors of the macroblock at x, y that refer to nothing outside of the reference picture; none if the
    // draw did not succeed, as may happen with dual prime.
    std::optional<app::mpeg2::Motion> draw(app::mpeg2::MotionType type, int direction, int x, int y);

    // motion_vectors(s), 6.2.5.2.
    void write(const app::mpeg2::Motion& motion, app::mpeg2::MotionType type, int direction);

    void reset() { predictors_ = {}; }

    // True if the macroblock at x, y can be skipped in a B picture that uses the direction: its vector is the
    // predictor.
    bool canRepeat(int direction, int x, int y) const;

private:
    struct Region { // of the picture, or of a field of it
        int x;
        int y;
        int height;
        int planeHeight;
    };

    bool fieldsOfFrame(app::mpeg2::MotionType type) const;
    Region regionOf(app::mpeg2::MotionType type, std::size_t r, int x, int y) const;
    bool contains(const Region& region, app::mpeg2::Vector vector) const;
    int drawComponent(int low, int high, int fCode, bool fullSample, bool halfRange);
    app::mpeg2::Vector drawVector(const Region& region, int direction, bool halfRange);
    bool dualPrimeStaysInside(const app::mpeg2::Motion& motion, const Region& region) const;
    void writeComponent(int value, int prediction, int fCode);
    void writeDifferential(int value);

    Draft& draft_;
    const PicturePlan& plan_;
    std::array<std::array<app::mpeg2::Vector, 2>, 2> predictors_{}; // PMV[r][s], in the units of the stream
};

} // namespace kelvcpx::test
