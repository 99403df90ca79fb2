// H.264: interpolation, weighted prediction and deblocking.

#include <kelvcpx/h264_inter.h>

#include <benchmark/benchmark.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

namespace {

// Rows as far apart as in a plane of 1080p with its margins.
constexpr int32_t step = 1920 + 2 * 32;

constexpr int macroblocks = 64; // side by side
constexpr int32_t bitDepth = 10;

// A plane whose samples differ little from their neighbours and more from one 4x4 block to the next, as
// before deblocking.
template <class T>
class Picture
{
public:
    Picture() : samples_(std::size_t{64} * step)
    {
        std::mt19937 random(1);
        for (std::size_t i = 0; i < samples_.size(); i++) {
            const auto x = i % step;
            const auto y = i / step;
            samples_[i] = static_cast<T>(100 + (x / 4 * 7 + y / 4 * 5) % 9 + random() % 4);
        }
    }

    // References, at any address, and the aligned destination, in turn those of many macroblocks.
    const T* first() const { return &samples_[std::size_t{4} * step + offset() + 11]; }
    const T* second() const { return &samples_[std::size_t{6} * step + offset() + 18]; }
    T* destination() { return &samples_[std::size_t{40} * step + offset()]; }
    void next() { macroblock_ = (macroblock_ + 1) % macroblocks; }

private:
    std::size_t offset() const { return 32 + 16 * macroblock_; }

