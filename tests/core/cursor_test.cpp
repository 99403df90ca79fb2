#include "core/byte_cursor.h"
#include "core/word_cursor.h"
#include "support/bits.h"
#include "support/random.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

namespace kelvcpx::test {
namespace {

// A stream as a text of zeros and ones: what the cursors must agree with.
template <class Unit>
std::string binaryOf(const std::vector<Unit>& units)
{
    std::string text;
    for (const Unit unit : units)
        text += binary(unit, 8 * sizeof(Unit));
    return text;
}

struct Piece {
    uint32_t code;
    int32_t length;
};

std::vector<Piece> randomPieces(Random& random, int32_t longest)
{
    std::vector<Piece> pieces(2000);
    for (Piece& piece : pieces)
        piece = {random.extreme<uint32_t>(), random.uniform(1, longest)};
    return pieces;
}

TEST(WordCursor, ReadsBackWhatWasWritten)
{
    Random random(1);
    const auto pieces = randomPieces(random, 32);
    std::vector<uint32_t> words(2002, 0);
    uint32_t* end = words.data();
    int32_t freeBits = 32;
    std::string expected;
    for (const Piece& piece : pieces) {
        WordWriter writer(end, freeBits);
        writer.write(piece.code, piece.length);
        writer.store(&end, &freeBits);
        ASSERT_TRUE(freeBits >= 1 && freeBits <= 32);
        expected += binary(piece.code, piece.length);
    }
    ASSERT_EQ(static_cast<std::size_t>(32 * (end - words.data()) + 32 - freeBits), expected.size());
    ASSERT_EQ(binaryOf(words).substr(0, expected.size()), expected);

    WordReader reader(words.data(), 31);
    std::size_t position = 0;
    for (const Piece& piece : pieces) {
        const std::string next = expected.substr(position, static_cast<std::size_t>(piece.length));
        reader.fill(piece.length);
        ASSERT_EQ(binary(reader.peek(piece.length), piece.length), next);
        ASSERT_EQ(binary(reader.read(piece.length), piece.length), next);
        position += static_cast<std::size_t>(piece.length);
    }
}

TEST(WordCursor, StopsOnAFreshWordAtItsTop)
{
    const std::array<uint32_t, 3> words = {0x80000005, 0xC0000000, 0};
    for (const int32_t length : {4, 5, 32}) {
        WordReader reader(words.data(), length - 1);
        EXPECT_EQ(reader.read(length), 0x80000005 & static_cast<uint32_t>((uint64_t{1} << length) - 1));
        const uint32_t* word;
        int32_t offset;
        reader.store(&word, &offset);
        EXPECT_EQ(word, words.data() + 1);
        EXPECT_EQ(offset, 31);
    }
}

TEST(WordCursor, WriterDoesNotTouchTheNextWordWhenItFillsOne)
{
    std::array<uint32_t, 2> words = {0, 0x12345678};
    WordWriter writer(words.data(), 32);
    writer.write(0xDEADBEEF, 32);
    EXPECT_EQ(words, (std::array<uint32_t, 2>{0xDEADBEEF, 0x12345678}));
}

TEST(ByteCursor, ReadsBackWhatWasWritten)
{
    Random random(2);
    const auto pieces = randomPieces(random, 25);
    std::vector<uint8_t> bytes(8000, 0xA5); // needs no clearing
    uint8_t* end = bytes.data();
    int32_t written = 0;
    std::string expected;
    for (const Piece& piece : pieces) {
        ByteWriter writer(end, written);
        writer.write(piece.code, piece.length);
        writer.store(&end, &written);
        ASSERT_TRUE(written >= 0 && written <= 7);
        expected += binary(piece.code, piece.length);
        // Zeros up to the end of the byte, and nothing beyond it.
        ASSERT_TRUE(written == 0 ? *end == 0xA5 : (*end & 0xFF >> written) == 0 && end[1] == 0xA5);
    }
    ASSERT_EQ(binaryOf(bytes).substr(0, expected.size()), expected);

    ByteReader reader(bytes.data(), 0);
    std::size_t position = 0;
    for (const Piece& piece : pieces) {
        ASSERT_EQ(binary(reader.read(piece.length), piece.length),
                  expected.substr(position, static_cast<std::size_t>(piece.length)));
        position += static_cast<std::size_t>(piece.length);
    }
}

TEST(ByteCursor, WritesCodesOf32BitsAtEveryOffset)
{
    for (int32_t offset = 0; offset < 8; offset++) {
        std::vector<uint8_t> bytes(6, 0xFF);
        ByteWriter writer(bytes.data(), offset);
        writer.write(0x9ABCDEF1, 32);
        const std::string expected =
            std::string(static_cast<std::size_t>(offset), '1') + binary(0x9ABCDEF1, 32);
        EXPECT_EQ(binaryOf(bytes).substr(0, expected.size()), expected);
        EXPECT_EQ(bytes[offset == 0 ? 4 : 5], 0xFF);
    }
}

} // namespace
} // namespace kelvcpx::test
