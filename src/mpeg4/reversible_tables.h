// Lookup tables of the reversible codes (ISO/IEC 14496-2 table B-23), computed from the list of codes.
//
// A code is looked up by its first 8 bits, or by its last 8 where it is read backwards. Those longer than
// that share 16 beginnings, or ends; the 7 bits behind it, or in front of it, tell the codes of such a group
// apart.
#pragma once

#include "mpeg4/coefficient_tables.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kelvcpx::mpeg4 {

inline constexpr std::size_t reversibleGroups = 16;

inline constexpr int32_t firstLook = 8;
inline constexpr int32_t secondLook = 7;

// Values of the first level from here on lead to a group, others to an entry.
inline constexpr uint8_t groupMarker = 100;

inline constexpr uint8_t noReversibleCode = 255; // in the second level
inline constexpr uint8_t unreachableRun = 255;   // in entries that no code has

// By group from 1 on, as the index tables have them.
template <class T>
using ByGroup = std::array<T, reversibleGroups + 1>;

enum class Direction { forward, backward };

// The 8 bits that the codes of a group share, in the order of the groups.
inline constexpr ByGroup<std::string_view> forwardGroups = {
    "",         "00111110", "00111111", "01011110", "01011111", "01101110",
    "01101111", "01110110", "01110111", "01111010", "01111011", "01111100",
    "01111101", "01111110", "01111111", "10000001", "10000000"};
inline constexpr ByGroup<std::string_view> backwardGroups = {
    "",         "11111000", "11110100", "11101100", "11011100", "10111100",
    "01111100", "11111100", "00000010", "11111001", "11110101", "11101101",
    "11011101", "10111101", "01111101", "11111101", "00000011"};

// The entry of the first code of each group.
inline constexpr ByGroup<uint8_t> ownvc_mp4_RVLC_offs = {0,  42,  44,  56,  58,  70,  72,  84, 86,
                                                         98, 100, 112, 114, 126, 138, 158, 160};
inline constexpr ByGroup<uint8_t> ownvc_mp4_RVLCb_offs = {0,   42,  48,  54,  60,  66,  72,  79, 100,
                                                          106, 112, 118, 124, 130, 136, 143, 164};

// The two parts of a code longer than the first look.
template <Direction direction>
constexpr std::string_view sharedPart(std::string_view bits)
{
    return direction == Direction::forward ? bits.substr(0, firstLook) : bits.substr(bits.size() - firstLook);
}

template <Direction direction>
constexpr std::string_view otherPart(std::string_view bits)
{
    return direction == Direction::forward ? bits.substr(firstLook) : bits.substr(0, bits.size() - firstLook);
}

// Calls visit(value) for all values of `width` bits that begin, or backwards end, with the given ones.
template <Direction direction, class Visit>
constexpr void forEachMatch(std::string_view bits, int32_t width, Visit visit)
{
    const int32_t unused = width - lengthOf(bits);
    for (uint32_t free = 0; free < 1u << unused; free++)
        visit(std::size_t{direction == Direction::forward ? bitsOf(bits) << unused | free
                                                          : free << bits.size() | bitsOf(bits)});
}

// Where a code has its entry: short ones come in the order of the list, those of a group likewise.
template <Direction direction>
class ReversibleLayout
{
public:
    // The codes have to be asked for in the order of the list.
    constexpr std::size_t place(std::string_view bits)
    {
        const std::size_t group = groupOf(bits);
        return std::size_t{offsets[group]} + used_[group]++;
    }

    // 0 for a short code.
    static constexpr std::size_t groupOf(std::string_view bits)
    {
        if (lengthOf(bits) <= firstLook)
            return 0;
        return static_cast<std::size_t>(
            std::find(groups.begin() + 1, groups.end(), sharedPart<direction>(bits)) - groups.begin());
    }

    static constexpr const ByGroup<std::string_view>& groups =
        direction == Direction::forward ? forwardGroups : backwardGroups;
    static constexpr const ByGroup<uint8_t>& offsets =
        direction == Direction::forward ? ownvc_mp4_RVLC_offs : ownvc_mp4_RVLCb_offs;

private:
    ByGroup<std::size_t> used_{};
};

using ReversibleTable = std::array<CodeEntry, 176>;

// The length of an entry of a group does not count the bits that the group shares.
template <Direction direction, bool intra>
constexpr ReversibleTable makeReversibleTable()
{
    ReversibleTable table{};
    table.fill({0, unreachableRun, 0, 0});
    ReversibleLayout<direction> layout;
    for (const ReversibleCode& code : reversibleCodes) {
        const int32_t shared = layout.groupOf(code.bits) == 0 ? 0 : firstLook;
        const auto length = static_cast<uint8_t>(lengthOf(code.bits) - shared);
        table[layout.place(code.bits)] =
            intra ? CodeEntry{code.intraLast, code.intraRun, code.intraLevel, length}
                  : CodeEntry{code.interLast, code.interRun, code.interLevel, length};
    }
    return table;
}

