// Codes by what they stand for (ISO/IEC 14496-2 tables B-13, B-14, B-16, B-17, B-23), computed from the lists
// of codes.
#pragma once

#include "mpeg4/coefficient_tables.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <tuple>

namespace kelvcpx::mpeg4 {

// By dct_dc_size; empty behind the largest.
using DcSizeCodes = std::array<Code, 16>;

constexpr DcSizeCodes makeDcSizeCodes(const std::array<std::string_view, 13>& sizes)
{
    DcSizeCodes codes{};
    for (std::size_t size = 0; size < sizes.size(); size++)
        codes[size] = codeOf(sizes[size]);
    return codes;
}

inline constexpr DcSizeCodes mVLC_DCSIZE_TB13 = makeDcSizeCodes(dcSizeLuminance);
inline constexpr DcSizeCodes mVLC_DCSIZE_TB14 = makeDcSizeCodes(dcSizeChrominance);

// The reversible codes as those of one kind of blocks.
template <bool intra>
constexpr auto reversibleList()
{
    std::array<EventCode, std::size(reversibleCodes)> list{};
    for (std::size_t i = 0; i < list.size(); i++) {
        const ReversibleCode& code = reversibleCodes[i];
        list[i] = intra ? EventCode{code.intraLast, code.intraRun, code.intraLevel, code.bits}
                        : EventCode{code.interLast, code.interRun, code.interLevel, code.bits};
    }
    return list;
}
inline constexpr auto reversibleIntraCodes = reversibleList<true>();
inline constexpr auto reversibleInterCodes = reversibleList<false>();

// Codes with a sign bit of 0, ordered by last, then run, then level.
template <std::size_t size>
constexpr std::array<Code, size> inOrder(std::span<const EventCode> codes)
{
    std::array<EventCode, size> sorted{};
    std::copy(codes.begin(), codes.end(), sorted.begin());
    std::sort(sorted.begin(), sorted.end(), [](const EventCode& a, const EventCode& b) {
        return std::tie(a.last, a.run, a.level) < std::tie(b.last, b.run, b.level);
    });
    std::array<Code, size> result{};
    for (std::size_t i = 0; i < size; i++)
        result[i] = signedCodeOf(sorted[i].bits);
    return result;
}

inline constexpr auto vlc_TB16 = inOrder<std::size(intraCodes)>(intraCodes);
inline constexpr auto vlc_TB17 = inOrder<std::size(interCodes)>(interCodes);
inline constexpr auto vlc_TB23a = inOrder<std::size(reversibleCodes)>(reversibleIntraCodes);
inline constexpr auto vlc_TB23b = inOrder<std::size(reversibleCodes)>(reversibleInterCodes);

// By run, up to the largest one.
template <int32_t largestRun>
using ByRun = std::array<int32_t, static_cast<std::size_t>(largestRun) + 1>;

// The largest level that has a code.
template <int32_t largestRun>
constexpr ByRun<largestRun> lmaxByRun(std::span<const EventCode> codes, uint8_t last)
{
    ByRun<largestRun> table{};
    for (const EventCode& code : codes)
        if (code.last == last)
            table[code.run] = std::max(table[code.run], int32_t{code.level});
    return table;
}

// The place of the code of level 1 among the codes in order.
template <int32_t largestRun>
constexpr ByRun<largestRun> offsetsByRun(std::span<const EventCode> codes, uint8_t last)
{
    ByRun<largestRun> table{};
    for (std::size_t run = 0; run < table.size(); run++)
        for (const EventCode& code : codes)
            table[run] += std::tie(code.last, code.run) < std::tuple<uint8_t, std::size_t>(last, run) ? 1 : 0;
    return table;
}

constexpr int32_t largestRun(std::span<const EventCode> codes, uint8_t last)
{
    int32_t largest = 0;
    for (const EventCode& code : codes)
        if (code.last == last)
            largest = std::max(largest, int32_t{code.run});
    return largest;
}

inline constexpr auto l0_offs_TB16 = offsetsByRun<largestRun(intraCodes, 0)>(intraCodes, 0);
inline constexpr auto l1_offs_TB16 = offsetsByRun<largestRun(intraCodes, 1)>(intraCodes, 1);
inline constexpr auto l0_lmax_TB16 = lmaxByRun<largestRun(intraCodes, 0)>(intraCodes, 0);
inline constexpr auto l1_lmax_TB16 = lmaxByRun<largestRun(intraCodes, 1)>(intraCodes, 1);

inline constexpr auto l0_offs_TB17 = offsetsByRun<largestRun(interCodes, 0)>(interCodes, 0);
inline constexpr auto l1_offs_TB17 = offsetsByRun<largestRun(interCodes, 1)>(interCodes, 1);
inline constexpr auto l0_lmax_TB17 = lmaxByRun<largestRun(interCodes, 0)>(interCodes, 0);
inline constexpr auto l1_lmax_TB17 = lmaxByRun<largestRun(interCodes, 1)>(interCodes, 1);

inline constexpr auto l0_offs_TB23a =
    offsetsByRun<largestRun(reversibleIntraCodes, 0)>(reversibleIntraCodes, 0);
inline constexpr auto l1_offs_TB23a =
    offsetsByRun<largestRun(reversibleIntraCodes, 1)>(reversibleIntraCodes, 1);
inline constexpr auto l0_lmax_TB23a = lmaxByRun<largestRun(reversibleIntraCodes, 0)>(reversibleIntraCodes, 0);
inline constexpr auto l1_lmax_TB23a = lmaxByRun<largestRun(reversibleIntraCodes, 1)>(reversibleIntraCodes, 1);

inline constexpr auto l0_offs_TB23b =
    offsetsByRun<largestRun(reversibleInterCodes, 0)>(reversibleInterCodes, 0);
inline constexpr auto l1_offs_TB23b =
    offsetsByRun<largestRun(reversibleInterCodes, 1)>(reversibleInterCodes, 1);
inline constexpr auto l0_lmax_TB23b = lmaxByRun<largestRun(reversibleInterCodes, 0)>(reversibleInterCodes, 0);
inline constexpr auto l1_lmax_TB23b = lmaxByRun<largestRun(reversibleInterCodes, 1)>(reversibleInterCodes, 1);

// All that finds the code of an event. Arrays of two are by last.
struct EncodeTable {
    std::array<int32_t, 2> largestRun;
    std::array<const int32_t*, 2> offs;
    std::array<const int32_t*, 2> lmax;
    const Code* codes;
};

template <std::size_t runs0, std::size_t runs1>
constexpr EncodeTable encodeTable(const std::array<int32_t, runs0>& offs0,
                                  const std::array<int32_t, runs1>& offs1,
                                  const std::array<int32_t, runs0>& lmax0,
                                  const std::array<int32_t, runs1>& lmax1, const Code* codes)
{
    return {{runs0 - 1, runs1 - 1}, {offs0.data(), offs1.data()}, {lmax0.data(), lmax1.data()}, codes};
}

inline constexpr EncodeTable mVLC_TB16 =
    encodeTable(l0_offs_TB16, l1_offs_TB16, l0_lmax_TB16, l1_lmax_TB16, vlc_TB16.data());
inline constexpr EncodeTable mVLC_TB17 =
    encodeTable(l0_offs_TB17, l1_offs_TB17, l0_lmax_TB17, l1_lmax_TB17, vlc_TB17.data());
inline constexpr EncodeTable mVLC_TB23a =
    encodeTable(l0_offs_TB23a, l1_offs_TB23a, l0_lmax_TB23a, l1_lmax_TB23a, vlc_TB23a.data());
inline constexpr EncodeTable mVLC_TB23b =
    encodeTable(l0_offs_TB23b, l1_offs_TB23b, l0_lmax_TB23b, l1_lmax_TB23b, vlc_TB23b.data());

} // namespace kelvcpx::mpeg4
