#include "h264/deblocking.h"

#include <kelvcpx/h264_inter.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

namespace kelvcpx::app::h264 {
namespace {

// Tables 8-16 and 8-17, by indexA and indexB.
constexpr uint8_t alphas[52] = {0,  0,  0,  0,   0,   0,   0,   0,   0,   0,   0,   0,   0,
                                0,  0,  0,  4,   4,   5,   6,   7,   8,   9,   10,  12,  13,
                                15, 17, 20, 22,  25,  28,  32,  36,  40,  45,  50,  56,  63,
                                71, 80, 90, 101, 113, 127, 144, 162, 182, 203, 226, 255, 255};
constexpr uint8_t betas[52] = {0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0, 2,  2,
                               2,  3,  3,  3,  3,  4,  4,  4,  6,  6,  7,  7,  8,  8,  9,  9, 10, 10,
                               11, 11, 12, 12, 13, 13, 14, 14, 15, 15, 16, 16, 17, 17, 18, 18};
constexpr uint8_t tc0s[3][52] = {
    {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1,  1,  1,
     1, 1, 1, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 4, 4, 4, 5, 6, 6, 7, 8, 9, 10, 11, 13},
    {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  1,  1,  1,  1,  1,
     1, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 4, 4, 5, 5, 6, 7, 8, 8, 10, 11, 12, 13, 15, 17},
    {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1,  1,  1,  1,  1,  1,  1,  1,  1,
     1, 2, 2, 2, 2, 3, 3, 3, 4, 4, 4, 5, 6, 6, 7, 8, 9, 10, 11, 13, 14, 16, 18, 20, 23, 25}};

enum class Direction { vertical, horizontal }; // of edges

// Boundary strengths of a macroblock's four edges in one direction, four segments each, the outer edge first.
using Strengths = std::array<uint8_t, 16>;

class MacroblockFilter
{
public:
    MacroblockFilter(const PictureContext& picture, int address)
        : picture_(picture), address_(address), mbX_(address % picture.widthInMbs),
          mbY_(address / picture.widthInMbs), info_(picture.at(address)),
          filter_(picture.filters[static_cast<std::size_t>(info_.slice)])
    {}

    void filter() const
    {
        if (filter_.disable == 1)
            return;
        filterDirection(Direction::vertical, mbX_ > 0 ? address_ - 1 : -1);
        filterDirection(Direction::horizontal, mbY_ > 0 ? address_ - picture_.widthInMbs : -1);
    }

private:
    // Thresholds of the outer and the inner edges.
    struct Thresholds {
        std::array<uint8_t, 2> alpha;
        std::array<uint8_t, 2> beta;
        std::array<int, 2> indexA;
    };

    void filterDirection(Direction direction, int neighbour) const
    {
        if (neighbour >= 0 && filter_.disable == 2 && picture_.at(neighbour).slice != info_.slice)
            neighbour = -1;
        const Strengths strengths = strengthsOf(direction, neighbour);
        if (std::all_of(strengths.begin(), strengths.end(), [](uint8_t s) { return s == 0; }))
            return;
        const int outerQp = neighbour >= 0 ? picture_.at(neighbour).qp : info_.qp;
        filterLuma(direction, strengths, outerQp);
        for (std::size_t i = 1; i < static_cast<std::size_t>(picture_.target.planeCount); i++)
            filterChroma(direction, strengths, outerQp, i);
    }

    // 8.7.2.2
    Thresholds thresholds(int outerQp, int innerQp) const
    {
        Thresholds result{};
        const std::array<int, 2> average{(outerQp + innerQp + 1) >> 1, innerQp};
        for (std::size_t i = 0; i < 2; i++) {
            result.indexA[i] = std::clamp(average[i] + filter_.alphaOffset, 0, 51);
            const int indexB = std::clamp(average[i] + filter_.betaOffset, 0, 51);
            result.alpha[i] = alphas[result.indexA[i]];
            result.beta[i] = betas[indexB];
        }
        return result;
    }

    static uint8_t tc0(int indexA, uint8_t strength)
    {
        return strength >= 1 && strength <= 3 ? tc0s[strength - 1][indexA] : uint8_t{0};
    }

    void filterLuma(Direction direction, const Strengths& strengths, int outerQp) const
    {
        const Thresholds limits = thresholds(outerQp, info_.qp);
        std::array<uint8_t, 16> clips;
        for (std::size_t i = 0; i < 16; i++)
            clips[i] = tc0(limits.indexA[i < 4 ? 0 : 1], strengths[i]);
        const Surface::Plane& plane = picture_.target.planes[0];
        const auto operation = direction == Direction::vertical
                                   ? keliFilterDeblockingLuma_VerEdge_H264_8u_C1IR
                                   : keliFilterDeblockingLuma_HorEdge_H264_8u_C1IR;
        operation(plane.at(16 * mbX_, 16 * mbY_), plane.step, limits.alpha.data(), limits.beta.data(),
                  clips.data(), strengths.data());
    }

