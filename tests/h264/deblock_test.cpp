#include "support/faults.h"
#include "support/plane.h"
#include "support/random.h"

#include <kelvcpx/h264_inter.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <ostream>
#include <vector>

namespace kelvcpx::test {
namespace {

// The edges of an operation, and which of the entries of bS, tc0 and the thresholds each line takes.
struct Edges {
    bool vertical;
    bool luma;
    int edges;
    int lines;
    int bsPerEdge;
    int linesPerEntry;
    enum class Strong { byLine, byEdge, byFirstEdge } strong = Strong::byLine;

    int width() const { return vertical ? 4 * edges : lines; }
    int height() const { return vertical ? lines : 4 * edges; }
    int reach() const { return luma ? 4 : 2; }
};

constexpr Edges lumaVertical{true, true, 4, 16, 4, 4};
constexpr Edges lumaHorizontal{false, true, 4, 16, 4, 4};
constexpr Edges lumaMbaff{true, true, 1, 8, 4, 2};
constexpr Edges chromaVertical{true, false, 2, 8, 8, 2};
constexpr Edges chromaHorizontal{false, false, 2, 8, 8, 2, Edges::Strong::byFirstEdge};
constexpr Edges chromaMbaff{true, false, 1, 4, 4, 1};
constexpr Edges chroma422Vertical{true, false, 2, 16, 8, 4};
constexpr Edges chroma422Horizontal{false, false, 4, 8, 4, 2, Edges::Strong::byEdge};

// What the caller derives for a macroblock.
template <class T>
struct Controls {
    std::array<T, 2> alpha;
    std::array<T, 2> beta;
    std::array<T, 16> tc0;
    std::array<uint8_t, 16> bs;
    int32_t bitDepth = 8 * sizeof(T);

    friend void PrintTo(const Controls& c, std::ostream* out)
    {
        *out << "alpha " << +c.alpha[0] << ' ' << +c.alpha[1] << ", beta " << +c.beta[0] << ' ' << +c.beta[1]
             << ", bS";
        for (const uint8_t v : c.bs)
            *out << ' ' << +v;
        *out << ", tc0";
        for (const T v : c.tc0)
            *out << ' ' << +v;
    }
};

// The samples of a line across an edge: p(0), p(1), ... before it, q(0), q(1), ... after it.
template <class T>
class Line
{
public:
    Line(T* q0, std::ptrdiff_t across) : q0_(q0), across_(across) {}

    int64_t p(int i) const { return q0_[-(i + 1) * across_]; }
    int64_t q(int i) const { return q0_[i * across_]; }
    void setP(int i, int64_t v) const { q0_[-(i + 1) * across_] = static_cast<T>(v); }
    void setQ(int i, int64_t v) const { q0_[i * across_] = static_cast<T>(v); }

