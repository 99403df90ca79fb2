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

SliceDecoder::SliceDecoder(const SliceContext& slice, BitReader& reader, std::size_t stopBit)
    : slice_(slice), reader_(reader), stopBit_(stopBit), parser_(slice, reader), motion_(slice),
      predictor_(slice), reconstructor_(slice), qp_(slice.header.qp)
{}

int SliceDecoder::nextAddress(int address) const
{
    const auto& groups = slice_.sliceGroups;
    const int count = slice_.picture.widthInMbs * slice_.picture.heightInMbs;
    if (groups.empty())
        return address + 1;
    const uint8_t group = groups[static_cast<std::size_t>(address)];
    do
        address++;
    while (address < count && groups[static_cast<std::size_t>(address)] != group);
    return address;
}

void SliceDecoder::decode()
{
    const int count = slice_.picture.widthInMbs * slice_.picture.heightInMbs;
    int address = slice_.header.firstMb;
    if (address >= count)
        throw DamagedUnit("a slice starts outside of the picture");
    for (;;) {
        if (!slice_.header.isIntra()) {
            for (uint32_t run = readUe(reader_); run > 0; run--) {
                if (address >= count)
                    throw DamagedUnit("a slice runs over the end of the picture");
                skipMacroblock(address);
                address = nextAddress(address);
            }
            if (!hasMoreData())
                return;
        }
        if (address >= count)
            throw DamagedUnit("a slice runs over the end of the picture");
        decodeMacroblock(address);
        address = nextAddress(address);
        if (!hasMoreData())
            return;
    }
}

void SliceDecoder::decodeMacroblock(int address)
{
    clear(macroblock_);
    parser_.parse(address, macroblock_);
    qp_ = macroblock_.qp;
    if (isIntra(macroblock_.kind)) {
        motion_.clear(address);
        reconstructor_.reconstructIntra(address, macroblock_);
    } else {
        reconstructInter(address);
        reconstructor_.addResidual(address, macroblock_);
    }
    slice_.picture.at(address).slice = slice_.number;
}

void SliceDecoder::skipMacroblock(int address)
{
    clear(macroblock_);
    macroblock_.skipped = true;
    if (slice_.header.isB()) {
        macroblock_.partitioning = Partitioning::four;
        macroblock_.direct.fill(true);
    }
    MbInfo& info = slice_.picture.at(address);
    info.kind = MbKind::inter;
    info.transform8x8 = false;
    info.qp = static_cast<uint8_t>(qp_);
    info.codedLuma = 0;
    info.intraModes.fill(intraDcMode);
    info.totalCoeff.fill(0);
    reconstructInter(address);
    info.slice = slice_.number;
}

void SliceDecoder::reconstructInter(int address)
{
    motion_.derive(address, macroblock_);
    // Blocks in direct mode often all move alike.
    if (macroblock_.isDirect() && motion_.movesAsOne())
        macroblock_.partitioning = Partitioning::whole;
    MbInfo& info = slice_.picture.at(address);
    info.movesAsOne = macroblock_.partitioning == Partitioning::whole;
    info.intraModes.fill(intraDcMode);
    predictor_.predict(address, macroblock_);
}

} // namespace kelvcpx::app::h264