    std::vector<T> samples_;
    std::size_t macroblock_ = 0;
};

template <class T, class Operation>
void add(const std::string& name, Operation operation)
{
    const std::string bits = std::is_same_v<T, uint8_t> ? "8u" : "16u";
    benchmark::RegisterBenchmark((name + '/' + bits).c_str(), [operation](benchmark::State& state) {
        Picture<T> picture;
        for ([[maybe_unused]] auto _ : state) {
            if (operation(picture) != StatusOk)
                state.SkipWithError("the operation fails");
            picture.next();
            benchmark::ClobberMemory();
        }
    });
}

std::string text(RoiSize size)
{
    return std::to_string(size.width) + 'x' + std::to_string(size.height);
}

std::string text(int32_t dx, int32_t dy)
{
    return 'H' + std::to_string(dx) + 'V' + std::to_string(dy);
}

using Picture8 = Picture<uint8_t>;
using Picture16 = Picture<uint16_t>;

void addInterpolation()
{
    for (const int32_t side : {16, 8, 4})
        for (int32_t dx = 0; dx < 4; dx++)
            for (int32_t dy = 0; dy < 4; dy++) {
                const RoiSize size{side, side};
                const std::string name = "InterpolateLuma/" + text(size) + '/' + text(dx, dy);
                add<uint8_t>(name, [=](Picture8& p) {
                    return keliInterpolateLuma_H264_8u_C1R(p.first(), step, p.destination(), step, dx, dy,
                                                           size);
                });
                add<uint16_t>(name, [=](Picture16& p) {
                    const InterpolationParams16u params{p.first(), step, p.destination(), step, dx,
                                                        dy,        size, bitDepth};
                    return keliInterpolateLuma_H264_16u_C1R(&params);
                });
            }
    for (const int32_t side : {8, 4, 2})
        for (const auto& [dx, dy] : {std::array{0, 0}, {3, 0}, {0, 3}, {3, 3}}) {
            const RoiSize size{side, side};
            const std::string name = "InterpolateChroma/" + text(size) + '/' + text(dx, dy);
            add<uint8_t>(name, [=, dx = dx, dy = dy](Picture8& p) {
                return keliInterpolateChroma_H264_8u_C1R(p.first(), step, p.destination(), step, dx, dy,
                                                         size);
            });
            add<uint16_t>(name, [=, dx = dx, dy = dy](Picture16& p) {
                const InterpolationParams16u params{p.first(), step, p.destination(), step, dx,
                                                    dy,        size, bitDepth};
                return keliInterpolateChroma_H264_16u_C1R(&params);
            });
        }
    constexpr RoiSize size{16, 16};
    add<uint8_t>("InterpolateLumaTop/16x16/H2V2", [=](Picture8& p) {
        return keliInterpolateLumaTop_H264_8u_C1R(p.first(), step, p.destination(), step, 2, 2, 5, size);
    });
}

void addWeighting()
{
    for (const int32_t side : {16, 8, 4, 2}) {
        const RoiSize size{side, side};
        const std::string at = '/' + text(size);
        const auto record = [=](Picture16& p) {
            return BidirParams16u{p.first(), step, p.second(), step, p.destination(), step, size, bitDepth};
        };
        add<uint8_t>("Average" + at, [=](Picture8& p) {
            const auto length = static_cast<uint32_t>(side);
            return keliInterpolateBlock_H264_8u_P3P1R(p.first(), p.second(), p.destination(), length, length,
                                                      step, step, step);
        });
        add<uint16_t>("Average" + at, [=](Picture16& p) {
            const BidirParams16u params = record(p);
            return keliBidir_H264_16u_P2P1R(&params);
        });
        add<uint8_t>("UniDirWeight" + at, [=](Picture8& p) {
            return keliUniDirWeightBlock_H264_8u_C1IR(p.destination(), step, 5, 33, 1, size);
        });
        add<uint8_t>("BiDirWeight" + at, [=](Picture8& p) {
            return keliBiDirWeightBlock_H264_8u_P3P1R(p.first(), p.second(), p.destination(), step, step,
                                                      step, 5, 40, 3, 20, -5, size);
        });
        add<uint16_t>("BiDirWeight" + at, [=](Picture16& p) {
            const BidirParams16u params = record(p);
            return keliBidirWeight_H264_16u_P2P1R(&params, 5, 40, 3, 20, -5);
        });
    }
}

// Every line passes the thresholds, before a macroblock is filtered and after.
template <class T>
struct Thresholds {
    std::array<T, 2> alpha = {60, 60};
    std::array<T, 2> beta = {18, 18};
    std::array<T, 16> tc0 = {2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2};
};

struct Strengths {
    const char* name;
    std::array<uint8_t, 16> bs;
};

constexpr std::array strengths = {
    Strengths{"intra", {4, 4, 4, 4, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3}},
    Strengths{"inter", {2, 2, 1, 1, 0, 0, 2, 2, 0, 0, 2, 2, 0, 0, 0, 0}},
    Strengths{"skipped", {1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
};

using Deblock8 = Status(uint8_t*, int32_t, const uint8_t*, const uint8_t*, const uint8_t*,
                        const uint8_t*) noexcept;
using Deblock16 = Status(const DeblockingParams16u*) noexcept;

struct NamedDeblock {
    std::string name;
    Deblock8* operation8;
    Deblock16* operation16;
};

void addDeblocking()
{
    for (const auto& [name, operation8, operation16] :
         {NamedDeblock{"DeblockLumaVertical", keliFilterDeblockingLuma_VerEdge_H264_8u_C1IR,
                       keliFilterDeblockingLumaVerEdge_H264_16u_IP1R},
          {"DeblockLumaHorizontal", keliFilterDeblockingLuma_HorEdge_H264_8u_C1IR,
           keliFilterDeblockingLumaHorEdge_H264_16u_IP1R},
          {"DeblockChromaVertical", keliFilterDeblockingChroma_VerEdge_H264_8u_C1IR,
           keliFilterDeblockingChromaVerEdge_H264_16u_IP1R},
          {"DeblockChromaHorizontal", keliFilterDeblockingChroma_HorEdge_H264_8u_C1IR,
           keliFilterDeblockingChromaHorEdge_H264_16u_IP1R}})
        for (const Strengths& s : strengths) {
            add<uint8_t>(name + '/' + s.name, [=, operation = operation8](Picture8& p) {
                const Thresholds<uint8_t> t;
                return operation(p.destination(), step, t.alpha.data(), t.beta.data(), t.tc0.data(),
                                 s.bs.data());
            });
            add<uint16_t>(name + '/' + s.name, [=, operation = operation16](Picture16& p) {
                const Thresholds<uint16_t> t;
                const DeblockingParams16u params{p.destination(), step,        t.alpha.data(), t.beta.data(),
                                                 t.tc0.data(),    s.bs.data(), bitDepth};
                return operation(&params);
            });
        }
}

void ExpandPlane(benchmark::State& state)
{
    constexpr int32_t margin = 32;
    std::vector<uint8_t> samples(std::size_t{1088 + 2 * margin} * step);
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(
            keliExpandPlane_H264_8u_C1R(&samples[margin * step + margin], 1920, 1088, step, margin, 0));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(ExpandPlane);

[[maybe_unused]] const bool registered = [] {
    addInterpolation();
    addWeighting();
    addDeblocking();
    return true;
}();

} // namespace
