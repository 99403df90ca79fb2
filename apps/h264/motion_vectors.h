// Motion vectors and reference indices of inter macroblocks (ITU-T H.264 8.4.1).
#pragma once

#include "h264/slice_context.h"

#include <array>

namespace kelvcpx::app::h264 {

class MotionDeriver
{
public:
    explicit MotionDeriver(const SliceContext& slice);

    // Writes the motion of an inter macroblock into the picture's motion field. The lists and partitions of
    // blocks in direct mode are filled in.
    void derive(int address, Macroblock& macroblock);

    // True if all blocks of the macroblock that was derived last have the same motion.
    bool movesAsOne() const;

    // An intra macroblock has none.
    void clear(int address);

private:
    // What a neighbouring partition contributes.
    struct Candidate {
        bool available = false;
        int refIdx = -1; // -1: not available, intra, or another list
        Vector vector;
    };
    struct Candidates {
        Candidate a, b, c; // C replaced by D where it is not available
    };

    void startAt(int address);
    Candidates candidates(std::size_t list, int x, int y, int width) const;
    Candidate candidate(std::size_t list, int x, int y) const;
    bool topRightIsAvailable(int x, int y, int width) const;
    static Vector median(const Candidates& candidates, int refIdx);
    Vector predict(std::size_t list, int x, int y, int width, int height, Partitioning partitioning,
                   int refIdx) const;

    void deriveSkippedP();
    void derivePartitions(const Macroblock& macroblock, std::size_t list);
    void deriveSubPartitions(const Macroblock& macroblock, std::size_t list, std::size_t block);
    void put(std::size_t list, int x, int y, int width, int height, Vector vector);
    void putReference(std::size_t list, std::size_t block, int refIdx);

    // Direct prediction
    struct Colocated {
        bool intra = true;
        int refIdx = 0;
        PictureId reference = noPicture;
        Vector vector;
        int verticalScale = 0; // -1: from frame to field; 1: from field to frame
    };
    struct SpatialPrediction {
        std::array<int, 2> refIdx;
        std::array<Vector, 2> vectors;
    };
    void prepareColocated();
    Colocated colocatedOf(int x, int y) const;
    SpatialPrediction predictSpatially() const;
    void deriveDirect(Macroblock& macroblock);
    void deriveSpatial(Macroblock& macroblock, std::size_t block, const SpatialPrediction& prediction);
    void deriveTemporal(Macroblock& macroblock, std::size_t block);
    int listIndexOf(PictureId reference) const;

    const SliceContext& slice_;
    MotionField& field_;
    Neighbours neighbours_{};
    int mbX_ = 0;
    int mbY_ = 0;

    // The picture that RefPicList1[0] was coded as, or that field of it which is nearer.
    const MotionField* colocated_ = nullptr;
    bool colocatedIsField_ = false;
    bool colocatedIsShortTerm_ = false;
};

} // namespace kelvcpx::app::h264
