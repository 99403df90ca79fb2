// DCT blocks from the stream: run-level codes, scan and dequantisation in one pass.

#include "block/dequantise.h"
#include "core/arguments.h"
#include "core/huffman_lookup.h"
#include "core/word_cursor.h"
#include "mpeg2/dequantise.h"

#include <kelvcpx/mpeg2.h>

#include <array>
#include <cstring>

namespace kelvcpx {
namespace {

constexpr int32_t endOfBlock = 254; // reserved runs of a coefficient table
constexpr int32_t escape = 255;
constexpr int32_t lastPosition = 63;

constexpr std::array<int16_t, 64> flatMatrix = [] {
    std::array<int16_t, 64> matrix{};
    matrix.fill(16);
    return matrix;
}();

struct RunLevel {
    int32_t run;
    int32_t level;
};

// 13818-2 7.2.2.3: 6 bits of run and 12 of level. 11172-2 2.4.3.7: the level has 8 bits, or 16 where the
// first 8 are 0 (level 128..255) or -128 (level -255..-129).
template <Standard standard>
RunLevel readEscape(WordReader& reader)
{
    if constexpr (standard == Standard::mpeg2) {
        const auto bits = static_cast<int32_t>(reader.read(18) << 14);
        return {static_cast<int32_t>(static_cast<uint32_t>(bits) >> 26), bits << 6 >> 20};
    } else {
        const auto run = static_cast<int32_t>(reader.read(6));
        const auto level = static_cast<int8_t>(reader.read(8));
        if ((level & 0x7F) != 0)
            return {run, level};
        const auto magnitude = static_cast<int32_t>(reader.read(8));
        return {run, level == 0 ? magnitude : magnitude - 256};
    }
}

// The level of a leaf: the full second value in non-intra blocks of MPEG-2, its low 8 bits otherwise.
template <Standard standard, BlockKind kind>
int32_t leafLevel(int32_t leaf)
{
    if constexpr (standard == Standard::mpeg2 && kind == BlockKind::nonIntra)
        return huffman::second(leaf);
    else
        return static_cast<int8_t>(huffman::second(leaf));
}

// One block in decoding. Lives in registers: the cursor goes back to the caller at the end.
template <Standard standard, BlockKind kind>
class BlockDecoder
{
public:
    BlockDecoder(WordReader reader, const int32_t* scan, int32_t scale, const int16_t* matrix, int16_t* block)
        : reader_(reader), scan_(scan), scale_(scale), matrix_(matrix), block_(block)
    {
        std::memset(block, 0, 64 * sizeof(int16_t));
    }

    enum class Step { coefficient, endOfBlock, badCode };

    // Decodes one code and, if it is one, puts its coefficient.
    Step decodeCode(const int32_t* table)
    {
        const int32_t leaf = huffman::lookUp(reader_, table);
        RunLevel code{huffman::first(leaf), leafLevel<standard, kind>(leaf)};
        if (code.run == endOfBlock)
            return Step::endOfBlock;
        if (code.run == escape)
            code = readEscape<standard>(reader_);
        if (position_ + code.run >= lastPosition) [[unlikely]] {
            huffman::consumeInvalid(reader_, leaf); // an invalid code ends up here too: its run is 241
            return Step::badCode;
        }
        put(code);
        return Step::coefficient;
    }

    Status decodeToEnd(const int32_t* table)
    {
        Step step;
        do
            step = decodeCode(table);
        while (step == Step::coefficient);
        return step == Step::endOfBlock ? StatusOk : StatusBadHuffmanCode;
    }

    // The first coefficient of a non-intra block has a short code of its own: 1 and the sign, for run 0,
    // level 1.
    Status decodeNonIntra(const int32_t* firstTable, const int32_t* table)
    {
        reader_.fill(2);
        const uint32_t bits = reader_.peek(2);
        if (bits >= 2) {
            reader_.skip(2);
            put({0, bits == 2 ? 1 : -1});
        } else if (const Step step = decodeCode(firstTable); step != Step::coefficient) {
            return step == Step::endOfBlock ? StatusOk : StatusBadHuffmanCode;
        }
        return decodeToEnd(table);
    }

    // Reads the difference of the DC to its predictor (13818-2 7.2.1). False if its size code is invalid.
    bool readDCDifference(const int32_t* sizeTable, int32_t& difference)
    {
        const int32_t leaf = huffman::lookUp(reader_, sizeTable);
        huffman::consumeInvalid(reader_, leaf);
        if (huffman::isInvalid(leaf))
            return false;
        const int32_t size = huffman::value(leaf);
        difference = 0;
        if (size < 0 || size > 31)
            return false;
        if (size > 0) {
            const uint32_t bits = reader_.read(size);
            const bool positive = (bits >> (size - 1)) != 0;
            difference = static_cast<int32_t>(positive ? bits : bits - ((uint32_t{1} << size) - 1));
        }
        return true;
    }

    void putDC(int16_t value)
    {
        block_[0] = value;
        sum_ = value;
        position_ = 0;
    }

    void store(const uint32_t** ppBitStream, int32_t* pBitOffset) const
    {
        reader_.store(ppBitStream, pBitOffset);
    }
    int32_t position() const { return position_; } // of the last coefficient, -1 if there is none
    int32_t sum() const { return sum_; }           // of all coefficients

private:
    void put(RunLevel code)
    {
        position_ += code.run + 1;
        const int32_t k = scan_[position_];
        const auto value = static_cast<int16_t>(dequantise<standard, kind>(code.level, scale_, matrix_[k]));
        block_[k] = value;
        sum_ += value;
    }

    WordReader reader_;
    const int32_t* scan_;
    int32_t scale_;
    const int16_t* matrix_;
    int16_t* block_;
    int32_t position_ = -1;
    int32_t sum_ = 0;
};

struct Cursor {
    const uint32_t** ppBitStream;
    int32_t* pBitOffset;

