// Chroma of intra and inter macroblocks, of 4:2:0 and 4:2:2, of 8 and of more bits.

#include "h264/plain_intra.h"
#include "h264/plain_macroblock.h"
#include "h264/plain_residual.h"
#include "support/arguments.h"
#include "support/faults.h"
#include "support/plane.h"
#include "support/random.h"

#include <kelvcpx/h264_high.h>
#include <kelvcpx/h264_residual.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <ostream>
#include <vector>

namespace kelvcpx::test {
namespace {

// What any of the operations takes: two of everything, of Cb and of Cr. Where an operation has only one of
// something, it is that of Cb.
template <class T>
struct Request {
    std::array<CoefficientOf<T>**, 2> next;
    std::array<T*, 2> dst;
    std::array<int32_t, 2> step;
    uint32_t mode; // 0 DC, 1 horizontal, 2 vertical, 3 plane
    std::array<uint64_t, 2> cbp;
    std::array<int32_t, 2> qp;
    std::array<const int16_t*, 2> scales;
    std::array<int16_t, 2> dcScales;
    uint8_t edgeFlags;
    uint8_t edgeFlagsLower;
    bool bypass;
    std::array<int32_t, 2> bitDepth;
};
using R8 = Request<uint8_t>;
using R16 = Request<uint16_t>;

enum class Kind { inter, intra, half };
enum class Scaling { oneQuantiser, defaultFactors, levelScales };

// One operation, in terms of requests.
template <class T>
struct Form {
    const char* name;
    int height; // of a component: 8 for 4:2:0, 16 for 4:2:2
    Kind kind;
    Scaling scaling;
    bool records;
    Status (*call)(const Request<T>&);

    int blocks() const { return height / 2; }
    int firstBit(int component) const { return records && height == 16 ? 0 : 17 + component; }
    int firstBlockBit(int component) const { return records && height == 16 ? 1 : 19 + component * blocks(); }

    friend void PrintTo(const Form& form, std::ostream* out) { *out << form.name; }
};

uint32_t low(uint64_t cbp)
{
    return static_cast<uint32_t>(cbp);
}

uint32_t high(uint64_t cbp)
{
    return static_cast<uint32_t>(cbp >> 32);
}

uint8_t bypassOf(const R8& r)
{
    return r.bypass ? 2 : 0;
}

Status flatIntra(const R8& r)
{
    return keliReconstructChromaIntraMB_H264_16s8u_P2R(r.next[0], r.dst[0], r.dst[1], r.step[0], r.mode,
                                                       low(r.cbp[0]), r.qp[0], r.edgeFlags);
}

template <auto operation>
Status flatHalf(const R8& r)
{
    return operation(r.next[0], r.dst[0], r.dst[1], r.step[0], r.mode, low(r.cbp[0]), r.qp[0], r.edgeFlags,
                     r.edgeFlagsLower);
}

Status flatInter(const R8& r)
{
    return keliReconstructChromaInterMB_H264_16s8u_P2R(r.next[0], r.dst[0], r.dst[1], r.step[0],
                                                       low(r.cbp[0]), r.qp[0]);
}

Status flatHalf4x4(const R8& r)
{
    return keliReconstructChromaIntraHalves4x4MB_H264_16s8u_P2R(r.next[0], r.dst[0], r.dst[1], r.step[0],
                                                                r.mode, low(r.cbp[0]), r.qp[0], r.qp[1],
                                                                r.edgeFlags, r.edgeFlagsLower);
}

Status highIntra(const R8& r)
{
    return keliReconstructChromaIntra4x4MB_H264_16s8u_P2R(r.next[0], r.dst[0], r.dst[1], r.step[0], r.mode,
                                                          low(r.cbp[0]), r.qp[0], r.qp[1], r.edgeFlags,
                                                          r.scales[0], r.scales[1], bypassOf(r));
}

Status highHalf(const R8& r)
{
    return keliReconstructChromaIntraHalfs4x4MB_H264_16s8u_P2R(
        r.next[0], r.dst[0], r.dst[1], r.step[0], r.mode, low(r.cbp[0]), r.qp[0], r.qp[1], r.edgeFlags,
        r.edgeFlagsLower, r.scales[0], r.scales[1], bypassOf(r));
}

Status highInter(const R8& r)
{
    return keliReconstructChromaInter4x4MB_H264_16s8u_P2R(r.next[0], r.dst[0], r.dst[1], r.step[0],
                                                          low(r.cbp[0]), r.qp[0], r.qp[1], r.scales[0],
                                                          r.scales[1], bypassOf(r));
}

Status intra422(const R8& r)
{
    return keliReconstructChromaIntra4x4MB422_H264_16s8u_P2R(
        r.next[0], r.dst[0], r.dst[1], r.step[0], r.mode, low(r.cbp[0]), high(r.cbp[0]), r.qp[0], r.qp[1],
        r.dcScales[0], r.dcScales[1], r.edgeFlags, r.scales[0], r.scales[1], bypassOf(r));
}

Status inter422(const R8& r)
{
    return keliReconstructChromaInter4x4MB422_H264_16s8u_P2R(
        r.next[0], r.dst[0], r.dst[1], r.step[0], low(r.cbp[0]), high(r.cbp[0]), r.qp[0], r.qp[1],
        r.dcScales[0], r.dcScales[1], r.scales[0], r.scales[1], bypassOf(r));
}

// The records of a request.
template <class T>
struct Pair {
    using Params = std::conditional_t<std::is_same_v<T, uint8_t>, BlockReconParams8u, BlockReconParams>;

