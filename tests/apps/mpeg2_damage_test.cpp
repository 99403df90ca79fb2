// The MPEG-1 and MPEG-2 decoder on damaged streams: it conceals, says so, and recovers.
#include "apps/mpeg2_random_stream.h"
#include "apps/support/clip.h"
#include "apps/support/frames.h"
#include "support/random.h"

#include "mpeg2/decoder.h"
#include "mpeg2/headers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <string>
#include <vector>

namespace kelvcpx::test {
namespace {

using Bytes = std::vector<uint8_t>;

// A start code and what follows it up to the next one.
struct Unit {
    int startCode;
    std::ptrdiff_t first;
    std::ptrdiff_t end;

    bool isSlice() const
    {
        return startCode >= app::mpeg2::firstSliceStart && startCode <= app::mpeg2::lastSliceStart;
    }
};

std::vector<Unit> unitsOf(const Bytes& bytes)
{
    constexpr uint8_t prefix[] = {0, 0, 1};
    std::vector<Unit> units;
    auto at = std::search(bytes.begin(), bytes.end(), std::begin(prefix), std::end(prefix));
    while (bytes.end() - at > 3) {
        const auto next = std::search(at + 3, bytes.end(), std::begin(prefix), std::end(prefix));
        units.push_back({at[3], at - bytes.begin(), next - bytes.begin()});
        at = next;
    }
    return units;
}

Bytes without(Bytes bytes, std::ptrdiff_t first, std::ptrdiff_t end)
{
    bytes.erase(bytes.begin() + first, bytes.begin() + end);
    return bytes;
}

DecodedStream decodeBytes(const Bytes& bytes)
{
    struct Listener : app::DamageListener {
        std::vector<std::string> messages;
        void damaged(const std::string& message) override { messages.push_back(message); }
    };
    DecodedStream result;
    Listener listener;
    const auto decoder = app::mpeg2::makeDecoder(listener);
    const app::PictureSink sink = [&](const app::PictureView& picture) {
        result.frames.push_back(copyOf(picture));
    };
    decoder->decode(bytes, sink);
    decoder->flush(sink);
    result.damage = listener.messages;
    return result;
}

std::string messagesOf(const DecodedStream& stream)
{
    std::string all;
    for (const std::string& message : stream.damage)
        all += message + '\n';
    return all;
}

// Two groups of pictures with all types, the second one closed.
Bytes twoGroups()
{
    return bytesOf(makeClip(
        "groups.m2v", "-f lavfi -i testsrc2=size=176x144:rate=25 -frames:v 25 -c:v mpeg2video -g 13 -bf 2 "
                      "-flags +cgop -sc_threshold 1000000000 -q:v 4"));
}

// The frame, in display order, from which on damage to the first group is over.
std::size_t secondGroup(const Bytes& bytes)
{
    std::size_t pictures = 0;
    int groups = 0;
    for (const Unit& unit : unitsOf(bytes)) {
        groups += unit.startCode == app::mpeg2::groupStart ? 1 : 0;
        pictures += groups == 1 && unit.startCode == app::mpeg2::pictureStart ? 1 : 0;
    }
    EXPECT_EQ(groups, 2);
    return pictures;
}

} // namespace

// A slice that is lost, wholly or in part, is concealed, and its traces are gone with the next group.
TEST(DamagedMpegVideo, ConcealsLostSlices)
{
    const Bytes bytes = twoGroups();
    const std::size_t recovered = secondGroup(bytes);
    const DecodedStream sound = decodeBytes(bytes);
    ASSERT_EQ(sound.damage, std::vector<std::string>());

    std::vector<Unit> slices = unitsOf(bytes);
    std::erase_if(slices, [](const Unit& unit) { return !unit.isSlice(); });
    constexpr std::size_t slicesAPicture = 9;
    ASSERT_EQ(slices.size(), slicesAPicture * sound.frames.size());
    for (const std::size_t picture : {0U, 1U, 2U, 3U, 10U}) {
        const Unit& slice = slices[slicesAPicture * picture + 4];
        for (const std::ptrdiff_t kept : {std::ptrdiff_t{0}, (slice.end - slice.first) / 2}) {
            const DecodedStream damaged = decodeBytes(without(bytes, slice.first + kept, slice.end));
            EXPECT_NE(messagesOf(damaged).find("were concealed"), std::string::npos);
            ASSERT_EQ(damaged.frames.size(), sound.frames.size());
            for (std::size_t i = recovered; i < sound.frames.size(); i++)
                EXPECT_EQ(differences(damaged.frames[i], sound.frames[i]), "");
        }
    }
}

// Whatever is there of a truncated stream comes out.
TEST(DamagedMpegVideo, ShowsWhatIsLeftOfATruncatedStream)
{
    const Bytes bytes = twoGroups();
    const std::vector<Unit> units = unitsOf(bytes);
    const DecodedStream sound = decodeBytes(bytes);
    int cutSlices = 0;
    for (int i = 1; i < 40; i++) {
        const std::ptrdiff_t cut = std::ssize(bytes) * i / 40;
        std::size_t begun = 0; // pictures of which there is the beginning of a slice
        bool inHeaders = false;
        for (const Unit& unit : units) {
            if (unit.first + 4 > cut)
                break;
            begun += inHeaders && unit.isSlice() ? 1 : 0;
            inHeaders = unit.startCode == app::mpeg2::pictureStart || (inHeaders && !unit.isSlice());
        }
        const DecodedStream left = decodeBytes(without(bytes, cut, std::ssize(bytes)));
        ASSERT_EQ(left.frames.size(), begun);
        // The picture that is cut off, and those that refer to it, are among the last three.
        for (std::size_t frame = 0; frame + 3 < begun; frame++)
            EXPECT_EQ(differences(left.frames[frame], sound.frames[frame]), "");
        const bool cutsSlice = std::any_of(units.begin(), units.end(), [=](const Unit& unit) {
            return unit.isSlice() && unit.first + 4 <= cut && cut < unit.end;
        });
        cutSlices += cutsSlice ? 1 : 0;
        EXPECT_TRUE(!cutsSlice || !left.damage.empty()) << "cut at " << cut;
    }
    EXPECT_GT(cutSlices, 30);
}

TEST(DamagedMpegVideo, GoesOnAfterBitErrors)
{
    const Bytes bytes = twoGroups();
    const std::size_t frameCount = decodeBytes(bytes).frames.size();
    std::vector<Unit> slices = unitsOf(bytes);
    std::erase_if(slices, [](const Unit& unit) { return !unit.isSlice(); });
    Random random(1);
    constexpr int copies = 100;
    int noticed = 0;
    for (int i = 0; i < copies; i++) {
        Bytes damaged = bytes;
        for (int errors = 0; errors < 5; errors++) {
            const Unit& slice = slices[random.uniform<std::size_t>(0, std::ssize(slices) - 1)];
            uint8_t& byte = damaged[random.uniform<std::size_t>(slice.first + 4, slice.end - 1)];
            byte = static_cast<uint8_t>(byte ^ 1 << random.uniform(0, 7));
        }
        const DecodedStream decoded = decodeBytes(damaged);
        EXPECT_EQ(decoded.frames.size(), frameCount);
        noticed += decoded.damage.empty() ? 0 : 1;
    }
    EXPECT_GT(noticed, copies * 3 / 4); // an error may look like another picture
}

// A field without its partner still makes a frame, and the fields after it find their partners.
TEST(DamagedMpegVideo, ShowsAFrameThatLacksAField)
{
    const RandomStream stream =
        makeRandomStream({.structures = PictureStructures::fields, .types = "IPBBPBB"});
    const DecodedStream sound = decodeBytes(stream.bytes);
    ASSERT_EQ(sound.frames.size(), 7U);
    std::vector<std::ptrdiff_t> pictures;
    for (const Unit& unit : unitsOf(stream.bytes))
        if (unit.startCode == app::mpeg2::pictureStart)
            pictures.push_back(unit.first);
    ASSERT_EQ(pictures.size(), 14U);
    for (const std::size_t field : {4U, 5U, 8U, 9U}) { // of a B frame and of a P frame
        const DecodedStream damaged =
            decodeBytes(without(stream.bytes, pictures[field], pictures[field + 1]));
        EXPECT_EQ(damaged.frames.size(), sound.frames.size()) << "without field " << field;
        EXPECT_NE(messagesOf(damaged).find("field without the other"), std::string::npos);
        EXPECT_EQ(differences(damaged.frames[0], sound.frames[0]), "");
    }
}

// Without the picture that everything refers to there is still something to see, and all is well again with
// the next group.
// Extended over and over, the frame rate would leave any integer: the sanitizer build shows that.
TEST(DamagedMpegVideo, ExtendsASequenceOnce)
{
    const Bytes bytes = twoGroups();
    const auto units = unitsOf(bytes);
    const auto extension = std::find_if(units.begin(), units.end(), [](const Unit& unit) {
        return unit.startCode == app::mpeg2::extensionStart;
    });
    ASSERT_NE(extension, units.end());
    Bytes repeated(bytes.begin() + extension->first, bytes.begin() + extension->end);
    repeated.back() |= 0x7F; // frame_rate_extension_n and _d
    constexpr std::size_t copies = 40;
    Bytes damaged = bytes;
    for (std::size_t i = 0; i < copies; i++)
        damaged.insert(damaged.begin() + extension->end, repeated.begin(), repeated.end());

    const DecodedStream decoded = decodeBytes(damaged);
    EXPECT_EQ(decoded.frames.size(), decodeBytes(bytes).frames.size());
    EXPECT_EQ(decoded.damage.size(), copies) << messagesOf(decoded);
}

TEST(DamagedMpegVideo, ShowsNoPictureWithoutRows)
{
    Bytes bytes =
        bytesOf(makeClip("flat.m1v", "-f lavfi -i testsrc2=size=64x64:rate=25 -frames:v 3 -c:v mpeg1video"));
    ASSERT_EQ(bytes[3], app::mpeg2::sequenceHeaderStart);
    bytes[5] &= 0xF0; // vertical_size
    bytes[6] = 0;
    const DecodedStream decoded = decodeBytes(bytes);
    EXPECT_TRUE(decoded.frames.empty());
    EXPECT_FALSE(decoded.damage.empty());
}

TEST(DamagedMpegVideo, StartsWithoutAnIntraPicture)
{
    const Bytes bytes = twoGroups();
    const DecodedStream sound = decodeBytes(bytes);
    std::vector<std::ptrdiff_t> pictures;
    for (const Unit& unit : unitsOf(bytes))
        if (unit.startCode == app::mpeg2::pictureStart)
            pictures.push_back(unit.first);
    const DecodedStream damaged = decodeBytes(without(bytes, pictures[0], pictures[1]));
    EXPECT_NE(messagesOf(damaged).find("does not start with an intra picture"), std::string::npos);
    ASSERT_EQ(damaged.frames.size(), sound.frames.size() - 1);
    for (std::size_t i = secondGroup(bytes); i < sound.frames.size(); i++)
        EXPECT_EQ(differences(damaged.frames[i - 1], sound.frames[i]), "");
}

} // namespace kelvcpx::test
