// H.264: CAVLC blocks, intra prediction and the reconstruction of macroblocks.

#include "h264/cavlc_stream.h"
#include "h264/cavlc_tables.h"

#include <kelvcpx/h264_high.h>
#include <kelvcpx/h264_residual.h>
#include <kelvcpx/h264_transform.h>

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
template <class T>
struct Picture {
    std::array<T, step * 32> samples;

    Picture()
    {
        std::mt19937 random(4);
        for (auto& sample : samples)
            sample = static_cast<T>(100 + random() % 50);
    }
    T* macroblock() { return samples.data() + step + 16; }
};

void PredictIntra4x4(benchmark::State& state)
{
    Picture<uint8_t> picture;
    const auto mode = static_cast<uint32_t>(state.range(0));
    for (auto _ : state) {
        keliPredictIntra_4x4_H264_8u_C1IR(picture.macroblock(), step, mode, 0x63);
        benchmark::DoNotOptimize(picture);
    }
}
BENCHMARK(PredictIntra4x4)->DenseRange(0, 8);

void PredictIntra16x16(benchmark::State& state)
{
    Picture<uint8_t> picture;
    const auto mode = static_cast<uint32_t>(state.range(0));
    for (auto _ : state) {
        keliPredictIntra_16x16_H264_8u_C1IR(picture.macroblock(), step, mode, 0x63);
        benchmark::DoNotOptimize(picture);
    }
}
BENCHMARK(PredictIntra16x16)->DenseRange(0, 3);

void PredictIntraChroma(benchmark::State& state)
{
    Picture<uint8_t> picture;
    const auto mode = static_cast<uint32_t>(state.range(0));
    for (auto _ : state) {
        keliPredictIntraChroma8x8_H264_8u_C1IR(picture.macroblock(), step, mode, 0x63);
        benchmark::DoNotOptimize(picture);
    }
}
BENCHMARK(PredictIntraChroma)->DenseRange(0, 3);

// Macroblocks whose blocks all have `count` coefficients; the modes are any.
template <class T, class Coefficient>
struct Macroblock {
    Picture<T> picture;
    std::vector<Coefficient> coefficients;
    std::vector<int16_t> scales = std::vector<int16_t>(64, 20 * 16);
    std::array<uint32_t, 16> modes;

    Macroblock(std::size_t blockSize, int64_t count) : coefficients(384, 0)
    {
        std::mt19937 random(5);
        for (std::size_t i = 0; i < coefficients.size(); i += blockSize)
            for (int64_t k = 0; k < count; k++)
                coefficients[i + static_cast<std::size_t>(zigzag[static_cast<std::size_t>(k)])] =
                    static_cast<Coefficient>(random() % 5 - 2 + 2 * (k == 0));
        for (auto& mode : modes)
            mode = static_cast<uint32_t>(random() % 9);
    }

    T* luma() { return picture.macroblock(); }
    T* cb() { return picture.macroblock(); }
    T* cr() { return picture.macroblock() + 16; }
};
using Macroblock8 = Macroblock<uint8_t, int16_t>;
using Macroblock10 = Macroblock<uint16_t, int32_t>;

template <class M, class Coefficient, class Operation>
void run(benchmark::State& state, std::size_t blockSize, Operation operation)
{
    M mb(blockSize, state.range(0));
    for (auto _ : state) {
        Coefficient* next = mb.coefficients.data();
        if (operation(&next, mb) < StatusOk)
            state.SkipWithError("the operation fails");
        benchmark::DoNotOptimize(mb);
    }
}

// Adds the benchmark of an operation for blocks without coefficients, with a DC alone, and with more.
void add(const char* name, std::size_t blockSize, void (*function)(benchmark::State&))
{
    benchmark::RegisterBenchmark(name, function)->Arg(0)->Arg(1)->Arg(blockSize == 64 ? 12 : 6);
}

