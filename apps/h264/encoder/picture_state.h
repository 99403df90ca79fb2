// What stays of a macroblock for the ones to come and for the deblocking filter.
#pragma once

#include "h264/encoder/coded_macroblock.h"
#include "h264/encoder/macroblock_writer.h"
#include "h264/slice_context.h"

namespace kelvcpx::app::h264::encoder {

// Notes it in the picture. `counts` are those of its blocks; `qp` is QPY.
void remember(PictureContext& picture, int address, const CodedMacroblock& macroblock,
              const BlockCounts& counts, int qp);

} // namespace kelvcpx::app::h264::encoder
