#include "platform/qt/shown_text.h"

#include <gtest/gtest.h>

#include <string>

using platform::show_text;
using platform::shown_string;

TEST(ShownText, AsciiIsShownAsItIs)
{
    EXPECT_EQ(shown_string("plain text, ~ and\ttab"), "plain text, ~ and\ttab");
    EXPECT_TRUE(show_text("plain").places.empty());
}

TEST(ShownText, Utf8IsDecoded)
{
    EXPECT_EQ(shown_string("caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80"),
              u"caf\u00e9 \u20ac \U0001F600");
}

TEST(ShownText, WhatIsNoUtf8IsShownAsLatin1)
{
    EXPECT_EQ(shown_string("caf\xE9 \xFC"
                           "ber"),
              u"caf\u00e9 \u00fcber");
    EXPECT_EQ(shown_string("\xC3"), u"\u00c3"); // cut off
    EXPECT_EQ(shown_string("\xC3"
                           "("),
              u"\u00c3(");                                         // not continued
    EXPECT_EQ(shown_string("\xC0\xAF"), u"\u00c0\u00af");          // too long for what it is
    EXPECT_EQ(shown_string("\xE0\xA0"), u"\u00e0\u00a0");          //
    EXPECT_EQ(shown_string("\xED\xA0\x80"), u"\u00ed\u00a0\\x80"); // half of a pair
    EXPECT_EQ(shown_string("\xF5\xBF\xBF\xBF"), u"\u00f5\u00bf\u00bf\u00bf");
    EXPECT_EQ(shown_string("\xF4\x90\xBF\xBF"), u"\u00f4\\x90\u00bf\u00bf"); // beyond the last one
}

TEST(ShownText, EveryByteIsVisible)
{
    for (int byte = 0; byte < 256; ++byte) {
        const std::string one(1, static_cast<char>(byte));
        const QString shown = shown_string(one);
        ASSERT_FALSE(shown.isEmpty()) << byte;
        EXPECT_EQ(shown[0].isPrint(), byte != '\n' && byte != '\r' && byte != '\t') << byte;
    }
}

TEST(ShownText, ControlCharactersAreHarmless)
{
    EXPECT_EQ(shown_string(std::string("\0\x01\x1B[2J\x7F", 7)), "^@^A^[[2J^?");
    EXPECT_EQ(shown_string("\x9B"), "\\x9B");
    EXPECT_EQ(shown_string("\xC2\x9B"), "\\u009B");
    EXPECT_EQ(shown_string("\xE2\x80\xAE"
                           "fdp.exe"),
              "\\u202Efdp.exe"); // the other direction
    EXPECT_EQ(shown_string("\xEF\xBB\xBF"), "\\uFEFF");
    EXPECT_EQ(shown_string("\xC2\xAD"), "\\u00AD");
}

TEST(ShownText, LineEndsBecomeLineFeeds)
{
    EXPECT_EQ(shown_string("a\rb\nc"), "a\nb\nc");
}

TEST(ShownText, PlacesAndUnitsLeadToEachOther)
{
    const std::string bytes = "ab\xC3\xA9\x1B\xF0\x9F\x98\x80z";
    const platform::shown_text shown = show_text(bytes);
    EXPECT_EQ(shown.text, u"ab\u00e9^[\U0001F600z");
    const std::size_t starts[] = {0, 1, 2, 4, 4, 5, 5, 9, 10};
    for (int unit = 0; unit <= shown.text.size(); ++unit)
        EXPECT_EQ(shown.place_of(unit), starts[unit]) << unit;
    EXPECT_EQ(shown.unit_of(0), 0);
    EXPECT_EQ(shown.unit_of(2), 2);
    EXPECT_EQ(shown.unit_of(4), 3);
    EXPECT_EQ(shown.unit_of(5), 5);
    EXPECT_EQ(shown.unit_of(9), 7);
    EXPECT_EQ(shown.unit_of(10), 8);
}

TEST(ShownText, UnitsAreCountedAsTheyAreShown)
{
    for (const std::string &bytes :
         {std::string("plain"), std::string("\x1B\xE9\xE2\x80\xAE\xF0\x9F\x98\x80\r\n\t"),
          std::string("\xC3")})
        EXPECT_EQ(platform::count_shown(bytes),
                  static_cast<std::size_t>(shown_string(bytes).size()));
}
