#include "support/arguments.h"
#include "support/plane.h"

#include <kelvcpx/convert.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <numeric>
#include <ostream>
#include <vector>

namespace kelvcpx::test {
namespace {

constexpr int macroblocks = 5;
constexpr int blockSamples = 64;
constexpr int macroblockSamples = 6 * blockSamples;

using Stepped = Status (*)(const int16_t**, uint8_t**, int32_t) noexcept;
using Stepless = Status (*)(const int16_t**, uint8_t**) noexcept;
using Edge = Status (*)(const int16_t*, uint8_t*, int32_t) noexcept;

enum class Kind { row411, edge411, square420, row422 };

// Where the samples of a byte of the output come from: rows and columns of a block.
struct Area {
    int block;
    int row, rows;
    int column, columns;
};

// The tables of the sampling structures, written out.
struct Form {
    const char* name;
    Kind kind;
    int factor;
    Stepped stepped;
    Stepless stepless;
    Edge edge;

    int width() const { return (kind == Kind::row411 ? 32 : 16) / factor; }
    int height() const { return (kind == Kind::row411 || kind == Kind::row422 ? 8 : 16) / factor; }

    Area luma(int y, int x) const
    {
        const int size = 8 / factor;
        const int block = kind == Kind::row411   ? x / size
                          : kind == Kind::row422 ? x / size * 2
                                                 : y / size * 2 + x / size;
        if (factor == 8)
            return {block, 0, 1, 0, 1};
        return {block, y % size * factor, factor, x % size * factor, factor};
    }

    Area chroma(int block, int y, int j) const
    {
        if (factor == 8)
            return {block, 0, 1, 0, 1};
        const int firstColumn = kind == Kind::edge411 && y >= height() / 2 ? 4 : 0;
        const int inHalf = kind == Kind::edge411 ? y % (height() / 2) : y;
        switch (kind) {
        case Kind::row411:
        case Kind::edge411:
            if (factor == 1) {
                const int last = kind == Kind::edge411 ? 3 : 7;
                return {block, inHalf, 1, firstColumn + j / 2, j % 2 == 1 && j / 2 < last ? 2 : 1};
            }
            return {block, factor * inHalf, factor, firstColumn + factor / 2 * j, factor / 2};
        case Kind::square420:
            if (factor == 1)
                return {block, 2 * (y / 4) + y % 2, 1, j, 1};
            return {block, factor == 2 ? 2 * (y / 2) : 2 * y, 2, factor * j, factor};
        case Kind::row422:
            break;
        }
        return {block, factor * y, factor, factor * j, factor};
    }
};

void PrintTo(const Form& form, std::ostream* out)
{
    *out << form.name;
}

uint8_t byteOf(const int16_t* macroblock, const Area& area)
{
    int64_t sum = 0;
    for (int r = area.row; r < area.row + area.rows; r++)
        for (int c = area.column; c < area.column + area.columns; c++)
            sum += macroblock[area.block * blockSamples + 8 * r + c];
    return static_cast<uint8_t>(std::clamp<int64_t>(sum / (area.rows * area.columns) + 128, 0, 255));
}

void convertPlainly(const Form& form, const int16_t* macroblock, Plane<uint8_t>& picture, int left)
{
    for (int y = 0; y < form.height(); y++)
        for (int j = 0; j < form.width() / 2; j++) {
            const int x = 2 * left + 4 * j;
            picture.at(x, y) = byteOf(macroblock, form.luma(y, 2 * j));
            picture.at(x + 1, y) = byteOf(macroblock, form.chroma(5, y, j));
            picture.at(x + 2, y) = byteOf(macroblock, form.luma(y, 2 * j + 1));
            picture.at(x + 3, y) = byteOf(macroblock, form.chroma(4, y, j));
        }
}

const Form forms[] = {
    {"Row411", Kind::row411, 1, keliYCrCb411ToYCbCr422_5MBDV_16s8u_P3C2R, nullptr, nullptr},
    {"Row411ZoomOut2", Kind::row411, 2, keliYCrCb411ToYCbCr422_ZoomOut2_5MBDV_16s8u_P3C2R, nullptr, nullptr},
    {"Row411ZoomOut4", Kind::row411, 4, keliYCrCb411ToYCbCr422_ZoomOut4_5MBDV_16s8u_P3C2R, nullptr, nullptr},
    {"Row411ZoomOut8", Kind::row411, 8, nullptr, keliYCrCb411ToYCbCr422_ZoomOut8_5MBDV_16s8u_P3C2R, nullptr},
    {"Edge411", Kind::edge411, 1, nullptr, nullptr, keliYCrCb411ToYCbCr422_EdgeDV_16s8u_P3C2R},
    {"Edge411ZoomOut2", Kind::edge411, 2, nullptr, nullptr,
     keliYCrCb411ToYCbCr422_ZoomOut2_EdgeDV_16s8u_P3C2R},
    {"Edge411ZoomOut4", Kind::edge411, 4, nullptr, nullptr,
     keliYCrCb411ToYCbCr422_ZoomOut4_EdgeDV_16s8u_P3C2R},
    {"Edge411ZoomOut8", Kind::edge411, 8, nullptr, nullptr,
     keliYCrCb411ToYCbCr422_ZoomOut8_EdgeDV_16s8u_P3C2R},
    {"Square420", Kind::square420, 1, keliYCrCb420ToYCbCr422_5MBDV_16s8u_P3C2R, nullptr, nullptr},
    {"Square420ZoomOut2", Kind::square420, 2, keliYCrCb420ToYCbCr422_ZoomOut2_5MBDV_16s8u_P3C2R, nullptr,
     nullptr},
    {"Square420ZoomOut4", Kind::square420, 4, keliYCrCb420ToYCbCr422_ZoomOut4_5MBDV_16s8u_P3C2R, nullptr,
     nullptr},
    {"Square420ZoomOut8", Kind::square420, 8, keliYCrCb420ToYCbCr422_ZoomOut8_5MBDV_16s8u_P3C2R, nullptr,
     nullptr},
    {"Row422", Kind::row422, 1, keliYCrCb422ToYCbCr422_5MBDV_16s8u_P3C2R, nullptr, nullptr},
    {"Row422ZoomOut2", Kind::row422, 2, keliYCrCb422ToYCbCr422_ZoomOut2_5MBDV_16s8u_P3C2R, nullptr, nullptr},
    {"Row422ZoomOut4", Kind::row422, 4, keliYCrCb422ToYCbCr422_ZoomOut4_5MBDV_16s8u_P3C2R, nullptr, nullptr},
    {"Row422ZoomOut8", Kind::row422, 8, nullptr, keliYCrCb422ToYCbCr422_ZoomOut8_5MBDV_16s8u_P3C2R, nullptr},
};

class DvPacked : public testing::TestWithParam<Form>
{
protected:
    DvPacked()
    {
        for (std::size_t i = 0; i < macroblocks; i++) {
            sources_[i] = samples_.data() + i * macroblockSamples;
            left_[i] = static_cast<int>((macroblocks - 1 - i)) * (form_.width() + 2);
        }
    }

