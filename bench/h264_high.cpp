// H.264: reconstruction of macroblocks of 10-bit samples. The variant is the number of coefficients of every
// block.

#include "h264_macroblock.h"

#include <kelvcpx/h264_high.h>

namespace {

using namespace kelvcpx::bench;

using Macroblock10 = Macroblock<uint16_t, int32_t>;

constexpr int32_t bitDepth = 10;
constexpr int32_t qp = 28 + 6 * (bitDepth - 8);
constexpr int16_t dcScale = 320;
constexpr uint8_t allThere = 0; // neighbours that are missing
constexpr uint8_t noLeft = 1;
constexpr uint32_t dcMode = 0; // of chroma
constexpr uint32_t dcMode16x16 = 2;

BlockReconParams record(Macroblock10& mb, uint16_t* plane, uint32_t cbp)
{
    return {&mb.next, plane, mbStep, cbp, qp, mb.scales.data(), 0, bitDepth};
}

// reconstruct(operation, macroblock)
template <auto operation, class Reconstruct>
void addReconstruction(std::size_t blockSize, Reconstruct reconstruct)
{
    for (const std::size_t count : coefficientCounts(blockSize))
        add<operation>(
            std::to_string(count), [=] { return Macroblock10(blockSize, count); },
            [=](auto op, Macroblock10& mb) {
                mb.stream();
                return reconstruct(op, mb);
            });
}

// `rest` are the arguments behind the record.
template <auto operation, class... Rest>
void addLuma(std::size_t blockSize, uint32_t cbp, Rest... rest)
{
    addReconstruction<operation>(blockSize, [=](auto reconstruct, Macroblock10& mb) {
        const auto params = record(mb, mb.luma(), cbp);
        return reconstruct(&params, rest...);
    });
}

template <auto operation>
void addIntraBlocks(std::size_t blockSize, uint32_t cbp)
{
    addReconstruction<operation>(blockSize, [=](auto reconstruct, Macroblock10& mb) {
        const auto params = record(mb, mb.luma(), cbp);
        return reconstruct(&params, mb.modes.data(), 0);
    });
}

template <auto operation, class... Rest>
void addChroma(uint32_t cbp, Rest... rest)
{
    addReconstruction<operation>(16, [=](auto reconstruct, Macroblock10& mb) {
        const auto cb = record(mb, mb.cb(), cbp);
        const auto cr = record(mb, mb.cr(), cbp);
        const std::array pair = {&cb, &cr};
        return reconstruct(pair.data(), rest...);
    });
}

constexpr uint32_t cbp420 = 0x7FE0000;
constexpr uint32_t cbp422 = 0x1FF;

[[maybe_unused]] const bool registered = [] {
    addIntraBlocks<keliReconstructLumaIntra4x4_H264High_32s16u_IP1R>(16, 0x1FFFE);
    addIntraBlocks<keliReconstructLumaIntraHalf4x4_H264High_32s16u_IP1R>(16, 0xFF);
    addIntraBlocks<keliReconstructLumaIntra8x8_H264High_32s16u_IP1R>(64, 0xF);
    addIntraBlocks<keliReconstructLumaIntraHalf8x8_H264High_32s16u_IP1R>(64, 0x3);
    addLuma<keliReconstructLumaIntra16x16_H264High_32s16u_IP1R>(16, 0x1FFFF, dcMode16x16, allThere);
    addLuma<keliReconstructLumaInter4x4_H264High_32s16u_IP1R>(16, 0x1FFFE);
    addLuma<keliReconstructLumaInter8x8_H264High_32s16u_IP1R>(64, 0xF);
    addChroma<keliReconstructChromaIntra4x4_H264High_32s16u_IP2R>(cbp420, dcMode, allThere);
    addChroma<keliReconstructChromaIntraHalf4x4_H264High_32s16u_IP2R>(cbp420, dcMode, allThere, noLeft);
    addChroma<keliReconstructChromaInter4x4_H264High_32s16u_IP2R>(cbp420);
    addChroma<keliReconstructChroma422Intra4x4_H264High_32s16u_IP2R>(cbp422, dcMode, allThere, dcScale,
                                                                     dcScale);
    addChroma<keliReconstructChroma422IntraHalf4x4_H264High_32s16u_IP2R>(cbp422, dcMode, allThere, noLeft,
                                                                         dcScale, dcScale);
    addChroma<keliReconstructChroma422Inter4x4_H264High_32s16u_IP2R>(cbp422, dcScale, dcScale);
    return true;
}();

} // namespace
