// H.261 and H.263: coefficients from the stream and to the stream, quantisation.

#include <kelvcpx/h261.h>
#include <kelvcpx/h263.h>

#include <benchmark/benchmark.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace {

using Block = std::array<int16_t, 64>;

constexpr int blockCount = 200;

// Random blocks of `count` levels that are not 0, mostly small and near the start of the zigzag scan.
std::vector<Block> randomBlocks(int64_t count)
{
    constexpr std::array<std::size_t, 36> low = {0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25,
                                                 18, 11, 4,  5,  12, 19, 26, 33, 40, 48, 41, 34,
                                                 27, 20, 13, 6,  7,  14, 21, 28, 35, 42, 49, 56};
    std::mt19937 random(1);
    std::vector<Block> blocks(blockCount);
    for (Block& block : blocks) {
        block.fill(0);
        block[0] = 5;
        for (int64_t placed = 1; placed < count;) {
            int16_t& level = block[low[random() % static_cast<std::size_t>(count + count / 2)]];
            if (level != 0)
                continue;
            const int magnitude = random() % 4 != 0 ? 1 : 1 + static_cast<int>(random() % 5);
            level = static_cast<int16_t>(random() % 2 == 0 ? magnitude : -magnitude);
            placed++;
        }
    }
    return blocks;
}

// encode(block, &byte, &offset, count).
template <class Encode>
std::vector<uint8_t> streamOf(int64_t count, Encode encode)
{
    std::vector<uint8_t> bytes(blockCount * 200);
    uint8_t* at = bytes.data();
    int32_t offset = 0;
    for (const Block& block : randomBlocks(count))
        encode(block.data(), &at, &offset, static_cast<int32_t>(count));
    return bytes;
}

// decode(&byte, &offset, block, &last); the argument is the number of levels of a block, items are blocks.
template <class Encode, class Decode>
void decodeBlocks(benchmark::State& state, Encode encode, Decode decode)
{
    const std::vector<uint8_t> bytes = streamOf(state.range(0), encode);
    Block block;
    int32_t last = 0;
    for ([[maybe_unused]] auto _ : state) {
        const uint8_t* at = bytes.data();
        int32_t offset = 0;
        for (int i = 0; i < blockCount; i++) {
            if (decode(&at, &offset, block.data(), &last) != StatusOk)
                state.SkipWithError("the stream of the benchmark is damaged");
            benchmark::DoNotOptimize(block);
        }
    }
    state.SetItemsProcessed(state.iterations() * blockCount);
}

template <class Encode>
void encodeBlocks(benchmark::State& state, Encode encode)
{
    const std::vector<Block> blocks = randomBlocks(state.range(0));
    std::vector<uint8_t> bytes(blockCount * 200);
    const auto count = static_cast<int32_t>(state.range(0));
    for ([[maybe_unused]] auto _ : state) {
        uint8_t* at = bytes.data();
        int32_t offset = 0;
        for (const Block& block : blocks)
            encode(block.data(), &at, &offset, count);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * blockCount);
}

constexpr auto encodeInterH263 = [](const int16_t* block, uint8_t** at, int32_t* offset, int32_t count) {
    return keliEncodeCoeffsInter_H263_16s1u(block, at, offset, count, 0, 0);
};

constexpr auto encodeAdvancedH263 = [](const int16_t* block, uint8_t** at, int32_t* offset, int32_t count) {
    return keliEncodeCoeffsIntra_H263_16s1u(block, at, offset, count, 1, 0, 0);
};

constexpr auto encodeIntraH261 = [](const int16_t* block, uint8_t** at, int32_t* offset, int32_t count) {
    return keliEncodeCoeffsIntra_H261_16s1u(block, at, offset, count, 0);
};

// With the DC in front.
constexpr auto encodeIntraH263 = [](const int16_t* block, uint8_t** at, int32_t* offset, int32_t count) {
    keliEncodeDCIntra_H263_16s1u(block[0], at, offset);
    return keliEncodeCoeffsIntra_H263_16s1u(block, at, offset, count - 1, 0, 0, 0);
};

constexpr auto encodeInterH261 = [](const int16_t* block, uint8_t** at, int32_t* offset, int32_t count) {
    return keliEncodeCoeffsInter_H261_16s1u(block, at, offset, count, 0);
};

void DecodeInterH263(benchmark::State& state)
{
    decodeBlocks(state, encodeInterH263,
                 [](const uint8_t** at, int32_t* offset, int16_t* block, int32_t* last) {
                     return keliDecodeCoeffsInter_H263_1u16s(at, offset, block, last, 0, 0);
                 });
}

void ReconstructInterH263(benchmark::State& state)
{
    decodeBlocks(state, encodeInterH263,
                 [](const uint8_t** at, int32_t* offset, int16_t* block, int32_t* last) {
                     return keliReconstructCoeffsInter_H263_1u16s(at, offset, block, last, 7, 0);
                 });
}

void ReconstructAdvancedIntraH263(benchmark::State& state)
{
    decodeBlocks(state, encodeAdvancedH263,
                 [](const uint8_t** at, int32_t* offset, int16_t* block, int32_t* last) {
                     return keliReconstructCoeffsIntra_H263_1u16s(at, offset, block, last, 1, 7, 1, 0, 0);
                 });
}

