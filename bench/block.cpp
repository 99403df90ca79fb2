// Block operations: copy, average, add, motion compensation, inverse DCT.

#include <kelvcpx/block.h>

#include <benchmark/benchmark.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr int32_t step = 1920;

// Two reference blocks, a destination and a residual, at addresses as decoding meets them: the references
// anywhere, the rest aligned.
struct Picture {
    std::vector<uint8_t> samples = std::vector<uint8_t>(std::size_t{64} * step);
    alignas(32) std::array<int16_t, 256> residual{};

    Picture()
    {
        std::mt19937 random(1);
        for (uint8_t& sample : samples)
            sample = static_cast<uint8_t>(random());
        for (int16_t& r : residual)
            r = static_cast<int16_t>(random() % 64 - 32);
    }

    const uint8_t* forward() const { return &samples[3]; }
    const uint8_t* backward() const { return &samples[205]; }
    uint8_t* destination() { return &samples[std::size_t{32} * step]; }
};

// Runs `operation(picture)` as the benchmark `name`.
template <class Operation>
void add(const std::string& name, Operation operation)
{
    benchmark::RegisterBenchmark(name.c_str(), [operation](benchmark::State& state) {
        Picture picture;
        for ([[maybe_unused]] auto _ : state) {
            benchmark::DoNotOptimize(operation(picture));
            benchmark::ClobberMemory();
        }
    });
}

template <class Operation>
struct Named {
    std::string name;
    Operation* operation;
};

using Copy = Status(const uint8_t*, int32_t, uint8_t*, int32_t) noexcept;
using Predict = Status(const uint8_t*, int32_t, uint8_t*, int32_t, int32_t, int32_t) noexcept;
using Compensate = Status(const uint8_t*, int32_t, const int16_t*, int32_t, uint8_t*, int32_t, int32_t,
                          int32_t) noexcept;
using CompensateB = Status(const uint8_t*, int32_t, int32_t, const uint8_t*, int32_t, int32_t, const int16_t*,
                           int32_t, uint8_t*, int32_t, int32_t) noexcept;

const std::array<std::string, 4> positions = {"full", "right", "down", "both"}; // by acc

constexpr int32_t mcType(int32_t acc)
{
    return (acc & 1) * 8 + (acc & 2) * 2;
}

void addCopies()
{
    for (const auto& [name, operation] : {Named<Copy>{"Copy8x8", keliCopy8x8_8u_C1R},
                                          {"Copy16x16", keliCopy16x16_8u_C1R},
                                          {"Average8x8", keliAverage8x8_8u_C1IR},
                                          {"Average16x16", keliAverage16x16_8u_C1IR}})
        add(name, [operation = operation](Picture& p) {
            return operation(p.forward(), step, p.destination(), step);
        });

    for (const auto& [name, operation] : {Named<Predict>{"Copy8x4HP", keliCopy8x4HP_8u_C1R},
                                          {"Copy8x8HP", keliCopy8x8HP_8u_C1R},
                                          {"Copy16x8HP", keliCopy16x8HP_8u_C1R},
                                          {"Copy16x16HP", keliCopy16x16HP_8u_C1R},
                                          {"InterpolateAverage8x4", keliInterpolateAverage8x4_8u_C1IR},
                                          {"InterpolateAverage8x8", keliInterpolateAverage8x8_8u_C1IR},
                                          {"InterpolateAverage16x8", keliInterpolateAverage16x8_8u_C1IR},
                                          {"InterpolateAverage16x16", keliInterpolateAverage16x16_8u_C1IR}})
        for (int32_t acc = 0; acc < 4; acc++)
            for (int32_t rounding = 0; rounding < (acc == 0 ? 1 : 2); rounding++)
                add(name + '/' + positions[static_cast<std::size_t>(acc)] + '/' + std::to_string(rounding),
                    [=, operation = operation](Picture& p) {
                        return operation(p.forward(), step, p.destination(), step, acc, rounding);
                    });
}

void addAdditions()
{
    add("Add8x8",
        [](Picture& p) { return keliAdd8x8_16s8u_C1IRS(p.residual.data(), 16, p.destination(), step); });
    add("AddC8x8", [](Picture& p) { return keliAddC8x8_16s8u_C1IR(p.residual[0], p.destination(), step); });
    for (int32_t acc = 0; acc < 4; acc++)
        add("Add8x8HP/" + positions[static_cast<std::size_t>(acc)], [=](Picture& p) {
            return keliAdd8x8HP_16s8u_C1RS(p.residual.data(), 16, p.forward(), step, p.destination(), step,
                                           acc, 0);
        });
}

