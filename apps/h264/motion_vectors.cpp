#include "h264/motion_vectors.h"

#include "common/median.h"
#include <algorithm>
#include <cstdlib>

namespace kelvcpx::app::h264 {
namespace {

Vector add(Vector a, Vector b)
{
    return {static_cast<int16_t>(a.x + b.x), static_cast<int16_t>(a.y + b.y)};
}

// Position of an 8x8 block in 4x4 blocks.
constexpr int blockX(std::size_t block8x8)
{
    return static_cast<int>(block8x8 % 2) * 2;
}

constexpr int blockY(std::size_t block8x8)
{
    return static_cast<int>(block8x8 / 2) * 2;
}

bool isNearZero(Vector vector)
{
    return std::abs(vector.x) <= 1 && std::abs(vector.y) <= 1;
}

// The smaller of two indices that is not negative (8.4.1.2.2).
int minPositive(int a, int b)
{
    return a >= 0 && b >= 0 ? std::min(a, b) : std::max(a, b);
}

} // namespace

MotionDeriver::MotionDeriver(const SliceContext& slice) : slice_(slice), field_(*slice.picture.motion)
{
    if (slice.header.isB())
        prepareColocated();
}

void MotionDeriver::clear(const CurrentMacroblock& current)
{
    current_ = &current;
    for (std::size_t list = 0; list < 2; list++) {
        put(list, 0, 0, 4, 4, {});
        for (std::size_t block = 0; block < 4; block++)
            putReference(list, block, -1);
    }
}

void MotionDeriver::derive(const CurrentMacroblock& current)
{
    current_ = &current;
    Macroblock& macroblock = current.macroblock;
    if (macroblock.skipped && !slice_.header.isB()) {
        macroblock.lists.fill(fromList0);
        deriveSkippedP();
        return;
    }
    // Partitions look at the references of blocks that come later in decoding order, too.
    for (std::size_t list = 0; list < 2; list++)
        for (std::size_t block = 0; block < 4; block++)
            putReference(list, block, macroblock.refIdx[list][block]);
    if (std::find(macroblock.direct.begin(), macroblock.direct.end(), true) != macroblock.direct.end())
        deriveDirect(macroblock);
    for (std::size_t list = 0; list < 2; list++)
        derivePartitions(macroblock, list);
}

bool MotionDeriver::movesAsOne() const
{
    for (std::size_t list = 0; list < 2; list++) {
        const int8_t* const refIdx =
            field_.refIdx[list].data() + field_.block8x8(2 * current_->x, 2 * current_->y);
        const Vector* const vectors =
            field_.vectors[list].data() + field_.block4x4(4 * current_->x, 4 * current_->y);
        for (int y = 0; y < 4; y++) {
            const int8_t* const indexRow = refIdx + y / 2 * 2 * field_.widthInMbs;
            const Vector* const row = vectors + y * 4 * field_.widthInMbs;
            if (indexRow[0] != refIdx[0] || indexRow[1] != refIdx[0])
                return false;
            if (!std::equal(row + 1, row + 4, row) || row[0] != vectors[0])
                return false;
        }
    }
    return true;
}

void MotionDeriver::put(std::size_t list, int x, int y, int width, int height, Vector vector)
{
    for (int row = y; row < y + height; row++)
        std::fill_n(field_.vectors[list].data() + field_.block4x4(4 * current_->x + x, 4 * current_->y + row),
                    width, vector);
}

void MotionDeriver::putReference(std::size_t list, std::size_t block, int refIdx)
{
    const auto at = field_.block8x8(2 * current_->x + static_cast<int>(block % 2),
                                    2 * current_->y + static_cast<int>(block / 2));
    field_.refIdx[list][at] = static_cast<int8_t>(refIdx);
    field_.references[list][at] =
        refIdx < 0 ? noPicture : current_->references.lists[list][static_cast<std::size_t>(refIdx)].id();
}

// The block at a position in 4x4 blocks in the current macroblock.
MotionDeriver::Candidate MotionDeriver::candidate(std::size_t list, int x, int y) const
{
    const int column = 4 * current_->x + x;
    const int row = 4 * current_->y + y;
    const int refIdx = field_.refIdx[list][field_.block8x8(column / 2, row / 2)];
    if (refIdx < 0)
        return {true, -1, {}};
    return {true, refIdx, field_.vectors[list][field_.block4x4(column, row)]};
}

// The block in column x of a neighbouring macroblock, in units of the current one (8.4.1.3.2).
MotionDeriver::Candidate MotionDeriver::candidate(std::size_t list, const Neighbour& neighbour, int x) const
{
    if (!neighbour.isAvailable())
        return {};
    const int width = slice_.picture.widthInMbs;
    const int column = 4 * (neighbour.address % width) + x;
    const int row = 4 * (neighbour.address / width) + neighbour.row / 4;
    int refIdx = field_.refIdx[list][field_.block8x8(column / 2, row / 2)];
    if (refIdx < 0)
        return {true, -1, {}};
    Vector vector = field_.vectors[list][field_.block4x4(column, row)];
    const bool isField = slice_.picture.at(neighbour.address).field;
    if (isField && !current_->isFieldOfPair) {
        refIdx /= 2;
        vector.y = static_cast<int16_t>(vector.y * 2);
    } else if (!isField && current_->isFieldOfPair) {
        refIdx *= 2;
        vector.y = static_cast<int16_t>(vector.y / 2);
    }
    return {true, refIdx, vector};
}

// 6.4.11.7: whether the block to the upper right of a partition below the first row of blocks comes before
// it.
bool MotionDeriver::isDecodedBefore(int x, int y, int width)
{
    const auto order = [](int column, int row) {
        return rasterOfBlock[static_cast<std::size_t>(4 * row + column)];
    };
    return x + width < 4 && order(x + width, y - 1) < order(x, y);
}

MotionDeriver::Candidates MotionDeriver::candidates(std::size_t list, int x, int y, int width) const
{
    Candidates result;
    result.a = x > 0 ? candidate(list, x - 1, y) : candidate(list, current_->around.left(4 * y), 3);
    result.b = y > 0 ? candidate(list, x, y - 1) : candidate(list, current_->around.top(), x);
    if (y > 0 && isDecodedBefore(x, y, width))
        result.c = candidate(list, x + width, y - 1);
    else if (y == 0 && x + width < 4)
        result.c = candidate(list, current_->around.top(), x + width);
    else if (y == 0)
        result.c = candidate(list, current_->around.topRight(), 0);
    if (result.c.available)
        return result;
    if (x > 0)
        result.c = y > 0 ? candidate(list, x - 1, y - 1) : candidate(list, current_->around.top(), x - 1);
    else
        result.c = candidate(list, y > 0 ? current_->around.left(4 * y - 1) : current_->around.topLeft(), 3);
    return result;
}

// 8.4.1.3.1
Vector MotionDeriver::median(const Candidates& candidates, int refIdx)
{
    const Candidate& a = candidates.a;
    const Candidate& b = candidates.b;
    const Candidate& c = candidates.c;
    if (!b.available && !c.available && a.available)
        return a.vector;
    const int matches =
        (a.refIdx == refIdx ? 1 : 0) + (b.refIdx == refIdx ? 1 : 0) + (c.refIdx == refIdx ? 1 : 0);
    if (matches == 1)
        return a.refIdx == refIdx ? a.vector : b.refIdx == refIdx ? b.vector : c.vector;
    return {app::median(a.vector.x, b.vector.x, c.vector.x), app::median(a.vector.y, b.vector.y, c.vector.y)};
}

// 8.4.1.3
Vector MotionDeriver::predict(std::size_t list, int x, int y, int width, int height,
                              Partitioning partitioning, int refIdx) const
{
    const Candidates around = candidates(list, x, y, width);
    if (partitioning == Partitioning::twoRows && height == 2 && width == 4) {
        const Candidate& preferred = y == 0 ? around.b : around.a;
        if (preferred.refIdx == refIdx)
            return preferred.vector;
    } else if (partitioning == Partitioning::twoColumns && width == 2 && height == 4) {
        const Candidate& preferred = x == 0 ? around.a : around.c;
        if (preferred.refIdx == refIdx)
            return preferred.vector;
    }
    return median(around, refIdx);
}

// 8.4.1.1
void MotionDeriver::deriveSkippedP()
{
    for (std::size_t block = 0; block < 4; block++) {
        putReference(0, block, 0);
        putReference(1, block, -1);
    }
    const Candidates around = candidates(0, 0, 0, 4);
    const auto holdsStill = [](const Candidate& c) { return c.refIdx == 0 && c.vector == Vector{}; };
    const bool still =
        !around.a.available || !around.b.available || holdsStill(around.a) || holdsStill(around.b);
    put(0, 0, 0, 4, 4, still ? Vector{} : median(around, 0));
    put(1, 0, 0, 4, 4, {});
}

void MotionDeriver::derivePartitions(const Macroblock& macroblock, std::size_t list)
{
    const auto partition = [&](std::size_t block, int width, int height) {
        const int x = blockX(block);
        const int y = blockY(block);
        const int refIdx = macroblock.refIdx[list][block];
        if (refIdx < 0)
            put(list, x, y, width, height, {});
        else
            put(list, x, y, width, height,
                add(predict(list, x, y, width, height, macroblock.partitioning, refIdx),
                    macroblock.mvd[list][4 * block]));
    };
    switch (macroblock.partitioning) {
    case Partitioning::whole:
        partition(0, 4, 4);
        break;
    case Partitioning::twoRows:
        partition(0, 4, 2);
        partition(2, 4, 2);
        break;
    case Partitioning::twoColumns:
        partition(0, 2, 4);
        partition(1, 2, 4);
        break;
    case Partitioning::four:
        for (std::size_t block = 0; block < 4; block++)
            if (!macroblock.direct[block])
                deriveSubPartitions(macroblock, list, block);
        break;
    }
}

void MotionDeriver::deriveSubPartitions(const Macroblock& macroblock, std::size_t list, std::size_t block)
{
    const int refIdx = macroblock.refIdx[list][block];
    const Partitioning sub = macroblock.subPartitioning[block];
    const int width = sub == Partitioning::whole || sub == Partitioning::twoRows ? 2 : 1;
    const int height = sub == Partitioning::whole || sub == Partitioning::twoColumns ? 2 : 1;
    if (refIdx < 0) {
        put(list, blockX(block), blockY(block), 2, 2, {});
        return;
    }
    for (int dy = 0; dy < 2; dy += height) {
        for (int dx = 0; dx < 2; dx += width) {
            const int x = blockX(block) + dx;
            const int y = blockY(block) + dy;
            const Vector difference = macroblock.mvd[list][4 * block + static_cast<std::size_t>(2 * dy + dx)];
            put(list, x, y, width, height,
                add(predict(list, x, y, width, height, Partitioning::four, refIdx), difference));
        }
    }
}

// 8.4.1.2.1: the picture that direct prediction looks at.
void MotionDeriver::prepareColocated()
{
    const ReferencePicture& first = slice_.references.lists[1].front();
    colocated_ = first.frame.get();
    colocatedStructure_ = first.structure;
    colocatedIsShortTerm_ = !first.isLongTerm();
    const int64_t poc = slice_.picture.frame->poc(slice_.picture.structure);
    const int64_t toTop = std::abs(first.frame->fieldPoc[0] - poc);
    const int64_t toBottom = std::abs(first.frame->fieldPoc[1] - poc);
    nearerField_ = toTop < toBottom ? 0 : 1;
}

// The row of 4x4 blocks that is co-located with row y of the macroblock (table 8-6, table 8-8).
MotionDeriver::ColocatedBlock MotionDeriver::colocatedBlock(int y) const
{
    return colocated_->codedAsFields ? colocatedInFields(y) : colocatedInFrame(y);
}

// The reference was coded as two fields.
MotionDeriver::ColocatedBlock MotionDeriver::colocatedInFields(int y) const
{
    if (slice_.picture.isField())
        return {&colocated_->motionOf(colocatedStructure_), current_->y, y, 0};
    if (current_->place.isField())
        return {&colocated_->motionOf(current_->place.structure), current_->y / 2, y, 0};
    return {&colocated_->motion[nearerField_], current_->y / 2, 2 * (current_->y % 2) + y / 2, 1};
}

// The reference was coded as a frame.
MotionDeriver::ColocatedBlock MotionDeriver::colocatedInFrame(int y) const
{
    const MotionField* const field = &colocated_->motion[0];
    const int pair = slice_.picture.isField() ? current_->y : current_->y / 2;
    const bool isFieldPair = field->isFieldPair(current_->x, pair);
    if (isFieldPair == current_->place.isField()) {
        const int parity = current_->place.structure == Structure::bottom ? 1 : 0;
        return {field, slice_.picture.isField() ? 2 * pair + parity : current_->y, y, 0};
    }
    if (current_->place.isField())
        return {field, 2 * pair + y / 2, y / 2 * 2, -1};
    return {field, 2 * pair + static_cast<int>(nearerField_), 2 * (current_->y % 2) + y / 2, 1};
}

// The block that is co-located with the 4x4 block x, y of the macroblock.
MotionDeriver::Colocated MotionDeriver::colocatedOf(int x, int y) const
{
    const bool corners = slice_.picture.sequence.direct8x8Inference;
    const ColocatedBlock block = colocatedBlock(corners ? y / 2 * 3 : y);
    const MotionField& field = *block.field;
    Colocated result;
    result.verticalScale = block.verticalScale;
    const int column = 4 * current_->x + (corners ? x / 2 * 3 : x);
    const int row = 4 * block.mbY + block.row;
    const std::size_t block8x8 = field.block8x8(column / 2, row / 2);
    const std::size_t block4x4 = field.block4x4(column, row);
    if (block4x4 >= field.vectors[0].size())
        return result;
    for (std::size_t list = 0; list < 2; list++) {
        if (field.refIdx[list][block8x8] >= 0) {
            result.intra = false;
            result.refIdx = field.refIdx[list][block8x8];
            result.reference = field.references[list][block8x8];
            result.vector = field.vectors[list][block4x4];
            break;
        }
    }
    return result;
}

void MotionDeriver::deriveDirect(Macroblock& macroblock)
{
    if (slice_.header.directSpatial) {
        const SpatialPrediction prediction = predictSpatially();
        for (std::size_t block = 0; block < 4; block++)
            if (macroblock.direct[block])
                deriveSpatial(macroblock, block, prediction);
    } else {
        for (std::size_t block = 0; block < 4; block++)
            if (macroblock.direct[block])
                deriveTemporal(macroblock, block);
    }
}

// 8.4.1.2.2: references and vectors of the whole macroblock, from its neighbours.
MotionDeriver::SpatialPrediction MotionDeriver::predictSpatially() const
{
    SpatialPrediction prediction{};
    for (std::size_t list = 0; list < 2; list++) {
        const Candidates around = candidates(list, 0, 0, 4);
        const int refIdx = minPositive(around.a.refIdx, minPositive(around.b.refIdx, around.c.refIdx));
        prediction.refIdx[list] = refIdx;
        if (refIdx >= 0)
            prediction.vectors[list] = median(around, refIdx);
    }
    if (prediction.refIdx[0] < 0 && prediction.refIdx[1] < 0)
        prediction.refIdx = {0, 0};
    return prediction;
}

void MotionDeriver::deriveSpatial(Macroblock& macroblock, std::size_t block,
                                  const SpatialPrediction& prediction)
{
    macroblock.subPartitioning[block] =
        slice_.picture.sequence.direct8x8Inference ? Partitioning::whole : Partitioning::four;
    macroblock.lists[block] = 0;
    for (std::size_t list = 0; list < 2; list++) {
        const int refIdx = prediction.refIdx[list];
        macroblock.refIdx[list][block] = static_cast<int8_t>(refIdx);
        putReference(list, block, refIdx);
        if (refIdx >= 0)
            macroblock.lists[block] = static_cast<uint8_t>(macroblock.lists[block] | 1 << list);
    }
    for (int y = blockY(block); y < blockY(block) + 2; y++) {
        for (int x = blockX(block); x < blockX(block) + 2; x++) {
            const Colocated colocated = colocatedOf(x, y);
            const bool still = colocatedIsShortTerm_ && !colocated.intra && colocated.refIdx == 0 &&
                               isNearZero(colocated.vector);
            for (std::size_t list = 0; list < 2; list++) {
                const bool zero = prediction.refIdx[list] < 0 || (prediction.refIdx[list] == 0 && still);
                put(list, x, y, 1, 1, zero ? Vector{} : prediction.vectors[list]);
            }
        }
    }
}

int MotionDeriver::listIndexOf(PictureId reference) const
{
    const ReferenceList& list = current_->references.lists[0];
    const auto found = std::find_if(list.begin(), list.end(),
                                    [=](const ReferencePicture& entry) { return entry.id() == reference; });
    if (found == list.end())
        throw DamagedUnit("temporal direct prediction refers to a picture that is not in the list");
    return static_cast<int>(found - list.begin());
}

// 8.4.1.2.3
void MotionDeriver::deriveTemporal(Macroblock& macroblock, std::size_t block)
{
    macroblock.subPartitioning[block] =
        slice_.picture.sequence.direct8x8Inference ? Partitioning::whole : Partitioning::four;
    macroblock.lists[block] = fromList0 | fromList1;
    macroblock.refIdx[1][block] = 0;
    putReference(1, block, 0);
    for (int y = blockY(block); y < blockY(block) + 2; y++) {
        for (int x = blockX(block); x < blockX(block) + 2; x++) {
            const Colocated colocated = colocatedOf(x, y);
            int refIdx = 0;
            Vector vector = colocated.vector;
            if (!colocated.intra) {
                PictureId reference = colocated.reference;
                if (colocated.verticalScale != 0)
                    reference = pictureId(frameNumberOf(reference), current_->place.structure);
                refIdx = listIndexOf(reference);
                if (colocated.verticalScale < 0)
                    vector.y = static_cast<int16_t>(vector.y / 2);
                else if (colocated.verticalScale > 0)
                    vector.y = static_cast<int16_t>(vector.y * 2);
            }
            macroblock.refIdx[0][block] = static_cast<int8_t>(refIdx);
            putReference(0, block, refIdx);
            const int factor = current_->references.temporalFactors[static_cast<std::size_t>(refIdx)];
            Vector first = vector;
            Vector second{};
            if (factor != References::noTemporalScaling) {
                first = {static_cast<int16_t>((factor * vector.x + 128) >> 8),
                         static_cast<int16_t>((factor * vector.y + 128) >> 8)};
                second = {static_cast<int16_t>(first.x - vector.x), static_cast<int16_t>(first.y - vector.y)};
            }
            put(0, x, y, 1, 1, first);
            put(1, x, y, 1, 1, second);
        }
    }
}

} // namespace kelvcpx::app::h264
