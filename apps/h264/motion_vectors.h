// Motion vectors and reference indices of inter macroblocks (ITU-T H.264 8.4.1).
#pragma once

#include "h264/current_macroblock.h"

#include <array>

namespace kelvcpx::app::h264 {

class MotionDeriver
{
public:
    explicit MotionDeriver(const SliceContext& slice);

    // Writes the motion of an inter macroblock into the picture's motion field. The lists and partitions of
    // blocks in direct mode are filled in.
    void derive(const CurrentMacroblock& current);

    // True if all blocks of the macroblock that was derived last have the same motion.
    bool movesAsOne() const;

    // An intra macroblock has none.
    void clear(const CurrentMacroblock& current);

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

    Candidates candidates(std::size_t list, int x, int y, int width) const;
    Candidate candidate(std::size_t list, int x, int y) const;
    Candidate candidate(std::size_t list, const Neighbour& neighbour, int x) const;
    static bool isDecodedBefore(int x, int y, int width);
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
    struct ColocatedBlock {
        const MotionField* field;
        int mbY;
        int row; // of 4x4 blocks in the macroblock
        int verticalScale;
    };
    struct SpatialPrediction {
        std::array<int, 2> refIdx;
        std::array<Vector, 2> vectors;
    };
    void prepareColocated();
    ColocatedBlock colocatedBlock(int y) const;
    ColocatedBlock colocatedInFrame(int y) const;
    ColocatedBlock colocatedInFields(int y) const;
    Colocated colocatedOf(int x, int y) const;
    SpatialPrediction predictSpatially() const;
    void deriveDirect(Macroblock& macroblock);
    void deriveSpatial(Macroblock& macroblock, std::size_t block, const SpatialPrediction& prediction);
    void deriveTemporal(Macroblock& macroblock, std::size_t block);
    int listIndexOf(PictureId reference) const;

    const SliceContext& slice_;
    MotionField& field_;
    const CurrentMacroblock* current_ = nullptr;

    // What RefPicList1[0] was coded as, and the field of it (0: top) that is nearer to this picture.
    const Frame* colocated_ = nullptr;
    Structure colocatedStructure_ = Structure::frame;
    std::size_t nearerField_ = 0;
    bool colocatedIsShortTerm_ = false;
};

} // namespace kelvcpx::app::h264
