#include "mpeg2/encoder/mode_decision.h"

#include "mpeg2/encoder/difference.h"
#include "mpeg2/encoder/motion_writer.h"

#include <kelvcpx/metrics.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <limits>

namespace kelvcpx::app::mpeg2 {
namespace {

// Half samples: f_codes up to 4, which every level has. Field vectors of frame pictures have half the range
// (13818-2 table 7-8).
constexpr int largestComponent = (16 << 3) - 1;

// Of a macroblock that is intra although nothing of it is left but the means of its blocks.
constexpr int intraBits = 40;

const uint8_t* sampleAt(const Surface& surface, int x, int y)
{
    const Surface::Plane& plane = surface.planes[0];
    return plane.samples + std::ptrdiff_t{plane.step} * y + x;
}

int motionBits(const Motion& motion, int count, Vector predicted)
{
    int bits = 0;
    for (std::size_t r = 0; r < static_cast<std::size_t>(count); r++)
        bits += vectorBits(motion.vectors[r].x - predicted.x) +
                vectorBits(motion.vectors[r].y - predicted.y / count);
    return bits;
}

} // namespace

// A bit is worth as much as the quantiser makes of it: its step grows with the scale, its error with the
// square of it.
ModeDecision::ModeDecision(PictureCoding& coding, int scale, const std::vector<MacroblockPlan>& earlier)
    : coding_(coding), earlier_(earlier), bitWorth_(std::max(1, scale / 2)),
      energyWorth_(std::max(1, scale * scale / 6))
{}

void ModeDecision::decide()
{
    coding_.plans.assign(static_cast<std::size_t>(coding_.macroblocksWide() * coding_.macroblocksHigh()), {});
    if (coding_.picture.type == PictureType::intra)
        return;
    for (int row = 0; row < coding_.macroblocksHigh(); row++)
        for (int column = 0; column < coding_.macroblocksWide(); column++)
            decideMacroblock(column, row);
    chooseFCodes();
}

void ModeDecision::decideMacroblock(int column, int row)
{
    const int directions = coding_.picture.type == PictureType::bidirectional ? 2 : 1;
    std::array<Candidate, 6> candidates;
    std::size_t count = 0;
    for (int direction = 0; direction < directions; direction++)
        candidates[count++] = frameMotion(column, row, direction);
    if (directions == 2)
        candidates[count++] = bothDirections(candidates[0], candidates[1]);
    if (!coding_.picture.framePredFrameDct) {
        const std::size_t first = count;
        for (int direction = 0; direction < directions; direction++) {
            const auto d = static_cast<std::size_t>(direction);
            candidates[count++] =
                fieldMotion(column, row, direction, candidates[d].plan.motion[d].vectors[0]);
        }
        if (directions == 2)
            candidates[count++] = bothDirections(candidates[first], candidates[first + 1]);
    }
    const auto address = static_cast<std::size_t>(row * coding_.macroblocksWide() + column);
    coding_.plans[address] = best(column, row, candidates, count);
}

// The candidate whose residual has the least energy, its bits considered; or intra coding, if the samples
// vary less than the residual does.
MacroblockPlan ModeDecision::best(int column, int row, const std::array<Candidate, 6>& candidates,
                                  std::size_t count)
{
    const Candidate* chosen = nullptr;
    int leastCost = std::numeric_limits<int>::max();
    for (std::size_t i = 0; i < count; i++) {
        const int cost = residualEnergy(candidates[i].plan, column, row) + energyWorth_ * candidates[i].bits;
        if (cost < leastCost) {
            leastCost = cost;
            chosen = &candidates[i];
        }
    }
    int32_t variance = 0; // times 256: energy about the mean
    keliVariance16x16_8u32s(sampleAt(coding_.source, 16 * column, 16 * row), coding_.source.planes[0].step,
                            &variance);
    if (variance + energyWorth_ * intraBits < leastCost)
        return {};
    return chosen->plan;
}

// The sum of the squared luma differences.
int ModeDecision::residualEnergy(const MacroblockPlan& plan, int column, int row) const
{
    if (plan.motionType == MotionType::frame) {
        const SourceList sources = coding_.sourcesOf(plan, 0);
        const auto reference = [&](std::size_t i) {
            const Source& source = sources.items[i];
            return sampleAt(*source.surface, 16 * column + (source.vector.x >> 1),
                            16 * row + (source.vector.y >> 1));
        };
        const auto mcType = [&](std::size_t i) {
            return 8 * (sources.items[i].vector.x & 1) + 4 * (sources.items[i].vector.y & 1);
        };
        const uint8_t* const current = sampleAt(coding_.source, 16 * column, 16 * row);
        const int32_t step = coding_.source.planes[0].step;
        const int32_t referenceStep = coding_.references[0].frame.planes[0].step;
        int32_t energy = 0;
        if (sources.count == 1)
            keliSqrDiff16x16_8u32s(current, step, reference(0), referenceStep, mcType(0), &energy);
        else
            keliSqrDiff16x16B_8u32s(current, step, reference(0), referenceStep, mcType(0), reference(1),
                                    referenceStep, mcType(1), &energy);
        return energy;
    }
    Residual residual;
    for (int parity = 0; parity < 2; parity++)
        difference(coding_.source.field(parity), {16 * column, 8 * row, 8},
                   coding_.sourcesOf(plan, static_cast<std::size_t>(parity)), Components::luma,
                   ResidualTarget(residual).field(parity));
    int energy = 0;
    for (const int16_t element : residual.luma)
        energy += element * element;
    return energy;
}

ModeDecision::Candidate ModeDecision::frameMotion(int column, int row, int direction)
{
    const auto s = static_cast<std::size_t>(direction);
    const Region region{16 * column, 16 * row, 16};
    const Surface& reference = coding_.references[s].frame;
    const Vector predicted = leftVector(column, row, direction);
    const FoundVector found = search(coding_.source, reference, region, largestComponent, predicted,
                                     neighbourVectors(column, row, direction));
    Candidate candidate;
    candidate.plan.type = direction == 0 ? typeForward : typeBackward;
    candidate.plan.motion[s].vectors[0] = found.vector;
    candidate.bits = motionBits(candidate.plan.motion[s], 1, predicted) + 2;

    // The zero vector of a P picture is not written at all.
    if (coding_.picture.type == PictureType::predicted && found.vector != Vector{}) {
        MacroblockPlan still = candidate.plan;
        still.motion[s].vectors[0] = {};
        const int saved = energyWorth_ * candidate.bits;
        if (residualEnergy(still, column, row) <= residualEnergy(candidate.plan, column, row) + saved)
            candidate = {still, 1};
    }
    return candidate;
}

// Each field for itself, from the field of the reference that suits it better.
ModeDecision::Candidate ModeDecision::fieldMotion(int column, int row, int direction, Vector frameVector)
{
    const auto s = static_cast<std::size_t>(direction);
    const Region region{16 * column, 8 * row, 8};
    const Vector predicted = leftVector(column, row, direction);
    Candidate candidate;
    candidate.plan.type = direction == 0 ? typeForward : typeBackward;
    candidate.plan.motionType = MotionType::field;
    Motion& motion = candidate.plan.motion[s];
    const std::vector<Vector> more{{frameVector.x, frameVector.y / 2}, {predicted.x, predicted.y / 2}};
    for (std::size_t parity = 0; parity < 2; parity++) {
        int leastCost = std::numeric_limits<int>::max();
        for (int select = 0; select < 2; select++) {
            const FoundVector found =
                search(coding_.source.field(static_cast<int>(parity)),
                       coding_.references[s].fields[static_cast<std::size_t>(select)], region,
                       largestComponent / 2, {predicted.x, predicted.y / 2}, more);
            if (found.cost < leastCost) {
                leastCost = found.cost;
                motion.vectors[parity] = found.vector;
                motion.fieldSelect[parity] = select;
            }
        }
    }
    candidate.bits = motionBits(motion, 2, predicted) + 4;
    return candidate;
}

ModeDecision::Candidate ModeDecision::bothDirections(const Candidate& forward, const Candidate& backward)
{
    Candidate both = forward;
    both.plan.type = typeForward | typeBackward;
    both.plan.motion[1] = backward.plan.motion[1];
    both.bits += backward.bits - 2;
    return both;
}

FoundVector ModeDecision::search(const Surface& current, const Surface& reference, const Region& region,
                                 int verticalRange, Vector predicted, const std::vector<Vector>& more)
{
    const Surface::Plane& plane = reference.planes[0];
    const VectorLimits limits{std::max(-largestComponent, -2 * region.x),
                              std::min(largestComponent, 2 * (plane.width - 16 - region.x)),
                              std::max(-verticalRange, -2 * region.y),
                              std::min(verticalRange, 2 * (plane.height - region.height - region.y))};
    const SearchBlock block{sampleAt(current, region.x, region.y),
                            current.planes[0].step,
                            sampleAt(reference, region.x, region.y),
                            plane.step,
                            region.height,
                            limits};
    return searchMotion(block, more, VectorCost{predicted, bitWorth_});
}

// The vector that the one of this macroblock will be predicted from, as far as that is known yet.
Vector ModeDecision::leftVector(int column, int row, int direction) const
{
    if (column == 0)
        return {};
    const MacroblockPlan& left =
        coding_.plans[static_cast<std::size_t>(row * coding_.macroblocksWide() + column - 1)];
    return left.has(typeIntra) ? Vector{} : left.motion[static_cast<std::size_t>(direction)].vectors[0];
}

std::vector<Vector> ModeDecision::neighbourVectors(int column, int row, int direction) const
{
    const auto s = static_cast<std::size_t>(direction);
    const int wide = coding_.macroblocksWide();
    std::vector<Vector> vectors{leftVector(column, row, direction)};
    const auto add = [&](const std::vector<MacroblockPlan>& plans, int x, int y) {
        if (x < 0 || x >= wide || y < 0 || y >= coding_.macroblocksHigh() || plans.empty())
            return;
        const MacroblockPlan& plan = plans[static_cast<std::size_t>(y * wide + x)];
        if (plan.motionType == MotionType::frame)
            vectors.push_back(plan.motion[s].vectors[0]);
    };
    add(coding_.plans, column, row - 1);
    add(coding_.plans, column + 1, row - 1);
    add(coding_.plans, column - 1, row - 1);
    add(earlier_, column, row);
    add(earlier_, column + 1, row);
    add(earlier_, column, row + 1);
    return vectors;
}

void ModeDecision::chooseFCodes()
{
    const int directions = coding_.picture.type == PictureType::bidirectional ? 2 : 1;
    for (std::size_t s = 0; s < static_cast<std::size_t>(directions); s++) {
        auto& fCode = coding_.picture.fCode[s];
        fCode = {1, 1};
        for (const MacroblockPlan& plan : coding_.plans) {
            if (!plan.has(s == 0 ? typeForward : typeBackward))
                continue;
            const bool byField = plan.motionType == MotionType::field;
            for (std::size_t r = 0; r < (byField ? 2 : 1); r++) {
                const Vector vector = plan.motion[s].vectors[r];
                fCode[0] = std::max(fCode[0], MotionWriter::fCodeFor(vector.x));
                fCode[1] = std::max(fCode[1], MotionWriter::fCodeFor(vector.y * (byField ? 2 : 1)));
            }
        }
    }
}

} // namespace kelvcpx::app::mpeg2
