// Video segments: AC codes of blocks that share their bits (IEC 61834-2, SMPTE 314M, SMPTE 370M).

#include "core/arguments.h"
#include "dv/bit_chain.h"
#include "dv/huffman_table.h"
#include "tables/dv_tables.h"

#include <kelvcpx/dv.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <span>

namespace kelvcpx::dv {
namespace {

constexpr std::size_t macroblocks = 5;
constexpr std::size_t macroblockBytes = 80;
constexpr std::size_t firstArea = 4; // the bytes before it: identification, status and quantisation number
constexpr int32_t headerBits = 12;   // DC, DCT mode, class
constexpr std::size_t mostBlocks = 8;

// A block between the passes.
struct Block {
    int16_t* coefficients;
    const uint32_t* scan;
    int32_t position; // of the next code in the order of transmission
    BitRange area;    // the rest of it
    BitCache cache;   // the beginning of a code that was cut off
    bool complete;
};

enum class Outcome { complete, unfinished, invalid };

constexpr int32_t lastPosition = 63;

constexpr uint64_t endOfBlock = 0b0110;
constexpr int32_t endOfBlockLength = 4;

// The amplitude escape: seven ones, eight bits of amplitude, the sign.
constexpr int32_t escapePrefix = 7;
constexpr int32_t escapeLength = 16;

constexpr int32_t longestTableCode = prefixBits + indexBits;

constexpr Entry escapedEntry(uint32_t code)
{
    const auto amplitude = static_cast<int16_t>((code >> 1 & 0xFF) * 64);
    return {escapeLength, 0, (code & 1) != 0 ? static_cast<int16_t>(-amplitude) : amplitude};
}

// Looks up the code that the window begins with. Its length is more than the bits there are if it is cut off,
// and unfilledEntry if there is no such code.
[[gnu::always_inline]] inline Entry lookUp(uint64_t window, int32_t available, const uint32_t* table)
{
    const Entry entry = unpackEntry(table[window >> (64 - indexBits)]);
    if (entry.length <= indexBits || available < indexBits)
        return entry;
    if (window >> (64 - escapePrefix) == (1U << escapePrefix) - 1)
        return escapedEntry(static_cast<uint32_t>(window >> (64 - escapeLength)));
    return unpackEntry(table[levelEntries + (window >> (64 - prefixBits - indexBits) & (levelEntries - 1))]);
}

// Decodes codes until the block or the bits end. Bits that are too few for a code move to the block's cache.
Outcome DecodeACCoefficients(Block& block, BitRange& source, const uint32_t* table)
{
    BitRange bits = source; // in registers
    int32_t position = block.position;
    Outcome outcome = Outcome::unfinished;
    for (int32_t available = bits.GetAvailableBits(); available > 0 && outcome == Outcome::unfinished;) {
        uint64_t window = bits.window();
        // Until so few bits are left, the window has a whole code.
        const int32_t enough = std::max(available - (BitRange::windowBits - escapeLength), 1);
        do {
            const bool end = window >> (64 - endOfBlockLength) == endOfBlock;
            const Entry entry = end ? Entry{endOfBlockLength, 0, 0} : lookUp(window, available, table);
            if (entry.length > std::min(available, escapeLength)) {
                if (available >= longestTableCode && entry.length > escapeLength) // unfilledEntry
                    outcome = Outcome::invalid;
                else
                    block.cache.SetCache(static_cast<uint32_t>(window >> (64 - available)), available);
                available = 0;
                break;
            }
            window <<= entry.length;
            available -= entry.length;
            position += entry.run;
            if (end || position > lastPosition) {
                outcome = end ? Outcome::complete : Outcome::invalid;
                break;
            }
            block.coefficients[block.scan[position++]] = entry.value;
        } while (available >= enough);
        bits.DropBits(bits.GetAvailableBits() - available);
    }
    block.position = position;
    source = bits;
    return outcome;
}

// A segment while it is decoded.
class Segment
{
public:
    Segment(const uint8_t* src, std::span<const uint8_t> areaLengths, const uint32_t* table)
        : areaLengths_(areaLengths), table_(table)
    {
        std::memcpy(bytes_.data(), src, macroblocks * macroblockBytes);
    }

    Status decode(const uint32_t* scanTables, int16_t* dst, uint32_t* blockInfo)
    {
        if (!decodeOwnAreas(scanTables, dst, blockInfo) || !decodeWithinMacroblocks())
            return StatusBadVlcCode;
        return decodeAcrossSegment() ? StatusOk : StatusBadVlcCode;
    }

private:
    std::span<Block> blocksOf(std::size_t macroblock)
    {
        return std::span(blocks_).subspan(macroblock * areaLengths_.size(), areaLengths_.size());
    }

