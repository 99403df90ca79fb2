#include "block/operand.h"
#include "convert/turned.h"
#include "support/arguments.h"
#include "support/faults.h"
#include "support/plane.h"
#include "support/random.h"

#include <kelvcpx/convert.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace kelvcpx::test {
namespace {

using Values = std::vector<int>;

int mean(int a, int b)
{
    return (a + b + 1) / 2;
}

// The mean of values, of neighbours first.
int mean(const Values& v, std::size_t first, std::size_t count)
{
    return count == 1 ? v[first] : mean(mean(v, first, count / 2), mean(v, first + count / 2, count / 2));
}

int mean(const Values& v)
{
    return mean(v, 0, v.size());
}

// The mean of `rows` x `columns` values, by(row, column).
template <class At>
int mean(int rows, int columns, bool rowsFirst, bool crossed, At at)
{
    Values means;
    for (int i = 0; i < (rowsFirst ? columns : rows); i++) {
        Values line;
        for (int j = 0; j < (rowsFirst ? rows : columns); j++)
            line.push_back(rowsFirst ? at(j, i) : at(i, j));
        if (crossed)
            std::swap(line[1], line[2]);
        means.push_back(mean(line));
    }
    return mean(means);
}

int component(int v, int shift, int bits)
{
    return std::clamp(v >> shift, 0, (1 << bits) - 1);
}

uint16_t toRgb(int y, int cb, int cr, bool rgb555)
{
    const int greenBits = rgb555 ? 5 : 6;
    const int l = 1192 * y - 19072;
    const int r = component(l + 1634 * (cr - 128), 13, 5);
    const int g = component(l - 401 * (cb - 128) - 833 * (cr - 128), 18 - greenBits, greenBits);
    const int b = component(l + 2065 * (cb - 128), 13, 5);
    return static_cast<uint16_t>(b | g << 5 | r << (5 + greenBits));
}

struct Request {
    RoiSize size{16, 16};
    int32_t factor = 2;
    int32_t interpolation = 2;
    uint32_t rgb555 = 0;
    int32_t rotation = 0;
};

// The reduced pixel in column x of row y, before the picture is turned.
uint16_t pixel(const Operand<uint8_t>& src, const Request& request, int x, int y)
{
    const int f = request.factor;
    const int columns = request.size.width / f;
    const int firstUnit = x / 2 * f; // of the pair
    const bool alone = x % 2 == 0 && x == columns - 1;
    const auto luma = [&](int row, int column) { return src.at(2 * (f * x + column) + 1, f * y + row); };
    const auto chroma = [&](int offset) {
        const auto at = [&](int row, int unit) {
            return src.at(4 * (firstUnit + unit) + offset, f * y + row);
        };
        return request.interpolation == 1 ? at(0, 0) : mean(f, alone ? f / 2 : f, f == 8, false, at);
    };
    return toRgb(request.interpolation == 1 ? luma(0, 0) : mean(f, f, f == 8, f == 4, luma), chroma(0),
                 chroma(2), request.rgb555 != 0);
}

Status resize(const uint8_t* src, int32_t srcStep, const Request& r, uint16_t* dst, int32_t dstStep)
{
    return keliResizeCCRotate_8u_C2R(src, srcStep, r.size, dst, dstStep, r.factor, r.interpolation, r.rgb555,
                                     r.rotation);
}

TEST(Resize, FollowsTheFormula)
{
    Random random(1);
    for (int i = 0; i < 3000; i++) {
        Request request;
        request.factor = 2 << random.uniform<int>(0, 2);
        request.interpolation = random.uniform<int>(1, 2);
        request.rgb555 = random.oneIn(2) ? 0 : random.uniform<uint32_t>(1);
        request.rotation = random.uniform<int>(0, 3);
        const auto side = [&](int most) {
            return random.uniform<int>(request.factor, request.factor * most);
        };
        request.size = {side(40), side(6)};
        // Whole areas are read; the last one may be half a unit.
        const Operand<uint8_t> src(random, (request.size.width / request.factor * request.factor) * 2,
                                   request.size.height / request.factor * request.factor);
        const int columns = request.size.width / request.factor;
        const int rows = request.size.height / request.factor;
        const bool quarter = request.rotation == 1 || request.rotation == 2;
        Plane<uint16_t> dst(quarter ? rows : columns, quarter ? columns : rows);
        dst.randomise(random);
        Plane<uint16_t> expected = dst;
        for (int y = 0; y < rows; y++)
            for (int x = 0; x < columns; x++) {
                const auto [column, row] = turned(x, y, columns, rows, request.rotation);
                expected.at(column, row) = pixel(src, request, x, y);
            }
        const bool odd = request.size.width % 2 + request.size.height % 2 != 0;
        EXPECT_EQ(resize(src.data(), src.step(), request, dst.data(), dst.step()),
                  odd ? StatusWarnOddSize : StatusOk);
        ASSERT_EQ(dst, expected) << "factor " << request.factor << ", interpolation " << request.interpolation
                                 << ", rotation " << request.rotation << ", " << columns << " columns";
    }
}

TEST(Resize, ChecksItsArgumentsInOrder)
{
    Plane<uint8_t> src(32, 16);
    Plane<uint16_t> dst(16, 16);
    expectNullPointersRefused(keliResizeCCRotate_8u_C2R, {}, src.data(), src.step(), RoiSize{1, 1},
                              dst.data(), dst.step(), 3, 0, 0u, 4);
    const std::vector<Fault<Request>> faults = {
        fault(StatusBadSize, &Request::size, RoiSize{1, 16}),
        fault(StatusBadSize, &Request::size, RoiSize{16, 1}),
        fault(StatusBadResizeFactor, &Request::factor, 3),
        fault(StatusBadResizeFactor, &Request::factor, -2),
        fault(StatusBadInterpolation, &Request::interpolation, 0),
        fault(StatusBadInterpolation, &Request::interpolation, 3),
        fault(StatusBadArgument, &Request::rotation, -1),
        fault(StatusBadArgument, &Request::rotation, 4),
    };
    // A factor that is refused must not be greater than the picture, nor smaller than its fault.
    expectFaultsRefused(Request{}, std::vector(faults.begin() + 2, faults.end()), [&](const Request& r) {
        return resize(src.data(), src.step(), r, dst.data(), dst.step());
    });
    for (std::size_t i = 0; i < 2; i++) {
        Request request;
        request.interpolation = 0;
        faults[i].commit(request);
        EXPECT_EQ(resize(src.data(), src.step(), request, dst.data(), dst.step()), StatusBadSize);
    }
    EXPECT_EQ(resize(src.data(), src.step(), {.size = {16, 16}, .factor = 32}, dst.data(), dst.step()),
              StatusBadSize);
}

} // namespace
} // namespace kelvcpx::test
