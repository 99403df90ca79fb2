// The MPEG-4 decoder on damaged streams: what they keep of their pictures.
#include "apps/mpeg4_random_stream.h"
#include "apps/support/frames.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kelvcpx::test {
namespace {

// The coefficients of a macroblock are of no consequence for those of others.
RandomMpeg4Options independentMacroblocks()
{
    return {.packets = true, .dcAsAc = false, .predictsAc = false, .exact = false};
}

// The addresses of those that differ.
std::vector<int> differingMacroblocks(const Frame& a, const Frame& b)
{
    const int wide = a.format.width / 16;
    std::vector<bool> differs(static_cast<std::size_t>(wide * a.format.height / 16));
    for (int plane = 0; plane < 3; plane++) {
        const int side = plane == 0 ? 16 : 8;
        const auto& left = a.planes[static_cast<std::size_t>(plane)];
        const auto& right = b.planes[static_cast<std::size_t>(plane)];
        for (int y = 0; y < planeHeight(a.format, plane); y++)
            for (int x = 0; x < side * wide; x++) {
                const auto at = static_cast<std::size_t>(y * side * wide + x);
                if (left[at] != right[at])
                    differs[static_cast<std::size_t>(y / side * wide + x / side)] = true;
            }
    }
    std::vector<int> addresses;
    for (std::size_t i = 0; i < differs.size(); i++)
        if (differs[i])
            addresses.push_back(static_cast<int>(i));
    return addresses;
}

void clearBits(std::vector<uint8_t>& bytes, std::size_t from, std::size_t to)
{
    for (; from < to; from++)
        bytes[from / 8] = static_cast<uint8_t>(bytes[from / 8] & ~(0x80 >> from % 8));
}

void flipBits(std::vector<uint8_t>& bytes, std::size_t from, std::size_t to)
{
    for (; from < to; from++)
        bytes[from / 8] = static_cast<uint8_t>(bytes[from / 8] ^ 0x80 >> from % 8);
}

// Plants an error in every packet of the last VOP of some streams, one at a time, and has what was lost
// looked at: plant(bytes, packet) returns whether there was a place for it. Returns how many errors were
// planted.
template <class Plant, class Check>
int plantErrors(RandomMpeg4Options options, Plant plant, Check check)
{
    int planted = 0;
    for (const std::string types : {"I", "IP"})
        for (options.seed = 1; options.seed <= 10; options.seed++) {
            SCOPED_TRACE(types + ", seed " + std::to_string(options.seed));
            options.types = types;
            const RandomMpeg4Stream stream = makeRandomMpeg4Stream(options);
            const DecodedStream intact = decodeInProcess("mpeg4", stream.bytes);
            for (const RandomMpeg4Packet& packet : stream.packets) {
                std::vector<uint8_t> bytes = stream.bytes;
                if (packet.vop + 1 != std::ssize(types) || !plant(bytes, packet))
                    continue;
                const DecodedStream damaged = decodeInProcess("mpeg4", bytes);
                EXPECT_EQ(damaged.frames.size(), intact.frames.size());
                check(packet, differingMacroblocks(damaged.frames.back(), intact.frames.back()));
                planted++;
            }
        }
    return planted;
}

// Where the coefficients of a macroblock in the middle begin stand more zeros than codes have, in either
// direction. Its last code stays, which tells a backward reader where the next macroblock begins.
std::size_t middleOf(const RandomMpeg4Packet& packet)
{
    return packet.textures.size() / 2;
}

bool plantZeros(std::vector<uint8_t>& bytes, const RandomMpeg4Packet& packet)
{
    constexpr std::size_t zeros = 12;
    constexpr std::size_t longestCode = 30;
    const std::size_t begin = packet.textures[middleOf(packet)];
    if (packet.textureEnd(middleOf(packet)) < begin + zeros + longestCode)
        return false;
    clearBits(bytes, begin, begin + zeros);
    return true;
}

} // namespace

TEST(DamagedMpeg4Video, LosesNothingBehindAnErrorInReversibleCodes)
{
    RandomMpeg4Options options = independentMacroblocks();
    options.partitioned = true;
    options.reversible = true;
    const int planted = plantErrors(options, plantZeros, [](const auto& packet, const auto& lost) {
        EXPECT_EQ(lost, std::vector<int>{packet.first + static_cast<int>(middleOf(packet))});
    });
    EXPECT_GE(planted, 20);
}

// Motion and the DC have partitions of their own: macroblocks without coefficients lose nothing.
TEST(DamagedMpeg4Video, KeepsWhatOtherPartitionsTell)
{
    RandomMpeg4Options options = independentMacroblocks();
    options.partitioned = true;
    const int planted = plantErrors(options, plantZeros, [](const auto& packet, const auto& lost) {
        EXPECT_FALSE(lost.empty());
        for (const int address : lost) {
            const auto i = static_cast<std::size_t>(address - packet.first);
            EXPECT_GE(i, middleOf(packet));
            ASSERT_LT(i, packet.textures.size());
            EXPECT_GT(packet.textureEnd(i), packet.textures[i]);
        }
    });
    EXPECT_GE(planted, 20);
}

TEST(DamagedMpeg4Video, KeepsErrorsWithinTheirPacket)
{
    for (const bool partitioned : {false, true}) {
        RandomMpeg4Options options = independentMacroblocks();
        options.partitioned = partitioned;
        const auto plant = [](auto& bytes, const auto& packet) {
            constexpr std::size_t length = 10;
            const std::size_t middle = (packet.begin + packet.end) / 2;
            if (packet.end < middle + length)
                return false;
            flipBits(bytes, middle, middle + length);
            return true;
        };
        const int planted = plantErrors(options, plant, [](const auto& packet, const auto& lost) {
            for (const int address : lost) {
                EXPECT_GE(address, packet.first);
                EXPECT_LT(address, packet.first + packet.count);
            }
        });
        EXPECT_GE(planted, 40);
    }
}

} // namespace kelvcpx::test
