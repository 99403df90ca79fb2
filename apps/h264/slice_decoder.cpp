#include "h264/slice_decoder.h"

#include "h264/inter_prediction.h"
#include "h264/macroblock_parser.h"
#include "h264/motion_vectors.h"
#include "h264/reconstruction.h"
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

template <class Reader, class Sample>
class SliceDecoder
{
public:
    SliceDecoder(const SliceContext& slice, BitReader& reader, std::size_t stopBit);

    void decode() { decode(parser_.reader()); }

private:
    void decodeMacroblock();
    void skipMacroblock();
    void reconstructInter(const CurrentMacroblock& current);

    // Macroblocks are visited in the order of their addresses in the standard.
    void start();
    void advance();
    void requireMacroblock() const;
    bool sharesGroup(int address) const;
    bool isTopOfPair() const;

    // Pairs of macroblocks (MBAFF)
    bool inferredPairMode() const; // 7.4.4
    void setPairMode(bool field);

    void decode(CavlcReader& syntax);
    void skipRun();
    void decode(CabacReader& syntax);
    void readPairModeOfSkipped(CabacReader& syntax);

    bool hasMoreData() const { return reader_.position() < stopBit_; }

    const SliceContext& slice_;
    BitReader& reader_;
    std::size_t stopBit_;
    int address_ = 0;
    bool previousIsSkipped_ = false; // prevMbSkipped
    bool bottomIsSkipped_ = false;   // of a pair whose first macroblock is skipped, with CABAC
    MacroblockParser<Reader> parser_;
    MotionDeriver motion_;
    InterPredictor<Sample> predictor_;
    Reconstructor<Sample> reconstructor_;
    Macroblock macroblock_;
};

template <class Reader, class Sample>
SliceDecoder<Reader, Sample>::SliceDecoder(const SliceContext& slice, BitReader& reader, std::size_t stopBit)
    : slice_(slice), reader_(reader), stopBit_(stopBit), parser_(slice, reader), motion_(slice),
      predictor_(slice), reconstructor_(slice)
{}

template <class Reader, class Sample>
bool SliceDecoder<Reader, Sample>::isTopOfPair() const
{
    return address_ / slice_.picture.widthInMbs % 2 == 0;
}

template <class Reader, class Sample>
bool SliceDecoder<Reader, Sample>::sharesGroup(int address) const
{
    const auto& groups = slice_.sliceGroups;
    return groups.empty() ||
           groups[static_cast<std::size_t>(address)] == groups[static_cast<std::size_t>(address_)];
}

template <class Reader, class Sample>
void SliceDecoder<Reader, Sample>::start()
{
    const int width = slice_.picture.widthInMbs;
    const int first = slice_.header.firstMb;
    address_ = slice_.picture.hasPairs ? first / width * 2 * width + first % width : first;
    if (address_ >= width * slice_.picture.heightInMbs)
        throw DamagedUnit("a slice starts outside of the picture");
}

template <class Reader, class Sample>
void SliceDecoder<Reader, Sample>::advance()
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

template <class Reader, class Sample>
void SliceDecoder<Reader, Sample>::requireMacroblock() const
{
    if (address_ >= slice_.picture.widthInMbs * slice_.picture.heightInMbs)
        throw DamagedUnit("a slice runs over the end of the picture");
}

template <class Reader, class Sample>
bool SliceDecoder<Reader, Sample>::inferredPairMode() const
{
    for (const int pair : Neighbourhood::pairsRound(slice_.picture, slice_.number, address_))
        if (pair >= 0)
            return slice_.picture.at(pair).field;
    return false;
}

template <class Reader, class Sample>
void SliceDecoder<Reader, Sample>::setPairMode(bool field)
{
    const int width = slice_.picture.widthInMbs;
    const int top = isTopOfPair() ? address_ : address_ - width;
    slice_.picture.at(top).field = field;
    slice_.picture.at(top + width).field = field;
    MotionField& motion = *slice_.picture.motion;
    motion.fieldPairs[static_cast<std::size_t>(top / (2 * width) * width + top % width)] = field ? 1 : 0;
}

