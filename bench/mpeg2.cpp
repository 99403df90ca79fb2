// MPEG-1/2: decoding tables, blocks from and to the stream, quantisation. The variant is the number of levels
// of a block, items are blocks.

#include "coefficients.h"

#include "mpeg2/code_tables.h"
#include "mpeg2/encoder/encoding_tables.h"
#include "mpeg2/prefix_code.h"
#include "mpeg2/scan.h"

#include <kelvcpx/core.h>
#include <kelvcpx/mpeg2.h>

#include <algorithm>
#include <cmath>
#include <span>

namespace {

using namespace kelvcpx::bench;
using namespace kelvcpx::app::mpeg2;

// Blocks and their stream, intra with a DC in front.
struct WordStream {
    static constexpr int items = 200;

    WordStream(int levels, bool intra) : levelCount(levels), blocks(levelBlocks(levels, items))
    {
        // Levels that have codes after all runs here: the escapes of MPEG-1 and MPEG-2 differ.
        for (Block& source : blocks)
            for (int16_t& level : source)
                level = std::clamp<int16_t>(level, -2, 2);
        matrix.fill(20);
        write(intra ? writeIntra : writeNonIntra);
    }

    using Write = Status (*)(const WordStream&, const Block&, uint32_t**, int32_t*);

    static Status writeIntra(const WordStream& s, const Block& block, uint32_t** word, int32_t* freeBits)
    {
        int32_t prediction = 0;
        const auto& book = encodingTables().coefficients[0];
        return keliPutIntraBlock(word, freeBits, block.data(), &prediction, encodingTables().dcSize[0].data(),
                                 book.table.get(), s.scan, book.endOfBlockLength, book.endOfBlockCode,
                                 s.levelCount - 1);
    }

    static Status writeNonIntra(const WordStream& s, const Block& block, uint32_t** word, int32_t* freeBits)
    {
        const auto& book = encodingTables().coefficients[0];
        return keliPutNonIntraBlock(word, freeBits, block.data(), book.table.get(), s.scan,
                                    book.endOfBlockLength, book.endOfBlockCode, s.levelCount);
    }

    Status write(Write put)
    {
        uint32_t* word = words.data();
        int32_t freeBits = 32;
        for (const Block& source : blocks)
            if (const Status status = put(*this, source, &word, &freeBits); status < StatusOk)
                return status;
        return StatusOk;
    }

    // decode(&word, &offset) reads a block.
    template <class Decode>
    Status read(Decode decode)
    {
        const uint32_t* word = words.data();
        int32_t offset = 31;
        for (int i = 0; i < items; i++) {
            if (const Status status = decode(&word, &offset); status < StatusOk)
                return status;
        }
        return StatusOk;
    }

    int32_t levelCount;
    std::vector<Block> blocks;
    std::vector<uint32_t> words = std::vector<uint32_t>(std::size_t{64} * items);
    const int32_t* scan = transposedScan(Scan::zigzag).data();
    const int32_t* ac = codeTables().coefficients[0].get();
    const int32_t* dc = codeTables().dcSize[0].get();
    alignas(64) Block matrix;
    alignas(64) Block block{};
    int16_t prediction = 1024;
    int32_t last = 0;
};

void addReconstruction(int levels)
{
    const std::string variant = std::to_string(levels);
    const auto nonIntra = [=] { return WordStream(levels, false); };
    const auto intra = [=] { return WordStream(levels, true); };
    add<keliReconstructDCTBlock_MPEG1_32s, keliReconstructDCTBlock_MPEG2_32s>(
        variant, nonIntra, [](auto reconstruct, WordStream& s) {
            return s.read([&](const uint32_t** word, int32_t* offset) {
                return reconstruct(word, offset, s.ac, s.ac, s.scan, 8, s.matrix.data(), s.block.data(),
                                   &s.last);
            });
        });
    add<keliReconstructDCTBlockIntra_MPEG1_32s>(variant, intra, [](auto reconstruct, WordStream& s) {
        return s.read([&](const uint32_t** word, int32_t* offset) {
            return reconstruct(word, offset, s.dc, s.ac, s.scan, 8, s.matrix.data(), &s.prediction,
                               s.block.data(), &s.last);
        });
    });
    add<keliReconstructDCTBlockIntra_MPEG2_32s>(variant, intra, [](auto reconstruct, WordStream& s) {
        return s.read([&](const uint32_t** word, int32_t* offset) {
            return reconstruct(word, offset, s.dc, s.ac, s.scan, 8, s.matrix.data(), &s.prediction, 3,
                               s.block.data(), &s.last);
        });
    });
    add<keliPutNonIntraBlock>(variant, nonIntra,
                              [](auto, WordStream& s) { return s.write(WordStream::writeNonIntra); });
    add<keliPutIntraBlock>(variant, intra,
                           [](auto, WordStream& s) { return s.write(WordStream::writeIntra); });
}

// Codes of a table, as often as their lengths say.
struct Codes {
    static constexpr int items = 1000;

