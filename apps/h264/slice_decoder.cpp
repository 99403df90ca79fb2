#include "h264/slice_decoder.h"

#include "h264/syntax.h"

namespace kelvcpx::app::h264 {
namespace {

// Everything but the coefficients, of which only those that are announced are looked at.
void clear(Macroblock& macroblock)
{
    macroblock.kind = MbKind::inter;
    macroblock.skipped = false;
    macroblock.partitioning = Partitioning::whole;
    macroblock.referenceZero = false;
    macroblock.direct.fill(false);
    macroblock.subPartitioning.fill(Partitioning::whole);
    macroblock.lists.fill(0);
    for (auto& list : macroblock.refIdx)
        list.fill(-1);
    macroblock.transform8x8 = false;
    macroblock.codedBlockPattern = 0;
    macroblock.codedBlocks = 0;
    macroblock.lossless = false;
    macroblock.chromaMode = 0;
}

} // namespace

template <class Reader>
SliceDecoder<Reader>::SliceDecoder(const SliceContext& slice, BitReader& reader, std::size_t stopBit)
    : slice_(slice), reader_(reader), stopBit_(stopBit), parser_(slice, reader), motion_(slice),
      predictor_(slice), reconstructor_(slice)
{}

template <class Reader>
bool SliceDecoder<Reader>::isTopOfPair() const
{
    return address_ / slice_.picture.widthInMbs % 2 == 0;
}

template <class Reader>
bool SliceDecoder<Reader>::sharesGroup(int address) const
{
    const auto& groups = slice_.sliceGroups;
    return groups.empty() ||
           groups[static_cast<std::size_t>(address)] == groups[static_cast<std::size_t>(address_)];
}

template <class Reader>
void SliceDecoder<Reader>::start()
{
    const int width = slice_.picture.widthInMbs;
    const int first = slice_.header.firstMb;
    address_ = slice_.picture.hasPairs ? first / width * 2 * width + first % width : first;
    if (address_ >= width * slice_.picture.heightInMbs)
        throw DamagedUnit("a slice starts outside of the picture");
}

template <class Reader>
void SliceDecoder<Reader>::advance()
{
    const int width = slice_.picture.widthInMbs;
    const int count = width * slice_.picture.heightInMbs;
    if (slice_.picture.hasPairs && isTopOfPair()) {
        address_ += width;
        return;
    }
    int next = slice_.picture.hasPairs ? address_ - width : address_;
    do {
        next++;
        if (slice_.picture.hasPairs && next % width == 0)
            next += width; // past the second row of the pairs
    } while (next < count && !sharesGroup(next));
    address_ = next;
}

template <class Reader>
void SliceDecoder<Reader>::requireMacroblock() const
{
    if (address_ >= slice_.picture.widthInMbs * slice_.picture.heightInMbs)
        throw DamagedUnit("a slice runs over the end of the picture");
}

template <class Reader>
bool SliceDecoder<Reader>::inferredPairMode() const
{
    for (const int pair : Neighbourhood::pairsRound(slice_.picture, slice_.number, address_))
        if (pair >= 0)
            return slice_.picture.at(pair).field;
    return false;
}

template <class Reader>
void SliceDecoder<Reader>::setPairMode(bool field)
{
    const int width = slice_.picture.widthInMbs;
    const int top = isTopOfPair() ? address_ : address_ - width;
    slice_.picture.at(top).field = field;
    slice_.picture.at(top + width).field = field;
    MotionField& motion = *slice_.picture.motion;
    motion.fieldPairs[static_cast<std::size_t>(top / (2 * width) * width + top % width)] = field ? 1 : 0;
}

// mb_skip_run
template <>
void SliceDecoder<CavlcReader>::skipCavlcRun()
{
    const uint32_t run = readUe(reader_);
    previousIsSkipped_ = run > 0;
    for (uint32_t left = run; left > 0; left--) {
        requireMacroblock();
        if (slice_.picture.hasPairs && isTopOfPair()) {
            // The flag comes with the second macroblock of the pair unless that is skipped, too.
            const bool flagFollows = left == 1 && hasMoreData();
            setPairMode(flagFollows ? reader_.peek(1) != 0 : inferredPairMode());
        }
        skipMacroblock();
        advance();
    }
}

template <>
void SliceDecoder<CavlcReader>::decode()
{
    for (start();;) {
        if (!slice_.header.isIntra()) {
            skipCavlcRun();
            if (!hasMoreData())
                return;
        }
        requireMacroblock();
        if (slice_.picture.hasPairs && (isTopOfPair() || previousIsSkipped_))
            setPairMode(reader_.readFlag());
        decodeMacroblock();
        advance();
        if (!hasMoreData())
            return;
    }
}

// The first macroblock of a pair is skipped: whether the second is, and if not, the mode of the pair.
template <>
void SliceDecoder<CabacReader>::readPairModeOfSkipped(bool& bottomIsSkipped)
{
    const int bottom = address_ + slice_.picture.widthInMbs;
    slice_.picture.at(address_).skipped = true;
    bottomIsSkipped = parser_.reader().skipFlag(Neighbourhood(slice_.picture, slice_.number, bottom));
    if (!bottomIsSkipped)
        setPairMode(
            parser_.reader().fieldFlag(Neighbourhood::pairsRound(slice_.picture, slice_.number, address_)));
}

template <>
void SliceDecoder<CabacReader>::decode()
{
    CabacReader& syntax = parser_.reader();
    bool bottomIsSkipped = false; // of a pair whose first macroblock is skipped
    for (start();; advance()) {
        requireMacroblock();
        const bool isTop = slice_.picture.hasPairs && isTopOfPair();
        const bool isKnown = slice_.picture.hasPairs && !isTop && previousIsSkipped_;
        if (isTop)
            setPairMode(inferredPairMode());
        bool skipped = isKnown && bottomIsSkipped;
        if (!slice_.header.isIntra() && !isKnown)
            skipped = syntax.skipFlag(Neighbourhood(slice_.picture, slice_.number, address_));
        if (isTop && skipped)
            readPairModeOfSkipped(bottomIsSkipped);
        else if (isTop)
            setPairMode(syntax.fieldFlag(Neighbourhood::pairsRound(slice_.picture, slice_.number, address_)));
        if (skipped)
            skipMacroblock();
        else
            decodeMacroblock();
        previousIsSkipped_ = skipped;
        if (!isTop && syntax.endOfSlice())
            return;
    }
}

template <class Reader>
void SliceDecoder<Reader>::decodeMacroblock()
{
    clear(macroblock_);
    parser_.parse(address_, macroblock_);
    if (isIntra(macroblock_.kind)) {
        motion_.clear(address_);
        reconstructor_.reconstructIntra(address_, macroblock_);
    } else {
        reconstructInter();
        reconstructor_.addResidual(address_, macroblock_);
    }
    slice_.picture.at(address_).slice = slice_.number;
}

template <class Reader>
void SliceDecoder<Reader>::skipMacroblock()
{
    clear(macroblock_);
    macroblock_.skipped = true;
    if (slice_.header.isB()) {
        macroblock_.partitioning = Partitioning::four;
        macroblock_.direct.fill(true);
    }
    parser_.skip(address_);
    reconstructInter();
    slice_.picture.at(address_).slice = slice_.number;
}

template <class Reader>
void SliceDecoder<Reader>::reconstructInter()
{
    motion_.derive(address_, macroblock_);
    // Blocks in direct mode often all move alike.
    if (macroblock_.isDirect() && motion_.movesAsOne())
        macroblock_.partitioning = Partitioning::whole;
    slice_.picture.at(address_).movesAsOne = macroblock_.partitioning == Partitioning::whole;
    predictor_.predict(address_, macroblock_);
}

void decodeSlice(const SliceContext& slice, BitReader& reader, std::size_t stopBit)
{
    if (slice.set.cabac)
        SliceDecoder<CabacReader>(slice, reader, stopBit).decode();
    else
        SliceDecoder<CavlcReader>(slice, reader, stopBit).decode();
}

} // namespace kelvcpx::app::h264