    // The same with p and q exchanged.
    Line mirrored() const { return {q0_ - across_, -across_}; }

private:
    T* q0_;
    std::ptrdiff_t across_;
};

// ITU-T H.264 8.7.2.3: bS less than 4.
template <class T>
void plainNormal(const Line<T>& line, bool luma, int64_t beta, int64_t tc0, int64_t largest)
{
    const int64_t p0 = line.p(0), p1 = line.p(1), q0 = line.q(0), q1 = line.q(1);
    int64_t tc = static_cast<T>(tc0 + 1);
    if (luma) {
        const int64_t middle = (p0 + q0 + 1) >> 1;
        const int64_t p2 = line.p(2), q2 = line.q(2);
        tc = tc0;
        if (std::abs(p2 - p0) < beta) {
            line.setP(1, p1 + std::clamp((p2 + middle - 2 * p1) >> 1, -tc0, tc0));
            tc++;
        }
        if (std::abs(q2 - q0) < beta) {
            line.setQ(1, q1 + std::clamp((q2 + middle - 2 * q1) >> 1, -tc0, tc0));
            tc++;
        }
        tc = static_cast<uint16_t>(tc);
    }
    const int64_t delta = std::clamp((4 * (q0 - p0) + (p1 - q1) + 4) >> 3, -tc, tc);
    if (delta != 0) {
        line.setP(0, std::clamp<int64_t>(p0 + delta, 0, largest));
        line.setQ(0, std::clamp<int64_t>(q0 - delta, 0, largest));
    }
}

// 8.7.2.4: bS equal to 4. One side of the edge, from the samples as they were.
template <class T>
void plainStrongSide(const Line<T>& line, const Line<T>& old, bool luma, int64_t alpha, int64_t beta)
{
    const int64_t p0 = old.p(0), p1 = old.p(1), q0 = old.q(0), q1 = old.q(1);
    if (luma && std::abs(old.p(2) - p0) < beta && std::abs(p0 - q0) < (alpha >> 2) + 2) {
        const int64_t p2 = old.p(2), p3 = old.p(3);
        line.setP(0, (p2 + 2 * p1 + 2 * p0 + 2 * q0 + q1 + 4) >> 3);
        line.setP(1, (p2 + p1 + p0 + q0 + 2) >> 2);
        line.setP(2, (2 * p3 + 3 * p2 + p1 + p0 + q0 + 4) >> 3);
    } else {
        line.setP(0, (2 * p1 + p0 + q1 + 2) >> 2);
    }
}

template <class T>
void plainLine(const Line<T>& line, const Edges& edges, int64_t alpha, int64_t beta, int64_t tc0, bool strong,
               int64_t largest)
{
    if (std::abs(line.p(0) - line.q(0)) >= alpha || std::abs(line.p(1) - line.p(0)) >= beta ||
        std::abs(line.q(1) - line.q(0)) >= beta)
        return;
    if (!strong)
        return plainNormal(line, edges.luma, beta, tc0, largest);
    std::array<T, 8> samples{};
    const int reach = edges.reach();
    for (int i = 0; i < reach; i++) {
        samples[static_cast<std::size_t>(3 - i)] = static_cast<T>(line.p(i));
        samples[static_cast<std::size_t>(4 + i)] = static_cast<T>(line.q(i));
    }
    const Line<T> old(&samples[4], 1);
    plainStrongSide(line, old, edges.luma, alpha, beta);
    plainStrongSide(line.mirrored(), old.mirrored(), edges.luma, alpha, beta);
}

template <class T>
void plainDeblock(T* plane, std::ptrdiff_t stride, const Edges& edges, const Controls<T>& controls,
                  int64_t largest)
{
    for (int e = 0; e < edges.edges; e++)
        for (int n = 0; n < edges.lines; n++) {
            const auto threshold = static_cast<std::size_t>(e == 0 ? 0 : 1);
            const auto entry = static_cast<std::size_t>(n / edges.linesPerEntry);
            const auto first = static_cast<std::size_t>(e * edges.bsPerEdge);
            int bs = controls.bs[first + entry];
            if (edges.strong != Edges::Strong::byLine) {
                const bool strong =
                    controls.bs[first] == 4 && (edges.strong == Edges::Strong::byEdge || e == 0);
                bs = strong ? 4 : bs == 4 ? 3 : bs;
            }
            if (bs == 0)
                continue;
            const std::ptrdiff_t x = edges.vertical ? 4 * e : n;
            const std::ptrdiff_t y = edges.vertical ? n : 4 * e;
            plainLine<T>({plane + y * stride + x, edges.vertical ? 1 : stride}, edges,
                         controls.alpha[threshold], controls.beta[threshold],
                         controls.tc0[static_cast<std::size_t>(4 * e) + entry], bs == 4, largest);
        }
}

template <class T>
using Operation = Status (*)(T* plane, int32_t step, const T* alpha, const T* beta, const T* tc0,
                             const uint8_t* bs, int32_t bitDepth);

template <class T>
struct Member {
    const char* name;
    Edges edges;
    Operation<T> operation;
    bool checksStep = true;
    bool thresholdsByValue = false;

