// H.264: CAVLC blocks, intra prediction and the reconstruction of macroblocks.

#include "h264/cavlc_stream.h"
#include "h264/cavlc_tables.h"

#include <kelvcpx/h264_residual.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <random>
#include <vector>

namespace {

using kelvcpx::app::h264::cavlcTables;
using kelvcpx::test::BitText;
using kelvcpx::test::BlockKind;
using kelvcpx::test::putBlock;

constexpr std::array<int32_t, 16> zigzag = {0, 1, 4, 8, 5, 2, 3, 6, 9, 12, 13, 10, 7, 11, 14, 15};

// A block of `count` coefficients with the slopes of ordinary pictures: low frequencies are more frequent and
// larger.
std::vector<int32_t> scannedBlock(std::mt19937& random, int size, int count)
{
    std::vector<int32_t> block(static_cast<std::size_t>(size), 0);
    std::geometric_distribution<int> place(1.2 / (count + 2));
    std::geometric_distribution<int> magnitude(count > 6 ? 0.3 : 0.6);
    for (int left = count; left > 0;) {
        const auto at = static_cast<std::size_t>(place(random));
        if (at >= block.size() || block[at] != 0)
            continue;
        const int level = 1 + (at < 4 ? magnitude(random) : 0);
        block[at] = random() % 2 != 0 ? level : -level;
        left--;
    }
    return block;
}

// So many that the processor cannot learn the stream by heart.
constexpr int blocksPerRound = 100000;

// The argument is the mean number of coefficients, items are blocks.
void DecodeCavlc(benchmark::State& state)
{
    std::mt19937 random(1);
    std::poisson_distribution<int> counts(static_cast<double>(state.range(0)));
    const int nC = state.range(0) > 8 ? 6 : state.range(0) > 2 ? 2 : 0;
    BitText text;
    for (int i = 0; i < blocksPerRound; i++)
        putBlock(text, BlockKind::luma, nC, scannedBlock(random, 16, std::min(16, counts(random))));
    const auto words = text.words();
    const auto& tables = cavlcTables();
    std::array<int16_t, 16> block;
    for (auto _ : state) {
        const uint32_t* word = words.data();
        int32_t offset = 31;
        uint16_t total;
        for (int i = 0; i < blocksPerRound; i++) {
            int16_t* next = block.data();
            if (keliDecodeCAVLCCoeffs_H264_1u16s(&word, &offset, &total, &next, nC, 16, tables.coeffToken,
                                                 tables.totalZeros, tables.runBefore,
                                                 zigzag.data()) != StatusOk)
                state.SkipWithError("the stream of the benchmark is damaged");
            benchmark::DoNotOptimize(block);
        }
    }
    state.SetItemsProcessed(state.iterations() * blocksPerRound);
    state.counters["bits/block"] = static_cast<double>(text.size()) / blocksPerRound;
}
BENCHMARK(DecodeCavlc)->Arg(0)->Arg(1)->Arg(3)->Arg(6)->Arg(12);

void DecodeCavlcChromaDc(benchmark::State& state)
{
    std::mt19937 random(2);
    BitText text;
    for (int i = 0; i < blocksPerRound; i++)
        putBlock(text, BlockKind::chromaDc, -1, scannedBlock(random, 4, static_cast<int>(random() % 4)));
    const auto words = text.words();
    const auto& tables = cavlcTables();
    std::array<int16_t, 4> block;
    for (auto _ : state) {
        const uint32_t* word = words.data();
        int32_t offset = 31;
        uint16_t total;
        for (int i = 0; i < blocksPerRound; i++) {
            int16_t* next = block.data();
            keliDecodeCAVLCChromaDcCoeffs_H264_1u16s(&word, &offset, &total, &next, tables.coeffTokenChromaDc,
                                                     tables.totalZerosChromaDc, tables.runBefore);
            benchmark::DoNotOptimize(block);
        }
    }
    state.SetItemsProcessed(state.iterations() * blocksPerRound);
}
BENCHMARK(DecodeCavlcChromaDc);

void DecodeExpGolomb(benchmark::State& state)
{
    std::mt19937 random(3);
    std::geometric_distribution<uint32_t> values(0.3);
    BitText text;
    for (int i = 0; i < blocksPerRound; i++) {
        const uint32_t k = values(random) + 1;
        const int zeros = 31 - std::countl_zero(k);
        text.put(0, zeros);
        text.put(k, zeros + 1);
    }
    const auto words = text.words();
    for (auto _ : state) {
        const uint32_t* word = words.data();
        int32_t offset = 31;
        int16_t value;
        for (int i = 0; i < blocksPerRound; i++) {
            keliDecodeExpGolombOne_H264_1u16s(&word, &offset, &value, 1);
            benchmark::DoNotOptimize(value);
        }
    }
    state.SetItemsProcessed(state.iterations() * blocksPerRound);
}
BENCHMARK(DecodeExpGolomb);

constexpr int32_t step = 64;

// Samples of a macroblock with all its neighbours.
struct Picture {
    std::array<uint8_t, step * 32> samples;

