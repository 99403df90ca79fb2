#include "mpeg2/encoder/motion_writer.h"

#include "mpeg2/encoder/encoding_tables.h"

#include <cstdlib>

namespace kelvcpx::app::mpeg2 {

void MotionWriter::write(BitWriter& bits, const Motion& motion, MotionType type, int direction)
{
    const auto s = static_cast<std::size_t>(direction);
    const auto& fCode = picture_.fCode[s];
    const bool byField = type == MotionType::field;
    for (std::size_t r = 0; r < (byField ? 2 : 1); r++) {
        if (byField)
            bits.put(motion.fieldSelect[r], 1);
        Vector& predictor = predictors_[r][s];
        const Vector vector = motion.vectors[r];
        writeComponent(bits, vector.x, predictor.x, fCode[0]);
        // Vectors that count the lines of a field are predicted from frame vectors and the other way round.
        writeComponent(bits, vector.y, byField ? predictor.y >> 1 : predictor.y, fCode[1]);
        predictor = {vector.x, byField ? vector.y * 2 : vector.y};
    }
    if (!byField)
        predictors_[1][s] = predictors_[0][s];
}

int MotionWriter::fCodeFor(int component)
{
    int fCode = 1;
    while (component < -(16 << (fCode - 1)) || component > (16 << (fCode - 1)) - 1)
        fCode++;
    return fCode;
}

// 7.6.3.1: the difference is taken modulo the range.
void MotionWriter::writeComponent(BitWriter& bits, int value, int prediction, int fCode) const
{
    const int residualBits = fCode - 1;
    const int low = -16 * (1 << residualBits);
    const int range = 32 * (1 << residualBits);
    const int delta = ((value - prediction - low) & (range - 1)) + low;
    const int magnitude = delta == 0 ? 0 : ((std::abs(delta) - 1) >> residualBits) + 1;
    encodingTables().motionCode.put(bits, delta < 0 ? -magnitude : magnitude);
    if (magnitude != 0)
        bits.put(std::abs(delta) - 1, residualBits);
}

} // namespace kelvcpx::app::mpeg2