    friend void PrintTo(const Member& member, std::ostream* out) { *out << member.name; }
};

template <class T>
class Deblock : public testing::TestWithParam<Member<T>>
{
protected:
    // Samples with structure: flat areas, steps of a size round the thresholds, or anything.
    template <class Set>
    void drawSamples(Set set, int64_t largest)
    {
        const int kind = random_.uniform<int>(0, 3);
        const int64_t scale = (largest + 1) / 256;
        const int64_t base = random_.extreme<int64_t>(0, largest);
        const int64_t noise = random_.uniform<int>(1, 12) * scale;
        const int64_t jump = random_.uniform<int>(-40, 40) * scale;
        const Edges& edges = member_.edges;
        const int reach = edges.reach();
        for (int y = -reach; y < edges.height() + reach; y++)
            for (int x = -reach; x < edges.width() + reach; x++) {
                const int across = edges.vertical ? x : y;
                const int64_t smooth =
                    base + (across & 4 ? jump : 0) + random_.uniform<int64_t>(-noise, noise);
                set(x, y,
                    static_cast<T>(kind == 0 ? random_.extreme<int64_t>(0, largest)
                                             : std::clamp<int64_t>(smooth, 0, largest)));
            }
    }

    T threshold(int64_t usual)
    {
        const int64_t largest = std::numeric_limits<T>::max();
        if (random_.oneIn(6))
            return random_.extreme<T>(0, largest);
        return random_.extreme<T>(0, std::min(usual, largest));
    }

    Controls<T> drawControls(int32_t bitDepth)
    {
        const int64_t scale = int64_t{1} << (bitDepth - 8);
        Controls<T> c;
        c.bitDepth = bitDepth;
        for (std::size_t i = 0; i < 2; i++) {
            c.alpha[i] = threshold(100 * scale);
            c.beta[i] = threshold(25 * scale);
        }
        for (T& tc0 : c.tc0)
            tc0 = threshold(random_.oneIn(2) ? 4 * scale : 25 * scale);
        const int kind = random_.uniform<int>(0, 4);
        for (uint8_t& bs : c.bs) {
            const auto any = random_.uniform<uint8_t>(0, 5);
            bs = kind == 0   ? uint8_t{4}
                 : kind == 1 ? uint8_t{2}
                 : any == 5  ? random_.uniform<uint8_t>()
                             : any;
        }
        if (random_.oneIn(4))
            std::fill_n(c.bs.begin() + random_.uniform<int>(0, 3) * 4, 4, uint8_t{0});
        return c;
    }

    Status deblock(T* plane, int32_t step, const Controls<T>& c) const
    {
        return member_.operation(plane, step, c.alpha.data(), c.beta.data(), c.tc0.data(), c.bs.data(),
                                 c.bitDepth);
    }

    // `sampleDepth` is the bit depth of what is in the plane, which may exceed what the operation is told.
    void expectStandard(int32_t bitDepth, int32_t sampleDepth)
    {
        const Edges& edges = member_.edges;
        for (int i = 0; i < 500; i++) {
            Plane<T> plane(edges.width(), edges.height());
            plane.randomise(random_);
            drawSamples([&](int x, int y, T v) { plane.at(x, y) = v; }, (int64_t{1} << sampleDepth) - 1);
            const Controls<T> controls = drawControls(bitDepth);
            Plane<T> expected = plane;
            plainDeblock(expected.data(), expected.stride(), edges, controls, (int64_t{1} << bitDepth) - 1);
            EXPECT_EQ(deblock(plane.data(), plane.stride(), controls), StatusOk);
            ASSERT_EQ(plane, expected) << testing::PrintToString(controls);
        }
    }

