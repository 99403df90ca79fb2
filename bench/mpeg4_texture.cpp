// MPEG-4 Part 2 texture: quantisation, coefficients from and to the stream.

#include <kelvcpx/mpeg4.h>

#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <random>
#include <vector>

namespace {

using Block = std::array<int16_t, 64>;

// A block whose coefficients get smaller with the frequency.
Block coefficients(int32_t largest)
{
    std::mt19937 random(1);
    Block block;
    for (int32_t i = 0; i < 64; i++) {
        const int32_t range = largest / (1 + i / 8 + i % 8);
        block[static_cast<std::size_t>(i)] = static_cast<int16_t>(
            static_cast<int32_t>(random() % static_cast<uint32_t>(2 * range + 1)) - range);
    }
    return block;
}

// A record for 8-bit samples.
template <class Spec>
class Record
{
public:
    Record(Status (*init)(const uint8_t*, Spec*, int32_t) noexcept, bool hasMatrix)
    {
        std::array<uint8_t, 64> weights;
        weights.fill(20);
        init(hasMatrix ? weights.data() : nullptr, get(), 8);
    }
    Record(const Record&) = delete;
    Record& operator=(const Record&) = delete;

    Spec* get() { return reinterpret_cast<Spec*>(bytes_.data()); }

private:
    std::array<unsigned char, 412> bytes_{};
};

// The argument tells whether there is a matrix.
template <class Spec, class Operation>
void quantise(benchmark::State& state, Status (*init)(const uint8_t*, Spec*, int32_t) noexcept,
              int32_t largest, Operation operation)
{
    Record<Spec> record(init, state.range(0) != 0);
    const Block source = coefficients(largest);
    for ([[maybe_unused]] auto _ : state) {
        Block block = source;
        benchmark::DoNotOptimize(block);
        operation(record.get(), block.data());
        benchmark::DoNotOptimize(block);
    }
}

void QuantInvIntra(benchmark::State& state)
{
    quantise(state, keliQuantInvIntraInit_MPEG4, 40, [](const QuantInvSpec* spec, int16_t* block) {
        keliQuantInvIntra_MPEG4_16s_C1I(block, 63, spec, 6, 0);
    });
}

void QuantInvInter(benchmark::State& state)
{
    quantise(state, keliQuantInvInterInit_MPEG4, 40, [](const QuantInvSpec* spec, int16_t* block) {
        keliQuantInvInter_MPEG4_16s_C1I(block, 63, spec, 6);
    });
}

void QuantIntra(benchmark::State& state)
{
    quantise(state, keliQuantIntraInit_MPEG4, 800, [](const QuantSpec* spec, int16_t* block) {
        uint32_t count = 0;
        keliQuantIntra_MPEG4_16s_C1I(block, spec, 6, &count, 0);
        benchmark::DoNotOptimize(count);
    });
}

void QuantInter(benchmark::State& state)
{
    quantise(state, keliQuantInterInit_MPEG4, 800, [](const QuantSpec* spec, int16_t* block) {
        uint32_t count = 0;
        keliQuantInter_MPEG4_16s_C1I(block, spec, 6, &count);
        benchmark::DoNotOptimize(count);
    });
}

BENCHMARK(QuantInvIntra)->Name("QuantInvIntraMpeg4")->Arg(0)->Arg(1);
BENCHMARK(QuantInvInter)->Name("QuantInvInterMpeg4")->Arg(0)->Arg(1);
BENCHMARK(QuantIntra)->Name("QuantIntraMpeg4")->Arg(0)->Arg(1);
BENCHMARK(QuantInter)->Name("QuantInterMpeg4")->Arg(0)->Arg(1);

// A stream of blocks with the given number of levels, as an encoder writes them, and bytes on either side.
struct Stream {
    static constexpr int32_t blocks = 200;

    Stream(bool intra, bool reversible, int64_t levels)
    {
        uint8_t* byte = bytes.data() + 8;
        int32_t offset = 0;
        *byte = 0b10110 << 3; // a code that ends a block
        offset = 5;
        begin = byte;
        std::mt19937 random(1);
        for (int32_t i = 0; i < blocks; i++) {
            const Block block = levelsOf(static_cast<int32_t>(levels), random);
            const auto count = static_cast<int32_t>(levels);
            if (intra)
                keliEncodeCoeffsIntra_MPEG4_16s1u(block.data(), &byte, &offset, count, reversible, 0, -1);
            else
                keliEncodeCoeffsInter_MPEG4_16s1u(block.data(), &byte, &offset, count, reversible, 0);
        }
        end = byte;
        endOffset = offset;
    }

