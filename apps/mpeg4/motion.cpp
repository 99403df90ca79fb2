#include "mpeg4/motion.h"

#include "common/median.h"
#include "mpeg4/code_tables.h"

#include <algorithm>
#include <cstdlib>

namespace kelvcpx::app::mpeg4 {
namespace {

// Where the vector of a neighbouring block is: so many macroblocks to the right and down, in a block.
struct Candidate {
    int dx;
    int dy;
    std::size_t block;
};

// By block: left, above, above to the right (figure 7-34).
constexpr Candidate candidates[4][3] = {{{-1, 0, 1}, {0, -1, 2}, {1, -1, 2}},
                                        {{0, 0, 0}, {0, -1, 3}, {1, -1, 2}},
                                        {{-1, 0, 3}, {0, 0, 0}, {0, 0, 1}},
                                        {{0, 0, 2}, {0, 0, 0}, {0, 0, 1}}};

// Half of a sum, halves away from zero.
int halved(int sum)
{
    return (sum >> 1) | (sum & 1);
}

Vector vectorOf(int x, int y)
{
    return {static_cast<int16_t>(x), static_cast<int16_t>(y)};
}

// A predictor in field rows.
Vector ofField(Vector frame)
{
    return vectorOf(frame.x, frame.y / 2);
}

int readComponent(CodeReader& reader, int predictor, int fcode)
{
    const int code = reader.decode(codeTables().mvd);
    int difference = code;
    if (fcode > 1 && code != 0) {
        const int residual = reader.readInt(fcode - 1);
        const int magnitude = ((std::abs(code) - 1) << (fcode - 1)) + residual + 1;
        difference = code < 0 ? -magnitude : magnitude;
    }
    const int range = 64 << (fcode - 1);
    const int vector = predictor + difference;
    return vector < -range / 2 ? vector + range : vector >= range / 2 ? vector - range : vector;
}

} // namespace

Vector MotionReader::read(CodeReader& reader, Vector predictor, int fcode) const
{
    const int x = readComponent(reader, predictor.x, fcode);
    return vectorOf(x, readComponent(reader, predictor.y, fcode));
}

// 7.6.5. Neighbours outside of the VOP or of the video packet are not valid.
Vector MotionReader::predicted(const Macroblock& macroblock, std::size_t block) const
{
    std::array<Vector, 3> valid{};
    std::size_t count = 0;
    std::array<Vector, 3> vectors{};
    const uint16_t packet = motionOf(macroblock).packet;
    for (std::size_t i = 0; i < 3; i++) {
        const auto& [dx, dy, other] = candidates[block][i];
        const int column = macroblock.column + dx;
        const int row = macroblock.row + dy;
        if (column < 0 || column >= context_.wide() || row < 0)
            continue;
        const MacroblockMotion& motion =
            context_.target->motion[static_cast<std::size_t>(row * context_.wide() + column)];
        if (motion.packet != packet)
            continue;
        vectors[i] = motion.vectors[other];
        valid[count++] = vectors[i];
    }
    if (count == 1)
        return valid[0];
    return {median(vectors[0].x, vectors[1].x, vectors[2].x),
            median(vectors[0].y, vectors[1].y, vectors[2].y)};
}

void MotionReader::readForward(CodeReader& reader, Macroblock& macroblock)
{
    MacroblockMotion& motion = motionOf(macroblock);
    motion.kind = macroblock.kind;
    Macroblock::Motion& forward = macroblock.motion[0];
    forward.used = true;
    const int fcode = context_.vop.fcode[0];
    switch (macroblock.kind) {
    case MotionKind::blocks:
        for (std::size_t i = 0; i < 4; i++)
            motion.vectors[i] = read(reader, predicted(macroblock, i), fcode);
        forward.vectors = motion.vectors;
        break;
    case MotionKind::fields: {
        const Vector predictor = ofField(predicted(macroblock, 0));
        for (std::size_t i = 0; i < 2; i++)
            forward.vectors[i] = read(reader, predictor, fcode);
        std::copy_n(forward.vectors.begin(), 2, motion.ofFields.begin());
        motion.fields = forward.fields;
        motion.vectors.fill(vectorOf(halved(forward.vectors[0].x + forward.vectors[1].x),
                                     forward.vectors[0].y + forward.vectors[1].y));
        break;
    }
    default:
        motion.vectors.fill(read(reader, predicted(macroblock, 0), fcode));
        forward.vectors = motion.vectors;
        break;
    }
}

void MotionReader::setGlobal(Macroblock& macroblock)
{
    MacroblockMotion& motion = motionOf(macroblock);
    motion.kind = MotionKind::global;
    Vector mean{};
    keliCalcGlobalMV_MPEG4(16 * macroblock.column, 16 * macroblock.row, &mean, context_.warp);
    motion.vectors.fill(mean);
    macroblock.kind = MotionKind::global;
    macroblock.motion[0].used = true;
}

void MotionReader::readBidirectional(CodeReader& reader, Macroblock& macroblock, int32_t type)
{
    if (type == typeDirect) {
        setDirect(context_, macroblock, read(reader, {}, 1));
        return;
    }
    if ((type & typeForward) != 0)
        readDirection(reader, macroblock, 0);
    if ((type & typeBackward) != 0)
        readDirection(reader, macroblock, 1);
}

void MotionReader::readDirection(CodeReader& reader, Macroblock& macroblock, std::size_t direction)
{
    Macroblock::Motion& motion = macroblock.motion[direction];
    std::array<Vector, 2>& predictors = rowPredictors_[direction];
    const int fcode = context_.vop.fcode[direction];
    motion.used = true;
    if (macroblock.kind != MotionKind::fields) {
        motion.vectors.fill(read(reader, predictors[0], fcode));
        predictors.fill(motion.vectors[0]);
        return;
    }
    for (std::size_t i = 0; i < 2; i++) {
        motion.vectors[i] = read(reader, ofField(predictors[i]), fcode);
        predictors[i] = vectorOf(motion.vectors[i].x, 2 * motion.vectors[i].y);
    }
}

namespace {

// One component of both vectors: the forward one, then the backward one.
std::array<int, 2> scale(int vector, int difference, const Distances& distances)
{
    const int64_t forward = vector * distances.current / distances.future + difference;
    const int64_t backward = difference != 0
                                 ? forward - vector
                                 : vector * (distances.current - distances.future) / distances.future;
    return {static_cast<int>(forward), static_cast<int>(backward)};
}

void scale(Macroblock& macroblock, std::size_t i, Vector vector, Vector difference,
           const Distances& distances)
{
    const auto x = scale(vector.x, difference.x, distances);
    const auto y = scale(vector.y, difference.y, distances);
    macroblock.motion[0].vectors[i] = vectorOf(x[0], y[0]);
    macroblock.motion[1].vectors[i] = vectorOf(x[1], y[1]);
}

} // namespace

void setDirect(const VopContext& context, Macroblock& macroblock, Vector difference)
{
    const MacroblockMotion& future = context.future->motion[static_cast<std::size_t>(macroblock.address)];
    for (Macroblock::Motion& motion : macroblock.motion)
        motion.used = true;
    if (future.kind == MotionKind::fields) {
        macroblock.kind = MotionKind::fields;
        for (std::size_t i = 0; i < 2; i++) {
            macroblock.motion[0].fields[i] = future.fields[i];
            macroblock.motion[1].fields[i] = static_cast<uint8_t>(i);
            scale(macroblock, i, future.ofFields[i], difference, context.fields[i][future.fields[i]]);
        }
        return;
    }
    // Quarter samples of a block depend on its size.
    const bool oneVector = !context.layer.quarterSample && future.kind != MotionKind::blocks;
    macroblock.kind = oneVector ? MotionKind::whole : MotionKind::blocks;
    for (std::size_t i = 0; i < (oneVector ? 1 : 4); i++)
        scale(macroblock, i, future.vectors[i], difference, context.frames);
}

} // namespace kelvcpx::app::mpeg4
