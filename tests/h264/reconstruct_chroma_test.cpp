// Chroma of intra and inter macroblocks.

#include "h264/plain_intra.h"
#include "h264/plain_macroblock.h"
#include "h264/plain_residual.h"
#include "support/plane.h"
#include "support/random.h"

#include <kelvcpx/h264_residual.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace kelvcpx::test {
namespace {

enum class ChromaForm { intra, intraHigh, halfs, halves, inter, interHigh };

struct ChromaCall {
    ChromaForm form;
    uint32_t mode; // 0 DC, 1 horizontal, 2 vertical, 3 plane
    uint32_t cbp;
    uint8_t edgeFlags;
    uint8_t edgeFlagsLower;
    std::array<Rule, 2> rules;
    bool bypass;

    Status operator()(int16_t** next, uint8_t* cb, uint8_t* cr, int32_t step) const
    {
        const int qp = rules[0].qp;
        const int16_t* const scales0 = rules[0].scales.data();
        const int16_t* const scales1 = rules[1].scales.data();
        const uint8_t flag = bypass ? 1 : 0;
        switch (form) {
        case ChromaForm::intra:
            return keliReconstructChromaIntraMB_H264_16s8u_P2R(next, cb, cr, step, mode, cbp, qp, edgeFlags);
        case ChromaForm::intraHigh:
            return keliReconstructChromaIntra4x4MB_H264_16s8u_P2R(
                next, cb, cr, step, mode, cbp, qp, rules[1].qp, edgeFlags, scales0, scales1, flag);
        case ChromaForm::halfs:
            return keliReconstructChromaIntraHalfsMB_H264_16s8u_P2R(next, cb, cr, step, mode, cbp, qp,
                                                                    edgeFlags, edgeFlagsLower);
        case ChromaForm::halves:
            return keliReconstructChromaIntraHalvesMB_H264_16s8u_P2R(next, cb, cr, step, mode, cbp, qp,
                                                                     edgeFlags, edgeFlagsLower);
        case ChromaForm::inter:
            return keliReconstructChromaInterMB_H264_16s8u_P2R(next, cb, cr, step, cbp, qp);
        default:
            return keliReconstructChromaInter4x4MB_H264_16s8u_P2R(next, cb, cr, step, cbp, qp, rules[1].qp,
                                                                  scales0, scales1, flag);
        }
    }

    bool high() const { return form == ChromaForm::intraHigh || form == ChromaForm::interHigh; }
    bool halved() const { return form == ChromaForm::halfs || form == ChromaForm::halves; }
    bool inter() const { return form == ChromaForm::inter || form == ChromaForm::interHigh; }

    Status expected() const
    {
        if (halved())
            return mode == 0 ? StatusOk : StatusBadIntraMode;
        if (inter())
            return StatusOk;
        constexpr std::array<uint32_t, 4> luma = {2, 1, 0, 3};
        return mode > 3 ? StatusOutOfRange : isRefused(luma[mode], edgeFlags) ? StatusBadIntraMode : StatusOk;
    }

