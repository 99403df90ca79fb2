// MPEG-4 Part 2 sprites and global motion compensation.

#include "operation.h"

#include <kelvcpx/mpeg4_motion.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace {

using namespace kelvcpx::bench;

constexpr RoiRect picture = {0, 0, 720, 576};
constexpr RoiRect macroblock = {320, 240, 16, 16};
constexpr RoiRect chromaBlock = {160, 120, 8, 8};

struct Warping {
    std::vector<uint8_t> reference = std::vector<uint8_t>(std::size_t{720} * 576);
    std::array<uint8_t, 256> prediction{};
    std::vector<char> buffer;
    MotionVector vector{};

    explicit Warping(int32_t points)
    {
        fillWithNoise(reference);
        int32_t size = 0;
        keliWarpGetSize_MPEG4(&size);
        buffer.resize(static_cast<std::size_t>(size));
        init(keliWarpInit_MPEG4, points);
    }

    template <class Init>
    Status init(Init warpInit, int32_t points)
    {
        const std::array<int32_t, 4> du = {5, -3, 6, 2};
        const std::array<int32_t, 4> dv = {1, 4, -2, -2};
        return warpInit(reinterpret_cast<WarpSpec*>(buffer.data()), du.data(), dv.data(), points,
                        points == 4 ? 1 : 2, 3, 0, 0, 2, &picture, &picture);
    }

    const WarpSpec* spec() const { return reinterpret_cast<const WarpSpec*>(buffer.data()); }
};

void addWarping()
{
    for (int32_t points = 0; points <= 4; points++) {
        const std::string variant = "points=" + std::to_string(points);
        const auto make = [points] { return Warping(points); };
        add<keliWarpInit_MPEG4>(variant, make,
                                [points](auto init, Warping& w) { return w.init(init, points); });
        add<keliWarpLuma_MPEG4_8u_C1R>(variant, make, [](auto warp, Warping& w) {
            return warp(w.reference.data(), picture.width, w.prediction.data(), 16, &macroblock, w.spec());
        });
        add<keliWarpChroma_MPEG4_8u_P2R>(variant, make, [](auto warp, Warping& w) {
            return warp(w.reference.data(), 360, w.reference.data() + 360 * 288, 360, w.prediction.data(), 16,
                        w.prediction.data() + 8, 16, &chromaBlock, w.spec());
        });
        if (points < 4)
            add<keliCalcGlobalMV_MPEG4>(variant, make, [](auto calculate, Warping& w) {
                return calculate(macroblock.x, macroblock.y, &w.vector, w.spec());
            });
    }
    add<keliWarpGetSize_MPEG4>(
        "", [] { return int32_t{0}; }, [](auto getSize, int32_t& size) { return getSize(&size); });
    for (const int32_t change : {-10, 10})
        add<keliChangeSpriteBrightness_MPEG4_8u_C1IR>(
            "720x576/change=" + std::to_string(change), [] { return Warping(0); },
            [change](auto operation, Warping& w) {
                return operation(w.reference.data(), picture.width, picture.width, picture.height, change);
            });
}

[[maybe_unused]] const bool registered = (addWarping(), true);

} // namespace
