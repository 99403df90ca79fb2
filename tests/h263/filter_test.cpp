#include "block/operand.h"
#include "support/arguments.h"
#include "support/plane.h"
#include "support/random.h"

#include <kelvcpx/h261_filter.h>
#include <kelvcpx/h263_filter.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>

namespace kelvcpx::test {
namespace {

// Table J.2.
constexpr std::array strength = {0, 1, 1, 2, 2, 3, 3, 4,  4,  4,  5,  5,  6,  6,  7,  7,
                                 7, 8, 8, 8, 9, 9, 9, 10, 10, 10, 11, 11, 11, 12, 12, 12};

struct Line {
    uint8_t &a, &b, &c, &d;
};

uint8_t clip(int v)
{
    return static_cast<uint8_t>(std::clamp(v, 0, 255));
}

// J.3, without a ramp if QP is 0.
void deblock(const Line& s, int qp)
{
    const int d = (s.a - 4 * s.b + 4 * s.c - s.d) / 8;
    const int ramp =
        std::max(0, std::abs(d) - std::max(0, 2 * (std::abs(d) - strength[static_cast<std::size_t>(qp)])));
    const int d1 = qp == 0 ? d : d < 0 ? -ramp : ramp;
    const int limit = std::abs(d1 / 2);
    const int d2 = std::clamp((s.a - s.d) / 4, -limit, limit);
    s.a = static_cast<uint8_t>(s.a - d2);
    s.b = clip(s.b + d1);
    s.c = clip(s.c - d1);
    s.d = static_cast<uint8_t>(s.d + d2);
}

void filterBoundary(const Line& s, int)
{
    const int b = s.b;
    s.b = static_cast<uint8_t>((3 * b + s.c + 2) / 4);
    s.c = static_cast<uint8_t>((b + 3 * s.c + 2) / 4);
}

using FilterWithQp = Status (*)(uint8_t*, int32_t, int32_t) noexcept;
using Filter = Status (*)(uint8_t*, int32_t) noexcept;

// Compares filter(pSrcDst, step, qp) with plain(line, qp) on lines near an edge and on any others.
template <class Operation, class Plain>
void expectLinesFiltered(bool horizontal, int lines, int qp, Operation filter, Plain plain)
{
    Random random(1);
    for (int i = 0; i < 300; i++) {
        const int noise = random.oneIn(4) ? 255 : random.uniform<int>(0, 20);
        const int base = random.extreme<int>(0, 255);
        const int step = random.uniform<int>(-60, 60);
        Plane<uint8_t> plane(horizontal ? lines : 4, horizontal ? 4 : lines);
        plane.randomise(random);
        const auto at = [&](Plane<uint8_t>& p, int line, int k) -> uint8_t& {
            return horizontal ? p.at(line, k) : p.at(k, line);
        };
        for (int line = 0; line < lines; line++)
            for (int k = 0; k < 4; k++)
                at(plane, line, k) = clip(base + (k < 2 ? 0 : step) + random.uniform<int>(-noise, noise));
        Plane<uint8_t> expected = plane;
        for (int line = 0; line < lines; line++)
            plain(Line{at(expected, line, 0), at(expected, line, 1), at(expected, line, 2),
                       at(expected, line, 3)},
                  qp);
        EXPECT_EQ(filter(horizontal ? &plane.at(0, 2) : &plane.at(2, 0), plane.step(), qp), StatusOk);
        ASSERT_EQ(plane, expected) << (horizontal ? "horizontal" : "vertical") << ", QP " << qp;
    }
}

TEST(H263Deblocking, FollowsAnnexJ)
{
    const auto withoutQp = [](Filter filter) {
        return [=](uint8_t* p, int32_t step, int32_t) { return filter(p, step); };
    };
    for (int qp = 1; qp <= 31; qp++) {
        expectLinesFiltered(true, 8, qp, keliFilterDeblocking8x8HorEdge_H263_8u_C1IR, deblock);
        expectLinesFiltered(false, 8, qp, keliFilterDeblocking8x8VerEdge_H263_8u_C1IR, deblock);
    }
    expectLinesFiltered(true, 16, 0, withoutQp(keliFilterDeblocking16x16HorEdge_H263_8u_C1IR), deblock);
    expectLinesFiltered(false, 16, 0, withoutQp(keliFilterDeblocking16x16VerEdge_H263_8u_C1IR), deblock);
    expectLinesFiltered(true, 16, 0, withoutQp(keliFilterBlockBoundaryHorEdge_H263_8u_C1IR), filterBoundary);
    expectLinesFiltered(false, 16, 0, withoutQp(keliFilterBlockBoundaryVerEdge_H263_8u_C1IR), filterBoundary);
}

TEST(H263Deblocking, ChecksItsArguments)
{
    Plane<uint8_t> p(4, 4);
    for (const FilterWithQp filter :
         {keliFilterDeblocking8x8HorEdge_H263_8u_C1IR, keliFilterDeblocking8x8VerEdge_H263_8u_C1IR}) {
        expectNullPointersRefused(filter, {}, p.data(), p.step(), 0);
        for (const int32_t qp : {0, 32})
            EXPECT_EQ(filter(p.data(), p.step(), qp), StatusBadQuantizer);
    }
    for (const Filter filter :
         {keliFilterDeblocking16x16HorEdge_H263_8u_C1IR, keliFilterDeblocking16x16VerEdge_H263_8u_C1IR,
          keliFilterBlockBoundaryHorEdge_H263_8u_C1IR, keliFilterBlockBoundaryVerEdge_H263_8u_C1IR})
        expectNullPointersRefused(filter, {}, p.data(), p.step());
}

TEST(PbPrediction, FollowsTheFormula)
{
    Random random(2);
    for (int i = 0; i < 2000; i++) {
        const RoiSize size{random.uniform<int>(1, 20), random.uniform<int>(1, 9)};
        const int32_t acc = random.uniform<int>(0, 3);
        const Reference ref(random, size.width, size.height, (acc & 1) != 0, (acc & 2) != 0);
        Plane<uint8_t> dst(size.width, size.height);
        dst.randomise(random);
        Plane<uint8_t> expected = dst;
        for (int y = 0; y < size.height; y++)
            for (int x = 0; x < size.width; x++)
                expected.at(x, y) = static_cast<uint8_t>((dst.at(x, y) + ref.predict(x, y, 0)) / 2);
        EXPECT_EQ(keliAddBackPredPB_H263_8u_C1R(ref.data(), ref.step(), size, dst.data(), dst.step(), acc),
                  StatusOk);
        ASSERT_EQ(dst, expected) << "acc " << acc;
    }
}

TEST(PbPrediction, ChecksItsArguments)
{
    Plane<uint8_t> p(9, 9);
    const auto predict = keliAddBackPredPB_H263_8u_C1R;
    expectNullPointersRefused(predict, {}, p.data(), p.step(), RoiSize{0, 0}, p.data(), p.step(), 9);
    for (const RoiSize& empty : {RoiSize{0, 1}, RoiSize{1, -1}})
        EXPECT_EQ(predict(p.data(), p.step(), empty, p.data(), p.step(), 9), StatusBadSize);
    for (const int32_t acc : {-1, 4, 7})
        EXPECT_EQ(predict(p.data(), p.step(), {8, 8}, p.data(), p.step(), acc), StatusBadArgument);
}

TEST(H261LoopFilter, FollowsTheFormula)
{
    Random random(3);
    for (int i = 0; i < 2000; i++) {
        const Operand<uint8_t> src(random, 8, 8);
        Plane<uint8_t> dst(8, 8);
        dst.randomise(random);
        Plane<uint8_t> expected = dst;
        for (int y = 0; y < 8; y++)
            for (int x = 0; x < 8; x++) {
                // At a border the weights of that direction are 0, 4, 0.
                const int across = x > 0 && x < 7;
                const int down = y > 0 && y < 7;
                int sum = 8;
                for (int j = -down; j <= down; j++)
                    for (int k = -across; k <= across; k++)
                        sum += src.at(x + k, y + j) * (across == 0 ? 4 : 2 - std::abs(k)) *
                               (down == 0 ? 4 : 2 - std::abs(j));
                expected.at(x, y) = static_cast<uint8_t>(sum / 16);
            }
        Plane<uint8_t> inPlace = dst;
        for (int y = 0; y < 8; y++)
            for (int x = 0; x < 8; x++)
                inPlace.at(x, y) = src.at(x, y);
        EXPECT_EQ(keliFilter8x8_H261_8u_C1R(src.data(), src.step(), dst.data(), dst.step()), StatusOk);
        EXPECT_EQ(keliFilter8x8_H261_8u_C1R(inPlace.data(), inPlace.step(), inPlace.data(), inPlace.step()),
                  StatusOk);
        ASSERT_EQ(dst, expected);
        for (int y = 0; y < 8; y++)
            for (int x = 0; x < 8; x++)
                ASSERT_EQ(inPlace.at(x, y), expected.at(x, y));
    }
    Plane<uint8_t> p(8, 8);
    expectNullPointersRefused(keliFilter8x8_H261_8u_C1R, {}, p.data(), p.step(), p.data(), p.step());
}

} // namespace
} // namespace kelvcpx::test