    // A macroblock of which only the samples that the edges reach are in memory, and those before the first
    // edge only if it is filtered.
    void expectNoOtherSamplesTouched(bool external)
    {
        const Edges& edges = member_.edges;
        const int before = external ? edges.reach() : 0;
        const int left = edges.vertical ? before : 0;
        const int above = edges.vertical ? 0 : before;
        // Beyond the last edge.
        const int width = edges.vertical ? 4 * (edges.edges - 1) + edges.reach() : edges.lines;
        const int height = edges.vertical ? edges.lines : 4 * (edges.edges - 1) + edges.reach();
        const int step = left + width;
        for (int i = 0; i < 100; i++) {
            Controls<T> controls = drawControls(8);
            if (!external)
                std::fill_n(controls.bs.begin(), 4, uint8_t{0});
            std::vector<T> samples(static_cast<std::size_t>(step * (above + height)));
            const auto index = [&](int x, int y) {
                return static_cast<std::size_t>((y + above) * step + x + left);
            };
            drawSamples(
                [&](int x, int y, T v) {
                    if (x >= -left && x < width && y >= -above && y < height)
                        samples[index(x, y)] = v;
                },
                255);
            std::vector<T> expected = samples;
            plainDeblock(&expected[index(0, 0)], step, edges, controls, 255);
            deblock(&samples[index(0, 0)], step, controls);
            ASSERT_EQ(samples, expected) << testing::PrintToString(controls);
        }
    }

    void expectNothingRead(const Controls<T>& controls)
    {
        T sample = 0;
        EXPECT_EQ(deblock(&sample, 1, controls), StatusOk);
    }

    void expectArgumentsChecked()
    {
        struct Request {
            T* plane;
            int32_t step;
            const T* alpha;
            const T* beta;
            const T* tc0;
            const uint8_t* bs;
        };
        Plane<T> plane(16, 16);
        const Controls<T> c{{255, 255}, {255, 255}, {}, {4, 4, 4, 4}};
        std::vector<Fault<Request>> faults = {fault(StatusNullPointer, &Request::plane, nullptr)};
        if (!member_.thresholdsByValue) {
            faults.push_back(fault(StatusNullPointer, &Request::alpha, nullptr));
            faults.push_back(fault(StatusNullPointer, &Request::beta, nullptr));
        }
        faults.push_back(fault(StatusNullPointer, &Request::tc0, nullptr));
        faults.push_back(fault(StatusNullPointer, &Request::bs, nullptr));
        if (member_.checksStep) {
            faults.push_back(fault(StatusBadStep, &Request::step, 0));
            faults.push_back(fault(StatusBadStep, &Request::step, -32));
        }
        expectFaultsRefused<Request>(
            {plane.data(), plane.stride(), c.alpha.data(), c.beta.data(), c.tc0.data(), c.bs.data()}, faults,
            [&](const Request& r) {
                return member_.operation(r.plane, r.step, r.alpha, r.beta, r.tc0, r.bs, 8);
            });
        EXPECT_EQ(plane, Plane<T>(16, 16));
        if (!member_.checksStep) {
            EXPECT_EQ(deblock(&plane.at(0, 15), -plane.stride(), c), StatusOk);
        }
    }