// mb_skip_run
template <class Reader, class Sample>
void SliceDecoder<Reader, Sample>::skipRun()
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

template <class Reader, class Sample>
void SliceDecoder<Reader, Sample>::decode(CavlcReader&)
{
    for (start();;) {
        if (!slice_.header.isIntra()) {
            skipRun();
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
template <class Reader, class Sample>
void SliceDecoder<Reader, Sample>::readPairModeOfSkipped(CabacReader& syntax)
{
    const int bottom = address_ + slice_.picture.widthInMbs;
    slice_.picture.at(address_).skipped = true;
    bottomIsSkipped_ = syntax.skipFlag(Neighbourhood(slice_.picture, slice_.number, bottom));
    if (!bottomIsSkipped_)
        setPairMode(syntax.fieldFlag(Neighbourhood::pairsRound(slice_.picture, slice_.number, address_)));
}

template <class Reader, class Sample>
void SliceDecoder<Reader, Sample>::decode(CabacReader& syntax)
{
    for (start();; advance()) {
        requireMacroblock();
        const bool isTop = slice_.picture.hasPairs && isTopOfPair();
        const bool isKnown = slice_.picture.hasPairs && !isTop && previousIsSkipped_;
        if (isTop)
            setPairMode(inferredPairMode());
        bool skipped = isKnown && bottomIsSkipped_;
        if (!slice_.header.isIntra() && !isKnown)
            skipped = syntax.skipFlag(Neighbourhood(slice_.picture, slice_.number, address_));
        if (isTop && skipped)
            readPairModeOfSkipped(syntax);
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

template <class Reader, class Sample>
void SliceDecoder<Reader, Sample>::decodeMacroblock()
{
    clear(macroblock_);
    const CurrentMacroblock current(slice_, address_, macroblock_);
    parser_.parse(current);
    if (isIntra(macroblock_.kind)) {
        motion_.clear(current);
        reconstructor_.reconstructIntra(current);
    } else {
        reconstructInter(current);
        reconstructor_.addResidual(current);
    }
    current.info.slice = slice_.number;
}

template <class Reader, class Sample>
void SliceDecoder<Reader, Sample>::skipMacroblock()
{
    clear(macroblock_);
    macroblock_.skipped = true;
    if (slice_.header.isB()) {
        macroblock_.partitioning = Partitioning::four;
        macroblock_.direct.fill(true);
    }
    const CurrentMacroblock current(slice_, address_, macroblock_);
    parser_.skip(current);
    reconstructInter(current);
    current.info.slice = slice_.number;
}

template <class Reader, class Sample>
void SliceDecoder<Reader, Sample>::reconstructInter(const CurrentMacroblock& current)
{
    motion_.derive(current);
    // Blocks in direct mode often all move alike.
    if (macroblock_.isDirect() && motion_.movesAsOne())
        macroblock_.partitioning = Partitioning::whole;
    current.info.movesAsOne = macroblock_.partitioning == Partitioning::whole;
    predictor_.predict(current);
}

template <class Reader>
void decodeWith(const SliceContext& slice, BitReader& reader, std::size_t stopBit)
{
    if (slice.picture.sequence.bitDepthLuma > 8)
        SliceDecoder<Reader, uint16_t>(slice, reader, stopBit).decode();
    else
        SliceDecoder<Reader, uint8_t>(slice, reader, stopBit).decode();
}

} // namespace

void decodeSlice(const SliceContext& slice, BitReader& reader, std::size_t stopBit)
{
    if (slice.set.cabac)
        decodeWith<CabacReader>(slice, reader, stopBit);
    else
        decodeWith<CavlcReader>(slice, reader, stopBit);
}

} // namespace kelvcpx::app::h264