    // The first pass. False on an invalid code, like the others.
    bool decodeOwnAreas(const uint32_t* scanTables, int16_t* dst, uint32_t* blockInfo)
    {
        for (std::size_t m = 0; m < macroblocks; m++) {
            std::size_t at = m * macroblockBytes + firstArea;
            const uint32_t quantisation = bytes_[at - 1];
            for (std::size_t b = 0; b < areaLengths_.size(); b++, dst += 64, at += areaLengths_[b - 1]) {
                const uint32_t header = static_cast<uint32_t>(bytes_[at]) << 8 | bytes_[at + 1];
                *blockInfo++ = quantisation << 16 | header;
                dst[0] = static_cast<int16_t>(header & 0xFF80);
                const auto begin = static_cast<int32_t>(8 * at);
                Block& block = blocksOf(m)[b];
                block = {dst, scanTables + (hasModes() && (header & 0x40) != 0 ? 64 : 0),
                         1,   {bytes_.data(), begin + headerBits, begin + 8 * areaLengths_[b]},
                         {},  false};
                const Outcome outcome = DecodeACCoefficients(block, block.area, table_);
                if (outcome == Outcome::invalid)
                    return false;
                block.complete = outcome == Outcome::complete;
            }
        }
        return true;
    }

    // The second pass: what the blocks of a macroblock left over goes to the others of it, the rest to
    // spare_.
    bool decodeWithinMacroblocks()
    {
        for (std::size_t m = 0; m < macroblocks; m++) {
            chain_.clear();
            for (const Block& block : blocksOf(m))
                if (block.complete)
                    chain_.append(block.area);
            for (Block& block : blocksOf(m))
                if (!block.complete && !continueBlock(block, chain_))
                    return false;
            spare_.append(chain_.unread());
        }
        return true;
    }

    // The third pass: every block has to end.
    bool decodeAcrossSegment()
    {
        for (Block& block : std::span(blocks_).first(macroblocks * areaLengths_.size()))
            if (!block.complete && !(continueBlock(block, spare_) && block.complete))
                return false;
        return true;
    }

    bool continueBlock(Block& block, BitChain& chain)
    {
        chain.putInFront(block.cache);
        block.cache = {};
        const Outcome outcome = DecodeACCoefficients(block, chain.unread(), table_);
        block.complete = outcome == Outcome::complete;
        return outcome != Outcome::invalid;
    }

    // DV has a scan for each DCT mode; in DV100 the bit means something else.
    bool hasModes() const { return areaLengths_.size() == nDVSD_BitSequenceLengths.size(); }

    static constexpr std::size_t slack = 8; // may be loaded behind the last area

    std::span<const uint8_t> areaLengths_;
    const uint32_t* table_;
    std::array<uint8_t, macroblocks * macroblockBytes + slack> bytes_{};
    std::array<Block, macroblocks * mostBlocks> blocks_;
    BitChain chain_; // of a macroblock
    BitChain spare_; // of the segment
};

Status HuffmanDecodeSegment_Internal(const uint8_t* src, const uint32_t* scanTables, const uint32_t* table,
                                     int16_t* dst, uint32_t* blockInfo, std::span<const uint8_t> areaLengths)
{
    if (anyNull(src, dst, blockInfo, scanTables, table))
        return StatusNullPointer;
    return Segment(src, areaLengths, table).decode(scanTables, dst, blockInfo);
}

} // namespace
} // namespace kelvcpx::dv

using namespace kelvcpx::dv;

Status keliHuffmanDecodeSegment_DV_8u16s(const uint8_t* pSrc, const uint32_t* pScanTables,
                                         const uint32_t* pHuffTable, int16_t* pDst,
                                         uint32_t* pBlockInfo) noexcept
{
    return HuffmanDecodeSegment_Internal(pSrc, pScanTables, pHuffTable, pDst, pBlockInfo,
                                         nDVSD_BitSequenceLengths);
}

Status keliHuffmanDecodeSegment_DV100_8u16s(const uint8_t* pSrc, const uint32_t* pScanTables,
                                            const uint32_t* pHuffTable, int16_t* pDst,
                                            uint32_t* pBlockInfo) noexcept
{
    return HuffmanDecodeSegment_Internal(pSrc, pScanTables, pHuffTable, pDst, pBlockInfo,
                                         nDV100_BitSequenceLengths);
}