    Member<T> member_ = this->GetParam();
    Random random_{1};
};

using Deblock8 = Deblock<uint8_t>;
using Deblock16 = Deblock<uint16_t>;

TEST_P(Deblock8, FollowsTheStandard)
{
    expectStandard(8, 8);
}

TEST_P(Deblock16, FollowsTheStandardForEveryBitDepth)
{
    for (const int32_t bitDepth : {8, 9, 10, 12, 14, 16})
        expectStandard(bitDepth, bitDepth);
}

TEST_P(Deblock16, ClipsOnlyWhatItMoves)
{
    expectStandard(10, 16);
}

TEST_P(Deblock8, TouchesOnlyItsSamples)
{
    expectNoOtherSamplesTouched(true);
    expectNoOtherSamplesTouched(false);
}

TEST_P(Deblock16, TouchesOnlyItsSamples)
{
    expectNoOtherSamplesTouched(true);
    expectNoOtherSamplesTouched(false);
}

TEST_P(Deblock8, ReadsNoSamplesIfNothingIsToBeFiltered)
{
    expectNothingRead({{255, 255}, {255, 255}, {}, {}});
    expectNothingRead({{0, 0}, {255, 255}, {}, {4, 4, 4, 4, 3, 3, 3, 3, 1, 1, 1, 1, 3, 3, 3, 3}});
}

TEST_P(Deblock16, ReadsNoSamplesIfNothingIsToBeFiltered)
{
    expectNothingRead({{255, 255}, {255, 255}, {}, {}});
    expectNothingRead({{0, 0}, {255, 255}, {}, {4, 4, 4, 4, 3, 3, 3, 3, 1, 1, 1, 1, 3, 3, 3, 3}});
}

TEST_P(Deblock8, ChecksItsArgumentsInOrder)
{
    expectArgumentsChecked();
}

TEST_P(Deblock16, ChecksItsArgumentsInOrder)
{
    expectArgumentsChecked();
}

template <auto operation>
Status withArguments(uint8_t* plane, int32_t step, const uint8_t* alpha, const uint8_t* beta,
                     const uint8_t* tc0, const uint8_t* bs, int32_t)
{
    return operation(plane, step, alpha, beta, tc0, bs);
}

template <auto operation>
Status withValues(uint8_t* plane, int32_t step, const uint8_t* alpha, const uint8_t* beta, const uint8_t* tc0,
                  const uint8_t* bs, int32_t)
{
    return operation(plane, step, *alpha, *beta, tc0, bs);
}

template <auto operation>
Status withRecord(uint8_t* plane, int32_t step, const uint8_t* alpha, const uint8_t* beta, const uint8_t* tc0,
                  const uint8_t* bs, int32_t)
{
    const DeblockingParams params{plane, step, alpha, beta, tc0, bs};
    return operation(&params);
}

template <auto operation>
Status withRecord16(uint16_t* plane, int32_t step, const uint16_t* alpha, const uint16_t* beta,
                    const uint16_t* tc0, const uint8_t* bs, int32_t bitDepth)
{
    const DeblockingParams16u params{plane, step, alpha, beta, tc0, bs, bitDepth};
    return operation(&params);
}

const auto nameOf = [](const auto& info) { return info.param.name; };

INSTANTIATE_TEST_SUITE_P(
    Members, Deblock8,
    testing::Values(Member<uint8_t>{"LumaVertical", lumaVertical,
                                    withArguments<keliFilterDeblockingLuma_VerEdge_H264_8u_C1IR>},
                    Member<uint8_t>{"LumaHorizontal", lumaHorizontal,
                                    withArguments<keliFilterDeblockingLuma_HorEdge_H264_8u_C1IR>},
                    Member<uint8_t>{"ChromaVertical", chromaVertical,
                                    withArguments<keliFilterDeblockingChroma_VerEdge_H264_8u_C1IR>},
                    Member<uint8_t>{"ChromaHorizontal", chromaHorizontal,
                                    withArguments<keliFilterDeblockingChroma_HorEdge_H264_8u_C1IR>, false},
                    Member<uint8_t>{"LumaMbaff", lumaMbaff,
                                    withValues<keliFilterDeblockingLuma_VerEdge_MBAFF_H264_8u_C1IR>, false,
                                    true},
                    Member<uint8_t>{"ChromaMbaff", chromaMbaff,
                                    withValues<keliFilterDeblockingChroma_VerEdge_MBAFF_H264_8u_C1IR>, false,
                                    true},
                    Member<uint8_t>{"Chroma422Vertical", chroma422Vertical,
                                    withRecord<keliFilterDeblockingChroma422VerEdge_H264_8u_IP1R>},
                    Member<uint8_t>{"Chroma422Horizontal", chroma422Horizontal,
                                    withRecord<keliFilterDeblockingChroma422HorEdge_H264_8u_IP1R>}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Members, Deblock16,
    testing::Values(Member<uint16_t>{"LumaVertical", lumaVertical,
                                     withRecord16<keliFilterDeblockingLumaVerEdge_H264_16u_IP1R>},
                    Member<uint16_t>{"LumaHorizontal", lumaHorizontal,
                                     withRecord16<keliFilterDeblockingLumaHorEdge_H264_16u_IP1R>},
                    Member<uint16_t>{"LumaMbaff", lumaMbaff,
                                     withRecord16<keliFilterDeblockingLumaVerEdgeMBAFF_H264_16u_IP1R>},
                    Member<uint16_t>{"ChromaVertical", chromaVertical,
                                     withRecord16<keliFilterDeblockingChromaVerEdge_H264_16u_IP1R>},
                    Member<uint16_t>{"ChromaHorizontal", chromaHorizontal,
                                     withRecord16<keliFilterDeblockingChromaHorEdge_H264_16u_IP1R>},
                    Member<uint16_t>{"ChromaMbaff", chromaMbaff,
                                     withRecord16<keliFilterDeblockingChromaVerEdgeMBAFF_H264_16u_IP1R>,
                                     false},
                    Member<uint16_t>{"Chroma422Vertical", chroma422Vertical,
                                     withRecord16<keliFilterDeblockingChroma422VerEdge_H264_16u_IP1R>},
                    Member<uint16_t>{"Chroma422Horizontal", chroma422Horizontal,
                                     withRecord16<keliFilterDeblockingChroma422HorEdge_H264_16u_IP1R>}),
    nameOf);

// Thresholds by value may exceed every difference of samples.
TEST(DeblockMbaff, TakesThresholdsBeyondTheSamples)
{
    const std::array<uint8_t, 4> bs = {4, 3, 4, 1};
    const std::array<uint8_t, 4> tc0 = {9, 9, 9, 9};
    Random random(1);
    for (int i = 0; i < 50; i++)
        for (const uint32_t beyond : {256u, 1020u, 0x10000u, 0xffffffffu}) {
            Plane<uint8_t> plane(4, 8);
            plane.randomise(random);
            Plane<uint8_t> expected = plane;
            for (int n = 0; n < 8; n++)
                plainLine<uint8_t>({&expected.at(0, n), 1}, lumaMbaff, beyond, beyond, 9,
                                   bs[static_cast<std::size_t>(n / 2)] == 4, 255);
            EXPECT_EQ(keliFilterDeblockingLuma_VerEdge_MBAFF_H264_8u_C1IR(plane.data(), plane.step(), beyond,
                                                                          beyond, tc0.data(), bs.data()),
                      StatusOk);
            ASSERT_EQ(plane, expected) << beyond;
        }
}

TEST(DeblockMbaff, IsNotSupportedFor422)
{
    EXPECT_EQ(keliFilterDeblockingChroma422VerEdgeMBAFF_H264_8u_IP1R(nullptr), StatusNotSupported);
    EXPECT_EQ(keliFilterDeblockingChroma422VerEdgeMBAFF_H264_16u_IP1R(nullptr), StatusNotSupported);
}

TEST(DeblockRecords, MustNotBeNull)
{
    for (const auto operation : {keliFilterDeblockingChroma422VerEdge_H264_8u_IP1R,
                                 keliFilterDeblockingChroma422HorEdge_H264_8u_IP1R})
        EXPECT_EQ(operation(nullptr), StatusNullPointer);
    for (const auto operation :
         {keliFilterDeblockingLumaVerEdge_H264_16u_IP1R, keliFilterDeblockingLumaHorEdge_H264_16u_IP1R,
          keliFilterDeblockingLumaVerEdgeMBAFF_H264_16u_IP1R, keliFilterDeblockingChromaVerEdge_H264_16u_IP1R,
          keliFilterDeblockingChromaHorEdge_H264_16u_IP1R,
          keliFilterDeblockingChromaVerEdgeMBAFF_H264_16u_IP1R,
          keliFilterDeblockingChroma422VerEdge_H264_16u_IP1R,
          keliFilterDeblockingChroma422HorEdge_H264_16u_IP1R})
        EXPECT_EQ(operation(nullptr), StatusNullPointer);
}

} // namespace
} // namespace kelvcpx::test