    template <class Row>
    Codes(std::span<const Row> rows, const int32_t* decodingTable) : table(decodingTable)
    {
        std::vector<double> weights;
        for (const Row& row : rows)
            weights.push_back(std::ldexp(1, -static_cast<int>(row.bits.size())));
        std::mt19937 random(1);
        std::discrete_distribution<std::size_t> pick(weights.begin(), weights.end());
        kelvcpx::test::BitText text;
        for (int i = 0; i < items; i++)
            text.put(std::string(rows[pick(random)].bits));
        words = text.words();
    }

    // decode(&word, &offset) reads one.
    template <class Decode>
    Status read(Decode decode)
    {
        const uint32_t* word = words.data();
        int32_t offset = 31;
        for (int i = 0; i < items; i++)
            if (const Status status = decode(&word, &offset); status < StatusOk)
                return status;
        return StatusOk;
    }

    const int32_t* table;
    std::vector<uint32_t> words;
    uint8_t run = 0;
    int16_t level = 0;
    int32_t value = 0;
};

struct CodeLists {
    std::vector<int32_t> values =
        kelvcpx::app::makeCodeList(codeRows.codedBlockPattern, std::array<int32_t, 1>{9});
    std::vector<int32_t> levels =
        kelvcpx::app::makeCodeList(CoefficientRows(0).rows(), std::array<int32_t, 2>{9, 8});
    int32_t* table = nullptr;
};

void addTables()
{
    add<keliDecodeHuffmanPair_1u16s>(
        "", [] { return Codes(CoefficientRows(0).rows(), codeTables().coefficients[0].get()); },
        [](auto decode, Codes& c) {
            return c.read([&](auto... place) { return decode(place..., c.table, &c.run, &c.level); });
        });
    add<keliDecodeHuffmanOne_1u32s>(
        "", [] { return Codes(codeRows.dcSize[0], codeTables().dcSize[0].get()); },
        [](auto decode, Codes& c) {
            return c.read([&](auto... place) { return decode(place..., &c.value, c.table); });
        });
    const auto release = [](CodeLists& lists, Status status) {
        keliHuffmanTableFree_32s(lists.table);
        return status;
    };
    add<CodeLists, keliHuffmanTableInitAlloc_32s>("", [=](auto build, CodeLists& lists) {
        return release(lists, build(lists.values.data(), &lists.table));
    });
    add<CodeLists, keliHuffmanRunLevelTableInitAlloc_32s, keliCreateRLEncodeTable>(
        "", [=](auto build, CodeLists& lists) {
            return release(lists, build(lists.levels.data(), &lists.table));
        });
    add<CodeLists, keliHuffmanTableFree_32s>("", [](auto free, CodeLists& lists) {
        keliHuffmanTableInitAlloc_32s(lists.values.data(), &lists.table);
        return free(lists.table);
    });
}

struct Levels : FreshBlocks<64> {
    Levels() : FreshBlocks(levelBlocks(20, count)) { matrix.fill(20); }
    alignas(64) Block matrix;
    alignas(64) Block result{};
};

struct Coefficients : FreshBlocks<64> {
    Coefficients() : FreshBlocks(400) {}
    int32_t count = 0;
};

void addQuantisation()
{
    add<Levels, keliQuantInvIntra_MPEG2_16s_C1I, keliQuantInv_MPEG2_16s_C1I>(
        "matrix", [](auto dequantise, Levels& l) { return dequantise(l.next(), 8, l.matrix.data()); });
    add<Levels, keliQuantInv_MPEG2_16s_C1I>(
        "flat", [](auto dequantise, Levels& l) { return dequantise(l.next(), 8, nullptr); });
    add<Coefficients, keliQuantIntra_MPEG2_16s_C1I, keliQuant_MPEG2_16s_C1I>(
        "", [](auto quantise, Coefficients& c) { return quantise(c.next(), 8, nullptr, &c.count); });
    for (const int levels : {5, 20}) {
        add<keliScanFwd_16s_C1>(
            std::to_string(levels), [=] { return WordStream(levels, false); },
            [=](auto scan, WordStream& s) { return scan(s.blocks[0].data(), s.block.data(), levels, 0); });
        add<Levels, keliScanInv_16s_C1>(std::to_string(levels), [=](auto scan, Levels& l) {
            return scan(l.next(), l.result.data(), levels, 1);
        });
    }
}

[[maybe_unused]] const bool registered = [] {
    for (const int levels : {3, 20})
        addReconstruction(levels);
    addTables();
    addQuantisation();
    return true;
}();

} // namespace
