// MPEG-4 Part 2 texture: quantisation, coefficients from and to the stream.

#include <kelvcpx/mpeg4.h>

#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <random>

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

} // namespace
