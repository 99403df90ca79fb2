// Reversible codes of MPEG-4: what damaged streams keep of their pictures.
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

// Streams whose macroblocks do not depend on the coefficients of others.
RandomMpeg4Options independentMacroblocks(uint32_t seed, const std::string& types)
{
    return {.seed = seed,
            .types = types,
            .packets = true,
            .partitioned = true,
            .reversible = true,
            .dcAsAc = false,
            .predictsAc = false,
            .exact = false};
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

} // namespace

// Where a macroblock begins stand more zeros than codes have, in either direction: all other macroblocks are
// as they were, in the packet and elsewhere. The last code of the macroblock stays, which tells where the
// next one begins.
TEST(ReversibleMpeg4Video, LosesNothingBehindAnError)
{
    constexpr std::size_t noCode = 10; // more zeros than legal codes bring
    constexpr std::size_t longestCode = 30;
    int planted = 0;
    for (const std::string types : {"I", "IP"})
        for (uint32_t seed = 1; seed <= 10; seed++) {
            const RandomMpeg4Stream stream = makeRandomMpeg4Stream(independentMacroblocks(seed, types));
            const DecodedStream intact = decodeInProcess("mpeg4", stream.bytes);
            for (const TexturePartition& texture : stream.textures) {
                const std::size_t i = texture.begins.size() / 2;
                const std::size_t begin = texture.begins[i - 1];
                const std::size_t end = texture.begins[i];
                if (texture.vop + 1 != std::ssize(types) || end < begin + noCode + longestCode)
                    continue;
                SCOPED_TRACE(types + ", seed " + std::to_string(seed));
                std::vector<uint8_t> bytes = stream.bytes;
                clearBits(bytes, begin, begin + noCode);
                const DecodedStream damaged = decodeInProcess("mpeg4", bytes);
                EXPECT_FALSE(damaged.damage.empty());
                ASSERT_EQ(damaged.frames.size(), intact.frames.size());
                const std::vector<int> lost =
                    differingMacroblocks(damaged.frames.back(), intact.frames.back());
                EXPECT_EQ(lost, std::vector<int>{texture.first + static_cast<int>(i) - 1});
                planted++;
            }
        }
    EXPECT_GE(planted, 20);
}

} // namespace kelvcpx::test