void DecodeIntraH263(benchmark::State& state)
{
    decodeBlocks(state, encodeIntraH263,
                 [](const uint8_t** at, int32_t* offset, int16_t* block, int32_t* last) {
                     keliDecodeDCIntra_H263_1u16s(at, offset, block);
                     return keliDecodeCoeffsIntra_H263_1u16s(at, offset, block, last, 0, 0, 0);
                 });
}

void ReconstructIntraH263(benchmark::State& state)
{
    decodeBlocks(state, encodeIntraH263,
                 [](const uint8_t** at, int32_t* offset, int16_t* block, int32_t* last) {
                     return keliReconstructCoeffsIntra_H263_1u16s(at, offset, block, last, 1, 7, 0, 0, 0);
                 });
}

void DecodeInterH261(benchmark::State& state)
{
    decodeBlocks(state, encodeInterH261,
                 [](const uint8_t** at, int32_t* offset, int16_t* block, int32_t* last) {
                     return keliDecodeCoeffsInter_H261_1u16s(at, offset, block, last, 0);
                 });
}

void DecodeIntraH261(benchmark::State& state)
{
    decodeBlocks(state, encodeIntraH261,
                 [](const uint8_t** at, int32_t* offset, int16_t* block, int32_t* last) {
                     return keliDecodeCoeffsIntra_H261_1u16s(at, offset, block, last, 0);
                 });
}

void ReconstructIntraH261(benchmark::State& state)
{
    decodeBlocks(state, encodeIntraH261,
                 [](const uint8_t** at, int32_t* offset, int16_t* block, int32_t* last) {
                     return keliReconstructCoeffsIntra_H261_1u16s(at, offset, block, last, 7);
                 });
}

void ReconstructInterH261(benchmark::State& state)
{
    decodeBlocks(state, encodeInterH261,
                 [](const uint8_t** at, int32_t* offset, int16_t* block, int32_t* last) {
                     return keliReconstructCoeffsInter_H261_1u16s(at, offset, block, last, 7);
                 });
}

void EncodeInterH263(benchmark::State& state)
{
    encodeBlocks(state, encodeInterH263);
}

void EncodeIntraH263(benchmark::State& state)
{
    encodeBlocks(state, encodeIntraH263);
}

void EncodeIntraH261(benchmark::State& state)
{
    encodeBlocks(state, encodeIntraH261);
}

void EncodeInterH261(benchmark::State& state)
{
    encodeBlocks(state, encodeInterH261);
}

BENCHMARK(DecodeInterH263)->Arg(3)->Arg(20);
BENCHMARK(DecodeIntraH263)->Arg(3)->Arg(20);
BENCHMARK(ReconstructIntraH263)->Arg(3)->Arg(20);
BENCHMARK(DecodeInterH261)->Arg(3)->Arg(20);
BENCHMARK(DecodeIntraH261)->Arg(3)->Arg(20);
BENCHMARK(ReconstructIntraH261)->Arg(3)->Arg(20);
BENCHMARK(EncodeIntraH263)->Arg(3)->Arg(20);
BENCHMARK(EncodeIntraH261)->Arg(3)->Arg(20);
BENCHMARK(ReconstructInterH263)->Arg(3)->Arg(20);
BENCHMARK(ReconstructAdvancedIntraH263)->Arg(3)->Arg(20);
BENCHMARK(ReconstructInterH261)->Arg(3)->Arg(20);
BENCHMARK(EncodeInterH263)->Arg(3)->Arg(20);
BENCHMARK(EncodeInterH261)->Arg(3)->Arg(20);

template <class Quantise>
void quantiseBlocks(benchmark::State& state, Quantise quantise)
{
    const std::vector<Block> blocks = randomBlocks(20);
    for ([[maybe_unused]] auto _ : state)
        for (Block block : blocks) {
            quantise(block.data());
            benchmark::DoNotOptimize(block);
        }
    state.SetItemsProcessed(state.iterations() * blockCount);
}

void QuantiseInterH263(benchmark::State& state)
{
    int32_t count;
    quantiseBlocks(state, [&](int16_t* block) { keliQuantInter_H263_16s_C1I(block, 5, &count, 0); });
}

void QuantiseIntraH263(benchmark::State& state)
{
    int32_t count;
    quantiseBlocks(state, [&](int16_t* block) { keliQuantIntra_H263_16s_C1I(block, 5, &count, 0, 0); });
}

void DequantiseIntraH263(benchmark::State& state)
{
    quantiseBlocks(state, [](int16_t* block) { keliQuantInvIntra_H263_16s_C1I(block, 63, 5, 0, 0); });
}

void DequantiseInterH263(benchmark::State& state)
{
    quantiseBlocks(state, [](int16_t* block) { keliQuantInvInter_H263_16s_C1I(block, 63, 5, 0); });
}

BENCHMARK(QuantiseInterH263);
BENCHMARK(QuantiseIntraH263);
BENCHMARK(DequantiseIntraH263);
BENCHMARK(DequantiseInterH263);

} // namespace
