// H.264 for encoders: transforms, quantisation and the analysis for CAVLC.

#include "coefficients.h"

#include "h264/scan.h"

#include <kelvcpx/h264_encode.h>
#include <kelvcpx/h264_transform.h>

#include <numeric>

namespace {

using namespace kelvcpx::bench;

// Residuals, and the results of what is done with them.
template <std::size_t size>
struct Residuals : FreshBlocks<size> {
    Residuals() : FreshBlocks<size>(size == 64 ? 60 : 12)
    {
        std::iota(scanPositions.begin(), scanPositions.end(), int16_t{0});
        scale.fill(600);
    }

    std::array<int16_t, size> scanPositions;
    std::array<int16_t, size> transformed{};
    std::array<int16_t, size> scale;
    uint8_t numLevels = 0;
    uint8_t lastPos = 0;
    int32_t levels = 0;
    int32_t last = 0;
};

void addTransforms()
{
    add<Residuals<16>, keliTransformQuantResidual_H264_16s_C1I>("", [](auto quantise, Residuals<16>& r) {
        return quantise(r.next(), 28, &r.numLevels, 0, r.scanPositions.data(), &r.lastPos);
    });
    add<Residuals<16>, keliTransformQuantLumaDC_H264_16s_C1I>("", [](auto quantise, Residuals<16>& r) {
        return quantise(r.next(), r.transformed.data(), 28, &r.numLevels, 1, r.scanPositions.data(),
                        &r.lastPos);
    });
    add<Residuals<4>, keliTransformQuantChromaDC_H264_16s_C1I>("", [](auto quantise, Residuals<4>& r) {
        return quantise(r.next(), r.transformed.data(), 28, &r.numLevels, 0, 1);
    });
    add<Residuals<64>, keliTransformLuma8x8Fwd_H264_16s_C1I>(
        "", [](auto transform, Residuals<64>& r) { return transform(r.next()); });
    add<Residuals<64>, keliQuantLuma8x8_H264_16s_C1>("", [](auto quantise, Residuals<64>& r) {
        int16_t* block = r.next();
        return quantise(block, block, 4, 0, r.scanPositions.data(), r.scale.data(), &r.levels, &r.last);
    });
}

// Quantised blocks, and what CAVLC codes of one.
struct Analysis {
    explicit Analysis(int32_t qp)
    {
        std::array<int16_t, 16> positions{};
        for (std::size_t i = 0; i < 16; i++) {
            scan[i] = static_cast<uint32_t>(kelvcpx::app::h264::scans4x4[0][i]);
            positions[scan[i]] = static_cast<int16_t>(i);
        }
        for (std::size_t i = 0; i < blocks.sources.size(); i++)
            keliTransformQuantResidual_H264_16s_C1I(blocks.sources[i].data(), qp, &numbers[0], 0,
                                                    positions.data(), &last[i]);
    }

    FreshBlocks<16> blocks{12};
    std::array<uint32_t, 16> scan;
    std::array<uint8_t, FreshBlocks<16>::count> last;
    std::array<uint8_t, 4> numbers;
    std::array<int16_t, 16> levels;
    std::array<uint8_t, 16> runs;
};

// The variant is the QP; the smaller it is, the more levels there are.
void addCavlc()
{
    for (const int32_t qp : {16, 28, 36}) {
        const auto make = [qp] { return Analysis(qp); };
        add<keliEncodeCoeffsCAVLC_H264_16s>("QP=" + std::to_string(qp), make, [](auto analyse, Analysis& a) {
            const int16_t* block = a.blocks.next();
            return analyse(block, 0, a.scan.data(), a.last[a.blocks.turn], &a.numbers[0], &a.numbers[1],
                           &a.numbers[2], &a.numbers[3], a.levels.data(), a.runs.data());
        });
        add<keliEncodeChromaDcCoeffsCAVLC_H264_16s>(
            "QP=" + std::to_string(qp), make, [](auto analyse, Analysis& a) {
                return analyse(a.blocks.next(), &a.numbers[0], &a.numbers[1], &a.numbers[2], &a.numbers[3],
                               a.levels.data(), a.runs.data());
            });
    }
}

[[maybe_unused]] const bool registered = (addTransforms(), addCavlc(), true);

} // namespace
