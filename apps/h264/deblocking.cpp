#include "h264/deblocking.h"

#include "h264/deblocking_operations.h"

#include <algorithm>
#include <array>
#include <cstdlib>

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
// By bS, of which 0 and 4 have none, and indexA.
constexpr uint8_t tc0s[5][52] = {
    {},
    {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1,  1,  1,
     1, 1, 1, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 4, 4, 4, 5, 6, 6, 7, 8, 9, 10, 11, 13},
    {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  1,  1,  1,  1,  1,
     1, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 4, 4, 5, 5, 6, 7, 8, 8, 10, 11, 12, 13, 15, 17},
    {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1,  1,  1,  1,  1,  1,  1,  1,  1,
     1, 2, 2, 2, 2, 3, 3, 3, 4, 4, 4, 5, 6, 6, 7, 8, 9, 10, 11, 13, 14, 16, 18, 20, 23, 25},
    {}};

enum class Direction { vertical, horizontal }; // of edges

// Boundary strengths of a macroblock's four edges in one direction, four segments each, the outer edge first.
using Strengths = std::array<uint8_t, 16>;

// A 4x4 block, by its macroblock and its position there.
struct Block {
    int address;
    std::size_t x;
    std::size_t y;

    std::size_t raster() const { return 4 * y + x; }
};

template <class Sample>
class MacroblockFilter
{
public:
    MacroblockFilter(const PictureContext& picture, int address)
        : picture_(picture), address_(address), place_(picture.placeOf(address)), info_(picture.at(address)),
          filter_(picture.filters[static_cast<std::size_t>(info_.slice)]),
          isFieldCoded_(picture.isField() || info_.field), depthShift_(picture.sequence.bitDepthLuma - 8)
    {}

    void filter()
    {
        if (filter_.disable == 1)
            return;
        filterVertical();
        filterHorizontal();
    }

private:
    // The macroblock to the left or above, in the same row or column of blocks; -1 if its edge is not
    // filtered.
    int filtered(int neighbour, bool inside) const
    {
        if (!inside || neighbour < 0 || picture_.at(neighbour).slice < 0)
            return -1;
        return filter_.disable == 2 && picture_.at(neighbour).slice != info_.slice ? -1 : neighbour;
    }

    void filterVertical()
    {
        int left = filtered(address_ - 1, address_ % picture_.widthInMbs > 0);
        if (left >= 0 && picture_.at(left).field != info_.field) {
            filterLeftOfPairs();
            left = -1;
        }
        filterDirection(Direction::vertical, left, place_);
    }

    void filterHorizontal()
    {
        const int width = picture_.widthInMbs;
        int above = address_ - width;
        const bool isBottom = picture_.hasPairs && address_ / width % 2 == 1;
        if (picture_.hasPairs && (info_.field || !isBottom)) {
            const int pairAbove = address_ - (isBottom ? 3 : 2) * width;
            if (filtered(pairAbove, true) >= 0 && picture_.at(pairAbove).field) {
                if (!info_.field) {
                    filterTopBelowFields(pairAbove);
                    above = -1;
                } else {
                    above = pairAbove + (isBottom ? width : 0);
                }
            } else {
                above = pairAbove + width;
            }
        }
        filterDirection(Direction::horizontal, filtered(above, true), place_);
    }

    // The outer edge if there is a neighbour, and the inner ones.
    void filterDirection(Direction direction, int neighbour, const Place& place)
    {
        const Strengths strengths = strengthsOf(direction, neighbour);
        const int outerQp = neighbour >= 0 ? picture_.at(neighbour).qp : info_.qp;
        apply(direction, strengths, outerQp, place);
    }

    void apply(Direction direction, const Strengths& strengths, int outerQp, const Place& place)
    {
        if (std::all_of(strengths.begin(), strengths.end(), [](uint8_t s) { return s == 0; }))
            return;
        const bool vertical = direction == Direction::vertical;
        Strengths ofLuma = strengths;
        if (info_.transform8x8) {
            std::fill_n(ofLuma.begin() + 4, 4, uint8_t{0});
            std::fill_n(ofLuma.begin() + 12, 4, uint8_t{0});
        }
        applyTo(0, vertical ? EdgeSet::lumaVertical : EdgeSet::lumaHorizontal, ofLuma,
                limitsOf(outerQp, info_.qp, ofLuma, 1), place);
        // Chroma has edges where luma has its first and third; the horizontal ones of 4:2:2 are all four.
        const bool is422 = picture_.is422();
        const EdgeSet edges = is422 ? (vertical ? EdgeSet::chroma422Vertical : EdgeSet::chroma422Horizontal)
                                    : (vertical ? EdgeSet::chromaVertical : EdgeSet::chromaHorizontal);
        for (std::size_t i = 1; i < static_cast<std::size_t>(picture_.target.planeCount); i++)
            applyTo(i, edges, strengths,
                    limitsOf(chromaQpOf(outerQp, i), chromaQpOf(info_.qp, i), strengths,
                             is422 && !vertical ? 1 : 2),
                    place);
    }

