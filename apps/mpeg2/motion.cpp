#include "mpeg2/motion.h"

#include "mpeg2/code_tables.h"

#include <cstdlib>

namespace kelvcpx::app::mpeg2 {

Vector MotionPredictor::predicted(int direction) const
{
    const auto s = static_cast<std::size_t>(direction);
    const Vector vector = predictors_[0][s];
    const int scale = picture_.fullSampleVectors[s] ? 2 : 1;
    return {vector.x * scale, vector.y * scale};
}

Motion MotionPredictor::read(BitReader& reader, MotionType type, int direction)
{
    const bool framePicture = picture_.structure == PictureStructure::frame;
    const bool twoVectors = type == MotionType::sixteenByEight || (type == MotionType::field && framePicture);
    const bool selectsField = twoVectors || (type == MotionType::field && !framePicture);
    // Vectors of a frame picture that count field lines are predicted from frame vectors and the other way
    // round.
    const bool fieldInFrame = framePicture && type != MotionType::frame;

    const auto s = static_cast<std::size_t>(direction);
    Motion motion;
    for (std::size_t r = 0; r < (twoVectors ? 2 : 1); r++) {
        if (selectsField)
            motion.fieldSelect[r] = reader.readFlag() ? 1 : 0;
        Vector* const differential = type == MotionType::dualPrime ? &motion.differential : nullptr;
        motion.vectors[r] = readVector(reader, r, direction, fieldInFrame, differential);
    }
    if (!twoVectors)
        predictors_[1][s] = predictors_[0][s];
    return motion;
}

Vector MotionPredictor::readVector(BitReader& reader, std::size_t r, int direction, bool fieldInFrame,
                                   Vector* differential)
{
    const auto s = static_cast<std::size_t>(direction);
    Vector& predictor = predictors_[r][s];
    Vector vector;
    vector.x = readComponent(reader, predictor.x, picture_.fCode[s][0]);
    if (differential != nullptr)
        differential->x = reader.decode(codeTables().dmvector);
    vector.y = readComponent(reader, fieldInFrame ? predictor.y >> 1 : predictor.y, picture_.fCode[s][1]);
    if (differential != nullptr)
        differential->y = reader.decode(codeTables().dmvector);
    predictor = {vector.x, fieldInFrame ? vector.y * 2 : vector.y};
    const int scale = picture_.fullSampleVectors[s] ? 2 : 1;
    return {vector.x * scale, vector.y * scale};
}

// 7.6.3.1.
int MotionPredictor::readComponent(BitReader& reader, int prediction, int fCode) const
{
    if (fCode < 1 || fCode > 9)
        throw DamagedUnit("a vector has no valid f_code");
    const int code = reader.decode(codeTables().motionCode);
    const int residualBits = fCode - 1;
    int delta = code;
    if (residualBits > 0 && code != 0) {
        const int magnitude = ((std::abs(code) - 1) << residualBits) + reader.readInt(residualBits) + 1;
        delta = code < 0 ? -magnitude : magnitude;
    }
    const int low = -16 * (1 << residualBits);
    const int range = 32 * (1 << residualBits);
    return ((prediction + delta - low) & (range - 1)) + low;
}

// 7.6.3.6: scaled to the distance of the field, rounded away from zero at a half, plus the correction for the
// vertical shift between the fields, plus the differential.
std::array<Vector, 2> oppositeParityVectors(const Motion& motion, const Picture& picture)
{
    const Vector base = motion.vectors[0];
    const auto scaled = [&](int distance, int shift) {
        const auto part = [=](int component) {
            return (component * distance + (component > 0 ? 1 : 0)) >> 1;
        };
        return Vector{part(base.x) + motion.differential.x, part(base.y) + motion.differential.y + shift};
    };
    if (picture.structure == PictureStructure::topField)
        return {scaled(1, -1), {}};
    if (picture.structure == PictureStructure::bottomField)
        return {scaled(1, +1), {}};
    const bool topFirst = picture.topFieldFirst;
    return {scaled(topFirst ? 1 : 3, -1), scaled(topFirst ? 3 : 1, +1)};
}

} // namespace kelvcpx::app::mpeg2
