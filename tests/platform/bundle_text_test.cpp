// How texts of a language are found and read.

#include <gtest/gtest.h>

#include "platform/linux/strings_table.h"
#include "platform/linux/user_languages.h"
#include "property_list_bytes.h"
#include "tests/fakes/temp_environment.h"

namespace
{

using namespace platform;
using Names = std::vector<std::string>;

struct StringsCase {
    const char* name;
    std::string text;
    roamer::Dictionary expected;
};

const StringsCase kTables[] = {
    {"comments", "/* one\n */ // two\n\"a\" /**/ = // three\n \"b\"; // four", {{"a", "b"}}},
    {"escapes", R"("k" = "\"q\" \\ \n\t \U00e4\ud83d\ude00 \'";)", {{"k", "\"q\" \\ \n\t ä\xf0\x9f\x98\x80 '"}}},
    {"a text over two lines, the last of two", "a=\"c\";\"a\"=\"b\nc\";", {{"a", "b\nc"}}},
    {"UTF-8 with a mark", "\xef\xbb\xbf\"ä\"=\"ホーム\";", {{"ä", "ホーム"}}},
    {"UTF-16", std::string("\xff\xfe\x61\0=\0\"\0\xe4\0\"\0;\0", 14), {{"a", "ä"}}},
    {"UTF-16, big end first", std::string("\xfe\xff\0a\0=\0b\0;", 10), {{"a", "b"}}},
};

const std::pair<const char*, const char*> kBrokenTables[] = {
    {"\n\n\"a\" \"b\";", "line 3: expected \"=\""},
    {"\"a\" = \"b", "without a closing quote"},
    {"/* never ends", "comment without an end"},
    {"\"a\" = \"\\Ud83d\";", "half a character"},
    {"\"a\" = \"\xff\";", "not UTF-8"},
    {"\xff\xfe\x61", "half a UTF-16 unit"},
};

TEST(StringsTable, ReadsTextsAndTellsWhereItIsBroken)
{
    for (const auto& c : kTables)
        EXPECT_EQ(std::get<roamer::Dictionary>(readStringsTable(tests::asBytes(c.text))), c.expected) << c.name;
    for (const auto& [text, expected] : kBrokenTables) {
        const auto error = std::get<StringsTableError>(readStringsTable(tests::asBytes(text))).text;
        EXPECT_NE(error.find(expected), std::string::npos) << error;
    }
}

TEST(UserLanguages, ChooseTheLocalizations)
{
    const struct {
        const char *language, *all, *lang;
        Names expected;
    } cases[] = {
        {"de", "C.UTF-8", "de_DE.UTF-8", {"English"}}, // the C locale silences LANGUAGE
        {"", "", "de_AT.UTF-8@euro", {"German", "English"}},
        {"", "ja_JP.UTF-8", "de_DE", {"ja", "English"}},
        {"xx:pt_BR:fr", "", "de_DE", {"pt_BR", "French", "German", "English"}},
        {"", "", "pt_PT", {"English"}}, // another country's language
    };
    for (const auto& c : cases) {
        const fakes::TempEnvironment environment{
            {"LANGUAGE", c.language}, {"LC_ALL", c.all}, {"LC_MESSAGES", ""}, {"LANG", c.lang}};
        EXPECT_EQ(matchingLocalizations({"English", "French", "German", "ja", "pt_BR"}, userLanguages()), c.expected);
    }
}

} // namespace
