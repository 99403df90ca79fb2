#include "apps/mpeg2_random_motion.h"

#include "mpeg2/code_tables.h"

#include <algorithm>
#include <cstdlib>

namespace kelvcpx::test {

using app::mpeg2::codeRows;
using app::mpeg2::Motion;
using app::mpeg2::MotionType;
using app::mpeg2::PictureStructure;
using app::mpeg2::Vector;

namespace {

int countOf(MotionType type, bool framePicture)
{
    return type == MotionType::sixteenByEight || (type == MotionType::field && framePicture) ? 2 : 1;
}

bool selectsField(MotionType type)
{
    return type == MotionType::field || type == MotionType::sixteenByEight;
}

// "//" of 4.1: the half of a number, rounded to nearest and away from zero.
int halfOf(int value)
{
    return value < 0 ? -((1 - value) / 2) : (value + 1) / 2;
}

} // namespace

bool VectorWriter::fieldsOfFrame(MotionType type) const
{
    return plan_.isFrame() && type != MotionType::frame;
}

VectorWriter::Region VectorWriter::regionOf(MotionType type, std::size_t r, int x, int y) const
{
    const int planeHeight = 16 * plan_.macroblocksHigh();
    if (fieldsOfFrame(type))
        return {x, y / 2, 8, planeHeight / 2};
    if (type == MotionType::sixteenByEight)
        return {x, y + 8 * static_cast<int>(r), 8, planeHeight};
    return {x, y, 16, planeHeight};
}

// Chroma never reaches further than luma: its vectors are halved towards zero.
bool VectorWriter::contains(const Region& region, Vector vector) const
{
    const int x = 2 * region.x + vector.x;
    const int y = 2 * region.y + vector.y;
    return x >= 0 && x <= 2 * 16 * (plan_.macroblocksWide() - 1) && y >= 0 &&
           y <= 2 * (region.planeHeight - region.height);
}

// A component that is mostly anything, often zero or next to it, and often as long as can be. Field vectors
// of frame pictures have half the range (table 7-8).
int VectorWriter::drawComponent(int low, int high, int fCode, bool fullSample, bool halfRange)
{
    const int unit = fullSample ? 2 : 1;
    const int range = (16 << (fCode - 1)) / (halfRange ? 2 : 1);
    low = std::max(low / unit, -range); // low is never positive, high never negative: rounded to the inside
    high = std::min(high / unit, range - 1);
    if (draft_.random.oneIn(3)) {
        low = std::max(low, -2);
        high = std::min(high, 2);
    }
    return draft_.random.extreme(low, high);
}

Vector VectorWriter::drawVector(const Region& region, int direction, bool halfRange)
{
    const auto s = static_cast<std::size_t>(direction);
    const bool full = plan_.header.fullSampleVectors[s];
    const auto& fCode = plan_.header.fCode[s];
    const int width = 16 * plan_.macroblocksWide();
    return {drawComponent(-2 * region.x, 2 * (width - 16 - region.x), fCode[0], full, false),
            drawComponent(-2 * region.y, 2 * (region.planeHeight - region.height - region.y), fCode[1], full,
                          halfRange)};
}

std::optional<Motion> VectorWriter::draw(MotionType type, int direction, int x, int y)
{
    Motion motion;
    for (std::size_t r = 0; r < static_cast<std::size_t>(countOf(type, plan_.isFrame())); r++) {
        motion.vectors[r] = drawVector(regionOf(type, r, x, y), direction, fieldsOfFrame(type));
        motion.fieldSelect[r] = plan_.onlyField.value_or(draft_.random.uniform(0, 1));
    }
    if (type == MotionType::dualPrime) {
        motion.differential = {draft_.random.uniform(-1, 1), draft_.random.uniform(-1, 1)};
        if (!dualPrimeStaysInside(motion, regionOf(type, 0, x, y)))
            return std::nullopt;
    }
    return motion;
}

// 7.6.3.6.
bool VectorWriter::dualPrimeStaysInside(const Motion& motion, const Region& region) const
{
    const auto opposite = [&](int distance, int shift) {
        return Vector{halfOf(motion.vectors[0].x * distance) + motion.differential.x,
                      halfOf(motion.vectors[0].y * distance) + shift + motion.differential.y};
    };
    switch (plan_.header.structure) {
    case PictureStructure::topField:
        return contains(region, opposite(1, -1));
    case PictureStructure::bottomField:
        return contains(region, opposite(1, 1));
    default:
        const bool topFirst = plan_.header.topFieldFirst;
        return contains(region, opposite(topFirst ? 1 : 3, -1)) &&
               contains(region, opposite(topFirst ? 3 : 1, 1));
    }
}

void VectorWriter::write(const Motion& motion, MotionType type, int direction)
{
    const auto s = static_cast<std::size_t>(direction);
    const auto& fCode = plan_.header.fCode[s];
    const int lines = fieldsOfFrame(type) ? 2 : 1;
    const auto count = static_cast<std::size_t>(countOf(type, plan_.isFrame()));
    for (std::size_t r = 0; r < count; r++) {
        if (selectsField(type))
            draft_.bits.put(motion.fieldSelect[r], 1);
        Vector& predictor = predictors_[r][s];
        const Vector vector = motion.vectors[r];
        writeComponent(vector.x, predictor.x, fCode[0]);
        if (type == MotionType::dualPrime)
            writeDifferential(motion.differential.x);
        writeComponent(vector.y, lines == 2 ? predictor.y >> 1 : predictor.y, fCode[1]);
        if (type == MotionType::dualPrime)
            writeDifferential(motion.differential.y);
        predictor = {vector.x, vector.y * lines};
    }
    if (count == 1)
        predictors_[1][s] = predictors_[0][s];
}

// 7.6.3.1. The difference is taken modulo the range.
void VectorWriter::writeComponent(int value, int prediction, int fCode)
{
    const int f = 1 << (fCode - 1);
    int delta = value - prediction;
    if (delta < -16 * f || delta > 16 * f - 1) {
        draft_.tools["vector that wraps around"]++;
        delta += delta < 0 ? 32 * f : -32 * f;
    }
    if (delta == -16 * f && draft_.random.oneIn(2))
        delta = 16 * f;
    const int magnitude = delta == 0 ? 0 : (std::abs(delta) - 1) / f + 1;
    draft_.putCode(codeRows.motionCode, delta < 0 ? -magnitude : magnitude);
    if (magnitude != 0)
        draft_.bits.put((std::abs(delta) - 1) % f, fCode - 1);
}

void VectorWriter::writeDifferential(int value)
{
    draft_.putCode(codeRows.dmvector, value);
}

bool VectorWriter::canRepeat(int direction, int x, int y) const
{
    const auto s = static_cast<std::size_t>(direction);
    const Vector vector = predictors_[0][s];
    // A skipped macroblock repeats the vector of the one before it (11172-2 2.4.4.4), which full-sample
    // vectors are doubled for; ffmpeg does not double them then.
    if (plan_.header.fullSampleVectors[s])
        return vector == Vector{};
    return contains(regionOf(plan_.isFrame() ? MotionType::frame : MotionType::field, 0, x, y), vector);
}

} // namespace kelvcpx::test
