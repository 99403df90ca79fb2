// The scan that an argument of an operation selects.
#pragma once

#include "tables/scan_tables.h"

#include <cstdint>

namespace kelvcpx {

// 0 zigzag, 1 alternate vertical, 2 alternate horizontal; `others` for every other value.
constexpr const ScanTable& scanTable(int32_t scan, const ScanTable& others)
{
    return scan == 0 ? ownvc_Zigzag : scan == 1 ? ownvc_AltScanV : scan == 2 ? ownvc_AltScanH : others;
}

// Of H.261: -1 raster order, any other value zigzag.
constexpr const ScanTable& rasterOrZigzag(int32_t scan)
{
    return scan == -1 ? noScan : ownvc_Zigzag;
}

} // namespace kelvcpx
