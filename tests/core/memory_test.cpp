#include <kelvcpx/core.h>

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <string>

namespace {

TEST(Memory, BlocksAreAlignedAndWritable)
{
    for (const int32_t len : {1, 2, 31, 32, 33, 1000, 1 << 20}) {
        uint8_t* const block = kelsMalloc_8u(len);
        int8_t* const other = kelsMalloc_8s(len);
        ASSERT_NE(block, nullptr);
        ASSERT_NE(other, nullptr);
        EXPECT_EQ(KEL_INT_PTR(block) % 32, 0u);
        EXPECT_EQ(KEL_INT_PTR(other) % 32, 0u);
        std::memset(block, 0xEE, static_cast<std::size_t>(len)); // the sanitizer build knows the end
        kelsFree(block);
        keliFree(other);
    }
}

TEST(Memory, RefusesLengthsThatMakeNoBlock)
{
    constexpr int32_t most = std::numeric_limits<int32_t>::max();
    for (const int32_t len : {0, -1, std::numeric_limits<int32_t>::min(), most, most - 31}) {
        EXPECT_EQ(kelsMalloc_8u(len), nullptr) << len;
        EXPECT_EQ(kelsMalloc_8s(len), nullptr) << len;
    }
    kelsFree(nullptr);
    keliFree(nullptr);
}

TEST(Version, NamesTheInterface)
{
    const LibraryVersion* const version = kelvcGetLibVersion();
    EXPECT_EQ(version, kelvcGetLibVersion());
    EXPECT_EQ(version->versionMajor, 5);
    EXPECT_EQ(version->versionMinor, 1);
    EXPECT_EQ(version->buildMajor, 133);
    EXPECT_EQ(version->buildNumber, 226);
    EXPECT_EQ(std::string(version->targetCode, 4), std::string("px\0\0", 4));
    EXPECT_STREQ(version->libraryName, "libkelvcpx-5.1.dylib");
    EXPECT_STREQ(version->versionText, "5.1.1");
    EXPECT_STREQ(version->buildDate, "Jun 17 2006");
}

} // namespace