    void applyTo(std::size_t component, EdgeSet edges, const Strengths& strengths,
                 const EdgeLimits<Sample>& limits, const Place& place) const
    {
        const Surface::Plane& plane = place.surface->planes[component];
        const int shiftX = component == 0 ? 0 : 1;
        const int shiftY = component == 0 || picture_.is422() ? 0 : 1;
        filterEdges(edges, plane.at<Sample>(place.x >> shiftX, place.y >> shiftY), plane.stepOf<Sample>(),
                    limits, strengths.data(), picture_.sequence.bitDepthLuma);
    }

    int chromaQpOf(int qp, std::size_t component) const
    {
        return chromaQp(qp, filter_.chromaQpOffset[component - 1], 6 * depthShift_);
    }

    // 8.7.2.2, 8.7.2.3, with tC0 for every edge, or every second.
    EdgeLimits<Sample> limitsOf(int outerQp, int innerQp, const Strengths& strengths,
                                std::size_t edgeStep) const
    {
        EdgeLimits<Sample> limits{};
        const std::array<int, 2> average{(outerQp + innerQp + 1) >> 1, innerQp};
        std::array<std::size_t, 2> indexA{};
        for (std::size_t i = 0; i < 2; i++) {
            indexA[i] = static_cast<std::size_t>(std::clamp(average[i] + filter_.alphaOffset, 0, 51));
            const auto indexB = static_cast<std::size_t>(std::clamp(average[i] + filter_.betaOffset, 0, 51));
            limits.alpha[i] = static_cast<Sample>(alphas[indexA[i]] << depthShift_);
            limits.beta[i] = static_cast<Sample>(betas[indexB] << depthShift_);
        }
        for (std::size_t i = 0; i < 16 / edgeStep; i++) {
            const uint8_t strength = strengths[i / 4 * 4 * edgeStep + i % 4];
            limits.tc0[i] = static_cast<Sample>(tc0s[strength][indexA[i < 4 ? 0 : 1]] << depthShift_);
        }
        return limits;
    }

    // The left edge between a frame and a field pair: each macroblock borders on both of the other pair, on
    // every second row or on half of the rows.
    void filterLeftOfPairs()
    {
        const int width = picture_.widthInMbs;
        const bool isBottom = address_ / width % 2 == 1;
        const int leftPair = address_ - 1 - (isBottom ? width : 0);
        for (int part = 0; part < 2; part++) {
            const int left = leftPair + part * width;
            Strengths strengths{};
            for (std::size_t k = 0; k < 4; k++) {
                const std::size_t own = info_.field ? 2 * static_cast<std::size_t>(part) + k / 2 : k;
                const std::size_t other = info_.field ? k : (isBottom ? 2u : 0u) + k / 2;
                strengths[k] = isIntra(info_.kind) || isIntra(picture_.at(left).kind)   ? uint8_t{4}
                               : haveCoefficients({address_, 0, own}, {left, 3, other}) ? uint8_t{2}
                                                                                        : uint8_t{1};
            }
            filterLeftLines(part, strengths, picture_.at(left).qp);
        }
    }

    // One part of the left edge: half of the rows of a field macroblock, every second row of a frame one.
    void filterLeftLines(int part, const Strengths& strengths, int leftQp)
    {
        const auto apply = [&](std::size_t component, EdgeSet edges, int firstRow, const Strengths& bs) {
            const int outer = component == 0 ? leftQp : chromaQpOf(leftQp, component);
            const int inner = component == 0 ? info_.qp : chromaQpOf(info_.qp, component);
            const int x = component == 0 ? place_.x : place_.x / 2;
            const int y = component == 0 || picture_.is422() ? place_.y : place_.y / 2;
            const Surface::Plane& plane = place_.surface->planes[component];
            const int32_t step = plane.stepOf<Sample>() * (info_.field ? 1 : 2);
            filterEdges(edges, plane.at<Sample>(x, y) + firstRow * plane.stepOf<Sample>(), step,
                        limitsOf(outer, inner, bs, 1), bs.data(), picture_.sequence.bitDepthLuma);
        };
        apply(0, EdgeSet::lumaLeftLines, part * (info_.field ? 8 : 1), strengths);
        for (std::size_t i = 1; i < static_cast<std::size_t>(picture_.target.planeCount); i++) {
            if (!picture_.is422()) {
                apply(i, EdgeSet::chromaLeftLines, part * (info_.field ? 4 : 1), strengths);
                continue;
            }
            for (std::size_t half = 0; half < 2; half++) { // two lines a segment
                const uint8_t first = strengths[2 * half];
                const uint8_t second = strengths[2 * half + 1];
                const int row = static_cast<int>(half) * 4;
                apply(i, EdgeSet::chromaLeftLines, info_.field ? 8 * part + row : part + 2 * row,
                      {first, first, second, second});
            }
        }
    }

