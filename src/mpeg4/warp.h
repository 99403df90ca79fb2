// The mapping of sprites and global motion compensation (ISO/IEC 14496-2 7.8.4, 7.8.5), as kept in a
// WarpSpec. Positions in the reference are in 1/16 sample; I and J are x and y relative to the VOP's origin.
#pragma once

#include "mpeg4/spec_record.h"

#include <kelvcpx/mpeg4_motion.h>

#include <cstdint>

namespace kelvcpx::mpeg4 {

constexpr int32_t staticSprite = 1; // value of sprite_enable

struct WarpPoint {
    int64_t x;
    int64_t y;
};

// Maps a sample of the picture, or of its chroma, to ((origin + x * column + y * row) >> shift) relative to
// the reference rectangle, before the position is limited to the accuracy. What rounds it to the nearest
// step is part of the origin.
struct AffineMapping {
    WarpPoint origin;
    WarpPoint column;
    WarpPoint row;
    int32_t shift;
};

// column * I + row * J + constant
struct LinearForm {
    double column;
    double row;
    double constant;
};

// Maps a luma sample to (x / w, y / w) in units of 2^-(accuracy + 1) sample, relative to the picture.
struct PerspectiveMapping {
    LinearForm x;
    LinearForm y;
    LinearForm w;
};

} // namespace kelvcpx::mpeg4

struct WarpSpec {
    uint8_t points;
    uint8_t accuracy;
    uint8_t rounding;
    bool quarterSample;
    int32_t vectorLimit; // vectors are within -vectorLimit..vectorLimit - 1
    int32_t x0, y0;      // origin of the VOP
    RoiRect luma;        // of the reference
    RoiRect chroma;
    kelvcpx::mpeg4::WarpPoint first; // the first warped reference point
    kelvcpx::mpeg4::AffineMapping lumaMapping;
    kelvcpx::mpeg4::AffineMapping chromaMapping;
    kelvcpx::mpeg4::PerspectiveMapping perspective; // with four points, in place of the affine mappings
    kelvcpx::mpeg4::Tag tag;
};

namespace kelvcpx::mpeg4 {

inline constexpr Tag warpTag = {'k', 'S', 'M', 'L'};

inline constexpr int32_t warpSpecSize = 276;
static_assert(recordBufferSize<WarpSpec> <= warpSpecSize);

} // namespace kelvcpx::mpeg4
