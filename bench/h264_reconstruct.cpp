// H.264: reconstruction of macroblocks of 8-bit samples. The variant is the number of coefficients of every
// block.

#include "h264_macroblock.h"

#include <kelvcpx/h264_high.h>
#include <kelvcpx/h264_residual.h>

namespace {

using namespace kelvcpx::bench;

using Macroblock8 = Macroblock<uint8_t, int16_t>;

constexpr int32_t qp = 28;
constexpr int16_t dcScale = 320;
constexpr uint8_t allThere = 0; // neighbours that are missing
constexpr uint8_t noLeft = 1;
constexpr uint32_t dcMode = 0; // of chroma

template <std::size_t blockSize, auto... operations, class Reconstruct>
void addReconstruction(Reconstruct reconstruct)
{
    for (const std::size_t count : coefficientCounts(blockSize))
        add<operations...>(
            std::to_string(count), [=] { return Macroblock8(blockSize, count); }, reconstruct);
}

void addLuma()
{
    const auto intra = [](uint32_t cbp) {
        return [=](auto reconstruct, Macroblock8& mb) {
            return reconstruct(mb.stream(), mb.luma(), mbStep, mb.modes.data(), cbp, qp, 0);
        };
    };
    const auto intraScaled = [](uint32_t cbp) {
        return [=](auto reconstruct, Macroblock8& mb) {
            return reconstruct(mb.stream(), mb.luma(), mbStep, mb.modes.data(), cbp, qp, 0, mb.scales.data(),
                               0);
        };
    };
    addReconstruction<16, keliReconstructLumaIntraMB_H264_16s8u_C1R>(intra(0x1FFFE));
    addReconstruction<16, keliReconstructLumaIntraHalfMB_H264_16s8u_C1R>(intra(0xFF));
    addReconstruction<16, keliReconstructLumaIntra4x4MB_H264_16s8u_C1R>(intraScaled(0x1FFFE));
    addReconstruction<16, keliReconstructLumaIntraHalf4x4MB_H264_16s8u_C1R>(intraScaled(0xFF));
    addReconstruction<64, keliReconstructLumaIntra8x8MB_H264_16s8u_C1R>(intraScaled(0xF));
    addReconstruction<64, keliReconstructLumaIntraHalf8x8MB_H264_16s8u_C1R>(intraScaled(0x3));
    addReconstruction<16, keliReconstructLumaIntra16x16MB_H264_16s8u_C1R>(
        [](auto reconstruct, Macroblock8& mb) {
            return reconstruct(mb.stream(), mb.luma(), mbStep, 2, 0x1FFFF, qp, 0);
        });
    addReconstruction<16, keliReconstructLumaIntra_16x16MB_H264_16s8u_C1R>(
        [](auto reconstruct, Macroblock8& mb) {
            return reconstruct(mb.stream(), mb.luma(), mbStep, 2, 0x1FFFF, qp, 0, mb.scales.data(), 0);
        });
    addReconstruction<16, keliReconstructLumaInterMB_H264_16s8u_C1R>([](auto reconstruct, Macroblock8& mb) {
        return reconstruct(mb.stream(), mb.luma(), mbStep, 0x1FFFE, qp);
    });
    addReconstruction<16, keliReconstructLumaInter4x4MB_H264_16s8u_C1R>(
        [](auto reconstruct, Macroblock8& mb) {
            return reconstruct(mb.stream(), mb.luma(), mbStep, 0x1FFFE, qp, mb.scales.data(), 0);
        });
    addReconstruction<64, keliReconstructLumaInter8x8MB_H264_16s8u_C1R>(
        [](auto reconstruct, Macroblock8& mb) {
            return reconstruct(mb.stream(), mb.luma(), mbStep, 0xF, qp, mb.scales.data(), 0);
        });
}

constexpr uint32_t cbp420 = 0x7FE0000;

void addChroma420()
{
    addReconstruction<16, keliReconstructChromaIntraMB_H264_16s8u_P2R>([](auto reconstruct, Macroblock8& mb) {
        return reconstruct(mb.stream(), mb.cb(), mb.cr(), mbStep, 0, cbp420, qp, 0);
    });
    addReconstruction<16, keliReconstructChromaIntra4x4MB_H264_16s8u_P2R>(
        [](auto reconstruct, Macroblock8& mb) {
            return reconstruct(mb.stream(), mb.cb(), mb.cr(), mbStep, 0, cbp420, qp, qp, 0, mb.scales.data(),
                               mb.scales.data(), 0);
        });
    addReconstruction<16, keliReconstructChromaIntraHalfsMB_H264_16s8u_P2R,
                      keliReconstructChromaIntraHalvesMB_H264_16s8u_P2R>(
        [](auto reconstruct, Macroblock8& mb) {
            return reconstruct(mb.stream(), mb.cb(), mb.cr(), mbStep, 0, cbp420, qp, 0, 1);
        });
    addReconstruction<16, keliReconstructChromaIntraHalfs4x4MB_H264_16s8u_P2R>(
        [](auto reconstruct, Macroblock8& mb) {
            return reconstruct(mb.stream(), mb.cb(), mb.cr(), mbStep, 0, cbp420, qp, qp, 0, 1,
                               mb.scales.data(), mb.scales.data(), 0);
        });
    addReconstruction<16, keliReconstructChromaIntraHalves4x4MB_H264_16s8u_P2R>(
        [](auto reconstruct, Macroblock8& mb) {
            return reconstruct(mb.stream(), mb.cb(), mb.cr(), mbStep, 0, cbp420, qp, qp, 0, 1);
        });
    addReconstruction<16, keliReconstructChromaInterMB_H264_16s8u_P2R>([](auto reconstruct, Macroblock8& mb) {
        return reconstruct(mb.stream(), mb.cb(), mb.cr(), mbStep, cbp420, qp);
    });
    addReconstruction<16, keliReconstructChromaInter4x4MB_H264_16s8u_P2R>(
        [](auto reconstruct, Macroblock8& mb) {
            return reconstruct(mb.stream(), mb.cb(), mb.cr(), mbStep, cbp420, qp, qp, mb.scales.data(),
                               mb.scales.data(), 0);
        });
}

constexpr uint32_t cbp422Low = 0xFFFE0000;
constexpr uint32_t cbp422High = 7;

void addChroma422()
{
    addReconstruction<16, keliReconstructChromaIntra4x4MB422_H264_16s8u_P2R>(
        [](auto reconstruct, Macroblock8& mb) {
            return reconstruct(mb.stream(), mb.cb(), mb.cr(), mbStep, 0, cbp422Low, cbp422High, qp, qp,
                               dcScale, dcScale, 0, mb.scales.data(), mb.scales.data(), 0);
        });
    addReconstruction<16, keliReconstructChromaInter4x4MB422_H264_16s8u_P2R>(
        [](auto reconstruct, Macroblock8& mb) {
            return reconstruct(mb.stream(), mb.cb(), mb.cr(), mbStep, cbp422Low, cbp422High, qp, qp, dcScale,
                               dcScale, mb.scales.data(), mb.scales.data(), 0);
        });
    // These two only check their arguments.
    addReconstruction<16, keliReconstructChromaIntraHalfs4x4MB422_H264_16s8u_P2R,
                      keliReconstructChromaIntraHalfs4x4MB444_H264_16s8u_P2R>(
        [](auto reconstruct, Macroblock8& mb) {
            return reconstruct(mb.stream(), mb.cb(), mb.cr(), mbStep, 0, cbp422Low, cbp422High, qp, qp,
                               dcScale, dcScale, 0, 1, mb.scales.data(), mb.scales.data(), 0);
        });
}

// Reconstruction of both chroma components of 4:2:2 from records; `rest` are the arguments behind them.
template <auto operation, class... Rest>
void addRecords(Rest... rest)
{
    addReconstruction<16, operation>([=](auto reconstruct, Macroblock8& mb) {
        const auto record = [&](uint8_t* plane) {
            return BlockReconParams8u{&mb.next, plane, mbStep, 0x1FF, qp, mb.scales.data(), 0, 8};
        };
        mb.stream();
        const auto cb = record(mb.cb());
        const auto cr = record(mb.cr());
        const std::array pair = {&cb, &cr};
        return reconstruct(pair.data(), rest...);
    });
}

[[maybe_unused]] const bool registered = [] {
    addLuma();
    addChroma420();
    addChroma422();
    addRecords<keliReconstructChroma422Intra4x4_H264High_16s8u_IP2R>(dcMode, allThere, dcScale, dcScale);
    addRecords<keliReconstructChroma422IntraHalf4x4_H264High_16s8u_IP2R>(dcMode, allThere, noLeft, dcScale,
                                                                         dcScale);
    addRecords<keliReconstructChroma422Inter4x4_H264High_16s8u_IP2R>(dcScale, dcScale);
    return true;
}();

} // namespace
