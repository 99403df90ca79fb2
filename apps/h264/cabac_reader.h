// Macroblock syntax elements of CABAC slices (ITU-T H.264 7.3.5, 9.3).
#pragma once

#include "h264/cabac_engine.h"
#include "h264/macroblock_syntax.h"

namespace kelvcpx::app::h264 {

class CabacReader
{
public:
    // `reader` is at the slice data.
    CabacReader(const SliceContext& slice, BitReader& reader);

    void startMacroblock(const CurrentMacroblock& current) { current_ = &current; }

    // Slice data. The field flag is that of a pair of macroblocks.
    bool skipFlag(const Neighbourhood& around);
    bool fieldFlag(const std::array<int, 2>& pairsRound);
    bool endOfSlice() { return engine_.terminate(); }

    // The same as of CavlcReader.
    int mbType();
    int subMbType();
    bool transform8x8Flag();
    int remainingIntraMode();
    int intraChromaMode();
    int refIdx(std::size_t list, std::size_t block, int most);
    Vector mvd(std::size_t list, const BlockArea& area);
    int codedBlockPattern();
    int qpDelta();
    template <class Coefficient>
    int block(const ResidualBlock& block, Coefficient** coefficients);
    template <class Coefficient>
    int block8x8(const ResidualBlock& block, Coefficient** coefficients);
    BitReader& startPcm();
    void endPcm();

    // The macroblock has no mb_qp_delta, which is context to the next one's.
    void noteNoQpDelta() { previousQpDelta_ = false; }

    bool isPastEnd() const { return engine_.interval().position().pastEnd(); }

private:
    const MbInfo* infoOf(const Neighbour& neighbour) const
    {
        return neighbour.isAvailable() ? &slice_.picture.at(neighbour.address) : nullptr;
    }
    template <class Condition>
    int countOfNeighbours(const Neighbourhood& around, Condition condition) const;

    int intraMbType(std::size_t firstContext, bool inIntraSlice);
    int mbTypeOfB();
    bool refersBeyondFirst(std::size_t list, std::size_t block, bool fromLeft) const;
    int mvdContextSum(std::size_t list, const BlockArea& area, std::size_t component) const;
    int mvdComponent(std::size_t firstContext, int contextSum);
    bool patternBitIsClear(int pattern, std::size_t block, bool fromLeft) const;
    bool isCoded(const ResidualBlock& block, bool fromLeft) const;
    template <class Coefficient>
    int coefficients(BlockKind kind, int maxNumCoeff, const int32_t* scan, Coefficient* target);

    const SliceContext& slice_;
    BitReader reader_;
    CabacEngine engine_;
    const CurrentMacroblock* current_ = nullptr;
    bool previousQpDelta_ = false; // mb_qp_delta of the macroblock before was not 0
};

} // namespace kelvcpx::app::h264
