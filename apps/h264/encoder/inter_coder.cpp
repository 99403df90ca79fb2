#include "h264/encoder/inter_coder.h"

#include "h264/encoder/bits.h"

#include <algorithm>

namespace kelvcpx::app::h264::encoder {
namespace {

RoiSize sizeOf(Partitioning partitioning)
{
    const bool wide = partitioning == Partitioning::whole || partitioning == Partitioning::twoRows;
    const bool high = partitioning == Partitioning::whole || partitioning == Partitioning::twoColumns;
    return {wide ? 16 : 8, high ? 16 : 8};
}

struct Partition {
    int x; // in the macroblock
    int y;
    RoiSize size;
    Vector vector;
};

Partition partitionOf(const CodedMacroblock& macroblock, std::size_t partition)
{
    const std::size_t first = firstBlockOfPartition(macroblock.partitioning, partition);
    return {8 * static_cast<int>(first % 2), 8 * static_cast<int>(first / 2), sizeOf(macroblock.partitioning),
            macroblock.vectors[first]};
}

// Gives a partition's vector to its 8x8 blocks.
void setVector(CodedMacroblock& macroblock, std::size_t partition, Vector vector)
{
    const Partition part = partitionOf(macroblock, partition);
    for (int y = part.y; y < part.y + part.size.height; y += 8)
        for (int x = part.x; x < part.x + part.size.width; x += 8)
            macroblock.vectors[static_cast<std::size_t>(y / 8 * 2 + x / 8)] = vector;
}

// The bits of mb_type and sub_mb_type.
int typeBits(Partitioning partitioning)
{
    return ueBits(static_cast<uint32_t>(partitioning)) + (partitioning == Partitioning::four ? 4 : 0);
}

Vector difference(Vector a, Vector b)
{
    return {static_cast<int16_t>(a.x - b.x), static_cast<int16_t>(a.y - b.y)};
}

} // namespace

InterCoder::InterCoder(const PictureContext& picture, const InterReference& reference, const Lambda& lambda,
                       int address, const MacroblockSamples& samples)
    : picture_(picture), reference_(reference), lambda_(lambda), address_(address),
      mbX_(address % picture.widthInMbs), mbY_(address / picture.widthInMbs), samples_(samples),
      predictor_(*picture.motion, mbX_, mbY_), range_(reference.surface, 16 * mbX_, 16 * mbY_)
{}

std::optional<CodedMacroblock> InterCoder::skipMotion() const
{
    CodedMacroblock macroblock;
    const Vector vector = predictor_.skipVector();
    if (!range_.contains(vector))
        return std::nullopt;
    macroblock.vectors.fill(vector);
    macroblock.mvds[0] = difference(vector, predictor_.predict(Partitioning::whole, 0, macroblock.vectors));
    return macroblock;
}

InterCoder::Choice InterCoder::chooseWhole() const
{
    return choose(Partitioning::whole, neighbouringVectors());
}

InterCoder::Choice InterCoder::chooseParts(Vector whole) const
{
    Starts starts;
    starts.fill(whole);
    Choice best = choose(Partitioning::four, starts);
    const auto& vectors = best.macroblock.vectors;
    std::copy(vectors.begin(), vectors.end(), starts.begin() + 1);
    for (const Partitioning partitioning : {Partitioning::twoRows, Partitioning::twoColumns}) {
        const Choice choice = choose(partitioning, starts);
        if (choice.cost < best.cost)
            best = choice;
    }
    return best;
}

// None, and those of the macroblocks around and of this one in the reference.
InterCoder::Starts InterCoder::neighbouringVectors() const
{
    Starts starts{};
    const MotionField& field = *picture_.motion;
    const auto vectorAt = [&](int x, int y) { return field.vectors[0][field.block4x4(4 * x, 4 * y)]; };
    if (mbX_ > 0)
        starts[1] = vectorAt(mbX_ - 1, mbY_);
    if (mbY_ > 0)
        starts[2] = vectorAt(mbX_, mbY_ - 1);
    if (mbY_ > 0 && mbX_ + 1 < field.widthInMbs)
        starts[3] = vectorAt(mbX_ + 1, mbY_ - 1);
    if (!reference_.vectors.empty())
        starts[4] = reference_.vectors[static_cast<std::size_t>(address_)];
    return starts;
}

// Finds a vector for each partition in turn.
InterCoder::Choice InterCoder::choose(Partitioning partitioning, const Starts& starts) const
{
    MotionSearch search(reference_.surface, lambda_);
    Choice choice;
    choice.macroblock.partitioning = partitioning;
    choice.cost = lambda_.absolute(typeBits(partitioning));
    for (std::size_t i = 0; i < partitionCount(partitioning); i++) {
        const Partition part = partitionOf(choice.macroblock, i);
        const Vector predicted = predictor_.predict(partitioning, i, choice.macroblock.vectors);
        Starts from = starts;
        from.back() = predicted;
        const Motion found = search.search(
            {samples_.source[0].at(part.x, part.y), 16 * mbX_ + part.x, 16 * mbY_ + part.y, part.size},
            range_, predicted, from);
        setVector(choice.macroblock, i, found.vector);
        choice.macroblock.mvds[i] = difference(found.vector, predicted);
        choice.cost += found.cost;
    }
    return choice;
}

void InterCoder::predictLuma(const CodedMacroblock& macroblock) const
{
    for (std::size_t i = 0; i < partitionCount(macroblock.partitioning); i++) {
        const auto [x, y, size, vector] = partitionOf(macroblock, i);
        compensateLuma(reference_.surface, 16 * mbX_ + x, 16 * mbY_ + y, vector, samples_.picture[0].at(x, y),
                       size);
    }
}

void InterCoder::predictChroma(const CodedMacroblock& macroblock) const
{
    for (std::size_t i = 0; i < partitionCount(macroblock.partitioning); i++) {
        const auto [x, y, size, vector] = partitionOf(macroblock, i);
        for (std::size_t c = 1; c < 3; c++)
            compensateChroma(reference_.surface, c, 8 * mbX_ + x / 2, 8 * mbY_ + y / 2, vector,
                             samples_.picture[c].at(x / 2, y / 2), {size.width / 2, size.height / 2});
    }
}

} // namespace kelvcpx::app::h264::encoder
