// How the frames of a random stream are coded.
#pragma once

namespace kelvcpx::test {

enum class PictureStructures { frames, fields, mixed };

} // namespace kelvcpx::test