    explicit Pair(const Request<T>& r)
    {
        for (std::size_t i = 0; i < 2; i++)
            records[i] = {r.next[i], r.dst[i],    r.step[i],           low(r.cbp[i]),
                          r.qp[i],   r.scales[i], r.bypass ? 256u : 0, r.bitDepth[i]};
    }

    std::array<Params, 2> records;
    std::array<const Params*, 2> pointers = {&records[0], &records[1]};
};

// Inter, intra and half operations have different numbers of arguments.
template <auto operation, class T, class... DcScale>
Status withRecords(const Request<T>& r, DcScale... dcScales)
{
    const Pair<T> pair(r);
    const auto* const* const p = pair.pointers.data();
    if constexpr (requires { operation(p, dcScales...); })
        return operation(p, dcScales...);
    else if constexpr (requires { operation(p, r.mode, r.edgeFlags, dcScales...); })
        return operation(p, r.mode, r.edgeFlags, dcScales...);
    else
        return operation(p, r.mode, r.edgeFlags, r.edgeFlagsLower, dcScales...);
}

template <auto operation>
Status records420(const R16& r)
{
    return withRecords<operation>(r);
}

template <auto operation, class T>
Status records422(const Request<T>& r)
{
    return withRecords<operation>(r, r.dcScales[0], r.dcScales[1]);
}

constexpr auto defaultFactors = Scaling::defaultFactors;
constexpr auto levelScales = Scaling::levelScales;

constexpr std::array forms8 = {
    Form<uint8_t>{"Intra", 8, Kind::intra, Scaling::oneQuantiser, false, flatIntra},
    Form<uint8_t>{"Halfs", 8, Kind::half, Scaling::oneQuantiser, false,
                  flatHalf<keliReconstructChromaIntraHalfsMB_H264_16s8u_P2R>},
    Form<uint8_t>{"Halves", 8, Kind::half, Scaling::oneQuantiser, false,
                  flatHalf<keliReconstructChromaIntraHalvesMB_H264_16s8u_P2R>},
    Form<uint8_t>{"Inter", 8, Kind::inter, Scaling::oneQuantiser, false, flatInter},
    Form<uint8_t>{"Halves4x4", 8, Kind::half, defaultFactors, false, flatHalf4x4},
    Form<uint8_t>{"IntraHigh", 8, Kind::intra, levelScales, false, highIntra},
    Form<uint8_t>{"HalfsHigh", 8, Kind::half, levelScales, false, highHalf},
    Form<uint8_t>{"InterHigh", 8, Kind::inter, levelScales, false, highInter},
    Form<uint8_t>{"Intra422", 16, Kind::intra, levelScales, false, intra422},
    Form<uint8_t>{"Inter422", 16, Kind::inter, levelScales, false, inter422},
    Form<uint8_t>{"RecordsIntra422", 16, Kind::intra, levelScales, true,
                  records422<keliReconstructChroma422Intra4x4_H264High_16s8u_IP2R>},
    Form<uint8_t>{"RecordsHalf422", 16, Kind::half, levelScales, true,
                  records422<keliReconstructChroma422IntraHalf4x4_H264High_16s8u_IP2R>},
    Form<uint8_t>{"RecordsInter422", 16, Kind::inter, levelScales, true,
                  records422<keliReconstructChroma422Inter4x4_H264High_16s8u_IP2R>},
};
constexpr std::array forms16 = {
    Form<uint16_t>{"Intra", 8, Kind::intra, levelScales, true,
                   records420<keliReconstructChromaIntra4x4_H264High_32s16u_IP2R>},
    Form<uint16_t>{"Half", 8, Kind::half, levelScales, true,
                   records420<keliReconstructChromaIntraHalf4x4_H264High_32s16u_IP2R>},
    Form<uint16_t>{"Inter", 8, Kind::inter, levelScales, true,
                   records420<keliReconstructChromaInter4x4_H264High_32s16u_IP2R>},
    Form<uint16_t>{"Intra422", 16, Kind::intra, levelScales, true,
                   records422<keliReconstructChroma422Intra4x4_H264High_32s16u_IP2R>},
    Form<uint16_t>{"Half422", 16, Kind::half, levelScales, true,
                   records422<keliReconstructChroma422IntraHalf4x4_H264High_32s16u_IP2R>},
    Form<uint16_t>{"Inter422", 16, Kind::inter, levelScales, true,
                   records422<keliReconstructChroma422Inter4x4_H264High_32s16u_IP2R>},
};

// 8.5.11 of one component.
template <class T>
Block chromaDc(const std::vector<CoefficientOf<T>>& c, const Rule& rule, int16_t dcScale)
{
    constexpr int bits = coefficientBits<T>;
    if (rule.lossless)
        return Block(c.begin(), c.end());
    constexpr int column[4][4] = {{1, 1, 1, 1}, {1, 1, -1, -1}, {1, -1, -1, 1}, {1, -1, 1, -1}};
    const std::size_t rows = c.size() / 2;
    Block dc(c.size(), 0);
    for (std::size_t i = 0; i < c.size(); i++)
        for (std::size_t k = 0; k < c.size(); k++) {
            const int down = rows == 4 ? column[i / 2][k / 2] : i / 2 * (k / 2) == 1 ? -1 : 1;
            const int across = i % 2 * (k % 2) == 1 ? -1 : 1;
            dc[i] += int64_t{down * across} * c[k];
        }
    for (int64_t& v : dc)
        v = rows == 4 ? plainScale(v, dcScale, rule.qp + 3, 6, bits)
                      : lowBits(low32(lowBits(v, bits) * rule.scales[0] * (1 << (rule.qp / 6))) >> 5, bits);
    return dc;
}

// A random macroblock: what an operation gets, and what it is expected to make of it.
template <class T>
struct Trial {
    using C = CoefficientOf<T>;