    // A picture with room for the macroblocks side by side, and a gap after each.
    Plane<uint8_t> emptyPicture() const
    {
        Plane<uint8_t> picture(2 * macroblocks * (form_.width() + 2), form_.height());
        picture.fill(77);
        return picture;
    }

    Status convert(Plane<uint8_t>& picture, std::size_t noDestination = macroblocks)
    {
        std::array<uint8_t*, macroblocks> destinations;
        for (std::size_t i = 0; i < macroblocks; i++)
            destinations[i] = i == noDestination ? nullptr : &picture.at(2 * left_[i], 0);
        if (form_.edge != nullptr)
            return form_.edge(sources_[0], destinations[0], picture.step());
        return form_.stepped != nullptr ? form_.stepped(sources_.data(), destinations.data(), picture.step())
                                        : form_.stepless(sources_.data(), destinations.data());
    }

    // Those of the macroblocks for which wanted(index) is true.
    Plane<uint8_t> expected(const std::function<bool(std::size_t)>& wanted) const
    {
        Plane<uint8_t> picture = emptyPicture();
        for (std::size_t i = 0; i < (form_.edge != nullptr ? 1 : macroblocks); i++)
            if (wanted(i))
                convertPlainly(form_, samples_.data() + i * macroblockSamples, picture, left_[i]);
        return picture;
    }

    void randomise(int range)
    {
        for (int16_t& sample : samples_)
            sample = random_.extreme<int16_t>(-range - 1, range);
    }

    const Form& form_ = GetParam();
    Random random_{60};
    std::vector<int16_t> samples_ = std::vector<int16_t>(macroblocks * macroblockSamples);
    std::array<const int16_t*, macroblocks> sources_;
    std::array<int, macroblocks> left_;
};

TEST_P(DvPacked, FollowsTheSamplingStructure)
{
    for (const int range : {127, 3, 255, 32767}) {
        for (int round = 0; round < 20; round++) {
            randomise(range);
            Plane<uint8_t> picture = emptyPicture();
            ASSERT_EQ(convert(picture), StatusOk);
            ASSERT_EQ(picture, expected([](std::size_t) { return true; })) << "range " << range;
        }
    }
}

TEST_P(DvPacked, TreatsNullEntriesAsItsFamilyDoes)
{
    if (form_.edge != nullptr) {
        Plane<uint8_t> picture = emptyPicture();
        expectNullPointersRefused(form_.edge, {}, samples_.data(), picture.data(), picture.step());
        return;
    }
    randomise(127);
    Plane<uint8_t> picture = emptyPicture();
    if (form_.kind == Kind::row422 || (form_.kind == Kind::row411 && form_.factor != 8)) {
        const Status refusal = form_.kind == Kind::row422 ? StatusNullPointer : StatusOk;
        const int16_t* const third = std::exchange(sources_[2], nullptr);
        EXPECT_EQ(convert(picture), refusal);
        EXPECT_EQ(picture, expected([](std::size_t i) { return i < 2; }));
        sources_[2] = third;
    }
    if (form_.kind == Kind::row422) {
        picture = emptyPicture();
        EXPECT_EQ(convert(picture, 3), StatusNullPointer);
        EXPECT_EQ(picture, expected([](std::size_t i) { return i < 3; }));
        return;
    }
    if (form_.stepless != nullptr) {
        EXPECT_EQ(convert(picture, 1), StatusOk);
        EXPECT_EQ(picture, expected([](std::size_t i) { return i != 1; }));
        expectNullPointersRefused(form_.stepless, {}, sources_.data(), std::array<uint8_t*, 5>{}.data());
    } else {
        expectNullPointersRefused(form_.stepped, {}, sources_.data(), std::array<uint8_t*, 5>{}.data(), 1);
    }
}

std::string formName(const testing::TestParamInfo<Form>& info)
{
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(, DvPacked, testing::ValuesIn(forms), formName);

} // namespace
} // namespace kelvcpx::test