    void predict(Plane<uint8_t>& plane) const
    {
        constexpr std::array<int, 4> luma = {2, 1, 0, 3};
        plainPredictLarge(plane, 8, luma[mode], (edgeFlags & noTop) == 0, [&](int y) {
            return ((halved() && y >= 4 ? edgeFlagsLower : edgeFlags) & noLeft) == 0;
        });
    }
};

ChromaCall randomChromaCall(Random& random, ChromaForm form)
{
    ChromaCall call{};
    call.form = form;
    call.mode = random.uniform<uint32_t>(0, call.halved() ? 1 : 4);
    call.cbp = random.oneIn(8) ? ~0x7FE0000U : random.extreme<uint32_t>(0, UINT32_MAX);
    call.edgeFlags = random.oneIn(2) ? uint8_t{0} : random.uniform<uint8_t>(0, 255);
    call.edgeFlagsLower = random.uniform<uint8_t>(0, 255);
    call.rules[0] = randomRule(random, 4, call.high(), 39, call.bypass);
    call.rules[1] = call.rules[0];
    if (call.high()) {
        const bool bypass = call.bypass;
        call.rules[1] = randomRule(random, 4, true, 39, call.bypass);
        call.bypass = bypass;
        call.rules[1].lossless = bypass && call.rules[1].qp == 0;
    }
    return call;
}

// 8.5.11 of one component.
Block chromaDc(const std::vector<int16_t>& c, const Rule& rule)
{
    if (rule.lossless)
        return Block(c.begin(), c.end());
    Block dc = {c[0] + c[1] + c[2] + c[3], c[0] - c[1] + c[2] - c[3], c[0] + c[1] - c[2] - c[3],
                c[0] - c[1] - c[2] + c[3]};
    for (int64_t& v : dc)
        v = low16((low16(v) * rule.scales[0] * (1 << (rule.qp / 6))) >> 5);
    return dc;
}

void addChroma(Random& random, const ChromaCall& call, std::array<Plane<uint8_t>, 2>& planes, Packed& packed)
{
    std::array<Block, 2> dc{Block(4, 0), Block(4, 0)};
    for (std::size_t i = 0; i < 2; i++)
        if ((call.cbp >> (17 + i) & 1) != 0)
            dc[i] = chromaDc(packed.add(random, 4), call.rules[i]);
    for (std::size_t i = 0; i < 2; i++)
        for (std::size_t block = 0; block < 4; block++) {
            const bool coded = (call.cbp >> (19 + 4 * i + block) & 1) != 0;
            const std::vector<int16_t> ac = coded ? packed.add(random, 16) : std::vector<int16_t>(16, 0);
            addBlock(planes[i], static_cast<int>(block % 2 * 4), static_cast<int>(block / 2 * 4), ac,
                     call.rules[i], &dc[i][block]);
        }
}

class Chroma : public testing::TestWithParam<ChromaForm>
{
};

TEST_P(Chroma, IsPredictedAndAdded)
{
    Random random(7);
    for (int round = 0; round < 4000; round++) {
        const ChromaCall call = randomChromaCall(random, GetParam());
        std::array<Plane<uint8_t>, 2> planes{Plane<uint8_t>(8, 8), Plane<uint8_t>(8, 8)};
        for (auto& plane : planes)
            plane.randomise(random);
        auto expected = planes;
        Packed packed;
        if (call.expected() == StatusOk) {
            if (!call.inter())
                for (auto& plane : expected)
                    call.predict(plane);
            addChroma(random, call, expected, packed);
        }
        EXPECT_EQ(packed.consume([&](int16_t** next) {
            return call(next, planes[0].data(), planes[1].data(), planes[0].step());
        }),
                  call.expected());
        ASSERT_EQ(planes, expected) << "mode " << call.mode << ", QP " << call.rules[0].qp;
    }
}

TEST_P(Chroma, RefusesArgumentsInOrder)
{
    Random random(8);
    ChromaCall call = randomChromaCall(random, GetParam());
    std::array<Plane<uint8_t>, 2> planes{Plane<uint8_t>(8, 8), Plane<uint8_t>(8, 8)};
    const auto before = planes;
    std::vector<int16_t> coefficients(200, 1);
    int16_t* next = coefficients.data();
    const auto status = [&](int32_t step, int qpCb, int qpCr) {
        call.rules[0].qp = qpCb;
        call.rules[1].qp = qpCr;
        return call(&next, planes[0].data(), planes[1].data(), step);
    };
    call.mode = 9;
    call.cbp = UINT32_MAX;
    const int largest = call.halved() ? 51 : 39;
    EXPECT_EQ(status(0, -1, -1), StatusBadStep);
    EXPECT_EQ(status(8, -1, 0), StatusOutOfRange);
    EXPECT_EQ(status(8, largest + 1, 0), StatusOutOfRange);
    if (call.high()) {
        EXPECT_EQ(status(8, 0, -1), StatusOutOfRange);
        EXPECT_EQ(status(8, 0, 40), StatusOutOfRange);
    }
    if (!call.inter()) {
        EXPECT_EQ(status(8, 39, 39), call.halved() ? StatusBadIntraMode : StatusOutOfRange);
    }
    call.rules[0].qp = 99;
    EXPECT_EQ(call(nullptr, planes[0].data(), planes[1].data(), 0), StatusNullPointer);
    EXPECT_EQ(call(&next, nullptr, planes[1].data(), 0), StatusNullPointer);
    EXPECT_EQ(call(&next, planes[0].data(), nullptr, 0), StatusNullPointer);
    if (call.high())
        for (Rule& rule : call.rules) {
            std::vector<int16_t> none;
            rule.scales.swap(none);
            rule.scales.shrink_to_fit();
            EXPECT_EQ(call(&next, planes[0].data(), planes[1].data(), 0), StatusNullPointer);
            rule.scales.swap(none);
        }
    next = nullptr;
    EXPECT_EQ(call(&next, planes[0].data(), planes[1].data(), 0), StatusNullPointer);
    EXPECT_EQ(planes, before);
}

std::string nameOf(const testing::TestParamInfo<ChromaForm>& info)
{
    constexpr std::array names = {"Intra", "IntraHigh", "Halfs", "Halves", "Inter", "InterHigh"};
    return names[static_cast<std::size_t>(info.param)];
}

INSTANTIATE_TEST_SUITE_P(H264, Chroma,
                         testing::Values(ChromaForm::intra, ChromaForm::intraHigh, ChromaForm::halfs,
                                         ChromaForm::halves, ChromaForm::inter, ChromaForm::interHigh),
                         nameOf);

// The prediction is there, the residual is not.
TEST(ChromaHalves, RefusesLargeQuantisersLate)
{
    Random random(9);
    ChromaCall call = randomChromaCall(random, ChromaForm::halfs);
    call.mode = 0;
    call.cbp = UINT32_MAX;
    call.rules[0].qp = 40;
    std::array<Plane<uint8_t>, 2> planes{Plane<uint8_t>(8, 8), Plane<uint8_t>(8, 8)};
    for (auto& plane : planes)
        plane.randomise(random);
    auto expected = planes;
    for (auto& plane : expected)
        call.predict(plane);
    std::vector<int16_t> coefficients(200, 1000);
    int16_t* next = coefficients.data();
    EXPECT_EQ(call(&next, planes[0].data(), planes[1].data(), planes[0].step()), StatusOutOfRange);
    EXPECT_EQ(planes, expected);
    EXPECT_EQ(next, coefficients.data());
}

} // namespace
} // namespace kelvcpx::test