template <std::size_t blockSize, class Operation>
void add8(const char* name, Operation)
{
    add(name, blockSize,
        [](benchmark::State& state) { run<Macroblock8, int16_t>(state, blockSize, Operation{}); });
}

constexpr int32_t bitDepth = 10;
constexpr int32_t qp = 28;

BlockReconParams record(int32_t** next, Macroblock10& mb, uint16_t* dst, uint32_t cbp)
{
    return {next, dst, step, cbp, qp + 6 * (bitDepth - 8), mb.scales.data(), 0, bitDepth};
}

template <std::size_t blockSize, class Operation>
void add10(const char* name, Operation)
{
    add(name, blockSize,
        [](benchmark::State& state) { run<Macroblock10, int32_t>(state, blockSize, Operation{}); });
}

constexpr uint32_t all4x4 = 0x1FFFE;
constexpr uint32_t all16x16 = 0x1FFFF;
constexpr uint32_t all8x8 = 0xF;
constexpr uint32_t all420 = 0x7FE0000;
constexpr uint32_t all422 = 0x1FF;

void addReconstruction8()
{
    add8<16>("LumaIntra4x4", [](int16_t** next, Macroblock8& mb) {
        return keliReconstructLumaIntraMB_H264_16s8u_C1R(next, mb.luma(), step, mb.modes.data(), all4x4, qp,
                                                         0);
    });
    add8<16>("LumaIntra4x4High", [](int16_t** next, Macroblock8& mb) {
        return keliReconstructLumaIntra4x4MB_H264_16s8u_C1R(next, mb.luma(), step, mb.modes.data(), all4x4,
                                                            22, 0, mb.scales.data(), 0);
    });
    add8<64>("LumaIntra8x8", [](int16_t** next, Macroblock8& mb) {
        return keliReconstructLumaIntra8x8MB_H264_16s8u_C1R(next, mb.luma(), step, mb.modes.data(), all8x8,
                                                            qp, 0, mb.scales.data(), 0);
    });
    add8<16>("LumaIntra16x16", [](int16_t** next, Macroblock8& mb) {
        return keliReconstructLumaIntra16x16MB_H264_16s8u_C1R(next, mb.luma(), step, 2, all16x16, qp, 0);
    });
    add8<16>("LumaInter", [](int16_t** next, Macroblock8& mb) {
        return keliReconstructLumaInterMB_H264_16s8u_C1R(next, mb.luma(), step, all4x4, qp);
    });
    add8<64>("LumaInter8x8", [](int16_t** next, Macroblock8& mb) {
        return keliReconstructLumaInter8x8MB_H264_16s8u_C1R(next, mb.luma(), step, all8x8, qp,
                                                            mb.scales.data(), 0);
    });
    add8<16>("ChromaInter", [](int16_t** next, Macroblock8& mb) {
        return keliReconstructChromaInterMB_H264_16s8u_P2R(next, mb.cb(), mb.cr(), step, all420, qp);
    });
    add8<16>("Chroma422Inter", [](int16_t** next, Macroblock8& mb) {
        return keliReconstructChromaInter4x4MB422_H264_16s8u_P2R(next, mb.cb(), mb.cr(), step, 0xFFFE0000, 7,
                                                                 qp, qp, 320, 320, mb.scales.data(),
                                                                 mb.scales.data(), 0);
    });
}

