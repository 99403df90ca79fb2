// MPEG-1/2 block reconstruction and inverse quantisation.

#include <kelvcpx/core.h>
#include <kelvcpx/mpeg2.h>
#include <kelvcpx/mpeg2_encode.h>

#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <random>
#include <vector>

namespace {

using Block = std::array<int16_t, 64>;

// A code of the shape of the standard's, with levels 1 to 3 only: 1s (run 0), 01s (run 1), 001s (run 2, level
// 2), 0001s (run 4, level 3), end of block 00001, escape 000001, and one long code behind a link.
const std::initializer_list<int32_t> codeList = {0, 2, 8,   8,                     // levels
                                                 0,                                // length 1
                                                 2, 2, 0,   1, 3, 0, -1,           // 1s
                                                 2, 2, 1,   1, 3, 1, -1,           // 01s
                                                 2, 2, 2,   2, 3, 2, -2,           // 001s
                                                 3, 1, 254, 0, 2, 4, 3,  3, 4, -3, // 00001, 0001s
                                                 1, 1, 255, 0,                     // 000001
                                                 0, 0, 0,   0, 0, 0, 1,  7, 9, 5,  // 13 bits
                                                 -1};

const std::initializer_list<int32_t> dcCodeList = {0, 1, 4, 0, 3, 0, 1, 1, 2, 2, 3, 1, 3, 4, -1};

struct Tables {
    int32_t* ac = nullptr;
    int32_t* dc = nullptr;
    std::array<int32_t, 64> scan{};
    Block matrix{};

