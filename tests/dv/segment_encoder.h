// Writes video segments (IEC 61834-2, SMPTE 370M) whose blocks have codes of any length, and arranges the
// bits as an encoder does: what does not fit a block's area goes where other blocks left room.
#pragma once

#include "common/bit_writer.h"
#include "dv/code_tables.h"
#include "support/bits.h"
#include "support/random.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kelvcpx::test {

constexpr std::size_t segmentMacroblocks = 5;
constexpr std::size_t segmentBytes = 400;

// A block as it is to be coded.
struct DvBlock {
    int dc = 0; // -256..255
    bool mode = false;
    int classNumber = 0;
    std::array<int, 64> levels{}; // by position of transmission; the first is not used
    std::string codes;            // of the levels, with the end of block
};

// The code of `run` zeros and a level; an event that has none is split into zeros and a level.
inline std::string eventCode(int run, int level)
{
    const int magnitude = std::abs(level);
    const std::string sign = level == 0 ? "" : level < 0 ? "1" : "0";
    for (const app::RunLevelCode& code : app::dv::shortCodes())
        if (code.run == run && code.level == magnitude)
            return std::string(code.bits) + sign;
    if (level == 0)
        return "1111110" + binary(run, 6);
    if (run == 0)
        return "1111111" + binary(magnitude, 8) + sign;
    return eventCode(run - 1, 0) + eventCode(0, level);
}

inline void encodeLevels(DvBlock& block)
{
    block.codes.clear();
    int run = 0;
    for (std::size_t p = 1; p < 64; p++) {
        if (block.levels[p] == 0) {
            run++;
            continue;
        }
        block.codes += eventCode(run, block.levels[p]);
        run = 0;
    }
    block.codes += "0110";
}

class DvSegment
{
public:
    explicit DvSegment(std::vector<int> areaLengths)
        : areaLengths(std::move(areaLengths)), blocks(segmentMacroblocks * this->areaLengths.size())
    {}

    std::size_t blockCount() const { return areaLengths.size(); } // of a macroblock
    int roomOf(std::size_t block) const { return 8 * areaLengths[block % blockCount()] - 12; }

    // True if all codes together fit the segment.
    bool fits() const
    {
        int room = 0;
        for (std::size_t b = 0; b < blocks.size(); b++)
            room += roomOf(b) - static_cast<int>(blocks[b].codes.size());
        return room >= 0;
    }

    // The codes that are too long for their areas go first to areas of the same macroblock, then to any.
    std::vector<uint8_t> bytes() const
    {
        std::vector<std::string> areas(blocks.size());
        std::vector<std::string> rests(blocks.size());
        for (std::size_t b = 0; b < blocks.size(); b++) {
            const auto room = static_cast<std::size_t>(roomOf(b));
            areas[b] = blocks[b].codes.substr(0, room);
            rests[b] = blocks[b].codes.substr(areas[b].size());
        }
        for (std::size_t m = 0; m < segmentMacroblocks; m++)
            distribute(areas, rests, m * blockCount(), (m + 1) * blockCount());
        distribute(areas, rests, 0, blocks.size());

        app::BitWriter out;
        for (std::size_t b = 0; b < blocks.size(); b++) {
            if (b % blockCount() == 0) {
                out.put(0xABCDEF, 24);
                out.put(quantisation(b), 8);
            }
            out.put(blocks[b].dc & 0x1FF, 9);
            out.put(blocks[b].mode ? 1 : 0, 1);
            out.put(blocks[b].classNumber, 2);
            out.put(areas[b]);
            // Bits that nobody needs.
            for (int i = static_cast<int>(areas[b].size()); i < roomOf(b); i++)
                out.put(i % 2, 1);
        }
        return out.bytes();
    }

    int quantisation(std::size_t block) const { return 0x30 + static_cast<int>(block / blockCount()); }

    std::vector<int> areaLengths;
    std::vector<DvBlock> blocks;

private:
    void distribute(std::vector<std::string>& areas, std::vector<std::string>& rests, std::size_t first,
                    std::size_t end) const
    {
        std::size_t target = first;
        for (std::size_t b = first; b < end; b++) {
            while (!rests[b].empty() && target < end) {
                const auto room = static_cast<std::size_t>(roomOf(target)) - areas[target].size();
                areas[target] += rests[b].substr(0, room);
                rests[b].erase(0, room);
                if (!rests[b].empty())
                    target++;
            }
        }
    }
};

} // namespace kelvcpx::test