    Picture()
    {
        std::mt19937 random(4);
        for (auto& sample : samples)
            sample = static_cast<uint8_t>(100 + random() % 50);
    }
    uint8_t* macroblock() { return samples.data() + step + 16; }
};

void PredictIntra4x4(benchmark::State& state)
{
    Picture picture;
    const auto mode = static_cast<uint32_t>(state.range(0));
    for (auto _ : state) {
        keliPredictIntra_4x4_H264_8u_C1IR(picture.macroblock(), step, mode, 0x63);
        benchmark::DoNotOptimize(picture);
    }
}
BENCHMARK(PredictIntra4x4)->DenseRange(0, 8);

void PredictIntra16x16(benchmark::State& state)
{
    Picture picture;
    const auto mode = static_cast<uint32_t>(state.range(0));
    for (auto _ : state) {
        keliPredictIntra_16x16_H264_8u_C1IR(picture.macroblock(), step, mode, 0x63);
        benchmark::DoNotOptimize(picture);
    }
}
BENCHMARK(PredictIntra16x16)->DenseRange(0, 3);

void PredictIntraChroma(benchmark::State& state)
{
    Picture picture;
    const auto mode = static_cast<uint32_t>(state.range(0));
    for (auto _ : state) {
        keliPredictIntraChroma8x8_H264_8u_C1IR(picture.macroblock(), step, mode, 0x63);
        benchmark::DoNotOptimize(picture);
    }
}
BENCHMARK(PredictIntraChroma)->DenseRange(0, 3);

// Macroblocks whose blocks all have `count` coefficients; the modes are any.
struct Macroblock {
    Picture picture;
    std::vector<int16_t> coefficients;
    std::vector<int16_t> scales = std::vector<int16_t>(64, 20 * 16);
    std::array<uint32_t, 16> modes;

    Macroblock(std::size_t blockSize, int64_t count) : coefficients(384, 0)
    {
        std::mt19937 random(5);
        for (std::size_t i = 0; i < coefficients.size(); i += blockSize)
            for (int64_t k = 0; k < count; k++)
                coefficients[i + static_cast<std::size_t>(zigzag[static_cast<std::size_t>(k)])] =
                    static_cast<int16_t>(random() % 5 - 2 + 2 * (k == 0));
        for (auto& mode : modes)
            mode = static_cast<uint32_t>(random() % 9);
    }
};

template <class Operation>
void reconstruct(benchmark::State& state, std::size_t blockSize, Operation operation)
{
    Macroblock mb(blockSize, state.range(0));
    for (auto _ : state) {
        int16_t* next = mb.coefficients.data();
        operation(&next, mb);
        benchmark::DoNotOptimize(mb);
    }
}

void LumaIntra4x4(benchmark::State& state)
{
    reconstruct(state, 16, [](int16_t** next, Macroblock& mb) {
        keliReconstructLumaIntraMB_H264_16s8u_C1R(next, mb.picture.macroblock(), step, mb.modes.data(),
                                                  0x1FFFE, 28, 0);
    });
}

void LumaIntra4x4High(benchmark::State& state)
{
    reconstruct(state, 16, [](int16_t** next, Macroblock& mb) {
        keliReconstructLumaIntra4x4MB_H264_16s8u_C1R(next, mb.picture.macroblock(), step, mb.modes.data(),
                                                     0x1FFFE, 22, 0, mb.scales.data(), 0);
    });
}

void LumaIntra8x8(benchmark::State& state)
{
    reconstruct(state, 64, [](int16_t** next, Macroblock& mb) {
        keliReconstructLumaIntra8x8MB_H264_16s8u_C1R(next, mb.picture.macroblock(), step, mb.modes.data(),
                                                     0xF, 28, 0, mb.scales.data(), 0);
    });
}

void LumaIntra16x16(benchmark::State& state)
{
    reconstruct(state, 16, [](int16_t** next, Macroblock& mb) {
        keliReconstructLumaIntra16x16MB_H264_16s8u_C1R(next, mb.picture.macroblock(), step, 2, 0x1FFFF, 28,
                                                       0);
    });
}

void LumaInter(benchmark::State& state)
{
    reconstruct(state, 16, [](int16_t** next, Macroblock& mb) {
        keliReconstructLumaInterMB_H264_16s8u_C1R(next, mb.picture.macroblock(), step, 0x1FFFE, 28);
    });
}

void LumaInter8x8(benchmark::State& state)
{
    reconstruct(state, 64, [](int16_t** next, Macroblock& mb) {
        keliReconstructLumaInter8x8MB_H264_16s8u_C1R(next, mb.picture.macroblock(), step, 0xF, 28,
                                                     mb.scales.data(), 0);
    });
}

void ChromaInter(benchmark::State& state)
{
    reconstruct(state, 16, [](int16_t** next, Macroblock& mb) {
        keliReconstructChromaInterMB_H264_16s8u_P2R(next, mb.picture.macroblock(),
                                                    mb.picture.macroblock() + 16, step, 0x7FE0000, 28);
    });
}

// The argument is the number of coefficients of each block: none, the DC alone, more.
BENCHMARK(LumaIntra4x4)->Arg(0)->Arg(1)->Arg(6);
BENCHMARK(LumaIntra4x4High)->Arg(0)->Arg(1)->Arg(6);
BENCHMARK(LumaIntra8x8)->Arg(0)->Arg(1)->Arg(12);
BENCHMARK(LumaIntra16x16)->Arg(0)->Arg(1)->Arg(6);
BENCHMARK(LumaInter)->Arg(0)->Arg(1)->Arg(6);
BENCHMARK(LumaInter8x8)->Arg(0)->Arg(1)->Arg(12);
BENCHMARK(ChromaInter)->Arg(0)->Arg(1)->Arg(6);

} // namespace