inline constexpr auto tableB23_Forw_Intra = makeReversibleTable<Direction::forward, true>();
inline constexpr auto tableB23_Forw_Inter = makeReversibleTable<Direction::forward, false>();
inline constexpr auto tableB23_Back_Intra = makeReversibleTable<Direction::backward, true>();
inline constexpr auto tableB23_Back_Inter = makeReversibleTable<Direction::backward, false>();

// No two codes share an entry.
static_assert([] {
    const auto isUsed = [](const CodeEntry& entry) { return entry.run != unreachableRun; };
    const auto uses = [=](const ReversibleTable& table) {
        return std::count_if(table.begin(), table.end(), isUsed) == std::ssize(reversibleCodes);
    };
    return uses(tableB23_Forw_Intra) && uses(tableB23_Back_Intra);
}());

// An entry between the short codes and the first group that no code has.
inline constexpr uint8_t unreachableEntry = 41;
static_assert(tableB23_Forw_Intra[unreachableEntry].run == unreachableRun &&
              tableB23_Back_Intra[unreachableEntry].run == unreachableRun);

// By the first 8 bits looked at: an entry, or groupMarker and the group.
template <Direction direction>
constexpr std::array<uint8_t, 1 << firstLook> makeFirstLevel()
{
    std::array<uint8_t, 1 << firstLook> index{};
    index.fill(unreachableEntry);
    ReversibleLayout<direction> layout;
    for (const ReversibleCode& code : reversibleCodes) {
        const std::size_t group = layout.groupOf(code.bits);
        const auto value = static_cast<uint8_t>(group == 0 ? layout.place(code.bits) : groupMarker + group);
        forEachMatch<direction>(group == 0 ? code.bits : layout.groups[group], firstLook,
                                [&](std::size_t bits) { index[bits] = value; });
    }
    return index;
}

inline constexpr auto ownvc_mp4_RVLC_ind0 = makeFirstLevel<Direction::forward>();
inline constexpr auto ownvc_mp4_RVLCb_ind0 = makeFirstLevel<Direction::backward>();

using SecondLevel = std::array<uint8_t, 1 << secondLook>;

// By the 7 bits looked at next: which code of the group it is.
template <Direction direction>
constexpr SecondLevel makeSecondLevel(std::size_t group)
{
    SecondLevel index{};
    index.fill(noReversibleCode);
    ReversibleLayout<direction> layout;
    for (const ReversibleCode& code : reversibleCodes) {
        if (layout.groupOf(code.bits) != group)
            continue;
        const auto number = static_cast<uint8_t>(layout.place(code.bits) - layout.offsets[group]);
        forEachMatch<direction>(otherPart<direction>(code.bits), secondLook,
                                [&](std::size_t bits) { index[bits] = number; });
    }
    return index;
}

inline constexpr auto ownvc_mp4_RVLC_ind1 = makeSecondLevel<Direction::forward>(1);
inline constexpr auto ownvc_mp4_RVLC_ind2 = makeSecondLevel<Direction::forward>(2);
inline constexpr auto ownvc_mp4_RVLC_ind3 = makeSecondLevel<Direction::forward>(14);
inline constexpr auto ownvc_mp4_RVLC_ind4 = makeSecondLevel<Direction::forward>(16);
inline constexpr auto ownvc_mp4_RVLCb_ind1 = makeSecondLevel<Direction::backward>(1);
inline constexpr auto ownvc_mp4_RVLCb_ind2 = makeSecondLevel<Direction::backward>(6);
inline constexpr auto ownvc_mp4_RVLCb_ind3 = makeSecondLevel<Direction::backward>(7);
inline constexpr auto ownvc_mp4_RVLCb_ind4 = makeSecondLevel<Direction::backward>(8);

// The second level of each group: one of four, by its number.
constexpr ByGroup<const uint8_t*> secondLevels(const std::array<const SecondLevel*, 4>& levels,
                                               const ByGroup<std::size_t>& numbers)
{
    ByGroup<const uint8_t*> pointers{};
    for (std::size_t group = 1; group <= reversibleGroups; group++)
        pointers[group] = levels[numbers[group] - 1]->data();
    return pointers;
}

inline constexpr auto ownvc_mp4_RVLC_iptr =
    secondLevels({&ownvc_mp4_RVLC_ind1, &ownvc_mp4_RVLC_ind2, &ownvc_mp4_RVLC_ind3, &ownvc_mp4_RVLC_ind4},
                 {0, 1, 2, 1, 2, 1, 2, 1, 2, 1, 2, 1, 2, 2, 3, 1, 4});
inline constexpr auto ownvc_mp4_RVLCb_iptr =
    secondLevels({&ownvc_mp4_RVLCb_ind1, &ownvc_mp4_RVLCb_ind2, &ownvc_mp4_RVLCb_ind3, &ownvc_mp4_RVLCb_ind4},
                 {0, 1, 1, 1, 1, 1, 2, 3, 4, 1, 1, 1, 1, 1, 2, 3, 4});

} // namespace kelvcpx::mpeg4