    Trial(const Form<T>& f, Random& random) : form(f), bitDepth(randomBitDepth<T>(random))
    {
        const bool many = form.scaling != Scaling::oneQuantiser;
        request.bypass = random.oneIn(3);
        for (std::size_t i = 0; i < 2; i++) {
            // Strides of their own where they are possible.
            planes.emplace_back(8, form.height, 8, form.records ? 3 + static_cast<int>(i) : 3);
            planes.back().randomise(random, 0, (1 << bitDepth) - 1);
            const bool same = i == 1 && !many;
            rules[i] = same ? rules[0]
                            : randomRule(random, 4, form.scaling == Scaling::levelScales,
                                         39 + 6 * (bitDepth - 8), request.bypass);
            request.cbp[i] = random.oneIn(4) ? 0 : random.extreme<uint64_t>(0, INT64_MAX) * 2;
            request.dcScales[i] =
                random.oneIn(4) ? random.extreme<int16_t>() : plainFlatScale(4, rules[i].qp + 3, 0);
        }
        if (!form.records)
            request.cbp[1] = request.cbp[0];
        request.mode = random.uniform<uint32_t>(0, form.kind == Kind::half ? 1 : 4);
        request.edgeFlags = random.oneIn(2) ? uint8_t{0} : random.uniform<uint8_t>(0, 255);
        request.edgeFlagsLower = random.uniform<uint8_t>(0, 255);
        request.bitDepth = {bitDepth, 77}; // that of Cb counts
        streams = form.records && random.oneIn(2) ? 2 : 1;
    }

    Status expectedStatus() const
    {
        constexpr std::array<uint32_t, 4> luma = {2, 1, 0, 3};
        const uint32_t mode = request.mode;
        if (form.kind == Kind::half)
            return mode == 0 ? StatusOk : StatusBadIntraMode;
        if (form.kind == Kind::inter)
            return StatusOk;
        return mode > 3                                   ? StatusOutOfRange
               : isRefused(luma[mode], request.edgeFlags) ? StatusBadIntraMode
                                                          : StatusOk;
    }

    void predict()
    {
        constexpr std::array<int, 4> luma = {2, 1, 0, 3};
        const bool half = form.kind == Kind::half;
        for (Plane<T>& plane : planes)
            plainPredictLarge(
                plane, 8, form.height, luma[request.mode], (request.edgeFlags & noTop) == 0,
                [&](int y) {
                    const bool lower = half && y >= form.height / 2;
                    return ((lower ? request.edgeFlagsLower : request.edgeFlags) & noLeft) == 0;
                },
                bitDepth);
    }

