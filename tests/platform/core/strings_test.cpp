#include "platform/strings.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>

namespace {

bool equal(const std::string &a, const std::string &b, bool case_sensitive, bool diac_sensitive)
{
    Str255 left;
    Str255 right;
    left[0] = static_cast<unsigned char>(a.size());
    right[0] = static_cast<unsigned char>(b.size());
    std::memcpy(left + 1, a.data(), a.size());
    std::memcpy(right + 1, b.data(), b.size());
    return EqualString(left, right, case_sensitive ? 1 : 0, diac_sensitive ? 1 : 0) != 0;
}

} // namespace

TEST(PascalStrings, GoThereAndBackInPlace)
{
    char text[] = "Cstr";
    StringPtr pascal = c2pstr(text);
    EXPECT_EQ(static_cast<void *>(pascal), static_cast<void *>(text));
    EXPECT_EQ(std::memcmp(pascal, "\4Cstr", 5), 0);
    EXPECT_STREQ(p2cstr(pascal), "Cstr");
}

TEST(PascalStrings, LongTextKeeps255Bytes)
{
    char text[301];
    std::memset(text, 'x', 300);
    text[300] = 0;
    StringPtr pascal = c2pstr(text);
    EXPECT_EQ(pascal[0], 255);
    EXPECT_EQ(std::strlen(p2cstr(pascal)), 255U);
}

TEST(PascalStrings, EmptyText)
{
    char text[1] = {0};
    EXPECT_EQ(c2pstr(text)[0], 0);
    EXPECT_STREQ(p2cstr(reinterpret_cast<StringPtr>(text)), "");
}

TEST(EqualString, CaseCountsOnlyWhenAsked)
{
    EXPECT_TRUE(equal("PICT_Res", "pict_rES", false, true));
    EXPECT_FALSE(equal("PICT_Res", "pict_rES", true, true));
    EXPECT_TRUE(equal("ÀÉÞŸŁŽĸ", "àéþÿłžĸ", false, true));
    EXPECT_FALSE(equal("ÀÉ", "àé", true, true));
    EXPECT_FALSE(equal("×", "÷", false, false)); // no letters, though 32 apart
    EXPECT_FALSE(equal("@", "`", false, false));
}

TEST(EqualString, MarksCountOnlyWhenAsked)
{
    EXPECT_TRUE(equal("Ünïcödé", "Unicode", true, false));
    EXPECT_FALSE(equal("Ünïcödé", "Unicode", true, true));
    EXPECT_TRUE(equal("ŽŸĀő", "ZYAo", true, false));
    EXPECT_TRUE(equal("ŽŸĀő", "zyao", false, false));
    EXPECT_FALSE(equal("ŽŸĀő", "zyao", true, false));
    EXPECT_TRUE(equal("e\xCC\x81", "é", true, false)); // a letter and its mark, apart
    EXPECT_FALSE(equal("Øre", "Ore", false, false));   // a letter of its own
}

TEST(EqualString, LengthCounts)
{
    EXPECT_FALSE(equal("abc", "ab", false, false));
    EXPECT_FALSE(equal("", "a", false, false));
    EXPECT_TRUE(equal("", "", true, true));
    EXPECT_TRUE(equal(std::string(255, 'a'), std::string(255, 'A'), false, true));
    EXPECT_FALSE(equal(std::string("a\0b", 3), std::string("a\0c", 3), false, false));
}

TEST(EqualString, BytesThatAreNoTextEqualOnlyThemselves)
{
    EXPECT_TRUE(equal("caf\xE9", "CAF\xE9", false, false));
    EXPECT_FALSE(equal("caf\xE9", "café", false, false));
    EXPECT_FALSE(equal("\xC3", "\xE3", false, false)); // cut short
    EXPECT_FALSE(equal("\xF0\x9F", "\xF0\x9E", false, false));
    EXPECT_FALSE(equal("\x80", "\x81", false, false));
}

TEST(CopyWhole, CopiesWhatFitsAndNothingElse)
{
    char buffer[4] = "old";
    EXPECT_TRUE(platform::copy_whole(buffer, "abc"));
    EXPECT_STREQ(buffer, "abc");
    EXPECT_FALSE(platform::copy_whole(buffer, "abcd"));
    EXPECT_STREQ(buffer, "abc");
    EXPECT_FALSE(platform::copy_whole(buffer, 0, ""));
}

TEST(WholeCharacters, ATextIsCutBetweenItsCharacters)
{
    const char text[] = "aé€😀";
    const std::size_t expected[] = {0, 1, 1, 3, 3, 3, 6, 6, 6, 6, 10};
    for (std::size_t size = 0; size < std::size(expected); ++size)
        EXPECT_EQ(platform::whole_characters(text, size), expected[size]) << size;
}

TEST(WholeCharacters, BytesThatAreNoUtf8AreCutAnywhere)
{
    const char text[] = "\x80\x80\x80\x80\x80\xFFz";
    for (std::size_t size = 0; size < 6; ++size)
        EXPECT_EQ(platform::whole_characters(text, size), size);
    EXPECT_EQ(platform::whole_characters(text, 7), 7U);
}