    // The top edge of a frame macroblock below a pair of field macroblocks is filtered as two fields.
    void filterTopBelowFields(int pairAbove)
    {
        for (int parity = 0; parity < 2; parity++) {
            const int above = pairAbove + parity * picture_.widthInMbs;
            Strengths strengths{};
            for (std::size_t k = 0; k < 4; k++)
                strengths[k] = isIntra(info_.kind) || isIntra(picture_.at(above).kind) ? uint8_t{3}
                               : haveCoefficients({address_, k, 0}, {above, k, 3})     ? uint8_t{2}
                                                                                       : uint8_t{1};
            const Place field{&picture_.fields[static_cast<std::size_t>(parity)], Structure::frame, place_.x,
                              place_.y / 2};
            apply(Direction::horizontal, strengths, picture_.at(above).qp, field);
        }
    }

    // 8.7.2.1. neighbour < 0: the outer edge is not filtered.
    Strengths strengthsOf(Direction direction, int neighbour) const
    {
        Strengths strengths{};
        if (neighbour >= 0)
            findOuterStrengths(direction, neighbour, strengths);
        if (isIntra(info_.kind)) {
            std::fill(strengths.begin() + 4, strengths.end(), uint8_t{3});
        } else if (!info_.movesAsOne || info_.codedLuma != 0) {
            for (std::size_t e = 1; e < 4; e++)
                for (std::size_t k = 0; k < 4; k++)
                    strengths[4 * e + k] = innerStrength(direction, e, k);
        }
        return strengths;
    }

    void findOuterStrengths(Direction direction, int neighbour, Strengths& strengths) const
    {
        const MbInfo& other = picture_.at(neighbour);
        if (isIntra(info_.kind) || isIntra(other.kind)) {
            const bool strong = direction == Direction::vertical || !(isFieldCoded_ || other.field);
            std::fill_n(strengths.begin(), 4, strong ? uint8_t{4} : uint8_t{3});
            return;
        }
        const bool mixed = info_.field != other.field;
        const bool alike = info_.movesAsOne && other.movesAsOne;
        const auto moves = [&](std::size_t k) {
            return mixed ||
                   motionDiffers(blockAt(address_, direction, 0, k), blockAt(neighbour, direction, 3, k));
        };
        const bool first = alike && moves(0);
        for (std::size_t k = 0; k < 4; k++) {
            const bool coded =
                haveCoefficients(blockAt(address_, direction, 0, k), blockAt(neighbour, direction, 3, k));
            strengths[k] = coded ? uint8_t{2} : (alike ? first : moves(k)) ? uint8_t{1} : uint8_t{0};
        }
    }

    // The block behind edge e in segment k.
    static Block blockAt(int address, Direction direction, std::size_t e, std::size_t k)
    {
        return direction == Direction::vertical ? Block{address, e, k} : Block{address, k, e};
    }

    bool haveCoefficients(const Block& q, const Block& p) const
    {
        return (picture_.at(q.address).codedLuma >> q.raster() & 1) != 0 ||
               (picture_.at(p.address).codedLuma >> p.raster() & 1) != 0;
    }

    uint8_t innerStrength(Direction direction, std::size_t e, std::size_t k) const
    {
        const Block q = blockAt(address_, direction, e, k);
        const Block p = blockAt(address_, direction, e - 1, k);
        if (haveCoefficients(q, p))
            return 2;
        return !info_.movesAsOne && motionDiffers(q, p) ? 1 : 0;
    }

    struct Motion {
        std::array<PictureId, 2> references;
        std::array<Vector, 2> vectors;
    };

    Motion motionAt(const Block& block) const
    {
        const MotionField& field = *picture_.motion;
        const int x = 4 * (block.address % field.widthInMbs) + static_cast<int>(block.x);
        const int y = 4 * (block.address / field.widthInMbs) + static_cast<int>(block.y);
        const std::size_t block8x8 = field.block8x8(x / 2, y / 2);
        const std::size_t block4x4 = field.block4x4(x, y);
        return {{field.references[0][block8x8], field.references[1][block8x8]},
                {field.vectors[0][block4x4], field.vectors[1][block4x4]}};
    }

    bool motionDiffers(const Block& qBlock, const Block& pBlock) const
    {
        const Motion q = motionAt(qBlock);
        const Motion p = motionAt(pBlock);
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
        return std::abs(a.x - b.x) >= 4 || std::abs(a.y - b.y) >= (isFieldCoded_ ? 2 : 4);
    }

    const PictureContext& picture_;
    int address_;
    Place place_;
    const MbInfo& info_;
    const PictureContext::SliceFilter& filter_;
    bool isFieldCoded_;
    int depthShift_;
};

template <class Sample>
void deblockAll(const PictureContext& picture)
{
    const int width = picture.widthInMbs;
    const int rows = picture.hasPairs ? 2 : 1;
    for (int first = 0; first < width * picture.heightInMbs; first += rows * width)
        for (int i = 0; i < rows * width; i++) { // pair by pair
            const int address = first + i / rows + i % rows * width;
            if (picture.at(address).slice >= 0)
                MacroblockFilter<Sample>(picture, address).filter();
        }
}

} // namespace

void deblock(const PictureContext& picture)
{
    if (picture.sequence.bitDepthLuma > 8)
        deblockAll<uint16_t>(picture);
    else
        deblockAll<uint8_t>(picture);
}

} // namespace kelvcpx::app::h264
