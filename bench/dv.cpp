// DV: segments, inverse quantisation, the 2-4-8 DCT.
#include "dv/code_tables.h"
#include "dv/segment_encoder.h"

#include <kelvcpx/dv.h>

#include <benchmark/benchmark.h>

namespace {

using namespace kelvcpx::test;

using Block = std::array<int16_t, 64>;

// Levels that fill nine tenths of a segment: busy blocks need what others leave over.
std::vector<uint8_t> busySegment(const std::vector<int>& areaLengths)
{
    Random random(1);
    DvSegment segment(areaLengths);
    for (DvBlock& block : segment.blocks)
        encodeLevels(block);
    for (int i = 0; i < 600; i++) {
        DvBlock& block = segment.blocks[random.uniform<std::size_t>(0, std::ssize(segment.blocks) - 1)];
        const DvBlock before = block;
        block.levels[random.uniform<std::size_t>(1, random.oneIn(2) ? 8 : 40)] = random.uniform(-3, 3);
        encodeLevels(block);
        if (!segment.fits()) {
            block = before;
            break;
        }
    }
    return segment.bytes();
}

template <class Decode>
void decodeSegment(benchmark::State& state, Decode decode, const std::vector<int>& areaLengths)
{
    const std::vector<uint8_t> bytes = busySegment(areaLengths);
    const kelvcpx::app::dv::AcTable table;
    std::vector<uint32_t> scans(128);
    for (uint32_t i = 0; i < 128; i++)
        scans[i] = i % 64;
    std::vector<int16_t> coefficients(64 * 40);
    std::vector<uint32_t> info(40);
    for (auto _ : state) {
        std::fill(coefficients.begin(), coefficients.end(), int16_t{0});
        if (decode(bytes.data(), scans.data(), table.get(), coefficients.data(), info.data()) != StatusOk)
            state.SkipWithError("the segment of the benchmark is damaged");
        benchmark::DoNotOptimize(coefficients.data());
    }
    state.SetItemsProcessed(state.iterations() * std::ssize(areaLengths) * 5); // blocks
}

void DecodeSegmentDv(benchmark::State& state)
{
    decodeSegment(state, keliHuffmanDecodeSegment_DV_8u16s, {14, 14, 14, 14, 10, 10});
}
BENCHMARK(DecodeSegmentDv);

void DecodeSegmentDv100(benchmark::State& state)
{
    decodeSegment(state, keliHuffmanDecodeSegment_DV100_8u16s, {10, 10, 10, 10, 10, 10, 8, 8});
}
BENCHMARK(DecodeSegmentDv100);

template <class Operation>
void onBlock(benchmark::State& state, Operation operation)
{
    Random random(2);
    Block source;
    for (int16_t& value : source)
        value = random.uniform<int16_t>(-100, 100);
    Block block = source;
    for (auto _ : state) {
        block = source;
        operation(block.data());
        benchmark::DoNotOptimize(block);
    }
    state.SetItemsProcessed(state.iterations());
}

void QuantInvDv(benchmark::State& state)
{
    const Block factors{1, 2, 3, 4};
    onBlock(state, [&](int16_t* block) { keliQuantInv_DV_16s_C1I(block, factors.data()); });
}
BENCHMARK(QuantInvDv);

void QuantWeightInvDv(benchmark::State& state)
{
    const Block factors{1, 2, 3, 4};
    onBlock(state, [&](int16_t* block) {
        keliQuantWeightBlockInv_DV_16s_C1I(block, factors.data(), factors.data());
    });
}
BENCHMARK(QuantWeightInvDv);

void Dct248Forward(benchmark::State& state)
{
    onBlock(state, [](int16_t* block) { keliDCT2x4x8Frw_16s_C1I(block); });
}
BENCHMARK(Dct248Forward);

void Dct248Inverse(benchmark::State& state)
{
    onBlock(state, [](int16_t* block) { keliDCT2x4x8Inv_16s_C1I(block); });
}
BENCHMARK(Dct248Inverse);

void CountZeros(benchmark::State& state)
{
    uint32_t count = 0;
    onBlock(state, [&](int16_t* block) { keliCountZeros8x8_16s_C1(block, &count); });
    benchmark::DoNotOptimize(count);
}
BENCHMARK(CountZeros);

} // namespace