    // Small levels at low positions.
    static Block levelsOf(int32_t count, std::mt19937& random)
    {
        Block block{};
        for (int32_t position = 0; count > 0; position++) {
            const bool mustHave = position + count >= 64;
            if (!mustHave && random() % 3 == 0)
                continue;
            const auto magnitude = static_cast<int32_t>(random() % 4 == 0 ? 1 + random() % 6 : 1);
            block[static_cast<std::size_t>(position)] =
                static_cast<int16_t>(random() % 2 == 0 ? magnitude : -magnitude);
            count--;
        }
        return block;
    }

    std::vector<uint8_t> bytes = std::vector<uint8_t>(64 * 4 * blocks);
    const uint8_t* begin;
    int32_t beginOffset = 5;
    const uint8_t* end;
    int32_t endOffset;
};

// Runs operation(&byte, &offset, block, &last) for all blocks of a stream; items are blocks. The argument is
// the number of levels of a block.
template <class Operation>
void decode(benchmark::State& state, bool intra, bool reversible, bool backward, Operation operation)
{
    const Stream stream(intra, reversible, state.range(0));
    Block block;
    int32_t last = 0;
    for ([[maybe_unused]] auto _ : state) {
        const uint8_t* byte = backward ? stream.end : stream.begin;
        int32_t offset = backward ? stream.endOffset : stream.beginOffset;
        for (int32_t i = 0; i < Stream::blocks; i++) {
            if (operation(&byte, &offset, block.data(), &last) != StatusOk)
                state.SkipWithError("the stream of the benchmark is damaged");
            benchmark::DoNotOptimize(block);
        }
    }
    state.SetItemsProcessed(state.iterations() * Stream::blocks);
}

void DecodeCoeffsIntra(benchmark::State& state)
{
    decode(state, true, false, false,
           [](const uint8_t** byte, int32_t* offset, int16_t* block, int32_t* last) {
               return keliDecodeCoeffsIntra_MPEG4_1u16s(byte, offset, block, last, 0, 0, 0);
           });
}

void DecodeCoeffsInter(benchmark::State& state)
{
    decode(state, false, false, false,
           [](const uint8_t** byte, int32_t* offset, int16_t* block, int32_t* last) {
               return keliDecodeCoeffsInter_MPEG4_1u16s(byte, offset, block, last, 0, 0);
           });
}

void DecodeCoeffsReversible(benchmark::State& state)
{
    decode(state, false, true, false,
           [](const uint8_t** byte, int32_t* offset, int16_t* block, int32_t* last) {
               return keliDecodeCoeffsInter_MPEG4_1u16s(byte, offset, block, last, 1, 0);
           });
}

void DecodeCoeffsBackward(benchmark::State& state)
{
    decode(state, false, true, true, keliDecodeCoeffsInterRVLCBack_MPEG4_1u16s);
}

template <bool hasMatrix>
void ReconstructCoeffsInter(benchmark::State& state)
{
    Record<QuantInvSpec> record(keliQuantInvInterInit_MPEG4, hasMatrix);
    decode(state, false, false, false,
           [&](const uint8_t** byte, int32_t* offset, int16_t* block, int32_t* last) {
               return keliReconstructCoeffsInter_MPEG4_1u16s(byte, offset, block, last, 0, 0, record.get(),
                                                             6);
           });
}

void EncodeCoeffsInter(benchmark::State& state)
{
    std::mt19937 random(1);
    const auto count = static_cast<int32_t>(state.range(0));
    const Block block = Stream::levelsOf(count, random);
    std::array<uint8_t, 400> bytes{};
    for ([[maybe_unused]] auto _ : state) {
        uint8_t* byte = bytes.data();
        int32_t offset = 3;
        keliEncodeCoeffsInter_MPEG4_16s1u(block.data(), &byte, &offset, count, 0, 0);
        benchmark::DoNotOptimize(bytes);
    }
}

BENCHMARK(DecodeCoeffsIntra)->Name("DecodeCoeffsIntraMpeg4")->Arg(3)->Arg(20);
BENCHMARK(DecodeCoeffsInter)->Name("DecodeCoeffsInterMpeg4")->Arg(3)->Arg(20);
BENCHMARK(DecodeCoeffsReversible)->Name("DecodeCoeffsInterReversibleMpeg4")->Arg(3)->Arg(20);
BENCHMARK(DecodeCoeffsBackward)->Name("DecodeCoeffsInterBackwardMpeg4")->Arg(3)->Arg(20);
BENCHMARK(ReconstructCoeffsInter<false>)->Name("ReconstructCoeffsInterMpeg4/second")->Arg(3)->Arg(20);
BENCHMARK(ReconstructCoeffsInter<true>)->Name("ReconstructCoeffsInterMpeg4/first")->Arg(3)->Arg(20);
BENCHMARK(EncodeCoeffsInter)->Name("EncodeCoeffsInterMpeg4")->Arg(3)->Arg(20);

} // namespace
