// The macroblock layer (ITU-T H.264 7.3.5) and the contexts of its residual blocks.
#pragma once

#include "h264/encoder/coded_macroblock.h"
#include "h264/slice_context.h"

#include <array>
#include <cstdint>

namespace kelvcpx::app::h264::encoder {

// What the macroblock layer depends on beside the macroblock.
struct LayerContext {
    const PictureContext& picture;
    bool isP;
    bool transform8x8Mode; // transform_8x8_mode_flag
};

// TotalCoeff of the blocks of a macroblock, as MbInfo has it.
using BlockCounts = std::array<uint8_t, 32>;

// Writes the macroblock layer of a macroblock that is neither skipped nor PCM to a BitWriter or a BitCounter.
template <class Sink>
BlockCounts putMacroblock(Sink& sink, const LayerContext& context, int address,
                          const CodedMacroblock& macroblock);

// The same for an I_PCM macroblock. The samples follow, byte by byte.
void putPcmHeader(BitWriter& bits, bool isP);

constexpr int pcmBits = 8 * 384;

} // namespace kelvcpx::app::h264::encoder
