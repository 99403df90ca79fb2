// The macroblocks of a slice (ITU-T H.264 7.3.4).
#pragma once

#include "h264/slice_context.h"

#include <cstddef>

namespace kelvcpx::app::h264 {

// Decodes all macroblocks of a slice. Throws DamagedUnit where the slice breaks off; what came before is in
// the picture. Behind `stopBit` there is no more slice data.
void decodeSlice(const SliceContext& slice, BitReader& reader, std::size_t stopBit);

} // namespace kelvcpx::app::h264
