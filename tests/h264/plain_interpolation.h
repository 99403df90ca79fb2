// Sample interpolation as ITU-T H.264 8.4.2.2 has it, one sample at a time: the reference that the tests of
// interpolation share.
#pragma once

#include <algorithm>
#include <cstdint>

namespace kelvcpx::test {

// The sample at (x, y) and dx, dy quarter samples from there; at(x, y) is a full sample. Letters as in Figure
// 8-4.
template <class At>
int64_t plainLuma(At at, int x, int y, int dx, int dy, int64_t largest)
{
    const auto clip = [=](int64_t v) { return std::clamp<int64_t>(v, 0, largest); };
    const auto tap = [](auto sample) {
        return sample(-2) - 5 * sample(-1) + 20 * sample(0) + 20 * sample(1) - 5 * sample(2) + sample(3);
    };
    const auto full = [&](int right, int down) { return int64_t{at(x + right, y + down)}; };
    const auto acrossSum = [&](int down) { return tap([&](int i) { return full(i, down); }); };
    const auto downSum = [&](int right) { return tap([&](int i) { return full(right, i); }); };
    const auto average = [](int64_t a, int64_t b) { return (a + b + 1) >> 1; };

    const auto G = full(0, 0);
    if (dx == 0 && dy == 0)
        return G;
    const auto b = [&] { return clip((acrossSum(0) + 16) >> 5); };
    const auto s = [&] { return clip((acrossSum(1) + 16) >> 5); };
    const auto h = [&] { return clip((downSum(0) + 16) >> 5); };
    const auto m = [&] { return clip((downSum(1) + 16) >> 5); };
    const auto j = [&] { return clip((tap([&](int i) { return downSum(i); }) + 512) >> 10); };
    switch (dx * 10 + dy) {
    case 1: // d
        return average(G, h());
    case 2:
        return h();
    case 3: // n
        return average(full(0, 1), h());
    case 10: // a
        return average(G, b());
    case 11: // e
        return average(b(), h());
    case 12: // i
        return average(h(), j());
    case 13: // p
        return average(h(), s());
    case 20:
        return b();
    case 21: // f
        return average(b(), j());
    case 22:
        return j();
    case 23: // q
        return average(j(), s());
    case 30: // c
        return average(full(1, 0), b());
    case 31: // g
        return average(b(), m());
    case 32: // k
        return average(j(), m());
    default: // r
        return average(m(), s());
    }
}

// The sample dx, dy eighth samples from (x, y). at() is called only where the weight is not 0.
template <class At>
int64_t plainChroma(At at, int x, int y, int dx, int dy)
{
    const auto weighted = [&](int weight, int right, int down) {
        return weight == 0 ? 0 : weight * int64_t{at(x + right, y + down)};
    };
    return (weighted((8 - dx) * (8 - dy), 0, 0) + weighted(dx * (8 - dy), 1, 0) +
            weighted((8 - dx) * dy, 0, 1) + weighted(dx * dy, 1, 1) + 32) >>
           6;
}

} // namespace kelvcpx::test
