#include "util/utf_text.h"

#include <gtest/gtest.h>

namespace roamer
{

namespace
{

struct Utf8Case {
    const char* name;
    std::string text;
    bool isValid;
};

const Utf8Case kTexts[] = {
    {"empty", "", true},
    {"two, three and four bytes", "\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80", true},
    {"the last code point", "\xf4\x8f\xbf\xbf", true},
    {"above the last code point", "\xf4\x90\x80\x80", false},
    {"a slash in two bytes", "\xc0\xaf", false},
    {"a slash in three bytes", "\xe0\x80\xaf", false},
    {"a euro sign in four bytes", "\xf0\x82\x82\xac", false},
    {"a surrogate", "\xed\xa0\x80", false},
    {"cut short", "a\xe2\x82", false},
    {"a continuation alone", "\x80", false},
    {"five bytes", "\xf8\x88\x80\x80\x80", false},
};

} // namespace

TEST(UtfText, TellsUtf8FromOtherBytes)
{
    for (const auto& c : kTexts) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(isUtf8(c.text), c.isValid);
        const auto utf16 = utf16FromUtf8(c.text);
        EXPECT_EQ(utf16.has_value(), c.isValid);
        if (!utf16) continue;
        EXPECT_EQ(utf8FromUtf16(*utf16), c.text);
    }
}

TEST(UtfText, RefusesHalfCharacters)
{
    EXPECT_EQ(utf8FromUtf16(u"\xd83d"), std::nullopt);
    EXPECT_EQ(utf8FromUtf16(std::u16string{0xd83d, u'a'}), std::nullopt);
    EXPECT_EQ(utf8FromUtf16(std::u16string{0xde00}), std::nullopt);
    EXPECT_EQ(utf8FromUtf16(std::u16string{0xde00, 0xd83d}), std::nullopt);
}

} // namespace roamer