    // Chroma has edges where luma has its first and third.
    void filterChroma(Direction direction, const Strengths& strengths, int outerQp,
                      std::size_t component) const
    {
        const int offset = filter_.chromaQpOffset[component - 1];
        const Thresholds limits = thresholds(chromaQp(outerQp, offset), chromaQp(info_.qp, offset));
        std::array<uint8_t, 8> clips;
        for (std::size_t i = 0; i < 4; i++) {
            clips[i] = tc0(limits.indexA[0], strengths[i]);
            clips[4 + i] = tc0(limits.indexA[1], strengths[8 + i]);
        }
        const Surface::Plane& plane = picture_.target.planes[component];
        const auto operation = direction == Direction::vertical
                                   ? keliFilterDeblockingChroma_VerEdge_H264_8u_C1IR
                                   : keliFilterDeblockingChroma_HorEdge_H264_8u_C1IR;
        operation(plane.at(8 * mbX_, 8 * mbY_), plane.step, limits.alpha.data(), limits.beta.data(),
                  clips.data(), strengths.data());
    }

    // 8.7.2.1. neighbour < 0: the outer edge is not filtered.
    Strengths strengthsOf(Direction direction, int neighbour) const
    {
        Strengths strengths{};
        if (neighbour >= 0) {
            if (isIntra(info_.kind) || isIntra(picture_.at(neighbour).kind)) {
                const bool strong = direction == Direction::vertical || !picture_.isField();
                std::fill_n(strengths.begin(), 4, strong ? uint8_t{4} : uint8_t{3});
            } else {
                const MbInfo& other = picture_.at(neighbour);
                const bool alike = info_.movesAsOne && other.movesAsOne;
                const uint8_t ofMotion = alike && motionDiffers(direction, 0, 0) ? 1 : 0;
                for (std::size_t k = 0; k < 4; k++)
                    strengths[k] = bordersCoefficients(direction, other, k) ? uint8_t{2}
                                   : alike                                  ? ofMotion
                                   : motionDiffers(direction, 0, k)         ? uint8_t{1}
                                                                            : uint8_t{0};
            }
        }
        const std::size_t step = info_.transform8x8 ? 2 : 1;
        if (isIntra(info_.kind)) {
            for (std::size_t e = step; e < 4; e += step)
                std::fill_n(strengths.begin() + static_cast<std::ptrdiff_t>(4 * e), 4, uint8_t{3});
        } else if (!info_.movesAsOne || info_.codedLuma != 0) {
            for (std::size_t e = step; e < 4; e += step)
                for (std::size_t k = 0; k < 4; k++)
                    strengths[4 * e + k] = innerStrength(direction, e, k);
        }
        return strengths;
    }

    // Raster index of the block behind edge e in segment k.
    static std::size_t blockAt(Direction direction, std::size_t e, std::size_t k)
    {
        return direction == Direction::vertical ? 4 * k + e : 4 * e + k;
    }

    bool bordersCoefficients(Direction direction, const MbInfo& neighbour, std::size_t k) const
    {
        const std::size_t q = blockAt(direction, 0, k);
        const std::size_t p = blockAt(direction, 3, k);
        return (info_.codedLuma >> q & 1) != 0 || (neighbour.codedLuma >> p & 1) != 0;
    }

    uint8_t innerStrength(Direction direction, std::size_t e, std::size_t k) const
    {
        const std::size_t q = blockAt(direction, e, k);
        const std::size_t p = blockAt(direction, e - 1, k);
        if ((info_.codedLuma >> q & 1) != 0 || (info_.codedLuma >> p & 1) != 0)
            return 2;
        return !info_.movesAsOne && motionDiffers(direction, e, k) ? 1 : 0;
    }

    struct Motion {
        std::array<PictureId, 2> references;
        std::array<Vector, 2> vectors;
    };

    Motion motionAt(int x, int y) const // 4x4 blocks of the picture
    {
        const MotionField& field = *picture_.motion;
        const std::size_t block8x8 = field.block8x8(x / 2, y / 2);
        const std::size_t block4x4 = field.block4x4(x, y);
        return {{field.references[0][block8x8], field.references[1][block8x8]},
                {field.vectors[0][block4x4], field.vectors[1][block4x4]}};
    }

    bool motionDiffers(Direction direction, std::size_t e, std::size_t k) const
    {
        const bool vertical = direction == Direction::vertical;
        const int x = 4 * mbX_ + static_cast<int>(vertical ? e : k);
        const int y = 4 * mbY_ + static_cast<int>(vertical ? k : e);
        const Motion q = motionAt(x, y);
        const Motion p = vertical ? motionAt(x - 1, y) : motionAt(x, y - 1);
        const bool straight = p.references == q.references;
        const bool crossed = p.references[0] == q.references[1] && p.references[1] == q.references[0];
        if (!straight && !crossed)
            return true;
        const bool differsStraight = far(p.vectors[0], q.vectors[0]) || far(p.vectors[1], q.vectors[1]);
        const bool differsCrossed = far(p.vectors[0], q.vectors[1]) || far(p.vectors[1], q.vectors[0]);
        return (!straight || differsStraight) && (!crossed || differsCrossed);
    }

    // A whole sample apart, of a frame.
    bool far(Vector a, Vector b) const
    {
        return std::abs(a.x - b.x) >= 4 || std::abs(a.y - b.y) >= (picture_.isField() ? 2 : 4);
    }

    const PictureContext& picture_;
    int address_;
    int mbX_;
    int mbY_;
    const MbInfo& info_;
    const PictureContext::SliceFilter& filter_;
};

} // namespace

void deblock(const PictureContext& picture)
{
    for (int address = 0; address < picture.widthInMbs * picture.heightInMbs; address++)
        if (picture.at(address).slice >= 0)
            MacroblockFilter(picture, address).filter();
}

} // namespace kelvcpx::app::h264
