// Motion-compensated prediction of macroblocks (ISO/IEC 14496-2 7.6.2, 7.6.9, 7.8).
#pragma once

#include "mpeg4/vop.h"

namespace kelvcpx::app::mpeg4 {

// Writes the prediction of a macroblock into the picture.
void predict(const VopContext& context, const Macroblock& macroblock);

} // namespace kelvcpx::app::mpeg4