    Tables()
    {
        keliHuffmanRunLevelTableInitAlloc_32s(codeList.begin(), &ac);
        keliHuffmanTableInitAlloc_32s(dcCodeList.begin(), &dc);
        for (int32_t i = 0; i < 64; i++)
            scan[static_cast<std::size_t>(i)] = i * 37 % 64;
        matrix.fill(20);
    }
    Tables(const Tables&) = delete;
    Tables& operator=(const Tables&) = delete;
    ~Tables()
    {
        keliHuffmanTableFree_32s(ac);
        keliHuffmanTableFree_32s(dc);
    }
};

// A stream of blocks, each of `count` random coefficients of the short codes and end of block.
std::vector<uint32_t> blocks(int64_t count, bool intra, int number)
{
    std::mt19937 random(1);
    std::vector<bool> bits;
    const auto put = [&](uint32_t code, int length) {
        for (int i = length - 1; i >= 0; i--)
            bits.push_back((code >> i & 1) != 0);
    };
    for (int block = 0; block < number; block++) {
        if (intra) {
            put(0, 2); // dct_dc_size 1
            put(random() & 1, 1);
        }
        for (int64_t i = 0; i < count; i++) {
            const int shape = static_cast<int>(random() % 8);
            const int length = shape < 6 ? 1 : shape == 6 ? 2 : 3; // runs 0, 1, 2
            put(1, length);
            put(random() & 1, 1);
        }
        put(1, 5);
    }
    std::vector<uint32_t> words(bits.size() / 32 + 17, 0);
    for (std::size_t i = 0; i < bits.size(); i++)
        if (bits[i])
            words[i / 32] |= uint32_t{1} << (31 - i % 32);
    return words;
}

constexpr int blocksPerRound = 200;

template <class Decode>
void decodeBlocks(benchmark::State& state, bool intra, Decode decode)
{
    const Tables tables;
    const auto words = blocks(state.range(0), intra, blocksPerRound);
    Block block;
    int32_t last = 0;
    for (auto _ : state) {
        const uint32_t* word = words.data();
        int32_t offset = 31;
        for (int i = 0; i < blocksPerRound; i++) {
            if (decode(tables, &word, &offset, block.data(), &last) != StatusOk)
                state.SkipWithError("the stream of the benchmark is damaged");
            benchmark::DoNotOptimize(block);
        }
    }
    state.SetItemsProcessed(state.iterations() * blocksPerRound);
}

void ReconstructMpeg1(benchmark::State& state)
{
    decodeBlocks(state, false,
                 [](const Tables& t, const uint32_t** word, int32_t* offset, int16_t* dst, int32_t* last) {
                     return keliReconstructDCTBlock_MPEG1_32s(word, offset, t.ac, t.ac, t.scan.data(), 8,
                                                              t.matrix.data(), dst, last);
                 });
}

void ReconstructIntraMpeg1(benchmark::State& state)
{
    int16_t predictor = 1024;
    decodeBlocks(state, true,
                 [&](const Tables& t, const uint32_t** word, int32_t* offset, int16_t* dst, int32_t* last) {
                     return keliReconstructDCTBlockIntra_MPEG1_32s(word, offset, t.dc, t.ac, t.scan.data(), 8,
                                                                   t.matrix.data(), &predictor, dst, last);
                 });
}

void ReconstructMpeg2(benchmark::State& state)
{
    decodeBlocks(state, false,
                 [](const Tables& t, const uint32_t** word, int32_t* offset, int16_t* dst, int32_t* last) {
                     return keliReconstructDCTBlock_MPEG2_32s(word, offset, t.ac, t.ac, t.scan.data(), 8,
                                                              t.matrix.data(), dst, last);
                 });
}

void ReconstructIntraMpeg2(benchmark::State& state)
{
    int16_t predictor = 1024;
    decodeBlocks(state, true,
                 [&](const Tables& t, const uint32_t** word, int32_t* offset, int16_t* dst, int32_t* last) {
                     return keliReconstructDCTBlockIntra_MPEG2_32s(word, offset, t.dc, t.ac, t.scan.data(), 8,
                                                                   t.matrix.data(), &predictor, 3, dst, last);
                 });
}

// The argument is the number of coefficients of a block; items are blocks.
BENCHMARK(ReconstructMpeg1)->Arg(3)->Arg(20);
BENCHMARK(ReconstructIntraMpeg1)->Arg(3)->Arg(20);
BENCHMARK(ReconstructMpeg2)->Arg(3)->Arg(20);
BENCHMARK(ReconstructIntraMpeg2)->Arg(3)->Arg(20);

void DecodeHuffmanPair(benchmark::State& state)
{
    const Tables tables;
    const auto words = blocks(20, false, blocksPerRound);
    uint8_t run = 0;
    int16_t level = 0;
    for (auto _ : state) {
        const uint32_t* word = words.data();
        int32_t offset = 31;
        for (int i = 0; i < 21 * blocksPerRound; i++) {
            keliDecodeHuffmanPair_1u16s(&word, &offset, tables.ac, &run, &level);
            benchmark::DoNotOptimize(run);
        }
    }
    state.SetItemsProcessed(state.iterations() * 21 * blocksPerRound);
}
BENCHMARK(DecodeHuffmanPair);

void DecodeHuffmanOne(benchmark::State& state)
{
    const Tables tables;
    const std::vector<uint32_t> words(300, 0x58B162C5); // sizes 2, 3, 0, 1, ...
    int32_t value = 0;
    for (auto _ : state) {
        const uint32_t* word = words.data();
        int32_t offset = 31;
        for (int i = 0; i < 1000; i++) {
            keliDecodeHuffmanOne_1u32s(&word, &offset, &value, tables.dc);
            benchmark::DoNotOptimize(value);
        }
    }
    state.SetItemsProcessed(state.iterations() * 1000);
}
BENCHMARK(DecodeHuffmanOne);

void QuantInvIntra(benchmark::State& state)
{
    const Tables tables;
    Block block{};
    for (auto _ : state) {
        block.fill(3);
        keliQuantInvIntra_MPEG2_16s_C1I(block.data(), 8, tables.matrix.data());
        benchmark::DoNotOptimize(block);
    }
}
BENCHMARK(QuantInvIntra);

void QuantInv(benchmark::State& state)
{
    const Tables tables;
    Block block{};
    for (auto _ : state) {
        block.fill(3);
        keliQuantInv_MPEG2_16s_C1I(block.data(), 8, state.range(0) != 0 ? tables.matrix.data() : nullptr);
        benchmark::DoNotOptimize(block);
    }
}
BENCHMARK(QuantInv)->Arg(0)->Arg(1);

// A block with so many levels, spread over the low frequencies.
Block levelsOf(int64_t count)
{
    Block block{};
    for (int64_t i = 0; i < count; i++)
        block[static_cast<std::size_t>(i * 3 % 64)] = static_cast<int16_t>(i % 2 == 0 ? 1 : -2);
    return block;
}

void ScanFwd(benchmark::State& state)
{
    const Block block = levelsOf(state.range(0));
    Block scanned{};
    for (auto _ : state) {
        keliScanFwd_16s_C1(block.data(), scanned.data(), static_cast<int32_t>(state.range(0)), 0);
        benchmark::DoNotOptimize(scanned);
    }
}
BENCHMARK(ScanFwd)->Arg(5)->Arg(30);

void ScanInv(benchmark::State& state)
{
    const Block block = levelsOf(10);
    Block raster{};
    for (auto _ : state) {
        keliScanInv_16s_C1(block.data(), raster.data(), 30, 1);
        benchmark::DoNotOptimize(raster);
    }
}
BENCHMARK(ScanInv);

// The argument says whether the block is intra.
void QuantForward(benchmark::State& state)
{
    const auto operation = state.range(0) != 0 ? keliQuantIntra_MPEG2_16s_C1I : keliQuant_MPEG2_16s_C1I;
    Block block{};
    int32_t count = 0;
    for (auto _ : state) {
        block.fill(300);
        operation(block.data(), 8, nullptr, &count);
        benchmark::DoNotOptimize(block);
    }
}
BENCHMARK(QuantForward)->Arg(0)->Arg(1);

// The argument is the number of levels of a block.
void PutNonIntraBlock(benchmark::State& state)
{
    const Tables tables;
    const Block block = levelsOf(state.range(0));
    int32_t* table = nullptr;
    keliCreateRLEncodeTable(codeList.begin(), &table);
    std::vector<uint32_t> stream(64);
    for (auto _ : state) {
        uint32_t* word = stream.data();
        int32_t freeBits = 32;
        keliPutNonIntraBlock(&word, &freeBits, block.data(), table, tables.scan.data(), 5, 1,
                             static_cast<int32_t>(state.range(0)));
        benchmark::DoNotOptimize(stream.data());
    }
    kelsFree(table);
}
BENCHMARK(PutNonIntraBlock)->Arg(3)->Arg(20);

} // namespace
