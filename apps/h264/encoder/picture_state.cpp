#include "h264/encoder/picture_state.h"

#include <cstddef>

namespace kelvcpx::app::h264::encoder {
namespace {

constexpr PictureId onlyReference = 0;

void rememberMotion(MotionField& field, int mbX, int mbY, const CodedMacroblock& macroblock)
{
    const bool inter = macroblock.kind == MbKind::inter;
    for (int block = 0; block < 4; block++) {
        const int x = 2 * mbX + block % 2;
        const int y = 2 * mbY + block / 2;
        field.refIdx[0][field.block8x8(x, y)] = inter ? 0 : -1;
        field.references[0][field.block8x8(x, y)] = inter ? onlyReference : noPicture;
        const Vector vector = inter ? macroblock.vectors[static_cast<std::size_t>(block)] : Vector{};
        for (int i = 0; i < 4; i++)
            field.vectors[0][field.block4x4(2 * x + i % 2, 2 * y + i / 2)] = vector;
    }
}

} // namespace

void remember(PictureContext& picture, int address, const CodedMacroblock& macroblock,
              const BlockCounts& counts, int qp)
{
    MbInfo& info = picture.at(address);
    info = {};
    info.slice = 0;
    info.kind = macroblock.kind;
    info.skipped = macroblock.skipped;
    info.transform8x8 = macroblock.transform8x8;
    info.movesAsOne = macroblock.partitioning == Partitioning::whole;
    info.qp = static_cast<int8_t>(macroblock.kind == MbKind::pcm ? 0 : qp); // 0 to the deblocking filter
    info.totalCoeff = counts;
    info.intraModes.fill(intraDcMode);
    for (std::size_t i = 0; i < 16; i++) {
        const std::size_t raster = rasterOfBlock[i];
        if (info.isIntraNxN())
            info.intraModes[raster] = macroblock.intraModes[i];
        const bool coded =
            macroblock.transform8x8 ? (macroblock.lumaPattern >> (i / 4) & 1) != 0 : counts[raster] != 0;
        if (coded)
            info.codedLuma = static_cast<uint16_t>(info.codedLuma | 1 << raster);
    }
    rememberMotion(*picture.motion, address % picture.widthInMbs, address / picture.widthInMbs, macroblock);
}

} // namespace kelvcpx::app::h264::encoder