    WordReader load() const { return {*ppBitStream, *pBitOffset}; }
};

template <Standard standard>
Status reconstructNonIntra(Cursor cursor, const int32_t* firstTable, const int32_t* acTable,
                           const int32_t* scan, int32_t scale, const int16_t* matrix, int16_t* block,
                           int32_t* lastIndex)
{
    BlockDecoder<standard, BlockKind::nonIntra> decoder(cursor.load(), scan, scale, matrix, block);
    const Status status = decoder.decodeNonIntra(firstTable, acTable);
    decoder.store(cursor.ppBitStream, cursor.pBitOffset);
    if (status != StatusOk)
        return status;
    *lastIndex = decoder.position();
    if constexpr (standard == Standard::mpeg2) {
        controlMismatch(block, decoder.sum());
        if (*lastIndex == 0)
            *lastIndex = 1;
    }
    return StatusOk;
}

template <Standard standard>
Status reconstructIntra(Cursor cursor, const int32_t* dcSizeTable, const int32_t* acTable,
                        const int32_t* scan, int32_t scale, const int16_t* matrix, int16_t* dcPredictor,
                        int32_t dcShift, int16_t* block, int32_t* lastIndex)
{
    BlockDecoder<standard, BlockKind::intra> decoder(cursor.load(), scan, scale, matrix, block);
    Status status = StatusBadHuffmanCode;
    int32_t difference;
    if (decoder.readDCDifference(dcSizeTable, difference)) {
        constexpr int32_t unit = standard == Standard::mpeg1 ? 8 : 1;
        *dcPredictor = static_cast<int16_t>(wrapAdd(*dcPredictor, wrapMul(unit, difference)));
        decoder.putDC(static_cast<int16_t>(static_cast<uint32_t>(*dcPredictor) << (dcShift & 31)));
        status = decoder.decodeToEnd(acTable);
    }
    decoder.store(cursor.ppBitStream, cursor.pBitOffset);
    if (status != StatusOk)
        return status;
    *lastIndex = decoder.position();
    if constexpr (standard == Standard::mpeg2)
        controlMismatch(block, decoder.sum());
    return StatusOk;
}

} // namespace
} // namespace kelvcpx

using namespace kelvcpx;

Status keliReconstructDCTBlock_MPEG1_32s(const uint32_t** ppBitStream, int32_t* pBitOffset,
                                         const int32_t* pFirstTable, const int32_t* pACTable,
                                         const int32_t* pScan, int32_t QP, const int16_t* pQMatrix,
                                         int16_t* pDst, int32_t* pLastIndex) noexcept
{
    if (anyNull(ppBitStream, pBitOffset, pFirstTable, pACTable, pDst, pQMatrix, pLastIndex, pScan) ||
        anyNull(*ppBitStream))
        return StatusNullPointer;
    return reconstructNonIntra<Standard::mpeg1>({ppBitStream, pBitOffset}, pFirstTable, pACTable, pScan, QP,
                                                pQMatrix, pDst, pLastIndex);
}

Status keliReconstructDCTBlockIntra_MPEG1_32s(const uint32_t** ppBitStream, int32_t* pBitOffset,
                                              const int32_t* pDCSizeTable, const int32_t* pACTable,
                                              const int32_t* pScan, int32_t QP, const int16_t* pQMatrix,
                                              int16_t* pDCPred, int16_t* pDst, int32_t* pLastIndex) noexcept
{
    if (anyNull(ppBitStream, pBitOffset, pDCSizeTable, pACTable, pQMatrix, pDCPred, pLastIndex, pDst,
                pScan) ||
        anyNull(*ppBitStream))
        return StatusNullPointer;
    return reconstructIntra<Standard::mpeg1>({ppBitStream, pBitOffset}, pDCSizeTable, pACTable, pScan, QP,
                                             pQMatrix, pDCPred, 0, pDst, pLastIndex);
}

Status keliReconstructDCTBlock_MPEG2_32s(const uint32_t** ppBitStream, int32_t* pBitOffset,
                                         const int32_t* pFirstTable, const int32_t* pACTable,
                                         const int32_t* pScan, int32_t QP, const int16_t* pQMatrix,
                                         int16_t* pDst, int32_t* pLastIndex) noexcept
{
    if (anyNull(ppBitStream, pBitOffset, pFirstTable, pACTable, pDst, pLastIndex, pScan) ||
        anyNull(*ppBitStream))
        return StatusNullPointer;
    return reconstructNonIntra<Standard::mpeg2>({ppBitStream, pBitOffset}, pFirstTable, pACTable, pScan, QP,
                                                pQMatrix != nullptr ? pQMatrix : flatMatrix.data(), pDst,
                                                pLastIndex);
}

Status keliReconstructDCTBlockIntra_MPEG2_32s(const uint32_t** ppBitStream, int32_t* pBitOffset,
                                              const int32_t* pDCSizeTable, const int32_t* pACTable,
                                              const int32_t* pScan, int32_t QP, const int16_t* pQMatrix,
                                              int16_t* pDCPred, int32_t dcShift, int16_t* pDst,
                                              int32_t* pLastIndex) noexcept
{
    if (anyNull(ppBitStream, pBitOffset, pDCSizeTable, pACTable, pQMatrix, pDCPred, pLastIndex, pDst,
                pScan) ||
        anyNull(*ppBitStream))
        return StatusNullPointer;
    return reconstructIntra<Standard::mpeg2>({ppBitStream, pBitOffset}, pDCSizeTable, pACTable, pScan, QP,
                                             pQMatrix, pDCPred, dcShift, pDst, pLastIndex);
}