    // In the order of the syntax, from one stream or two.
    void addResidual(Random& random)
    {
        const auto blocks = static_cast<std::size_t>(form.blocks());
        std::array<Block, 2> dc{Block(blocks, 0), Block(blocks, 0)};
        const auto isCoded = [&](std::size_t component, int bit) {
            return (request.cbp[component] >> bit & 1) != 0;
        };
        for (std::size_t i = 0; i < 2; i++)
            if (isCoded(i, form.firstBit(static_cast<int>(i))))
                dc[i] = chromaDc<T>(packed[i % streams].add(random, blocks), rules[i], request.dcScales[i]);
        for (std::size_t i = 0; i < 2; i++)
            for (std::size_t block = 0; block < blocks; block++) {
                const int bit = form.firstBlockBit(static_cast<int>(i)) + static_cast<int>(block);
                const auto ac = isCoded(i, bit) ? packed[i % streams].add(random, 16) : std::vector<C>(16, 0);
                addBlock(planes[i], static_cast<int>(block % 2 * 4), static_cast<int>(block / 2 * 4), ac,
                         rules[i], bitDepth, &dc[i][block]);
            }
    }

    Status reconstruct(std::vector<Plane<T>>& dst)
    {
        Request<T> r = request;
        for (std::size_t i = 0; i < 2; i++) {
            r.dst[i] = dst[i].data();
            r.step[i] = dst[i].stride();
            r.qp[i] = rules[i].qp;
            r.scales[i] = rules[i].scales.data();
        }
        return packed[0].consume([&](C** first) {
            r.next = {first, first};
            if (streams == 1)
                return form.call(r);
            return packed[1].consume([&](C** second) {
                r.next[1] = second;
                return form.call(r);
            });
        });
    }