void addMotionCompensation()
{
    for (const auto& [name, operation] : {Named<Compensate>{"MC16x16", keliMC16x16_8u_C1},
                                          {"MC16x8", keliMC16x8_8u_C1},
                                          {"MC16x4", keliMC16x4_8u_C1},
                                          {"MC8x16", keliMC8x16_8u_C1},
                                          {"MC8x8", keliMC8x8_8u_C1},
                                          {"MC8x4", keliMC8x4_8u_C1},
                                          {"MC16x8UV", keliMC16x8UV_8u_C1},
                                          {"MC4x8", keliMC4x8_8u_C1},
                                          {"MC4x4", keliMC4x4_8u_C1},
                                          {"MC4x2", keliMC4x2_8u_C1},
                                          {"MC2x4", keliMC2x4_8u_C1},
                                          {"MC2x2", keliMC2x2_8u_C1}})
        for (int32_t acc = 0; acc < 4; acc++)
            add(name + '/' + positions[static_cast<std::size_t>(acc)],
                [=, operation = operation](Picture& p) {
                    return operation(p.forward(), step, p.residual.data(), 32, p.destination(), step,
                                     mcType(acc), 0);
                });
}

void addBidirectionalMotionCompensation()
{
    for (const auto& [name, operation] : {Named<CompensateB>{"MC16x16B", keliMC16x16B_8u_C1},
                                          {"MC16x8B", keliMC16x8B_8u_C1},
                                          {"MC16x4B", keliMC16x4B_8u_C1},
                                          {"MC8x16B", keliMC8x16B_8u_C1},
                                          {"MC8x8B", keliMC8x8B_8u_C1},
                                          {"MC8x4B", keliMC8x4B_8u_C1},
                                          {"MC16x8BUV", keliMC16x8BUV_8u_C1},
                                          {"MC4x8B", keliMC4x8B_8u_C1},
                                          {"MC4x4B", keliMC4x4B_8u_C1},
                                          {"MC4x2B", keliMC4x2B_8u_C1},
                                          {"MC2x4B", keliMC2x4B_8u_C1},
                                          {"MC2x2B", keliMC2x2B_8u_C1}})
        for (const auto& [f, b] : {std::pair{0, 0}, {1, 2}, {3, 3}})
            add(name + '/' + positions[static_cast<std::size_t>(f)] + '-' +
                    positions[static_cast<std::size_t>(b)],
                [f = mcType(f), b = mcType(b), operation = operation](Picture& p) {
                    return operation(p.forward(), step, f, p.backward(), step, b, p.residual.data(), 32,
                                     p.destination(), step, 0);
                });
}

void addInverseDct()
{
    for (const auto& [path, count] :
         {std::pair{std::string("/empty"), -1}, {"/dc", 0}, {"/low", 9}, {"/full", 63}}) {
        add("DCT8x8Inv_16s" + path, [count = count](Picture& p) {
            std::array<int16_t, 64> result;
            const Status status =
                keliDCT8x8Inv_AANTransposed_16s_C1R(p.residual.data(), result.data(), 16, count);
            benchmark::DoNotOptimize(result);
            return status;
        });
        add("DCT8x8Inv_16s8u" + path, [count = count](Picture& p) {
            return keliDCT8x8Inv_AANTransposed_16s8u_C1R(p.residual.data(), p.destination(), step, count);
        });
        add("DCT8x8Inv_16s_P2C2R" + path, [count = count](Picture& p) {
            std::array<int16_t, 128> result;
            const Status status = keliDCT8x8Inv_AANTransposed_16s_P2C2R(p.residual.data(), &p.residual[64],
                                                                        result.data(), 32, count, count);
            benchmark::DoNotOptimize(result);
            return status;
        });
        add("DCT8x8Inv_16s8u_P2C2R" + path, [count = count](Picture& p) {
            return keliDCT8x8Inv_AANTransposed_16s8u_P2C2R(p.residual.data(), &p.residual[64],
                                                           p.destination(), step, count, count);
        });
    }
}

[[maybe_unused]] const bool registered = (addCopies(), addAdditions(), addMotionCompensation(),
                                          addBidirectionalMotionCompensation(), addInverseDct(), true);

} // namespace