void addReconstruction10()
{
    add10<16>("LumaIntra4x4/10bit", [](int32_t** next, Macroblock10& mb) {
        const auto params = record(next, mb, mb.luma(), all4x4);
        return keliReconstructLumaIntra4x4_H264High_32s16u_IP1R(&params, mb.modes.data(), 0);
    });
    add10<64>("LumaIntra8x8/10bit", [](int32_t** next, Macroblock10& mb) {
        const auto params = record(next, mb, mb.luma(), all8x8);
        return keliReconstructLumaIntra8x8_H264High_32s16u_IP1R(&params, mb.modes.data(), 0);
    });
    add10<16>("LumaIntra16x16/10bit", [](int32_t** next, Macroblock10& mb) {
        const auto params = record(next, mb, mb.luma(), all16x16);
        return keliReconstructLumaIntra16x16_H264High_32s16u_IP1R(&params, 2, 0);
    });
    add10<16>("LumaInter/10bit", [](int32_t** next, Macroblock10& mb) {
        const auto params = record(next, mb, mb.luma(), all4x4);
        return keliReconstructLumaInter4x4_H264High_32s16u_IP1R(&params);
    });
    add10<64>("LumaInter8x8/10bit", [](int32_t** next, Macroblock10& mb) {
        const auto params = record(next, mb, mb.luma(), all8x8);
        return keliReconstructLumaInter8x8_H264High_32s16u_IP1R(&params);
    });
    add10<16>("ChromaInter/10bit", [](int32_t** next, Macroblock10& mb) {
        const auto cb = record(next, mb, mb.cb(), all420);
        const auto cr = record(next, mb, mb.cr(), all420);
        const std::array pair = {&cb, &cr};
        return keliReconstructChromaInter4x4_H264High_32s16u_IP2R(pair.data());
    });
    add10<16>("Chroma422Inter/10bit", [](int32_t** next, Macroblock10& mb) {
        const auto cb = record(next, mb, mb.cb(), all422);
        const auto cr = record(next, mb, mb.cr(), all422);
        const std::array pair = {&cb, &cr};
        return keliReconstructChroma422Inter4x4_H264High_32s16u_IP2R(pair.data(), 320, 320);
    });
    add10<16>("Chroma422Intra/10bit", [](int32_t** next, Macroblock10& mb) {
        const auto cb = record(next, mb, mb.cb(), 0);
        const auto cr = record(next, mb, mb.cr(), 0);
        const std::array pair = {&cb, &cr};
        return keliReconstructChroma422Intra4x4_H264High_32s16u_IP2R(pair.data(), 3, 0, 320, 320);
    });
}

// The single steps, for a block each.
void addSteps()
{
    add8<16>("Step/LumaDC",
             [](int16_t** next, Macroblock8&) { return keliTransformDequantLumaDC_H264_16s_C1I(*next, qp); });
    add8<16>("Step/ResidualAndAdd", [](int16_t** next, Macroblock8& mb) {
        return keliDequantTransformResidualAndAdd_H264_16s_C1I(mb.luma(), *next, nullptr, mb.luma(), step,
                                                               step, qp, 1);
    });
    add8<64>("Step/Quant8x8Inv", [](int16_t** next, Macroblock8& mb) {
        return keliQuantLuma8x8Inv_H264_16s_C1I(*next, qp / 6, mb.scales.data());
    });
    add8<64>("Step/Transform8x8", [](int16_t** next, Macroblock8& mb) {
        return keliTransformLuma8x8InvAddPred_H264_16s8u_C1R(mb.luma(), step, *next, mb.luma(), step);
    });
    add8<16>("Step/SISP", [](int16_t** next, Macroblock8& mb) {
        std::array<int16_t, 16> prediction;
        keliTransformPrediction_H264_8u16s_C1(mb.luma(), step, prediction.data());
        std::copy_n(*next, 16, *next + 16);
        return keliDequantTransformResidual_SISP_H264_16s_C1I(*next + 16, prediction.data(), nullptr, 1, qp,
                                                              qp, 0);
    });
    add8<64>("Step/GenScale", [](int16_t** next, Macroblock8& mb) {
        return keliGenScaleLevel8x8_H264_8u16s_D2(mb.luma(), step, mb.scales.data(), *next, 3);
    });
}

[[maybe_unused]] const bool added = [] {
    addReconstruction8();
    addReconstruction10();
    addSteps();
    return true;
}();

} // namespace