    const Form<T>& form;
    int bitDepth;
    Request<T> request{};
    std::array<Rule, 2> rules;
    std::vector<Plane<T>> planes;
    std::size_t streams;
    std::array<Packed<C>, 2> packed;
};

template <class T>
void expectPredictedAndAdded(const Form<T>& form)
{
    Random random(7);
    for (int round = 0; round < 2000; round++) {
        Trial<T> t(form, random);
        std::vector<Plane<T>> planes = t.planes;
        if (t.expectedStatus() == StatusOk) {
            if (form.kind != Kind::inter)
                t.predict();
            t.addResidual(random);
        }
        EXPECT_EQ(t.reconstruct(planes), t.expectedStatus());
        ASSERT_EQ(planes, t.planes) << t.bitDepth << " bits, mode " << t.request.mode << ", QP "
                                    << t.rules[0].qp << " and " << t.rules[1].qp;
    }
}

// Sets an element of one of the pairs of a request.
template <class R, class Element>
Fault<R> faultOf(Status status, std::array<Element, 2> R::*pair, std::size_t i,
                 std::type_identity_t<Element> value)
{
    return {status, [=](R& r) { (r.*pair)[i] = value; }};
}

template <class T>
void expectArgumentsChecked(const Form<T>& form)
{
    using R = Request<T>;
    using C = CoefficientOf<T>;
    std::array<Plane<T>, 2> planes = {Plane<T>(8, form.height), Plane<T>(8, form.height)};
    const auto before = planes;
    const std::vector<int16_t> scales(16, 16);
    std::vector<C> coefficients(300, 1);
    C* next = coefficients.data();
    C* none = nullptr;
    const int32_t bitDepth = std::is_same_v<T, uint8_t> ? 8 : 10;
    const int32_t step = planes[0].stride();
    const R good{{&next, &next},
                 {planes[0].data(), planes[1].data()},
                 {step, step},
                 0,
                 {0, 0},
                 {39, 0},
                 {scales.data(), scales.data()},
                 {160, 160},
                 0x35,
                 0x35,
                 false,
                 {bitDepth, bitDepth}};
    const bool high = form.scaling == Scaling::levelScales;
    const bool lateCheck = form.kind == Kind::half && form.scaling == Scaling::oneQuantiser;
    const int32_t largestQp = lateCheck ? 51 : 39 + 6 * (bitDepth - 8);
    std::vector<Fault<R>> faults;
    for (std::size_t i = 0; i < 2; i++) {
        faults.push_back(faultOf(StatusNullPointer, &R::dst, i, nullptr));
        if (i == 0 || form.records) {
            faults.push_back(faultOf(StatusNullPointer, &R::next, i, nullptr));
            faults.push_back(faultOf(StatusNullPointer, &R::next, i, &none));
        }
        if (high)
            faults.push_back(faultOf(StatusNullPointer, &R::scales, i, nullptr));
    }
    for (std::size_t i = 0; i < (form.records ? 2u : 1u); i++) {
        faults.push_back(faultOf(StatusBadStep, &R::step, i, 0));
        if (form.records || form.height == 16)
            faults.push_back(faultOf(StatusBadStep, &R::step, i, -step));
    }
    for (std::size_t i = 0; i < (form.scaling == Scaling::oneQuantiser ? 1u : 2u); i++)
        for (const int32_t qp : {-1, largestQp + 1})
            faults.push_back(faultOf(StatusOutOfRange, &R::qp, i, qp));
    if (form.kind == Kind::half)
        for (const uint32_t mode : {1u, 4u})
            faults.push_back(fault(StatusBadIntraMode, &R::mode, mode));
    if (form.kind == Kind::intra) {
        faults.push_back(fault(StatusOutOfRange, &R::mode, 4u));
        faults.push_back(fault(StatusBadIntraMode, &R::mode, 2u));
    }
    expectFaultsRefused(good, faults, form.call);
    EXPECT_EQ(planes, before);
    EXPECT_EQ(form.call(good), StatusOk);
}

using Chroma8 = testing::TestWithParam<Form<uint8_t>>;
using Chroma16 = testing::TestWithParam<Form<uint16_t>>;

class ReconstructChroma8 : public Chroma8
{
};
class ReconstructChroma16 : public Chroma16
{
};

TEST_P(ReconstructChroma8, PredictsAndAdds)
{
    expectPredictedAndAdded(GetParam());
    expectArgumentsChecked(GetParam());
}

TEST_P(ReconstructChroma16, PredictsAndAdds)
{
    expectPredictedAndAdded(GetParam());
    expectArgumentsChecked(GetParam());
}

const auto nameOf = [](const auto& info) { return info.param.name; };

INSTANTIATE_TEST_SUITE_P(H264, ReconstructChroma8, testing::ValuesIn(forms8), nameOf);
INSTANTIATE_TEST_SUITE_P(H264, ReconstructChroma16, testing::ValuesIn(forms16), nameOf);

// The prediction is there, the residual is not.
TEST(ChromaHalves, RefusesLargeQuantisersLate)
{
    Random random(9);
    Trial<uint8_t> t(forms8[1], random);
    t.request.mode = 0;
    t.request.cbp[0] = UINT32_MAX;
    t.rules[0].qp = 40;
    std::vector<Plane<uint8_t>> planes = t.planes;
    t.predict();
    EXPECT_EQ(t.reconstruct(planes), StatusOutOfRange);
    EXPECT_EQ(planes, t.planes);
}

TEST(ChromaRecords, MustBeThere)
{
    const BlockReconParams params{};
    for (const std::array<const BlockReconParams*, 2>& pair :
         {std::array<const BlockReconParams*, 2>{&params, nullptr},
          std::array<const BlockReconParams*, 2>{nullptr, &params}})
        EXPECT_EQ(keliReconstructChromaInter4x4_H264High_32s16u_IP2R(pair.data()), StatusNullPointer);
    EXPECT_EQ(keliReconstructChromaInter4x4_H264High_32s16u_IP2R(nullptr), StatusNullPointer);
    EXPECT_EQ(keliReconstructChroma422Inter4x4_H264High_16s8u_IP2R(nullptr, 0, 0), StatusNullPointer);
}

// They do nothing, but want pointers.
TEST(ReservedChromaHalves, CheckTheirPointers)
{
    std::vector<int16_t> coefficients(300, 100);
    int16_t* next = coefficients.data();
    Plane<uint8_t> plane(8, 16);
    const Plane<uint8_t> before = plane;
    const std::vector<int16_t> scales(16, 16);
    for (const auto operation : {keliReconstructChromaIntraHalfs4x4MB422_H264_16s8u_P2R,
                                 keliReconstructChromaIntraHalfs4x4MB444_H264_16s8u_P2R}) {
        expectNullPointersRefused(operation, {}, &next, plane.data(), plane.data(), 0, 9u, ~0u, ~0u, 99, 99,
                                  0, 0, 0, 0, scales.data(), scales.data(), 0);
        EXPECT_EQ(operation(&next, plane.data(), plane.data(), 0, 9, ~0u, ~0u, 99, 99, 0, 0, 0, 0,
                            scales.data(), scales.data(), 0),
                  StatusOk);
    }
    EXPECT_EQ(plane, before);
    EXPECT_EQ(next, coefficients.data());
}

} // namespace
} // namespace kelvcpx::test
