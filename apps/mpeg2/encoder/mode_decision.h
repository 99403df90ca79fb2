// Decides how the macroblocks of a picture are predicted.
#pragma once

#include "common/motion_search.h"
#include "mpeg2/encoder/picture_coding.h"

#include <array>
#include <vector>

namespace kelvcpx::app::mpeg2 {

class ModeDecision
{
public:
    // `scale` is the quantiser scale that the picture will have, about. `earlier` are the plans of a picture
    // before it, whose vectors are tried too, or nothing.
    ModeDecision(PictureCoding& coding, int scale, const std::vector<MacroblockPlan>& earlier);

    // Fills in the plans of all macroblocks, and the f_codes that their vectors need.
    void decide();

private:
    struct Candidate {
        MacroblockPlan plan;
        int bits = 0; // of the type and the vectors, about
    };

    void decideMacroblock(int column, int row);
    MacroblockPlan best(int column, int row, const std::array<Candidate, 6>& candidates, std::size_t count);

    Candidate frameMotion(int column, int row, int direction);
    Candidate fieldMotion(int column, int row, int direction, Vector frameVector);
    static Candidate bothDirections(const Candidate& forward, const Candidate& backward);

    FoundVector search(const Surface& current, const Surface& reference, const Region& region,
                       int verticalRange, Vector predicted, const std::vector<Vector>& more);
    std::vector<Vector> neighbourVectors(int column, int row, int direction) const;
    Vector leftVector(int column, int row, int direction) const;
    int residualEnergy(const MacroblockPlan& plan, int column, int row) const;
    void chooseFCodes();

    PictureCoding& coding_;
    const std::vector<MacroblockPlan>& earlier_;
    int bitWorth_;    // in absolute differences
    int energyWorth_; // of a bit, in squared differences
};

} // namespace kelvcpx::app::mpeg2
